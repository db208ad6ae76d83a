#include "support/TrackFactory.h"
#include "sync/AddAction.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

Track source(const QString& fileName, AudioFormat format, std::optional<qint64> kbps)
{
    Track track = makeTrack(u"Song"_s);
    track.url = QUrl::fromLocalFile(u"/music/"_s + fileName);
    track.format = format;
    track.bitrate = kbps;
    return track;
}

DeviceProfile profile(OutputFormat format, qint64 kbps)
{
    DeviceProfile p;
    p.outputFormat = format;
    p.transcodeBitrate = kbps;
    return p;
}

struct Case {
    const char* fileName;
    AudioFormat format;
    std::optional<qint64> sourceKbps;
    OutputFormat target;
    qint64 targetKbps;
    const char* expected;
};

} // namespace

TEST(AddActionTest, LossySourcesAreNeverEncodedUpward)
{
    using F = AudioFormat;
    using O = OutputFormat;
    const Case cases[] = {
        // Lossless: always encoded at the profile's rate, whatever it measures.
        {"a.flac", F::flac, 900, O::mp3, 320, "transcode to MP3 320 kbps"},
        {"a.flac", F::flac, 96, O::mp3, 128, "transcode to MP3 128 kbps"},
        {"a.wav", F::wav, 1411, O::aac, 256, "transcode to AAC 256 kbps"},
        {"a.aiff", F::aiff, std::nullopt, O::mp3, 192, "transcode to MP3 192 kbps"},
        {"a.m4a", F::alac, 800, O::aac, 256, "transcode to AAC 256 kbps"},
        // The profile's own format: copied at or below its rate, encoded down above it.
        {"a.mp3", F::mp3, 128, O::mp3, 320, "copy"},
        {"a.mp3", F::mp3, 320, O::mp3, 320, "copy"},
        {"a.MP3", F::mp3, 192, O::mp3, 256, "copy"},
        {"a.mp3", F::mp3, 320, O::mp3, 192, "transcode to MP3 192 kbps"},
        // A measured rate a few percent above the profile's is the same rate.
        {"a.mp3", F::mp3, 131, O::mp3, 128, "copy"},
        {"a.mp3", F::mp3, 135, O::mp3, 128, "transcode to MP3 128 kbps"},
        {"a.m4a", F::aac, 256, O::aac, 256, "copy"},
        {"a.m4a", F::aac, 256, O::aac, 128, "transcode to AAC 128 kbps"},
        // A raw AAC stream is not the M4A file the device gets.
        {"a.aac", F::aac, 128, O::aac, 256, "transcode to AAC 128 kbps"},
        // Another lossy format: no more than the profile's rate nor the source's, rounded up
        // to the next rate the encoders take.
        {"a.ogg", F::ogg, 112, O::mp3, 320, "transcode to MP3 112 kbps"},
        {"a.ogg", F::ogg, 150, O::mp3, 320, "transcode to MP3 160 kbps"},
        {"a.opus", F::opus, 96, O::aac, 256, "transcode to AAC 96 kbps"},
        {"a.opus", F::opus, 500, O::mp3, 256, "transcode to MP3 256 kbps"},
        {"a.ogg", F::ogg, 500, O::mp3, 320, "transcode to MP3 320 kbps"},
        {"a.m4a", F::aac, 128, O::mp3, 320, "transcode to MP3 128 kbps"},
        {"a.mp3", F::mp3, 200, O::aac, 320, "transcode to AAC 224 kbps"},
        {"a.mp3", F::mp3, 128, O::aac, 96, "transcode to AAC 96 kbps"},
        // A lossy rate that is not known is no reason to copy.
        {"a.mp3", F::mp3, std::nullopt, O::mp3, 192, "transcode to MP3 192 kbps"},
        {"a.ogg", F::ogg, 0, O::mp3, 192, "transcode to MP3 192 kbps"},
        // Keeping the format copies everything.
        {"a.flac", F::flac, 900, O::keepSource, 320, "copy"},
        {"a.ogg", F::ogg, 500, O::keepSource, 128, "copy"},
    };
    for (const Case& c : cases) {
        const AddAction action = AddAction::forTrack(source(QString::fromLatin1(c.fileName), c.format, c.sourceKbps),
                                                     profile(c.target, c.targetKbps));
        EXPECT_EQ(action.description(), QString::fromLatin1(c.expected))
            << c.fileName << " at " << c.sourceKbps.value_or(-1) << " kbps to " << rawValue(c.target).toStdString() << ' '
            << c.targetKbps;
    }
}
