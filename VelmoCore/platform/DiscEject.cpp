#include "DiscEject.h"

#include "DrivePath.h"
#include "disc/DiscTOC.h"

#include <QProcess>

using namespace Qt::StringLiterals;

namespace DiscEject {

bool eject(const QString& bsdName)
{
    if (bsdName.isEmpty() || MusicBrainzDiscLookup::isDiscImage(bsdName))
        return false;
    return QProcess::startDetached(u"eject"_s, {drivePath(bsdName)});
}

} // namespace DiscEject
