#include "ImageScaling.h"

#include "FFmpegPointers.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}

#include <cmath>
#include <cstring>
#include <mutex>

namespace ImageScaling {

namespace {

struct ScalerFreer {
    void operator()(SwsContext* context) const { sws_freeContext(context); }
};
using Scaler = std::unique_ptr<SwsContext, ScalerFreer>;

// FFmpeg's JPEG quantiser that comes closest to the usual quality 90.
constexpr int jpegQuantiser = 2;

bool startsWith(const QByteArray& data, const char* signature, qsizetype offset = 0)
{
    const auto length = qsizetype(std::strlen(signature));
    return data.size() >= offset + length && std::memcmp(data.constData() + offset, signature, length) == 0;
}

AVCodecID codecOf(const QByteArray& data)
{
    if (startsWith(data, "\x89PNG"))
        return AV_CODEC_ID_PNG;
    if (startsWith(data, "GIF8"))
        return AV_CODEC_ID_GIF;
    if (startsWith(data, "RIFF") && startsWith(data, "WEBP", 8))
        return AV_CODEC_ID_WEBP;
    if (startsWith(data, "\xff\xd8"))
        return AV_CODEC_ID_MJPEG;
    return AV_CODEC_ID_NONE;
}

FFmpeg::Frame decode(const QByteArray& image)
{
    static std::once_flag quiet;
    std::call_once(quiet, [] { av_log_set_level(AV_LOG_QUIET); });
    const AVCodec* codec = avcodec_find_decoder(codecOf(image));
    if (!codec)
        return nullptr;
    FFmpeg::Codec context(avcodec_alloc_context3(codec));
    FFmpeg::Packet packet(av_packet_alloc());
    FFmpeg::Frame frame(av_frame_alloc());
    if (!context || !packet || !frame || avcodec_open2(context.get(), codec, nullptr) < 0
        || av_new_packet(packet.get(), int(image.size())) < 0)
        return nullptr;
    std::memcpy(packet->data, image.constData(), size_t(image.size()));
    if (avcodec_send_packet(context.get(), packet.get()) < 0)
        return nullptr;
    avcodec_send_packet(context.get(), nullptr);
    if (avcodec_receive_frame(context.get(), frame.get()) < 0 || frame->width <= 0 || frame->height <= 0)
        return nullptr;
    return frame;
}

std::optional<QByteArray> encodeJpeg(const AVFrame& source, int width, int height)
{
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    if (!codec)
        return std::nullopt;
    FFmpeg::Codec context(avcodec_alloc_context3(codec));
    FFmpeg::Frame frame(av_frame_alloc());
    FFmpeg::Packet packet(av_packet_alloc());
    if (!context || !frame || !packet)
        return std::nullopt;
    // The full-range form is what JPEG files hold.
    context->pix_fmt = AV_PIX_FMT_YUVJ420P;
    context->width = width;
    context->height = height;
    context->time_base = AVRational{1, 1};
    context->flags |= AV_CODEC_FLAG_QSCALE;
    context->global_quality = FF_QP2LAMBDA * jpegQuantiser;
    if (avcodec_open2(context.get(), codec, nullptr) < 0)
        return std::nullopt;

    frame->format = context->pix_fmt;
    frame->width = width;
    frame->height = height;
    frame->quality = context->global_quality;
    if (av_frame_get_buffer(frame.get(), 0) < 0)
        return std::nullopt;
    Scaler scaler(sws_getContext(source.width, source.height, AVPixelFormat(source.format), width, height,
                                 context->pix_fmt, SWS_LANCZOS | SWS_ACCURATE_RND, nullptr, nullptr, nullptr));
    if (!scaler)
        return std::nullopt;
    sws_scale(scaler.get(), source.data, source.linesize, 0, source.height, frame->data, frame->linesize);

    if (avcodec_send_frame(context.get(), frame.get()) < 0 || avcodec_send_frame(context.get(), nullptr) < 0
        || avcodec_receive_packet(context.get(), packet.get()) < 0)
        return std::nullopt;
    return QByteArray(reinterpret_cast<const char*>(packet->data), packet->size);
}

} // namespace

std::optional<QByteArray> fittedJpeg(const QByteArray& image, int maxPixels)
{
    const FFmpeg::Frame frame = decode(image);
    if (!frame)
        return std::nullopt;
    const int longer = std::max(frame->width, frame->height);
    if (longer <= maxPixels && codecOf(image) == AV_CODEC_ID_MJPEG)
        return image;
    const double scale = std::min(1.0, double(maxPixels) / longer);
    const int width = std::max(1, int(std::lround(frame->width * scale)));
    const int height = std::max(1, int(std::lround(frame->height * scale)));
    return encodeJpeg(*frame, width, height);
}

std::optional<std::pair<int, int>> dimensions(const QByteArray& image)
{
    const FFmpeg::Frame frame = decode(image);
    if (!frame)
        return std::nullopt;
    return std::pair{frame->width, frame->height};
}

} // namespace ImageScaling
