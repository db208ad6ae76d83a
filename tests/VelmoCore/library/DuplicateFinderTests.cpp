#include "library/BlockingWait.h"
#include "library/DuplicateFinder.h"
#include "library/FingerprintCache.h"
#include "library/FingerprintReader.h"
#include "library/TagWriter.h"
#include "support/AudioFixtures.h"
#include "support/EncodedAudio.h"
#include "support/SyntheticFingerprints.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

// One piece in four encodings, another piece, and the files that must be passed over.
class AudioDuplicatesTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        folder = new QTemporaryDir;
        const std::vector<float> piece = EncodedAudio::music(1, 40.0);
        EncodedAudio::write(piece, file(u"a.flac"_s));
        EncodedAudio::write(piece, file(u"a-192.mp3"_s), 192000);
        EncodedAudio::write(piece, file(u"a-96.mp3"_s), 96000);
        EncodedAudio::write(piece, file(u"a.ogg"_s), 128000);
        EncodedAudio::damageMiddleFrame(EncodedAudio::write(piece, file(u"a-damaged.flac"_s)));
        EncodedAudio::write(EncodedAudio::music(2, 40.0), file(u"b.flac"_s));
        EncodedAudio::write(EncodedAudio::music(1, 2.0), file(u"two-seconds.flac"_s));
        AudioFixtures::writeSilentWav(file(u"silence.wav"_s), 40.0);
        writeFile(file(u"not-audio.mp3"_s), QByteArray(8192, 'x'));
    }
    static void TearDownTestSuite() { delete folder; }

    static QString file(const QString& name) { return folder->filePath(name); }
    static Track track(const QString& name, const QString& title = {})
    {
        Track result = makeTrack(title.isEmpty() ? name : title);
        result.url = QUrl::fromLocalFile(file(name));
        return result;
    }
    static QStringList fileNames(const DuplicateFinder::Group& group)
    {
        QStringList names;
        for (const Track& member : group)
            names.append(QFileInfo(member.path()).fileName());
        return names;
    }

    static QTemporaryDir* folder;
};

QTemporaryDir* AudioDuplicatesTest::folder = nullptr;

Fingerprint flipped(Fingerprint print, quint32 mask)
{
    for (quint32& word : print)
        word ^= mask;
    return print;
}

Fingerprint steadyPrint(qsizetype words, quint32 seed)
{
    Fingerprint print(words);
    for (qsizetype k = 0; k < words; ++k)
        print[k] = (seed + quint32(k)) * 2654435761u;
    return print;
}

} // namespace

TEST_F(AudioDuplicatesTest, OnePieceInFourEncodingsIsOneGroupAndNothingElseJoins)
{
    const QList<Track> tracks{
        track(u"b.flac"_s),           track(u"a-192.mp3"_s), track(u"silence.wav"_s),
        track(u"two-seconds.flac"_s), track(u"a.ogg"_s),     track(u"not-audio.mp3"_s),
        track(u"gone.flac"_s),        track(u"a.flac"_s),    track(u"a-96.mp3"_s),
        track(u"a-damaged.flac"_s),
    };
    for (const auto pairing : {DuplicateFinder::Pairing::exact, DuplicateFinder::Pairing::indexed}) {
        DuplicateFinder::Search search;
        search.threshold = 0.9f;
        search.pairing = pairing;
        QStringList skipped;
        search.onSkipped = [&skipped](const Track& passed, const QString& reason) {
            skipped.append(QFileInfo(passed.path()).fileName() + u": "_s + reason);
        };
        const auto groups = BlockingWait::wait(DuplicateFinder::findDuplicates(tracks, search));
        ASSERT_TRUE(groups);
        ASSERT_EQ(groups->size(), 1);
        ASSERT_EQ(skipped.size(), 2) << skipped.join(u'\n').toStdString();
        EXPECT_TRUE(skipped.at(0).startsWith(u"not-audio.mp3: "_s)) << skipped.at(0).toStdString();
        EXPECT_TRUE(skipped.at(1).startsWith(u"a-damaged.flac: “"_s)) << skipped.at(1).toStdString();
        EXPECT_TRUE(skipped.at(1).contains(u"does not decode"_s) || skipped.at(1).contains(u"ends at"_s))
            << skipped.at(1).toStdString();
        EXPECT_EQ(fileNames(groups->first()),
                  (QStringList{u"a-192.mp3"_s, u"a.ogg"_s, u"a.flac"_s, u"a-96.mp3"_s}))
            << "in the order of the list";
    }
    EXPECT_EQ(BlockingWait::wait(DuplicateFinder::findDuplicates(tracks, 0.9f)).size(), 1);
}

TEST_F(AudioDuplicatesTest, EncodingsOfOnePieceAreAlikeAndTwoPiecesAreNot)
{
    const auto print = [](const QString& name) { return FingerprintReader::fingerprint(QUrl::fromLocalFile(file(name)), 120.0); };
    const Fingerprint flac = print(u"a.flac"_s);
    ASSERT_GT(flac.size(), 250) << "about eight words a second";
    EXPECT_GT(DuplicateFinder::similarity(flac, print(u"a-96.mp3"_s)), 0.9f);
    EXPECT_GT(DuplicateFinder::similarity(flac, print(u"a.ogg"_s)), 0.9f);
    EXPECT_LT(DuplicateFinder::similarity(flac, print(u"b.flac"_s)), 0.8f);
    EXPECT_LT(DuplicateFinder::similarity(flac, print(u"silence.wav"_s)), 0.8f);
    EXPECT_EQ(FingerprintReader::fingerprint(QUrl::fromLocalFile(file(u"a.flac"_s)), 10.0).size(),
              FingerprintReader::fingerprint(QUrl::fromLocalFile(file(u"a-192.mp3"_s)), 10.0).size())
        << "the length follows maxDuration, not the file";
}

TEST_F(AudioDuplicatesTest, FilesThatCannotBeDecodedFailWithTheirKind)
{
    try {
        FingerprintReader::fingerprint(QUrl::fromLocalFile(file(u"a-damaged.flac"_s)), 120.0);
        ADD_FAILURE() << "a file with a corrupt frame is not fingerprinted as if whole";
    } catch (const FingerprintReader::FingerprintError& error) {
        EXPECT_EQ(error.kind(), FingerprintReader::FingerprintError::Kind::decodingFailed);
        EXPECT_TRUE(error.message().contains(u"a-damaged.flac"_s)) << qPrintable(error.message());
        EXPECT_TRUE(error.message().contains(u"00:"_s)) << qPrintable(error.message());
    }
    try {
        FingerprintReader::fingerprint(QUrl::fromLocalFile(file(u"not-audio.mp3"_s)), 120.0);
        ADD_FAILURE() << "text is not audio";
    } catch (const FingerprintReader::FingerprintError& error) {
        EXPECT_EQ(error.kind(), FingerprintReader::FingerprintError::Kind::decodingFailed);
        EXPECT_TRUE(error.message().contains(u"not-audio.mp3"_s)) << qPrintable(error.message());
    }
    try {
        FingerprintReader::fingerprint(QUrl::fromLocalFile(file(u"gone.flac"_s)), 120.0);
        ADD_FAILURE() << "a file that has gone";
    } catch (const FingerprintReader::FingerprintError& error) {
        EXPECT_EQ(error.kind(), FingerprintReader::FingerprintError::Kind::decodingFailed);
    }
}

TEST(DuplicatePairing, JoinsThroughTransitivityAndComparesOnlyTheCommonPrefix)
{
    const Fingerprint a = steadyPrint(400, 1);
    const Fingerprint b = flipped(a, 0x0000000f);         // 28 of 32 bits like a
    const Fingerprint c = flipped(b, 0x000f0000);         // like b, but only 24 of 32 like a
    const Fingerprint other = steadyPrint(400, 99);
    const Fingerprint prefixOfA = a.mid(0, 150);          // short: compared with every other
    ASSERT_LT(DuplicateFinder::similarity(a, c), 0.85f);
    EXPECT_FLOAT_EQ(DuplicateFinder::similarity(a, b), 0.875f);
    EXPECT_FLOAT_EQ(DuplicateFinder::similarity(a, prefixOfA), 1.0f);

    const QList<std::optional<Fingerprint>> prints{a, other, std::nullopt, c, b, prefixOfA};
    for (const auto pairing : {DuplicateFinder::Pairing::exact, DuplicateFinder::Pairing::indexed}) {
        EXPECT_EQ(DuplicateFinder::pair(prints, 0.85f, pairing), (QList<QList<qsizetype>>{{0, 3, 4, 5}}));
        EXPECT_EQ(DuplicateFinder::pair(prints, 1.0f, pairing), (QList<QList<qsizetype>>{{0, 5}}))
            << "only identical prefixes at 1.0";
        EXPECT_TRUE(DuplicateFinder::pair({}, 0.9f, pairing).isEmpty());
    }
}

TEST(DuplicatePairing, EmptyFingerprintsAreUnlikeAnythingAboveAThresholdOfZero)
{
    const QList<std::optional<Fingerprint>> prints{Fingerprint(), steadyPrint(200, 3), Fingerprint()};
    EXPECT_EQ(DuplicateFinder::similarity(Fingerprint(), steadyPrint(10, 1)), 0.0f);
    for (const auto pairing : {DuplicateFinder::Pairing::exact, DuplicateFinder::Pairing::indexed}) {
        EXPECT_TRUE(DuplicateFinder::pair(prints, 0.1f, pairing).isEmpty());
        EXPECT_EQ(DuplicateFinder::pair(prints, 0.0f, pairing), (QList<QList<qsizetype>>{{0, 1, 2}}));
    }
}

TEST(DuplicatePairing, GroupsAreSortedByTheirFirstTitle)
{
    const QList<Track> tracks{makeTrack(u"b"_s), makeTrack(u"B"_s), makeTrack(u"a"_s), makeTrack(u"b"_s)};
    const auto groups = DuplicateFinder::groups(tracks, {{0, 3}, {1, 2}});
    ASSERT_EQ(groups.size(), 2);
    EXPECT_EQ(groups.at(0).first().title, u"B"_s) << "plain text order: capitals first";
    EXPECT_EQ(groups.at(1).at(1).id, tracks.at(3).id);
}

// The index must not change the answer: the same sets as every pair compared, on fingerprints
// whose planted copies straddle both thresholds.
TEST(DuplicatePairing, TheIndexFindsTheSameGroupsAsComparingEveryPair)
{
    const SyntheticFingerprints::Set set = SyntheticFingerprints::make(400, 950, 120, 0.01, 0.24, 22);
    for (const float threshold : {0.8f, 0.9f}) {
        const auto exact = DuplicateFinder::pair(set.fingerprints, threshold, DuplicateFinder::Pairing::exact);
        const auto indexed = DuplicateFinder::pair(set.fingerprints, threshold, DuplicateFinder::Pairing::indexed);
        EXPECT_GT(exact.size(), 30) << "the set must exercise the pairing";
        EXPECT_EQ(indexed, exact) << "threshold " << threshold;
    }
}

namespace {

// Searches with the cache in a folder of its own, counting the files actually decoded.
class FingerprintCacheTest : public AudioDuplicatesTest {
protected:
    std::optional<QList<DuplicateFinder::Group>> search(const QList<Track>& tracks)
    {
        DuplicateFinder::Search search;
        search.cachePath = cachePath();
        search.fingerprinter = [this](const QUrl& url) {
            ++decoded;
            return FingerprintReader::fingerprint(url, DuplicateFinder::maxDuration);
        };
        search.onProgress = [this](qsizetype done, qsizetype total) { lastProgress = {done, total}; };
        return BlockingWait::wait(DuplicateFinder::findDuplicates(tracks, search));
    }
    QString cachePath() const { return cacheFolder.filePath(u"fingerprints.cache"_s); }
    // A copy of a sample the test may change.
    Track copy(const QString& name, const QString& as)
    {
        const QString path = cacheFolder.filePath(as);
        QFile::copy(file(name), path);
        Track result = makeTrack(as);
        result.url = QUrl::fromLocalFile(path);
        return result;
    }

    QTemporaryDir cacheFolder;
    std::atomic<int> decoded = 0;
    std::pair<qsizetype, qsizetype> lastProgress;
};

} // namespace

TEST_F(FingerprintCacheTest, ASecondSearchDecodesNothingAndAnEditedFileOnlyWhenItsAudioChanged)
{
    const QList<Track> tracks{copy(u"a.flac"_s, u"a.flac"_s), copy(u"a-96.mp3"_s, u"a.mp3"_s),
                              copy(u"b.flac"_s, u"b.flac"_s), track(u"gone.flac"_s)};
    const auto first = search(tracks);
    ASSERT_TRUE(first);
    EXPECT_EQ(decoded, 3);
    EXPECT_EQ(lastProgress, (std::pair<qsizetype, qsizetype>(4, 4)));
    ASSERT_EQ(first->size(), 1);

    decoded = 0;
    EXPECT_EQ(search(tracks), first);
    EXPECT_EQ(decoded, 0);

    // New tags: size and time change, the compressed audio does not.
    Track retagged = tracks.at(1);
    retagged.title = u"A new title, long enough to move the audio along"_s;
    const qint64 sizeBefore = QFileInfo(retagged.path()).size();
    TagWriter::write(retagged);
    ASSERT_NE(QFileInfo(retagged.path()).size(), sizeBefore);
    EXPECT_EQ(search(tracks), first);
    EXPECT_EQ(decoded, 0);

    // The same path re-encoded as another piece.
    EncodedAudio::write(EncodedAudio::music(2, 40.0), tracks.at(0).path());
    const auto reencoded = search(tracks);
    EXPECT_EQ(decoded, 1);
    ASSERT_TRUE(reencoded);
    ASSERT_EQ(reencoded->size(), 1);
    EXPECT_EQ(reencoded->first().first().id, tracks.at(0).id) << "it now sounds like b";
    EXPECT_EQ(reencoded->first().at(1).id, tracks.at(2).id);
}

TEST_F(FingerprintCacheTest, ACorruptCacheIsRebuiltSilently)
{
    const QList<Track> tracks{copy(u"a.flac"_s, u"a.flac"_s), copy(u"a.ogg"_s, u"a.ogg"_s)};
    const auto fresh = search(tracks);
    const QByteArray good = readFile(cachePath());
    ASSERT_TRUE(FingerprintCache::decoded(good));
    for (const QByteArray& damage : QList<QByteArray>{good.left(good.size() - 3), "not a cache", good + "x"}) {
        EXPECT_FALSE(FingerprintCache::decoded(damage));
        writeFile(cachePath(), damage);
        decoded = 0;
        EXPECT_EQ(search(tracks), fresh);
        EXPECT_EQ(decoded, 2);
        EXPECT_EQ(readFile(cachePath()), good) << "written whole again";
    }
}

TEST_F(FingerprintCacheTest, ACancelledSearchGivesNothing)
{
    DuplicateFinder::Search cancelled;
    cancelled.cancelled->store(true);
    cancelled.cachePath = cachePath();
    const QList<Track> tracks{copy(u"a.flac"_s, u"a.flac"_s), copy(u"a.ogg"_s, u"a.ogg"_s)};
    EXPECT_EQ(BlockingWait::wait(DuplicateFinder::findDuplicates(tracks, cancelled)), std::nullopt);
}
