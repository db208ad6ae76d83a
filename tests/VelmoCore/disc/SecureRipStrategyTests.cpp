#include "disc/DirectRipStrategy.h"
#include "disc/ParanoiaRipStrategy.h"
#include "disc/RipLog.h"
#include "disc/SecureRipStrategy.h"
#include "library/BlockingWait.h"
#include "metadata/MusicBrainzDiscLookup.h"
#include "platform/ParanoiaSource.h"
#include "support/AsyncTesting.h"
#include "support/DiscImages.h"

#include <QDir>
#include <QHash>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstring>
#include <mutex>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using CDRipper::RipError;

namespace {

// A drive whose frames come back wrong a scripted number of times, each time differently,
// as a scratch read without correction does; it counts the whole passes of each reader.
struct FlakyDisc {
    QByteArray frames; // from 150 on
    QHash<qint64, int> wrongReads; // frame → how many more reads of it come back wrong
    int garbled = 0;
    int directOpens = 0;
    int paranoiaOpens = 0;
    std::mutex mutex;
};

class FlakySource : public SectorSource {
public:
    FlakySource(std::shared_ptr<FlakyDisc> disc, int FlakyDisc::*opens)
        : m_disc(std::move(disc))
        , m_opens(opens)
    {
    }

    int open() override
    {
        std::lock_guard lock(m_disc->mutex);
        ++((*m_disc).*m_opens);
        return 0;
    }
    void close() override {}
    int read(qint64 sector, char* buffer) override
    {
        std::lock_guard lock(m_disc->mutex);
        std::memcpy(buffer, m_disc->frames.constData() + (sector - 150) * frameBytes, frameBytes);
        if (int& wrong = m_disc->wrongReads[sector]; wrong > 0) {
            --wrong;
            buffer[100] = char(buffer[100] ^ (1 + m_disc->garbled++ % 255));
        }
        return 0;
    }

private:
    std::shared_ptr<FlakyDisc> m_disc;
    int FlakyDisc::*m_opens;
};

class SecureRipTest : public ::testing::Test {
protected:
    SecureRipTest()
    {
        disc->frames = DiscImages::pcm(300, 9);
        toc = MusicBrainzDiscLookup::parseDiscTOC(DiscImages::audioTOC({150, 250, 350}, 450));
    }

    SecureRipStrategy strategy()
    {
        const auto direct = [this](const QString&) -> std::unique_ptr<SectorSource> {
            return std::make_unique<FlakySource>(disc, &FlakyDisc::directOpens);
        };
        const auto paranoia = [this](const QString&) -> std::unique_ptr<SectorSource> {
            return std::make_unique<FlakySource>(disc, &FlakyDisc::paranoiaOpens);
        };
        return SecureRipStrategy(std::make_unique<DirectRipStrategy>(direct, 1ms),
                                 std::make_unique<ParanoiaRipStrategy>(paranoia));
    }

    DiscRipStrategy::RippedTrack ripTrack(qint64 index)
    {
        SecureRipStrategy secure = strategy();
        return BlockingWait::wait(secure.ripTrackChecked(u"sr0"_s, toc, index, output(), {}));
    }

    QByteArray trackFrames(qint64 index) const { return disc->frames.mid(index * 100 * 2352, 100 * 2352); }
    QUrl output() const { return QUrl::fromLocalFile(folder.filePath(u"rip"_s)); }
    QStringList leftInOutput() const
    {
        return QDir(folder.filePath(u"rip"_s)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    }

    std::shared_ptr<FlakyDisc> disc = std::make_shared<FlakyDisc>();
    DiscTOC toc;
    QTemporaryDir folder;
};

} // namespace

TEST_F(SecureRipTest, TwoAgreeingRawReadsAreEnough)
{
    SecureRipStrategy secure = strategy();
    QList<CDRipper::Progress> reports;
    std::mutex mutex;
    const auto onProgress = [&](const CDRipper::Progress& progress) {
        std::lock_guard lock(mutex);
        reports.append(progress);
    };
    const QList<QUrl> files = BlockingWait::wait(CDRipper::rip(u"sr0"_s, toc, output(), secure, onProgress));
    ASSERT_EQ(files.size(), 3);
    for (qint64 index = 0; index < 3; ++index)
        EXPECT_EQ(FlacFiles::decode(files[index].toLocalFile())->pcm, trackFrames(index)) << "track " << index + 1;
    EXPECT_EQ(leftInOutput(), (QStringList{u"track01.flac"_s, u"track02.flac"_s, u"track03.flac"_s}));
    EXPECT_EQ(disc->paranoiaOpens, 0);
    // Both reads of a track share its bar: 200 reports that rise to 1.0 once.
    ASSERT_EQ(reports.size(), 3 * 200);
    EXPECT_EQ(reports[99], (CDRipper::Progress{1, 3, 0.5}));
    EXPECT_EQ(reports[199], (CDRipper::Progress{1, 3, 1.0}));

    const DiscRipStrategy::RippedTrack ripped = ripTrack(1);
    ASSERT_EQ(ripped.readCRCs.size(), 2);
    EXPECT_EQ(ripped.readCRCs[0], ripped.checksums->crc32);
    EXPECT_EQ(ripped.readCRCs[1], ripped.checksums->crc32);
}

TEST_F(SecureRipTest, ATrackWhoseFirstReadDiffersIsReadAgainWithParanoiaUntilTwoAgree)
{
    const DiscRipStrategy::RippedTrack clean = ripTrack(1);
    disc->wrongReads[260] = 1;
    const DiscRipStrategy::RippedTrack ripped = ripTrack(1);
    EXPECT_EQ(FlacFiles::decode(ripped.file.toLocalFile())->pcm, trackFrames(1));
    EXPECT_EQ(ripped.file.fileName(), u"track02.flac"_s);
    ASSERT_EQ(ripped.readCRCs.size(), 3);
    EXPECT_NE(ripped.readCRCs[0], clean.checksums->crc32);
    EXPECT_EQ(ripped.readCRCs[1], clean.checksums->crc32);
    EXPECT_EQ(ripped.readCRCs[2], clean.checksums->crc32);
    EXPECT_EQ(ripped.checksums, clean.checksums);
    // The paranoia reader's probe and its read.
    EXPECT_EQ(disc->paranoiaOpens, 2);
    EXPECT_EQ(leftInOutput(), QStringList{u"track02.flac"_s});

    // The log names every read of the track, in order.
    RipLog::Record record{.strategy = displayName(RipStrategyKind::secure)};
    record.tracks.append({.number = 2, .title = u"Two"_s, .checksums = ripped.checksums, .readCRCs = ripped.readCRCs});
    const QString crc = u"%1"_s.arg(clean.checksums->crc32, 8, 16, QChar(u'0')).toUpper();
    const QString wrong = u"%1"_s.arg(ripped.readCRCs[0], 8, 16, QChar(u'0')).toUpper();
    const QString log = RipLog::logText(record);
    EXPECT_TRUE(log.contains(u"Strategy:        Secure (read twice)\n"_s)) << log.toStdString();
    EXPECT_TRUE(log.contains(u"  Reads:           3 (CRC32 %1, %2, %2)\n"_s.arg(wrong, crc))) << log.toStdString();
}

TEST_F(SecureRipTest, TwoRawReadsWrongInDifferentWaysTakeTwoParanoiaReads)
{
    const DiscRipStrategy::RippedTrack clean = ripTrack(0);
    disc->wrongReads[170] = 2; // both raw reads, each wrong in its own way
    const DiscRipStrategy::RippedTrack ripped = ripTrack(0);
    ASSERT_EQ(ripped.readCRCs.size(), 4);
    EXPECT_NE(ripped.readCRCs[0], ripped.readCRCs[1]);
    EXPECT_NE(ripped.readCRCs[1], clean.checksums->crc32);
    EXPECT_EQ(ripped.readCRCs[2], clean.checksums->crc32);
    EXPECT_EQ(ripped.readCRCs[3], clean.checksums->crc32);
    EXPECT_EQ(FlacFiles::decode(ripped.file.toLocalFile())->pcm, trackFrames(0));
}

TEST_F(SecureRipTest, ATrackThatNeverReadsTheSameTwiceFails)
{
    disc->wrongReads[390] = SecureRipStrategy::mostReads;
    SecureRipStrategy secure = strategy();
    const RipError error = awaitFailure<RipError>(secure.ripTrackChecked(u"sr0"_s, toc, 2, output(), {}));
    EXPECT_EQ(error.kind(), RipError::Kind::readsDisagree);
    EXPECT_EQ(error.message(), u"Track 3 read differently each of 5 times: no two reads agree"_s);
    EXPECT_EQ(disc->wrongReads[390], 0) << "all five reads were made";
    EXPECT_TRUE(leftInOutput().isEmpty()) << leftInOutput().join(u' ').toStdString();

    EXPECT_EQ(awaitFailure<RipError>(secure.ripTrack(u"sr0"_s, toc, 3, output(), {})).kind(),
              RipError::Kind::noAudioTracks);
}

TEST_F(SecureRipTest, AReadThatFailsEndsTheTrackAndTakesItsReadsAlong)
{
    disc->wrongReads[200] = 1; // the paranoia reader is needed, and cannot be opened
    const auto direct = [this](const QString&) -> std::unique_ptr<SectorSource> {
        return std::make_unique<FlakySource>(disc, &FlakyDisc::directOpens);
    };
    const auto missing = [](const QString& source) -> std::unique_ptr<SectorSource> {
        return std::make_unique<ParanoiaSource>(source);
    };
    SecureRipStrategy secure(std::make_unique<DirectRipStrategy>(direct, 1ms),
                             std::make_unique<ParanoiaRipStrategy>(missing));
    const QString nowhere = folder.filePath(u"no-such-drive"_s);
    const RipError error = awaitFailure<RipError>(secure.ripTrackChecked(nowhere, toc, 0, output(), {}));
    EXPECT_EQ(error.kind(), RipError::Kind::deviceOpenFailed);
    EXPECT_EQ(disc->directOpens, 4) << "both raw reads were made, each with its probe";
    EXPECT_TRUE(leftInOutput().isEmpty()) << leftInOutput().join(u' ').toStdString();
}

TEST(SecureRipStrategyKind, ChosenByItsNameAndWord)
{
    EXPECT_EQ(displayName(RipStrategyKind::secure), u"Secure (read twice)"_s);
    EXPECT_EQ(enumFromRawValue<RipStrategyKind>(u"secure"_s), RipStrategyKind::secure);
    const std::unique_ptr<DiscRipStrategy> secure = makeStrategy(RipStrategyKind::secure, 0);
    ASSERT_NE(dynamic_cast<SecureRipStrategy*>(secure.get()), nullptr);
    EXPECT_EQ(secure->name(), u"Secure (read twice)"_s);
}
