#include "VelmoTest.h"
#include "facade/LibraryStores.h"
#include "library/LibraryLock.h"
#include "library/Settings.h"
#include "library/StoreLocations.h"
#include "library/TagReader.h"
#include "support/EncodedAudio.h"
#include "support/TrackFactory.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

class DeviceCommandTest : public VelmoTest {
protected:
    void SetUp() override
    {
        VelmoTest::SetUp();
        initLibrary();
        for (const QString& title : {u"One"_s, u"Two"_s, u"Three"_s}) {
            Track track = makeTrack(title, u"Band"_s, u"Album"_s);
            track.url = QUrl::fromLocalFile(root() + u"/Band/Album/"_s + title + u".flac"_s);
            writeFile(track.path(), "audio");
            tracks.append(track);
        }
        writeFile(StoreLocations::path(StoreKind::library), LibraryStores::encodeTracks(tracks));
        playlist = {QUuid::createUuid(), u"Road"_s, {tracks.at(1).id}, Date{1}, Date{2}};
        writeFile(StoreLocations::path(StoreKind::playlists), LibraryStores::encodePlaylists({playlist}));
        QDir().mkpath(device());
    }

    QString device() const { return stores.folder() + u"/Stick"_s; }

    static QJsonObject object(const QString& text) { return QJsonDocument::fromJson(text.toUtf8()).object(); }
    static QList<DeviceProfile> profiles() { return LibraryStores::readDeviceProfiles().value; }

    QList<Track> tracks;
    Playlist playlist;
};

} // namespace

TEST_F(DeviceCommandTest, AddListShowAndRemove)
{
    EXPECT_TRUE(velmo({u"device"_s, u"list"_s}).out.contains(u"No device profiles yet"_s));
    Settings::setValue(Settings::defaultOutputFormat, OutputFormat::mp3);

    const VelmoResult added = velmo({u"device"_s, u"add"_s, u"Walkman"_s, device()});
    ASSERT_EQ(added.status, 0) << added.err.toStdString();
    ASSERT_EQ(profiles().size(), 1);
    const DeviceProfile profile = profiles().constFirst();
    EXPECT_EQ(profile.rootPath, device());
    EXPECT_EQ(profile.outputFormat, OutputFormat::mp3);
    EXPECT_TRUE(added.out.contains(u"Full Library"_s)) << added.out.toStdString();

    const QString listed = velmo({u"device"_s, u"list"_s}).out;
    EXPECT_TRUE(listed.contains(u"Walkman"_s) && listed.contains(u"(connected)"_s) && listed.contains(u"MP3 · 320 kbps"_s))
        << listed.toStdString();
    const QJsonArray array = QJsonDocument::fromJson(velmo({u"device"_s, u"list"_s, u"--json"_s}).out.toUtf8()).array();
    ASSERT_EQ(array.size(), 1);
    // Every field but the cover size, which is written once chosen.
    EXPECT_EQ(array.at(0).toObject().keys().size(), 17);

    const QString id = profile.id.toString(QUuid::WithoutBraces).toUpper();
    EXPECT_EQ(object(velmo({u"device"_s, u"show"_s, id, u"--json"_s}).out).value("name"_L1).toString(), u"Walkman"_s);
    const VelmoResult unknown = velmo({u"device"_s, u"show"_s, u"Nope"_s});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_TRUE(unknown.err.contains(u"No device profile is named \"Nope\""_s));

    EXPECT_EQ(velmo({u"device"_s, u"add"_s, u"Walkman"_s, device()}).status, 0);
    const VelmoResult ambiguous = velmo({u"device"_s, u"remove"_s, u"Walkman"_s});
    EXPECT_EQ(ambiguous.status, 1);
    EXPECT_TRUE(ambiguous.err.contains(id)) << ambiguous.err.toStdString();
    EXPECT_EQ(velmo({u"device"_s, u"remove"_s, id}).status, 0);
    ASSERT_EQ(profiles().size(), 1);
    EXPECT_NE(profiles().constFirst().id, profile.id);
}

TEST_F(DeviceCommandTest, SetTakesJsonNamesAndRawValuesAndRefusesWhatDoesNotDecode)
{
    ASSERT_EQ(velmo({u"device"_s, u"add"_s, u"Car"_s, device()}).status, 0);
    const VelmoResult set = velmo({u"device"_s, u"set"_s, u"Car"_s, u"syncScope=selectedPlaylists"_s,
                                   u"outputFormat=aac"_s, u"transcodeBitrate=256"_s, u"folderStructure=flat"_s,
                                   u"musicFolder=MUSIC"_s, u"syncPlaylists=false"_s, u"playlistIDs=Road"_s,
                                   u"manualTrackIDs="_s + tracks.at(2).id.toString()});
    ASSERT_EQ(set.status, 0) << set.err.toStdString();
    const DeviceProfile profile = profiles().constFirst();
    EXPECT_EQ(profile.syncScope, SyncScope::selectedPlaylists);
    EXPECT_EQ(profile.outputFormat, OutputFormat::aac);
    EXPECT_EQ(profile.transcodeBitrate, 256);
    EXPECT_EQ(profile.folderStructure, FolderStructure::flat);
    EXPECT_EQ(profile.musicFolder, u"MUSIC"_s);
    EXPECT_FALSE(profile.syncPlaylists);
    EXPECT_EQ(profile.playlistIDs, QList<QUuid>{playlist.id});
    EXPECT_EQ(profile.manualTrackIDs, QList<QUuid>{tracks.at(2).id});
    EXPECT_TRUE(set.out.contains(u"1 playlist · 1 track"_s)) << set.out.toStdString();

    for (const QString& bad : {u"outputFormat=ogg"_s, u"transcodeBitrate=fast"_s, u"playlistIDs=Nowhere"_s,
                               u"colour=red"_s, u"id=1"_s, u"noequals"_s}) {
        const VelmoResult refused = velmo({u"device"_s, u"set"_s, u"Car"_s, u"name=Renamed"_s, bad});
        EXPECT_EQ(refused.status, 1) << bad.toStdString();
        EXPECT_FALSE(refused.err.isEmpty()) << bad.toStdString();
    }
    EXPECT_EQ(profiles().constFirst(), profile);
}

TEST_F(DeviceCommandTest, DiffJsonGivesTheExactLists)
{
    ASSERT_EQ(velmo({u"device"_s, u"add"_s, u"Stick"_s, device()}).status, 0);
    ASSERT_EQ(velmo({u"device"_s, u"set"_s, u"Stick"_s, u"syncPodcasts=false"_s}).status, 0);
    const QString present = device() + u"/Music/Band/Album/Two.flac"_s;
    writeFile(present, "copy");
    writeFile(device() + u"/Music/Old/Gone.mp3"_s, "stale");
    writeFile(device() + u"/Music/cover.jpg"_s, "image");

    const VelmoResult result = velmo({u"device"_s, u"diff"_s, u"Stick"_s, u"--json"_s});
    ASSERT_EQ(result.status, 0) << result.err.toStdString();
    const QJsonObject diff = object(result.out);
    EXPECT_EQ(diff.keys(), (QStringList{u"passedOver"_s, u"toAdd"_s, u"toRemove"_s, u"unchanged"_s}));
    EXPECT_EQ(diff.value("passedOver"_L1).toArray(), QJsonArray());
    const QJsonArray toAdd = diff.value("toAdd"_L1).toArray();
    ASSERT_EQ(toAdd.size(), 2);
    EXPECT_EQ(toAdd.at(0).toObject(),
              (QJsonObject{{u"trackID"_s, tracks.at(0).id.toString(QUuid::WithoutBraces).toUpper()},
                           {u"destination"_s, QString(device() + u"/Music/Band/Album/One.flac"_s)},
                           {u"needsTranscode"_s, false},
                           {u"action"_s, u"copy"_s}}));
    EXPECT_EQ(diff.value("toRemove"_L1).toArray(), QJsonArray{QString(device() + u"/Music/Old/Gone.mp3"_s)});
    EXPECT_EQ(diff.value("unchanged"_L1).toInt(), 1);

    ASSERT_EQ(velmo({u"device"_s, u"set"_s, u"Stick"_s, u"syncPodcasts=true"_s}).status, 0);
    writeFile(device() + u"/Podcasts/Old/episode.mp3"_s, "old");
    const QJsonObject withPodcasts = object(velmo({u"device"_s, u"diff"_s, u"Stick"_s, u"--json"_s}).out);
    EXPECT_EQ(withPodcasts.value("podcastChanges"_L1).toObject(),
              (QJsonObject{{u"toAdd"_s, QJsonArray()},
                           {u"toRemove"_s, QJsonArray{QString(device() + u"/Podcasts/Old/episode.mp3"_s)}},
                           {u"unchanged"_s, 0}}));

    const QString text = velmo({u"device"_s, u"diff"_s, u"Stick"_s}).out;
    EXPECT_TRUE(text.contains(u"To add (2):\n  "_s + device() + u"/Music/Band/Album/One.flac  (copy)"_s)) << text.toStdString();
    EXPECT_TRUE(text.contains(u"Unchanged: 1 track"_s)) << text.toStdString();
    EXPECT_TRUE(QFileInfo::exists(device() + u"/Music/Old/Gone.mp3"_s));
}

TEST_F(DeviceCommandTest, AStoreWithOneBadRecordListsNothingAndCheckNamesTheRecord)
{
    ASSERT_EQ(velmo({u"device"_s, u"add"_s, u"A"_s, device()}).status, 0);
    ASSERT_EQ(velmo({u"device"_s, u"add"_s, u"B"_s, device()}).status, 0);
    QJsonArray stored = QJsonDocument::fromJson(readFile(StoreLocations::path(StoreKind::deviceProfiles))).array();
    QJsonObject second = stored.at(1).toObject();
    second.remove("syncPlaylists"_L1);
    stored.replace(1, second);
    writeFile(StoreLocations::path(StoreKind::deviceProfiles), QJsonDocument(stored).toJson());

    EXPECT_TRUE(velmo({u"device"_s, u"list"_s}).out.contains(u"No device profiles yet"_s));
    const VelmoResult check = velmo({u"library"_s, u"check"_s});
    EXPECT_EQ(check.status, 1);
    EXPECT_TRUE(check.out.contains(u"record 2"_s)) << check.out.toStdString();
    EXPECT_TRUE(check.out.contains(u"syncPlaylists"_s)) << check.out.toStdString();
}

TEST_F(DeviceCommandTest, SyncTranscodesWritesPlaylistsAndASecondSyncFindsNothingToDo)
{
    for (const Track& track : std::as_const(tracks))
        EncodedAudio::write(EncodedAudio::music(3, 1.0), track.path());
    ASSERT_EQ(velmo({u"device"_s, u"add"_s, u"Stick"_s, device()}).status, 0);
    ASSERT_EQ(velmo({u"device"_s, u"set"_s, u"Stick"_s, u"outputFormat=mp3"_s, u"transcodeBitrate=128"_s}).status, 0);
    writeFile(device() + u"/Music/Old/Gone.mp3"_s, "stale");

    const VelmoResult dry = velmo({u"device"_s, u"sync"_s, u"Stick"_s, u"--dry-run"_s});
    ASSERT_EQ(dry.status, 0) << dry.err.toStdString();
    EXPECT_TRUE(dry.out.contains(u"To add (3):\n  "_s + device() + u"/Music/Band/Album/One.mp3  (transcode to MP3 128 kbps)"_s))
        << dry.out.toStdString();
    EXPECT_FALSE(QFileInfo::exists(device() + u"/Music/Band/Album/One.mp3"_s));
    EXPECT_TRUE(QFileInfo::exists(device() + u"/Music/Old/Gone.mp3"_s));

    const VelmoResult synced = velmo({u"device"_s, u"sync"_s, u"Stick"_s});
    ASSERT_EQ(synced.status, 0) << synced.err.toStdString();
    EXPECT_TRUE(synced.out.contains(u"Added 3 tracks (3 transcoded), removed 1 file."_s)) << synced.out.toStdString();
    // Not a terminal here: one line per item.
    EXPECT_TRUE(synced.err.contains(u"[1/4] One"_s)) << synced.err.toStdString();
    const std::optional<TrackMetadata> tags = TagReader::read(QUrl::fromLocalFile(device() + u"/Music/Band/Album/Two.mp3"_s));
    ASSERT_TRUE(tags);
    EXPECT_EQ(tags->title, u"Two"_s);
    EXPECT_EQ(readFile(device() + u"/Playlists/Road.m3u8"_s), "#EXTM3U\n#EXTINF:200,Band - Two\n../Music/Band/Album/Two.mp3\n");

    const VelmoResult again = velmo({u"device"_s, u"sync"_s, u"Stick"_s});
    ASSERT_EQ(again.status, 0) << again.err.toStdString();
    EXPECT_TRUE(again.out.contains(u"Added 0 tracks (0 transcoded), removed 0 files."_s)) << again.out.toStdString();
}

TEST_F(DeviceCommandTest, ASyncThatFailsSaysWhyAndExitsOne)
{
    ASSERT_EQ(velmo({u"device"_s, u"add"_s, u"Stick"_s, device()}).status, 0);
    ASSERT_EQ(velmo({u"device"_s, u"set"_s, u"Stick"_s, u"outputFormat=aac"_s}).status, 0);
    const VelmoResult failed = velmo({u"device"_s, u"sync"_s, u"Stick"_s});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(failed.err.contains(u"“%1” holds no audio, so it was not put on the device."_s.arg(tracks.at(0).path())))
        << failed.err.toStdString();
    EXPECT_TRUE(failed.out.contains(u"3 tracks not added."_s)) << failed.out.toStdString();
    // Nothing half-written, not even under a hidden name.
    EXPECT_EQ(QDir(device() + u"/Music/Band/Album"_s).entryList(QDir::Files | QDir::Hidden), QStringList{});

    const VelmoResult missing = velmo({u"device"_s, u"sync"_s, u"Nowhere"_s});
    EXPECT_EQ(missing.status, 1);

    LibraryLock application;
    ASSERT_EQ(application.acquire(), std::nullopt);
    const VelmoResult refused = velmo({u"device"_s, u"sync"_s, u"Stick"_s});
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.err.contains(u"in use"_s)) << refused.err.toStdString();
}

TEST_F(DeviceCommandTest, SetRefusesFoldersOffTheDeviceARelativeRootAndBitRatesNoEncoderTakes)
{
    ASSERT_EQ(velmo({u"device"_s, u"add"_s, u"Stick"_s, device()}).status, 0);
    const DeviceProfile before = profiles().constFirst();
    const std::pair<QString, QString> refusals[] = {
        {u"podcastsFolder="_s, u"podcastsFolder must name a folder inside the device"_s},
        {u"podcastsFolder=../Documents"_s, u"not “../Documents”"_s},
        {u"musicFolder=/home/me"_s, u"musicFolder must name a folder inside the device"_s},
        {u"playlistsFolder=Lists/../.."_s, u"playlistsFolder must name a folder inside the device"_s},
        {u"rootPath=."_s, u"rootPath must be an absolute path, such as “/media/player”, not “.”."_s},
        {u"transcodeBitrate=-5"_s, u"transcodeBitrate must be one of 32, 40, 48"_s},
        {u"transcodeBitrate=999999999999"_s, u"not 999999999999."_s},
        {u"transcodeBitrate=9300000000000000"_s, u"not 9300000000000000."_s},
    };
    for (const auto& [assignment, words] : refusals) {
        const VelmoResult refused = velmo({u"device"_s, u"set"_s, u"Stick"_s, u"outputFormat=mp3"_s, assignment});
        EXPECT_EQ(refused.status, 1) << assignment.toStdString();
        EXPECT_TRUE(refused.err.contains(u"The profile was left as it was: "_s) && refused.err.contains(words))
            << qPrintable(refused.err);
    }
    EXPECT_EQ(profiles().constFirst(), before);

    const VelmoResult nested = velmo({u"device"_s, u"set"_s, u"Stick"_s, u"musicFolder=Audio/Music"_s,
                                      u"transcodeBitrate=160"_s});
    ASSERT_EQ(nested.status, 0) << qPrintable(nested.err);
    EXPECT_EQ(profiles().constFirst().musicFolder, u"Audio/Music"_s);
}

TEST_F(DeviceCommandTest, AStoredProfileWithABadFolderIsShownAsNeedingRepairAndNeverSynced)
{
    writeFile(device() + u"/Documents/thesis.mp3"_s, "years of work");
    writeFile(device() + u"/Photos/beach.jpg"_s, "a photo");
    DeviceProfile bad;
    bad.id = QUuid::createUuid();
    bad.name = u"Stick"_s;
    bad.rootPath = device();
    bad.podcastsFolder = QString();
    writeFile(StoreLocations::path(StoreKind::deviceProfiles), LibraryStores::encodeDeviceProfiles({bad}));

    const QString listed = velmo({u"device"_s, u"list"_s}).out;
    EXPECT_TRUE(listed.contains(u"Needs repair: podcastsFolder must name a folder inside the device"_s))
        << qPrintable(listed);
    EXPECT_TRUE(velmo({u"device"_s, u"show"_s, u"Stick"_s}).out.contains(u"Needs repair:"_s));
    for (const QString& command : {u"sync"_s, u"diff"_s}) {
        const VelmoResult refused = velmo({u"device"_s, command, u"Stick"_s});
        EXPECT_EQ(refused.status, 1) << command.toStdString();
        EXPECT_TRUE(refused.err.contains(u"The device profile \"Stick\" needs repair: podcastsFolder"_s)
                    && refused.err.contains(u"Nothing was synced."_s))
            << qPrintable(refused.err);
    }
    EXPECT_EQ(readFile(device() + u"/Documents/thesis.mp3"_s), "years of work");
    EXPECT_EQ(readFile(device() + u"/Photos/beach.jpg"_s), "a photo");
    EXPECT_FALSE(QFileInfo::exists(device() + u"/Music"_s));

    // Repaired, the profile can be looked at and synced again.
    ASSERT_EQ(velmo({u"device"_s, u"set"_s, u"Stick"_s, u"podcastsFolder=Podcasts"_s}).status, 0);
    EXPECT_EQ(velmo({u"device"_s, u"diff"_s, u"Stick"_s}).status, 0);
}

TEST_F(DeviceCommandTest, LinksOnTheDeviceArePassedOverInWordsAndTheirTargetsStayWhole)
{
    QTemporaryDir outside;
    writeFile(outside.filePath(u"letter.txt"_s), "Dear friend");
    writeFile(outside.filePath(u"old.mp3"_s), "the user's own recording");
    ASSERT_TRUE(QFile::link(outside.path(), device() + u"/Podcasts"_s));
    ASSERT_TRUE(QFile::link(outside.filePath(u"old.mp3"_s), device() + u"/stray.mp3"_s));
    ASSERT_EQ(velmo({u"device"_s, u"add"_s, u"Stick"_s, device()}).status, 0);

    // The music goes on; the podcast half refuses a podcasts folder that leads elsewhere.
    const VelmoResult synced = velmo({u"device"_s, u"sync"_s, u"Stick"_s});
    EXPECT_EQ(synced.status, 1);
    EXPECT_TRUE(synced.err.contains(u"“%1/Podcasts” is a symbolic link, which a sync never follows"_s.arg(device()))
                && synced.err.contains(u"The music on the device is synced."_s))
        << qPrintable(synced.err);
    EXPECT_TRUE(synced.out.contains(u"Added 3 tracks (0 transcoded), removed 0 files."_s)) << qPrintable(synced.out);
    EXPECT_TRUE(synced.out.contains(u"Passed over, symbolic links that a sync never follows, writes through or removes (2):\n  "_s
                                    + device() + u"/Podcasts\n  "_s + device() + u"/stray.mp3\n"_s))
        << qPrintable(synced.out);
    EXPECT_EQ(readFile(outside.filePath(u"letter.txt"_s)), "Dear friend");
    EXPECT_EQ(readFile(outside.filePath(u"old.mp3"_s)), "the user's own recording");
    EXPECT_EQ(QDir(outside.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
              (QStringList{u"letter.txt"_s, u"old.mp3"_s}));
    EXPECT_TRUE(QFileInfo(device() + u"/stray.mp3"_s).isSymLink());
}

TEST_F(DeviceCommandTest, BadSettingsEndTheExecutableInWordsNotBySignal)
{
    const QString data = TestEnvironment::dataHome();
    const auto cleanUp = qScopeGuard([&data] {
        QFile::remove(data + u'/' + StoreLocations::relativePath(StoreKind::deviceProfiles));
        QFile::remove(data + u'/' + StoreLocations::relativePath(StoreKind::library));
        TestEnvironment::clearSettings();
    });
    const auto run = [](const QStringList& arguments) {
        QProcess process;
        process.start(QStringLiteral(VELMO_EXECUTABLE), arguments);
        EXPECT_TRUE(process.waitForFinished(60000));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit) << "no signal";
        return std::pair{process.exitCode(), QString::fromUtf8(process.readAllStandardError())};
    };
    // Set up already in this process, or now by the child: either way at root().
    run({u"library"_s, u"init"_s, root()});
    ASSERT_EQ(run({u"device"_s, u"add"_s, u"Stick"_s, device()}).first, 0);
    for (const QString& rate : {u"9300000000000000"_s, u"-5"_s, u"999999999999"_s}) {
        const auto [status, err] = run({u"device"_s, u"set"_s, u"Stick"_s, u"outputFormat=mp3"_s,
                                        u"transcodeBitrate="_s + rate});
        EXPECT_EQ(status, 1) << qPrintable(err);
        EXPECT_TRUE(err.contains(u"not "_s + rate + u'.')) << qPrintable(err);
    }

    // The same value written into the store by hand: the sync refuses, the transcoder never sees it.
    DeviceProfile bad;
    bad.id = QUuid::createUuid();
    bad.name = u"Hand"_s;
    bad.rootPath = device();
    bad.outputFormat = OutputFormat::mp3;
    bad.transcodeBitrate = 9300000000000000;
    writeFile(data + u'/' + StoreLocations::relativePath(StoreKind::deviceProfiles),
              LibraryStores::encodeDeviceProfiles({bad}));
    writeFile(data + u'/' + StoreLocations::relativePath(StoreKind::library), LibraryStores::encodeTracks(tracks));
    const auto [status, err] = run({u"device"_s, u"sync"_s, u"Hand"_s});
    EXPECT_EQ(status, 1) << qPrintable(err);
    EXPECT_TRUE(err.contains(u"needs repair: transcodeBitrate must be one of"_s)) << qPrintable(err);
    EXPECT_FALSE(QFileInfo::exists(device() + u"/Music"_s));
}
