#include "../../support/AudioFixtures.h"
#include "../../support/EncodedAudio.h"
#include "library/JsonCoding.h"
#include "library/JsonReader.h"
#include "library/JsonWriter.h"
#include "library/LoudnessAnalyzer.h"
#include "library/ReplayGain.h"

#include <QFileInfo>
#include <QTemporaryDir>
#include <QThreadPool>

#include <gtest/gtest.h>

#include <cmath>
#include <mutex>
#include <numbers>

using namespace Qt::StringLiterals;

namespace {

constexpr int rate = EncodedAudio::sampleRate;

// A 1 kHz sine in every channel whose RMS is `rmsDBFS`.
std::vector<float> sine(double rmsDBFS, double seconds, int channels = 2)
{
    const double amplitude = std::pow(10.0, rmsDBFS / 20.0) * std::numbers::sqrt2;
    const auto frames = size_t(seconds * rate);
    std::vector<float> samples(frames * size_t(channels));
    for (size_t i = 0; i < frames; ++i) {
        const auto value = float(amplitude * std::sin(2.0 * std::numbers::pi * 1000.0 * double(i) / rate));
        for (int c = 0; c < channels; ++c)
            samples[i * size_t(channels) + size_t(c)] = value;
    }
    return samples;
}

Track trackAt(const QString& path, const QString& album = u"Album"_s)
{
    Track track;
    track.id = QUuid::createUuid();
    track.url = QUrl::fromLocalFile(path);
    track.title = QFileInfo(path).baseName();
    track.albumArtist = u"Artist"_s;
    track.album = album;
    return track;
}

class LoudnessAnalyzerTest : public ::testing::Test {
protected:
    QString wav(const std::vector<float>& samples, const QString& name, int channels = 2)
    {
        return EncodedAudio::write(samples, channels, rate, folder.filePath(name));
    }

    QTemporaryDir folder;
};

} // namespace

TEST_F(LoudnessAnalyzerTest, SinesMeasureAsTheStandardsTestSignalsPredict)
{
    // A stereo 1 kHz sine of −23 dBFS peak in both channels is −23 LUFS: the first test of the
    // standard. Its RMS is 3.01 dB lower.
    const LoudnessAnalyzer::Measurement reference = LoudnessAnalyzer::measure(wav(sine(-23.0 - 3.0103, 20.0), u"a.wav"_s));
    EXPECT_NEAR(reference.loudness, -23.0, 0.1);

    // At −20 dBFS RMS: −20 + 3.01 (two channels) = −16.99 LUFS, so a gain of −1.01 dB, and a
    // peak of √2 · 0.1.
    const LoudnessAnalyzer::Measurement loud = LoudnessAnalyzer::measure(wav(sine(-20.0, 20.0), u"b.wav"_s));
    EXPECT_NEAR(loud.loudness, -16.99, 0.1);
    EXPECT_NEAR(ReplayGain::gain(loud.loudness), -1.01, 0.1);
    EXPECT_NEAR(loud.peak, 0.141421, 0.0015);
    EXPECT_GE(loud.peak, 0.1414) << "a true peak is never below the sample peak";

    // Mono plays from both speakers and measures as the same sine in stereo.
    const LoudnessAnalyzer::Measurement mono = LoudnessAnalyzer::measure(wav(sine(-20.0, 20.0, 1), u"c.wav"_s, 1));
    EXPECT_NEAR(mono.loudness, loud.loudness, 0.05);
}

TEST_F(LoudnessAnalyzerTest, AnAlbumIsAsLoudAsItsTracksHeardOneAfterAnother)
{
    const std::vector<float> loud = sine(-20.0, 30.0);
    const std::vector<float> quiet = sine(-26.0, 30.0);
    std::vector<float> both = loud;
    both.insert(both.end(), quiet.begin(), quiet.end());
    const QList<Track> album{trackAt(wav(loud, u"1.wav"_s)), trackAt(wav(quiet, u"2.wav"_s))};
    const double concatenated = LoudnessAnalyzer::measure(wav(both, u"both.wav"_s)).loudness;

    QThreadPool pool;
    pool.setMaxThreadCount(2);
    int done = 0;
    std::mutex counting;
    const QList<LoudnessAnalyzer::TrackResult> results = LoudnessAnalyzer::analyseAlbum(album, pool, [&] {
        const std::lock_guard lock(counting);
        ++done;
    });
    EXPECT_EQ(done, 2);
    ASSERT_EQ(results.size(), 2);
    ASSERT_TRUE(results[0].values && results[1].values);
    const ReplayGain::Values& first = *results[0].values;
    const ReplayGain::Values& second = *results[1].values;
    ASSERT_TRUE(first.albumLoudness);
    // Only the few blocks that straddle the join differ.
    EXPECT_NEAR(*first.albumLoudness, concatenated, 0.05);
    EXPECT_EQ(first.albumLoudness, second.albumLoudness);
    EXPECT_GT(*first.albumGain(), first.trackGain());
    EXPECT_LT(*first.albumGain(), second.trackGain());
    // Energy is averaged, not decibels: about −19.0 LUFS, where the mean of the two is −20.0.
    EXPECT_GT(*first.albumLoudness - (first.trackLoudness + second.trackLoudness) / 2, 0.5);
    EXPECT_EQ(first.albumPeak, std::max(first.trackPeak, second.trackPeak));
}

TEST_F(LoudnessAnalyzerTest, AQuietTrackBelowTheAlbumsGateDoesNotLowerIt)
{
    // 16 LU below the loud track: its blocks fall under the relative gate of the album.
    const QList<Track> album{trackAt(wav(sine(-14.0, 10.0), u"1.wav"_s)), trackAt(wav(sine(-30.0, 20.0), u"2.wav"_s))};
    QThreadPool pool;
    const QList<LoudnessAnalyzer::TrackResult> results = LoudnessAnalyzer::analyseAlbum(album, pool);
    ASSERT_TRUE(results[0].values && results[1].values);
    EXPECT_NEAR(*results[0].values->albumLoudness, results[0].values->trackLoudness, 0.01);
    EXPECT_NEAR(results[1].values->trackLoudness, -26.99, 0.1);
}

TEST_F(LoudnessAnalyzerTest, ADamagedFileIsReportedAndTheAlbumTakesTheRest)
{
    const QString good = EncodedAudio::write(sine(-20.0, 10.0), folder.filePath(u"good.flac"_s));
    const QString bad = EncodedAudio::write(EncodedAudio::music(3, 10.0), folder.filePath(u"bad.flac"_s));
    EncodedAudio::damageMiddleFrame(bad);
    try {
        LoudnessAnalyzer::measure(bad);
        FAIL() << "a damaged file measured";
    } catch (const LoudnessAnalyzer::AnalysisError& error) {
        EXPECT_EQ(error.kind(), LoudnessAnalyzer::AnalysisError::Kind::damaged);
        EXPECT_TRUE(error.message().contains(bad)) << qPrintable(error.message());
    }

    QThreadPool pool;
    const auto results = LoudnessAnalyzer::analyseAlbum({trackAt(good), trackAt(bad)}, pool);
    ASSERT_TRUE(results[0].values);
    EXPECT_FALSE(results[1].values);
    EXPECT_FALSE(results[1].failure.isEmpty());
    EXPECT_NEAR(*results[0].values->albumLoudness, results[0].values->trackLoudness, 0.01);

    EXPECT_THROW(LoudnessAnalyzer::measure(folder.filePath(u"gone.flac"_s)), LoudnessAnalyzer::AnalysisError);
}

TEST(LoudnessAlbums, TracksShareAnAlbumByAlbumArtistAlbumAndRelease)
{
    Track a = trackAt(u"/m/a.flac"_s);
    Track b = trackAt(u"/m/b.flac"_s);
    Track otherRelease = trackAt(u"/m/c.flac"_s);
    otherRelease.releaseMBID = u"release-2"_s;
    Track single = trackAt(u"/m/d.flac"_s, u" "_s);
    Track otherSingle = trackAt(u"/m/e.flac"_s, QString());
    Track otherArtist = trackAt(u"/m/f.flac"_s);
    otherArtist.albumArtist = u"Someone"_s;
    const QList<QList<Track>> albums = LoudnessAnalyzer::albums({a, single, otherRelease, b, otherSingle, otherArtist});
    ASSERT_EQ(albums.size(), 5);
    EXPECT_EQ(albums[0], (QList<Track>{a, b}));
    EXPECT_EQ(albums[1], QList<Track>{single});
    EXPECT_EQ(albums[2], QList<Track>{otherRelease});
    EXPECT_EQ(albums[3], QList<Track>{otherSingle});
    EXPECT_EQ(albums[4], QList<Track>{otherArtist});
}

TEST(ReplayGainText, GainsAndPeaksAreWrittenAsOtherTaggersWriteThem)
{
    EXPECT_EQ(ReplayGain::gain(-10.474), -7.53);
    EXPECT_EQ(ReplayGain::gainText(-7.53), u"-7.53 dB"_s);
    EXPECT_EQ(ReplayGain::gainText(2.5), u"2.50 dB"_s);
    EXPECT_EQ(ReplayGain::gainText(-0.001), u"0.00 dB"_s);
    EXPECT_EQ(ReplayGain::peakText(0.98855312), u"0.988553"_s);
    EXPECT_EQ(ReplayGain::peakText(1.2), u"1.200000"_s);

    EXPECT_EQ(ReplayGain::parseGain(u"-7.53 dB"_s), -7.53);
    EXPECT_EQ(ReplayGain::parseGain(u" +2 db"_s), 2.0);
    EXPECT_EQ(ReplayGain::parseGain(u"-.5"_s), -0.5);
    EXPECT_EQ(ReplayGain::parseGain(u"loud"_s), std::nullopt);
    EXPECT_EQ(ReplayGain::parseGain(QString()), std::nullopt);
}

TEST(ReplayGainText, OpusGainsAreQ78StepsTowardsMinus23)
{
    // −23 − (−16.99) = −6.01 dB = −1538.56 / 256.
    EXPECT_EQ(ReplayGain::opusGain(-16.99), -1539);
    EXPECT_EQ(ReplayGain::opusGain(-23.0), 0);
    EXPECT_EQ(ReplayGain::opusGain(-33.0), 2560);
    EXPECT_EQ(ReplayGain::opusGain(-300.0), 32767);
    EXPECT_EQ(ReplayGain::opusGain(200.0), -32768);
    // Read back as a gain towards −18: 5 dB more.
    EXPECT_EQ(ReplayGain::fromOpusGain(u"-1539"_s), -1.01);
    EXPECT_EQ(ReplayGain::fromOpusGain(u"2560"_s), 15.0);
    EXPECT_EQ(ReplayGain::fromOpusGain(u"-7.5"_s), std::nullopt);
    EXPECT_EQ(ReplayGain::fromOpusGain(u"40000"_s), std::nullopt);
}

TEST(TrackReplayGainJson, GainsAreOptionalAndAnOlderCatalogueReadsUnchanged)
{
    Track track = trackAt(u"/m/a.flac"_s);
    const auto encode = [](const Track& t) {
        JsonWriter writer;
        t.writeJson(writer);
        return writer.take();
    };
    const QByteArray without = encode(track);
    EXPECT_FALSE(without.contains("replayGain")) << without.constData();
    const auto decode = [](const QByteArray& bytes) {
        const JsonDocument document = JsonDocument::parse(bytes);
        return Track::fromJson(*document.root().toObject());
    };
    EXPECT_EQ(decode(without), track);

    track.replayGainTrack = -7.53;
    track.replayGainAlbum = 1.25;
    const QByteArray with = encode(track);
    EXPECT_TRUE(with.contains("\"replayGainTrack\":-7.53")) << with.constData();
    EXPECT_EQ(decode(with), track);
}
