#include "disc/CDTOCDiagnostics.h"
#include "disc/DiscTOC.h"
#include "metadata/MusicBrainzDiscLookup.h"
#include "support/DiscImages.h"
#include "support/TestData.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using DiscImages::Descriptor;
using MusicBrainzDiscLookup::computeDiscID;
using MusicBrainzDiscLookup::parseDiscTOC;

namespace {

void expectRejected(const QByteArray& toc)
{
    try {
        parseDiscTOC(toc);
        ADD_FAILURE() << "the parser took a TOC it should reject";
    } catch (const MusicBrainzDiscLookup::LookupError& error) {
        EXPECT_EQ(error.kind(), MusicBrainzDiscLookup::LookupErrorKind::tocReadFailed);
    }
}

QList<Descriptor> sessionHeader(int session, int control, int firstTrack, int lastTrack, qint64 leadOut)
{
    return {{session, control, 0xA0, firstTrack * 4500}, {session, control, 0xA1, lastTrack * 4500},
            {session, control, 0xA2, leadOut}};
}

} // namespace

// Each ID is one the MusicBrainz database holds for that table of contents.
TEST(DiscID, MatchesThePublishedCalculation)
{
    // The worked example of MusicBrainz's own disc ID library (libdiscid's test of a 6-track disc).
    EXPECT_EQ(computeDiscID({150, 15363, 32314, 46592, 63414, 80489}, 95462), u"49HHV7Eb8UKF3aQiNmu1GR8vKTY-"_s);
    // The example of the MusicBrainz web service documentation for /ws/2/discid.
    EXPECT_EQ(computeDiscID({150, 22767, 41887, 58317, 72102, 91375, 104652, 115380, 132165, 143932, 159870, 174597},
                            267257),
              u"I5l9cCSFccLKFEKS.7wqSZAorPU-"_s);
    // pornophonique, "8-bit lagerfeuer": the TOC and ID of the lookup URL in whipper's rip log.
    EXPECT_EQ(computeDiscID({150, 25064, 43611, 60890, 83090, 100000, 115057, 135558}, 149323),
              u"C2svSeTdtJVtN7VQR__XwmEScU8-"_s);
    // Natural Snow Buildings, "Norns": cyanrip's log gives the tracks' LSNs and the ID.
    EXPECT_EQ(computeDiscID({150, 136920 + 150}, 233755 + 150), u"7rGk5fXmuE8VcWYpbwoobOZIcIE-"_s);
}

TEST(ParseDiscTOC, PlainAudioDisc)
{
    const QList<qint64> offsets{150, 25064, 43611, 60890, 83090, 100000, 115057, 135558};
    const DiscTOC toc = parseDiscTOC(DiscImages::audioTOC(offsets, 149323));
    EXPECT_EQ(toc.trackCount, 8);
    EXPECT_EQ(toc.trackOffsets, offsets);
    EXPECT_EQ(toc.leadOutOffset, 149323);
    EXPECT_EQ(toc.discID, u"C2svSeTdtJVtN7VQR__XwmEScU8-"_s);
}

TEST(ParseDiscTOC, EnhancedCDEndsAtTheFirstSessionsLeadOut)
{
    QList<Descriptor> descriptors = sessionHeader(1, 0, 1, 12, 200000);
    QList<qint64> offsets;
    for (int track = 1; track <= 12; ++track) {
        offsets.append(150 + (track - 1) * 15000);
        descriptors.append({1, 0, track, offsets.constLast()});
    }
    descriptors += sessionHeader(2, 4, 13, 13, 250000);
    descriptors.append({2, 4, 13, 211400});
    const DiscTOC toc = parseDiscTOC(DiscImages::fullTOC(descriptors, 1, 2));
    EXPECT_EQ(toc.trackCount, 12);
    EXPECT_EQ(toc.trackOffsets, offsets);
    EXPECT_EQ(toc.leadOutOffset, 200000);
    EXPECT_EQ(toc.discID, computeDiscID(offsets, 200000));
}

TEST(ParseDiscTOC, DataTrackFirstLeavesNoGapInTheNumbering)
{
    QList<Descriptor> descriptors = sessionHeader(1, 4, 1, 11, 180000);
    descriptors.append({1, 4, 1, 150});
    QList<qint64> offsets;
    for (int point = 2; point <= 11; ++point) {
        offsets.append(20000 + (point - 2) * 15000);
        descriptors.append({1, 0, point, offsets.constLast()});
    }
    const DiscTOC toc = parseDiscTOC(DiscImages::fullTOC(descriptors));
    EXPECT_EQ(toc.trackCount, 10);
    EXPECT_EQ(toc.trackOffsets, offsets);
    EXPECT_EQ(toc.trackStart(0), 20000) << "the rip's track 1 is point 2";
    EXPECT_EQ(toc.discID, computeDiscID(offsets, 180000));
}

TEST(ParseDiscTOC, TwoAudioSessionsEndAtTheLaterLeadOut)
{
    QList<Descriptor> descriptors = sessionHeader(1, 0, 1, 2, 30000);
    descriptors += {{1, 0, 1, 150}, {1, 0, 2, 15000}};
    descriptors += sessionHeader(2, 0, 3, 3, 60000);
    descriptors.append({2, 0, 3, 41400});
    const DiscTOC toc = parseDiscTOC(DiscImages::fullTOC(descriptors, 1, 2));
    EXPECT_EQ(toc.trackOffsets, (QList<qint64>{150, 15000, 41400}));
    EXPECT_EQ(toc.leadOutOffset, 60000);
    EXPECT_EQ(toc.trackEnd(1), 41400) << "the last track of session 1 runs up to session 2, gap included";
}

TEST(ParseDiscTOC, LeadOutChoice)
{
    // Descriptors out of frame order, and a second 0xA2 for session 1 that replaces the first.
    const QByteArray unordered = DiscImages::fullTOC(
        {{1, 0, 3, 30000}, {1, 0, 0xA2, 40000}, {1, 0, 1, 150}, {1, 0, 2, 15000}, {1, 0, 0xA2, 45000}});
    const DiscTOC toc = parseDiscTOC(unordered);
    EXPECT_EQ(toc.trackOffsets, (QList<qint64>{150, 15000, 30000}));
    EXPECT_EQ(toc.leadOutOffset, 45000);

    // The last audio track's session 2 has no lead-out: the smallest of the others counts.
    const QByteArray missing = DiscImages::fullTOC({{1, 0, 1, 150},
                                                    {1, 0, 0xA2, 20000},
                                                    {2, 0, 2, 31400},
                                                    {3, 0, 0xA2, 90000},
                                                    {3, 4, 3, 80000}},
                                                   1, 3);
    EXPECT_EQ(parseDiscTOC(missing).leadOutOffset, 20000);

    expectRejected(DiscImages::fullTOC({{1, 0, 0xA0, 4500}, {1, 0, 1, 150}, {1, 0, 2, 15000}}));
}

TEST(ParseDiscTOC, RejectsWhatHoldsNoAudio)
{
    expectRejected(QByteArray("\x00\x02\x01", 3));
    expectRejected(QByteArray("\x00\x01\x01\x01", 4));
    // All tracks data.
    expectRejected(DiscImages::fullTOC({{1, 4, 1, 150}, {1, 4, 0xA2, 20000}}));
    // `length` claims a descriptor more than the bytes hold.
    QByteArray truncated = DiscImages::audioTOC({150, 15000}, 30000);
    truncated.chop(5);
    expectRejected(truncated);
    // The first session's audio tracks of libcueify's sample carry control 4, so it has none.
    expectRejected(testData(u"discid/libcueify-mock-full-toc.bin"_s));
}

TEST(ParseDiscTOC, LengthCountsWholeDescriptorsOnly)
{
    // Trailing bytes that make no whole descriptor are ignored.
    QByteArray toc = DiscImages::audioTOC({150}, 20000);
    toc.append("\x01\x10\x00", 3);
    toc[1] = char(toc[1] + 3);
    EXPECT_EQ(parseDiscTOC(toc).trackCount, 1);

    const QByteArray one = DiscImages::fullTOC({{1, 0, 1, 150}}, 1, 1, 13);
    const QString readOne = CDTOCDiagnostics::analyze(one);
    EXPECT_TRUE(readOne.contains(u"    0     1  0x00 audio  1   track"_s)) << readOne.toStdString();
    const QString readNone = CDTOCDiagnostics::analyze(DiscImages::fullTOC({{1, 0, 1, 150}}, 1, 1, 12));
    EXPECT_FALSE(readNone.contains(u"track   "_s)) << readNone.toStdString();
    EXPECT_TRUE(readNone.contains(u"(parser rejected this TOC)"_s));
}

TEST(ParseDiscTOC, NinetyNineTracks)
{
    QList<qint64> offsets;
    for (int i = 0; i < 99; ++i)
        offsets.append(150 + i * 3000);
    const DiscTOC toc = parseDiscTOC(DiscImages::audioTOC(offsets, 150 + 99 * 3000));
    EXPECT_EQ(toc.trackCount, 99);
    EXPECT_EQ(toc.discID.size(), 28);
    EXPECT_NE(toc.discID, computeDiscID(offsets.first(98), 150 + 99 * 3000));
}

TEST(CDTOCDiagnostics, ReportOfAnAudioCD)
{
    const QString discID = computeDiscID({150, 15000}, 30000);
    EXPECT_EQ(CDTOCDiagnostics::analyze(DiscImages::audioTOC({150, 15000}, 30000)),
        u"Raw TOC: 59 bytes, header length=57, sessions 1–1\n"
        u"\n"
        u"  idx  sess  ctrl       point            MSF        LBA      notes\n"
        u"  ---  ----  ---------  ---------------  ---------  -------  -----------------\n"
        u"    0     1  0x00 audio  0xA0 first-trk   01:00:00     4500  \n"
        u"    1     1  0x00 audio  0xA1 last-trk    02:00:00     9000  \n"
        u"    2     1  0x00 audio  0xA2 LEAD-OUT    06:40:00    30000  lead-out of session 1\n"
        u"    3     1  0x00 audio  1   track        00:02:00      150  \n"
        u"    4     1  0x00 audio  2   track        03:20:00    15000  \n"
        u"\n"
        u"Parser output (what will be ripped):\n"
        u"  trackCount   = 2\n"
        u"  trackOffsets = [150, 15000]\n"
        u"  leadOut      = 30000\n"
        u"  discID       = "_s + discID + u"\n"
        u"\n"
        u"Diagnosis:\n"
        u"  • Single session, no data tracks — standard audio CD.\n"_s);
}

TEST(CDTOCDiagnostics, ReportOfAnEnhancedCD)
{
    QList<Descriptor> descriptors = sessionHeader(1, 0, 1, 2, 30000);
    descriptors += {{1, 0, 1, 150}, {1, 0, 2, 15000}};
    descriptors += sessionHeader(2, 4, 3, 3, 44400);
    descriptors.append({2, 4, 3, 41400});
    const QString discID = computeDiscID({150, 15000}, 30000);
    EXPECT_EQ(CDTOCDiagnostics::analyze(DiscImages::fullTOC(descriptors, 1, 2)),
        u"Raw TOC: 103 bytes, header length=101, sessions 1–2\n"
        u"\n"
        u"  idx  sess  ctrl       point            MSF        LBA      notes\n"
        u"  ---  ----  ---------  ---------------  ---------  -------  -----------------\n"
        u"    0     1  0x00 audio  0xA0 first-trk   01:00:00     4500  \n"
        u"    1     1  0x00 audio  0xA1 last-trk    02:00:00     9000  \n"
        u"    2     1  0x00 audio  0xA2 LEAD-OUT    06:40:00    30000  lead-out of session 1\n"
        u"    3     1  0x00 audio  1   track        00:02:00      150  \n"
        u"    4     1  0x00 audio  2   track        03:20:00    15000  \n"
        u"    5     2  0x04 DATA   0xA0 first-trk   03:00:00    13500  \n"
        u"    6     2  0x04 DATA   0xA1 last-trk    03:00:00    13500  \n"
        u"    7     2  0x04 DATA   0xA2 LEAD-OUT    09:52:00    44400  lead-out of session 2\n"
        u"    8     2  0x04 DATA   3   track        09:12:00    41400  ⚠️ DATA track read as audio?\n"
        u"\n"
        u"Parser output (what will be ripped):\n"
        u"  trackCount   = 2\n"
        u"  trackOffsets = [150, 15000]\n"
        u"  leadOut      = 30000\n"
        u"  discID       = "_s + discID + u"\n"
        u"\n"
        u"Diagnosis:\n"
        u"  • Multi-session disc (2 lead-outs). Last audio track is bounded by\n"
        u"    session-1 lead-out (30000), not session-2's (44400) — the\n"
        u"    14400-sector inter-session gap is excluded. ✅\n"
        u"  • 1 data track(s) detected (point [3]) and excluded from audio ripping. ✅\n"_s);
}

TEST(CDTOCDiagnostics, ReportOfLibcueifysTwoSessionSample)
{
    const QString report = CDTOCDiagnostics::analyze(testData(u"discid/libcueify-mock-full-toc.bin"_s));
    EXPECT_TRUE(report.startsWith(u"Raw TOC: 213 bytes, header length=211, sessions 1–2\n"_s));
    EXPECT_TRUE(report.contains(u"    3     1  0x04 DATA   1   track        00:02:00      150  ⚠️ DATA track read as audio?\n"_s))
        << report.toStdString();
    EXPECT_TRUE(report.contains(u"  (parser rejected this TOC)\n"_s));
    EXPECT_TRUE(report.contains(u"  • Multi-session disc (2 lead-outs). Last audio track is bounded by\n"
                                u"    session-1 lead-out (232826), not session-2's (259138) — the\n"
                                u"    26312-sector inter-session gap is excluded. ✅\n"_s));
    EXPECT_TRUE(report.endsWith(u"  • 13 data track(s) detected (point [1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13]) "
                                u"and excluded from audio ripping. ✅\n"_s));
}

TEST(CDTOCDiagnostics, ReportOfATruncatedTOC)
{
    QByteArray toc = DiscImages::audioTOC({150, 15000}, 30000);
    toc.chop(5);
    EXPECT_EQ(CDTOCDiagnostics::analyze(toc),
        u"Raw TOC: 54 bytes, header length=57, sessions 1–1\n"
        u"\n"
        u"  idx  sess  ctrl       point            MSF        LBA      notes\n"
        u"  ---  ----  ---------  ---------------  ---------  -------  -----------------\n"
        u"    0     1  0x00 audio  0xA0 first-trk   01:00:00     4500  \n"
        u"    1     1  0x00 audio  0xA1 last-trk    02:00:00     9000  \n"
        u"    2     1  0x00 audio  0xA2 LEAD-OUT    06:40:00    30000  lead-out of session 1\n"
        u"    3     1  0x00 audio  1   track        00:02:00      150  \n"
        u"\n"
        u"Parser output (what will be ripped):\n"
        u"  (parser rejected this TOC)\n"
        u"\n"
        u"Diagnosis:\n"
        u"  • Single session, no data tracks — standard audio CD.\n"_s);
    EXPECT_EQ(CDTOCDiagnostics::analyze(QByteArray("\x00\x02\x01", 3)), u"TOC too short (3 bytes)"_s);
}
