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
    return profile;
}

} // namespace

TEST(DeviceProfileJson, RoundTripsAllSixteenKeys)
{
    const DeviceProfile profile = sampleProfile();
    const QJsonObject o = toQt(profile);
    EXPECT_EQ(o.keys().size(), 16);
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
                            "podcastsFolder", "playlistsFolder"})
        o.remove(QLatin1StringView(key));
    const DeviceProfile profile = fromQt<DeviceProfile>(o);
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
