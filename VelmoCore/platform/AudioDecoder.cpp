#include "AudioDecoder.h"

#include "FFmpegPointers.h"

#include <QCryptographicHash>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/log.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <mutex>

namespace AudioDecoder {

namespace {

using Format = FFmpeg::Input;
using FFmpeg::Packet;

[[noreturn]] void fail(const QString& path, const char* what)
{
    throw DecodeError(QStringLiteral("“%1” %2.").arg(path, QString::fromUtf8(what)).toStdString());
}

[[noreturn]] void damaged(const QString& path, const QString& what)
{
    throw DecodeError(QStringLiteral("“%1” %2.").arg(path, what).toStdString(), DecodeError::Kind::damaged);
}

double seconds(int64_t pts, const AVStream& stream)
{
    if (pts == AV_NOPTS_VALUE)
        return 0.0;
    return double(pts - std::max<int64_t>(stream.start_time == AV_NOPTS_VALUE ? 0 : stream.start_time, 0))
           * av_q2d(stream.time_base);
}

struct OpenStream {
    Format format;
    int index = -1;
    AVStream* stream = nullptr;
};

OpenStream openAudio(const QString& path)
{
    // FFmpeg's own complaints about damaged files would reach the terminal of velmo; the
    // failures that matter are thrown.
    static std::once_flag quiet;
    std::call_once(quiet, [] { av_log_set_level(AV_LOG_QUIET); });
    AVFormatContext* raw = nullptr;
    if (avformat_open_input(&raw, path.toUtf8().constData(), nullptr, nullptr) < 0)
        fail(path, "could not be opened as audio");
    OpenStream open{Format(raw)};
    if (avformat_find_stream_info(open.format.get(), nullptr) < 0)
        fail(path, "has no readable streams");
    open.index = av_find_best_stream(open.format.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (open.index < 0)
        fail(path, "holds no audio");
    open.stream = open.format->streams[open.index];
    return open;
}

// Whether the packet starts at or beyond the limit, in the stream's time base.
bool pastLimit(const AVPacket& packet, const AVStream& stream, double maxSeconds)
{
    return packet.pts != AV_NOPTS_VALUE && seconds(packet.pts, stream) >= maxSeconds;
}

} // namespace

QString position(double seconds)
{
    const auto whole = qint64(std::max(0.0, std::floor(seconds)));
    return QStringLiteral("%1:%2").arg(whole / 60, 2, 10, QLatin1Char('0')).arg(whole % 60, 2, 10, QLatin1Char('0'));
}

void decode(const QString& path, double maxSeconds, int maxChannels, const BlockHandler& onBlock)
{
    OpenStream open = openAudio(path);
    const AVCodec* codec = avcodec_find_decoder(open.stream->codecpar->codec_id);
    if (!codec)
        fail(path, "is in a format that cannot be decoded");
    FFmpeg::Codec decoder(avcodec_alloc_context3(codec));
    if (!decoder || avcodec_parameters_to_context(decoder.get(), open.stream->codecpar) < 0)
        fail(path, "could not be decoded");
    // Without these a FLAC frame whose checksum fails decodes into noise and passes as audio.
    if (codec->id == AV_CODEC_ID_FLAC)
        decoder->err_recognition |= AV_EF_CRCCHECK | AV_EF_EXPLODE;
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0)
        fail(path, "could not be decoded");

    const int rate = decoder->sample_rate;
    const int sourceChannels = decoder->ch_layout.nb_channels;
    if (rate <= 0 || sourceChannels <= 0)
        fail(path, "has no sample rate or channels");
    const int channels = std::min(sourceChannels, maxChannels);
    // An endless limit means the whole file.
    const qint64 wantedFrames = maxSeconds < double(std::numeric_limits<qint64>::max() / rate)
                                    ? qint64(std::floor(maxSeconds * rate))
                                    : std::numeric_limits<qint64>::max();

    // Interleaved float at the same rate and layout; only the first channels are kept after.
    SwrContext* rawResampler = nullptr;
    if (swr_alloc_set_opts2(&rawResampler, &decoder->ch_layout, AV_SAMPLE_FMT_FLT, rate, &decoder->ch_layout,
                            decoder->sample_fmt, rate, 0, nullptr)
            < 0
        || swr_init(rawResampler) < 0) {
        swr_free(&rawResampler);
        fail(path, "could not be converted");
    }
    FFmpeg::Resampler resampler(rawResampler);

    Packet packet(av_packet_alloc());
    FFmpeg::Frame frame(av_frame_alloc());
    std::vector<float> converted;
    std::vector<float> kept;
    qint64 frames = 0;
    bool decodedAny = false;

    double at = 0.0; // where the last packet sent begins
    const auto rejected = [&] { damaged(path, QStringLiteral("has a frame at %1 that does not decode").arg(position(at))); };
    const auto drain = [&] {
        int code = 0;
        while ((code = avcodec_receive_frame(decoder.get(), frame.get())) == 0) {
            decodedAny = true;
            converted.resize(size_t(frame->nb_samples) * size_t(sourceChannels));
            auto* out = reinterpret_cast<uint8_t*>(converted.data());
            const int count = swr_convert(resampler.get(), &out, frame->nb_samples,
                                          const_cast<const uint8_t**>(frame->extended_data), frame->nb_samples);
            av_frame_unref(frame.get());
            if (count < 0)
                fail(path, "could not be converted");
            const qint64 take = std::min<qint64>(count, wantedFrames - frames);
            if (take <= 0)
                continue;
            if (channels == sourceChannels) {
                onBlock(rate, channels, std::span<const float>(converted.data(), size_t(take) * size_t(channels)));
            } else {
                kept.resize(size_t(take) * size_t(channels));
                for (qint64 i = 0; i < take; ++i)
                    for (int c = 0; c < channels; ++c)
                        kept[size_t(i) * size_t(channels) + size_t(c)]
                            = converted[size_t(i) * size_t(sourceChannels) + size_t(c)];
                onBlock(rate, channels, kept);
            }
            frames += take;
        }
        if (code != AVERROR(EAGAIN) && code != AVERROR_EOF)
            rejected();
    };

    while (frames < wantedFrames && av_read_frame(open.format.get(), packet.get()) >= 0) {
        if (packet->stream_index == open.index) {
            at = seconds(packet->pts, *open.stream);
            if (avcodec_send_packet(decoder.get(), packet.get()) < 0)
                rejected();
            drain();
        }
        av_packet_unref(packet.get());
    }
    if (frames < wantedFrames) {
        avcodec_send_packet(decoder.get(), nullptr);
        drain();
    }
    if (!decodedAny)
        fail(path, "holds no decodable audio");
    // FLAC's STREAMINFO counts the samples exactly; other formats' lengths are estimates.
    if (frames < wantedFrames && open.stream->codecpar->codec_id == AV_CODEC_ID_FLAC
        && open.stream->duration != AV_NOPTS_VALUE && open.stream->duration > 0) {
        const int64_t stated = av_rescale_q(open.stream->duration, open.stream->time_base, AVRational{1, rate});
        if (frames < std::min<int64_t>(stated, wantedFrames))
            damaged(path, QStringLiteral("ends at %1 of the %2 it states")
                              .arg(position(double(frames) / rate), position(double(stated) / rate)));
    }
}

Samples decode(const QString& path, double maxSeconds, int maxChannels)
{
    Samples result;
    const auto append = [&result, maxSeconds](int rate, int channels, std::span<const float> interleaved) {
        if (result.samples.empty()) {
            result.sampleRate = rate;
            result.channels = channels;
            const auto wanted = qint64(std::min(maxSeconds, 600.0) * rate) * channels;
            result.samples.reserve(size_t(std::max<qint64>(wanted, 0)));
        }
        result.samples.insert(result.samples.end(), interleaved.begin(), interleaved.end());
    };
    decode(path, maxSeconds, maxChannels, append);
    return result;
}

QByteArray packetDigest(const QString& path, double maxSeconds)
{
    OpenStream open = openAudio(path);
    QCryptographicHash hash(QCryptographicHash::Sha1);
    Packet packet(av_packet_alloc());
    while (av_read_frame(open.format.get(), packet.get()) >= 0) {
        const bool ours = packet->stream_index == open.index;
        const bool done = ours && pastLimit(*packet, *open.stream, maxSeconds);
        if (ours && !done)
            hash.addData(QByteArrayView(reinterpret_cast<const char*>(packet->data), packet->size));
        av_packet_unref(packet.get());
        if (done)
            break;
    }
    return hash.result();
}

} // namespace AudioDecoder
