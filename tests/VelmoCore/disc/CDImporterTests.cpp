#include "disc/CDImporter.h"
#include "facade/Library.h"
#include "library/BlockingWait.h"
#include "library/JsonCoding.h"
#include "library/LibraryOrganizer.h"
#include "library/TagReader.h"
#include "library/Uuid.h"
#include "support/AudioFixtures.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// A drive that gives each track as a small real FLAC file, or fails the tracks it is told to.
class ScriptedStrategy : public DiscRipStrategy {
public:
    QSet<qint64> failing;
    QList<qint64> asked;
    QString folderUsed;

    QCoro::Task<QList<QUrl>> rip(QString, DiscTOC, QUrl, CDRipper::ProgressHandler) override { co_return {}; }

    QCoro::Task<QUrl> ripTrack(QString, DiscTOC toc, qint64 trackIndex, QUrl outputDirectory,
                               CDRipper::ProgressHandler onProgress) override
    {
        asked.append(trackIndex);
        folderUsed = outputDirectory.toLocalFile();
        const QString file = QDir(folderUsed).filePath(u"track"_s + QString::number(trackIndex + 1).rightJustified(2, u'0') + u".flac"_s);
        AudioFixtures::copySample(u"taglib/sinewave.flac"_s, file);
        onProgress({trackIndex + 1, toc.trackCount, 0.5});
        if (failing.contains(trackIndex))
            throw CDRipper::RipError::readFailed(5, 12345);
        co_return QUrl::fromLocalFile(file);
    }
};

DiscTOC twelveTracks()
{
    DiscTOC toc;
    toc.discID = u"disc-id"_s;
    toc.trackCount = 12;
    for (qint64 i = 0; i < 12; ++i)
        toc.trackOffsets.append(150 + i * 15000);
    toc.leadOutOffset = 150 + 12 * 15000;
    return toc;
}

ReleaseMetadata tenStubs()
{
    ReleaseMetadata release{.mbid = u"release-id"_s, .title = u"Album"_s, .artist = u"Band"_s, .year = 1997,
                            .discNumber = 1, .releaseGroupID = u"group-id"_s};
    for (qint64 n = 1; n <= 10; ++n) {
        release.tracks.append({.number = n, .title = u"Song %1"_s.arg(n), .artist = u"Singer"_s, .duration = 180.5,
                               .recordingMBID = u"recording-%1"_s.arg(n)});
    }
    return release;
}

class CDImporterTest : public ::testing::Test {
protected:
    QTemporaryDir root;
    ScriptedStrategy strategy;

    QList<CDImporter::TrackImportResult> import(std::optional<QList<qint64>> indices, bool overwrite = false,
                                                const ReleaseMetadata& release = tenStubs())
    {
        return BlockingWait::wait(CDImporter::importDisc(u"sr0"_s, twelveTracks(), release, std::nullopt,
                                                         QUrl::fromLocalFile(root.path()), indices, overwrite, strategy,
                                                         {}, [this](const auto& r) { completed.append(r.trackIndex); }));
    }

    QList<qint64> completed;
};

} // namespace

TEST_F(CDImporterTest, TracksBeyondTheReleaseGetSubstitutesAndEveryFileIsTaggedAndPlaced)
{
    const auto results = import(std::nullopt);
    ASSERT_EQ(results.size(), 12);
    EXPECT_EQ(completed, (QList<qint64>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
    const Track& first = *results.at(0).track;
    EXPECT_EQ(first.title, u"Song 1"_s);
    EXPECT_EQ(first.albumArtist, u"Band"_s);
    EXPECT_EQ(first.externalID, u"recording-1"_s);
    EXPECT_EQ(first.releaseMBID, u"release-id"_s);
    EXPECT_EQ(first.genre, QString()) << "an unknown genre is empty text";
    EXPECT_EQ(first.path(), LibraryOrganizer::canonicalURL(first, QUrl::fromLocalFile(root.path())).toLocalFile());
    EXPECT_EQ(TagReader::read(first.url)->title, u"Song 1"_s) << "the tags are in the file";
    EXPECT_EQ(TagReader::read(first.url)->customTags.value(Track::discIDTag()), u"disc-id"_s)
        << "the disc id beside the track number places the file on its disc";

    const Track& eleventh = *results.at(10).track;
    EXPECT_EQ(eleventh.title, u"Track 11"_s);
    EXPECT_EQ(eleventh.artist, u"Band"_s);
    EXPECT_EQ(eleventh.duration, 0.0);
    EXPECT_EQ(eleventh.trackNumber, 11);
    EXPECT_EQ(eleventh.externalID, Uuid::text(eleventh.id));
    EXPECT_FALSE(QDir(strategy.folderUsed).exists()) << "the temporary folder goes";
    EXPECT_TRUE(QFileInfo(strategy.folderUsed).fileName().startsWith(u"velmo_rip_"_s));
}

TEST_F(CDImporterTest, FailuresStayWithTheirTrackAndTheRestGoOn)
{
    strategy.failing = {2};
    ReleaseMetadata release = tenStubs();
    release.mbid.clear();
    const auto results = import(QList<qint64>{2, 4}, false, release);
    ASSERT_EQ(results.size(), 2);
    EXPECT_EQ(results.at(0).trackIndex, 2);
    EXPECT_FALSE(results.at(0).succeeded());
    EXPECT_EQ(results.at(0).error->kind, CDImporter::TrackError::Kind::ripFailed);
    EXPECT_EQ(results.at(1).trackIndex, 4);
    EXPECT_EQ(results.at(1).track->trackNumber, 5) << "numbers come from the stubs";
    EXPECT_EQ(results.at(1).track->releaseMBID, std::nullopt) << "an empty release id is absent";

    // The file of an earlier rip of the same track is taken over; any other stays without overwriting.
    const auto again = import(QList<qint64>{4});
    ASSERT_EQ(again.size(), 1);
    ASSERT_TRUE(again.at(0).succeeded()) << again.at(0).error->message.toStdString();
    const QString placed = again.at(0).track->path();
    writeFile(placed, "someone else's");
    const auto taken = import(QList<qint64>{4});
    ASSERT_EQ(taken.size(), 1);
    EXPECT_EQ(taken.at(0).error->kind, CDImporter::TrackError::Kind::placeFailed);
    EXPECT_EQ(readFile(placed), "someone else's");
    EXPECT_TRUE(import(QList<qint64>{4}, true).at(0).succeeded()) << "or overwrites when told";
    EXPECT_TRUE(import(QList<qint64>{}).isEmpty());
}
