#include "EncodedAudio.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

#include <cmath>
#include <numbers>
#include <random>

using namespace Qt::StringLiterals;

namespace EncodedAudio {

std::vector<float> music(unsigned seed, double seconds)
{
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> pitch(48, 84);
    std::uniform_int_distribution<int> beats(1, 4);
    const auto frames = size_t(seconds * sampleRate);
    std::vector<float> stereo(frames * 2);
    size_t start = 0;
    while (start < frames) {
        const size_t length = std::min(frames - start, size_t(beats(random)) * sampleRate / 6);
        // A chord of two notes, so that the chroma has something to hold on to.
        const double first = 440.0 * std::pow(2.0, (pitch(random) - 69) / 12.0);
        const double second = first * std::pow(2.0, (beats(random) + 2) / 12.0);
        for (size_t i = 0; i < length; ++i) {
            const double t = double(i) / sampleRate;
            const double envelope = std::min(1.0, t * 50) * std::exp(-2.0 * t);
            double value = 0;
            for (int overtone = 1; overtone <= 3; ++overtone) {
                value += std::sin(2 * std::numbers::pi * first * overtone * t) / overtone;
                value += 0.6 * std::sin(2 * std::numbers::pi * second * overtone * t) / overtone;
            }
            const auto sample = float(0.25 * envelope * value);
            stereo[2 * (start + i)] = sample;
            stereo[2 * (start + i) + 1] = 0.8f * sample;
        }
        start += length;
    }
    return stereo;
}

namespace {

[[noreturn]] void fail(const QString& path, const char* what)
{
    qFatal("Cannot encode %s: %s", qPrintable(path), what);
}

void writePackets(AVCodecContext* encoder, AVFormatContext* format, AVStream* stream, AVPacket* packet)
{
    while (avcodec_receive_packet(encoder, packet) == 0) {
        av_packet_rescale_ts(packet, encoder->time_base, stream->time_base);
        packet->stream_index = stream->index;
        av_interleaved_write_frame(format, packet);
    }
}

} // namespace

QString write(const std::vector<float>& stereo, const QString& path, int bitRate)
{
    return write(stereo, 2, sampleRate, path, bitRate);
}

QString write(const std::vector<float>& interleaved, int channels, int rate, const QString& path, int bitRate)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    const QString extension = QFileInfo(path).suffix();
    const char* encoderName = extension == u"flac"  ? "flac"
                              : extension == u"mp3" ? "libmp3lame"
                              : extension == u"ogg" ? "libvorbis"
                              : extension == u"m4a" ? "aac"
                              : extension == u"opus" ? "libopus"
                                                    : "pcm_s16le";
    const QByteArray file = path.toUtf8();
    AVFormatContext* format = nullptr;
    if (avformat_alloc_output_context2(&format, nullptr, nullptr, file.constData()) < 0)
        fail(path, "no container");
    const AVCodec* codec = avcodec_find_encoder_by_name(encoderName);
    if (!codec)
        fail(path, encoderName);
    AVStream* stream = avformat_new_stream(format, nullptr);
    AVCodecContext* encoder = avcodec_alloc_context3(codec);
    encoder->sample_rate = rate;
    av_channel_layout_default(&encoder->ch_layout, channels);
    encoder->sample_fmt = codec->sample_fmts[0];
    encoder->bit_rate = bitRate;
    encoder->time_base = {1, rate};
    if (format->oformat->flags & AVFMT_GLOBALHEADER)
        encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (avcodec_open2(encoder, codec, nullptr) < 0)
        fail(path, "encoder does not open");
    avcodec_parameters_from_context(stream->codecpar, encoder);
    stream->time_base = encoder->time_base;
    if (avio_open(&format->pb, file.constData(), AVIO_FLAG_WRITE) < 0 || avformat_write_header(format, nullptr) < 0)
        fail(path, "file does not open");

    SwrContext* converter = nullptr;
    swr_alloc_set_opts2(&converter, &encoder->ch_layout, encoder->sample_fmt, rate, &encoder->ch_layout,
                        AV_SAMPLE_FMT_FLT, rate, 0, nullptr);
    swr_init(converter);
    const int frameSize = encoder->frame_size > 0 ? encoder->frame_size : 1024;
    AVFrame* frame = av_frame_alloc();
    AVPacket* packet = av_packet_alloc();
    // Whole frames only, the last padded with silence.
    const auto width = size_t(channels);
    std::vector<float> padded(interleaved);
    padded.resize((padded.size() / width + size_t(frameSize) - 1) / size_t(frameSize) * size_t(frameSize) * width, 0.0f);
    for (size_t offset = 0; offset < padded.size() / width; offset += size_t(frameSize)) {
        frame->nb_samples = frameSize;
        frame->format = encoder->sample_fmt;
        frame->sample_rate = rate;
        av_channel_layout_copy(&frame->ch_layout, &encoder->ch_layout);
        if (av_frame_get_buffer(frame, 0) < 0)
            fail(path, "no frame");
        const auto* input = reinterpret_cast<const uint8_t*>(padded.data() + offset * width);
        swr_convert(converter, frame->data, frameSize, &input, frameSize);
        frame->pts = qint64(offset);
        if (avcodec_send_frame(encoder, frame) < 0)
            fail(path, "frame refused");
        writePackets(encoder, format, stream, packet);
        av_frame_unref(frame);
    }
    avcodec_send_frame(encoder, nullptr);
    writePackets(encoder, format, stream, packet);
    av_write_trailer(format);
    avio_closep(&format->pb);
    av_packet_free(&packet);
    av_frame_free(&frame);
    swr_free(&converter);
    avcodec_free_context(&encoder);
    avformat_free_context(format);
    return path;
}

void damageMiddleFrame(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite))
        qFatal("cannot damage %s", qPrintable(path));
    QByteArray bytes = file.readAll();
    // Past the metadata blocks, which may hold tags, a picture or padding.
    qsizetype audio = 4;
    bool last = false;
    while (!last && audio + 4 <= bytes.size()) {
        const auto header = reinterpret_cast<const uchar*>(bytes.constData() + audio);
        last = (header[0] & 0x80) != 0;
        audio += 4 + ((qsizetype(header[1]) << 16) | (qsizetype(header[2]) << 8) | qsizetype(header[3]));
    }
    if (!bytes.startsWith("fLaC") || audio + 8192 > bytes.size())
        qFatal("no FLAC audio to damage in %s", qPrintable(path));
    const qsizetype middle = audio + (bytes.size() - audio) / 2;
    for (qsizetype i = middle; i < middle + 32; ++i)
        bytes[i] = char(bytes[i] ^ 0x5a);
    file.seek(0);
    if (file.write(bytes) != bytes.size())
        qFatal("cannot damage %s", qPrintable(path));
}

} // namespace EncodedAudio
