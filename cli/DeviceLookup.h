#pragma once

#include "CommandLine.h"
#include "sync/DeviceProfile.h"

#include <optional>

// Finding a device profile by the name or id a user gives, for every device command. Names
// need not be unique: an exact name first, and an id when no name matches. Two profiles of
// one name, or none, are refused in words, and nothing is returned then.
std::optional<DeviceProfile> findDeviceProfile(Invocation& invocation, const QString& nameOrID);
