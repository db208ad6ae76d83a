#include "disc/RipLog.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

RipLog::Record twoTracks()
{
    RipLog::Record record{.programVersion = u"2.1"_s,
                          .drive = u"PLEXTOR PX-716A"_s,
                          .readOffset = 30,
                          .strategy = u"Paranoia (error-correcting)"_s,
                          .discID = u"disc-id"_s,
                          .accurateRipID = u"002-00000bb8-00001f41-08001a02"_s,
                          .artist = u"Band"_s,
                          .album = u"Plates \"Live\""_s};
    record.tracks.append(
        {.number = 1,
         .title = u"Intro"_s,
         .performer = u"Band"_s,
         .file = u"/music/Band/Plates/01 Intro.flac"_s,
         .pregapFrames = 33,
         .checksums = TrackChecksums{.v1 = 0xabc, .v2 = 0xdef, .crc32 = 0x1234abcd, .crc32WithoutSilence = 0x5678},
         .verdict =
             AccurateRip::Verdict{.outcome = AccurateRip::Verdict::Outcome::accurate, .confidence = 4, .version = 1},
         .recoveredReads = 2});
    record.tracks.append({.number = 2,
                          .title = u"Outro"_s,
                          .performer = u"Guest"_s,
                          .failure = u"The drive could not read sector 12345."_s});
    return record;
}

} // namespace

TEST(RipLogTest, TheLogTellsHowEachTrackWasReadAndWhatFailed)
{
    const QString log = RipLog::logText(twoTracks());
    EXPECT_TRUE(log.startsWith(u"Sonorelle 2.1 rip log\n"_s));
    EXPECT_TRUE(log.contains(u"Drive:           PLEXTOR PX-716A\nRead offset:     30 samples\n"_s));
    EXPECT_TRUE(log.contains(u"AccurateRip ID:  002-00000bb8-00001f41-08001a02\n"_s));
    EXPECT_TRUE(log.contains(u"  CRC32:           1234ABCD\n  CRC32 w/o nulls: 00005678\n"_s)) << log.toStdString();
    EXPECT_TRUE(log.contains(u"  AccurateRip:     v1 00000ABC, v2 00000DEF\n"_s));
    EXPECT_TRUE(log.contains(u"  Read errors:     2 frames read only when tried again\n"_s));
    EXPECT_TRUE(log.contains(u"Track 02: Outro\n  Failed:          The drive could not read sector 12345.\n"_s));
    EXPECT_TRUE(log.endsWith(u"\n1 of 1 track verified by AccurateRip.\n"_s)) << "only the checked tracks count";
}

TEST(RipLogTest, TheCueSheetListsTheFilesThatArrivedWithTheDiscsLeadingSilence)
{
    const QString cue = RipLog::cueSheet(twoTracks(), u"/music/Band/Plates"_s);
    EXPECT_EQ(cue,
              u"REM COMMENT \"Sonorelle 2.1\"\n"
              "REM MUSICBRAINZ_DISCID disc-id\n"
              "PERFORMER \"Band\"\n"
              "TITLE \"Plates 'Live'\"\n"
              "FILE \"01 Intro.flac\" WAVE\n"
              "  TRACK 01 AUDIO\n"
              "    TITLE \"Intro\"\n"
              "    PERFORMER \"Band\"\n"
              "    PREGAP 00:00:33\n"
              "    INDEX 01 00:00:00\n"_s);
}
