#include "support/JsonHelpers.h"
#include "sync/DeviceProfile.h"

#include <QJsonArray>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

DeviceProfile sampleProfile()
{
    DeviceProfile profile;
    profile.id = QUuid::createUuid();
    profile.name = u"Walkman"_s;
    profile.rootPath = u"/media/me/WALKMAN"_s;
    profile.syncScope = SyncScope::selectedPlaylists;
    profile.playlistIDs = {QUuid::createUuid()};
    profile.smartPlaylistIDs = {QUuid::createUuid()};
    profile.manualTrackIDs = {QUuid::createUuid(), QUuid::createUuid()};
    profile.outputFormat = OutputFormat::aac;
    profile.transcodeBitrate = 256;
    profile.folderStructure = FolderStructure::flat;
    profile.syncPodcasts = false;
    profile.podcastConfigs = {{QUuid::createUuid(), {false}}, {QUuid::createUuid(), {true}}};
    profile.musicFolder = u"MUSIC"_s;
    profile.coverSize = CoverSize::px300;
    profile.writeCoverFiles = true;
    return profile;
}

} // namespace

TEST(DeviceProfileJson, RoundTripsAllEighteenKeys)
{
    const DeviceProfile profile = sampleProfile();
    const QJsonObject o = toQt(profile);
    EXPECT_EQ(o.keys().size(), 18);
    EXPECT_EQ(o.value("coverSize"_L1).toString(), u"300px"_s);
    EXPECT_EQ(o.value("outputFormat"_L1).toString(), u"aac"_s);
    EXPECT_EQ(o.value("folderStructure"_L1).toString(), u"flat"_s);
    EXPECT_EQ(fromQt<DeviceProfile>(o), profile);
}

TEST(DeviceProfileJson, PodcastConfigsAreAnArrayOfAlternatingKeysAndValues)
{
    DeviceProfile profile = sampleProfile();
    const QUuid podcast = QUuid::fromString(u"11111111-2222-3333-4444-555555555555"_s);
    profile.podcastConfigs = {{podcast, {false}}};
    const QJsonArray configs = toQt(profile).value("podcastConfigs"_L1).toArray();
    ASSERT_EQ(configs.size(), 2);
    EXPECT_EQ(configs.at(0).toString(), u"11111111-2222-3333-4444-555555555555"_s);
    EXPECT_EQ(configs.at(1).toObject(), (QJsonObject{{u"enabled"_s, false}}));

    QJsonObject odd = toQt(profile);
    odd.insert("podcastConfigs"_L1, QJsonArray{configs.at(0)});
    EXPECT_THROW(fromQt<DeviceProfile>(odd), DecodingError);
}

TEST(DeviceProfileJson, OlderFilesFillTheLaterKeysWithDefaults)
{
    QJsonObject o = toQt(sampleProfile());
    for (const char* key : {"smartPlaylistIDs", "manualTrackIDs", "podcastConfigs", "musicFolder",
                            "podcastsFolder", "playlistsFolder", "coverSize", "writeCoverFiles"})
        o.remove(QLatin1StringView(key));
    DeviceProfile profile = fromQt<DeviceProfile>(o);
    EXPECT_FALSE(profile.coverSize);
    EXPECT_FALSE(profile.writeCoverFiles);
    // Covers fit a player's screen by default only where the files are made for the device.
    EXPECT_EQ(profile.coverPixels(), 500);
    profile.outputFormat = OutputFormat::keepSource;
    EXPECT_EQ(profile.coverPixels(), std::nullopt);
    profile.coverSize = CoverSize::px300;
    EXPECT_EQ(profile.coverPixels(), 300);
    EXPECT_TRUE(profile.smartPlaylistIDs.isEmpty());
    EXPECT_TRUE(profile.manualTrackIDs.isEmpty());
    EXPECT_TRUE(profile.podcastConfigs.isEmpty());
    EXPECT_EQ(profile.musicFolder, u"Music"_s);
    EXPECT_EQ(profile.podcastsFolder, u"Podcasts"_s);
    EXPECT_EQ(profile.playlistsFolder, u"Playlists"_s);
}

TEST(DeviceProfileJson, RequiredKeysAndKnownRawValues)
{
    const QJsonObject good = toQt(sampleProfile());
    for (const char* key : {"id", "name", "rootPath", "syncScope", "playlistIDs", "outputFormat",
                            "transcodeBitrate", "folderStructure", "syncPlaylists", "syncPodcasts"}) {
        QJsonObject o = good;
        o.remove(QLatin1StringView(key));
        EXPECT_THROW(fromQt<DeviceProfile>(o), DecodingError) << key;
    }
    QJsonObject unknown = good;
    unknown.insert("outputFormat"_L1, u"ogg"_s);
    EXPECT_THROW(fromQt<DeviceProfile>(unknown), DecodingError);
}

TEST(DeviceProfileProblems, FoldersArePlainRelativeNamesTheRootIsAbsoluteAndBitRatesComeFromTheEncoders)
{
    for (const QString& good : {u"Music"_s, u"Audio/Music"_s, u"My Music"_s, u"..Music"_s, u"Musik…"_s})
        EXPECT_FALSE(DeviceProfile::checkFolder(u"musicFolder"_s, good)) << good.toStdString();
    for (const QString& bad : {u""_s, u"."_s, u".."_s, u"../Other"_s, u"Music/../../x"_s, u"/etc"_s, u"Music/"_s,
                               u"A//B"_s, u"Mu\nsic"_s}) {
        const std::optional<DeviceProfile::Problem> problem = DeviceProfile::checkFolder(u"podcastsFolder"_s, bad);
        ASSERT_TRUE(problem) << bad.toStdString();
        EXPECT_EQ(problem->kind(), DeviceProfile::Problem::Kind::folderOutsideRoot);
        EXPECT_TRUE(problem->message().startsWith(u"podcastsFolder must name a folder inside the device"_s));
    }
    EXPECT_FALSE(DeviceProfile::checkRootPath(u"/media/stick"_s));
    for (const QString& relative : {u"."_s, u""_s, u"media/stick"_s, u"~/stick"_s})
        EXPECT_EQ(DeviceProfile::checkRootPath(relative)->kind(), DeviceProfile::Problem::Kind::relativeRoot);

    for (const qint64 rate : {32, 128, 160, 192, 256, 320})
        EXPECT_FALSE(DeviceProfile::checkBitrate(rate)) << rate;
    for (const qint64 rate : {qint64(-5), qint64(0), qint64(31), qint64(321), qint64(999999999999), qint64(9300000000000000)})
        EXPECT_EQ(DeviceProfile::checkBitrate(rate)->kind(), DeviceProfile::Problem::Kind::unsupportedBitrate) << rate;
    EXPECT_EQ(DeviceProfile::checkBitrate(-5)->message(),
              u"transcodeBitrate must be one of 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320 (kbit/s), "
              "not -5."_s);
}

TEST(DeviceProfileProblems, AStoredProfileKeepsItsBadValueAndSaysWhatNeedsRepair)
{
    DeviceProfile profile = sampleProfile();
    EXPECT_FALSE(profile.problem());
    profile.playlistsFolder = u"../../home"_s;
    profile.transcodeBitrate = 9300000000000000;
    const DeviceProfile read = Json::decode<DeviceProfile>(Json::encode(profile));
    EXPECT_EQ(read, profile) << "read as it is, for the user to see and repair";
    ASSERT_TRUE(read.problem());
    EXPECT_EQ(read.problem()->field(), u"playlistsFolder"_s);
    profile.playlistsFolder = u"Playlists"_s;
    EXPECT_EQ(profile.problem()->field(), u"transcodeBitrate"_s);
}
