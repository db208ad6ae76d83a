#include "playlists/PlaylistExporter.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

QByteArray golden(const QString& name)
{
    return readFile(QStringLiteral(SONORELLE_TESTDATA) + u"/playlists/"_s + name);
}

Track entry(const QString& artist, const QString& title, double duration, const QString& path)
{
    Track track = makeTrack(title, artist, u"Album"_s, duration);
    track.url = QUrl::fromLocalFile(path);
    return track;
}

// The playlist behind the golden files: non-ASCII names, "#" and "%" in paths, labels with
// commas and dashes, an empty label, a dangling id and a repeated entry.
struct GoldenPlaylist {
    QList<Track> tracks{
        entry(u"Sigur Rós"_s, u"Svefn-g-englar"_s, 599.99,
              u"/home/ana/Music/Sigur Rós/Ágætis byrjun/01 Svefn-g-englar.flac"_s),
        entry(u""_s, u"Untitled #4 (100% live)"_s, 59.9,
              u"/home/ana/Music/Unknown Artist/Live/04 Untitled #4 (100% live).mp3"_s),
        entry(u""_s, u""_s, 0.5, u"/home/ana/Music/Misc/track.wav"_s),
        entry(u"AC/DC"_s, u"Back, in - Black"_s, 255.0, u"/media/usb/AC-DC/Back in Black.m4a"_s),
        entry(u"坂本龍一"_s, u"Merry Christmas Mr. Lawrence"_s, 300.7, u"/home/ana/Playlists/坂本龍一.flac"_s),
    };
    Playlist playlist{
        .id = QUuid::createUuid(),
        .name = u"Golden"_s,
        .trackIDs = {tracks.at(0).id, QUuid::createUuid(), tracks.at(1).id, tracks.at(2).id, tracks.at(3).id,
                     tracks.at(0).id, tracks.at(4).id},
    };
};

QStringList pathLines(const QByteArray& text)
{
    QStringList lines;
    for (const QString& line : QString::fromUtf8(text).split(u'\n', Qt::SkipEmptyParts)) {
        if (!line.startsWith(u'#'))
            lines.append(line);
    }
    return lines;
}

} // namespace

TEST(PlaylistExporter, TextMatchesTheGoldenFilesByteForByte)
{
    const GoldenPlaylist sample;
    const QByteArray absolute = PlaylistExporter::m3u8(sample.playlist, sample.tracks).toUtf8();
    EXPECT_EQ(absolute, golden(u"absolute.m3u8"_s));
    const QByteArray relative =
        PlaylistExporter::m3u8(sample.playlist, sample.tracks, QUrl::fromLocalFile(u"/home/ana/Playlists"_s))
            .toUtf8();
    EXPECT_EQ(relative, golden(u"relative.m3u8"_s));
    EXPECT_EQ(PlaylistExporter::m3u8(sample.playlist, sample.tracks, QUrl::fromLocalFile(u"/home/ana/Playlists/"_s)),
              QString::fromUtf8(relative))
        << "a trailing slash on the base changes nothing";
}

TEST(PlaylistExporter, NoKnownTrackIsTheHeaderAloneAndTheFirstOfTwoRecordsWithOneIdWins)
{
    EXPECT_EQ(PlaylistExporter::m3u8(Playlist{.id = QUuid::createUuid()}, {makeTrack(u"x"_s)}), u"#EXTM3U\n"_s);
    EXPECT_EQ(PlaylistExporter::m3u8(Playlist{.trackIDs = {QUuid::createUuid()}}, {}), u"#EXTM3U\n"_s);

    const Track first = entry(u"A"_s, u"First"_s, 10, u"/m/first.flac"_s);
    Track second = entry(u"B"_s, u"Second"_s, 20, u"/m/second.flac"_s);
    second.id = first.id;
    EXPECT_EQ(PlaylistExporter::m3u8(Playlist{.trackIDs = {first.id}}, {first, second}),
              u"#EXTM3U\n#EXTINF:10,A - First\n/m/first.flac\n"_s);
}

TEST(PlaylistExporter, SecondsAreTruncatedTowardsZeroAndBrokenDurationsAreUnknown)
{
    EXPECT_EQ(PlaylistExporter::extinfSeconds(59.9), 59);
    EXPECT_EQ(PlaylistExporter::extinfSeconds(0.99), 0);
    EXPECT_EQ(PlaylistExporter::extinfSeconds(-0.5), 0);
    EXPECT_EQ(PlaylistExporter::extinfSeconds(-59.9), -59);
    EXPECT_EQ(PlaylistExporter::extinfSeconds(9.0e18), qint64(9'000'000'000'000'000'000));
    for (double broken : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                          -std::numeric_limits<double>::infinity(), 9.3e18, -1e300})
        EXPECT_EQ(PlaylistExporter::extinfSeconds(broken), -1) << broken;

    Track broken = makeTrack(u"T"_s, u"A"_s);
    broken.duration = std::nan("");
    const Playlist playlist{.trackIDs = {broken.id}};
    EXPECT_TRUE(PlaylistExporter::m3u8(playlist, {broken}).startsWith(u"#EXTM3U\n#EXTINF:-1,A - T\n"_s));
}

TEST(PlaylistExporter, TheResolverPicksEachTargetAndFallsBackToTheTrack)
{
    const Track onDevice = entry(u"A"_s, u"On device"_s, 1, u"/library/A/On device.flac"_s);
    const Track elsewhere = entry(u"B"_s, u"Elsewhere"_s, 2, u"/library/B/Elsewhere.flac"_s);
    const Playlist playlist{.trackIDs = {onDevice.id, elsewhere.id}};
    const PlaylistExporter::UrlResolver toDevice = [&](const Track& track) -> std::optional<QUrl> {
        if (track.id == onDevice.id)
            return QUrl::fromLocalFile(u"/media/player/Music/Artist/Album/01 Title.mp3"_s);
        return std::nullopt;
    };
    EXPECT_EQ(PlaylistExporter::m3u8(playlist, {onDevice, elsewhere},
                                     QUrl::fromLocalFile(u"/media/player/Playlists"_s), toDevice),
              u"#EXTM3U\n#EXTINF:1,A - On device\n../Music/Artist/Album/01 Title.mp3\n"
              "#EXTINF:2,B - Elsewhere\n../../../library/B/Elsewhere.flac\n"_s);
}

TEST(PlaylistExporter, NoEntrySpansTwoLines)
{
    // A path with a line break would split into a second entry pointing elsewhere; it cannot
    // be written, so its entry is left out. Labels lose their control characters instead.
    const Track split = entry(u"A"_s, u"Split"_s, 1, u"/library/A/x\n/etc/passwd"_s);
    const Track carriage = entry(u"A"_s, u"Carriage"_s, 1, u"/library/A/x\r.flac"_s);
    const Track separator = entry(u"A"_s, u"Separator"_s, 1, u"/library/A/x\u2028.flac"_s);
    const Track tabbed = entry(u"A\nB"_s, u"Tab\tand\r\nbell\a"_s, 3, u"/library/A/tab\there.flac"_s);
    const Playlist playlist{.trackIDs = {split.id, carriage.id, separator.id, tabbed.id}};
    EXPECT_EQ(PlaylistExporter::m3u8(playlist, {split, carriage, separator, tabbed}),
              u"#EXTM3U\n#EXTINF:3,A B - Tab and  bell \n/library/A/tab\there.flac\n"_s);
}

TEST(PlaylistExporter, RelativePathsGoComponentByComponent)
{
    struct Case {
        QString base;
        QString target;
        QString expected;
    };
    const QList<Case> cases{
        {u"/a/b"_s, u"/a/b"_s, u"."_s},
        {u"/p/q/r"_s, u"/s/t.mp3"_s, u"../../../s/t.mp3"_s},
        {u"//a///b/"_s, u"/a/b//c"_s, u"c"_s},
        {u"/Music"_s, u"/music/x.mp3"_s, u"../music/x.mp3"_s},
        {u"/a/b"_s, u"/a/bc/d"_s, u"../bc/d"_s},
        {u"/Bj\u00f6rk"_s, u"/Bjo\u0308rk/x"_s, u"../Bjo\u0308rk/x"_s},
        {u"/a b/100%"_s, u"/a b/100%/#1.flac"_s, u"#1.flac"_s},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(PlaylistExporter::relativePath(c.base, c.target), c.expected)
            << qPrintable(c.base) << " -> " << qPrintable(c.target);
    }
}

TEST(PlaylistExporter, ExportedPathLinesNameTheRealFiles)
{
    QTemporaryDir root;
    const QStringList files{
        u"Music/Sigur Rós/Ágætis byrjun/01 Svefn-g-englar.flac"_s,
        u"Music/100% Hits #1/04 Take 5 %20 #2.mp3"_s,
        u"Playlists/My #1 mix 100% é/beside.flac"_s,
    };
    QList<Track> tracks;
    Playlist playlist{.id = QUuid::createUuid(), .name = u"My #1 mix 100% é"_s};
    for (const QString& file : files) {
        writeFile(root.filePath(file), "audio");
        tracks.append(entry(u"Artist"_s, QFileInfo(file).baseName(), 100, root.filePath(file)));
        playlist.trackIDs.append(tracks.constLast().id);
    }

    const QString folder = root.filePath(u"Playlists/My #1 mix 100% é"_s);
    for (const bool relative : {true, false}) {
        const QString target = folder + (relative ? u"/relative.m3u8"_s : u"/absolute.m3u8"_s);
        PlaylistExporter::write(playlist, tracks, QUrl::fromLocalFile(target), relative);

        const QStringList lines = pathLines(readFile(target));
        ASSERT_EQ(lines.size(), files.size());
        for (const QString& line : lines) {
            EXPECT_EQ(QDir::isRelativePath(line), relative) << qPrintable(line);
            EXPECT_TRUE(QFileInfo::exists(QDir(folder).filePath(line))) << qPrintable(line);
        }
        EXPECT_TRUE(lines.contains(relative ? u"beside.flac"_s : folder + u"/beside.flac"_s));
    }
}

TEST(PlaylistExporter, WritingReplacesTheFileWhole)
{
    QTemporaryDir folder;
    const QString target = folder.filePath(u"list.m3u8"_s);
    writeFile(target, QByteArray(10000, 'x'));
    const Track track = entry(u"A"_s, u"T"_s, 3, u"/m/t.flac"_s);
    PlaylistExporter::write({.trackIDs = {track.id}}, {track}, QUrl::fromLocalFile(target), false);
    EXPECT_EQ(readFile(target), "#EXTM3U\n#EXTINF:3,A - T\n/m/t.flac\n");
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList{u"list.m3u8"_s})
        << "no temporary file is left behind";
}

TEST(PlaylistExporter, WriteFailuresSayWhatWentWrong)
{
    QTemporaryDir folder;
    const auto failure = [](const QUrl& target) -> std::optional<PlaylistExporter::ExportError> {
        try {
            PlaylistExporter::write({}, {}, target, true);
        } catch (const PlaylistExporter::ExportError& error) {
            return error;
        }
        return std::nullopt;
    };

    const QString missing = folder.filePath(u"no such folder/list.m3u8"_s);
    const auto noFolder = failure(QUrl::fromLocalFile(missing));
    ASSERT_TRUE(noFolder);
    EXPECT_EQ(noFolder->kind(), PlaylistExporter::ExportError::Kind::writeFailed);
    EXPECT_EQ(noFolder->message(), u"The playlist could not be written to “%1”: the folder does not exist."_s.arg(missing));
    EXPECT_FALSE(QFileInfo::exists(folder.filePath(u"no such folder"_s))) << "the folder is not made";

    QDir(folder.path()).mkdir(u"taken.m3u8"_s);
    const auto inTheWay = failure(QUrl::fromLocalFile(folder.filePath(u"taken.m3u8"_s)));
    ASSERT_TRUE(inTheWay);
    EXPECT_TRUE(inTheWay->message().contains(u"a folder of that name is in the way"_s));

    const auto remote = failure(QUrl(u"https://example.com/list.m3u8"_s));
    ASSERT_TRUE(remote);
    EXPECT_EQ(remote->kind(), PlaylistExporter::ExportError::Kind::notALocalFile);
    EXPECT_TRUE(remote->message().contains(u"https://example.com/list.m3u8"_s));
}

TEST(PlaylistExporter, ANameThatWouldLeaveTheFolderIsRefused)
{
    const QUrl folder = QUrl::fromLocalFile(u"/media/player/Playlists"_s);
    for (const QString& name : {u"../../etc/passwd"_s, u"a/b"_s, u"/"_s, u"."_s, u".."_s, u"...."_s, u""_s,
                                u"nul\0l"_s}) {
        try {
            PlaylistExporter::fileURL(name, folder);
            ADD_FAILURE() << "accepted " << qPrintable(name);
        } catch (const PlaylistExporter::ExportError& error) {
            EXPECT_EQ(error.kind(), PlaylistExporter::ExportError::Kind::unsafeName);
            EXPECT_EQ(error.subject(), name);
            EXPECT_FALSE(error.message().isEmpty());
        }
    }
    EXPECT_EQ(PlaylistExporter::fileURL(u"Road Trip #2 100%"_s, folder).toLocalFile(),
              u"/media/player/Playlists/Road Trip #2 100%.m3u8"_s);
    EXPECT_EQ(PlaylistExporter::fileURL(u"..and more"_s, folder).toLocalFile(),
              u"/media/player/Playlists/..and more.m3u8"_s);
    EXPECT_EQ(PlaylistExporter::fileURL(u"C:\\x"_s, folder).toLocalFile(), u"/media/player/Playlists/C:\\x.m3u8"_s);
}
