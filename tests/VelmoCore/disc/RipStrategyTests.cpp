#include "disc/CueSheet.h"
#include "disc/DirectRipStrategy.h"
#include "disc/DiscImageSource.h"
#include "disc/ParanoiaRipStrategy.h"
#include "library/BlockingWait.h"
#include "support/AsyncTesting.h"
#include "support/DiscImages.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QHash>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <mutex>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using CDRipper::RipError;

namespace {

// A drive that does what the test scripts: reads that fail a given number of times at a
// sector, and opens that fail from a given open on.
struct DriveScript {
    QByteArray disc; // the frames from 150 on
    QHash<qint64, QList<int>> readFailures;
    int opens = 0;
    int failOpensFrom = 1 << 30;
    int openError = ENOENT;
    std::mutex mutex;
};

class ScriptedSource : public SectorSource {
public:
    explicit ScriptedSource(std::shared_ptr<DriveScript> script)
        : m_script(std::move(script))
    {
    }

    int open() override
    {
        std::lock_guard lock(m_script->mutex);
        return ++m_script->opens >= m_script->failOpensFrom ? m_script->openError : 0;
    }
    void close() override {}
    int read(qint64 sector, char* buffer) override
    {
        std::lock_guard lock(m_script->mutex);
        QList<int>& failures = m_script->readFailures[sector];
        if (!failures.isEmpty())
            return failures.takeFirst();
        std::memcpy(buffer, m_script->disc.constData() + (sector - 150) * frameBytes, frameBytes);
        return 0;
    }

private:
    std::shared_ptr<DriveScript> m_script;
};

DiscTOC tocOf(const QList<qint64>& offsets, qint64 leadOut)
{
    return MusicBrainzDiscLookup::parseDiscTOC(DiscImages::audioTOC(offsets, leadOut));
}

class RipStrategyTest : public ::testing::Test {
protected:
    std::shared_ptr<DriveScript> drive(qint64 frames)
    {
        auto script = std::make_shared<DriveScript>();
        script->disc = DiscImages::pcm(frames, 7);
        return script;
    }

    DirectRipStrategy scripted(const std::shared_ptr<DriveScript>& script)
    {
        const auto sources = [script](const QString&) -> std::unique_ptr<SectorSource> {
            return std::make_unique<ScriptedSource>(script);
        };
        return DirectRipStrategy(sources, 1ms);
    }

    QUrl output() const { return QUrl::fromLocalFile(folder.filePath(u"out/rip"_s)); }

    QTemporaryDir folder;
};

} // namespace

TEST_F(RipStrategyTest, ImageRipHoldsTheDiscsSamples)
{
    const QByteArray one = DiscImages::pcm(230, 1);
    const QByteArray two = DiscImages::pcm(170, 2);
    writeFile(folder.filePath(u"a.bin"_s), one);
    writeFile(folder.filePath(u"b.bin"_s), DiscImages::bigEndian(two));
    const QString sheet = folder.filePath(u"disc.cue"_s);
    writeFile(sheet, "FILE a.bin BINARY\nTRACK 01 AUDIO\nINDEX 01 00:00:00\n"
                     "TRACK 02 AUDIO\nPREGAP 00:00:20\nFILE b.bin MOTOROLA\nINDEX 01 00:00:00\n");
    const DiscTOC toc = MusicBrainzDiscLookup::readDiscTOC(sheet);

    for (RipStrategyKind kind : {RipStrategyKind::direct, RipStrategyKind::paranoia}) {
        QList<CDRipper::Progress> reports;
        std::mutex mutex;
        const auto onProgress = [&](const CDRipper::Progress& progress) {
            std::lock_guard lock(mutex);
            reports.append(progress);
        };
        const std::unique_ptr<DiscRipStrategy> strategy = makeStrategy(kind);
        const QList<QUrl> files = BlockingWait::wait(CDRipper::rip(sheet, toc, output(), *strategy, onProgress));
        ASSERT_EQ(files.size(), 2);
        EXPECT_EQ(files[1].fileName(), u"track02.flac"_s);

        const std::optional<FlacFiles::Decoded> first = FlacFiles::decode(files[0].toLocalFile());
        const std::optional<FlacFiles::Decoded> second = FlacFiles::decode(files[1].toLocalFile());
        ASSERT_TRUE(first && second);
        // The PREGAP's silence ends track 1, as it does on a disc ripped by its TOC.
        EXPECT_EQ(first->pcm, one + QByteArray(20 * 2352, '\0'));
        EXPECT_EQ(second->pcm, two);
        EXPECT_EQ(first->totalSamples, 250 * 588);
        EXPECT_EQ(std::tuple(first->channels, first->bitsPerSample, first->sampleRate), std::tuple(2u, 16u, 44100u));

        ASSERT_EQ(reports.size(), 250 + 170);
        EXPECT_EQ(reports.constFirst(), (CDRipper::Progress{1, 2, 1.0 / 250}));
        EXPECT_EQ(reports.constLast(), (CDRipper::Progress{2, 2, 1.0}));
    }
}

TEST_F(RipStrategyTest, OneTrackAlone)
{
    const auto script = drive(300);
    DirectRipStrategy strategy = scripted(script);
    const QUrl file = BlockingWait::wait(strategy.ripTrack(u"sr0"_s, tocOf({150, 250}, 450), 1, output(), {}));
    EXPECT_EQ(file, QUrl::fromLocalFile(folder.filePath(u"out/rip/track02.flac"_s)));
    EXPECT_EQ(FlacFiles::decode(file.toLocalFile())->pcm, script->disc.mid(100 * 2352));
}

TEST_F(RipStrategyTest, ATransientReadErrorIsReadAgainOnAReopenedDevice)
{
    const auto script = drive(100);
    script->readFailures[180] = {EIO, EIO};
    DirectRipStrategy strategy = scripted(script);
    const QUrl file = BlockingWait::wait(strategy.ripTrack(u"sr0"_s, tocOf({150}, 250), 0, output(), {}));
    EXPECT_EQ(FlacFiles::decode(file.toLocalFile())->pcm, script->disc);
    // The probe, the rip's own open, and one reopen for each failed read.
    EXPECT_EQ(script->opens, 2 + 2);
}

TEST_F(RipStrategyTest, ParanoiaHasRetriedAlreadyWhenAReadFails)
{
    const auto script = drive(100);
    script->readFailures[160] = {EIO};
    const auto sources = [script](const QString&) -> std::unique_ptr<SectorSource> {
        return std::make_unique<ScriptedSource>(script);
    };
    ParanoiaRipStrategy strategy(sources);
    const RipError error = awaitFailure<RipError>(strategy.ripTrack(u"sr0"_s, tocOf({150}, 250), 0, output(), {}));
    EXPECT_EQ(error.kind(), RipError::Kind::readFailed);
    EXPECT_EQ(error.sector(), 160);
    EXPECT_EQ(script->opens, 2);
}

TEST_F(RipStrategyTest, FiveFailedReadsEndTheTrack)
{
    const auto script = drive(12400 - 150);
    script->readFailures[12345] = {EIO, EIO, EIO, EIO, EIO};
    DirectRipStrategy strategy = scripted(script);
    const RipError error = awaitFailure<RipError>(strategy.ripTrack(u"sr0"_s, tocOf({150}, 12400), 0, output(), {}));
    EXPECT_EQ(error.kind(), RipError::Kind::readFailed);
    EXPECT_EQ(error.sector(), 12345);
    EXPECT_EQ(error.message(), u"Sector read failed at sector 12345 (errno 5: %1)"_s.arg(QString::fromLocal8Bit(std::strerror(EIO))));
}

TEST_F(RipStrategyTest, ADeviceThatVanishesDuringRetriesCannotBeOpened)
{
    const auto script = drive(100);
    script->readFailures[200] = {EIO, EIO};
    script->failOpensFrom = 3; // after the probe and the rip's own open
    DirectRipStrategy strategy = scripted(script);
    const RipError error = awaitFailure<RipError>(strategy.ripTrack(u"sr0"_s, tocOf({150}, 250), 0, output(), {}));
    EXPECT_EQ(error.kind(), RipError::Kind::deviceOpenFailed);
    EXPECT_EQ(error.errorNumber(), ENOENT);
    EXPECT_TRUE(error.message().startsWith(u"Could not open raw device (errno 2: "_s)) << error.message().toStdString();
}

TEST_F(RipStrategyTest, NoTrackThereTouchesNoDevice)
{
    const auto script = drive(100);
    DirectRipStrategy strategy = scripted(script);
    EXPECT_EQ(awaitFailure<RipError>(strategy.ripTrack(u"sr0"_s, tocOf({150}, 250), 1, output(), {})).kind(),
              RipError::Kind::noAudioTracks);
    EXPECT_EQ(awaitFailure<RipError>(strategy.rip(u"sr0"_s, DiscTOC{}, output(), {})).kind(),
              RipError::Kind::noAudioTracks);
    EXPECT_EQ(script->opens, 0);

    script->failOpensFrom = 1;
    script->openError = EACCES;
    EXPECT_EQ(awaitFailure<RipError>(strategy.rip(u"sr0"_s, tocOf({150}, 250), output(), {})).errorNumber(), EACCES);
}

TEST(RipStrategyKind, NamesAndStrategies)
{
    EXPECT_EQ(displayName(RipStrategyKind::direct), u"Direct (raw sector reads)"_s);
    EXPECT_EQ(displayName(RipStrategyKind::paranoia), u"Paranoia (error-correcting)"_s);
    EXPECT_NE(dynamic_cast<ParanoiaRipStrategy*>(makeStrategy(RipStrategyKind::paranoia).get()), nullptr);
    EXPECT_NE(dynamic_cast<DirectRipStrategy*>(makeStrategy(RipStrategyKind::direct).get()), nullptr);
}
