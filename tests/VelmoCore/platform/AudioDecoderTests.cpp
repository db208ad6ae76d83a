#include "platform/AudioDecoder.h"
#include "support/EncodedAudio.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtEndian>

#include <gtest/gtest.h>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

using AudioDecoder::DecodeError;

class AudioDecoderTest : public ::testing::Test {
protected:
    QTemporaryDir folder;
    std::vector<float> music = EncodedAudio::music(7, 20.0);
};

// The low 32 of STREAMINFO's 36 bits of total samples follow "fLaC", the block header and 14
// bytes of sizes, rate and format.
constexpr qsizetype totalSamplesAt = 22;

quint32 statedFrames(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray head = file.read(totalSamplesAt + 4);
    return head.startsWith("fLaC") ? qFromBigEndian<quint32>(head.constData() + totalSamplesAt) : 0;
}

// The error for `path`, or a test failure when it decodes.
std::optional<DecodeError> errorOf(const QString& path, double maxSeconds = 600.0)
{
    try {
        AudioDecoder::decode(path, maxSeconds, 2);
    } catch (const DecodeError& error) {
        return error;
    }
    return std::nullopt;
}

TEST_F(AudioDecoderTest, AWholeFlacDecodesToTheLastSample)
{
    const QString path = EncodedAudio::write(music, folder.filePath(u"whole.flac"_s));
    const AudioDecoder::Samples samples = AudioDecoder::decode(path, 600.0, 2);
    EXPECT_EQ(samples.sampleRate, EncodedAudio::sampleRate);
    ASSERT_GE(statedFrames(path), music.size() / 2) << "the encoder pads the last block";
    ASSERT_EQ(samples.samples.size(), size_t(statedFrames(path)) * 2);
    EXPECT_NEAR(samples.samples[music.size() / 2], music[music.size() / 2], 1.0 / 32768.0);
}

TEST_F(AudioDecoderTest, ACorruptFrameIsADamagedFileNamedWithItsPosition)
{
    const QString path = EncodedAudio::write(music, folder.filePath(u"damaged.flac"_s));
    EncodedAudio::damageMiddleFrame(path);

    const std::optional<DecodeError> error = errorOf(path);
    ASSERT_TRUE(error) << "the damaged file decoded";
    EXPECT_EQ(error->kind(), DecodeError::Kind::damaged);
    const QString sentence = QString::fromUtf8(error->what());
    EXPECT_TRUE(sentence.contains(path)) << sentence.toStdString();
    // The damage sits near the middle of 20 seconds.
    const QRegularExpressionMatch at = QRegularExpression(u"\\b00:(\\d\\d)\\b"_s).match(sentence);
    ASSERT_TRUE(at.hasMatch()) << sentence.toStdString();
    EXPECT_GE(at.captured(1).toInt(), 6) << sentence.toStdString();
    EXPECT_LE(at.captured(1).toInt(), 14) << sentence.toStdString();

    // What lies before the damage still decodes: a preview is not refused.
    EXPECT_EQ(AudioDecoder::decode(path, 2.0, 2).samples.size(), size_t(2 * 2 * EncodedAudio::sampleRate));
}

TEST_F(AudioDecoderTest, AFlacShorterThanItsStreamInfoIsDamaged)
{
    const QString path = EncodedAudio::write(music, folder.filePath(u"short.flac"_s));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    QByteArray bytes = file.readAll();
    const quint32 total = statedFrames(path);
    ASSERT_GE(total, music.size() / 2);
    qToBigEndian<quint32>(total + 5 * EncodedAudio::sampleRate, bytes.data() + totalSamplesAt);
    ASSERT_TRUE(file.seek(0));
    ASSERT_EQ(file.write(bytes), bytes.size());
    file.close();

    const std::optional<DecodeError> error = errorOf(path);
    ASSERT_TRUE(error) << "the file decoded as if whole";
    EXPECT_EQ(error->kind(), DecodeError::Kind::damaged);
    EXPECT_EQ(QString::fromUtf8(error->what()), u"“%1” ends at 00:20 of the 00:25 it states."_s.arg(path));
}

TEST_F(AudioDecoderTest, AMissingFileIsUnreadableNotDamaged)
{
    const std::optional<DecodeError> error = errorOf(folder.filePath(u"none.flac"_s));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind(), DecodeError::Kind::unreadable);
}

TEST(AudioDecoderPosition, MinutesAndSecondsOfTwoDigits)
{
    EXPECT_EQ(AudioDecoder::position(0.0), u"00:00"_s);
    EXPECT_EQ(AudioDecoder::position(9.99), u"00:09"_s);
    EXPECT_EQ(AudioDecoder::position(187.2), u"03:07"_s);
    EXPECT_EQ(AudioDecoder::position(4000.0), u"66:40"_s);
}

} // namespace
