#include "TestImages.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <cstdlib>
#include <cstdio>

namespace TestImages {

namespace {

[[noreturn]] void giveUp(const char* what)
{
    std::fprintf(stderr, "TestImages: %s\n", what);
    std::abort();
}

} // namespace

QByteArray png(int width, int height)
{
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
    if (!codec)
        giveUp("no PNG encoder");
    AVCodecContext* context = avcodec_alloc_context3(codec);
    context->width = width;
    context->height = height;
    context->pix_fmt = AV_PIX_FMT_RGB24;
    context->time_base = AVRational{1, 1};
    if (avcodec_open2(context, codec, nullptr) < 0)
        giveUp("the PNG encoder did not open");
    AVFrame* frame = av_frame_alloc();
    frame->format = AV_PIX_FMT_RGB24;
    frame->width = width;
    frame->height = height;
    if (av_frame_get_buffer(frame, 0) < 0)
        giveUp("no frame buffer");
    for (int y = 0; y < height; ++y) {
        uint8_t* row = frame->data[0] + qsizetype(y) * frame->linesize[0];
        for (int x = 0; x < width; ++x) {
            row[3 * x] = uint8_t(x * 255 / width);
            row[3 * x + 1] = uint8_t(y * 255 / height);
            row[3 * x + 2] = uint8_t((x + y) % 256);
        }
    }
    AVPacket* packet = av_packet_alloc();
    if (avcodec_send_frame(context, frame) < 0 || avcodec_send_frame(context, nullptr) < 0
        || avcodec_receive_packet(context, packet) < 0)
        giveUp("the PNG did not encode");
    const QByteArray bytes(reinterpret_cast<const char*>(packet->data), packet->size);
    av_packet_free(&packet);
    av_frame_free(&frame);
    avcodec_free_context(&context);
    return bytes;
}

} // namespace TestImages
