#include "facade/Library.h"
#include "facade/LibraryStores.h"
#include "library/Settings.h"
#include "support/JsonHelpers.h"
#include "support/TestEnvironment.h"
#include "sync/VelmoDeviceFile.h"

#include <QDir>
#include <QFileInfo>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class LibraryDeviceTest : public ::testing::Test {
protected:
    void SetUp() override { TestEnvironment::clearSettings(); }
    void TearDown() override { TestEnvironment::clearSettings(); }

    std::unique_ptr<Library> open() const
    {
        return std::make_unique<Library>(QUrl::fromLocalFile(stores.folder() + u"/Music"_s));
    }

    static QList<DeviceProfile> stored() { return LibraryStores::readDeviceProfiles().value; }
    static QString storePath() { return StoreLocations::path(StoreKind::deviceProfiles); }

    TemporaryStores stores;
};

} // namespace

TEST_F(LibraryDeviceTest, NewProfileTakesTheDescribedDefaultsWhenNoPreferenceIsSet)
{
    DeviceProfile created;
    {
        const auto library = open();
        QSignalSpy changed(library.get(), &Library::deviceProfilesChanged);
        created = library->createDeviceProfile(u"Walkman"_s, u"/media/me/WALKMAN"_s);
        EXPECT_EQ(changed.count(), 1);
        ASSERT_EQ(library->deviceProfiles(), QList<DeviceProfile>{created});
    }
    EXPECT_FALSE(created.id.isNull());
    EXPECT_EQ(created.name, u"Walkman"_s);
    EXPECT_EQ(created.rootPath, u"/media/me/WALKMAN"_s);
    EXPECT_EQ(created.syncScope, SyncScope::fullLibrary);
    EXPECT_TRUE(created.playlistIDs.isEmpty() && created.smartPlaylistIDs.isEmpty() && created.manualTrackIDs.isEmpty());
    EXPECT_EQ(created.outputFormat, OutputFormat::keepSource);
    EXPECT_EQ(created.transcodeBitrate, 320);
    EXPECT_EQ(created.folderStructure, FolderStructure::artistAlbumTrack);
    EXPECT_TRUE(created.syncPlaylists);
    EXPECT_TRUE(created.syncPodcasts);
    EXPECT_TRUE(created.podcastConfigs.isEmpty());
    EXPECT_EQ(created.musicFolder, u"Music"_s);
    EXPECT_EQ(created.podcastsFolder, u"Podcasts"_s);
    EXPECT_EQ(created.playlistsFolder, u"Playlists"_s);
    EXPECT_EQ(stored(), QList<DeviceProfile>{created});
}

TEST_F(LibraryDeviceTest, NewProfileTakesTheFivePreferenceDefaults)
{
    Settings::setValue(Settings::defaultOutputFormat, OutputFormat::aac);
    Settings::setValue(Settings::defaultBitrate, qint64(192));
    Settings::setValue(Settings::defaultFolderStructure, FolderStructure::flat);
    Settings::setValue(Settings::defaultSyncPlaylists, false);
    Settings::setValue(Settings::defaultSyncPodcasts, false);
    const auto library = open();
    const DeviceProfile created = library->createDeviceProfile(u"Car"_s, u"/media/me/CAR"_s);
    EXPECT_EQ(created.outputFormat, OutputFormat::aac);
    EXPECT_EQ(created.transcodeBitrate, 192);
    EXPECT_EQ(created.folderStructure, FolderStructure::flat);
    EXPECT_FALSE(created.syncPlaylists);
    EXPECT_FALSE(created.syncPodcasts);
    // What the preferences do not cover stays as it always is.
    EXPECT_EQ(created.syncScope, SyncScope::fullLibrary);
    EXPECT_EQ(created.musicFolder, u"Music"_s);
}

TEST_F(LibraryDeviceTest, UpdateReplacesByIdAndDeleteKeepsTheOrderOfTheRest)
{
    const auto library = open();
    const DeviceProfile a = library->createDeviceProfile(u"A"_s, u"/a"_s);
    DeviceProfile b = library->createDeviceProfile(u"B"_s, u"/b"_s);
    const DeviceProfile c = library->createDeviceProfile(u"C"_s, u"/c"_s);

    b.name = u"B2"_s;
    b.outputFormat = OutputFormat::mp3;
    library->updateDeviceProfile(b);
    EXPECT_EQ(library->deviceProfiles(), (QList<DeviceProfile>{a, b, c}));

    QSignalSpy changed(library.get(), &Library::deviceProfilesChanged);
    DeviceProfile stranger = b;
    stranger.id = QUuid::createUuid();
    library->updateDeviceProfile(stranger);
    EXPECT_EQ(changed.count(), 0);

    library->deleteDeviceProfile(b.id);
    EXPECT_EQ(library->deviceProfiles(), (QList<DeviceProfile>{a, c}));
    library->flush();
    EXPECT_EQ(stored(), (QList<DeviceProfile>{a, c}));
}

TEST_F(LibraryDeviceTest, DeletingAProfileLeavesItsIdentityFileOnTheDevice)
{
    const QString device = stores.folder() + u"/device"_s;
    QDir().mkpath(device);
    const auto library = open();
    const DeviceProfile profile = library->createDeviceProfile(u"Stick"_s, device);
    VelmoDeviceFile::write(profile.id, device);
    library->deleteDeviceProfile(profile.id);
    EXPECT_TRUE(library->deviceProfiles().isEmpty());
    EXPECT_EQ(VelmoDeviceFile::read(device), VelmoDeviceFile{profile.id});
}

TEST_F(LibraryDeviceTest, ManualTracksAreAppendedOnceInTheOrderGivenAndRemovedKeepingTheRest)
{
    const QUuid t1 = QUuid::createUuid(), t2 = QUuid::createUuid(), t3 = QUuid::createUuid();
    const auto library = open();
    const DeviceProfile profile = library->createDeviceProfile(u"P"_s, u"/p"_s);

    library->addTracksToDevice({t2, t1, t2}, profile.id);
    library->addTracksToDevice({t1, t3}, profile.id);
    EXPECT_EQ(library->deviceProfiles().constFirst().manualTrackIDs, (QList<QUuid>{t2, t1, t3}));

    library->removeTracksFromDevice({t1, QUuid::createUuid()}, profile.id);
    EXPECT_EQ(library->deviceProfiles().constFirst().manualTrackIDs, (QList<QUuid>{t2, t3}));

    QSignalSpy changed(library.get(), &Library::deviceProfilesChanged);
    library->addTracksToDevice({t1}, QUuid::createUuid());
    library->removeTracksFromDevice({t2}, QUuid::createUuid());
    EXPECT_EQ(changed.count(), 0);
    EXPECT_EQ(library->deviceProfiles().constFirst().manualTrackIDs, (QList<QUuid>{t2, t3}));
}

TEST_F(LibraryDeviceTest, AddingOnlyKnownTracksWritesNothing)
{
    const QUuid t1 = QUuid::createUuid();
    {
        const auto library = open();
        const DeviceProfile profile = library->createDeviceProfile(u"P"_s, u"/p"_s);
        library->addTracksToDevice({t1}, profile.id);
    }
    const QDateTime written = QDateTime::currentDateTimeUtc().addSecs(-3600);
    {
        QFile file(storePath());
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.setFileTime(written, QFileDevice::FileModificationTime));
    }
    const QByteArray before = readFile(storePath());
    {
        const auto library = open();
        QSignalSpy changed(library.get(), &Library::deviceProfilesChanged);
        library->addTracksToDevice({t1}, library->deviceProfiles().constFirst().id);
        EXPECT_EQ(changed.count(), 0);
    }
    EXPECT_EQ(readFile(storePath()), before);
    EXPECT_EQ(QFileInfo(storePath()).lastModified().toUTC(), written);
}

TEST_F(LibraryDeviceTest, AStoreWithOneBadRecordOpensEmptyAndIsLeftAlone)
{
    DeviceProfile good;
    good.id = QUuid::createUuid();
    good.name = u"Good"_s;
    QJsonObject bad = toQt(good);
    bad.insert("id"_L1, QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper());
    bad.remove("syncPlaylists"_L1);
    const QByteArray text = jsonText(QJsonArray{toQt(good), bad});
    writeFile(storePath(), text);

    const auto read = LibraryStores::readDeviceProfiles();
    EXPECT_EQ(read.state, StoreState::corrupt);
    EXPECT_TRUE(read.problem.contains(u"record 2"_s)) << read.problem.toStdString();
    EXPECT_TRUE(read.problem.contains(u"syncPlaylists"_s)) << read.problem.toStdString();
    {
        const auto library = open();
        EXPECT_TRUE(library->deviceProfiles().isEmpty());
    }
    EXPECT_EQ(readFile(storePath()), text);
}

TEST(DeviceProfileSummary, ContentAndFormat)
{
    DeviceProfile profile;
    EXPECT_EQ(profile.contentSummary(), u"Full Library"_s);
    profile.manualTrackIDs = {QUuid::createUuid()};
    EXPECT_EQ(profile.contentSummary(), u"Full Library"_s); // the scope decides, not the lists

    profile.syncScope = SyncScope::selectedPlaylists;
    EXPECT_EQ(profile.contentSummary(), u"1 track"_s);
    profile.smartPlaylistIDs = {QUuid::createUuid()};
    EXPECT_EQ(profile.contentSummary(), u"1 playlist · 1 track"_s);
    profile.playlistIDs = {QUuid::createUuid()};
    profile.manualTrackIDs.append(QUuid::createUuid());
    EXPECT_EQ(profile.contentSummary(), u"2 playlists · 2 tracks"_s);
    profile.manualTrackIDs.clear();
    EXPECT_EQ(profile.contentSummary(), u"2 playlists"_s);
    profile.playlistIDs.clear();
    profile.smartPlaylistIDs.clear();
    EXPECT_EQ(profile.contentSummary(), u"No content selected"_s);

    EXPECT_EQ(profile.formatSummary(), u"Original format"_s);
    profile.outputFormat = OutputFormat::mp3;
    profile.transcodeBitrate = 256;
    EXPECT_EQ(profile.formatSummary(), u"MP3 · 256 kbps"_s);
    profile.outputFormat = OutputFormat::aac;
    profile.transcodeBitrate = 100;
    EXPECT_EQ(profile.formatSummary(), u"AAC · 100 kbps"_s);
}
