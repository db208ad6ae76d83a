#include "disc/AccurateRipID.h"
#include "disc/DirectRipStrategy.h"
#include "disc/ParanoiaRipStrategy.h"
#include "library/BlockingWait.h"
#include "metadata/MusicBrainzDiscLookup.h"
#include "platform/CdioTOC.h"
#include "platform/ParanoiaSource.h"
#include "support/DiscImages.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>

using namespace Qt::StringLiterals;

// libcdio opens cue/bin and cdrdao .toc images as if they were drives, so the code that talks
// to drives runs here on images whose every sample the test knows.
namespace {

QString msf(qint64 frames)
{
    return u"%1:%2:%3"_s.arg(frames / 4500, 2, 10, '0'_L1)
        .arg(frames / 75 % 60, 2, 10, '0'_L1)
        .arg(frames % 75, 2, 10, '0'_L1);
}

class ImageDriveTest : public ::testing::Test {
protected:
    // Three tracks of unequal length in one bin, named by a cue sheet and by a cdrdao TOC file.
    ImageDriveTest()
    {
        audio = DiscImages::pcm(lengths[0] + lengths[1] + lengths[2], 5);
        writeFile(folder.filePath(u"disc.bin"_s), audio);
        QString cue = u"FILE \"disc.bin\" BINARY\n"_s;
        QString toc = u"CD_DA\n"_s;
        qint64 at = 0;
        for (int i = 0; i < 3; ++i) {
            cue += u"  TRACK %1 AUDIO\n    INDEX 01 %2\n"_s.arg(i + 1, 2, 10, '0'_L1).arg(msf(at));
            // libcdio looks for a .toc file's data beside the working directory, not the file.
            toc += u"TRACK AUDIO\nFILE \"%1\" %2 %3\n"_s.arg(folder.filePath(u"disc.bin"_s), msf(at), msf(lengths[i]));
            at += lengths[i];
        }
        writeFile(sheet(), cue.toUtf8());
        writeFile(tocFile(), toc.toUtf8());
    }

    QString sheet() const { return folder.filePath(u"disc.cue"_s); }
    QString tocFile() const { return folder.filePath(u"disc.toc"_s); }

    static std::unique_ptr<SectorSource> paranoia(const QString& image)
    {
        return std::make_unique<ParanoiaSource>(image);
    }

    QTemporaryDir folder;
    const std::array<qint64, 3> lengths{230, 151, 175};
    QByteArray audio;
};

} // namespace

TEST_F(ImageDriveTest, ParanoiaReadsEverySampleOfCueAndTocImages)
{
    const qint64 frames = qint64(audio.size()) / SectorSource::frameBytes;
    for (const QString& image : {sheet(), tocFile()}) {
        SCOPED_TRACE(image.toStdString());
        ParanoiaSource drive(image);
        ASSERT_EQ(drive.open(), 0);
        QByteArray read(frames * SectorSource::frameBytes, '\0');
        for (qint64 sector = 150; sector < 150 + frames; ++sector)
            ASSERT_EQ(drive.read(sector, read.data() + (sector - 150) * SectorSource::frameBytes), 0) << sector;
        EXPECT_EQ(read, audio);

        // A read away from the last one seeks first.
        std::array<char, SectorSource::frameBytes> frame{};
        ASSERT_EQ(drive.read(150 + 300, frame.data()), 0);
        EXPECT_EQ(QByteArray(frame.data(), frame.size()), audio.mid(300 * SectorSource::frameBytes, frame.size()));
        ASSERT_EQ(drive.read(150 + 7, frame.data()), 0);
        EXPECT_EQ(QByteArray(frame.data(), frame.size()), audio.mid(7 * SectorSource::frameBytes, frame.size()));
        drive.close();
        EXPECT_EQ(drive.read(150, frame.data()), EBADF) << "closed";
    }
}

TEST_F(ImageDriveTest, TheParanoiaStrategyOverAnImageRipsWhatOurOwnReaderRips)
{
    const DiscTOC toc = MusicBrainzDiscLookup::readDiscTOC(sheet());
    ParanoiaRipStrategy throughLibcdio(paranoia);
    const std::unique_ptr<DiscRipStrategy> ours = makeStrategy(RipStrategyKind::direct, 0);
    qint64 start = 0;
    for (qint64 index = 0; index < toc.trackCount; ++index) {
        const QUrl out = QUrl::fromLocalFile(folder.filePath(u"libcdio"_s));
        const DiscRipStrategy::RippedTrack ripped =
            BlockingWait::wait(throughLibcdio.ripTrackChecked(tocFile(), toc, index, out, {}));
        const DiscRipStrategy::RippedTrack expected = BlockingWait::wait(
            ours->ripTrackChecked(sheet(), toc, index, QUrl::fromLocalFile(folder.filePath(u"ours"_s)), {}));
        const std::optional<FlacFiles::Decoded> decoded = FlacFiles::decode(ripped.file.toLocalFile());
        ASSERT_TRUE(decoded);
        EXPECT_EQ(decoded->pcm, audio.mid(start * 2352, lengths[index] * 2352)) << "track " << index + 1;
        EXPECT_EQ(ripped.checksums, expected.checksums) << "track " << index + 1;
        start += lengths[index];
    }
}

TEST_F(ImageDriveTest, TheTOCThroughLibcdioIsTheOneOurSheetReaderMakes)
{
    const QByteArray ours = MusicBrainzDiscLookup::rawTOCData(sheet());
    const DiscTOC expected = MusicBrainzDiscLookup::parseDiscTOC(ours);
    EXPECT_EQ(expected.trackOffsets, (QList<qint64>{150, 380, 531}));
    EXPECT_EQ(expected.leadOutOffset, 706);
    for (const QString& image : {sheet(), tocFile()}) {
        SCOPED_TRACE(image.toStdString());
        const std::optional<QByteArray> bytes = CdioTOC::read(image);
        ASSERT_TRUE(bytes);
        EXPECT_EQ(MusicBrainzDiscLookup::parseDiscTOC(*bytes), expected);
        EXPECT_EQ(AccurateRipID::fromFullTOC(*bytes), AccurateRipID::fromFullTOC(ours));
    }
}

TEST_F(ImageDriveTest, AMixedModeImageThroughLibcdioKeepsItsDataTrackOutOfTheAudio)
{
    // libcdio reads the one bin named like the sheet.
    writeFile(folder.filePath(u"mixed.bin"_s), QByteArray(300 * 2352, '\x5a') + audio);
    const QString mixed = folder.filePath(u"mixed.cue"_s);
    writeFile(mixed,
              "FILE \"mixed.bin\" BINARY\n  TRACK 01 MODE1/2352\n    INDEX 01 00:00:00\n"
              "  TRACK 02 AUDIO\n    INDEX 01 00:04:00\n  TRACK 03 AUDIO\n    INDEX 01 00:07:05\n");
    const QByteArray ours = MusicBrainzDiscLookup::rawTOCData(mixed);
    const std::optional<QByteArray> bytes = CdioTOC::read(mixed);
    ASSERT_TRUE(bytes);
    const DiscTOC toc = MusicBrainzDiscLookup::parseDiscTOC(*bytes);
    EXPECT_EQ(toc.trackOffsets, (QList<qint64>{450, 680}));
    EXPECT_EQ(toc, MusicBrainzDiscLookup::parseDiscTOC(ours));
    EXPECT_EQ(AccurateRipID::fromFullTOC(*bytes), AccurateRipID::fromFullTOC(ours));
    EXPECT_EQ(AccurateRipID::fromFullTOC(*bytes).trackCount, 2);

    ParanoiaSource drive(mixed);
    ASSERT_EQ(drive.open(), 0);
    std::array<char, SectorSource::frameBytes> frame{};
    ASSERT_EQ(drive.read(680 + 10, frame.data()), 0);
    EXPECT_EQ(QByteArray(frame.data(), frame.size()), audio.mid((230 + 10) * 2352, 2352));
}

TEST(CdioTOC, AnEnhancedCDsDataTrackIsASecondSession)
{
    // Ten audio tracks and a data track of 52,066 frames behind them, as libcdio lists them.
    QList<CdioTOC::Track> tracks;
    for (int number = 1; number <= 10; ++number)
        tracks.append({number, false, 150 + (number - 1) * 20000});
    tracks.append({11, true, 220000});
    const QByteArray bytes = CdioTOC::fullTOC(tracks, 220000 + 52066);
    const DiscTOC toc = MusicBrainzDiscLookup::parseDiscTOC(bytes);
    EXPECT_EQ(toc.trackCount, 10);
    EXPECT_EQ(toc.leadOutOffset, 220000 - 11400) << "audio ends at the first session's lead-out";
    const AccurateRipID id = AccurateRipID::fromFullTOC(bytes);
    EXPECT_EQ(id.trackCount, 10);
    // id1: the audio tracks' starts and the disc's last lead-out, all without the 150.
    quint32 id1 = 0;
    quint32 id2 = 0;
    for (int number = 1; number <= 10; ++number) {
        id1 += quint32((number - 1) * 20000);
        id2 += std::max<quint32>(quint32((number - 1) * 20000), 1) * quint32(number);
    }
    id1 += 220000 + 52066 - 150;
    id2 += quint32(220000 + 52066 - 150) * 11;
    EXPECT_EQ(id.id1, id1);
    EXPECT_EQ(id.id2, id2);

    // Data first is no second session.
    const QByteArray mixed = CdioTOC::fullTOC({{1, true, 150}, {2, false, 10000}}, 30000);
    EXPECT_EQ(MusicBrainzDiscLookup::parseDiscTOC(mixed).leadOutOffset, 30000);
    EXPECT_EQ(mixed.at(3), 1) << "one session";
}

TEST(CdioTOC, WhatLibcdioCannotOpenIsNoDrive)
{
    QTemporaryDir folder;
    EXPECT_FALSE(CdioTOC::read(folder.filePath(u"none.cue"_s)));
    ParanoiaSource drive(folder.filePath(u"none.cue"_s));
    EXPECT_EQ(drive.open(), ENODEV);
    std::array<char, SectorSource::frameBytes> frame{};
    EXPECT_EQ(drive.read(150, frame.data()), EBADF);
}
