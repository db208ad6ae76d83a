#include "metadata/AlbumRefetchPlan.h"
#include "metadata/MusicBrainzReleaseLookup.h"
#include "support/TestData.h"
#include "support/TrackFactory.h"

#include <tuple>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

Track albumTrack(const QString& title, std::optional<qint64> number, double duration,
                 std::optional<qint64> disc = std::nullopt)
{
    Track track = makeTrack(title, u"Old Artist"_s, u"Old Album"_s, duration);
    track.trackNumber = number;
    track.discNumber = disc;
    return track;
}

TrackMetadataStub stub(qint64 disc, qint64 number, double duration = 200.0)
{
    return {.number = number,
            .title = u"Disc %1 Track %2"_s.arg(disc).arg(number),
            .artist = u"Release Artist"_s,
            .duration = duration,
            .recordingMBID = u"recording-%1-%2"_s.arg(disc).arg(number),
            .discNumber = disc};
}

ReleaseMetadata releaseOf(const QList<TrackMetadataStub>& stubs)
{
    return {.mbid = u"release-id"_s,
            .title = u"New Album"_s,
            .artist = u"New Album Artist"_s,
            .year = 2001,
            .tracks = stubs,
            .releaseGroupID = u"group-id"_s};
}

// The real release of two media, 1–4 and 1–3, read whole.
ReleaseMetadata careless()
{
    return MusicBrainzReleaseLookup::parseFullRelease(testData(u"metadata/musicbrainz/release_multidisc.json"_s));
}

QStringList titlesOf(const AlbumRefetchPlan& plan)
{
    QStringList titles;
    for (const Track& track : plan.updatedTracks)
        titles.append(track.title);
    return titles;
}

} // namespace

TEST(AlbumRefetchPlan, ATwoDiscAlbumWithoutDiscNumbersMatchesDisc1First)
{
    const QList<Track> album{
        albumTrack(u"01"_s, 1, 256.0), albumTrack(u"02"_s, 2, 263.4), albumTrack(u"03"_s, 3, 262.0),
        albumTrack(u"04"_s, 4, 254.0),
        // The second disc's tracks, ripped without their disc number.
        albumTrack(u"05"_s, 1, 249.0), albumTrack(u"06"_s, 2, 14.0), albumTrack(u"07"_s, 3, 29.0),
    };
    const AlbumRefetchPlan plan = AlbumRefetchPlan::make(album, careless());
    EXPECT_EQ(plan.totalCount, 7);
    EXPECT_EQ(plan.matchedCount(), 5);
    EXPECT_EQ(titlesOf(plan), (QStringList{u"ケアレス"_s, u"Bye‐Bye Butterfly"_s, u"Starry"_s,
                                           u"ケアレス -Instrumental-"_s, u"ケアレス"_s}))
        << "a number on both discs is looked up on disc 1; within ten seconds it is taken, beyond not";
    for (const Track& track : plan.updatedTracks)
        EXPECT_EQ(track.discNumber, 1) << qPrintable(track.url.toString());
    EXPECT_EQ(plan.updatedTracks.at(4).id, album.at(4).id);
}

TEST(AlbumRefetchPlan, DiscNumbersMatchEachDiscWhateverTheLength)
{
    const QList<Track> album{albumTrack(u"01"_s, 1, 256.0, 1), albumTrack(u"05"_s, 1, 249.0, 2),
                             albumTrack(u"06"_s, 2, 300.0, 2), albumTrack(u"07"_s, 3, 0.0, 2),
                             albumTrack(u"08"_s, 4, 29.0, 2)};
    const AlbumRefetchPlan plan = AlbumRefetchPlan::make(album, careless());
    EXPECT_EQ(titlesOf(plan), (QStringList{u"ケアレス"_s, u"ケアレス (Music Video)"_s, u"ケアレス (15秒CM)"_s,
                                           u"ケアレス (30秒メッセージコメント入りCM)"_s}))
        << "no length test with a disc number; disc 2 has no track 4 and nothing else is tried";
    EXPECT_EQ(plan.updatedTracks.at(2).discNumber, 2);
}

TEST(AlbumRefetchPlan, ANumberMissingFromDisc1IsFoundOnTheOneOtherDiscThatHasIt)
{
    const ReleaseTrackIndex oneOther(releaseOf({stub(1, 1), stub(1, 2), stub(2, 1), stub(2, 2), stub(2, 3)}).tracks);
    EXPECT_EQ(oneOther.match(albumTrack(u"x"_s, 3, 201.0))->title, u"Disc 2 Track 3"_s);
    EXPECT_EQ(oneOther.match(albumTrack(u"x"_s, 3, 201.0))->discNumber, 2);

    const ReleaseTrackIndex several(releaseOf({stub(1, 1), stub(2, 5), stub(3, 5)}).tracks);
    EXPECT_TRUE(several.isAmbiguous(5));
    EXPECT_FALSE(several.isAmbiguous(1));
    EXPECT_EQ(several.match(albumTrack(u"x"_s, 5, 200.0)), std::nullopt);
    EXPECT_EQ(several.match(albumTrack(u"x"_s, 5, 200.0, 3))->title, u"Disc 3 Track 5"_s);
}

TEST(AlbumRefetchPlan, TheLengthTestAllowsTenSecondsOrAnUnknownLength)
{
    const ReleaseTrackIndex index(releaseOf({stub(1, 1, 200.0), stub(1, 2, 0.0)}).tracks);
    EXPECT_FALSE(index.match(albumTrack(u"x"_s, 1, 211.0))) << "11 seconds longer, without a disc number";
    EXPECT_TRUE(index.match(albumTrack(u"x"_s, 1, 211.0, 1))) << "11 seconds longer, with one";
    EXPECT_TRUE(index.match(albumTrack(u"x"_s, 1, 190.0)));
    EXPECT_FALSE(index.match(albumTrack(u"x"_s, 1, 189.9)));
    EXPECT_TRUE(index.match(albumTrack(u"x"_s, 1, 0.0))) << "a track of unknown length";
    EXPECT_TRUE(index.match(albumTrack(u"x"_s, 2, 5000.0))) << "a release track of unknown length";
}

TEST(AlbumRefetchPlan, TracksWithoutANumberOrOnAMissingDiscStayAsTheyAre)
{
    const ReleaseMetadata release = releaseOf({stub(1, 1), stub(1, 2)});
    const ReleaseTrackIndex index(release.tracks);
    EXPECT_FALSE(index.match(albumTrack(u"x"_s, std::nullopt, 200.0)));
    EXPECT_FALSE(index.match(albumTrack(u"x"_s, 1, 200.0, 3))) << "no fall-back from a disc number";
    EXPECT_FALSE(index.match(albumTrack(u"x"_s, 9, 200.0)));
    EXPECT_EQ(AlbumRefetchPlan::make({}, release).totalCount, 0);
}

TEST(AlbumRefetchPlan, AMatchTakesTheReleasesTextAndKeepsItsIdentity)
{
    Track old = makeFullTrack();
    old.discNumber = 1;
    old.artworkData = QByteArray("old picture");
    ReleaseMetadata release = releaseOf({});
    release.year.reset();
    release.releaseGroupID.reset();
    TrackMetadataStub withoutDisc = stub(1, 7, 0.0);
    withoutDisc.discNumber.reset();

    const Track updated = AlbumRefetchPlan::applying(old, withoutDisc, release, std::nullopt);
    EXPECT_EQ(updated.title, u"Disc 1 Track 7"_s);
    EXPECT_EQ(updated.artist, u"Release Artist"_s);
    EXPECT_EQ(updated.albumArtist, u"New Album Artist"_s);
    EXPECT_EQ(updated.album, u"New Album"_s);
    EXPECT_EQ(updated.year, old.year) << "an absent year clears nothing";
    EXPECT_EQ(updated.trackNumber, 7);
    EXPECT_EQ(updated.discNumber, 1) << "kept when the release track has none";
    EXPECT_EQ(updated.genre, u"Jazz"_s) << "kept when the release has none";
    EXPECT_EQ(updated.releaseMBID, u"release-id"_s);
    EXPECT_EQ(updated.releaseGroupMBID, old.releaseGroupMBID) << "an absent id clears nothing";
    EXPECT_EQ(updated.artworkData, QByteArray("old picture"));

    Track unchangedPart = updated;
    unchangedPart.title = old.title;
    unchangedPart.artist = old.artist;
    unchangedPart.albumArtist = old.albumArtist;
    unchangedPart.album = old.album;
    unchangedPart.year = old.year;
    unchangedPart.trackNumber = old.trackNumber;
    unchangedPart.releaseMBID = old.releaseMBID;
    unchangedPart.releaseGroupMBID = old.releaseGroupMBID;
    EXPECT_EQ(unchangedPart, old) << "id, file, date added, custom tags and the rest stay";

    release.genre = u"Electronic"_s;
    release.mbid.clear();
    const Track withCover = AlbumRefetchPlan::applying(old, stub(2, 7), release, QByteArray("\xFF\xD8\xFF new"));
    EXPECT_EQ(withCover.genre, u"Electronic"_s);
    EXPECT_EQ(withCover.discNumber, 2);
    EXPECT_EQ(withCover.releaseMBID, old.releaseMBID) << "a release without an ID keeps the track's";
    EXPECT_EQ(withCover.artworkData, QByteArray("\xFF\xD8\xFF new"));

    TrackMetadataStub blank = stub(1, 7);
    blank.title.clear();
    blank.artist.clear();
    release.title.clear();
    release.artist.clear();
    release.genre = QString();
    const Track kept = AlbumRefetchPlan::applying(old, blank, release, std::nullopt);
    EXPECT_EQ(std::tuple(kept.title, kept.artist, kept.album, kept.albumArtist, kept.genre),
              std::tuple(old.title, old.artist, old.album, old.albumArtist, old.genre))
        << "empty text in an answer clears no field";
}
