#include "VelmoTest.h"
#include "facade/LibraryStores.h"
#include "support/SmallFileSystem.h"
#include "support/TrackFactory.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

class PlaylistCommandTest : public VelmoTest {
protected:
    void SetUp() override
    {
        VelmoTest::SetUp();
        initLibrary();
        for (const auto& [artist, title] : QList<std::pair<QString, QString>>{
                 {u"Sigur Rós"_s, u"Ágætis byrjun"_s}, {u"100% Hits #1"_s, u"Take 5 %20"_s}, {u"Nina"_s, u"Feeling"_s}}) {
            Track track = makeTrack(title, artist, u"Album"_s, 125.7);
            track.url = QUrl::fromLocalFile(root() + u'/' + artist + u"/Album/"_s + title + u".flac"_s);
            writeFile(track.path(), "audio");
            tracks.append(track);
        }
        tracks[0].year = 1999;
        tracks[1].year = 2001;
        tracks[2].year = 1995;
        writeFile(StoreLocations::path(StoreKind::library), LibraryStores::encodeTracks(tracks));
    }

    void seed(const QList<Playlist>& playlists, const QList<SmartPlaylist>& smartPlaylists = {})
    {
        writeFile(StoreLocations::path(StoreKind::playlists), LibraryStores::encodePlaylists(playlists));
        writeFile(StoreLocations::path(StoreKind::smartPlaylists), LibraryStores::encodeSmartPlaylists(smartPlaylists));
    }

    static QString idText(const QUuid& id) { return id.toString(QUuid::WithoutBraces).toUpper(); }

    QList<Track> tracks;
    const QUuid gone = QUuid::createUuid();
};

Playlist playlist(const QString& name, const QList<QUuid>& trackIDs)
{
    return {QUuid::createUuid(), name, trackIDs, Date{1}, Date{2}};
}

SmartPlaylist nineties(const QString& name)
{
    return {.id = QUuid::createUuid(), .name = name, .filterDecades = {1990}, .dateCreated = Date{3}, .dateModified = Date{4}};
}

} // namespace

TEST_F(PlaylistCommandTest, ListShowsBothKindsWithCountsAndIds)
{
    EXPECT_EQ(velmo({u"playlist"_s, u"list"_s}).out, u"No playlists yet.\n"_s);

    const Playlist mix = playlist(u"Mix #1 é"_s, {tracks[2].id, gone, tracks[0].id});
    const Playlist single = playlist(u"Single"_s, {tracks[1].id});
    const SmartPlaylist smart = nineties(u"Nineties"_s);
    seed({mix, single}, {smart});

    const VelmoResult text = velmo({u"playlist"_s, u"list"_s});
    ASSERT_EQ(text.status, 0) << qPrintable(text.err);
    const QStringList lines = text.out.split(u'\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 5) << qPrintable(text.out);
    EXPECT_EQ(lines.at(0), u"Playlists"_s);
    EXPECT_TRUE(lines.at(1).contains(u"Mix #1 é"_s) && lines.at(1).contains(u"2 tracks"_s)
                && lines.at(1).contains(idText(mix.id)))
        << qPrintable(lines.at(1)) << ": the dangling id is not counted";
    EXPECT_EQ(lines.at(3), u"Smart Playlists"_s);
    EXPECT_TRUE(lines.at(4).contains(u"Nineties"_s) && lines.at(4).contains(u"2 tracks"_s)) << qPrintable(lines.at(4));

    const VelmoResult json = velmo({u"playlist"_s, u"list"_s, u"--json"_s});
    ASSERT_EQ(json.status, 0) << qPrintable(json.err);
    const QJsonObject object = QJsonDocument::fromJson(json.out.toUtf8()).object();
    const QJsonArray playlists = object.value("playlists"_L1).toArray();
    ASSERT_EQ(playlists.size(), 2);
    EXPECT_EQ(playlists.at(0).toObject().value("name"_L1).toString(), u"Mix #1 é"_s);
    EXPECT_EQ(playlists.at(0).toObject().value("trackIDs"_L1).toArray().at(1).toString(), idText(gone))
        << "records as stored, dangling ids included";
    EXPECT_EQ(object.value("smartPlaylists"_L1).toArray().size(), 1);
}

TEST_F(PlaylistCommandTest, ShowListsTheTracksInPlaylistOrderOrASmartPlaylistsFiltersAndMatches)
{
    const Playlist mix = playlist(u"Mix"_s, {tracks[2].id, gone, tracks[0].id});
    seed({mix}, {nineties(u"Nineties"_s)});
    const VelmoResult text = velmo({u"playlist"_s, u"show"_s, u"Mix"_s});
    ASSERT_EQ(text.status, 0) << qPrintable(text.err);
    const QStringList lines = text.out.split(u'\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 5) << qPrintable(text.out);
    EXPECT_EQ(lines.at(0), u"Mix (playlist "_s + idText(mix.id) + u')');
    EXPECT_EQ(lines.at(1), u"2 tracks · 4:11"_s);
    EXPECT_EQ(lines.at(2), u"  1. Nina - Feeling  2:05"_s);
    EXPECT_EQ(lines.at(3), u"  2. Sigur Rós - Ágætis byrjun  2:05"_s);
    EXPECT_EQ(lines.at(4), u"1 entry names a track no longer in the library."_s);

    const VelmoResult json = velmo({u"playlist"_s, u"show"_s, idText(mix.id), u"--json"_s});
    ASSERT_EQ(json.status, 0) << qPrintable(json.err);
    const QJsonObject object = QJsonDocument::fromJson(json.out.toUtf8()).object();
    EXPECT_EQ(object.value("playlist"_L1).toObject().value("id"_L1).toString(), idText(mix.id));
    const QJsonArray shown = object.value("tracks"_L1).toArray();
    ASSERT_EQ(shown.size(), 2);
    EXPECT_EQ(shown.at(0).toObject().value("title"_L1).toString(), u"Feeling"_s);

    const VelmoResult smart = velmo({u"playlist"_s, u"show"_s, u"Nineties"_s});
    ASSERT_EQ(smart.status, 0) << qPrintable(smart.err);
    EXPECT_TRUE(smart.out.contains(u"Artists: any\nGenres: any\nDecades: 1990s\n2 tracks · 4:11\n"_s))
        << qPrintable(smart.out);
}

TEST_F(PlaylistCommandTest, NamesAreMatchedExactlyAndTwinsAreToldApartById)
{
    const Playlist regular = playlist(u"Twins"_s, {});
    const SmartPlaylist smart = nineties(u"Twins"_s);
    seed({regular, playlist(u"twins "_s, {})}, {smart});

    const VelmoResult none = velmo({u"playlist"_s, u"show"_s, u"Nobody"_s});
    EXPECT_EQ(none.status, 1);
    EXPECT_TRUE(none.err.contains(u"No playlist or smart playlist is named \"Nobody\""_s)) << qPrintable(none.err);

    const VelmoResult twins = velmo({u"playlist"_s, u"show"_s, u"Twins"_s});
    EXPECT_EQ(twins.status, 1);
    EXPECT_TRUE(twins.err.contains(u"2 playlists are named \"Twins\""_s)) << qPrintable(twins.err);
    EXPECT_TRUE(twins.err.contains(u"playlist "_s + idText(regular.id)));
    EXPECT_TRUE(twins.err.contains(u"smart playlist "_s + idText(smart.id)));

    const VelmoResult byID = velmo({u"playlist"_s, u"show"_s, smart.id.toString()});
    EXPECT_EQ(byID.status, 0) << qPrintable(byID.err);
    EXPECT_TRUE(byID.out.startsWith(u"Twins (smart playlist "_s)) << qPrintable(byID.out);
}

TEST_F(PlaylistCommandTest, ExportWritesRelativePathsThatNameTheFiles)
{
    seed({playlist(u"Mix #1 100% é"_s, {tracks[0].id, gone, tracks[1].id, tracks[2].id})});
    const QString folder = stores.folder() + u"/Exports/a b #1"_s;
    QDir().mkpath(folder);
    const QString file = folder + u"/mix.m3u8"_s;

    const VelmoResult result = velmo({u"playlist"_s, u"export"_s, u"Mix #1 100% é"_s, file});
    ASSERT_EQ(result.status, 0) << qPrintable(result.err);
    EXPECT_TRUE(result.out.contains(u"(3 tracks) to "_s + file)) << qPrintable(result.out);
    EXPECT_TRUE(result.out.contains(u"1 entry was left out"_s)) << qPrintable(result.out);

    const QStringList lines = QString::fromUtf8(readFile(file)).split(u'\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 7);
    EXPECT_TRUE(lines.at(2).startsWith(u"../../Music/"_s)) << qPrintable(lines.at(2));

    ASSERT_EQ(velmo({u"playlist"_s, u"export"_s, u"Mix #1 100% é"_s, file, u"--absolute"_s}).status, 0);
    const QStringList absolute = QString::fromUtf8(readFile(file)).split(u'\n', Qt::SkipEmptyParts);
    ASSERT_EQ(absolute.size(), 7);
    EXPECT_EQ(absolute.at(2), tracks[0].path());
}

TEST_F(PlaylistCommandTest, ExportIntoAFolderNamesTheFileAfterThePlaylistButNeverOutsideIt)
{
    seed({playlist(u"Road Trip"_s, {tracks[0].id}), playlist(u"../escaped"_s, {tracks[0].id})}, {nineties(u"Nineties"_s)});
    const QString folder = stores.folder() + u"/Exports/inner"_s;
    QDir().mkpath(folder);
    ASSERT_EQ(velmo({u"playlist"_s, u"export"_s, u"Road Trip"_s, folder}).status, 0);
    EXPECT_TRUE(readFile(folder + u"/Road Trip.m3u8"_s).startsWith("#EXTM3U\n#EXTINF:125,Sigur Rós - Ágætis byrjun\n"));
    const VelmoResult smart = velmo({u"playlist"_s, u"export"_s, u"Nineties"_s, folder});
    ASSERT_EQ(smart.status, 0) << qPrintable(smart.err);
    EXPECT_EQ(QString::fromUtf8(readFile(folder + u"/Nineties.m3u8"_s)).count(u"#EXTINF:"_s), 2);

    const VelmoResult slash = velmo({u"playlist"_s, u"export"_s, u"../escaped"_s, folder});
    EXPECT_EQ(slash.status, 1);
    EXPECT_TRUE(slash.err.contains(u"cannot be used as a file name"_s)) << qPrintable(slash.err);
    EXPECT_TRUE(QDir(stores.folder() + u"/Exports"_s).entryList(QDir::Files).isEmpty());

    // With a full path the user chose the file, and the name plays no part.
    const QString chosen = folder + u"/chosen.m3u8"_s;
    EXPECT_EQ(velmo({u"playlist"_s, u"export"_s, u"../escaped"_s, chosen}).status, 0);
    EXPECT_TRUE(QFileInfo::exists(chosen));
}

TEST_F(PlaylistCommandTest, ExportFailuresAreSentences)
{
    seed({playlist(u"Mix"_s, {tracks[0].id})});
    const QString target = stores.folder() + u"/nowhere/mix.m3u8"_s;
    const VelmoResult result = velmo({u"playlist"_s, u"export"_s, u"Mix"_s, target});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.err.contains(u"the folder does not exist"_s)) << qPrintable(result.err);
    EXPECT_TRUE(result.out.isEmpty());

    // What is not a regular file is never replaced by one.
    const QString fifo = stores.folder() + u"/pipe"_s;
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0644), 0);
    const VelmoResult onFifo = velmo({u"playlist"_s, u"export"_s, u"Mix"_s, fifo});
    EXPECT_EQ(onFifo.status, 1);
    EXPECT_TRUE(onFifo.err.contains(u"not a regular file"_s)) << qPrintable(onFifo.err);
    EXPECT_FALSE(QFileInfo(fifo).isFile());
    const QString plain = stores.folder() + u"/plain"_s;
    writeFile(plain, "mine");
    const VelmoResult notAFolder = velmo({u"playlist"_s, u"export"_s, u"Mix"_s, plain + u'/'});
    EXPECT_EQ(notAFolder.status, 1);
    EXPECT_EQ(notAFolder.err.trimmed(), u"“%1” is not a folder."_s.arg(plain));
    EXPECT_EQ(velmo({u"playlist"_s, u"export"_s, u"Mix"_s, plain + u"/mix.m3u8"_s}).status, 1);
    EXPECT_EQ(readFile(plain), "mine");

    SmallFileSystem disk;
    if (disk.mounted()) {
        writeFile(disk.filePath(u"mix.m3u8"_s), "#EXTM3U\nearlier\n");
        disk.fill();
        const VelmoResult full = velmo({u"playlist"_s, u"export"_s, u"Mix"_s, disk.filePath(u"mix.m3u8"_s)});
        EXPECT_EQ(full.status, 1);
        EXPECT_TRUE(full.err.contains(u"no space left"_s)) << qPrintable(full.err);
        EXPECT_EQ(readFile(disk.filePath(u"mix.m3u8"_s)), "#EXTM3U\nearlier\n");
    }

    EXPECT_EQ(velmo({u"playlist"_s, u"export"_s, u"Mix"_s}).status, 2) << "FILE is required";
    EXPECT_EQ(velmo({u"playlist"_s, u"show"_s}).status, 2) << "NAME is required";
}
