#include "VelmoTest.h"
#include "facade/LibraryStores.h"
#include "library/TagReader.h"
#include "support/AudioFixtures.h"
#include "support/FakeServices.h"
#include "support/JsonHelpers.h"
#include "support/TestData.h"

#include <QUrlQuery>

using namespace Qt::StringLiterals;

namespace {

const QString multidiscID = u"6c4f766f-3351-4c10-a53d-b119452c27b2"_s;

class MetadataCommandTest : public VelmoTest {
protected:
    void SetUp() override { VelmoTest::SetUp(); initLibrary(); }

    // Real files in the library folder, their entries in library.json.
    void seed(const QList<std::tuple<QString, QString, qint64>>& albumTracks)
    {
        QList<Track> tracks;
        for (const auto& [artist, album, number] : albumTracks) {
            const QUrl url = QUrl::fromLocalFile(AudioFixtures::copySample(
                u"taglib/sinewave.flac"_s, root() + u'/' + artist + u'/' + album + u'/' + QString::number(number)
                                               + u".flac"_s));
            Track track = Track::fromFile(url, *TagReader::read(url));
            track.artist = artist;
            track.albumArtist = artist;
            track.album = album;
            track.trackNumber = number;
            track.discNumber = 1;
            tracks.append(track);
        }
        writeFile(StoreLocations::path(StoreKind::library), LibraryStores::encodeTracks(tracks));
    }

    FakeServices services;
    const QByteArray png = AudioFixtures::pngBytes();
};

} // namespace

TEST_F(MetadataCommandTest, FetchMissingArtworkShowsEachAlbumAndTheCount)
{
    const VelmoResult empty = velmo({u"artwork"_s, u"fetch-missing"_s});
    EXPECT_EQ(empty.status, 0) << qPrintable(empty.err);
    EXPECT_EQ(empty.out, u"No tracks were missing artwork.\n"_s);

    seed({{u"Lost"_s, u"Album"_s, 1}, {u"Found"_s, u"Album"_s, 1}, {u"Found"_s, u"Album"_s, 2}});
    services.iTunes.route(u"/art/1200x1200bb.jpg"_s, FakeResponse::ok(png, "image/png"));
    services.iTunes.route(u"/search"_s, [this](const FakeRequest& request) {
        const QUrlQuery query(QUrl(QString::fromUtf8(request.target)));
        if (query.queryItemValue(u"term"_s, QUrl::FullyDecoded) != u"Found Album"_s)
            return FakeResponse::ok(R"({"results":[]})", "application/json");
        const QJsonObject result{{"artistName"_L1, "Found"_L1},
                                 {"collectionName"_L1, "Album"_L1},
                                 {"artworkUrl100"_L1, services.iTunes.url(u"/art/100x100bb.jpg"_s).toString()}};
        return FakeResponse::ok(jsonText(QJsonObject{{"results"_L1, QJsonArray{result}}}), "application/json");
    });

    const VelmoResult result = velmo({u"artwork"_s, u"fetch-missing"_s});
    EXPECT_EQ(result.status, 0) << qPrintable(result.err);
    EXPECT_EQ(result.out, u"Found artwork for 2 of 3 tracks.\n"_s);
    EXPECT_TRUE(result.err.contains(u"  [1/2] Lost — Album: no cover\n"_s)) << qPrintable(result.err);
    EXPECT_TRUE(result.err.contains(u"  [2/2] Found — Album: found\n"_s)) << qPrintable(result.err);
    EXPECT_EQ(velmo({u"artwork"_s, u"fetch-missing"_s}).out, u"Found artwork for 0 of 1 tracks.\n"_s)
        << "the covers found were kept";
}

TEST_F(MetadataCommandTest, FetchMissingArtworkOfflineSaysTheServicesCouldNotBeReached)
{
    seed({{u"Offline"_s, u"Album"_s, 1}});
    FakeServices::configure(FakeServices::vacantAddress(), FakeServices::vacantAddress(), FakeServices::vacantAddress());
    const VelmoResult result = velmo({u"artwork"_s, u"fetch-missing"_s});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, u"Found artwork for 0 of 1 tracks.\n"_s);
    EXPECT_TRUE(result.err.contains(u"  [1/1] Offline — Album: the services could not be reached\n"_s))
        << qPrintable(result.err);
    EXPECT_TRUE(result.err.contains(u"The artwork services could not be reached (Connection refused), so 1 album "
                                    u"could not be looked up.\n"_s))
        << qPrintable(result.err);
}

TEST_F(MetadataCommandTest, AlbumRefetchListsReleasesThenAppliesTheChosenOne)
{
    seed({{u"Old"_s, u"Careless"_s, 2}, {u"Old"_s, u"Careless"_s, 1}});
    services.musicBrainz.route(u"/ws/2/release"_s,
                               FakeResponse::ok(R"({"releases":[{"id":"6c4f766f-3351-4c10-a53d-b119452c27b2","title":"ケアレス",)"
                                                R"("date":"2021-09-15","media":[{"position":1,"track-count":4},)"
                                                R"({"position":2,"track-count":3}]}]})",
                                                "application/json"));
    services.musicBrainz.route(u"/ws/2/release/"_s + multidiscID,
                               FakeResponse::ok(testData(u"metadata/musicbrainz/release_multidisc.json"_s),
                                                "application/json"));

    const VelmoResult listed = velmo({u"album"_s, u"refetch"_s, u"--artist"_s, u"old"_s, u"--album"_s, u"careless"_s});
    EXPECT_EQ(listed.status, 0) << qPrintable(listed.err);
    EXPECT_EQ(listed.out, u"Releases that may be \"Careless\" by Old (2 tracks in the library). Apply one with --release ID:\n"
                          u"  6c4f766f-3351-4c10-a53d-b119452c27b2  ケアレス — \n    2021 · 2 discs (4, 3)\n"_s);
    const QUrlQuery search(QUrl(QString::fromUtf8(services.musicBrainz.requests().constFirst().target)));
    EXPECT_EQ(search.queryItemValue(u"query"_s, QUrl::FullyDecoded), u"artist:Old AND release:Careless"_s)
        << "the library's own spelling is searched";

    const VelmoResult applied = velmo({u"album"_s, u"refetch"_s, u"--artist"_s, u"Old"_s, u"--album"_s, u"Careless"_s,
                                       u"--release"_s, multidiscID});
    EXPECT_EQ(applied.status, 0) << qPrintable(applied.err);
    EXPECT_EQ(applied.out, u"Updated 2 tracks. Artwork wasn't available for this release.\n"_s);
    EXPECT_TRUE(applied.err.contains(u"Applying release "_s + multidiscID + u" to 2 tracks…"_s)) << qPrintable(applied.err);
    const QList<Track> stored = LibraryStores::readTracks().value;
    ASSERT_EQ(stored.size(), 2);
    EXPECT_EQ(stored.at(0).title, u"Bye\u2010Bye Butterfly"_s) << "the entries are saved";
}

TEST_F(MetadataCommandTest, AlbumRefetchNamesTheProblem)
{
    seed({{u"Band"_s, u"Album"_s, 1}, {u"BAND"_s, u"Album"_s, 2}});

    const VelmoResult unnamed = velmo({u"album"_s, u"refetch"_s, u"--artist"_s, u"Band"_s});
    EXPECT_EQ(unnamed.status, 2);
    EXPECT_TRUE(unnamed.err.contains(u"--album"_s)) << qPrintable(unnamed.err);

    const VelmoResult missing = velmo({u"album"_s, u"refetch"_s, u"--artist"_s, u"Band"_s, u"--album"_s, u"Other"_s});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, u"No album \"Other\" by Band is in the library.\n"_s);

    const VelmoResult ambiguous = velmo({u"album"_s, u"refetch"_s, u"--artist"_s, u"band"_s, u"--album"_s, u"album"_s});
    EXPECT_EQ(ambiguous.status, 1);
    EXPECT_TRUE(ambiguous.err.startsWith(u"2 albums match \"album\" by band when case is ignored:\n"
                                         u"  \"Album\" by Band\n  \"Album\" by BAND\n"_s))
        << qPrintable(ambiguous.err);

    const VelmoResult notFound = velmo({u"album"_s, u"refetch"_s, u"--artist"_s, u"Band"_s, u"--album"_s, u"Album"_s,
                                        u"--release"_s, u"no-such-release"_s});
    EXPECT_EQ(notFound.status, 1);
    EXPECT_EQ(notFound.err, u"Applying release no-such-release to 1 track…\n"
                            u"Re-fetch failed: No matching release found on MusicBrainz.\n"_s);
    EXPECT_EQ(services.musicBrainz.requests().size(), 1) << "the names alone need no service";
}
