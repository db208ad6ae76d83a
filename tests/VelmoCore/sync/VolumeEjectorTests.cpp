#include "platform/UDisks.h"
#include "sync/VolumeEjector.h"

#include <QHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// The disk service as a table of file systems and drives; it records each call and refuses
// those it is told to.
class FakeUDisks final : public UDisks {
public:
    QList<FileSystem> fileSystems;
    QHash<QString, Drive> drives;
    QHash<QString, CallError> refusals; // by "method object"
    QStringList calls;

    QList<FileSystem> mountedFileSystems() override
    {
        record(u"list"_s, {});
        return fileSystems;
    }
    Drive drive(const QString& object) override { return drives.value(object); }
    void unmount(const QString& object) override { record(u"unmount"_s, object); }
    void eject(const QString& object) override { record(u"eject"_s, object); }
    void powerOff(const QString& object) override { record(u"powerOff"_s, object); }

private:
    void record(const QString& method, const QString& object)
    {
        const QString call = object.isEmpty() ? method : method + u' ' + object;
        calls.append(call);
        if (const auto refusal = refusals.constFind(call); refusal != refusals.cend())
            throw *refusal;
    }
};

const UDisks::Drive usbStick{.removable = true, .ejectable = false, .canPowerOff = true, .connectionBus = u"usb"_s};
const UDisks::Drive cardReader{.removable = true, .ejectable = true, .canPowerOff = false, .connectionBus = u"sdio"_s};
const UDisks::Drive fixedDisk{.removable = false, .ejectable = false, .canPowerOff = false, .connectionBus = QString()};

class VolumeEjectorTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        udisks.fileSystems = {{u"/block/sda1"_s, u"/drive/ssd"_s, {u"/"_s}},
                              {u"/block/sdb1"_s, u"/drive/stick"_s, {u"/media/me/STICK"_s}},
                              {u"/block/mmc"_s, u"/drive/card"_s, {u"/media/me/CARD/"_s}}};
        udisks.drives = {{u"/drive/ssd"_s, fixedDisk}, {u"/drive/stick"_s, usbStick}, {u"/drive/card"_s, cardReader}};
    }

    VolumeEjector::EjectError::Kind failureKind(const QString& rootPath)
    {
        try {
            VolumeEjector::eject(udisks, rootPath, u"Walkman"_s);
        } catch (const VolumeEjector::EjectError& error) {
            lastMessage = error.message();
            return error.kind();
        }
        ADD_FAILURE() << "ejected " << rootPath.toStdString();
        return VolumeEjector::EjectError::Kind::refused;
    }

    FakeUDisks udisks;
    QString lastMessage;
};

} // namespace

TEST_F(VolumeEjectorTest, AUsbStickIsUnmountedThenSwitchedOffAndACardEjected)
{
    VolumeEjector::eject(udisks, u"/media/me/STICK/Music Folder"_s, u"Walkman"_s);
    EXPECT_EQ(udisks.calls, (QStringList{u"list"_s, u"unmount /block/sdb1"_s, u"powerOff /drive/stick"_s}));

    udisks.calls.clear();
    VolumeEjector::eject(udisks, u"/media/me/CARD"_s, u"Camera"_s);
    EXPECT_EQ(udisks.calls, (QStringList{u"list"_s, u"unmount /block/mmc"_s, u"eject /drive/card"_s}));
}

TEST_F(VolumeEjectorTest, TheDeepestMountPointWinsAndANameThatMerelyBeginsAlikeDoesNot)
{
    // /media/me/STICK2 begins with the stick's mount point but is not below it: it lies on the
    // fixed disk mounted at /.
    EXPECT_EQ(failureKind(u"/media/me/STICK2"_s), VolumeEjector::EjectError::Kind::notRemovable);
    EXPECT_EQ(udisks.calls, QStringList{u"list"_s});
    EXPECT_EQ(lastMessage, u"“Walkman” lies on a fixed disk, which is not ejected."_s);
}

TEST_F(VolumeEjectorTest, APathOnNoMountedFileSystemIsNotMounted)
{
    udisks.fileSystems.removeFirst();
    EXPECT_EQ(failureKind(u"/run/elsewhere"_s), VolumeEjector::EjectError::Kind::notMounted);
    EXPECT_EQ(lastMessage, u"“Walkman” is not mounted."_s);
}

TEST_F(VolumeEjectorTest, TheSystemsRefusalsAreToldInWords)
{
    using Kind = VolumeEjector::EjectError::Kind;
    udisks.refusals.insert(u"unmount /block/sdb1"_s,
                           UDisks::CallError(u"org.freedesktop.UDisks2.Error.DeviceBusy"_s, u"target is busy"_s));
    EXPECT_EQ(failureKind(u"/media/me/STICK"_s), Kind::busy);
    EXPECT_EQ(lastMessage, u"“Walkman” can't be ejected because a file on it is still open. Close it and try again."_s);
    EXPECT_FALSE(udisks.calls.contains(u"powerOff /drive/stick"_s));

    udisks.refusals.insert(u"unmount /block/sdb1"_s,
                           UDisks::CallError(u"org.freedesktop.UDisks2.Error.NotAuthorizedCanObtain"_s, u"policy"_s));
    EXPECT_EQ(failureKind(u"/media/me/STICK"_s), Kind::notPermitted);
    EXPECT_EQ(lastMessage, u"“Walkman” can't be ejected: the system does not permit it."_s);

    udisks.refusals.insert(u"list"_s, UDisks::CallError(u"org.freedesktop.DBus.Error.ServiceUnknown"_s, u"no"_s));
    EXPECT_EQ(failureKind(u"/media/me/STICK"_s), Kind::serviceUnavailable);

    udisks.refusals.insert(u"list"_s, UDisks::CallError(u"org.freedesktop.UDisks2.Error.Failed"_s, u"I/O error"_s));
    EXPECT_EQ(failureKind(u"/media/me/STICK"_s), Kind::refused);
    EXPECT_EQ(lastMessage, u"“Walkman” can't be ejected: I/O error"_s);
}

TEST_F(VolumeEjectorTest, AnAlreadyUnmountedVolumeOrADriveThatStaysOnIsStillEjected)
{
    udisks.refusals.insert(u"unmount /block/sdb1"_s,
                           UDisks::CallError(u"org.freedesktop.UDisks2.Error.NotMounted"_s, u"not mounted"_s));
    udisks.refusals.insert(u"powerOff /drive/stick"_s,
                           UDisks::CallError(u"org.freedesktop.UDisks2.Error.DeviceBusy"_s, u"sdb2 is mounted"_s));
    EXPECT_NO_THROW(VolumeEjector::eject(udisks, u"/media/me/STICK"_s, u"Walkman"_s));
    EXPECT_EQ(udisks.calls.last(), u"powerOff /drive/stick"_s);
}

TEST_F(VolumeEjectorTest, ASymbolicLinkToTheVolumeIsFollowed)
{
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString mountPoint = folder.filePath(u"mnt"_s);
    ASSERT_TRUE(QDir().mkpath(mountPoint));
    ASSERT_TRUE(QFile::link(mountPoint, folder.filePath(u"link"_s)));
    udisks.fileSystems.append({u"/block/sdc1"_s, u"/drive/stick"_s, {QFileInfo(mountPoint).canonicalFilePath()}});
    VolumeEjector::eject(udisks, folder.filePath(u"link"_s), u"Walkman"_s);
    EXPECT_TRUE(udisks.calls.contains(u"unmount /block/sdc1"_s));
}
