#include "sync/VolumeMonitor.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Stands for the operating system: a listing and events the test sends.
class FakeVolumeSource final : public VolumeSource {
public:
    explicit FakeVolumeSource(QList<Volume> listing, int* starts) : m_listing(std::move(listing)), m_starts(starts) {}

    QList<Volume> mountedVolumes() const override { return m_listing; }
    void start() override { ++*m_starts; }
    void stop() override {}

private:
    QList<Volume> m_listing;
    int* m_starts;
};

VolumeSource::Volume volume(const QString& name, const QString& path, bool removable = true)
{
    return {name, path, removable, u"vfat"_s};
}

QStringList names(const VolumeMonitor& monitor)
{
    QStringList result;
    for (const MountedVolume& v : monitor.volumes())
        result.append(v.name + u'@' + v.url.toLocalFile());
    return result;
}

} // namespace

TEST(VolumeMonitor, StartsFromTheListingOfRemovableNamedVolumes)
{
    int starts = 0;
    VolumeMonitor monitor(std::make_unique<FakeVolumeSource>(
        QList{volume(u"STICK"_s, u"/media/STICK"_s), volume(u"Disk"_s, u"/mnt/disk"_s, false),
              volume(QString(), u"/media/nameless"_s), volume(u"CARD"_s, u"/media/CARD"_s)},
        &starts));
    EXPECT_EQ(names(monitor), (QStringList{u"STICK@/media/STICK"_s, u"CARD@/media/CARD"_s}));
    monitor.start();
    monitor.start();
    EXPECT_EQ(starts, 1);
}

TEST(VolumeMonitor, AppearedAndDisappearedKeepOneEntryPerMountPoint)
{
    int starts = 0;
    auto owned = std::make_unique<FakeVolumeSource>(QList{volume(u"STICK"_s, u"/media/STICK"_s)}, &starts);
    FakeVolumeSource* source = owned.get();
    VolumeMonitor monitor(std::move(owned));
    QSignalSpy changed(&monitor, &VolumeMonitor::volumesChanged);

    emit source->appeared(volume(u"Internal"_s, u"/mnt/internal"_s, false));
    emit source->appeared(volume(u"STICK again"_s, u"/media/STICK"_s));
    EXPECT_EQ(changed.count(), 0);

    emit source->appeared(volume(u"My Card"_s, u"/media/me/My Card"_s));
    emit source->appeared(volume(u"Phone"_s, u"/media/Phone"_s));
    EXPECT_EQ(names(monitor),
              (QStringList{u"STICK@/media/STICK"_s, u"My Card@/media/me/My Card"_s, u"Phone@/media/Phone"_s}));
    EXPECT_EQ(changed.count(), 2);

    emit source->disappeared(u"/media/unknown"_s);
    EXPECT_EQ(changed.count(), 2);
    emit source->disappeared(u"/media/me/My Card"_s);
    EXPECT_EQ(names(monitor), (QStringList{u"STICK@/media/STICK"_s, u"Phone@/media/Phone"_s}));
    EXPECT_EQ(changed.count(), 3);
}
