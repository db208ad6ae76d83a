#include "../../support/DiscImages.h"
#include "../../support/FakeServices.h"
#include "../../support/RipSetup.h"
#include "../../support/TestEnvironment.h"
#include "disc/UnknownDisc.h"
#include "facade/CDRipController.h"
#include "facade/Library.h"
#include "library/BlockingWait.h"
#include "library/TagReader.h"
#include "metadata/MusicBrainzDiscLookup.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr qint64 framesPerTrack = 30;

class CDRipControllerUnknownDiscTest : public ::testing::Test, protected RipSetup {
protected:
    void SetUp() override { TestEnvironment::clearSettings(); }
    void TearDown() override { EXPECT_TRUE(coverSearchEnded()); }

    // A disc image of `trackCount` tracks in a folder of its own, its sheet naming it in CD-Text.
    QString insertDisc(QTemporaryDir& into, qint64 trackCount, int seed, const QByteArray& cdText = {})
    {
        const DiscImages::WrittenImage written = DiscImages::writeImage(into.path(), trackCount, framesPerTrack, seed);
        if (!cdText.isEmpty())
            writeFile(written.sheet, cdText);
        return written.sheet;
    }

    const RipStates::LookupFailed& failure() const { return std::get<RipStates::LookupFailed>(controller.state()); }
    const RipStates::Ready& ready() const { return std::get<RipStates::Ready>(controller.state()); }

    // The lookup fails, then the disc goes to the names form.
    void openUnnamed(const QString& sheet)
    {
        BlockingWait::wait(controller.start(sheet, library));
        ASSERT_TRUE(std::holds_alternative<RipStates::LookupFailed>(controller.state()));
        BlockingWait::wait(controller.ripWithoutMetadata(sheet, library));
        ASSERT_TRUE(std::holds_alternative<RipStates::Ready>(controller.state()));
        ASSERT_TRUE(ready().unnamed);
    }

    bool allDone() const
    {
        const auto* finished = std::get_if<RipStates::Finished>(&controller.state());
        return finished && std::ranges::all_of(finished->tracks, [](const TrackRipState& track) {
                   return std::holds_alternative<TrackRipStates::Done>(track);
               });
    }

    QList<Track> tracksOf(const QString& album) const
    {
        QList<Track> found;
        for (const Track& track : library.tracks()) {
            if (track.album == album)
                found.append(track);
        }
        return found;
    }
};

// Disc and track CD-Text; track 2 has none, track 3 a performer of its own.
const QByteArray namedSheet = "REM GENRE \"Art Pop\"\nREM DATE 2004\n"
                              "PERFORMER \"The Quiet Set\"\nTITLE \"Demo Tape\"\n"
                              "FILE \"disc.bin\" BINARY\n"
                              "  TRACK 01 AUDIO\n    TITLE \"Opening\"\n    INDEX 01 00:00:00\n"
                              "  TRACK 02 AUDIO\n    INDEX 01 00:00:30\n"
                              "  TRACK 03 AUDIO\n    TITLE \"Closing\"\n    PERFORMER \"Guest\"\n"
                              "    INDEX 01 00:00:60\n";

} // namespace

TEST_F(CDRipControllerUnknownDiscTest, EveryKindOfFailedLookupOffersARipWithoutMetadata)
{
    QTemporaryDir disc;
    const QString sheet = insertDisc(disc, 2, 4);
    toc = MusicBrainzDiscLookup::readDiscTOC(sheet);

    BlockingWait::wait(controller.start(sheet, library));
    EXPECT_EQ(failure().message, u"This disc isn't in the MusicBrainz database yet."_s);
    EXPECT_TRUE(failure().discUnknown);
    EXPECT_EQ(failure().toc, toc);

    const auto failsOffering = [&](const char* how) {
        SCOPED_TRACE(how);
        ASSERT_TRUE(std::holds_alternative<RipStates::LookupFailed>(controller.state()));
        EXPECT_EQ(failure().message, u"Couldn't reach MusicBrainz. Check your internet connection and try again."_s);
        EXPECT_FALSE(failure().discUnknown) << "no answer is no proof the disc is unknown";
        EXPECT_EQ(failure().toc, toc) << "the disc was read: it can be ripped";
    };

    services.musicBrainz.route(u"/ws/2/discid/"_s + toc.discID, FakeResponse::withStatus(503));
    BlockingWait::wait(controller.lookUp(sheet, library));
    failsOffering("HTTP 503");

    FakeServices::configure(FakeServices::vacantAddress(), FakeServices::vacantAddress(),
                            FakeServices::vacantAddress());
    BlockingWait::wait(controller.lookUp(sheet, library));
    failsOffering("connection refused");

    FakeServices::configure(services.musicBrainz.url(QString()), services.coverArt.url(QString()),
                            services.iTunes.url(QString()));
    FakeResponse silent = FakeResponse::ok("{}", "application/json");
    silent.delay = 3s;
    services.musicBrainz.route(u"/ws/2/discid/"_s + toc.discID, silent);
    MetadataHTTPClient impatient({.clock = clock, .requestTimeout = 150ms});
    CDRipController waiting(impatient, [this](RipStrategyKind) { return DiscImages::scriptedStrategy(drive); });
    BlockingWait::wait(waiting.start(sheet, library));
    ASSERT_TRUE(std::holds_alternative<RipStates::LookupFailed>(waiting.state()));
    const auto& timedOut = std::get<RipStates::LookupFailed>(waiting.state());
    EXPECT_FALSE(timedOut.message.isEmpty());
    EXPECT_EQ(timedOut.toc, toc) << "a timeout leaves the disc to rip";

    writeFile(sheet, "FILE \"disc.bin\" BINARY\n  TRACK 01 AUDIO\n");
    controller.reset();
    BlockingWait::wait(controller.start(sheet, library));
    EXPECT_EQ(failure().toc, std::nullopt) << "a disc that can't be read can't be ripped either";
    BlockingWait::wait(controller.ripWithoutMetadata(sheet, library));
    EXPECT_TRUE(std::holds_alternative<RipStates::LookupFailed>(controller.state()));
}

TEST_F(CDRipControllerUnknownDiscTest, AnOfflineDiscIsNamedFromItsCDTextThenByTheUserAndKeepsTheNamesUntilRipped)
{
    FakeServices::configure(FakeServices::vacantAddress(), FakeServices::vacantAddress(),
                            FakeServices::vacantAddress());
    QTemporaryDir disc;
    const QString sheet = insertDisc(disc, 3, 4, namedSheet);
    const QString discID = MusicBrainzDiscLookup::readDiscTOC(sheet).discID;
    openUnnamed(sheet);

    ReleaseMetadata named = ready().allReleases.constFirst();
    EXPECT_EQ(named.title, u"Demo Tape"_s);
    EXPECT_EQ(named.artist, u"The Quiet Set"_s);
    EXPECT_EQ(named.year, 2004);
    EXPECT_EQ(named.genre, u"Art Pop"_s);
    ASSERT_EQ(named.tracks.size(), 3);
    EXPECT_EQ(named.tracks.at(0).title, u"Opening"_s);
    EXPECT_EQ(named.tracks.at(1).title, u"Track 2"_s) << "no CD-Text for it";
    EXPECT_EQ(named.tracks.at(1).artist, u"The Quiet Set"_s);
    EXPECT_EQ(named.tracks.at(2).artist, u"Guest"_s);

    named.title = u"Demo Tape II"_s;
    named.tracks[1].title = u"Middle"_s;
    int announced = 0;
    QObject::connect(&controller, &CDRipController::discNamed, [&] { ++announced; });
    controller.nameDisc(named);
    EXPECT_EQ(announced, 1);

    // Another disc takes the controller; coming back finds the names typed for this one.
    QTemporaryDir otherDisc;
    const QString other = insertDisc(otherDisc, 2, 9);
    BlockingWait::wait(controller.start(other, library));
    BlockingWait::wait(controller.start(sheet, library));
    BlockingWait::wait(controller.ripWithoutMetadata(sheet, library));
    ASSERT_TRUE(std::holds_alternative<RipStates::Ready>(controller.state()));
    EXPECT_EQ(ready().allReleases.constFirst(), named);

    BlockingWait::wait(controller.startRip(sheet, library, std::nullopt, false));
    ASSERT_TRUE(allDone());
    const QList<Track> ripped = tracksOf(u"Demo Tape II"_s);
    ASSERT_EQ(ripped.size(), 3);
    EXPECT_EQ(ripped.at(1).title, u"Middle"_s);
    EXPECT_EQ(ripped.at(2).artist, u"Guest"_s);
    EXPECT_EQ(ripped.at(0).albumArtist, u"The Quiet Set"_s);
    EXPECT_EQ(ripped.at(0).year, 2004);
    EXPECT_EQ(ripped.at(0).genre, u"Art Pop"_s);
    EXPECT_EQ(ripped.at(0).customTags.value(Track::discIDTag()), discID);
    EXPECT_EQ(ripped.at(1).path(), library.rootURL().toLocalFile() + u"/The Quiet Set/Demo Tape II/02 Middle.flac"_s);

    controller.reset();
    BlockingWait::wait(controller.start(sheet, library));
    BlockingWait::wait(controller.ripWithoutMetadata(sheet, library));
    EXPECT_EQ(ready().allReleases.constFirst().title, u"Demo Tape"_s) << "the typed names went with the rip";
}

TEST_F(CDRipControllerUnknownDiscTest, TwoUnknownDiscsInARowLandInFoldersOfTheirOwn)
{
    QTemporaryDir firstDisc;
    QTemporaryDir secondDisc;
    // A table of contents of their own: discs with the same one share an ID.
    const QStringList sheets{insertDisc(firstDisc, 2, 4), insertDisc(secondDisc, 3, 11)};
    QStringList albums;
    for (const QString& sheet : sheets) {
        const QString discID = MusicBrainzDiscLookup::readDiscTOC(sheet).discID;
        openUnnamed(sheet);
        EXPECT_EQ(ready().allReleases.constFirst().title, u"Unknown Album"_s);
        BlockingWait::wait(controller.startRip(sheet, library, std::nullopt, false));
        ASSERT_TRUE(allDone()) << "no track of the second disc meets the first's files";
        albums.append(u"Unknown Album ("_s + discID.left(8) + u')');
        const QList<Track> ripped = tracksOf(albums.constLast());
        ASSERT_EQ(ripped.size(), albums.size() + 1);
        EXPECT_EQ(ripped.at(0).path(),
                  library.rootURL().toLocalFile() + u"/Unknown Artist/"_s + albums.constLast() + u"/01 Track 1.flac"_s);
        controller.reset();
    }
    EXPECT_NE(albums.at(0), albums.at(1));
    EXPECT_EQ(library.tracks().size(), 5);
    for (const Track& track : library.tracks())
        EXPECT_TRUE(QFileInfo::exists(track.path())) << track.path().toStdString();
}

TEST_F(CDRipControllerUnknownDiscTest, LookUpAgainNamesTheAlbumOnceMusicBrainzKnowsItsDiscAndMovesItsFiles)
{
    QTemporaryDir disc;
    const QString sheet = insertDisc(disc, 2, 4);
    toc = MusicBrainzDiscLookup::readDiscTOC(sheet);
    openUnnamed(sheet);
    BlockingWait::wait(controller.startRip(sheet, library, std::nullopt, false));
    ASSERT_TRUE(allDone());
    const QList<Track> unknown = library.tracks();
    ASSERT_EQ(unknown.size(), 2);

    const auto failureOf = [&](const QList<Track>& album) -> std::optional<Library::AlbumRefetchError::Kind> {
        try {
            BlockingWait::wait(library.lookUpAlbumAgain(album, client));
        } catch (const Library::AlbumRefetchError& error) {
            return error.kind();
        }
        return std::nullopt;
    };
    EXPECT_EQ(failureOf(unknown), Library::AlbumRefetchError::Kind::noMatchFound) << "not yet known";
    Track withoutID = unknown.constFirst();
    withoutID.customTags.remove(Track::discIDTag());
    EXPECT_EQ(failureOf({withoutID}), Library::AlbumRefetchError::Kind::noDiscID);

    // Someone has since attached the disc to a release, whose tracks last as long as the disc's.
    QJsonObject release = DiscImages::musicBrainzRelease(u"rel-9"_s, u"Found Album"_s, toc.discID, 2);
    QJsonObject medium = release.value("media"_L1).toArray().at(0).toObject();
    QJsonArray tracks;
    for (const QJsonValue& value : medium.value("tracks"_L1).toArray()) {
        QJsonObject track = value.toObject();
        QJsonObject recording = track.value("recording"_L1).toObject();
        recording.insert("length"_L1, framesPerTrack * 1000 / 75);
        track.insert("recording"_L1, recording);
        tracks.append(track);
    }
    medium.insert("tracks"_L1, tracks);
    release.insert("media"_L1, QJsonArray{medium});
    services.musicBrainz.route(u"/ws/2/discid/"_s + toc.discID,
                               FakeResponse::ok(QJsonDocument(QJsonObject{{"releases"_L1, QJsonArray{release}}}).toJson(),
                                                "application/json"));
    services.musicBrainz.route(u"/ws/2/release/rel-9"_s,
                               FakeResponse::ok(QJsonDocument(release).toJson(), "application/json"));

    const Library::AlbumRefetchSummary summary = BlockingWait::wait(library.lookUpAlbumAgain(unknown, client));
    EXPECT_EQ(summary.matchedCount, 2);
    ASSERT_EQ(library.tracks().size(), 2);
    for (qsizetype i = 0; i < 2; ++i) {
        const Track& named = library.tracks().at(i);
        SCOPED_TRACE(i);
        EXPECT_EQ(named.id, unknown.at(i).id);
        EXPECT_EQ(named.album, u"Found Album"_s);
        EXPECT_EQ(named.title, u"Song %1"_s.arg(i + 1));
        EXPECT_EQ(named.releaseMBID, u"rel-9"_s);
        EXPECT_EQ(named.path(),
                  library.rootURL().toLocalFile() + u"/Band/Found Album/0%1 Song %1.flac"_s.arg(i + 1));
        EXPECT_TRUE(QFileInfo::exists(named.path()));
        EXPECT_FALSE(QFileInfo::exists(unknown.at(i).path())) << "moved, not copied";
        const std::optional<TrackMetadata> tags = TagReader::read(named.url);
        ASSERT_TRUE(tags);
        EXPECT_EQ(tags->album, u"Found Album"_s);
        EXPECT_EQ(tags->customTags.value(Track::discIDTag()), toc.discID) << "the disc ID stays";
    }
}
