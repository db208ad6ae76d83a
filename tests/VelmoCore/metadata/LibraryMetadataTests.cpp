#include "facade/Library.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"
#include "metadata/MusicBrainzReleaseLookup.h"
#include "support/AsyncTesting.h"
#include "support/AudioFixtures.h"
#include "support/FakeClock.h"
#include "support/FakeServices.h"
#include "support/JsonHelpers.h"
#include "support/TestData.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QUrlQuery>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// The real release of two media, tracks 1–4 and 1–3 (256, 263, 262, 254 and 249, 14, 29
// seconds), without an artist credit.
const QString multidiscID = u"6c4f766f-3351-4c10-a53d-b119452c27b2"_s;
const QString multidiscGroupID = u"b89c4dbd-1734-4536-a16d-dde648f735c0"_s;

const QByteArray textCover("<!DOCTYPE html><html><body>Service temporarily unavailable</body></html>");

QByteArray iTunesAnswer(const QString& artist, const QString& album, const QUrl& artwork)
{
    const QJsonObject result{{"artistName"_L1, artist}, {"collectionName"_L1, album},
                             {"artworkUrl100"_L1, artwork.toString()}};
    return jsonText(QJsonObject{{"resultCount"_L1, 1}, {"results"_L1, QJsonArray{result}}});
}

class LibraryMetadataTest : public ::testing::Test {
protected:
    FakeServices services;
    std::shared_ptr<FakeClock> clock = std::make_shared<FakeClock>();
    MetadataHTTPClient client{MetadataHTTPClient::Options{.clock = clock}};
    TemporaryStores stores;
    QString root = stores.folder() + u"/Music"_s;
    Library library{QUrl::fromLocalFile(root)};
    const QByteArray png = AudioFixtures::pngBytes();

    // A real FLAC file with its entry; the entry's fields are also written into the file.
    Track addFile(const QString& name, const QString& artist, const QString& album, std::optional<qint64> number,
                  double duration, std::optional<qint64> disc = std::nullopt)
    {
        const QString path = AudioFixtures::copySample(u"taglib/sinewave.flac"_s, root + u'/' + name + u".flac"_s);
        const QUrl url = QUrl::fromLocalFile(path);
        Track track = Track::fromFile(url, *TagReader::read(url));
        track.title = name;
        track.artist = artist;
        track.albumArtist = artist;
        track.album = album;
        track.trackNumber = number;
        track.discNumber = disc;
        track.duration = duration;
        TagWriter::write(track);
        library.add(track);
        return track;
    }

    static TrackMetadata fileOf(const Track& track) { return *TagReader::read(track.url); }

    Track entryOf(const Track& track) const
    {
        for (const Track& entry : library.tracks()) {
            if (entry.id == track.id)
                return entry;
        }
        ADD_FAILURE() << "no entry for " << track.title.toStdString();
        return track;
    }

    void serveMultidiscRelease()
    {
        services.musicBrainz.route(u"/ws/2/release/"_s + multidiscID,
                                   FakeResponse::ok(testData(u"metadata/musicbrainz/release_multidisc.json"_s),
                                                    "application/json"));
    }

    // An iTunes answer that verifies for the names, its picture on the same server.
    void serveITunesCover(const QString& artist, const QString& album, const QByteArray& picture)
    {
        const QString slug = QString::fromLatin1(QUrl::toPercentEncoding(artist + album).toHex());
        services.iTunes.route(u"/art/"_s + slug + u"/1200x1200bb.jpg"_s, FakeResponse::ok(picture, "image/png"));
        const QUrl small = services.iTunes.url(u"/art/"_s + slug + u"/100x100bb.jpg"_s);
        services.iTunes.route(u"/search"_s, [=](const FakeRequest& request) {
            const QUrlQuery query(QUrl(QString::fromUtf8(request.target)));
            if (query.queryItemValue(u"term"_s, QUrl::FullyDecoded) != artist + u' ' + album)
                return FakeResponse::ok(R"({"resultCount":0,"results":[]})", "application/json");
            return FakeResponse::ok(iTunesAnswer(artist, album, small), "application/json");
        });
    }

    qsizetype totalRequests() const
    {
        return services.musicBrainz.requests().size() + services.coverArt.requests().size()
               + services.iTunes.requests().size();
    }
};

} // namespace

// Album re-fetch.

// Which track matches which is AlbumRefetchPlan's rule; here the plan is carried into files and entries.
TEST_F(LibraryMetadataTest, MatchedTracksAreWrittenIntoTheirFilesAndEntries)
{
    serveMultidiscRelease();
    services.coverArt.route(u"/release/"_s + multidiscID + u"/front"_s, FakeResponse::ok(png, "image/png"));
    // Without disc numbers; the last one is far in length from disc 1's track 2.
    const QList<Track> album{addFile(u"d1t1"_s, u"Old"_s, u"Careless"_s, 1, 256.4),
                             addFile(u"d1t2"_s, u"Old"_s, u"Careless"_s, 2, 263.0),
                             addFile(u"d2t2"_s, u"Old"_s, u"Careless"_s, 2, 14.0)};
    const Track other = addFile(u"other"_s, u"Someone"_s, u"Else"_s, 1, 100.0);

    const Library::AlbumRefetchSummary summary =
        BlockingWait::wait(library.refetchAlbumInfo(album, multidiscID, client));

    EXPECT_EQ(summary.matchedCount, 2);
    EXPECT_EQ(summary.totalCount, 3);
    EXPECT_TRUE(summary.artworkFetched);
    EXPECT_EQ(summary.unwrittenCount, 0);

    const TrackMetadata second = fileOf(album.at(1));
    EXPECT_EQ(second.title, u"Bye\u2010Bye Butterfly"_s);
    EXPECT_EQ(second.releaseMBID, multidiscID);
    EXPECT_EQ(second.releaseGroupMBID, multidiscGroupID);
    EXPECT_EQ(second.artworkData, png);

    const Track unmatched = album.at(2);
    EXPECT_EQ(fileOf(unmatched).title, unmatched.title);
    EXPECT_EQ(fileOf(unmatched).artworkData, std::nullopt);
    EXPECT_EQ(entryOf(unmatched), unmatched);
    for (const Track& matched : album.mid(0, 2)) {
        EXPECT_EQ(entryOf(matched).title, fileOf(matched).title);
        EXPECT_EQ(entryOf(matched).artworkData, png);
        EXPECT_EQ(library.artworkCache().cached(matched.id), std::optional<ArtworkCache::Artwork>(png));
    }
    EXPECT_EQ(entryOf(other), other);
    EXPECT_EQ(services.musicBrainz.requests().size(), 1);
}

TEST_F(LibraryMetadataTest, AFileThatRefusesTheTagsKeepsItsEntry)
{
    serveMultidiscRelease();
    const QList<Track> album{addFile(u"a"_s, u"Old"_s, u"Careless"_s, 1, 256.0, 1),
                             addFile(u"b"_s, u"Old"_s, u"Careless"_s, 2, 263.0, 1),
                             addFile(u"c"_s, u"Old"_s, u"Careless"_s, 3, 262.0, 1)};
    QFile::remove(album.at(1).path());
    TagWriter::writeArtwork(album.at(2).url, png, u"image/png"_s);
    library.artworkCache().invalidate(album.at(2).id);

    const Library::AlbumRefetchSummary summary =
        BlockingWait::wait(library.refetchAlbumInfo(album, multidiscID, client));

    EXPECT_EQ(summary.matchedCount, 2);
    EXPECT_EQ(summary.unwrittenCount, 1);
    EXPECT_FALSE(summary.artworkFetched);
    EXPECT_EQ(entryOf(album.at(1)), album.at(1));
    EXPECT_EQ(entryOf(album.at(2)).title, u"Starry"_s);
    EXPECT_EQ(BlockingWait::wait(library.artworkCache().artwork(entryOf(album.at(2)))), png)
        << "without a cover of the release, the file keeps its own and the cache still finds it";
}

TEST_F(LibraryMetadataTest, EntriesAreTakenAsTheyAreWhenTheReleaseArrives)
{
    serveMultidiscRelease();
    const Track first = addFile(u"a"_s, u"Old"_s, u"Careless"_s, 1, 256.0, 1);
    const Track removed = addFile(u"b"_s, u"Old"_s, u"Careless"_s, 2, 263.0, 1);
    Track edited = entryOf(first);
    edited.customTags.insert(u"MOOD"_s, u"calm"_s);
    BlockingWait::wait(library.update(edited));
    library.remove(removed.id);

    const Library::AlbumRefetchSummary summary =
        BlockingWait::wait(library.refetchAlbumInfo({first, removed}, multidiscID, client));

    EXPECT_EQ(summary.matchedCount, 1);
    EXPECT_EQ(summary.totalCount, 2);
    ASSERT_EQ(library.tracks().size(), 1) << "a removed track doesn't come back";
    EXPECT_EQ(library.tracks().constFirst().customTags.value(u"MOOD"_s), u"calm"_s);
    EXPECT_EQ(fileOf(first).customTags.value(u"MOOD"_s), u"calm"_s);
    EXPECT_EQ(fileOf(removed).title, u"b"_s);
}

TEST_F(LibraryMetadataTest, AFailedReleaseFetchChangesNothing)
{
    const QList<Track> album{addFile(u"a"_s, u"Old"_s, u"Careless"_s, 1, 256.0)};
    const QByteArray before = readFile(album.constFirst().path());

    const auto notFound = awaitFailure<Library::AlbumRefetchError>(library.refetchAlbumInfo(album, multidiscID, client));
    EXPECT_EQ(notFound.kind(), Library::AlbumRefetchError::Kind::noMatchFound);
    EXPECT_EQ(notFound.message(), u"No matching release found on MusicBrainz."_s);

    services.musicBrainz.route(u"/ws/2/release/"_s + multidiscID, FakeResponse::ok("{\"media\": 3", "application/json"));
    const auto garbled = awaitFailure<Library::AlbumRefetchError>(library.refetchAlbumInfo(album, multidiscID, client));
    EXPECT_EQ(garbled.kind(), Library::AlbumRefetchError::Kind::invalidAnswer);
    EXPECT_EQ(garbled.message(), u"MusicBrainz returned data Velmo couldn't understand. No file was changed."_s);

    // Titles and artist credits missing or null: applied, they would have erased the tags.
    QJsonObject untitled = testDataObject(u"metadata/musicbrainz/release_multidisc.json"_s);
    untitled.insert("title"_L1, QJsonValue::Null);
    untitled.remove("artist-credit"_L1);
    services.musicBrainz.route(u"/ws/2/release/"_s + multidiscID, FakeResponse::ok(jsonText(untitled), "application/json"));
    const auto incomplete = awaitFailure<Library::AlbumRefetchError>(library.refetchAlbumInfo(album, multidiscID, client));
    EXPECT_EQ(incomplete.kind(), Library::AlbumRefetchError::Kind::invalidAnswer);
    EXPECT_EQ(readFile(album.constFirst().path()), before) << "the file keeps its tags";

    FakeServices::configure(FakeServices::vacantAddress(), services.coverArt.url(QString()), services.iTunes.url(QString()));
    const auto unreachable =
        awaitFailure<Library::AlbumRefetchError>(library.refetchAlbumInfo(album, multidiscID, client));
    EXPECT_EQ(unreachable.kind(), Library::AlbumRefetchError::Kind::networkError);
    EXPECT_TRUE(unreachable.message().startsWith(u"Couldn't reach MusicBrainz: "_s)) << unreachable.message().toStdString();
    EXPECT_FALSE(unreachable.message().contains(u"Couldn't reach MusicBrainz: Couldn't"_s));

    EXPECT_EQ(readFile(album.constFirst().path()), before);
    EXPECT_EQ(library.tracks(), album);
    EXPECT_EQ(services.coverArt.requests().size(), 0);
}

TEST_F(LibraryMetadataTest, ACoverThatIsTextIsNeverWritten)
{
    const Track track = addFile(u"a"_s, u"Old"_s, u"Careless"_s, 1, 256.0, 1);
    const qsizetype taken =
        BlockingWait::wait(library.applyArtwork({.data = textCover, .mimeType = u"image/jpeg"_s}, {track.id}));
    EXPECT_EQ(taken, 0);
    EXPECT_EQ(fileOf(track).artworkData, std::nullopt);
    EXPECT_EQ(entryOf(track).artworkData, std::nullopt);
}

TEST_F(LibraryMetadataTest, SummarySentences)
{
    const auto message = [](qint64 matched, qint64 total, bool artwork, qint64 unwritten = 0) {
        return Library::AlbumRefetchSummary{matched, total, artwork, unwritten}.message();
    };
    EXPECT_EQ(message(12, 12, true), u"Updated 12 tracks."_s);
    EXPECT_EQ(message(1, 1, true), u"Updated 1 track."_s);
    EXPECT_EQ(message(9, 12, true), u"Updated 9 of 12 tracks — 3 unmatched."_s);
    EXPECT_EQ(message(0, 4, false), u"Updated 0 of 4 tracks — 4 unmatched. Artwork wasn't available for this release."_s);
    EXPECT_EQ(message(8, 12, true, 1), u"Updated 8 of 12 tracks — 3 unmatched, 1 couldn't be written."_s);
    EXPECT_EQ(message(2, 3, false, 1),
              u"Updated 2 of 3 tracks — 1 couldn't be written. Artwork wasn't available for this release."_s);
}

// The order of the candidates is the release lookup's; here the group and the limit of 25 are passed on.
TEST_F(LibraryMetadataTest, CandidatesAskTheReleaseGroupThenTwentyFiveByName)
{
    services.musicBrainz.route(u"/ws/2/release"_s,
                               FakeResponse::ok(testData(u"metadata/musicbrainz/release-search.json"_s)));
    EXPECT_EQ(BlockingWait::wait(library.searchAlbumReleaseCandidates(u"Artist"_s, u"Album"_s, u"group"_s, client)).size(), 3);
    ASSERT_EQ(services.musicBrainz.requests().size(), 2);
    const QUrlQuery browse(QUrl(QString::fromUtf8(services.musicBrainz.requests().at(0).target)));
    EXPECT_EQ(browse.queryItemValue(u"release-group"_s), u"group"_s);
    const QUrlQuery search(QUrl(QString::fromUtf8(services.musicBrainz.requests().at(1).target)));
    EXPECT_EQ(search.queryItemValue(u"limit"_s), u"25"_s);
}

// Artwork passes.

TEST_F(LibraryMetadataTest, MissingArtworkSkipsPicturesInEntriesAndInFiles)
{
    Track withEntryPicture = addFile(u"a"_s, u"Artist"_s, u"Album"_s, 1, 200.0);
    withEntryPicture.artworkData = png;
    BlockingWait::wait(library.update(withEntryPicture));
    const Track withFilePicture = addFile(u"b"_s, u"Artist"_s, u"Album"_s, 2, 200.0);
    TagWriter::writeArtwork(withFilePicture.url, png, u"image/png"_s);
    library.artworkCache().invalidate(withFilePicture.id);
    const Track without = addFile(u"c"_s, u"Artist"_s, u"Album"_s, 3, 200.0);
    library.artworkCache().invalidate(without.id);

    const QList<Track> missing = BlockingWait::wait(library.tracksWithMissingArtwork());
    ASSERT_EQ(missing.size(), 1);
    EXPECT_EQ(missing.constFirst().id, without.id);
}

TEST_F(LibraryMetadataTest, OneAlbumFailsAndTheNextGetsItsCover)
{
    // The first album knows its release, which has no cover anywhere; iTunes has no match.
    Track known = addFile(u"k1"_s, u"Known"_s, u"Lost Album"_s, 1, 200.0);
    known.releaseMBID = u"release-without-cover"_s;
    known.releaseGroupMBID = u"group-without-cover"_s;
    BlockingWait::wait(library.update(known));
    // The second is found by name on iTunes.
    const Track found1 = addFile(u"f1"_s, u"Found"_s, u"Kept Album"_s, 1, 200.0);
    const Track found2 = addFile(u"f2"_s, u"Found"_s, u"Kept Album"_s, 2, 200.0);
    const Track noAlbum = addFile(u"n"_s, u"Found"_s, QString(), 1, 200.0);
    Track hasCover = addFile(u"h"_s, u"Found"_s, u"Kept Album"_s, 3, 200.0);
    hasCover.artworkData = QByteArray("\xFF\xD8\xFF\xE0 old cover", 14);
    BlockingWait::wait(library.update(hasCover));
    for (const Track& track : library.tracks())
        library.artworkCache().invalidate(track.id);
    serveITunesCover(u"Found"_s, u"Kept Album"_s, png);

    QList<Library::ArtworkProgress> progress;
    const Library::MissingArtworkSummary summary = BlockingWait::wait(library.fetchMissingArtwork(
        [&progress](const Library::ArtworkProgress& step) { progress.append(step); }, client));

    EXPECT_EQ(summary.totalMissing, 4) << "the track without an album counts, but is in no group";
    EXPECT_EQ(summary.fetchedCount, 2);
    ASSERT_EQ(progress.size(), 2);
    EXPECT_EQ(progress.at(0).album, u"Lost Album"_s);
    EXPECT_FALSE(progress.at(0).found);
    EXPECT_EQ(progress.at(1).albumsDone, 2);
    EXPECT_EQ(progress.at(1).albumCount, 2);
    EXPECT_TRUE(progress.at(1).found);

    EXPECT_EQ(services.coverArt.requestCount(u"/release/release-without-cover/front"_s), 1);
    EXPECT_EQ(services.coverArt.requestCount(u"/release-group/group-without-cover/front"_s), 1);
    for (const Track& track : {found1, found2}) {
        EXPECT_EQ(fileOf(track).artworkData, png);
        EXPECT_EQ(entryOf(track).artworkData, png);
        EXPECT_EQ(library.artworkCache().cached(track.id), std::optional<ArtworkCache::Artwork>(png));
    }
    EXPECT_EQ(entryOf(hasCover).artworkData, hasCover.artworkData) << "it had artwork already";
    for (const Track& track : {known, noAlbum}) {
        EXPECT_EQ(fileOf(track).artworkData, std::nullopt);
        EXPECT_EQ(entryOf(track).artworkData, std::nullopt);
    }
}

TEST_F(LibraryMetadataTest, NothingToDoAsksNoService)
{
    const Library::AlbumRefetchSummary refetched = BlockingWait::wait(library.refetchAlbumInfo({}, multidiscID, client));
    EXPECT_EQ(refetched.totalCount, 0) << "an empty album";
    Track track = addFile(u"a"_s, u"Artist"_s, u"Album"_s, 1, 200.0);
    track.artworkData = png;
    BlockingWait::wait(library.update(track));
    EXPECT_EQ(BlockingWait::wait(library.fetchMissingArtwork({}, client)).totalMissing, 0) << "no missing artwork";
    EXPECT_EQ(totalRequests(), 0);
}

TEST_F(LibraryMetadataTest, RefreshingAllOverwritesEveryCoverAndKeepsSpellingsApart)
{
    Track old = addFile(u"a"_s, u"Band"_s, u"Album"_s, 1, 200.0);
    old.artworkData = QByteArray("\xFF\xD8\xFF\xE0 wrong cover", 16);
    BlockingWait::wait(library.update(old));
    Track otherSpelling = addFile(u"b"_s, u"Band"_s, u"Album"_s, 2, 200.0);
    otherSpelling.albumArtist = u"The Band"_s;
    BlockingWait::wait(library.update(otherSpelling));
    serveITunesCover(u"Band"_s, u"Album"_s, png);

    const Library::MissingArtworkSummary summary = BlockingWait::wait(library.refreshAllArtwork({}, client));

    EXPECT_EQ(summary.totalMissing, 2);
    EXPECT_EQ(summary.fetchedCount, 1);
    EXPECT_EQ(services.iTunes.requestCount(u"/search"_s), 2) << "two spellings of the album artist, two albums";
    EXPECT_EQ(fileOf(old).artworkData, png);
    EXPECT_EQ(entryOf(old).artworkData, png);
    EXPECT_EQ(entryOf(otherSpelling).artworkData, std::nullopt);
}

TEST_F(LibraryMetadataTest, ApplyingArtworkPassesOverTracksThatAreGoneOrRefuseIt)
{
    const Track kept = addFile(u"a"_s, u"Artist"_s, u"Album"_s, 1, 200.0);
    const Track fileGone = addFile(u"b"_s, u"Artist"_s, u"Album"_s, 2, 200.0);
    QFile::remove(fileGone.path());
    const qsizetype taken = BlockingWait::wait(
        library.applyArtwork({.data = png, .mimeType = u"image/png"_s}, {kept.id, fileGone.id, QUuid::createUuid()}));
    EXPECT_EQ(taken, 1);
    EXPECT_EQ(entryOf(kept).artworkData, png);
    EXPECT_EQ(fileOf(kept).artworkData, png);
    EXPECT_EQ(entryOf(fileGone).artworkData, std::nullopt);
}
