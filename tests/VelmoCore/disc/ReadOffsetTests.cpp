#include "disc/CueSheet.h"
#include "disc/DirectRipStrategy.h"
#include "disc/DiscImageSource.h"
#include "disc/DiscTOC.h"
#include "disc/OffsetSectorSource.h"
#include "disc/ReadOffset.h"
#include "disc/TrackChecksums.h"
#include "library/BlockingWait.h"
#include "library/Settings.h"
#include "support/DiscImages.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtEndian>

#include <gtest/gtest.h>

#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 trackFrames = 600; // eight seconds: long enough for a frame 450

// A disc image of three tracks of `trackFrames` frames each.
class ImageTest : public ::testing::Test {
protected:
    QString writeImage(const QByteArray& pcm)
    {
        writeFile(folder.filePath(u"disc.bin"_s), pcm);
        const QString sheet = folder.filePath(u"disc.cue"_s);
        writeFile(sheet,
                  "FILE \"disc.bin\" BINARY\n"
                  "  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
                  "  TRACK 02 AUDIO\n    INDEX 01 00:08:00\n"
                  "  TRACK 03 AUDIO\n    INDEX 01 00:16:00\n");
        return sheet;
    }

    QTemporaryDir folder;
};

// The stereo sample a numbered disc holds at a position: its position, or silence off the disc.
quint32 expectedAt(qint64 position, qint64 discSamples)
{
    return position < 0 || position >= discSamples ? 0 : quint32(position);
}

quint32 wordAt(const QByteArray& pcm, qint64 index)
{
    return qFromLittleEndian<quint32>(pcm.constData() + index * 4);
}

} // namespace

TEST_F(ImageTest, AnOffsetShiftsEverySampleAndReadsSilenceOffTheDisc)
{
    const qint64 frames = 3 * trackFrames;
    const QString sheet = writeImage(DiscImages::numberedPCM(frames));
    for (const qint64 offset : {qint64(6), qint64(-6), qint64(588), qint64(-1164), qint64(2000)}) {
        OffsetSectorSource source(std::make_unique<DiscImageSource>(CueSheet::load(sheet)), offset, 150 + frames);
        ASSERT_EQ(source.open(), 0);
        QByteArray frame(SectorSource::frameBytes, '\0');
        for (const qint64 sector :
             {qint64(150), qint64(151), qint64(700), qint64(150 + frames - 1), qint64(150 + frames - 4)}) {
            ASSERT_EQ(source.read(sector, frame.data()), 0);
            for (qint64 i = 0; i < 588; i += 1) {
                const qint64 position = (sector - 150) * 588 + i + offset;
                ASSERT_EQ(wordAt(frame, i), expectedAt(position, frames * 588))
                    << "offset " << offset << ", sector " << sector << ", sample " << i;
            }
        }
        source.close();
    }
}

TEST_F(ImageTest, ARipWithAnOffsetHoldsTheShiftedSamples)
{
    const qint64 frames = 3 * trackFrames;
    const QString sheet = writeImage(DiscImages::numberedPCM(frames));
    const DiscTOC toc = MusicBrainzDiscLookup::readDiscTOC(sheet);
    const QString output = folder.filePath(u"out"_s);
    for (const qint64 offset : {qint64(-700), qint64(30)}) {
        DirectRipStrategy strategy(offset);
        for (const qint64 index : {qint64(0), qint64(2)}) {
            const DiscRipStrategy::RippedTrack ripped =
                BlockingWait::wait(strategy.ripTrackChecked(sheet, toc, index, QUrl::fromLocalFile(output), {}));
            EXPECT_EQ(ripped.readOffset, offset);
            const std::optional<FlacFiles::Decoded> decoded = FlacFiles::decode(ripped.file.toLocalFile());
            ASSERT_TRUE(decoded);
            ASSERT_EQ(decoded->totalSamples, trackFrames * 588);
            const qint64 start = index * trackFrames * 588;
            for (qint64 i = 0; i < decoded->totalSamples; i += 97) {
                ASSERT_EQ(wordAt(decoded->pcm, i), expectedAt(start + i + offset, frames * 588))
                    << "offset " << offset << ", track " << index + 1 << ", sample " << i;
            }
            TrackChecksummer checksummer(decoded->totalSamples, index == 0, index == 2);
            checksummer.add(decoded->pcm.constData(), decoded->totalSamples);
            EXPECT_EQ(ripped.checksums, checksummer.result()) << "summed while reading, as the file holds them";
        }
    }
}

TEST_F(ImageTest, ADrivesOffsetIsKeptByItsModelAndAnImageHasNone)
{
    TestEnvironment::clearSettings();
    EXPECT_EQ(Settings::readOffset(u"PLEXTOR DVDR PX-716A"_s), 0);
    Settings::setReadOffset(u"PLEXTOR DVDR PX-716A"_s, 30);
    Settings::setReadOffset(u"ASUS/BW 16D1HT"_s, -6);
    EXPECT_EQ(Settings::readOffset(u"PLEXTOR DVDR PX-716A"_s), 30);
    EXPECT_EQ(Settings::readOffset(u"ASUS/BW 16D1HT"_s), -6);
    EXPECT_EQ(ReadOffset::forSource(writeImage(DiscImages::pcm(10, 1))), 0);
    EXPECT_EQ(ReadOffset::driveOf(folder.filePath(u"disc.cue"_s)), QString());
    TestEnvironment::clearSettings();
}

TEST_F(ImageTest, TheOffsetIsFoundFromTheFrame450ChecksumsOfThePressings)
{
    const qint64 frames = 3 * trackFrames;
    const QByteArray pcm = DiscImages::pcm(frames, 7);
    const QString sheet = writeImage(pcm);
    const DiscTOC toc = MusicBrainzDiscLookup::readDiscTOC(sheet);
    // The database's pressing was read by drives that corrected their offset: frame 450 of
    // each of its tracks begins `trueOffset` samples further on than this image's.
    constexpr qint64 trueOffset = 667;
    AccurateRip::Pressing pressing{.trackCount = 3};
    for (qint64 index = 0; index < 3; ++index) {
        std::vector<quint32> words(588);
        for (qint64 i = 0; i < 588; ++i)
            words[size_t(i)] = wordAt(pcm, (index * trackFrames + 450) * 588 + trueOffset + i);
        pressing.tracks.append({.confidence = 4, .crc = 1, .crc450 = TrackChecksummer::frameChecksum(words.data())});
    }
    // A pressing that knows none of the tracks' frames 450 casts no vote.
    const AccurateRip::Pressing other{.trackCount = 3, .tracks = {{}, {}, {}}};

    const QList<ReadOffset::Candidate> candidates =
        ReadOffset::find(ReadOffset::rawFrames(sheet), toc, {pressing, other});
    ASSERT_FALSE(candidates.isEmpty());
    EXPECT_EQ(candidates.constFirst().offset, trueOffset);
    EXPECT_EQ(candidates.constFirst().tracks, 3);
    EXPECT_EQ(candidates.size(), 1) << "no other offset gives any track's checksum";
}
