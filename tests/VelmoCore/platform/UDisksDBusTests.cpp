#include "library/Background.h"
#include "library/BlockingWait.h"
#include "platform/UDisksDBus.h"
#include "sync/VolumeEjector.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

using Interfaces = QMap<QString, QVariantMap>;
using ManagedObjects = QMap<QDBusObjectPath, Interfaces>;

namespace {

// The disk service as UDisks2 answers on the bus: one USB stick with one mounted file system.
class FakeUDisksService final : public QDBusVirtualObject {
public:
    QString mountPoint;
    QStringList calls;
    QString unmountRefusal; // a D-Bus error name, or empty

    QString introspect(const QString&) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        const QString call = message.member() + u' ' + message.path();
        calls.append(call);
        QDBusMessage reply = message.createReply();
        if (message.member() == u"GetManagedObjects") {
            QByteArray point = mountPoint.toLocal8Bit();
            point.append('\0');
            const ManagedObjects objects{
                {QDBusObjectPath(u"/org/freedesktop/UDisks2/block_devices/sdb1"_s),
                 {{u"org.freedesktop.UDisks2.Block"_s,
                   {{u"Drive"_s, QVariant::fromValue(QDBusObjectPath(u"/org/freedesktop/UDisks2/drives/Stick"_s))}}},
                  {u"org.freedesktop.UDisks2.Filesystem"_s,
                   {{u"MountPoints"_s, QVariant::fromValue(QList<QByteArray>{point})}}}}},
                {QDBusObjectPath(u"/org/freedesktop/UDisks2/block_devices/sda"_s),
                 {{u"org.freedesktop.UDisks2.Block"_s, {{u"Drive"_s, QVariant::fromValue(QDBusObjectPath(u"/"_s))}}}}},
            };
            reply << QVariant::fromValue(objects);
        } else if (message.member() == u"GetAll") {
            reply << QVariantMap{{u"Removable"_s, true}, {u"Ejectable"_s, false}, {u"CanPowerOff"_s, true},
                                 {u"ConnectionBus"_s, u"usb"_s}};
        } else if (message.member() == u"Unmount" && !unmountRefusal.isEmpty()) {
            reply = message.createErrorReply(unmountRefusal, u"target is busy"_s);
        }
        connection.send(reply);
        return true;
    }
};

class UDisksDBusTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        const QString daemon = QStandardPaths::findExecutable(u"dbus-daemon"_s);
        if (daemon.isEmpty())
            GTEST_SKIP() << "dbus-daemon is not installed";
        qDBusRegisterMetaType<QList<QByteArray>>();
        qDBusRegisterMetaType<Interfaces>();
        qDBusRegisterMetaType<ManagedObjects>();
        bus.start(daemon, {u"--session"_s, u"--nofork"_s, u"--print-address=1"_s});
        ASSERT_TRUE(bus.waitForReadyRead(5000));
        const QString address = QString::fromUtf8(bus.readLine()).trimmed();
        // The adapter talks to the system bus; here that is a bus of the test's own.
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", address.toUtf8());
        service = std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(address, u"fake-udisks"_s));
        ASSERT_TRUE(service->isConnected());
        ASSERT_TRUE(service->registerService(u"org.freedesktop.UDisks2"_s));
        ASSERT_TRUE(service->registerVirtualObject(u"/org/freedesktop/UDisks2"_s, &udisks, QDBusConnection::SubPath));
        udisks.mountPoint = QFileInfo(stick.path()).canonicalFilePath();
    }

    void TearDown() override
    {
        if (service) {
            service->unregisterObject(u"/org/freedesktop/UDisks2"_s, QDBusConnection::UnregisterTree);
            QDBusConnection::disconnectFromBus(u"fake-udisks"_s);
        }
        bus.kill();
        bus.waitForFinished();
    }

    // The adapter blocks while the bus answers, and the fake answers on this thread.
    void ejectInBackground(const QString& rootPath)
    {
        const auto job = [rootPath] {
            UDisksDBus adapter;
            VolumeEjector::eject(adapter, rootPath, u"Stick"_s);
        };
        BlockingWait::wait(Background::run(job));
    }

    QProcess bus;
    std::unique_ptr<QDBusConnection> service;
    FakeUDisksService udisks;
    QTemporaryDir stick;
};

} // namespace

// One case: the process's system bus connection is made once and cannot follow a second bus.
TEST_F(UDisksDBusTest, FindsTheFileSystemOfAFolderOnTheBusThenUnmountsAndPowersOffOrTellsARefusal)
{
    ejectInBackground(stick.filePath(u"Music"_s));
    EXPECT_EQ(udisks.calls, (QStringList{u"GetManagedObjects /org/freedesktop/UDisks2"_s,
                                         u"GetAll /org/freedesktop/UDisks2/drives/Stick"_s,
                                         u"Unmount /org/freedesktop/UDisks2/block_devices/sdb1"_s,
                                         u"PowerOff /org/freedesktop/UDisks2/drives/Stick"_s}));

    udisks.calls.clear();
    udisks.unmountRefusal = u"org.freedesktop.UDisks2.Error.DeviceBusy"_s;
    try {
        ejectInBackground(stick.path());
        ADD_FAILURE() << "ejected";
    } catch (const VolumeEjector::EjectError& error) {
        EXPECT_EQ(error.kind(), VolumeEjector::EjectError::Kind::busy);
    }
    EXPECT_EQ(udisks.calls.size(), 3);
}
