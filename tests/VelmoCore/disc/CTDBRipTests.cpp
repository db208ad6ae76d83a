#include "disc/AccurateRipID.h"
#include "disc/CDImporter.h"
#include "disc/CTDBTOC.h"
#include "library/BlockingWait.h"
#include "library/Settings.h"
#include "support/CTDBImages.h"
#include "support/DiscImages.h"
#include "support/FakeServices.h"
#include "support/TestEnvironment.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using Status = CTDB::Verdict::Status;

namespace {

constexpr qint64 trackFrames = 500;
constexpr int pcmSeed = 5;

// A three-track image ripped into a library folder against fake AccurateRip and CTDB services.
class CTDBRipTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        TestEnvironment::clearSettings();
        sheet = DiscImages::writeImage(folder.path(), 3, trackFrames, pcmSeed).sheet;
        toc = MusicBrainzDiscLookup::readDiscTOC(sheet);
        ctdbTOC = CTDBTOC::fromFullTOC(MusicBrainzDiscLookup::rawTOCData(sheet));
    }
    void TearDown() override { TestEnvironment::clearSettings(); }

    // The database's entry for a rip whose audio is `stream`.
    CTDB::Entry entryOf(const QByteArray& stream, qint64 confidence, qint64 id) const
    {
        QList<CTDB::TrackSamples> tracks;
        for (const auto& track : CTDBImages::tracksOf(ctdbTOC, stream))
            tracks.append(*track);
        const CTDB::DiscChecksums sums(ctdbTOC, tracks);
        CTDB::Entry entry{
            .id = id, .crc32 = sums.discCRC(), .confidence = confidence, .toc = ctdbTOC.text(), .stride = CTDB::stride};
        for (qsizetype i = 0; i < sums.trackCount(); ++i)
            entry.trackCRCs.append(sums.trackCRC(i));
        return entry;
    }

    // The image with one sample of track 2 changed.
    QByteArray otherTrackTwo() const
    {
        QByteArray other = pcm;
        const qsizetype at = (trackFrames + 100) * 2352 + 40;
        other[at] = char(other.at(at) ^ 0x10);
        return other;
    }

    void serveCTDB(const QList<CTDB::Entry>& entries)
    {
        services.ctdb.route(u"/lookup2.php"_s, FakeResponse::ok(CTDBImages::answer(entries), "text/xml"));
    }

    void serveAccurateRip(const QList<std::optional<quint32>>& crcs)
    {
        const AccurateRipID id = AccurateRipID::fromFullTOC(MusicBrainzDiscLookup::rawTOCData(sheet));
        AccurateRip::Pressing pressing{3, id.id1, id.id2, id.cddb, {}};
        for (qsizetype i = 0; i < crcs.size(); ++i) {
            const qint64 pairs = trackFrames * 588;
            TrackChecksummer checksummer(pairs, i == 0, i == 2);
            checksummer.add(pcm.constData() + i * pairs * 4, pairs);
            pressing.tracks.append({4, crcs.at(i).value_or(checksummer.result().v2), 0});
        }
        services.accurateRip.route(u"/"_s + id.path(), FakeResponse::ok(DiscImages::accurateRipAnswer({pressing})));
    }

    QList<CDImporter::TrackImportResult> import()
    {
        const std::unique_ptr<DiscRipStrategy> strategy = makeStrategy(RipStrategyKind::direct, 0);
        ReleaseMetadata release{.mbid = u"release-id"_s, .title = u"Plates"_s, .artist = u"Band"_s, .discNumber = 1};
        for (qint64 n = 1; n <= 3; ++n)
            release.tracks.append({.number = n, .title = u"Song %1"_s.arg(n), .artist = u"Band"_s});
        return BlockingWait::wait(CDImporter::importDisc(
            sheet, toc, release, std::nullopt, QUrl::fromLocalFile(root.path()), std::nullopt, false, *strategy));
    }

    QString log() const { return QString::fromUtf8(readFile(root.filePath(u"Band/Plates/Plates.log"_s))); }

    QTemporaryDir folder;
    QTemporaryDir root;
    FakeServices services;
    const QByteArray pcm = DiscImages::pcm(3 * trackFrames, pcmSeed);
    QString sheet;
    DiscTOC toc;
    CTDBTOC ctdbTOC;
};

} // namespace

TEST_F(CTDBRipTest, EachTrackGetsBothVerdictsAndTheLogSaysWhichDatabaseConfirmedWhat)
{
    serveAccurateRip({std::nullopt, 0xbadu, std::nullopt});
    serveCTDB({entryOf(pcm, 3, 11), entryOf(otherTrackTwo(), 2, 12)});
    const QList<CDImporter::TrackImportResult> results = import();
    ASSERT_EQ(results.size(), 3);
    for (const CDImporter::TrackImportResult& result : results) {
        ASSERT_TRUE(result.ctdbVerdict) << result.trackIndex;
        EXPECT_EQ(result.ctdbVerdict->status, Status::accurate) << result.trackIndex;
        EXPECT_EQ(result.ctdbVerdict->total, 5);
        EXPECT_EQ(result.ctdbVerdict->offset, 0);
    }
    EXPECT_EQ(results.at(0).ctdbVerdict->confidence, 5) << "both entries agree on track 1";
    EXPECT_EQ(results.at(1).ctdbVerdict->confidence, 3) << "only the whole disc's entry has this track 2";
    EXPECT_EQ(results.at(1).verdict->outcome, AccurateRip::Verdict::Outcome::mismatch);
    EXPECT_FALSE(results.at(1).verdict->reread) << "CTDB confirms it, so it is not read again";
    EXPECT_EQ(CDImporter::ctdbSummary(results), u"3 of 3 tracks verified by CTDB"_s);
    EXPECT_EQ(services.ctdb.requests().size(), 1) << "the disc is asked for once";
    EXPECT_EQ(services.ctdb.requests().at(0).target,
              "/lookup2.php?version=3&ctdb=1&fuzzy=1&metadata=none&toc=0:500:1000:1500");

    const QString text = log();
    EXPECT_TRUE(text.contains(u"\n[CTDB TOCID: "_s + ctdbTOC.tocID()
                              + u"] found.\nTrack | CTDB Status\n"_s
                                u"  1   | (5/5) Accurately ripped\n"_s
                                u"  2   | (3/5) Accurately ripped\n"_s
                                u"  3   | (5/5) Accurately ripped\n"_s))
        << text.toStdString();
    EXPECT_TRUE(text.contains(u"  Result:          does not match (1 pressing known)\n"_s
                              u"  CTDB:            accurately ripped (confidence 3 of 5)\n"_s))
        << text.toStdString();
    EXPECT_TRUE(text.contains(u"3 of 3 tracks verified by CTDB.\n"_s));
    EXPECT_TRUE(text.contains(u"2 of 3 tracks verified by AccurateRip.\n"_s));
}

TEST_F(CTDBRipTest, ATrackThatADatabaseKnowsAndNoneConfirmsIsReadAgain)
{
    // AccurateRip does not know the disc; CTDB knows another track 2.
    serveCTDB({entryOf(otherTrackTwo(), 4, 1)});
    const QList<CDImporter::TrackImportResult> results = import();
    ASSERT_EQ(results.size(), 3);
    ASSERT_TRUE(results.at(1).ctdbVerdict && results.at(1).verdict);
    EXPECT_EQ(results.at(1).ctdbVerdict->status, Status::differs);
    EXPECT_EQ(results.at(1).ctdbVerdict->text(), u"differs from the database (4 submissions)"_s);
    EXPECT_TRUE(results.at(1).verdict->reread) << "read once more with the paranoia reader";
    EXPECT_FALSE(results.at(0).verdict->reread);
    EXPECT_EQ(results.at(0).ctdbVerdict->status, Status::accurate) << "its own CRC confirms track 1";
    EXPECT_EQ(results.at(2).ctdbVerdict->status, Status::accurate);
    EXPECT_EQ(CDImporter::ctdbSummary(results), u"2 of 3 tracks verified by CTDB"_s);
    EXPECT_TRUE(log().contains(u"  2   | (0/4) No match\n"_s)) << log().toStdString();
}

TEST_F(CTDBRipTest, WithTheSettingOffOrTheDiscUnknownNothingIsClaimed)
{
    const QList<CDImporter::TrackImportResult> unknown = import();
    ASSERT_EQ(unknown.size(), 3);
    for (const CDImporter::TrackImportResult& result : unknown) {
        ASSERT_TRUE(result.ctdbVerdict);
        EXPECT_EQ(result.ctdbVerdict->status, Status::notInDatabase);
        EXPECT_FALSE(result.verdict->reread) << "no database knows it: nothing to read again for";
    }
    EXPECT_EQ(CDImporter::ctdbSummary(unknown), u"0 of 3 tracks verified by CTDB"_s);
    EXPECT_TRUE(log().contains(u"\n[CTDB TOCID: "_s + ctdbTOC.tocID() + u"] disk not present in database.\n"_s))
        << log().toStdString();
    EXPECT_FALSE(log().contains(u"CTDB Status"_s));

    Settings::setValue(Settings::verifyWithCTDB, false);
    const qsizetype asked = services.ctdb.requests().size();
    QFile::remove(root.filePath(u"Band/Plates/Plates.log"_s));
    const QList<CDImporter::TrackImportResult> off = import();
    EXPECT_EQ(services.ctdb.requests().size(), asked) << "the database is not asked";
    for (const CDImporter::TrackImportResult& result : off)
        EXPECT_FALSE(result.ctdbVerdict);
    EXPECT_FALSE(log().contains(u"CTDB"_s)) << log().toStdString();
}
