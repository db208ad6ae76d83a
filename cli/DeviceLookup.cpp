#include "DeviceLookup.h"

#include "facade/Library.h"
#include "library/JsonCoding.h"
#include "library/Uuid.h"

#include <algorithm>

using namespace Qt::StringLiterals;

std::optional<DeviceProfile> findDeviceProfile(Invocation& invocation, const QString& nameOrID)
{
    const auto quoted = [](const QString& text) -> QString { return u'"' + text + u'"'; };
    const QList<DeviceProfile>& profiles = invocation.library().deviceProfiles();
    QList<DeviceProfile> named;
    std::copy_if(profiles.cbegin(), profiles.cend(), std::back_inserter(named),
                 [&nameOrID](const DeviceProfile& p) { return p.name == nameOrID; });
    if (named.size() == 1)
        return named.constFirst();
    if (named.size() > 1) {
        QStringList ids;
        for (const DeviceProfile& profile : named)
            ids.append(u"  "_s + Uuid::text(profile.id));
        invocation.fail(u"%1 device profiles are named %2:\n%3\nGive the id of the one you mean in place of the name."_s
                            .arg(named.size())
                            .arg(quoted(nameOrID), ids.join(u'\n')));
        return std::nullopt;
    }
    const QUuid id = QUuid::fromString(nameOrID);
    const auto byID = std::find_if(profiles.cbegin(), profiles.cend(),
                                   [&id](const DeviceProfile& p) { return !id.isNull() && p.id == id; });
    if (byID != profiles.cend())
        return *byID;
    invocation.fail(u"No device profile is named %1. Run \"velmo device list\" to see them all."_s.arg(quoted(nameOrID)));
    return std::nullopt;
}
