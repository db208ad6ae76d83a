#include "disc/CTDBChecksum.h"
#include "disc/CTDBDatabase.h"
#include "disc/CTDBTOC.h"
#include "disc/CTDBVerifier.h"
#include "library/BlockingWait.h"
#include "metadata/MusicBrainzDiscLookup.h"
#include "metadata/ServiceSettings.h"
#include "support/CTDBImages.h"
#include "support/DiscImages.h"
#include "support/FakeServices.h"

#include <QtEndian>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using CTDBImages::audioDisc;
using CTDBImages::seededAudio;
using CTDBImages::streamCRC;
using CTDBImages::tracksOf;

namespace {

// A rip of every track of `stream`, ready for the checksums.
CTDB::DiscChecksums sumsOf(const CTDBTOC& toc, const QByteArray& stream)
{
    QList<CTDB::TrackSamples> tracks;
    for (const auto& track : tracksOf(toc, stream))
        tracks.append(*track);
    return CTDB::DiscChecksums(toc, tracks);
}

QString hex(quint32 value)
{
    return u"%1"_s.arg(value, 8, 16, QChar(u'0'));
}

QString trackHexes(const CTDB::DiscChecksums& sums, qint64 offset)
{
    QStringList crcs;
    for (qsizetype i = 0; i < sums.trackCount(); ++i)
        crcs.append(hex(sums.trackCRC(i, offset)));
    return crcs.join(u' ');
}

// Sample n of the ramp: n in the left channel, its complement in the right.
QByteArray ramp(qint64 sectors)
{
    QByteArray audio(sectors * 2352, Qt::Uninitialized);
    auto* bytes = reinterpret_cast<uchar*>(audio.data());
    for (qint64 n = 0; n < sectors * 588; ++n) {
        const auto left = quint16(n & 0xFFFF);
        qToLittleEndian<quint16>(left, bytes + 4 * n);
        qToLittleEndian<quint16>(quint16(0xFFFF - left), bytes + 4 * n + 2);
    }
    return audio;
}

// Each sample the next value of a linear congruential generator, little-endian.
QByteArray congruentialNoise(qint64 sectors)
{
    QByteArray audio(sectors * 2352, Qt::Uninitialized);
    quint32 state = 0x12345678;
    for (qint64 n = 0; n < sectors * 588; ++n) {
        state = state * 1664525u + 1013904223u;
        qToLittleEndian<quint32>(state, reinterpret_cast<uchar*>(audio.data()) + 4 * n);
    }
    return audio;
}

CTDBTOC enhancedDisc()
{
    return {.starts = {0, 3000, 7000, 22404}, .data = {false, false, false, true}, .leadOut = 25000};
}

const CTDBTOC htoaDisc = audioDisc({33, 10033, 22537}, 30000);

} // namespace

TEST(CTDBTOCTest, TheLookupStringAndTOCIDOfTheDatabasesOwnExamples)
{
    struct Case {
        CTDBTOC toc;
        QString text;
        QString tocID;
        qint64 pregap;
        qint64 audioSectors;
    };
    const QList<Case> cases = {
        {audioDisc({0, 11413, 25024, 45713}, 55220), u"0:11413:25024:45713:55220"_s, u"VukMWWItblELRM.CEFpXxw0FlME-"_s,
         0, 55220},
        {enhancedDisc(), u"0:3000:7000:-22404:25000"_s, u"DWKawDWOWYP6K49UO7Fg12_a97o-"_s, 0, 11004},
        {htoaDisc, u"33:10033:22537:30000"_s, u"3043_qW_x8PrF_Rldh4.6Q3wAVs-"_s, 33, 29967},
        {audioDisc({0, 1000}, 2345), u"0:1000:2345"_s, u"mLsS8uEkDNhpywc3CJyCPewGZK0-"_s, 0, 2345},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.toc.text(), c.text);
        EXPECT_EQ(c.toc.tocID(), c.tocID) << qPrintable(c.text);
        EXPECT_EQ(c.toc.pregap(), c.pregap) << qPrintable(c.text);
        EXPECT_EQ(c.toc.audioSectors(), c.audioSectors) << qPrintable(c.text);
        EXPECT_EQ(CTDBTOC::fromText(c.text), c.toc) << "read back: " << qPrintable(c.text);
    }
}

TEST(CTDBTOCTest, PregapAndDataTracksLeaveTheTOCIDAsTheAudioMakesIt)
{
    const std::optional<CTDBTOC> dataFirst = CTDBTOC::fromText(u"-0:20000:40000:60000"_s);
    ASSERT_TRUE(dataFirst);
    EXPECT_EQ(dataFirst->audioTrackCount(), 2);
    EXPECT_EQ(dataFirst->pregap(), 0) << "the audio begins at track 2's INDEX 01";
    EXPECT_EQ(dataFirst->audioBoundaries(), (QList<qint64>{0, 20000, 40000}));
    EXPECT_EQ(dataFirst->tocID(), audioDisc({0, 20000}, 40000).tocID());
    EXPECT_EQ(htoaDisc.tocID(), audioDisc({0, 10000, 22504}, 29967).tocID());
    EXPECT_NE(htoaDisc.tocID(), audioDisc({0, 10000, 22504}, 29968).tocID());
}

TEST(CTDBTOCTest, TheTOCOfAFullTOCKeepsEveryTrackAndTheLastLeadOut)
{
    using DiscImages::Descriptor;
    // The frames include the 150 of the lead-in.
    const QByteArray plain = DiscImages::audioTOC({150, 11563, 25174, 45863}, 55370);
    EXPECT_EQ(CTDBTOC::fromFullTOC(plain).text(), u"0:11413:25024:45713:55220"_s);
    EXPECT_EQ(CTDBTOC::fromFullTOC(plain).tocID(), u"VukMWWItblELRM.CEFpXxw0FlME-"_s);

    const QByteArray hiddenPregap = DiscImages::audioTOC({183, 10183, 22687}, 30150);
    EXPECT_EQ(CTDBTOC::fromFullTOC(hiddenPregap), htoaDisc);

    const QByteArray enhanced = DiscImages::fullTOC({{1, 0, 0xA0, 1 * 4500},
                                                     {1, 0, 0xA1, 3 * 4500},
                                                     {1, 0, 0xA2, 11154},
                                                     {1, 0, 1, 150},
                                                     {1, 0, 2, 3150},
                                                     {1, 0, 3, 7150},
                                                     {2, 4, 0xA0, 4 * 4500},
                                                     {2, 4, 0xA1, 4 * 4500},
                                                     {2, 4, 0xA2, 25150},
                                                     {2, 4, 4, 22554}},
                                                    1, 2);
    EXPECT_EQ(CTDBTOC::fromFullTOC(enhanced), enhancedDisc());

    const QByteArray dataOnly = DiscImages::fullTOC({{1, 4, 0xA2, 9000}, {1, 4, 1, 150}});
    EXPECT_THROW(CTDBTOC::fromFullTOC(dataOnly), MusicBrainzDiscLookup::LookupError);
}

TEST(CTDBTOCTest, WhatIsNoTableOfContentsIsNotRead)
{
    for (const QString& text : {u""_s, u"0"_s, u"0:abc:100"_s, u"0:500:300"_s, u"-0:-500:900"_s, u"0:500:-900"_s,
                                u"0: 500:900"_s, u"0:+500:900"_s})
        EXPECT_FALSE(CTDBTOC::fromText(text)) << qPrintable(text);
}

TEST(CTDBImageTest, TheSeededGeneratorDrawsAsTheDatabaseClientsTestsDo)
{
    CTDBImages::SeededRandom random(0);
    EXPECT_EQ(random.next(), 1559595546);
    EXPECT_EQ(random.next(), 1755192844);
    EXPECT_EQ(random.next(), 1649316166);
    EXPECT_EQ(seededAudio(1, 2314).left(8).toHex(), "81510e1b4fa5e74f");
}

// The client's own assertions on its 136-sector test image "13 68 99 136": plain CRCs over a
// span of the stream, moved by an offset, zero outside; they pin the image down.
TEST(CTDBImageTest, TheClientsAssertionsOnItsTestImageHold)
{
    const QByteArray ar = seededAudio(136, 2314);
    const QByteArray ar2 = seededAudio(886, 2314);
    const qint64 s = 588;
    struct Case {
        const QByteArray* stream;
        qint64 from;
        qint64 to;
        qint64 offset;
        quint32 expected;
    };
    const QList<Case> cases = {
        {&ar, 0, 136 * s, 0, 3791227907u},
        {&ar, 13 * s, 68 * s, 0, 321342250u},
        {&ar, 68 * s, 99 * s, 0, 37001035u},
        {&ar, 99 * s, 136 * s, 0, 516255430u},
        {&ar2, 0, 136 * s, 0, 3791227907u},
        {&ar, 0, 136 * s, 13, 2953798997u},
        {&ar, 0, 136 * s, -7, 480843614u},
        {&ar, 13 * s, 68 * s, 13, 1228729415u},
        {&ar, 13 * s, 68 * s, -7, 3364131728u},
        {&ar, 68 * s, 99 * s, 15, 1905873074u},
        {&ar, 68 * s, 99 * s, -1, 611805314u},
        {&ar, 99 * s, 136 * s, 15, 4242272536u},
        {&ar, 99 * s, 136 * s, -1, 4236330757u},
        {&ar2, 0, 136 * s, -7, 480843614u},
        {&ar, 13 * s + 2940, 68 * s, 0, 4209773141u},
        {&ar, 99 * s, 136 * s - 2940, 0, 1024656428u},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(streamCRC(*c.stream, c.from + c.offset, c.to + c.offset), c.expected)
            << c.from << ".." << c.to << " moved " << c.offset;
    }
}

TEST(CTDBChecksumTest, TheDiscAndTrackCRCsOfTheClientsImagesAndTheWorkedVectors)
{
    const CTDBTOC arDisc = audioDisc({13, 68, 99}, 136);
    const CTDB::DiscChecksums ar = sumsOf(arDisc, seededAudio(136, 2314));
    EXPECT_EQ(hex(ar.discCRC()), u"56a69e19"_s);
    EXPECT_EQ(trackHexes(ar, 0), u"05a91e74 0234974b 9064e48e"_s);
    EXPECT_EQ(ar.trackCRC(1), 37001035u) << "a middle track's CRC is its plain CRC over its span";

    const CTDBTOC repair = audioDisc({0}, 9801);
    EXPECT_EQ(sumsOf(repair, seededAudio(9801, 2423, 32 * 588)).discCRC(), 377539636u);
    const CTDBTOC encode = audioDisc({0}, 45000);
    EXPECT_EQ(sumsOf(encode, seededAudio(45000, 2423)).discCRC(), 2278257733u);

    const CTDB::DiscChecksums silence = sumsOf(audioDisc({0, 1000}, 2345), QByteArray(2345 * 2352, '\0'));
    EXPECT_EQ(hex(silence.discCRC()), u"2c6f820f"_s);
    EXPECT_EQ(trackHexes(silence, 0), u"8e53f254 889e2416"_s);
}

TEST(CTDBChecksumTest, TheRampWithAHiddenPregapAtOffsets)
{
    const CTDB::DiscChecksums sums = sumsOf(htoaDisc, ramp(30000));
    const QList<std::pair<qint64, QString>> disc = {{0, u"a90330a4"_s},  {1, u"ca7591a4"_s},     {-1, u"7cbb6d95"_s},
                                                    {48, u"039c335a"_s}, {-5879, u"218be75f"_s}, {5879, u"809bb162"_s}};
    const QList<quint32> rolled = sums.discCRCs();
    ASSERT_EQ(rolled.size(), 2 * 5879 + 1);
    for (const auto& [offset, crc] : disc) {
        EXPECT_EQ(hex(sums.discCRC(offset)), crc) << offset;
        EXPECT_EQ(hex(rolled.at(offset + 5879)), crc) << "rolled to " << offset;
    }
    for (qint64 offset : {-1234, 777})
        EXPECT_EQ(rolled.at(offset + 5879), sums.discCRC(offset)) << offset;

    const QList<std::pair<qint64, QString>> tracks = {{0, u"7c02122f d0f29823 8ef75e03"_s},
                                                      {1, u"d8e65a2a 8559cbf8 ee69d005"_s},
                                                      {-1, u"82345c60 d62bfce6 14343338"_s},
                                                      {2939, u"b84a65bf b0497b47 56ff87e3"_s},
                                                      {-2939, u"47ddae5a 3573c46e 59f6b864"_s}};
    for (const auto& [offset, crcs] : tracks)
        EXPECT_EQ(trackHexes(sums, offset), crcs) << offset;
    for (qsizetype track = 0; track < 3; ++track) {
        const QList<quint32> rolledTrack = sums.trackCRCs(track);
        ASSERT_EQ(rolledTrack.size(), 2 * 2939 + 1);
        for (qint64 offset : {-2939, -1, 0, 1, 2939})
            EXPECT_EQ(rolledTrack.at(offset + 2939), sums.trackCRC(track, offset)) << track << " at " << offset;
    }
}

TEST(CTDBChecksumTest, AnEnhancedCDsDataTrackAndGapStayOut)
{
    const CTDB::DiscChecksums sums = sumsOf(enhancedDisc(), congruentialNoise(11004));
    EXPECT_EQ(hex(sums.discCRC()), u"d3a512cd"_s);
    EXPECT_EQ(hex(sums.discCRC(667)), u"5910a851"_s);
    EXPECT_EQ(hex(sums.discCRC(-667)), u"55273bb4"_s);
    EXPECT_EQ(trackHexes(sums, 0), u"1f75cd70 28ed55a8 4096cefc"_s);
    EXPECT_EQ(trackHexes(sums, 1), u"ef539a1f 314915aa 3dff594e"_s);
    EXPECT_EQ(trackHexes(sums, -1), u"90d4efd4 ec830176 c98e31f5"_s);
}

TEST(CTDBChecksumTest, AShiftedImageIsTheWindowShifted)
{
    const CTDBTOC toc = audioDisc({13, 68, 99}, 136);
    const CTDB::DiscChecksums reference = sumsOf(toc, seededAudio(136, 723722));
    for (qint64 offset : {1, 2, 3, 4, 11, 256, 588, 2939}) {
        const CTDB::DiscChecksums shifted = sumsOf(toc, seededAudio(136, 723722, offset));
        EXPECT_EQ(shifted.discCRC(), reference.discCRC(offset)) << offset;
        for (qsizetype track = 0; track < 3; ++track)
            EXPECT_EQ(shifted.trackCRC(track), reference.trackCRC(track, offset)) << offset << " track " << track;
    }
}

TEST(CTDBChecksumTest, ATrackKeptWholeOrInPartsSumsAlike)
{
    // Long enough to keep only its edges, short enough to keep everything.
    for (qint64 length : QList<qint64>{3 * CTDB::edgeSamples + 5, 2 * CTDB::edgeSamples, 100}) {
        const QByteArray audio = seededAudio((length + 587) / 588, 7).left(length * 4);
        CTDB::TrackSummer oneGo(length);
        oneGo.add(audio.constData(), length);
        CTDB::TrackSummer inPieces(length);
        for (qint64 at = 0; at < length; at += 1000)
            inPieces.add(audio.constData() + at * 4, std::min<qint64>(1000, length - at));
        EXPECT_EQ(oneGo.result(), inPieces.result()) << length;
        const CTDB::TrackSamples kept = oneGo.result();
        const QByteArray middle = audio.mid(kept.head.size(), audio.size() - kept.head.size() - kept.tail.size());
        EXPECT_EQ(kept.head + kept.tail, audio.left(kept.head.size()) + audio.right(kept.tail.size()));
        EXPECT_EQ(kept.coreCRC, middle.isEmpty() ? 0u : CTDB::crc32(0, middle.constData(), middle.size()));
    }
    const CTDB::TrackSamples silence = CTDB::TrackSamples::silence(3 * CTDB::edgeSamples);
    CTDB::TrackSummer zeros(3 * CTDB::edgeSamples);
    const QByteArray nothing(3 * CTDB::edgeSamples * 4, '\0');
    zeros.add(nothing.constData(), 3 * CTDB::edgeSamples);
    EXPECT_EQ(silence, zeros.result());
}
