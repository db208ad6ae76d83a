#include "disc/CueSheet.h"
#include "disc/DiscImageSource.h"
#include "disc/DiscTOC.h"
#include "support/DiscImages.h"
#include "support/TestEnvironment.h"

#include <QTemporaryDir>

#include <cerrno>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MusicBrainzDiscLookup::readDiscTOC;

namespace {

class CueSheetTest : public ::testing::Test {
protected:
    QString write(const QString& name, const QByteArray& bytes)
    {
        const QString path = folder.filePath(name);
        writeFile(path, bytes);
        return path;
    }

    QString sheet(const QString& text) { return write(u"disc.cue"_s, text.toUtf8()); }

    // The sheet's error sentence; none if it loads.
    QString loadError(const QString& text)
    {
        try {
            CueSheet::load(sheet(text));
        } catch (const CueSheet::LoadError& error) {
            return error.message();
        }
        return {};
    }

    // Frames as the image source gives them.
    QByteArray frames(const QString& sheetPath, qint64 first, qint64 count)
    {
        DiscImageSource source(CueSheet::load(sheetPath));
        EXPECT_EQ(source.open(), 0);
        QByteArray bytes(count * 2352, '\0');
        for (qint64 i = 0; i < count; ++i)
            EXPECT_EQ(source.read(first + i, bytes.data() + i * 2352), 0) << "frame " << first + i;
        return bytes;
    }

    QTemporaryDir folder;
};

} // namespace

TEST_F(CueSheetTest, OneBinaryFileForTheWholeDisc)
{
    const QByteArray pcm = DiscImages::pcm(900, 1);
    write(u"disc.bin"_s, pcm);
    const QString path = sheet(uR"(REM GENRE Test
TITLE "A disc"
FILE "disc.bin" BINARY
  TRACK 01 AUDIO
    INDEX 01 00:00:00
  TRACK 02 AUDIO
    INDEX 00 00:02:00
    INDEX 01 00:03:00
  TRACK 03 AUDIO
    FLAGS PRE DCP
    INDEX 01 00:08:10
)"_s);
    const DiscTOC toc = readDiscTOC(path);
    EXPECT_EQ(toc.trackOffsets, (QList<qint64>{150, 150 + 225, 150 + 610}));
    EXPECT_EQ(toc.leadOutOffset, 150 + 900);
    EXPECT_EQ(toc.discID, MusicBrainzDiscLookup::computeDiscID(toc.trackOffsets, 1050));
    EXPECT_EQ(frames(path, 150, 900), pcm);

    const QList<FullTOC::Descriptor> descriptors = FullTOC::descriptors(CueSheet::load(path).fullTOC());
    ASSERT_EQ(descriptors.size(), 6);
    EXPECT_EQ(descriptors[0].point, 0xA0);
    EXPECT_EQ(descriptors[0].minute, 1);
    EXPECT_EQ(descriptors[1].minute, 3);
    EXPECT_EQ(descriptors[5].control, 0x03);
}

TEST_F(CueSheetTest, OneFilePerTrackWithPregapsInAndOutOfTheFiles)
{
    // Track 2's file begins with its own two-second INDEX 00; track 3 has a PREGAP that no file
    // holds, and track 2's INDEX 00 of the "noncompliant" kind lies at the end of track 1's file.
    const QByteArray one = DiscImages::pcm(300, 1);
    const QByteArray two = DiscImages::pcm(400, 2);
    const QByteArray three = DiscImages::pcm(200, 3);
    write(u"01.wav"_s, DiscImages::wave(one));
    write(u"02.bin"_s, DiscImages::bigEndian(two));
    write(u"03 three.wav"_s, DiscImages::wave(three));
    const QString path = sheet(uR"(FILE "01.wav" WAVE
  TRACK 01 AUDIO
    INDEX 01 00:00:00
  TRACK 02 AUDIO
    INDEX 00 00:03:00
FILE "02.bin" MOTOROLA
    INDEX 01 00:01:00
  TRACK 03 AUDIO
    PREGAP 00:00:50
FILE "03 three.wav" WAVE
    INDEX 01 00:00:00
)"_s);
    const DiscTOC toc = readDiscTOC(path);
    EXPECT_EQ(toc.trackOffsets, (QList<qint64>{150, 150 + 300 + 75, 150 + 300 + 400 + 50}));
    EXPECT_EQ(toc.leadOutOffset, 150 + 300 + 400 + 50 + 200);
    EXPECT_EQ(frames(path, 150, 700), one + two) << "big-endian samples arrive in host order";
    EXPECT_EQ(frames(path, 850, 50), QByteArray(50 * 2352, '\0')) << "a PREGAP is silence";
    EXPECT_EQ(frames(path, 900, 200), three);
}

TEST_F(CueSheetTest, SessionsAndDataTracks)
{
    write(u"audio.bin"_s, DiscImages::pcm(600, 1));
    write(u"data.bin"_s, QByteArray(100 * 2352, 'D'));
    const QString path = sheet(uR"(REM SESSION 01
FILE "audio.bin" BINARY
  TRACK 01 AUDIO
    INDEX 01 00:00:00
  TRACK 02 AUDIO
    INDEX 01 00:04:00
REM SESSION 02
FILE "data.bin" BINARY
  TRACK 03 MODE2/2352
    INDEX 01 00:00:00
)"_s);
    const CueSheet cue = CueSheet::load(path);
    ASSERT_EQ(cue.sessions().size(), 2);
    EXPECT_EQ(cue.sessions()[0].leadOut, 750);
    EXPECT_EQ(cue.sessions()[1].tracks.constFirst().start, 750 + 11400);
    EXPECT_EQ(cue.sessions()[1].leadOut, 750 + 11400 + 100);

    const QByteArray raw = cue.fullTOC();
    EXPECT_EQ(raw.at(2), 1);
    EXPECT_EQ(raw.at(3), 2);
    int dataTracks = 0;
    int leadOuts = 0;
    for (const FullTOC::Descriptor& d : FullTOC::descriptors(raw)) {
        dataTracks += d.isTrack() && d.isData();
        leadOuts += d.point == FullTOC::leadOutPoint;
    }
    EXPECT_EQ(dataTracks, 1);
    EXPECT_EQ(leadOuts, 2);

    // An Enhanced CD: the audio ends at the first session's lead-out.
    const DiscTOC toc = MusicBrainzDiscLookup::parseDiscTOC(raw);
    EXPECT_EQ(toc.trackOffsets, (QList<qint64>{150, 450}));
    EXPECT_EQ(toc.leadOutOffset, 750);
}

TEST_F(CueSheetTest, TwoAudioSessionsKeepTheGapAsSilence)
{
    const QByteArray first = DiscImages::pcm(100, 1);
    const QByteArray second = DiscImages::pcm(100, 2);
    write(u"a.bin"_s, first + second);
    const QString path = sheet(uR"(FILE "a.bin" BINARY
  TRACK 01 AUDIO
    INDEX 01 00:00:00
REM SESSION 02
  TRACK 02 AUDIO
    INDEX 01 00:01:25
)"_s);
    const DiscTOC toc = readDiscTOC(path);
    EXPECT_EQ(toc.trackOffsets, (QList<qint64>{150, 250 + 11400}));
    EXPECT_EQ(toc.leadOutOffset, 250 + 11400 + 100);
    EXPECT_EQ(frames(path, 150, 100), first);
    EXPECT_EQ(frames(path, 250, 11400), QByteArray(11400 * 2352, '\0'));
    EXPECT_EQ(frames(path, 11650, 100), second);
}

TEST_F(CueSheetTest, ErrorsNameTheLine)
{
    write(u"disc.bin"_s, DiscImages::pcm(200, 1));
    EXPECT_EQ(loadError(u"FILE \"gone.bin\" BINARY\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"_s),
              u"disc.cue, line 1: the file \"gone.bin\" is missing or can't be read."_s);
    EXPECT_EQ(loadError(u"FILE \"disc.bin\" BINARY\n  TRACK 01 AUDIO\n    INDEX 01 00:03:00\n"_s),
              u"disc.cue, line 3: INDEX 01 00:03:00 lies past the end of \"disc.bin\", which is 00:02:50 long."_s);
    EXPECT_EQ(loadError(u"FILE \"disc.bin\" BINARY\n  TRACK 01 AUDIO\n    INDEX 01 00:01:00\n"
                        "  TRACK 02 AUDIO\n    INDEX 01 00:00:50\n"_s),
              u"disc.cue, line 5: the time 00:00:50 comes before the INDEX before it in this file (00:01:00)."_s);
    EXPECT_EQ(loadError(u"FILE \"disc.bin\" BINARY\n  TRACK 01 AUDIO\n  TRACK 02 AUDIO\n    INDEX 01 00:00:00\n"_s),
              u"disc.cue, line 2: track 1 has no INDEX 01."_s);
    EXPECT_EQ(loadError(u"FILE \"disc.bin\" MP3\n"_s),
              u"disc.cue, line 1: the file type \"MP3\" is not supported; BINARY, MOTOROLA and WAVE are."_s);
    EXPECT_EQ(loadError(u"FILE \"disc.bin\" WAVE\n"_s),
              u"disc.cue, line 1: \"disc.bin\" is not a WAVE file of 44.1 kHz 16-bit stereo PCM."_s);
    EXPECT_EQ(loadError(u"FILE \"disc.bin\" BINARY\n  TRACK 01 MODE1/2048\n"_s),
              u"disc.cue, line 2: the track type \"MODE1/2048\" is not supported; AUDIO, MODE1/2352 and MODE2/2352 are."_s);

    QString hundred = u"FILE \"disc.bin\" BINARY\n"_s;
    for (int track = 1; track <= 100; ++track)
        hundred += u"TRACK %1 AUDIO\nINDEX 01 00:%2:%3\n"_s.arg(track).arg(track / 75, 2, 10, '0'_L1).arg(track % 75, 2, 10, '0'_L1);
    EXPECT_EQ(loadError(hundred), u"disc.cue, line 200: a disc holds at most 99 tracks."_s);
}

TEST_F(CueSheetTest, WhatIsNoSheetIsSaidSo)
{
    EXPECT_EQ(loadError(u"Dear diary,\ntoday I ripped a disc.\n"_s),
              u"disc.cue is not a CUE sheet: line 1 begins with \"Dear\", which is no CUE command."_s);
    EXPECT_EQ(loadError(u"REM just a remark\n"_s), u"disc.cue is not a CUE sheet: it names no track."_s);
    // A sheet in the Windows code page is still a sheet.
    write(u"disc.bin"_s, DiscImages::pcm(10, 1));
    const QString latin1 = write(u"latin1.cue"_s, "TITLE \"Caf\xE9\"\nFILE disc.bin BINARY\nTRACK 01 AUDIO\nINDEX 01 00:00:00\n");
    EXPECT_EQ(CueSheet::load(latin1).endFrame(), 160);

    const QString binary = write(u"image.cue"_s, DiscImages::pcm(2, 1));
    try {
        CueSheet::load(binary);
        ADD_FAILURE() << "a binary file loaded as a sheet";
    } catch (const CueSheet::LoadError& error) {
        EXPECT_EQ(error.message(), u"image.cue is not a CUE sheet: it is not text."_s);
    }
}

TEST_F(CueSheetTest, ReadsOutsideTheImageFail)
{
    write(u"disc.bin"_s, DiscImages::pcm(10, 1));
    DiscImageSource source(CueSheet::load(sheet(u"FILE disc.bin BINARY\nTRACK 01 AUDIO\nINDEX 01 00:00:00\n"_s)));
    char frame[2352];
    EXPECT_NE(source.read(150, frame), 0) << "a closed source reads nothing";
    ASSERT_EQ(source.open(), 0);
    EXPECT_EQ(source.read(159, frame), 0);
    EXPECT_EQ(source.read(160, frame), EIO);
    EXPECT_EQ(source.read(149, frame), EIO);
}
