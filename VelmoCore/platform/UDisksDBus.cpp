#include "UDisksDBus.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QHash>
#include <QVariantMap>

using namespace Qt::StringLiterals;

namespace {

const QString service = u"org.freedesktop.UDisks2"_s;
// Long enough for a slow stick to write out its cache and for the user to answer a password
// prompt; the bus's own default of 25 s is neither.
constexpr int callTimeoutMs = 5 * 60 * 1000;

QDBusMessage call(const QString& object, const QString& interface, const QString& method,
                  const QVariantList& arguments = {})
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, object, interface, method);
    message.setArguments(arguments);
    const QDBusMessage reply = QDBusConnection::systemBus().call(message, QDBus::Block, callTimeoutMs);
    if (reply.type() == QDBusMessage::ErrorMessage)
        throw UDisks::CallError(reply.errorName(), reply.errorMessage());
    return reply;
}

// "aay": NUL-terminated paths as bytes.
QStringList mountPointsOf(const QVariant& value)
{
    QList<QByteArray> paths;
    if (value.metaType() == QMetaType::fromType<QDBusArgument>()) {
        const auto argument = value.value<QDBusArgument>();
        argument.beginArray();
        while (!argument.atEnd()) {
            QByteArray bytes;
            argument >> bytes;
            paths.append(bytes);
        }
        argument.endArray();
    } else {
        paths = value.value<QList<QByteArray>>();
    }
    QStringList points;
    for (const QByteArray& bytes : std::as_const(paths))
        points.append(QString::fromLocal8Bit(bytes.constData()));
    return points;
}

} // namespace

QList<UDisks::FileSystem> UDisksDBus::mountedFileSystems()
{
    const QDBusMessage reply = call(u"/org/freedesktop/UDisks2"_s, u"org.freedesktop.DBus.ObjectManager"_s,
                                    u"GetManagedObjects"_s);
    QList<FileSystem> fileSystems;
    if (reply.arguments().isEmpty())
        return fileSystems;
    const auto objects = reply.arguments().constFirst().value<QDBusArgument>();
    objects.beginMap();
    while (!objects.atEnd()) {
        QDBusObjectPath object;
        QHash<QString, QVariantMap> interfaces;
        objects.beginMapEntry();
        objects >> object;
        objects.beginMap();
        while (!objects.atEnd()) {
            QString name;
            QVariantMap properties;
            objects.beginMapEntry();
            objects >> name >> properties;
            objects.endMapEntry();
            interfaces.insert(name, properties);
        }
        objects.endMap();
        objects.endMapEntry();

        const auto fileSystem = interfaces.constFind(u"org.freedesktop.UDisks2.Filesystem"_s);
        if (fileSystem == interfaces.cend())
            continue;
        const QStringList points = mountPointsOf(fileSystem->value(u"MountPoints"_s));
        if (points.isEmpty())
            continue;
        const QVariantMap block = interfaces.value(u"org.freedesktop.UDisks2.Block"_s);
        QString drive = block.value(u"Drive"_s).value<QDBusObjectPath>().path();
        if (drive == u"/")
            drive.clear();
        fileSystems.append({object.path(), drive, points});
    }
    objects.endMap();
    return fileSystems;
}

UDisks::Drive UDisksDBus::drive(const QString& driveObject)
{
    const QDBusMessage reply = call(driveObject, u"org.freedesktop.DBus.Properties"_s, u"GetAll"_s,
                                    {u"org.freedesktop.UDisks2.Drive"_s});
    const QVariantMap properties =
        reply.arguments().isEmpty() ? QVariantMap() : qdbus_cast<QVariantMap>(reply.arguments().constFirst());
    return {
        .removable = properties.value(u"Removable"_s).toBool() || properties.value(u"MediaRemovable"_s).toBool(),
        .ejectable = properties.value(u"Ejectable"_s).toBool(),
        .canPowerOff = properties.value(u"CanPowerOff"_s).toBool(),
        .connectionBus = properties.value(u"ConnectionBus"_s).toString(),
    };
}

void UDisksDBus::unmount(const QString& blockObject)
{
    call(blockObject, u"org.freedesktop.UDisks2.Filesystem"_s, u"Unmount"_s, {QVariantMap()});
}

void UDisksDBus::eject(const QString& driveObject)
{
    call(driveObject, u"org.freedesktop.UDisks2.Drive"_s, u"Eject"_s, {QVariantMap()});
}

void UDisksDBus::powerOff(const QString& driveObject)
{
    call(driveObject, u"org.freedesktop.UDisks2.Drive"_s, u"PowerOff"_s, {QVariantMap()});
}
