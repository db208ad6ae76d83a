#include "platform/MountTable.h"
#include "platform/MountVolumeSource.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/mount.h>

using namespace Qt::StringLiterals;

namespace {

// A laptop's table with a USB stick whose label has a blank, an SD card, a bind mount of a
// system folder, the stick mounted a second time, and the usual pseudo file systems.
const QByteArray laptop = R"(22 29 0:21 / /sys rw,nosuid,nodev,noexec,relatime shared:7 - sysfs sysfs rw
23 29 0:22 / /proc rw,nosuid,nodev,noexec,relatime shared:13 - proc proc rw
24 29 0:5 / /dev rw,nosuid,relatime shared:2 - devtmpfs udev rw,size=8038432k,nr_inodes=2009608,mode=755
26 29 0:24 / /run rw,nosuid,nodev,noexec,relatime shared:5 - tmpfs tmpfs rw,size=1614400k,mode=755
29 1 259:2 / / rw,relatime shared:1 - ext4 /dev/nvme0n1p2 rw,errors=remount-ro
30 29 259:1 / /boot/efi rw,relatime shared:30 - vfat /dev/nvme0n1p1 rw,fmask=0077,dmask=0077
31 29 259:2 /srv/share /mnt/share rw,relatime shared:1 - ext4 /dev/nvme0n1p2 rw,errors=remount-ro
32 29 259:2 / /mnt/whole rw,relatime shared:1 - ext4 /dev/nvme0n1p2 rw,errors=remount-ro
412 26 8:17 / /media/anna/MY\040STICK rw,nosuid,nodev,relatime shared:236 - vfat /dev/sdb1 rw,uid=1000,gid=1000,fmask=0022,dmask=0022,codepage=437,iocharset=ascii,shortname=mixed,showexec,utf8,flush,errors=remount-ro
413 26 179:1 / /media/anna/3431-6230 rw,nosuid,nodev,relatime shared:240 - exfat /dev/mmcblk0p1 rw,uid=1000,gid=1000,fmask=0022,dmask=0022,iocharset=utf8,errors=remount-ro
414 29 8:17 / /home/anna/stick rw,relatime shared:236 - vfat /dev/sdb1 rw
415 26 0:50 / /run/user/1000/gvfs rw,nosuid,nodev,relatime shared:300 - fuse.gvfsd-fuse gvfsd-fuse rw,user_id=1000,group_id=1000
)";

} // namespace

TEST(MountTable, ParsesEveryLineWithItsEscapes)
{
    const QList<MountTable::Mount> mounts = MountTable::parse(laptop);
    ASSERT_EQ(mounts.size(), 12);
    const MountTable::Mount& stick = mounts.at(8);
    EXPECT_EQ(stick.mountID, 412);
    EXPECT_EQ(stick.parentID, 26);
    EXPECT_EQ(stick.deviceMajor, 8u);
    EXPECT_EQ(stick.deviceMinor, 17u);
    EXPECT_EQ(stick.root, u"/"_s);
    EXPECT_EQ(stick.mountPoint, u"/media/anna/MY STICK"_s);
    EXPECT_EQ(stick.fileSystemType, u"vfat"_s);
    EXPECT_EQ(stick.source, u"/dev/sdb1"_s);
    EXPECT_EQ(mounts.at(6).root, u"/srv/share"_s);

    // Tabs, newlines and backslashes are escaped the same way; a broken line is passed over.
    const auto odd = MountTable::parse("90 1 8:33 / /media/a\\011b\\012c\\134d rw - ext4 /dev/sdc1 rw\n"
                                       "garbage line\n"
                                       "91 1 8:34 / /media/short rw\n"
                                       "92 1 8:35 / /media/no\\04 rw - ext4 /dev/sdc3 rw\n");
    ASSERT_EQ(odd.size(), 2);
    EXPECT_EQ(odd.at(0).mountPoint, u"/media/a\tb\nc\\d"_s);
    EXPECT_EQ(odd.at(1).mountPoint, u"/media/no\\04"_s);
}

TEST(MountTable, VolumeCandidatesLeaveOutPseudoBindRootAndRepeatedMounts)
{
    QStringList points;
    for (const MountTable::Mount& mount : MountTable::volumeCandidates(MountTable::parse(laptop)))
        points.append(mount.mountPoint);
    EXPECT_EQ(points, (QStringList{u"/boot/efi"_s, u"/media/anna/MY STICK"_s, u"/media/anna/3431-6230"_s}));

    // The stick's line gone: it is no longer a candidate.
    QByteArray removed = laptop;
    removed.replace(removed.indexOf("412 26"), removed.indexOf("413 26") - removed.indexOf("412 26"), "");
    points.clear();
    for (const MountTable::Mount& mount : MountTable::volumeCandidates(MountTable::parse(removed)))
        points.append(mount.mountPoint);
    EXPECT_EQ(points, (QStringList{u"/boot/efi"_s, u"/media/anna/3431-6230"_s, u"/home/anna/stick"_s}));
}

TEST(MountTable, TheMountHoldingAPathIsTheLongestMatch)
{
    const QList<MountTable::Mount> mounts = MountTable::parse(laptop);
    EXPECT_EQ(MountTable::mountHolding(mounts, u"/media/anna/MY STICK/Music"_s)->fileSystemType, u"vfat"_s);
    EXPECT_EQ(MountTable::mountHolding(mounts, u"/media/anna/MY STICK"_s)->source, u"/dev/sdb1"_s);
    // A sibling whose name begins the same is not inside.
    EXPECT_EQ(MountTable::mountHolding(mounts, u"/media/anna/MY STICKS"_s)->mountPoint, u"/"_s);
    EXPECT_FALSE(MountTable::mountHolding(mounts, u"relative/path"_s));
    EXPECT_FALSE(MountTable::mountHolding({}, u"/x"_s));
}

TEST(MountVolumeSource, NameIsTheLabelElseTheFolderAndUsbCountsAsRemovable)
{
    const QList<MountTable::Mount> mounts = MountTable::parse(laptop);
    const MountTable::Mount& stick = mounts.at(8);
    auto volume = MountVolumeSource::volumeFor(stick, {.removableFlag = false, .bus = u"usb"_s, .label = u"MY STICK"_s});
    EXPECT_EQ(volume, (VolumeSource::Volume{u"MY STICK"_s, u"/media/anna/MY STICK"_s, true, u"vfat"_s}));

    volume = MountVolumeSource::volumeFor(mounts.at(9), {.removableFlag = true});
    EXPECT_EQ(volume.name, u"3431-6230"_s);
    EXPECT_TRUE(volume.removable);
    EXPECT_EQ(volume.fileSystemType, u"exfat"_s);

    EXPECT_FALSE(MountVolumeSource::volumeFor(mounts.at(5), {.bus = u"nvme"_s}).removable);
}

TEST(MountTable, ChangesBetweenTwoTablesByMountPointAndDevice)
{
    const QList<MountTable::Mount> before = MountTable::volumeCandidates(MountTable::parse(laptop));
    QByteArray text = laptop;
    // The stick unplugged, and a card of another device in the reader under the old name.
    text.replace(text.indexOf("412 26"), text.indexOf("413 26") - text.indexOf("412 26"), "");
    text.replace("179:1 / /media/anna/3431-6230", "179:9 / /media/anna/3431-6230");
    text.replace("/dev/mmcblk0p1", "/dev/mmcblk1p1");
    const QList<MountTable::Mount> after = MountTable::volumeCandidates(MountTable::parse(text));

    const MountTable::Changes changes = MountTable::changes(before, after);
    EXPECT_EQ(changes.gone, (QStringList{u"/media/anna/MY STICK"_s, u"/media/anna/3431-6230"_s}));
    QStringList came;
    for (const MountTable::Mount& mount : changes.came)
        came.append(mount.mountPoint + u' ' + mount.source);
    EXPECT_EQ(came, (QStringList{u"/media/anna/3431-6230 /dev/mmcblk1p1"_s, u"/home/anna/stick /dev/sdb1"_s}));

    EXPECT_TRUE(MountTable::changes(after, after).gone.isEmpty());
    EXPECT_TRUE(MountTable::changes(after, after).came.isEmpty());
}

TEST(MountVolumeSource, AMountAndAnUnmountArriveAsSignals)
{
    QTemporaryDir folder;
    const QByteArray point = QFile::encodeName(folder.filePath(u"mount point"_s));
    QDir().mkpath(folder.filePath(u"mount point"_s));
    MountVolumeSource source;
    source.start();
    QSignalSpy appeared(&source, &VolumeSource::appeared);
    QSignalSpy disappeared(&source, &VolumeSource::disappeared);
    // A tmpfs takes any source text, so it can pass for a device; only a privileged run may mount.
    if (::mount("/dev/velmo-test", point.constData(), "tmpfs", 0, nullptr) != 0)
        GTEST_SKIP() << "mounting needs privileges this run does not have";
    const bool cameWithinTime = appeared.wait(5000);
    ::umount(point.constData());
    ASSERT_TRUE(cameWithinTime);
    const auto volume = appeared.constFirst().constFirst().value<VolumeSource::Volume>();
    EXPECT_EQ(volume.path, QString::fromUtf8(point));
    EXPECT_EQ(volume.name, u"mount point"_s);
    EXPECT_EQ(volume.fileSystemType, u"tmpfs"_s);
    EXPECT_FALSE(volume.removable);
    ASSERT_TRUE(disappeared.count() > 0 || disappeared.wait(5000));
    EXPECT_EQ(disappeared.constFirst().constFirst().toString(), QString::fromUtf8(point));
    source.stop();
}
