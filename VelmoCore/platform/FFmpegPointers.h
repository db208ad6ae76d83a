#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
}

#include <memory>

// Owners of FFmpeg's objects, so that every early return and throw frees them.
namespace FFmpeg {

struct InputCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct CodecFreer {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct PacketFreer {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FrameFreer {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct ResamplerFreer {
    void operator()(SwrContext* context) const { swr_free(&context); }
};

using Input = std::unique_ptr<AVFormatContext, InputCloser>;
using Codec = std::unique_ptr<AVCodecContext, CodecFreer>;
using Packet = std::unique_ptr<AVPacket, PacketFreer>;
using Frame = std::unique_ptr<AVFrame, FrameFreer>;
using Resampler = std::unique_ptr<SwrContext, ResamplerFreer>;

} // namespace FFmpeg
