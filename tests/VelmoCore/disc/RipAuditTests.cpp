#include "disc/AccurateRipID.h"
#include "disc/CDImporter.h"
#include "disc/RipAudit.h"
#include "library/BlockingWait.h"
#include "library/Settings.h"
#include "support/DiscImages.h"
#include "support/FakeServices.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using AccurateRip::Verdict;

namespace {

constexpr qint64 trackFrames = 500;
constexpr int pcmSeed = 5;

// A three-track image ripped into a library folder against a fake AccurateRip.
class RipAuditTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        TestEnvironment::clearSettings();
        sheet = DiscImages::writeImage(folder.path(), 3, trackFrames, pcmSeed).sheet;
        toc = MusicBrainzDiscLookup::readDiscTOC(sheet);
        id = AccurateRipID::fromFullTOC(MusicBrainzDiscLookup::rawTOCData(sheet));
    }
    void TearDown() override { TestEnvironment::clearSettings(); }

    TrackChecksums sumsOf(qint64 index) const
    {
        const qint64 pairs = trackFrames * 588;
        TrackChecksummer checksummer(pairs, index == 0, index == 2);
        checksummer.add(pcm.constData() + index * pairs * 4, pairs);
        return checksummer.result();
    }

    QString answerPath() const { return u"/"_s + id.path(); }

    QList<CDImporter::TrackImportResult> import()
    {
        const std::unique_ptr<DiscRipStrategy> strategy = makeStrategy(RipStrategyKind::direct, 0);
        ReleaseMetadata release{.mbid = u"release-id"_s, .title = u"Plates"_s, .artist = u"Band"_s, .discNumber = 1};
        for (qint64 n = 1; n <= 3; ++n)
            release.tracks.append({.number = n, .title = u"Song %1"_s.arg(n), .artist = u"Band"_s});
        return BlockingWait::wait(CDImporter::importDisc(
            sheet, toc, release, std::nullopt, QUrl::fromLocalFile(root.path()), std::nullopt, false, *strategy));
    }

    QString albumFile(const QString& name) const { return root.filePath(u"Band/Plates/"_s + name); }

    QTemporaryDir folder;
    QTemporaryDir root;
    FakeServices services;
    const QByteArray pcm = DiscImages::pcm(3 * trackFrames, pcmSeed);
    QString sheet;
    DiscTOC toc;
    AccurateRipID id;
};

} // namespace

TEST_F(RipAuditTest, MatchingTracksAreAccurateAndAMismatchIsReadAgainBeforeItStands)
{
    // One pressing that agrees on tracks 1 and 3, in v2 and v1, and holds another track 2.
    const AccurateRip::Pressing pressing{
        3, id.id1, id.id2, id.cddb, {{7, sumsOf(0).v2, 0}, {5, sumsOf(1).v2 ^ 1, 0}, {9, sumsOf(2).v1, 0}}};
    services.accurateRip.route(answerPath(), FakeResponse::ok(DiscImages::accurateRipAnswer({pressing})));

    const QList<CDImporter::TrackImportResult> results = import();
    ASSERT_EQ(results.size(), 3);
    ASSERT_TRUE(results.at(0).verdict && results.at(1).verdict && results.at(2).verdict);
    EXPECT_EQ(results.at(0).verdict->text(), u"accurately ripped (confidence 7, v2)"_s);
    EXPECT_EQ(results.at(2).verdict->text(), u"accurately ripped (confidence 9, v1)"_s);
    EXPECT_EQ(results.at(1).verdict->text(), u"does not match (1 pressing known)"_s);
    EXPECT_TRUE(results.at(1).verdict->reread) << "read once more with the paranoia reader";
    EXPECT_FALSE(results.at(0).verdict->reread);
    EXPECT_TRUE(results.at(1).succeeded()) << "a mismatch still arrives in the library";
    EXPECT_EQ(CDImporter::verdictSummary(results), u"2 of 3 tracks verified by AccurateRip"_s);
    EXPECT_EQ(services.accurateRip.requestCount(answerPath()), 1) << "the disc is asked for once";

    const QString log = QString::fromUtf8(readFile(albumFile(u"Plates.log"_s)));
    EXPECT_TRUE(log.contains(u"AccurateRip ID:  "_s + id.text())) << log.toStdString();
    EXPECT_TRUE(log.startsWith(u"Sonorelle rip log\n"_s));
    EXPECT_TRUE(log.contains(u"Drive:           disc image "_s + sheet + u'\n'));
    EXPECT_TRUE(log.contains(u"Strategy:        Direct (raw sector reads)"_s));
    EXPECT_TRUE(log.contains(u"Read offset:     0 samples"_s));
    EXPECT_TRUE(log.contains(u"Result:          accurately ripped (confidence 7, v2)"_s));
    EXPECT_TRUE(log.contains(u"Result:          does not match (1 pressing known) after a paranoia re-read"_s));
    EXPECT_TRUE(log.contains(u"CRC32:           "_s + u"%1"_s.arg(sumsOf(2).crc32, 8, 16, QChar(u'0')).toUpper()));
    EXPECT_TRUE(log.contains(u"2 of 3 tracks verified by AccurateRip."_s));
    EXPECT_TRUE(log.contains(results.at(2).track->path()));

    const QString cue = QString::fromUtf8(readFile(albumFile(u"Plates.cue"_s)));
    const QString firstFile = QFileInfo(results.at(0).track->path()).fileName();
    EXPECT_TRUE(cue.contains(u"FILE \""_s + firstFile + u"\" WAVE\n  TRACK 01 AUDIO\n"_s)) << cue.toStdString();
    EXPECT_EQ(cue.count(u"INDEX 01 00:00:00"_s), 3);
    EXPECT_FALSE(cue.contains(u"PREGAP"_s)) << "the first track starts at the disc's start";
}

TEST_F(RipAuditTest, ADiscTheDatabaseDoesNotKnowIsNoFailureAndTheLogCanBeTurnedOff)
{
    Settings::setValue(Settings::keepRipLog, false);
    const QList<CDImporter::TrackImportResult> results = import();
    ASSERT_EQ(results.size(), 3);
    for (const CDImporter::TrackImportResult& result : results) {
        ASSERT_TRUE(result.verdict);
        EXPECT_EQ(result.verdict->outcome, Verdict::Outcome::notInDatabase);
        EXPECT_FALSE(result.verdict->reread);
        EXPECT_TRUE(result.succeeded());
    }
    EXPECT_EQ(CDImporter::verdictSummary(results), u"0 of 3 tracks verified by AccurateRip"_s);
    EXPECT_FALSE(QFileInfo::exists(albumFile(u"Plates.log"_s)));
    EXPECT_FALSE(QFileInfo::exists(albumFile(u"Plates.cue"_s)));
}

TEST_F(RipAuditTest, AnAnswerForAnotherDiscLeavesTheTracksUnchecked)
{
    const AccurateRip::Pressing stranger{3, id.id1 + 1, id.id2, id.cddb, {{1, 1, 0}, {1, 2, 0}, {1, 3, 0}}};
    services.accurateRip.route(answerPath(), FakeResponse::ok(DiscImages::accurateRipAnswer({stranger})));
    const QList<CDImporter::TrackImportResult> results = import();
    ASSERT_EQ(results.size(), 3);
    ASSERT_TRUE(results.at(0).verdict);
    EXPECT_EQ(results.at(0).verdict->outcome, Verdict::Outcome::unchecked);
    EXPECT_TRUE(results.at(0).verdict->text().startsWith(u"not checked: The AccurateRip answer is for disc "_s));
    EXPECT_EQ(CDImporter::verdictSummary(results), QString());
    EXPECT_TRUE(QString::fromUtf8(readFile(albumFile(u"Plates.log"_s))).contains(u"Result:          not checked"_s));
}

TEST_F(RipAuditTest, AReReadThatIsKeptFollowsTheReadsBeforeIt)
{
    const AccurateRip::Pressing pressing{
        3, id.id1, id.id2, id.cddb, {{7, sumsOf(0).v2, 0}, {5, sumsOf(1).v2, 0}, {9, sumsOf(2).v2, 0}}};
    services.accurateRip.route(answerPath(), FakeResponse::ok(DiscImages::accurateRipAnswer({pressing})));
    const std::unique_ptr<DiscRipStrategy> strategy = makeStrategy(RipStrategyKind::secure, 0);
    RipAudit audit(sheet, toc, *strategy);

    // Two reads that agreed with each other, and both wrong in the same way.
    TrackChecksums misread = sumsOf(1);
    misread.v1 ^= 1;
    misread.v2 ^= 1;
    misread.crc32 ^= 1;
    const DiscRipStrategy::RippedTrack first{.checksums = misread, .readCRCs = {misread.crc32, misread.crc32}};
    const DiscRipStrategy::RippedTrack kept =
        BlockingWait::wait(audit.check(1, first, folder.filePath(u"audit"_s), {}));

    ASSERT_TRUE(audit.verdict(1));
    EXPECT_TRUE(audit.verdict(1)->matched()) << "the paranoia read is the one the database confirms";
    EXPECT_TRUE(audit.verdict(1)->reread);
    EXPECT_EQ(kept.readCRCs, (QList<quint32>{misread.crc32, misread.crc32, sumsOf(1).crc32}));
}
