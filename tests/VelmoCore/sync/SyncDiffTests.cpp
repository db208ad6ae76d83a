#include "platform/FileTree.h"
#include "support/TrackFactory.h"
#include "sync/FatNames.h"
#include "sync/SyncDiff.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr double baseTime = 1'700'000'000;

void makeFile(const QString& path, double modified = baseTime)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    file.write("x");
    file.close();
    const timespec times[2] = {{time_t(modified), 0},
                               {time_t(modified), long((modified - double(time_t(modified))) * 1e9)}};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
}

QStringList paths(const QList<QUrl>& urls)
{
    QStringList result;
    for (const QUrl& url : urls)
        result.append(url.toLocalFile());
    return result;
}

QStringList destinations(const SyncDiff& diff)
{
    QStringList result;
    for (const SyncDiff::AddItem& item : diff.toAdd)
        result.append(item.destinationURL.toLocalFile());
    return result;
}

// Every path below a folder, hidden ones included, to show that a diff changed nothing.
QStringList treeListing(const QString& folder)
{
    QStringList listing;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        listing.append(it.next());
    listing.sort();
    return listing;
}

// A library folder and a device folder side by side, with real files.
class SyncDiffTest : public ::testing::Test {
protected:
    QString libraryRoot() const { return folder.path() + u"/Library"_s; }
    QString device() const { return folder.path() + u"/Device"_s; }
    QString music() const { return device() + u"/Music"_s; }

    // A track whose file exists in the library with the given date.
    Track libraryTrack(const QString& title, const QString& artist = u"Artist"_s, const QString& album = u"Album"_s,
                       double modified = baseTime)
    {
        Track track = makeTrack(title, artist, album);
        track.url = QUrl::fromLocalFile(libraryRoot() + u'/' + artist + u'/' + album + u'/' + title + u".flac"_s);
        makeFile(track.path(), modified);
        return track;
    }

    DeviceProfile profile() const
    {
        DeviceProfile p;
        p.id = QUuid::createUuid();
        p.name = u"Device"_s;
        p.rootPath = device();
        p.syncPodcasts = false;
        return p;
    }

    SyncDiff diff(const QList<Track>& tracks, const DeviceProfile& p, const QList<Playlist>& playlists = {},
                  const QList<SmartPlaylist>& smartPlaylists = {},
                  const QList<SyncDiff::PodcastEpisodes>& podcasts = {},
                  SyncDiff::NameRules rules = SyncDiff::NameRules::plain) const
    {
        return SyncDiff::compute(tracks, playlists, smartPlaylists, p, QUrl::fromLocalFile(libraryRoot()), podcasts,
                                 rules);
    }

    QString destination(const Track& track, const DeviceProfile& p,
                        SyncDiff::NameRules rules = SyncDiff::NameRules::plain) const
    {
        return SyncDiff::destinationURL(track, p, QUrl::fromLocalFile(libraryRoot()), rules).toLocalFile();
    }

    QTemporaryDir folder;
};

} // namespace

TEST_F(SyncDiffTest, TheWantedTracksOfEachScopeInLibraryOrder)
{
    const Track a = libraryTrack(u"A"_s), b = libraryTrack(u"B"_s, u"Other"_s), c = libraryTrack(u"C"_s),
                d = libraryTrack(u"D"_s);
    const QList<Track> tracks{a, b, c, d};
    const Playlist playlist{QUuid::createUuid(), u"P"_s, {d.id, QUuid::createUuid(), a.id}, {}, {}};
    SmartPlaylist smart;
    smart.id = QUuid::createUuid();
    smart.filterArtists = {u"Other"_s};

    DeviceProfile p = profile();
    p.manualTrackIDs = {c.id};
    const auto titles = [](const SyncDiff& diff) {
        QStringList result;
        for (const SyncDiff::AddItem& item : diff.toAdd)
            result.append(item.track.title);
        return result;
    };
    EXPECT_EQ(titles(diff(tracks, p, {playlist}, {smart})), (QStringList{u"A"_s, u"B"_s, u"C"_s, u"D"_s}));

    p.syncScope = SyncScope::selectedPlaylists;
    p.manualTrackIDs = {};
    p.playlistIDs = {playlist.id};
    // Playlist order plays no part, and the id of a deleted track adds nothing.
    EXPECT_EQ(titles(diff(tracks, p, {playlist}, {smart})), (QStringList{u"A"_s, u"D"_s}));
    p.smartPlaylistIDs = {smart.id};
    p.manualTrackIDs = {c.id, a.id};
    EXPECT_EQ(titles(diff(tracks, p, {playlist}, {smart})), (QStringList{u"A"_s, u"B"_s, u"C"_s, u"D"_s}));
}

TEST_F(SyncDiffTest, AnEmptySelectionRemovesEveryAudioFileOutsideThePodcastsFolder)
{
    makeFile(music() + u"/X/Y/01 Song.mp3"_s);
    makeFile(device() + u"/Elsewhere/loose.FLAC"_s);
    makeFile(device() + u"/Podcasts/Show/episode.mp3"_s);
    makeFile(device() + u"/Music/notes.txt"_s);
    DeviceProfile p = profile();
    p.syncScope = SyncScope::selectedPlaylists;
    const SyncDiff result = diff({libraryTrack(u"A"_s)}, p);
    EXPECT_TRUE(result.toAdd.isEmpty());
    EXPECT_EQ(result.unchanged, 0);
    EXPECT_EQ(paths(result.toRemove),
              (QStringList{device() + u"/Elsewhere/loose.FLAC"_s, music() + u"/X/Y/01 Song.mp3"_s}));
}

TEST_F(SyncDiffTest, ArtistAlbumTrackPaths)
{
    DeviceProfile p = profile();
    Track track = makeTrack(u"Blue: in Green?"_s, u"Miles"_s, u"Kind of Blue"_s);
    track.url = QUrl::fromLocalFile(u"/lib/Miles/x.FLAC"_s);
    track.albumArtist = u"Miles Davis"_s;
    track.trackNumber = 3;
    track.discNumber = 2; // plays no part
    EXPECT_EQ(destination(track, p), music() + u"/Miles Davis/Kind of Blue/03 Blue- in Green-.flac"_s);

    track.trackNumber = 123;
    track.albumArtist = u" . . "_s;
    track.artist.clear();
    track.album = u"..."_s;
    EXPECT_EQ(destination(track, p), music() + u"/Unknown Artist/Unknown Album/123 Blue- in Green-.flac"_s);

    track.trackNumber.reset();
    track.title.clear();
    EXPECT_EQ(destination(track, p), music() + u"/Unknown Artist/Unknown Album/x.flac"_s);
    track.url = QUrl::fromLocalFile(u"/lib/Miles/.../...flac"_s);
    EXPECT_EQ(destination(track, p), music() + u"/Unknown Artist/Unknown Album/Track.flac"_s);

    // Without an extension the name ends in a full stop; transcodes take theirs.
    track.title = u"Plain"_s;
    track.url = QUrl::fromLocalFile(u"/lib/Miles/Plain"_s);
    EXPECT_EQ(destination(track, p), music() + u"/Unknown Artist/Unknown Album/Plain."_s);
    p.outputFormat = OutputFormat::mp3;
    EXPECT_EQ(destination(track, p), music() + u"/Unknown Artist/Unknown Album/Plain.mp3"_s);
    p.outputFormat = OutputFormat::aac;
    p.musicFolder = u"MUSIC/Sub"_s;
    EXPECT_EQ(destination(track, p), device() + u"/MUSIC/Sub/Unknown Artist/Unknown Album/Plain.m4a"_s);
}

TEST_F(SyncDiffTest, FlatAndMirrorPaths)
{
    DeviceProfile p = profile();
    p.folderStructure = FolderStructure::flat;
    Track track = makeTrack(u"Song"_s, u"AC/DC"_s, u"Album"_s);
    track.albumArtist = u"Various"_s;
    track.url = QUrl::fromLocalFile(libraryRoot() + u"/AC-DC/Album/01 Song.Mp3"_s);
    EXPECT_EQ(destination(track, p), music() + u"/AC-DC - Song.mp3"_s);
    track.artist = u".."_s;
    EXPECT_EQ(destination(track, p), music() + u"/Song.mp3"_s);

    p.folderStructure = FolderStructure::mirrorLibrary;
    p.outputFormat = OutputFormat::aac;
    EXPECT_EQ(destination(track, p), music() + u"/AC-DC/Album/01 Song.m4a"_s);
    // Outside the library: the file name alone, directly in the music folder.
    track.url = QUrl::fromLocalFile(u"/elsewhere/Deep/Track?.flac"_s);
    EXPECT_EQ(destination(track, p), music() + u"/Track?.m4a"_s);
    // The test is one of strings: a sibling folder that starts with the root's name counts.
    track.url = QUrl::fromLocalFile(libraryRoot() + u"Old/a.flac"_s);
    EXPECT_EQ(destination(track, p), music() + u"/Old/a.m4a"_s);
}

TEST_F(SyncDiffTest, FreshnessAllowsTwoSecondsAndTranscodingFollowsTheProfile)
{
    const Track newer = libraryTrack(u"Newer"_s, u"A"_s, u"B"_s, baseTime);
    const Track exact = libraryTrack(u"Exact"_s, u"A"_s, u"B"_s, baseTime + 2.0);
    const Track stale = libraryTrack(u"Stale"_s, u"A"_s, u"B"_s, baseTime + 2.25);
    const Track missing = libraryTrack(u"Missing"_s, u"A"_s, u"B"_s);
    DeviceProfile p = profile();
    makeFile(destination(newer, p), baseTime + 100);
    makeFile(destination(exact, p), baseTime);
    makeFile(destination(stale, p), baseTime);

    SyncDiff result = diff({newer, exact, stale, missing}, p);
    EXPECT_EQ(destinations(result), (QStringList{destination(stale, p), destination(missing, p)}));
    EXPECT_FALSE(result.toAdd.constFirst().needsTranscode());
    EXPECT_EQ(result.unchanged, 2);
    EXPECT_TRUE(result.toRemove.isEmpty());
    EXPECT_FALSE(result.podcastChanges);

    // A new format is a new path for every track: all to add, the old files to remove.
    p.outputFormat = OutputFormat::mp3;
    result = diff({newer, exact, stale, missing}, p);
    EXPECT_EQ(result.toAdd.size(), 4);
    EXPECT_TRUE(result.toAdd.constFirst().needsTranscode());
    EXPECT_EQ(result.toRemove.size(), 3);
    EXPECT_EQ(result.unchanged, 0);
}

TEST_F(SyncDiffTest, AFileWhoseDateCannotBeReadCountsAsFresh)
{
    Track gone = makeTrack(u"Gone"_s);
    gone.url = QUrl::fromLocalFile(libraryRoot() + u"/gone.flac"_s);
    DeviceProfile p = profile();
    makeFile(destination(gone, p));
    const SyncDiff result = diff({gone}, p);
    EXPECT_TRUE(result.toAdd.isEmpty());
    EXPECT_EQ(result.unchanged, 1);
}

TEST_F(SyncDiffTest, TracksThatWouldShareAPathAreNumberedApartInLibraryOrder)
{
    DeviceProfile p = profile();
    Track discOne = libraryTrack(u"Intro"_s, u"Artist"_s, u"Set"_s);
    discOne.trackNumber = 1;
    discOne.discNumber = 1;
    Track discTwo = libraryTrack(u"Intro "_s, u"Artist"_s, u"Set"_s);
    discTwo.trackNumber = 1;
    discTwo.discNumber = 2;
    // Titles of dots alone clean to nothing and fall back to one name.
    const Track dots = libraryTrack(u"..."_s, u"Artist"_s, u"Set"_s);
    const Track moreDots = libraryTrack(u"...."_s, u"Artist"_s, u"Set"_s);
    const QString album = music() + u"/Artist/Set/"_s;
    const QStringList expected{album + u"01 Intro.flac"_s, album + u"01 Intro (2).flac"_s, album + u"Track.flac"_s,
                               album + u"Track (2).flac"_s};

    SyncDiff result = diff({discOne, discTwo, dots, moreDots}, p);
    EXPECT_EQ(destinations(result), expected);
    EXPECT_EQ(SyncDiff::destinationPaths({discOne, discTwo, dots, moreDots}, p, QUrl::fromLocalFile(libraryRoot())),
              expected);

    // A track keeps its number whatever else is chosen for the device.
    p.syncScope = SyncScope::selectedPlaylists;
    p.manualTrackIDs = {discTwo.id};
    EXPECT_EQ(destinations(diff({discOne, discTwo, dots, moreDots}, p)), QStringList{album + u"01 Intro (2).flac"_s});

    p.syncScope = SyncScope::fullLibrary;
    makeFile(album + u"01 Intro.flac"_s, baseTime + 10);
    result = diff({discOne, discTwo, dots, moreDots}, p);
    EXPECT_EQ(destinations(result), expected.mid(1)) << "the first is there; the second is not the same file";
    EXPECT_EQ(result.unchanged, 1);

    p.folderStructure = FolderStructure::flat;
    const Track first = libraryTrack(u"Song"_s, u"Artist"_s, u"One"_s);
    const Track second = libraryTrack(u"Song"_s, u"Artist"_s, u"Two"_s);
    EXPECT_EQ(destinations(diff({first, second}, p)),
              (QStringList{music() + u"/Artist - Song.flac"_s, music() + u"/Artist - Song (2).flac"_s}));
}

TEST_F(SyncDiffTest, TheWalkSparesHiddenNamesThePodcastsPrefixOtherExtensionsAndLinks)
{
    const Track kept = libraryTrack(u"Kept"_s);
    DeviceProfile p = profile();
    makeFile(destination(kept, p));
    const QStringList spared{
        device() + u"/.hidden.mp3"_s,
        device() + u"/.Trash/old.mp3"_s,
        device() + u"/Podcasts/a.mp3"_s,
        device() + u"/PodcastsOld/b.mp3"_s,
        device() + u"/Podcasts.mp3"_s,
        music() + u"/cover.jpg"_s,
        music() + u"/list.m3u8"_s,
        music() + u"/song.wma"_s,
        device() + u"/.velmo"_s,
    };
    for (const QString& path : spared)
        makeFile(path);
    const QStringList removed{device() + u"/Loose.WAV"_s, music() + u"/A/B/c.ogg"_s, music() + u"/A/d.m4a"_s,
                              music() + u"/e.aac"_s, music() + u"/song.aif"_s};
    for (const QString& path : removed)
        makeFile(path);
    // A folder named like audio, and a link to a file the profile does not want.
    QDir().mkpath(music() + u"/folder.mp3"_s);
    QFile::link(music() + u"/e.aac"_s, music() + u"/link.mp3"_s);
    const QStringList before = treeListing(device());

    const SyncDiff result = diff({kept}, p);
    EXPECT_EQ(paths(result.toRemove), removed);
    EXPECT_EQ(paths(result.passedOver), QStringList{music() + u"/link.mp3"_s});
    EXPECT_EQ(result.unchanged, 1);
    EXPECT_EQ(treeListing(device()), before);
}

TEST_F(SyncDiffTest, ARootThatCannotBeWalkedHasNothingToRemove)
{
    const Track track = libraryTrack(u"A"_s);
    DeviceProfile p = profile();

    SyncDiff result = diff({track}, p); // the root does not exist
    EXPECT_EQ(result.toAdd.size(), 1);
    EXPECT_TRUE(result.toRemove.isEmpty());
    EXPECT_EQ(result.unchanged, 0);

    makeFile(device());
    result = diff({track}, p);
    EXPECT_EQ(result.toAdd.size(), 1);
    EXPECT_TRUE(result.toRemove.isEmpty());

    p.rootPath = folder.path() + u"/dangling"_s;
    ASSERT_TRUE(QFile::link(folder.path() + u"/nowhere"_s, p.rootPath));
    result = diff({track}, p);
    EXPECT_EQ(result.toAdd.size(), 1);
    EXPECT_TRUE(result.toRemove.isEmpty());
}

TEST_F(SyncDiffTest, AFolderWithoutPermissionIsPassedOver)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "permissions do not bind the superuser";
    makeFile(music() + u"/Locked/a.mp3"_s);
    makeFile(music() + u"/Open/b.mp3"_s);
    ASSERT_EQ(::chmod(QFile::encodeName(music() + u"/Locked"_s).constData(), 0), 0);
    DeviceProfile p = profile();
    p.syncScope = SyncScope::selectedPlaylists;
    const SyncDiff result = diff({}, p);
    ::chmod(QFile::encodeName(music() + u"/Locked"_s).constData(), 0755);
    EXPECT_EQ(paths(result.toRemove), QStringList{music() + u"/Open/b.mp3"_s});
}

TEST_F(SyncDiffTest, NamesThatAreNotUtf8AreNeverListedForRemoval)
{
    makeFile(music() + u"/ok.mp3"_s);
    QDir().mkpath(music());
    for (const QByteArray& name : {QByteArray("/bad\xff.mp3"), QByteArray("/bad\xfe")}) {
        const QByteArray path = QFile::encodeName(music()) + name;
        const int fd = name.endsWith(".mp3") ? ::open(path.constData(), O_CREAT | O_WRONLY, 0644)
                                             : ::mkdir(path.constData(), 0755);
        ASSERT_GE(fd, 0);
        if (name.endsWith(".mp3"))
            ::close(fd);
    }
    const QByteArray inner = QFile::encodeName(music()) + QByteArray("/bad\xfe/inner.mp3");
    const int innerFd = ::open(inner.constData(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(innerFd, 0);
    ::close(innerFd);
    DeviceProfile p = profile();
    p.syncScope = SyncScope::selectedPlaylists;
    EXPECT_EQ(paths(diff({}, p).toRemove), QStringList{music() + u"/ok.mp3"_s});
    // QTemporaryDir cannot name these to remove them either.
    ::unlink(inner.constData());
    ::rmdir(QByteArray(QFile::encodeName(music()) + "/bad\xfe").constData());
    ::unlink(QByteArray(QFile::encodeName(music()) + "/bad\xff.mp3").constData());
}

TEST_F(SyncDiffTest, PodcastHalf)
{
    DeviceProfile p = profile();
    const QString podcasts = device() + u"/Podcasts"_s;
    Podcast show{.id = QUuid::createUuid(), .title = u"Show: One"_s};
    Podcast untitled{.id = QUuid::createUuid(), .title = u" . "_s};
    const auto episode = [&](const QString& fileName, bool onDisk) {
        Episode e;
        e.id = QUuid::createUuid();
        e.localURL = QUrl::fromLocalFile(folder.path() + u"/Episodes/"_s + fileName);
        if (onDisk)
            makeFile(e.localURL->toLocalFile());
        return e;
    };
    const Episode there = episode(u"there.mp3"_s, true);
    const Episode missing = episode(u"missing.mp3"_s, true);
    const Episode gone = episode(u"gone.mp3"_s, false);
    Episode notDownloaded;
    const Episode other = episode(u"other.mp3"_s, true);
    makeFile(podcasts + u"/Show- One/there.mp3"_s);
    makeFile(podcasts + u"/Show- One/stale.txt"_s);
    makeFile(podcasts + u"/Old Show/x.mp3"_s);
    makeFile(podcasts + u"/.hidden"_s);
    const QList<SyncDiff::PodcastEpisodes> pairs{{show, {there, missing, gone, notDownloaded}}, {untitled, {other}}};

    SyncDiff result = diff({}, p, {}, {}, pairs);
    EXPECT_FALSE(result.podcastChanges); // the profile does not sync podcasts
    EXPECT_TRUE(result.toRemove.isEmpty());

    p.syncPodcasts = true;
    result = diff({}, p, {}, {}, pairs);
    ASSERT_TRUE(result.podcastChanges);
    const SyncDiff::PodcastChanges& changes = *result.podcastChanges;
    ASSERT_EQ(changes.toAdd.size(), 2);
    EXPECT_EQ(changes.toAdd.at(0).second.id, missing.id);
    EXPECT_EQ(changes.toAdd.at(1).first.id, untitled.id);
    EXPECT_EQ(changes.unchanged, 1);
    // Only audio goes from the podcasts folder: a text file there may be the user's own.
    EXPECT_EQ(paths(changes.toRemove), QStringList{podcasts + u"/Old Show/x.mp3"_s});

    makeFile(podcasts + u"/Unknown Podcast/other.mp3"_s);
    result = diff({}, p, {}, {}, pairs);
    EXPECT_EQ(result.podcastChanges->unchanged, 2);
    EXPECT_EQ(result.podcastChanges->toAdd.size(), 1);
}

namespace {

// Counts the reads of each path's attributes, by a walk or on its own.
class CountingFileTree final : public FileTree {
public:
    bool walk(const QString& root, const Visitor& visit) const override
    {
        return FileTree::local().walk(root, [&](const Entry& entry) {
            count(entry.path);
            return visit(entry);
        });
    }
    std::optional<Attributes> attributes(const QString& path) const override
    {
        count(path);
        return FileTree::local().attributes(path);
    }

    QHash<QString, int> reads() const
    {
        const QMutexLocker locker(&m_mutex);
        return m_reads;
    }

private:
    void count(const QString& path) const
    {
        const QMutexLocker locker(&m_mutex);
        ++m_reads[path];
    }

    mutable QMutex m_mutex;
    mutable QHash<QString, int> m_reads;
};

} // namespace

namespace {

// A device pulled out once the walk has begun: the tree is gone before the second entry.
class VanishingFileTree final : public FileTree {
public:
    explicit VanishingFileTree(QString device) : m_device(std::move(device)) {}

    bool walk(const QString& root, const Visitor& visit) const override
    {
        return FileTree::local().walk(root, [&](const Entry& entry) {
            QDir(m_device).removeRecursively();
            return visit(entry);
        });
    }
    std::optional<Attributes> attributes(const QString& path) const override
    {
        return FileTree::local().attributes(path);
    }

private:
    QString m_device;
};

} // namespace

TEST_F(SyncDiffTest, ADeviceRemovedDuringTheWalkGivesAShorterList)
{
    const Track track = libraryTrack(u"A"_s);
    DeviceProfile p = profile();
    for (const QString& name : {u"A"_s, u"B"_s, u"C"_s})
        makeFile(music() + u'/' + name + u"/x.mp3"_s);
    makeFile(destination(track, p));
    const VanishingFileTree files(device());
    const SyncDiff result = SyncDiff::compute({track}, {}, {}, p, QUrl::fromLocalFile(libraryRoot()), {},
                                              SyncDiff::NameRules::plain, &files);
    EXPECT_TRUE(result.toRemove.isEmpty());
    EXPECT_EQ(result.toAdd.size(), 1);
}

TEST_F(SyncDiffTest, EachDeviceFileIsReadAtMostOnceForTenThousandTracks)
{
    DeviceProfile p = profile();
    p.folderStructure = FolderStructure::flat;
    QList<Track> tracks;
    for (int i = 0; i < 10'000; ++i) {
        Track track = makeTrack(u"Track %1"_s.arg(i), u"Artist"_s, u"Album"_s);
        track.url = QUrl::fromLocalFile(libraryRoot() + u"/t%1.flac"_s.arg(i));
        if (i % 2 == 0)
            makeFile(destination(track, p));
        tracks.append(track);
    }
    makeFile(libraryRoot() + u"/t0.flac"_s); // one source, so that one date is compared
    CountingFileTree files;
    const SyncDiff result = SyncDiff::compute(tracks, {}, {}, p, QUrl::fromLocalFile(libraryRoot()), {},
                                              SyncDiff::NameRules::plain, &files);
    EXPECT_EQ(result.toAdd.size(), 5'000);
    EXPECT_EQ(result.unchanged, 5'000);
    qsizetype deviceFilesRead = 0;
    const QHash<QString, int> reads = files.reads();
    for (auto it = reads.cbegin(); it != reads.cend(); ++it) {
        if (it.key().startsWith(device())) {
            EXPECT_EQ(it.value(), 1) << it.key().toStdString();
            ++deviceFilesRead;
        }
    }
    EXPECT_GE(deviceFilesRead, 10'000);
}

TEST_F(SyncDiffTest, OnFatNamesAreMadeSafeAndCollisionsKeptApart)
{
    DeviceProfile p = profile();
    p.folderStructure = FolderStructure::mirrorLibrary;
    const auto fat = SyncDiff::NameRules::fat;
    Track track = makeTrack(u"x"_s);
    track.url = QUrl::fromLocalFile(libraryRoot() + u"/What? Now. /Tab\there \"quoted\".flac"_s);
    EXPECT_EQ(destination(track, p, fat), music() + u"/What- Now/Tab-here -quoted-.flac"_s);
    EXPECT_EQ(destination(track, p), music() + u"/What? Now. /Tab\there \"quoted\".flac"_s);

    // Too long: shortened before the extension, and never inside a character.
    track.url = QUrl::fromLocalFile(libraryRoot() + u'/' + QString(249, u'a') + u"😀😀.flac"_s);
    EXPECT_EQ(QFileInfo(destination(track, p, fat)).fileName(), QString(249, u'a') + u".flac"_s);
    track.url = QUrl::fromLocalFile(libraryRoot() + u'/' + QString(248, u'a') + u"😀😀.flac"_s);
    EXPECT_EQ(QFileInfo(destination(track, p, fat)).fileName(), QString(248, u'a') + u"😀.flac"_s);

    // Tracks that meet on one name, also in different case, are numbered apart.
    p.folderStructure = FolderStructure::flat;
    const Track first = libraryTrack(u"Song"_s, u"Band"_s, u"One"_s);
    const Track second = libraryTrack(u"SONG"_s, u"band"_s, u"Two"_s);
    const Track third = libraryTrack(u"Song\u0001"_s, u"Band"_s, u"Three"_s);
    const Track fourth = libraryTrack(u"Song\u0002"_s, u"Band"_s, u"Four"_s);
    SyncDiff result = diff({first, second, third, fourth}, p, {}, {}, {}, fat);
    EXPECT_EQ(destinations(result), (QStringList{music() + u"/Band - Song.flac"_s, music() + u"/band - SONG (2).flac"_s,
                                                 music() + u"/Band - Song (3).flac"_s, music() + u"/Band - Song (4).flac"_s}));

    // A copy already on the device under another case is that track's file, not a stranger.
    makeFile(music() + u"/BAND - SONG.flac"_s, baseTime + 10);
    result = diff({first}, p, {}, {}, {}, fat);
    EXPECT_TRUE(result.toAdd.isEmpty());
    EXPECT_TRUE(result.toRemove.isEmpty());
}

// The names are checked by a real FAT driver rather than by our own rules: mtools writes them
// into a FAT32 image and lists them back. It refuses a name FAT forbids, changes one that FAT
// would change (trailing full stops, blanks), and meets a name that differs only in case.
TEST_F(SyncDiffTest, OnARealFatImageEveryNameArrivesAsItIs)
{
    for (const char* tool : {"mkfs.fat", "mcopy", "mdir"}) {
        if (QStandardPaths::findExecutable(QString::fromLatin1(tool)).isEmpty()
            && QStandardPaths::findExecutable(QString::fromLatin1(tool), {u"/usr/sbin"_s, u"/sbin"_s}).isEmpty())
            GTEST_SKIP() << tool << " is not installed";
    }
    DeviceProfile p = profile();
    p.folderStructure = FolderStructure::flat;
    // mtools keeps only the Basic Multilingual Plane, so no emoji here; FAT itself takes them.
    const QList<Track> tracks{
        libraryTrack(u"Song"_s, u"Band"_s, u"One"_s),
        libraryTrack(u"SONG"_s, u"band"_s, u"Two"_s),
        libraryTrack(u"What? Now. "_s, u"Band"_s, u"Three"_s),
        libraryTrack(u"Live: \"Best\" <1> | *"_s, u"Band"_s, u"Four"_s),
        libraryTrack(u"Café Brûlé..."_s, u"Émilie"_s, u"Five"_s),
        libraryTrack(QString(250, u'x'), u"Band"_s, u"Six"_s),
        libraryTrack(u"song"_s, u"BAND"_s, u"Seven"_s),
    };
    const SyncDiff result = diff(tracks, p, {}, {}, {}, SyncDiff::NameRules::fat);
    ASSERT_EQ(result.toAdd.size(), tracks.size());

    QTemporaryDir tree;
    QStringList names;
    QStringList arguments{u"-i"_s, tree.filePath(u"fat.img"_s), u"-D"_s, u"s"_s};
    for (const SyncDiff::AddItem& item : result.toAdd) {
        const QString name = QFileInfo(item.destinationURL.toLocalFile()).fileName();
        names.append(name);
        QFile file(tree.filePath(u"files/"_s + name));
        ASSERT_TRUE(QDir().mkpath(tree.filePath(u"files"_s)));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << name.toStdString();
        arguments.append(file.fileName());
    }
    arguments.append(u"::/"_s);

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s);
    environment.insert(u"MTOOLS_SKIP_CHECK"_s, u"1"_s);
    const auto run = [&environment](const QString& program, const QStringList& args) {
        QProcess process;
        process.setProcessEnvironment(environment);
        process.setStandardInputFile(QProcess::nullDevice());
        const QString found = QStandardPaths::findExecutable(program).isEmpty()
                                  ? QStandardPaths::findExecutable(program, {u"/usr/sbin"_s, u"/sbin"_s})
                                  : QStandardPaths::findExecutable(program);
        process.start(found, args);
        process.waitForFinished(30'000);
        return std::pair{process.exitCode(), QString::fromUtf8(process.readAllStandardOutput())};
    };
    // 4 KiB clusters, as on a real card: with the smallest ones mtools finds no room for long names.
    ASSERT_EQ(run(u"mkfs.fat"_s, {u"-F"_s, u"32"_s, u"-s"_s, u"8"_s, u"-C"_s, tree.filePath(u"fat.img"_s), u"300000"_s})
                  .first,
              0);
    EXPECT_EQ(run(u"mcopy"_s, arguments).first, 0) << "a name was refused or met another";

    QStringList listed;
    for (const QString& line : run(u"mdir"_s, {u"-i"_s, tree.filePath(u"fat.img"_s), u"-b"_s, u"::/"_s}).second.split(u'\n')) {
        if (line.startsWith(u"::/"_s))
            listed.append(line.mid(3));
    }
    names.sort();
    listed.sort();
    EXPECT_EQ(listed, names);
}

TEST(SyncDiffNameRules, FromTheFileSystemType)
{
    EXPECT_EQ(SyncDiff::nameRulesFor(u"vfat"_s), SyncDiff::NameRules::fat);
    EXPECT_EQ(SyncDiff::nameRulesFor(u"exfat"_s), SyncDiff::NameRules::fat);
    EXPECT_EQ(SyncDiff::nameRulesFor(u"ext4"_s), SyncDiff::NameRules::plain);
    EXPECT_EQ(SyncDiff::nameRulesFor(QString()), SyncDiff::NameRules::plain);
}

TEST(FatNames, LimitsHoldForNumberedAndDegenerateNames)
{
    const QString longName = QString(250, u'x') + u".mp3"_s;
    const QString numbered = FatNames::numbered(longName, 12);
    EXPECT_EQ(numbered.size(), 255);
    EXPECT_TRUE(numbered.endsWith(u"x (12).mp3"_s));
    EXPECT_EQ(FatNames::numbered(u"Song"_s, 2), u"Song (2)"_s);

    EXPECT_EQ(FatNames::safeComponent(u" .. "_s, false), u"-"_s);
    EXPECT_EQ(FatNames::safeComponent(QString(300, u'f'), false), QString(255, u'f'));
    // A long "extension" is part of the name, not something to keep whole.
    const QString oddExtension = u"a."_s + QString(200, u'e');
    EXPECT_EQ(FatNames::safeComponent(oddExtension + oddExtension, true).size(), 255);
}
