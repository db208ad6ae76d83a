#pragma once

#include "CommandLine.h"

// Every velmo command, one group per capability.
CommandLine velmoCommands();
