#include "library/BlockingWait.h"
#include "library/TagReader.h"
#include "support/AsyncTesting.h"
#include "support/AudioFixtures.h"
#include "support/EncodedAudio.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"
#include "sync/Transcoder.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using namespace Qt::StringLiterals;

namespace {

// What FFmpeg's own probe says of a file.
struct Probe {
    QString codec;
    int sampleRate = 0;
    int channels = 0;
    qint64 bitRate = 0;
    double seconds = 0;
};

Probe probe(const QString& path)
{
    AVFormatContext* format = nullptr;
    if (avformat_open_input(&format, QFile::encodeName(path).constData(), nullptr, nullptr) < 0)
        return {};
    Probe result;
    if (avformat_find_stream_info(format, nullptr) >= 0) {
        const int index = av_find_best_stream(format, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
        if (index >= 0) {
            const AVCodecParameters* parameters = format->streams[index]->codecpar;
            result.codec = QString::fromUtf8(avcodec_get_name(parameters->codec_id));
            result.sampleRate = parameters->sample_rate;
            result.channels = parameters->ch_layout.nb_channels;
            result.bitRate = parameters->bit_rate > 0 ? parameters->bit_rate : format->bit_rate;
            result.seconds = double(format->duration) / AV_TIME_BASE;
        }
    }
    avformat_close_input(&format);
    return result;
}

// A chord at any rate and channel count, for the sources the music helper does not make.
std::vector<float> tone(int rate, int channels, double seconds)
{
    std::vector<float> samples(size_t(seconds * rate) * size_t(channels));
    for (size_t i = 0; i < samples.size() / size_t(channels); ++i) {
        const double t = double(i) / rate;
        const auto value = float(0.2 * std::sin(2 * std::numbers::pi * 440 * t) + 0.1 * std::sin(2 * std::numbers::pi * 1250 * t)
                                 + 0.05 * std::sin(2 * std::numbers::pi * 5300 * t * (1 + 0.1 * std::sin(t))));
        for (int c = 0; c < channels; ++c)
            samples[i * size_t(channels) + size_t(c)] = value;
    }
    return samples;
}

// Files of the folder, hidden ones included.
QStringList filesIn(const QString& folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

struct SourceCase {
    const char* name;
    const char* extension;
    int channels;
    int rate;
};

class TranscoderFormatTest : public ::testing::TestWithParam<std::tuple<SourceCase, OutputFormat>> {
protected:
    QTemporaryDir folder;
};

} // namespace

TEST_P(TranscoderFormatTest, EverySourceComesOutAt44kStereoWithTheBitRateLengthTagsAndCover)
{
    const auto& [source, format] = GetParam();
    constexpr double seconds = 6.0;
    const QString from = folder.filePath(u"source."_s + QLatin1StringView(source.extension));
    if (source.channels == 2 && source.rate == EncodedAudio::sampleRate)
        EncodedAudio::write(EncodedAudio::music(7, seconds), from);
    else
        EncodedAudio::write(tone(source.rate, source.channels, seconds), source.channels, source.rate, from);
    const qint64 kbps = format == OutputFormat::mp3 ? 320 : 192;
    const QString extension = format == OutputFormat::mp3 ? u"mp3"_s : u"m4a"_s;
    const QString to = folder.filePath(u"device/Out."_s + extension);
    QDir().mkpath(folder.filePath(u"device"_s));

    Track track = makeFullTrack();
    track.url = QUrl::fromLocalFile(from);
    track.artworkData = AudioFixtures::pngBytes();
    BlockingWait::wait(Transcoder::transcode(QUrl::fromLocalFile(from), QUrl::fromLocalFile(to), {format, kbps}, track));

    const Probe result = probe(to);
    EXPECT_EQ(result.codec, format == OutputFormat::mp3 ? u"mp3"_s : u"aac"_s);
    EXPECT_EQ(result.sampleRate, 44100);
    EXPECT_EQ(result.channels, 2);
    EXPECT_NEAR(double(result.bitRate), kbps * 1000.0, kbps * 100.0);
    EXPECT_NEAR(result.seconds, probe(from).seconds, 0.1);
    EXPECT_EQ(filesIn(folder.filePath(u"device"_s)), QStringList{u"Out."_s + extension});

    const std::optional<TrackMetadata> tags = TagReader::read(QUrl::fromLocalFile(to));
    ASSERT_TRUE(tags);
    EXPECT_EQ(tags->title, track.title);
    EXPECT_EQ(tags->artist, track.artist);
    EXPECT_EQ(tags->albumArtist, track.albumArtist);
    EXPECT_EQ(tags->album, track.album);
    EXPECT_EQ(tags->genre, track.genre);
    EXPECT_EQ(tags->year, track.year);
    EXPECT_EQ(tags->trackNumber, track.trackNumber);
    EXPECT_EQ(tags->discNumber, track.discNumber);
    EXPECT_EQ(tags->bpm, track.bpm);
    EXPECT_EQ(tags->releaseMBID, track.releaseMBID);
    EXPECT_EQ(tags->releaseGroupMBID, track.releaseGroupMBID);
    EXPECT_EQ(tags->externalID, track.externalID);
    EXPECT_EQ(tags->customTags.value(u"MOOD"_s), u"late night"_s);
    EXPECT_EQ(tags->artworkData, AudioFixtures::pngBytes());
}

INSTANTIATE_TEST_SUITE_P(
    Sources, TranscoderFormatTest,
    ::testing::Combine(::testing::Values(SourceCase{"Flac", "flac", 2, 44100}, SourceCase{"Mp3", "mp3", 2, 44100},
                                         SourceCase{"M4a", "m4a", 2, 44100}, SourceCase{"Vorbis", "ogg", 2, 44100},
                                         SourceCase{"Opus48k", "opus", 2, 48000}, SourceCase{"Wav", "wav", 2, 44100},
                                         SourceCase{"MonoWav22k", "wav", 1, 22050},
                                         SourceCase{"MonoFlac22k", "flac", 1, 22050},
                                         SourceCase{"Flac48k", "flac", 2, 48000}),
                       ::testing::Values(OutputFormat::mp3, OutputFormat::aac)),
    [](const auto& test) {
        return std::string(std::get<0>(test.param).name) + (std::get<1>(test.param) == OutputFormat::mp3 ? "ToMp3" : "ToAac");
    });

TEST(TranscoderTest, EncoderSettingsFixTheRateAndChannelsAndScaleTheBitRate)
{
    const AudioTranscoding::Target aac = Transcoder::encoderSettings(OutputFormat::aac, 320);
    EXPECT_EQ(aac.container, u"ipod"_s);
    EXPECT_EQ(aac.encoder, u"aac"_s);
    EXPECT_EQ(aac.bitRate, 320000);
    EXPECT_EQ(aac.sampleRate, 44100);
    EXPECT_EQ(aac.channels, 2);
    const AudioTranscoding::Target mp3 = Transcoder::encoderSettings(OutputFormat::mp3, 128);
    EXPECT_EQ(mp3.container, u"mp3"_s);
    EXPECT_EQ(mp3.encoder, u"libmp3lame"_s);
    EXPECT_EQ(mp3.bitRate, 128000);
}

TEST(TranscoderDeathTest, KeepSourceAndAnOverflowingBitRateAreProgrammingErrors)
{
    EXPECT_DEATH(Transcoder::encoderSettings(OutputFormat::keepSource, 320),
                 "Transcoder.encoderSettings: called with .keepSource");
    EXPECT_DEATH(Transcoder::encoderSettings(OutputFormat::mp3, std::numeric_limits<qint64>::max() / 10), "overflows");
}

TEST(TranscoderTest, ASourceWithoutAudioFailsBeforeAnyFileIsMade)
{
    QTemporaryDir folder;
    const QString from = folder.filePath(u"notes.flac"_s);
    writeFile(from, "these are words, not sound");
    QDir().mkpath(folder.filePath(u"device"_s));
    const auto error = awaitFailure<Transcoder::TranscodeError>(Transcoder::transcode(
        QUrl::fromLocalFile(from), QUrl::fromLocalFile(folder.filePath(u"device/notes.mp3"_s)), {OutputFormat::mp3, 320}));
    EXPECT_EQ(error.kind(), Transcoder::TranscodeError::Kind::noAudioTrack);
    EXPECT_TRUE(filesIn(folder.filePath(u"device"_s)).isEmpty());
}

TEST(TranscoderTest, ASourceCutShortFailsAndLeavesTheOldDestinationAlone)
{
    QTemporaryDir folder;
    const QString whole = EncodedAudio::write(EncodedAudio::music(3, 10.0), folder.filePath(u"whole.flac"_s));
    QByteArray bytes = readFile(whole);
    bytes.truncate(bytes.size() / 3);
    const QString from = folder.filePath(u"cut.flac"_s);
    writeFile(from, bytes);
    const QString to = folder.filePath(u"device/cut.mp3"_s);
    writeFile(to, "the earlier file");

    const auto error = awaitFailure<Transcoder::TranscodeError>(
        Transcoder::transcode(QUrl::fromLocalFile(from), QUrl::fromLocalFile(to), {OutputFormat::mp3, 128}));
    EXPECT_EQ(error.kind(), Transcoder::TranscodeError::Kind::readFailed);
    EXPECT_TRUE(error.message().startsWith(u"“%1” could not be read: "_s.arg(from))) << error.message().toStdString();
    EXPECT_EQ(filesIn(folder.filePath(u"device"_s)), QStringList{u"cut.mp3"_s});
    EXPECT_EQ(readFile(to), "the earlier file");
}

TEST(TranscoderTest, ASourceWithACorruptFrameFailsWithWhereAndLeavesNothingOnTheDevice)
{
    QTemporaryDir folder;
    const QString from = EncodedAudio::write(EncodedAudio::music(3, 10.0), folder.filePath(u"damaged.flac"_s));
    EncodedAudio::damageMiddleFrame(from);
    QDir().mkpath(folder.filePath(u"device"_s));
    const QString to = folder.filePath(u"device/damaged.mp3"_s);

    const auto error = awaitFailure<Transcoder::TranscodeError>(
        Transcoder::transcode(QUrl::fromLocalFile(from), QUrl::fromLocalFile(to), {OutputFormat::mp3, 128}));
    EXPECT_EQ(error.kind(), Transcoder::TranscodeError::Kind::readFailed);
    EXPECT_TRUE(error.message().contains(u"damaged"_s)) << error.message().toStdString();
    EXPECT_TRUE(error.message().contains(u"00:0"_s)) << error.message().toStdString();
    EXPECT_EQ(filesIn(folder.filePath(u"device"_s)), QStringList{});
}

TEST(TranscoderTest, AnExistingDestinationIsReplaced)
{
    QTemporaryDir folder;
    const QString from = EncodedAudio::write(EncodedAudio::music(4, 2.0), folder.filePath(u"a.wav"_s));
    const QString to = folder.filePath(u"a.m4a"_s);
    writeFile(to, "old");
    BlockingWait::wait(Transcoder::transcode(QUrl::fromLocalFile(from), QUrl::fromLocalFile(to), {OutputFormat::aac, 128}));
    EXPECT_EQ(probe(to).codec, u"aac"_s);
    // Written for streaming: the index comes before the audio.
    const QByteArray head = readFile(to).left(4096);
    EXPECT_LT(head.indexOf("moov"), head.indexOf("mdat"));
}

TEST(TranscoderTest, AMissingSourceFailsInWords)
{
    QTemporaryDir folder;
    const QString from = folder.filePath(u"gone.flac"_s);
    const auto error = awaitFailure<Transcoder::TranscodeError>(Transcoder::transcode(
        QUrl::fromLocalFile(from), QUrl::fromLocalFile(folder.filePath(u"gone.mp3"_s)), {OutputFormat::mp3, 128}));
    EXPECT_EQ(error.kind(), Transcoder::TranscodeError::Kind::readFailed);
    EXPECT_EQ(error.message(), u"“%1” could not be read: the file is missing."_s.arg(from));
    EXPECT_TRUE(filesIn(folder.path()).isEmpty());
}
