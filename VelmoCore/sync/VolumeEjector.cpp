#include "VolumeEjector.h"

#include "library/Background.h"
#include "platform/UDisksDBus.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace VolumeEjector {

namespace {

bool holds(const QString& mountPoint, const QString& path)
{
    if (mountPoint == u"/")
        return path.startsWith(u'/');
    return path == mountPoint || path.startsWith(mountPoint + u'/');
}

// The file system whose mount point is the deepest one above the path.
std::optional<UDisks::FileSystem> fileSystemHolding(const QList<UDisks::FileSystem>& fileSystems, const QString& path)
{
    std::optional<UDisks::FileSystem> best;
    qsizetype bestLength = -1;
    for (const UDisks::FileSystem& fileSystem : fileSystems) {
        for (const QString& point : fileSystem.mountPoints) {
            const QString cleaned = QDir::cleanPath(point);
            if (holds(cleaned, path) && cleaned.size() > bestLength) {
                best = fileSystem;
                bestLength = cleaned.size();
            }
        }
    }
    return best;
}

EjectError errorFor(const UDisks::CallError& error, const QString& name)
{
    using Kind = EjectError::Kind;
    const QString errorName = error.name();
    if (errorName == u"org.freedesktop.UDisks2.Error.DeviceBusy")
        return {Kind::busy, u"“%1” can't be ejected because a file on it is still open. Close it and try again."_s.arg(name)};
    if (errorName.startsWith(u"org.freedesktop.UDisks2.Error.NotAuthorized")
        || errorName == u"org.freedesktop.DBus.Error.AccessDenied")
        return {Kind::notPermitted, u"“%1” can't be ejected: the system does not permit it."_s.arg(name)};
    static const QStringList unreachable{u"org.freedesktop.DBus.Error.ServiceUnknown"_s, u"org.freedesktop.DBus.Error.NoServer"_s,
                                         u"org.freedesktop.DBus.Error.NameHasNoOwner"_s, u"org.freedesktop.DBus.Error.Disconnected"_s};
    if (unreachable.contains(errorName) || errorName.startsWith(u"org.freedesktop.DBus.Error.Spawn"))
        return {Kind::serviceUnavailable, u"“%1” can't be ejected: the system's disk service (UDisks2) cannot be reached."_s.arg(name)};
    const QString text = error.text().trimmed();
    return {Kind::refused, u"“%1” can't be ejected: %2"_s.arg(name, text.isEmpty() ? errorName : text)};
}

} // namespace

EjectError EjectError::syncing(const QString& deviceName)
{
    return {Kind::syncing, u"“%1” is syncing. Wait until the sync has finished, then eject it."_s.arg(deviceName)};
}

void eject(UDisks& udisks, const QString& rootPath, const QString& deviceName)
{
    const QString canonical = QFileInfo(rootPath).canonicalFilePath();
    const QString path = canonical.isEmpty() ? QDir::cleanPath(rootPath) : canonical;
    try {
        const std::optional<UDisks::FileSystem> fileSystem = fileSystemHolding(udisks.mountedFileSystems(), path);
        if (!fileSystem)
            throw EjectError(EjectError::Kind::notMounted, u"“%1” is not mounted."_s.arg(deviceName));
        const UDisks::Drive drive = fileSystem->driveObject.isEmpty() ? UDisks::Drive() : udisks.drive(fileSystem->driveObject);
        if (!drive.removable && !drive.ejectable && drive.connectionBus != u"usb")
            throw EjectError(EjectError::Kind::notRemovable,
                             u"“%1” lies on a fixed disk, which is not ejected."_s.arg(deviceName));
        try {
            udisks.unmount(fileSystem->blockObject);
        } catch (const UDisks::CallError& error) {
            if (error.name() != u"org.freedesktop.UDisks2.Error.NotMounted")
                throw;
        }
        try {
            if (drive.canPowerOff && drive.connectionBus == u"usb")
                udisks.powerOff(fileSystem->driveObject);
            else if (drive.ejectable)
                udisks.eject(fileSystem->driveObject);
        } catch (const UDisks::CallError&) {
            // Unmounted is safe to pull; another mounted partition keeps some drives powered.
        }
    } catch (const UDisks::CallError& error) {
        throw errorFor(error, deviceName);
    }
}

QCoro::Task<> ejectWithSystemService(QString rootPath, QString deviceName)
{
    const auto job = [rootPath, deviceName] {
        UDisksDBus udisks;
        eject(udisks, rootPath, deviceName);
    };
    co_await Background::run(job);
}

} // namespace VolumeEjector
