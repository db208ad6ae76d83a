#include "DiscEject.h"

#include <QProcess>

using namespace Qt::StringLiterals;

namespace DiscEject {

bool eject(const QString& devicePath)
{
    if (devicePath.isEmpty())
        return false;
    return QProcess::startDetached(u"eject"_s, {devicePath});
}

} // namespace DiscEject
