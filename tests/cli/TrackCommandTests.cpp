#include "VelmoTest.h"
#include "facade/LibraryStores.h"
#include "library/JsonCoding.h"
#include "library/LibraryLock.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"
#include "library/Uuid.h"
#include "support/AudioFixtures.h"
#include "support/TrackFactory.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

// A library of four real FLAC files whose tags and entries agree.
class TrackCommandTest : public VelmoTest {
protected:
    void SetUp() override
    {
        VelmoTest::SetUp();
        initLibrary();
        const QList<std::tuple<QString, QString, QString, qint64>> songs{
            {u"Teardrop"_s, u"Massive Attack"_s, u"Wrong Name"_s, 1998},
            {u"Angel"_s, u"Massive Attack"_s, u"Wrong Name"_s, 1998},
            {u"Unfinished Sympathy"_s, u"Massive Attack"_s, u"Blue Lines"_s, 1991},
            {u"Intro"_s, u"The xx"_s, u"xx"_s, 2009},
        };
        for (const auto& [title, artist, album, year] : songs) {
            Track track = makeTrack(title, artist, album, 3);
            track.year = year;
            track.genre = u"Rock"_s;
            track.url = QUrl::fromLocalFile(
                AudioFixtures::copySample(u"taglib/sinewave.flac"_s, root() + u'/' + title + u".flac"_s));
            TagWriter::write(track);
            tracks.append(track);
        }
        writeFile(StoreLocations::path(StoreKind::library), LibraryStores::encodeTracks(tracks));
    }

    static QList<Track> stored() { return LibraryStores::readTracks().value; }
    static QString titleInFile(const Track& track) { return TagReader::read(track.url)->title; }
    static QString albumInFile(const Track& track) { return TagReader::read(track.url)->album; }

    QList<Track> tracks;
};

QStringList titles(const QJsonArray& array)
{
    QStringList result;
    for (const QJsonValue& entry : array)
        result.append(entry["track"_L1]["title"_L1].toString());
    return result;
}

} // namespace

TEST_F(TrackCommandTest, ListFindsByQueryInTitleOrderOrAsAsked)
{
    const VelmoResult json = velmo({u"track"_s, u"list"_s, u"artist:massive"_s, u"year:1990..1999"_s, u"--json"_s});
    ASSERT_EQ(json.status, 0) << qPrintable(json.err);
    const QJsonArray found = QJsonDocument::fromJson(json.out.toUtf8()).array();
    EXPECT_EQ(titles(found), (QStringList{u"Angel"_s, u"Teardrop"_s, u"Unfinished Sympathy"_s}));
    EXPECT_EQ(found.at(0)["path"_L1].toString(), tracks[1].path());

    const VelmoResult sorted =
        velmo({u"track"_s, u"list"_s, u"--sort"_s, u"year,title"_s, u"--format"_s, u"{year} {title}"_s});
    EXPECT_EQ(sorted.out, u"1991 Unfinished Sympathy\n1998 Angel\n1998 Teardrop\n2009 Intro\n"_s);
    EXPECT_EQ(velmo({u"track"_s, u"list"_s, u"--"_s, u"-massive"_s}).out, u"The xx — xx — Intro (0:03) FLAC\n"_s);

    EXPECT_EQ(velmo({u"track"_s, u"list"_s, u"colour:red"_s}).status, 2);
    EXPECT_EQ(velmo({u"track"_s, u"list"_s, u"--sort"_s, u"mood"_s}).status, 1);
    const VelmoResult shown = velmo({u"track"_s, u"show"_s, Uuid::text(tracks[0].id)});
    EXPECT_TRUE(shown.out.contains(u"title:        Teardrop"_s)) << qPrintable(shown.out);
}

TEST_F(TrackCommandTest, EditWritesTheFilesFirstAndNeedsYesForSeveral)
{
    const QByteArray storeBefore = readFile(StoreLocations::path(StoreKind::library));
    const QByteArray fileBefore = readFile(tracks[0].path());
    const QStringList edit{u"track"_s, u"edit"_s, u"album:\"Wrong Name\""_s, u"album=Right Name"_s};

    const VelmoResult asked = velmo(edit);
    EXPECT_EQ(asked.status, 1);
    EXPECT_TRUE(asked.err.contains(u"matches 2 tracks; add --yes"_s)) << qPrintable(asked.err);
    const VelmoResult dry = velmo(edit + QStringList{u"--yes"_s, u"--dry-run"_s});
    EXPECT_EQ(dry.status, 0);
    EXPECT_TRUE(dry.out.contains(u"album: Wrong Name → Right Name"_s)) << qPrintable(dry.out);
    EXPECT_EQ(readFile(StoreLocations::path(StoreKind::library)), storeBefore) << "a dry run changes nothing";
    EXPECT_EQ(readFile(tracks[0].path()), fileBefore);

    const VelmoResult done = velmo(edit + QStringList{u"--yes"_s});
    ASSERT_EQ(done.status, 0) << qPrintable(done.err);
    for (const Track& track : stored()) {
        if (track.title == u"Teardrop" || track.title == u"Angel") {
            EXPECT_EQ(track.album, u"Right Name"_s);
            EXPECT_EQ(albumInFile(track), u"Right Name"_s);
        }
    }

    // A file that refuses keeps its entry, and is named.
    QFile::remove(tracks[3].path());
    const VelmoResult refused =
        velmo({u"track"_s, u"edit"_s, u"title:intro"_s, u"title=Outro"_s, u"year="_s, u"custom.MOOD=calm"_s});
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.err.contains(tracks[3].path())) << qPrintable(refused.err);
    EXPECT_EQ(stored().at(3).title, u"Intro"_s);

    const VelmoResult set = velmo({u"track"_s, u"edit"_s, u"teardrop"_s, u"year="_s, u"custom.MOOD=calm"_s});
    ASSERT_EQ(set.status, 0) << qPrintable(set.err);
    EXPECT_EQ(stored().at(0).year, std::nullopt);
    EXPECT_EQ(stored().at(0).customTags.value(u"MOOD"_s), u"calm"_s);
    EXPECT_EQ(TagReader::read(tracks[0].url)->customTags.value(u"MOOD"_s), u"calm"_s);
    EXPECT_EQ(velmo({u"track"_s, u"edit"_s, u"teardrop"_s, u"year=soon"_s}).status, 2);
}

TEST_F(TrackCommandTest, RemoveTakesEntriesOutAndLeavesTheFiles)
{
    EXPECT_EQ(velmo({u"track"_s, u"remove"_s, u"massive"_s}).status, 1) << "three need --yes";
    const VelmoResult removed = velmo({u"track"_s, u"remove"_s, u"title:angel"_s});
    ASSERT_EQ(removed.status, 0) << qPrintable(removed.err);
    EXPECT_TRUE(removed.out.contains(u"their files stay where they are"_s));
    EXPECT_EQ(stored().size(), 3);
    EXPECT_TRUE(QFile::exists(tracks[1].path()));
    EXPECT_EQ(velmo({u"track"_s, u"remove"_s, u"nothing-like-it"_s}).status, 1);
}

TEST_F(TrackCommandTest, PlaylistsAreMadeFilledAndReorderedFromTheCommandLine)
{
    ASSERT_EQ(velmo({u"playlist"_s, u"create"_s, u"Road"_s}).status, 0);
    ASSERT_EQ(velmo({u"playlist"_s, u"add"_s, u"Road"_s, u"artist:massive"_s}).status, 0);
    const VelmoResult again = velmo({u"playlist"_s, u"add"_s, u"Road"_s, u"genre:rock"_s});
    EXPECT_TRUE(again.out.contains(u"Added 1 track to “Road”; 3 of those matching were there already."_s))
        << qPrintable(again.out);
    const auto road = [] { return LibraryStores::readPlaylists().value.constFirst().trackIDs; };
    EXPECT_EQ(road(), (QList<QUuid>{tracks[1].id, tracks[0].id, tracks[2].id, tracks[3].id}));

    ASSERT_EQ(velmo({u"playlist"_s, u"move"_s, u"Road"_s, u"1"_s, u"3"_s}).status, 0);
    EXPECT_EQ(road(), (QList<QUuid>{tracks[0].id, tracks[2].id, tracks[1].id, tracks[3].id})) << "the drag rule";
    ASSERT_EQ(velmo({u"playlist"_s, u"remove"_s, u"Road"_s, u"1"_s, u"4"_s}).status, 0);
    EXPECT_EQ(road(), (QList<QUuid>{tracks[2].id, tracks[1].id}));
    ASSERT_EQ(velmo({u"playlist"_s, u"remove"_s, u"Road"_s, u"--query"_s, u"angel"_s}).status, 0);
    EXPECT_EQ(road(), (QList<QUuid>{tracks[2].id}));
    EXPECT_EQ(velmo({u"playlist"_s, u"remove"_s, u"Road"_s, u"9"_s}).status, 1);

    ASSERT_EQ(velmo({u"playlist"_s, u"rename"_s, u"Road"_s, u"Trip"_s}).status, 0);
    EXPECT_EQ(velmo({u"playlist"_s, u"delete"_s, u"Trip"_s}).status, 1) << "it holds a track";
    ASSERT_EQ(velmo({u"playlist"_s, u"delete"_s, u"Trip"_s, u"--yes"_s}).status, 0);
    EXPECT_TRUE(LibraryStores::readPlaylists().value.isEmpty());

    const VelmoResult smart = velmo({u"smart"_s, u"create"_s, u"Nineties"_s, u"--decade"_s, u"1990"_s});
    ASSERT_EQ(smart.status, 0) << qPrintable(smart.err);
    EXPECT_TRUE(smart.out.contains(u"3 tracks match"_s)) << qPrintable(smart.out);
    const VelmoResult narrowed = velmo({u"smart"_s, u"edit"_s, u"Nineties"_s, u"--add-artist"_s, u"The xx"_s});
    EXPECT_TRUE(narrowed.out.contains(u"0 tracks match"_s)) << qPrintable(narrowed.out);
    EXPECT_EQ(LibraryStores::readSmartPlaylists().value.constFirst().filterArtists, QSet<QString>{u"The xx"_s});
    EXPECT_EQ(velmo({u"smart"_s, u"create"_s, u"Odd"_s, u"--decade"_s, u"1995"_s}).status, 1);
    EXPECT_EQ(velmo({u"playlist"_s, u"add"_s, u"Nineties"_s, u"xx"_s}).status, 1) << "a smart playlist has no entries";
    ASSERT_EQ(velmo({u"smart"_s, u"delete"_s, u"Nineties"_s}).status, 0);
    EXPECT_EQ(LibraryStores::readSmartPlaylists().value.size(), 0);
}

TEST_F(TrackCommandTest, EveryChangingVerbIsRefusedWhileTheApplicationHoldsTheLibrary)
{
    LibraryLock application;
    ASSERT_EQ(application.acquire(), std::nullopt);
    const QByteArray before = readFile(StoreLocations::path(StoreKind::library));
    for (const QStringList& command :
         {QStringList{u"track"_s, u"edit"_s, u"intro"_s, u"title=X"_s}, QStringList{u"track"_s, u"remove"_s, u"intro"_s},
          QStringList{u"track"_s, u"artwork"_s, u"intro"_s, u"--remove"_s}, QStringList{u"playlist"_s, u"create"_s, u"X"_s},
          QStringList{u"smart"_s, u"create"_s, u"X"_s}}) {
        const VelmoResult result = velmo(command);
        EXPECT_EQ(result.status, 1) << qPrintable(command.join(u' '));
        EXPECT_TRUE(result.err.contains(u"in use"_s)) << qPrintable(result.err);
    }
    EXPECT_EQ(readFile(StoreLocations::path(StoreKind::library)), before);
    EXPECT_EQ(velmo({u"track"_s, u"list"_s}).status, 0) << "reading is allowed";
}

TEST_F(TrackCommandTest, ArtworkIsWrittenAndRemovedInTheFiles)
{
    const QString image = AudioFixtures::samplePath(u"taglib/silence-44-s.flac"_s);
    EXPECT_EQ(velmo({u"track"_s, u"artwork"_s, u"intro"_s, u"--set"_s, image}).status, 1) << "not an image";
    const QByteArray png = *TagReader::read(QUrl::fromLocalFile(image))->artworkData;
    writeFile(stores.folder() + u"/cover.png"_s, png);
    ASSERT_EQ(velmo({u"track"_s, u"artwork"_s, u"intro"_s, u"--set"_s, stores.folder() + u"/cover.png"_s}).status, 0);
    EXPECT_EQ(TagReader::read(tracks[3].url)->artworkData, png);
    ASSERT_EQ(velmo({u"track"_s, u"artwork"_s, u"intro"_s, u"--remove"_s}).status, 0);
    EXPECT_EQ(TagReader::read(tracks[3].url)->artworkData, std::nullopt);
    EXPECT_EQ(velmo({u"track"_s, u"artwork"_s, u"intro"_s}).status, 2);
}
