#include "disc/AccurateRipDatabase.h"
#include "disc/AccurateRipID.h"
#include "disc/TrackChecksums.h"
#include "metadata/MusicBrainzDiscLookup.h"
#include "metadata/ServiceSettings.h"
#include "support/DiscImages.h"

#include <QtEndian>

#include <gtest/gtest.h>

#include <vector>

using namespace Qt::StringLiterals;
using AccurateRip::Verdict;
using DiscImages::Descriptor;

namespace {

// The pressing of fre:ac's log of an Enhanced CD: thirteen audio tracks, then a data track in a
// second session, whose CDDB id the log gives as ab0d9f0e.
const QList<qint64> enhancedAudio{150,    15014,  33313,  49023,  65602,  81316, 102381,
                                  116294, 133820, 151293, 168952, 190187, 203916};

QByteArray enhancedTOC()
{
    QList<Descriptor> descriptors{{1, 0, 0xA0, 4500},      {1, 0, 0xA1, 13 * 4500}, {1, 0, 0xA2, 218150},
                                  {2, 4, 0xA0, 14 * 4500}, {2, 4, 0xA1, 14 * 4500}, {2, 4, 0xA2, 261728},
                                  {2, 4, 14, 229550}};
    for (qsizetype i = 0; i < enhancedAudio.size(); ++i)
        descriptors.append({1, 0, int(i) + 1, enhancedAudio[i]});
    return DiscImages::fullTOC(descriptors, 1, 2);
}

// A stereo sample of the given 32-bit word, as a drive's bytes hold it.
std::vector<char> samplesWith(qint64 count, qint64 position, quint32 word)
{
    std::vector<char> bytes(size_t(count) * 4, 0);
    qToLittleEndian(word, bytes.data() + (position - 1) * 4);
    return bytes;
}

AccurateRip::Error parseFailure(const QByteArray& bytes, const AccurateRipID& disc)
{
    try {
        AccurateRip::parse(bytes, disc);
    } catch (const AccurateRip::Error& error) {
        return error;
    }
    ADD_FAILURE() << "the answer was taken";
    throw std::logic_error("no error");
}

TrackChecksums sum(const std::vector<char>& bytes, bool first, bool last)
{
    const qint64 pairs = qint64(bytes.size()) / 4;
    TrackChecksummer checksummer(pairs, first, last);
    checksummer.add(bytes.data(), pairs);
    return checksummer.result();
}

} // namespace

TEST(AccurateRipIDTest, APlainDiscSumsItsSectorsAndWeighsThemByTrackNumber)
{
    const AccurateRipID id = AccurateRipID::fromFullTOC(DiscImages::audioTOC({150, 1150}, 2150));
    EXPECT_EQ(id.trackCount, 2);
    EXPECT_EQ(id.id1, 0u + 1000 + 2000);
    EXPECT_EQ(id.id2, 1u * 1 + 1000 * 2 + 2000 * 3) << "a track at sector 0 counts as 1";
    EXPECT_EQ(id.cddb, 0x08001a02u);
    EXPECT_EQ(id.text(), u"002-00000bb8-00001f41-08001a02"_s);
    EXPECT_EQ(id.path(), u"8/b/b/dBAR-002-00000bb8-00001f41-08001a02.bin"_s);
    EXPECT_EQ(id.url(QUrl(u"http://127.0.0.1:8080/accuraterip"_s)),
              QUrl(u"http://127.0.0.1:8080/accuraterip/8/b/b/dBAR-002-00000bb8-00001f41-08001a02.bin"_s));
}

TEST(AccurateRipIDTest, TheCDDBIdOfWhippersLogComesOut)
{
    const AccurateRipID id = AccurateRipID::fromFullTOC(
        DiscImages::audioTOC({150, 25064, 43611, 60890, 83090, 100000, 115057, 135558}, 149323));
    EXPECT_EQ(id.cddb, 0x5407c408u);
    EXPECT_EQ(id.text().left(4), u"008-"_s);
}

TEST(AccurateRipIDTest, AnEnhancedCDCountsOnlyItsAudioButEndsAtTheDiscsLastLeadOut)
{
    const AccurateRipID id = AccurateRipID::fromFullTOC(enhancedTOC());
    EXPECT_EQ(id.trackCount, 13) << "the data track is not one of the database's tracks";
    EXPECT_EQ(id.cddb, 0xab0d9f0eu) << "the value fre:ac's log gives, which does count the data track";
    quint32 id1 = 261728 - 150;
    quint32 id2 = (261728 - 150) * 14u;
    for (qsizetype i = 0; i < enhancedAudio.size(); ++i) {
        id1 += quint32(enhancedAudio[i] - 150);
        id2 += std::max<quint32>(quint32(enhancedAudio[i] - 150), 1) * quint32(i + 1);
    }
    EXPECT_EQ(id.id1, id1) << "the data track's sector is left out, the disc's last lead-out is in";
    EXPECT_EQ(id.id2, id2) << "the lead-out weighs the audio track count plus one";
    EXPECT_TRUE(id.text().startsWith(u"013-"_s)) << qPrintable(id.text());
}

TEST(AccurateRipIDTest, AMixedModeDiscNumbersItsAudioAsOnTheDiscAndLeavesTheDataOut)
{
    const QByteArray toc = DiscImages::fullTOC({{1, 4, 0xA0, 4500},
                                                {1, 0, 0xA1, 3 * 4500},
                                                {1, 0, 0xA2, 40000},
                                                {1, 4, 1, 150},
                                                {1, 0, 2, 20150},
                                                {1, 0, 3, 30150}});
    const AccurateRipID id = AccurateRipID::fromFullTOC(toc);
    EXPECT_EQ(id.trackCount, 2);
    EXPECT_EQ(id.id1, 20000u + 30000 + 39850);
    EXPECT_EQ(id.id2, 20000u * 2 + 30000 * 3 + 39850 * 3);
    EXPECT_EQ(id.cddb & 0xFF, 3u) << "the CDDB-style id still counts every track";
}

TEST(AccurateRipIDTest, BytesWithoutAudioAreRefused)
{
    const QByteArray dataOnly = DiscImages::fullTOC({{1, 4, 0xA2, 9000}, {1, 4, 1, 150}});
    EXPECT_THROW(AccurateRipID::fromFullTOC(dataOnly), MusicBrainzDiscLookup::LookupError);
}

TEST(AccurateRipAnswerTest, TwoPressingsAreReadInOrder)
{
    const AccurateRipID disc{.trackCount = 2, .id1 = 3000, .id2 = 8001, .cddb = 0x08001a02};
    const QList<AccurateRip::Pressing> pressings{
        {2, 3000, 8001, 0x08001a02, {{12, 0xdeadbeef, 0x01020304}, {200, 0x80000001, 0}}},
        {2, 3000, 8001, 0x08001a02, {{3, 0x11111111, 0xfffffffe}, {0, 0, 0}}}};
    const QByteArray bytes = DiscImages::accurateRipAnswer(pressings);
    ASSERT_EQ(bytes.size(), 2 * (13 + 2 * 9));
    EXPECT_EQ(AccurateRip::parse(bytes, disc), pressings);
    EXPECT_EQ(AccurateRip::parse(bytes), pressings);
    EXPECT_TRUE(AccurateRip::parse({}, disc).isEmpty());
}

TEST(AccurateRipAnswerTest, ATruncatedAnswerOrAnotherDiscIsRefused)
{
    const AccurateRipID disc{.trackCount = 2, .id1 = 3000, .id2 = 8001, .cddb = 0x08001a02};
    const AccurateRip::Pressing pressing{2, 3000, 8001, 0x08001a02, {{1, 1, 1}, {1, 2, 2}}};
    const QByteArray bytes = DiscImages::accurateRipAnswer({pressing, pressing});
    for (const qsizetype cut : {qsizetype(1), qsizetype(9), qsizetype(13 + 2 * 9 - 1)}) {
        const AccurateRip::Error error = parseFailure(bytes.chopped(cut), disc);
        EXPECT_EQ(error.kind(), AccurateRip::Error::Kind::truncated) << cut;
    }
    AccurateRip::Pressing other = pressing;
    other.id2 = 8002;
    const QByteArray mixed = DiscImages::accurateRipAnswer({pressing, other});
    const AccurateRip::Error error = parseFailure(mixed, disc);
    EXPECT_EQ(error.kind(), AccurateRip::Error::Kind::wrongDisc);
    EXPECT_TRUE(error.message().contains(u"002-00000bb8-00001f42-08001a02"_s)) << error.message().toStdString();
    AccurateRip::Pressing longer = pressing;
    longer.trackCount = 3;
    longer.tracks.append({1, 3, 3});
    EXPECT_THROW(AccurateRip::parse(DiscImages::accurateRipAnswer({longer}), disc), AccurateRip::Error);

    // Pressings of no tracks, 13 bytes each, past the size of any real answer.
    const QByteArray endless(AccurateRip::largestAnswer + 13, '\0');
    EXPECT_EQ(parseFailure(endless, disc).kind(), AccurateRip::Error::Kind::tooLarge);
    EXPECT_NO_THROW(AccurateRip::parse(endless.left(AccurateRip::largestAnswer - AccurateRip::largestAnswer % 13)));
}

TEST(TrackChecksumsTest, SilenceSumsToNothing)
{
    const TrackChecksums sums = sum(std::vector<char>(10 * 2352, 0), true, true);
    EXPECT_EQ(sums.v1, 0u);
    EXPECT_EQ(sums.v2, 0u);
    EXPECT_EQ(sums.crc32WithoutSilence, 0u) << "the CRC32 of no bytes at all";
    EXPECT_NE(sums.crc32, 0u);
}

TEST(TrackChecksumsTest, OneSampleWeighsByItsPosition)
{
    constexpr qint64 count = 20 * 588;
    EXPECT_EQ(sum(samplesWith(count, 1000, 7), false, false).v1, 7u * 1000);
    EXPECT_EQ(sum(samplesWith(count, 1000, 7), false, false).v2, 7u * 1000);
    EXPECT_EQ(sum(samplesWith(count, count, 0x00030002), false, false).v1, 0x00030002u * count);

    // The first track's first 2,939 positions count for nothing, the 2,940th does.
    EXPECT_EQ(sum(samplesWith(count, 2939, 7), true, false).v1, 0u);
    EXPECT_EQ(sum(samplesWith(count, 2940, 7), true, false).v1, 7u * 2940);
    // The last track's final 2,940 positions count for nothing.
    EXPECT_EQ(sum(samplesWith(count, count - 2940, 7), false, true).v1, 7u * (count - 2940));
    EXPECT_EQ(sum(samplesWith(count, count - 2939, 7), false, true).v1, 0u);
    EXPECT_EQ(sum(samplesWith(count, count - 2939, 7), false, false).v1, 7u * (count - 2939));
}

TEST(TrackChecksumsTest, VersionTwoAddsTheHighHalvesOfTheProducts)
{
    // 0xFFFFFFFF · 3 = 0x2_FFFFFFFD: v1 keeps the low word, v2 adds the 2 above it.
    const TrackChecksums sums = sum(samplesWith(588, 3, 0xFFFFFFFF), false, false);
    EXPECT_EQ(sums.v1, 0xFFFFFFFDu);
    EXPECT_EQ(sums.v2, 0xFFFFFFFFu);
}

TEST(TrackChecksumsTest, TheCRC32sAreTheCommonOnesAndOneLeavesOutZeroSamples)
{
    // "1234" as two 16-bit samples, with a zero sample before each.
    std::vector<char> bytes{0, 0, '1', '2', 0, 0, '3', '4'};
    bytes.resize(588 * 4, 0);
    const TrackChecksums sums = sum(bytes, false, false);
    EXPECT_EQ(sums.crc32WithoutSilence, 0x9BE3E0A3u) << "CRC32 of \"1234\"";
    const TrackChecksums zeros = sum(std::vector<char>(4, 0), false, false);
    EXPECT_EQ(zeros.crc32, 0x2144DF1Cu) << "CRC32 of four zero bytes";
}

TEST(TrackChecksumsTest, FramesAddedOneByOneSumAsTheWholeTrack)
{
    const QByteArray pcm = DiscImages::pcm(500, 4);
    const qint64 pairs = pcm.size() / 4;
    TrackChecksummer whole(pairs, true, true);
    whole.add(pcm.constData(), pairs);
    TrackChecksummer framed(pairs, true, true);
    for (qint64 frame = 0; frame < 500; ++frame)
        framed.add(pcm.constData() + frame * 2352, 588);
    EXPECT_EQ(framed.result(), whole.result());
    // Frame 450 alone, weighed from 1, is the database's offset-finding checksum.
    std::vector<quint32> words(588);
    for (qint64 i = 0; i < 588; ++i)
        words[size_t(i)] = TrackChecksummer::word(pcm.constData() + (450 * 588 + i) * 4);
    EXPECT_EQ(whole.result().crc450, TrackChecksummer::frameChecksum(words.data()));
    EXPECT_NE(whole.result().crc450, 0u);
}

TEST(AccurateRipVerdictTest, AMatchIsTheMostConfidentEntryOfEitherVersion)
{
    const TrackChecksums sums{.v1 = 0x1111, .v2 = 0x2222};
    const QList<AccurateRip::Pressing> pressings{{2, 0, 0, 0, {{5, 0x1111, 0}, {9, 0x9999, 0}}},
                                                 {2, 0, 0, 0, {{12, 0x2222, 0}, {4, 0x8888, 0}}}};
    const Verdict first = AccurateRip::verify(sums, pressings, 0);
    EXPECT_EQ(first.outcome, Verdict::Outcome::accurate);
    EXPECT_EQ(first.confidence, 12);
    EXPECT_EQ(first.version, 2);
    EXPECT_EQ(first.text(), u"accurately ripped (confidence 12, v2)"_s);

    const Verdict second = AccurateRip::verify(sums, pressings, 1);
    EXPECT_EQ(second.outcome, Verdict::Outcome::mismatch);
    EXPECT_EQ(second.text(), u"does not match (2 pressings known)"_s);

    EXPECT_EQ(AccurateRip::verify(sums, {}, 0).text(), u"not in the database"_s);
    EXPECT_EQ(AccurateRip::verify(sums, pressings, 5).outcome, Verdict::Outcome::notInDatabase)
        << "a track beyond the entries";
    const QList<AccurateRip::Pressing> empty{{1, 0, 0, 0, {{0, 0, 0}}}};
    EXPECT_EQ(AccurateRip::verify(sums, empty, 0).outcome, Verdict::Outcome::notInDatabase);
}

TEST(AccurateRipVerdictTest, TheSummaryCountsTheVerifiedTracks)
{
    QList<Verdict> verdicts(11, Verdict{.outcome = Verdict::Outcome::accurate, .confidence = 3, .version = 1});
    verdicts.append(Verdict{.outcome = Verdict::Outcome::mismatch, .pressings = 1});
    EXPECT_EQ(AccurateRip::summary(verdicts), u"11 of 12 tracks verified by AccurateRip"_s);
    EXPECT_EQ(AccurateRip::summary({Verdict{.reason = u"offline"_s}}), QString());
    EXPECT_EQ(Verdict{.reason = u"offline"_s}.text(), u"not checked: offline"_s);
}

TEST(AccurateRipServiceTest, ATestWithoutFakeServicesCannotReachTheRealDatabase)
{
    EXPECT_EQ(ServiceSettings::load().accurateRip, QUrl(u"http://127.0.0.1:9"_s));
}
