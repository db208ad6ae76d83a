#include "disc/CTDBChecksum.h"
#include "disc/CTDBDatabase.h"
#include "disc/CTDBVerifier.h"
#include "library/BlockingWait.h"
#include "metadata/ServiceSettings.h"
#include "support/CTDBImages.h"
#include "support/FakeServices.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace Qt::StringLiterals;
using CTDB::Verdict;
using Status = CTDB::Verdict::Status;

namespace {

const CTDBTOC disc = CTDBImages::audioDisc({0, 2000, 4500}, 7000);

QByteArray reference()
{
    static const QByteArray audio = CTDBImages::seededAudio(7000, 99);
    return audio;
}

// The database's entry for a rip of `stream`.
CTDB::Entry entryOf(const QByteArray& stream, qint64 confidence, qint64 id = 1)
{
    QList<CTDB::TrackSamples> tracks;
    for (const auto& track : CTDBImages::tracksOf(disc, stream))
        tracks.append(*track);
    const CTDB::DiscChecksums sums(disc, tracks);
    CTDB::Entry entry{.id = id,
                      .crc32 = sums.discCRC(),
                      .confidence = confidence,
                      .toc = disc.text(),
                      .stride = CTDB::stride,
                      .npar = 16};
    for (qsizetype i = 0; i < sums.trackCount(); ++i)
        entry.trackCRCs.append(sums.trackCRC(i));
    return entry;
}

// `stream` moved so that sample n holds the original's n + by, silence past either end.
QByteArray shifted(const QByteArray& stream, qint64 by)
{
    QByteArray moved(stream.size(), '\0');
    const qint64 samples = stream.size() / 4;
    for (qint64 n = 0; n < samples; ++n) {
        if (n + by >= 0 && n + by < samples)
            std::copy_n(stream.constData() + (n + by) * 4, 4, moved.data() + n * 4);
    }
    return moved;
}

QList<Status> statuses(const CTDB::Verification& verification)
{
    QList<Status> result;
    for (const Verdict& verdict : verification.tracks)
        result.append(verdict.status);
    return result;
}

} // namespace

TEST(CTDBVerifierTest, AMatchingEntryConfirmsEveryTrackAndTheOthersOnlyCount)
{
    QByteArray other = reference();
    other[4000 * 2352] = char(other.at(4000 * 2352) ^ 1);
    const QList<CTDB::Entry> entries = {entryOf(other, 2, 7), entryOf(reference(), 5, 8)};
    const CTDB::Verification result = CTDB::verify(disc, CTDBImages::tracksOf(disc, reference()), entries);
    EXPECT_EQ(result.tocID, disc.tocID());
    EXPECT_EQ(result.offset, 0);
    ASSERT_EQ(result.tracks.size(), 3);
    EXPECT_EQ(result.tracks.at(0), (Verdict{.status = Status::accurate, .confidence = 7, .total = 7, .offset = 0}))
        << "the other entry's track 1 is the same";
    EXPECT_EQ(result.tracks.at(1).confidence, 5) << "its track 2 is not";
    EXPECT_EQ(result.tracks.at(2).confidence, 7);
    EXPECT_EQ(result.tracks.at(0).text(), u"accurately ripped (confidence 7 of 7)"_s);
}

TEST(CTDBVerifierTest, OneChangedSampleDiffersInItsTrackAlone)
{
    QByteArray damaged = reference();
    damaged[3000 * 2352 + 8] = char(damaged.at(3000 * 2352 + 8) ^ 0x40); // inside track 2
    const CTDB::Verification result =
        CTDB::verify(disc, CTDBImages::tracksOf(disc, damaged), {entryOf(reference(), 4)});
    EXPECT_EQ(statuses(result), (QList<Status>{Status::accurate, Status::differs, Status::accurate}));
    EXPECT_FALSE(result.offset) << "the whole disc did not match";
    EXPECT_EQ(result.tracks.at(1).text(), u"differs from the database (4 submissions)"_s);
    EXPECT_EQ(result.tracks.at(1).confidence, 0);
    EXPECT_EQ(result.tracks.at(1).total, 4);

    CTDB::Entry withoutTracks = entryOf(reference(), 4);
    withoutTracks.trackCRCs.clear();
    EXPECT_EQ(statuses(CTDB::verify(disc, CTDBImages::tracksOf(disc, damaged), {withoutTracks})),
              (QList<Status>{Status::differs, Status::differs, Status::differs}))
        << "an older entry names only the whole disc";
}

TEST(CTDBVerifierTest, ARipShiftedByAFewHundredSamplesStillVerifiesAndSaysWhere)
{
    for (qint64 by : {-667, 300, 5000}) {
        const CTDB::Verification result =
            CTDB::verify(disc, CTDBImages::tracksOf(disc, shifted(reference(), by)), {entryOf(reference(), 3)});
        EXPECT_EQ(result.offset, by);
        EXPECT_EQ(statuses(result), (QList<Status>{Status::accurate, Status::accurate, Status::accurate})) << by;
        EXPECT_EQ(result.tracks.at(1).offset, by);
    }
    // The enhanced disc's published vector: found at +667 only.
    const CTDBTOC enhanced{.starts = {0, 3000, 7000, 22404}, .data = {false, false, false, true}, .leadOut = 25000};
    QByteArray noise(11004 * 2352, Qt::Uninitialized);
    quint32 state = 0x12345678;
    for (qint64 n = 0; n < 11004 * 588; ++n) {
        state = state * 1664525u + 1013904223u;
        std::memcpy(noise.data() + 4 * n, &state, 4);
    }
    const CTDB::Entry published{.id = 1,
                                .crc32 = 0xd3a512cd,
                                .confidence = 9,
                                .trackCRCs = {0x1f75cd70, 0x28ed55a8, 0x4096cefc},
                                .toc = enhanced.text(),
                                .stride = CTDB::stride};
    const auto rip = CTDBImages::tracksOf(enhanced, shifted(noise, 667));
    QList<CTDB::TrackSamples> kept;
    for (const auto& track : rip)
        kept.append(*track);
    const CTDB::DiscChecksums sums(enhanced, kept);
    EXPECT_EQ(u"%1 %2 %3"_s.arg(sums.trackCRC(0), 8, 16, QChar(u'0'))
                  .arg(sums.trackCRC(1), 8, 16, QChar(u'0'))
                  .arg(sums.trackCRC(2), 8, 16, QChar(u'0')),
              u"e263c925 c898b4c5 254001e0"_s);
    const QList<quint32> scan = sums.discCRCs();
    EXPECT_EQ(std::count(scan.cbegin(), scan.cend(), 0xd3a512cdu), 1);
    const CTDB::Verification result = CTDB::verify(enhanced, rip, {published});
    EXPECT_EQ(result.offset, 667);
    EXPECT_EQ(statuses(result), (QList<Status>{Status::accurate, Status::accurate, Status::accurate}));
}

TEST(CTDBVerifierTest, ATrackAloneFindsItsOwnOffsetWhenTheDiscDoesNot)
{
    QByteArray rip = shifted(reference(), 120);
    rip[1000 * 2352] = char(rip.at(1000 * 2352) ^ 1); // track 1 differs, so the disc does
    const CTDB::Verification result = CTDB::verify(disc, CTDBImages::tracksOf(disc, rip), {entryOf(reference(), 2)});
    EXPECT_EQ(statuses(result), (QList<Status>{Status::differs, Status::accurate, Status::accurate}));
    EXPECT_EQ(result.tracks.at(2).offset, 120);
}

TEST(CTDBVerifierTest, NoEntriesMissingTracksAndTheSummary)
{
    const auto tracks = CTDBImages::tracksOf(disc, reference());
    EXPECT_EQ(statuses(CTDB::verify(disc, tracks, {})),
              (QList<Status>{Status::notInDatabase, Status::notInDatabase, Status::notInDatabase}));

    auto partial = tracks;
    partial[0].reset();
    const CTDB::Verification result = CTDB::verify(disc, partial, {entryOf(reference(), 6)});
    EXPECT_EQ(statuses(result), (QList<Status>{Status::unchecked, Status::accurate, Status::accurate}))
        << "a track not ripped keeps the whole disc from being checked, not its neighbours";
    EXPECT_FALSE(result.offset);
    EXPECT_EQ(CTDB::summary(result.tracks), u"2 of 3 tracks verified by CTDB"_s);
    EXPECT_EQ(CTDB::summary({Verdict{.reason = u"offline"_s}}), QString());
    EXPECT_EQ(Verdict{.reason = u"offline"_s}.text(), u"not checked: offline"_s);
    EXPECT_EQ((Verdict{.status = Status::notInDatabase}).text(), u"not in the database"_s);
}

TEST(CTDBAnswerTest, EntriesAreReadWithTheirTracksAndThoseWithoutADiscPassedOver)
{
    const QByteArray xml = R"(<?xml version="1.0" encoding="UTF-8"?>
<ctdb xmlns="http://db.cuetools.net/ns/mmd-1.0#" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">
  <entry id="123456" crc32="1680cc34" confidence="7" npar="16" stride="5880" hasparity="/p/1" syndrome="AAAA"
         toc="0:9801" trackcrcs="1680cc34"/>
  <entry id="9" crc32="0badc0de" confidence="2" stride="5880"/>
  <entry id="10" crc32="DEADBEEF" confidence="1" npar="8" stride="5880" toc="-0:20000:40000:60000"/>
  <metadata source="musicbrainz" artist="Band" album="Album"><track name="One"/></metadata>
</ctdb>)";
    const QList<CTDB::Entry> entries = CTDB::parse(xml);
    ASSERT_EQ(entries.size(), 2);
    EXPECT_EQ(entries.at(0),
              (CTDB::Entry{.id = 123456,
                           .crc32 = 0x1680cc34,
                           .confidence = 7,
                           .trackCRCs = {0x1680cc34},
                           .toc = u"0:9801"_s,
                           .stride = 5880,
                           .npar = 16}));
    EXPECT_EQ(entries.at(1).crc32, 0xdeadbeefu);
    EXPECT_TRUE(entries.at(1).trackCRCs.isEmpty());
    EXPECT_EQ(CTDB::parse(CTDBImages::answer(entries)), entries) << "the fake server's answers read back";

    const QByteArray metadataOnly =
        R"(<ctdb xmlns="http://db.cuetools.net/ns/mmd-1.0#"><metadata source="musicbrainz"/></ctdb>)";
    EXPECT_TRUE(CTDB::parse(metadataOnly).isEmpty());
}

TEST(CTDBAnswerTest, AMalformedAnswerIsRefusedInWords)
{
    const QList<QByteArray> answers = {
        "",
        "not xml at all",
        R"(<html><body>Service Unavailable</body></html>)",
        R"(<ctdb xmlns="http://db.cuetools.net/ns/mmd-1.0#"><entry crc32="xyz" confidence="1" toc="0:9801"/></ctdb>)",
        R"(<ctdb xmlns="http://db.cuetools.net/ns/mmd-1.0#"><entry crc32="1" toc="0:9801"/></ctdb>)",
        R"(<ctdb xmlns="http://db.cuetools.net/ns/mmd-1.0#"><entry crc32="1" confidence="1" toc="9801:0"/></ctdb>)",
        R"(<ctdb xmlns="http://db.cuetools.net/ns/mmd-1.0#"><entry crc32="1" confidence="1" toc="0:9801" trackcrcs="1 q"/></ctdb>)",
        R"(<ctdb xmlns="http://db.cuetools.net/ns/mmd-1.0#"><entry crc32="1" confidence="1" toc="0:9801"/>)",
    };
    for (const QByteArray& answer : answers) {
        try {
            CTDB::parse(answer);
            ADD_FAILURE() << "read: " << answer.constData();
        } catch (const CTDB::Error& error) {
            EXPECT_EQ(error.kind(), CTDB::Error::Kind::malformed);
            EXPECT_TRUE(error.message().startsWith(u"The CTDB answer could not be read: "_s))
                << qPrintable(error.message());
        }
    }
}

TEST(CTDBServiceTest, TheLookupAsksForRipsOfTheDiscAndA404IsNoEntries)
{
    EXPECT_EQ(CTDB::lookupURL(disc, QUrl(u"http://db.example"_s)).toString(),
              u"http://db.example/lookup2.php?version=3&ctdb=1&fuzzy=1&metadata=none&toc=0:2000:4500:7000"_s);

    FakeServices services;
    services.ctdb.route(u"/lookup2.php"_s, FakeResponse::ok(CTDBImages::answer({entryOf(reference(), 3)}), "text/xml"));
    const QList<CTDB::Entry> entries = BlockingWait::wait(CTDB::fetch(disc));
    ASSERT_EQ(entries.size(), 1);
    EXPECT_EQ(entries.at(0).confidence, 3);
    ASSERT_EQ(services.ctdb.requests().size(), 1);
    EXPECT_EQ(services.ctdb.requests().at(0).target,
              "/lookup2.php?version=3&ctdb=1&fuzzy=1&metadata=none&toc=0:2000:4500:7000");

    services.ctdb.route(u"/lookup2.php"_s, FakeResponse::withStatus(404));
    EXPECT_TRUE(BlockingWait::wait(CTDB::fetch(disc)).isEmpty());
}

TEST(CTDBServiceTest, ATestWithoutFakeServicesCannotReachTheRealDatabase)
{
    EXPECT_EQ(ServiceSettings::load().ctdb, QUrl(u"http://127.0.0.1:9"_s));
}
