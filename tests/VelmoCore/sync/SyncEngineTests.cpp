#include "library/BlockingWait.h"
#include "library/TagReader.h"
#include "support/EncodedAudio.h"
#include "support/AsyncTesting.h"
#include "support/SmallFileSystem.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"
#include "sync/SyncEngine.h"
#include "sync/Transcoder.h"
#include "sync/VelmoDeviceFile.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/mount.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

struct Report {
    qint64 total;
    qint64 completed;
    QString item;

    bool operator==(const Report&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Report& r)
{
    return os << '(' << r.total << ", " << r.completed << ", " << r.item.toStdString() << ')';
}

// Every path below a folder, hidden ones included.
QStringList listing(const QString& folder)
{
    QStringList paths;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext())
        paths.append(it.next().mid(folder.size() + 1));
    paths.sort();
    return paths;
}

class SyncEngineTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        profile.id = QUuid::createUuid();
        profile.name = u"Player"_s;
        profile.rootPath = device.path();
    }

    // A track whose file in the library holds `content`.
    Track libraryTrack(const QString& title, const QByteArray& content = "audio")
    {
        Track track = makeTrack(title, u"Artist"_s, u"Album"_s);
        track.trackNumber = ++m_number;
        track.url = QUrl::fromLocalFile(library.filePath(title + u".flac"_s));
        writeFile(track.path(), content);
        return track;
    }

    QString onDevice(const QString& relative) const { return device.filePath(relative); }

    SyncDiff::AddItem add(const Track& track, bool transcode = false) const
    {
        const AddAction action = transcode
            ? AddAction{AddAction::Kind::transcode, profile.outputFormat, profile.transcodeBitrate}
            : AddAction();
        return {track, SyncDiff::destinationURL(track, profile, libraryRoot()), action};
    }

    QUrl libraryRoot() const { return QUrl::fromLocalFile(library.path()); }

    QCoro::Task<> run(SyncEngine& engine, const SyncDiff& diff, const QList<Track>& tracks,
                      const QList<Playlist>& playlists = {}, const QList<SmartPlaylist>& smart = {})
    {
        return engine.sync(diff, profile, playlists, smart, tracks, libraryRoot(),
                           [this](qint64 total, qint64 completed, const QString& item) {
                               reports.append({total, completed, item});
                           });
    }

    QTemporaryDir library;
    QTemporaryDir device;
    DeviceProfile profile;
    QList<Report> reports;

private:
    qint64 m_number = 0;
};

} // namespace

TEST_F(SyncEngineTest, EmptyDiffMarksTheDeviceWritesPlaylistsAndReportsNothing)
{
    const Track song = libraryTrack(u"Song"_s);
    const Playlist mix{QUuid::createUuid(), u"Mix"_s, {song.id}, {}, {}};
    SyncEngine engine;
    BlockingWait::wait(run(engine, {}, {song}, {mix}));

    EXPECT_TRUE(reports.isEmpty());
    ASSERT_TRUE(VelmoDeviceFile::read(device.path()));
    EXPECT_EQ(VelmoDeviceFile::read(device.path())->id, profile.id);
    // The playlist points where the track would be, even though this run did not put it there.
    EXPECT_EQ(readFile(onDevice(u"Playlists/Mix.m3u8"_s)),
              "#EXTM3U\n#EXTINF:200,Artist - Song\n../Music/Artist/Album/01 Song.flac\n");
    EXPECT_FALSE(engine.isSyncing());
}

TEST_F(SyncEngineTest, RemovalsReportAfterTheirWorkAndAddsBefore)
{
    writeFile(onDevice(u"Music/old1.mp3"_s), "x");
    writeFile(onDevice(u"Music/old2.mp3"_s), "x");
    const Track a = libraryTrack(u"A"_s), b = libraryTrack(u"B"_s), c = libraryTrack(u"C"_s);
    SyncDiff diff;
    diff.toRemove = {QUrl::fromLocalFile(onDevice(u"Music/old1.mp3"_s)), QUrl::fromLocalFile(onDevice(u"Music/old2.mp3"_s))};
    diff.toAdd = {add(a), add(b), add(c)};
    profile.syncPlaylists = false;
    SyncEngine engine;
    BlockingWait::wait(run(engine, diff, {a, b, c}));

    const QList<Report> expected{{5, 1, u"old1.mp3"_s}, {5, 2, u"old2.mp3"_s}, {5, 2, u"A"_s}, {5, 3, u"B"_s}, {5, 4, u"C"_s}};
    EXPECT_EQ(reports, expected);
    EXPECT_EQ(listing(device.path()), (QStringList{u".velmo"_s, u"Music/Artist/Album/01 A.flac"_s,
                                                   u"Music/Artist/Album/02 B.flac"_s, u"Music/Artist/Album/03 C.flac"_s}));
    // Removals take single files; the folder they emptied stays.
    EXPECT_TRUE(QFileInfo(onDevice(u"Music"_s)).isDir());
}

TEST_F(SyncEngineTest, CopyReplacesAnExistingFileAndKeepsTheSourceDate)
{
    const Track song = libraryTrack(u"Song"_s, "new bytes");
    const QDateTime sourceDate = QDateTime::fromSecsSinceEpoch(1'600'000'000);
    {
        QFile source(song.path());
        ASSERT_TRUE(source.open(QIODevice::ReadWrite));
        ASSERT_TRUE(source.setFileTime(sourceDate, QFileDevice::FileModificationTime));
    }
    const SyncDiff::AddItem item = add(song);
    writeFile(item.destinationURL.toLocalFile(), "stale and longer bytes");
    SyncDiff diff;
    diff.toAdd = {item};
    SyncEngine engine;
    BlockingWait::wait(run(engine, diff, {song}));

    EXPECT_EQ(readFile(item.destinationURL.toLocalFile()), "new bytes");
    EXPECT_EQ(QFileInfo(item.destinationURL.toLocalFile()).lastModified(), sourceDate);
    // The next diff therefore finds nothing to do.
    const SyncDiff again = SyncDiff::compute({song}, {}, {}, profile, libraryRoot(), {});
    EXPECT_TRUE(again.toAdd.isEmpty());
    EXPECT_EQ(again.unchanged, 1);
}

TEST_F(SyncEngineTest, ASecondSyncWhileOneRunsIsRefusedAndTheFirstCarriesOn)
{
    const Track a = libraryTrack(u"A"_s), b = libraryTrack(u"B"_s);
    SyncDiff diff;
    diff.toAdd = {add(a), add(b)};
    SyncEngine engine;
    // The first run suspends at its first copy, so the second enters while it is under way.
    QCoro::Task<> first = run(engine, diff, {a, b});
    EXPECT_TRUE(engine.isSyncing());
    const auto second = awaitFailure<SyncEngine::SyncError>(run(engine, {}, {}));
    EXPECT_EQ(second.kind(), SyncEngine::SyncError::Kind::alreadySyncing);
    EXPECT_EQ(second.message(), u"A sync is already running."_s);
    EXPECT_TRUE(engine.isSyncing());
    BlockingWait::wait(std::move(first));
    EXPECT_FALSE(engine.isSyncing());
    EXPECT_TRUE(QFileInfo::exists(diff.toAdd.at(1).destinationURL.toLocalFile()));
    // The refused call reported nothing.
    EXPECT_EQ(reports.size(), 2);
}

TEST_F(SyncEngineTest, AFailedAddEndsTheRunBeforeThePlaylistsAndTheNextDiffPicksUp)
{
    const Track a = libraryTrack(u"A"_s), b = libraryTrack(u"B"_s), c = libraryTrack(u"C"_s);
    const Playlist mix{QUuid::createUuid(), u"Mix"_s, {a.id, b.id, c.id}, {}, {}};
    // The source of the middle add goes after the diff was made, as a user deleting it would.
    SyncDiff diff = SyncDiff::compute({a, b, c}, {mix}, {}, profile, libraryRoot(), {});
    ASSERT_EQ(diff.toAdd.size(), 3);
    QFile::remove(b.path());
    SyncEngine engine;

    const auto error = awaitFailure<SyncEngine::SyncError>(run(engine, diff, {a, b, c}, {mix}));
    EXPECT_EQ(error.kind(), SyncEngine::SyncError::Kind::copyFailed);
    EXPECT_EQ(error.message(), u"“%1” could not be copied to the device: the file is missing."_s.arg(b.path()));
    EXPECT_FALSE(engine.isSyncing());
    EXPECT_EQ(listing(device.path()), (QStringList{u".velmo"_s, u"Music/Artist/Album/01 A.flac"_s}));
    EXPECT_EQ(reports.size(), 2);

    writeFile(b.path(), "back");
    const SyncDiff next = SyncDiff::compute({a, b, c}, {mix}, {}, profile, libraryRoot(), {});
    ASSERT_EQ(next.toAdd.size(), 2);
    EXPECT_EQ(next.toAdd.at(0).track.id, b.id);
    EXPECT_EQ(next.unchanged, 1);
    BlockingWait::wait(run(engine, next, {a, b, c}, {mix}));
    EXPECT_TRUE(QFileInfo::exists(onDevice(u"Playlists/Mix.m3u8"_s)));
    EXPECT_TRUE(SyncDiff::compute({a, b, c}, {mix}, {}, profile, libraryRoot(), {}).toAdd.isEmpty());
}

TEST_F(SyncEngineTest, AFailureOnTheLastAddWritesNoPlaylist)
{
    const Track a = libraryTrack(u"A"_s), b = libraryTrack(u"B"_s);
    const Playlist mix{QUuid::createUuid(), u"Mix"_s, {a.id}, {}, {}};
    SyncDiff diff;
    diff.toAdd = {add(a), add(b)};
    // A folder where the last file's folder should be.
    writeFile(onDevice(u"Music/Artist/Album"_s), "not a folder");
    diff.toAdd[0].destinationURL = QUrl::fromLocalFile(onDevice(u"Music/Elsewhere/A.flac"_s));
    SyncEngine engine;

    const auto error = awaitFailure<SyncEngine::SyncError>(run(engine, diff, {a, b}, {mix}));
    EXPECT_EQ(error.kind(), SyncEngine::SyncError::Kind::folderFailed);
    EXPECT_EQ(error.detail(), u"part of the path is not a folder"_s);
    EXPECT_TRUE(QFileInfo::exists(onDevice(u"Music/Elsewhere/A.flac"_s)));
    EXPECT_FALSE(QFileInfo::exists(onDevice(u"Playlists"_s)));
}

TEST_F(SyncEngineTest, ReadOnlyDeviceFailsRemovalsSilentlyAndTheFirstAddLoudly)
{
    SmallFileSystem volume(1024 * 1024);
    SKIP_UNLESS_MOUNTED(volume);
    profile.rootPath = volume.path();
    writeFile(volume.filePath(u"Music/old.mp3"_s), "x");
    ASSERT_EQ(::mount(nullptr, QFile::encodeName(volume.path()).constData(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    const Track a = libraryTrack(u"A"_s);
    SyncDiff diff;
    diff.toRemove = {QUrl::fromLocalFile(volume.filePath(u"Music/old.mp3"_s))};
    diff.toAdd = {add(a)};
    SyncEngine engine;

    const auto error = awaitFailure<SyncEngine::SyncError>(run(engine, diff, {a}));
    EXPECT_EQ(error.kind(), SyncEngine::SyncError::Kind::folderFailed);
    EXPECT_TRUE(error.message().endsWith(u": the file system is read-only."_s)) << error.message().toStdString();
    EXPECT_TRUE(QFileInfo::exists(volume.filePath(u"Music/old.mp3"_s)));
    EXPECT_FALSE(VelmoDeviceFile::read(volume.path()));
    EXPECT_EQ(reports, (QList<Report>{{2, 1, u"old.mp3"_s}, {2, 1, u"A"_s}}));
}

TEST_F(SyncEngineTest, AFullDeviceEndsTheRunInWordsAndLeavesNoPartFile)
{
    SmallFileSystem volume(256 * 1024);
    SKIP_UNLESS_MOUNTED(volume);
    profile.rootPath = volume.path();
    const Track big = libraryTrack(u"Big"_s, QByteArray(1024 * 1024, 'a'));
    SyncDiff diff;
    diff.toAdd = {add(big)};
    SyncEngine engine;

    const auto error = awaitFailure<SyncEngine::SyncError>(run(engine, diff, {big}));
    EXPECT_EQ(error.kind(), SyncEngine::SyncError::Kind::copyFailed);
    EXPECT_TRUE(error.detail().contains(u"no space left on the device"_s)) << error.detail().toStdString();
    EXPECT_EQ(listing(volume.path()), QStringList{u".velmo"_s});
}

TEST_F(SyncEngineTest, PlaylistsOfTheProfileGoOntoTheDeviceAndUnsafeNamesAreSkipped)
{
    Track a = libraryTrack(u"A"_s), b = libraryTrack(u"B"_s);
    a.genre = u"Jazz"_s;
    const Playlist chosen{QUuid::createUuid(), u"Chosen"_s, {b.id, a.id}, {}, {}};
    const Playlist other{QUuid::createUuid(), u"Other"_s, {a.id}, {}, {}};
    const Playlist slashed{QUuid::createUuid(), u"AC/DC"_s, {a.id}, {}, {}};
    SmartPlaylist jazz;
    jazz.id = QUuid::createUuid();
    jazz.name = u"Jazz"_s;
    jazz.filterGenres = {u"Jazz"_s};
    profile.syncScope = SyncScope::selectedPlaylists;
    profile.playlistIDs = {chosen.id, slashed.id};
    profile.smartPlaylistIDs = {jazz.id};
    profile.outputFormat = OutputFormat::mp3;
    SyncEngine engine;
    BlockingWait::wait(run(engine, {}, {a, b}, {chosen, other, slashed}, {jazz}));

    EXPECT_EQ(listing(onDevice(u"Playlists"_s)), (QStringList{u"Chosen.m3u8"_s, u"Jazz.m3u8"_s}));
    EXPECT_EQ(readFile(onDevice(u"Playlists/Chosen.m3u8"_s)),
              "#EXTM3U\n#EXTINF:200,Artist - B\n../Music/Artist/Album/02 B.mp3\n"
              "#EXTINF:200,Artist - A\n../Music/Artist/Album/01 A.mp3\n");
    EXPECT_EQ(readFile(onDevice(u"Playlists/Jazz.m3u8"_s)), "#EXTM3U\n#EXTINF:200,Artist - A\n../Music/Artist/Album/01 A.mp3\n");
    EXPECT_FALSE(QFileInfo::exists(onDevice(u"Playlists/AC"_s)));
}

TEST_F(SyncEngineTest, ASmartPlaylistOfTheSameNameOverwritesTheRegularOne)
{
    Track a = libraryTrack(u"A"_s), b = libraryTrack(u"B"_s);
    b.genre = u"Rock"_s;
    const Playlist named{QUuid::createUuid(), u"Rock"_s, {a.id}, {}, {}};
    SmartPlaylist rock;
    rock.id = QUuid::createUuid();
    rock.name = u"Rock"_s;
    rock.filterGenres = {u"Rock"_s};
    SyncEngine engine;
    BlockingWait::wait(run(engine, {}, {a, b}, {named}, {rock}));
    EXPECT_EQ(readFile(onDevice(u"Playlists/Rock.m3u8"_s)), "#EXTM3U\n#EXTINF:200,Artist - B\n../Music/Artist/Album/02 B.flac\n");
}

TEST_F(SyncEngineTest, DuplicateTrackIDsAreAFatalFault)
{
    // The child runs the test afresh, so the id must not be a random one; and it must not be
    // a fork of this process, whose thread pool the export needs.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Track a = libraryTrack(u"A"_s);
    a.id = QUuid(u"0AC22A2A-8C4D-4D6E-9B3B-8A1E6E7C2F10"_s);
    SyncEngine engine;
    EXPECT_DEATH(BlockingWait::wait(run(engine, {}, {a, a})), "Duplicate values for key: '0AC22A2A-8C4D-4D6E-9B3B-8A1E6E7C2F10'");
}

TEST_F(SyncEngineTest, AnAddThatIsNotAudioFailsInWordsAndLeavesNothingBehind)
{
    profile.outputFormat = OutputFormat::mp3;
    const Track text = libraryTrack(u"Notes"_s, "this is not audio at all, only words");
    SyncDiff diff;
    diff.toAdd = {add(text, true)};
    SyncEngine engine;
    const auto error = awaitFailure<Transcoder::TranscodeError>(run(engine, diff, {text}));
    EXPECT_EQ(error.kind(), Transcoder::TranscodeError::Kind::noAudioTrack);
    EXPECT_EQ(error.message(), u"“%1” holds no audio, so it was not put on the device."_s.arg(text.path()));
    EXPECT_EQ(listing(device.path()), QStringList{u".velmo"_s});
}

TEST_F(SyncEngineTest, ParallelTranscodesKeepTheProgressInListOrder)
{
    profile.outputFormat = OutputFormat::mp3;
    profile.transcodeBitrate = 128;
    QList<Track> tracks;
    SyncDiff diff;
    for (int i = 0; i < 5; ++i) {
        Track track = libraryTrack(u"T%1"_s.arg(i));
        EncodedAudio::write(EncodedAudio::music(unsigned(i), 1.0 + i % 2), track.path());
        tracks.append(track);
        diff.toAdd.append(add(track, true));
    }
    SyncEngine engine;
    engine.setTranscodeWorkers(3);
    BlockingWait::wait(run(engine, diff, tracks));

    QList<Report> expected;
    for (int i = 0; i < 5; ++i)
        expected.append({5, i, u"T%1"_s.arg(i)});
    EXPECT_EQ(reports, expected);
    for (const SyncDiff::AddItem& item : std::as_const(diff.toAdd)) {
        const std::optional<TrackMetadata> tags = TagReader::read(item.destinationURL);
        ASSERT_TRUE(tags) << item.destinationURL.toLocalFile().toStdString();
        EXPECT_EQ(tags->title, item.track.title);
    }
    EXPECT_EQ(listing(onDevice(u"Music"_s)).size(), 5);
}

TEST_F(SyncEngineTest, TheEarliestFailedTranscodeIsThrownOnceTheOthersHaveFinished)
{
    profile.outputFormat = OutputFormat::aac;
    const Track good = libraryTrack(u"Good"_s), first = libraryTrack(u"First bad"_s, "words"),
                second = libraryTrack(u"Second bad"_s, "more words"), later = libraryTrack(u"Later"_s);
    EncodedAudio::write(EncodedAudio::music(1, 2.0), good.path());
    EncodedAudio::write(EncodedAudio::music(2, 2.0), later.path());
    SyncDiff diff;
    diff.toAdd = {add(good, true), add(first, true), add(second, true), add(later, true)};
    SyncEngine engine;
    engine.setTranscodeWorkers(4);

    const auto error = awaitFailure<Transcoder::TranscodeError>(run(engine, diff, {good, first, second, later}));
    EXPECT_EQ(error.source(), first.path());
    EXPECT_FALSE(engine.isSyncing());
    // Whatever was under way has finished: no partial file anywhere, and the good one is whole.
    for (const QString& path : listing(device.path()))
        EXPECT_FALSE(path.contains(u".partial."_s)) << path.toStdString();
    EXPECT_EQ(TagReader::read(diff.toAdd.at(0).destinationURL)->title, u"Good"_s);
    for (qsizetype i = 1; i < reports.size(); ++i)
        EXPECT_EQ(reports.at(i).completed, reports.at(i - 1).completed + 1);
}

TEST_F(SyncEngineTest, AFileCutOffByAKillIsAddedAgainByTheNextSync)
{
    profile.outputFormat = OutputFormat::mp3;
    const Track a = libraryTrack(u"A"_s), b = libraryTrack(u"B"_s);
    EncodedAudio::write(EncodedAudio::music(1, 1.0), a.path());
    EncodedAudio::write(EncodedAudio::music(2, 1.0), b.path());
    SyncDiff diff = SyncDiff::compute({a, b}, {}, {}, profile, libraryRoot(), {});
    ASSERT_EQ(diff.toAdd.size(), 2);
    // What a kill during the second file leaves: the first whole, the second only as a hidden
    // part beside where it should be.
    diff.toAdd.removeLast();
    SyncEngine engine;
    BlockingWait::wait(run(engine, diff, {a, b}));
    const QString second = SyncDiff::destinationURL(b, profile, libraryRoot()).toLocalFile();
    writeFile(QFileInfo(second).path() + u"/.02 B.1f2e.partial.mp3"_s, "half an mp3");

    const SyncDiff next = SyncDiff::compute({a, b}, {}, {}, profile, libraryRoot(), {});
    ASSERT_EQ(next.toAdd.size(), 1);
    EXPECT_EQ(next.toAdd.at(0).destinationURL.toLocalFile(), second);
    EXPECT_TRUE(next.toRemove.isEmpty());
    BlockingWait::wait(run(engine, next, {a, b}));
    EXPECT_TRUE(SyncDiff::compute({a, b}, {}, {}, profile, libraryRoot(), {}).toAdd.isEmpty());
    // The leftover went with the file that replaced it.
    EXPECT_EQ(listing(device.path()), (QStringList{u".velmo"_s, u"Music/Artist/Album/01 A.mp3"_s,
                                                   u"Music/Artist/Album/02 B.mp3"_s}));
}

TEST_F(SyncEngineTest, ADeviceThatFillsDuringATranscodeKeepsNoPartOfIt)
{
    SmallFileSystem volume(96 * 1024);
    SKIP_UNLESS_MOUNTED(volume);
    profile.rootPath = volume.path();
    profile.outputFormat = OutputFormat::mp3;
    const Track lengthy = libraryTrack(u"Long"_s);
    EncodedAudio::write(EncodedAudio::music(9, 8.0), lengthy.path());
    SyncDiff diff;
    diff.toAdd = {add(lengthy, true)};
    SyncEngine engine;

    const auto error = awaitFailure<Transcoder::TranscodeError>(run(engine, diff, {lengthy}));
    EXPECT_EQ(error.kind(), Transcoder::TranscodeError::Kind::writeFailed);
    EXPECT_TRUE(error.message().endsWith(u"there is no space left on the device."_s)) << error.message().toStdString();
    EXPECT_EQ(listing(volume.path()), QStringList{u".velmo"_s});
}
