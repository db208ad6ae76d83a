#include "AudioTranscoding.h"

#include "AtomicFile.h"
#include "AudioDecoder.h"
#include "FFmpegPointers.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
#include <libavutil/dict.h>
#include <libavutil/log.h>
#include <libswresample/swresample.h>
}

#include <QFile>

#include <algorithm>
#include <cmath>
#include <memory>
#include <mutex>

using namespace Qt::StringLiterals;

namespace AudioTranscoding {

Failure::Failure(Stage stage, const QString& detail)
    : std::runtime_error(detail.toStdString())
    , m_stage(stage)
    , m_detail(detail)
{
}

namespace {

struct OutputCloser {
    void operator()(AVFormatContext* context) const
    {
        if (context->pb)
            avio_closep(&context->pb);
        avformat_free_context(context);
    }
};
struct FifoFreer {
    void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
};

using FFmpeg::Codec;
using FFmpeg::Frame;
using FFmpeg::Packet;

// FFmpeg's codes for system errors are the negated errno; those read as the project's words.
QString describe(int code)
{
    if (code < 0 && -code < 4096)
        return AtomicFile::describe(-code);
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    QString words = QString::fromUtf8(text);
    if (!words.isEmpty())
        words[0] = words[0].toLower();
    return words;
}

[[noreturn]] void readFailure(const QString& what) { throw Failure(Failure::Stage::read, what); }
[[noreturn]] void writeFailure(const QString& what) { throw Failure(Failure::Stage::write, what); }

void check(int code, Failure::Stage stage, const QString& what)
{
    if (code < 0)
        throw Failure(stage, what + u": "_s + describe(code));
}

// The part of the job that reads: the container, its first audio stream and its decoder.
struct Source {
    FFmpeg::Input format;
    AVStream* stream = nullptr;
    Codec decoder;
    // The length the container states, when it states one better than a guess from the bit
    // rate; a decode that ends well short of it is a cut-off file.
    std::optional<double> statedSeconds;
};

Source openSource(const QString& path)
{
    AVFormatContext* raw = nullptr;
    if (const int code = avformat_open_input(&raw, QFile::encodeName(path).constData(), nullptr, nullptr); code < 0) {
        if (code == AVERROR(ENOENT))
            readFailure(u"the file is missing"_s);
        if (code == AVERROR(EACCES) || code == AVERROR(EPERM) || code == AVERROR(EISDIR) || code == AVERROR(EIO))
            readFailure(u"the file could not be opened: "_s + describe(code));
        throw Failure(Failure::Stage::noAudio, u"the file is not audio"_s);
    }
    Source source{FFmpeg::Input(raw)};
    if (avformat_find_stream_info(raw, nullptr) < 0)
        throw Failure(Failure::Stage::noAudio, u"the file holds no readable streams"_s);
    const int index = av_find_best_stream(raw, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (index < 0)
        throw Failure(Failure::Stage::noAudio, u"the file holds no audio"_s);
    source.stream = raw->streams[index];
    for (unsigned i = 0; i < raw->nb_streams; ++i) {
        if (int(i) != index)
            raw->streams[i]->discard = AVDISCARD_ALL;
    }

    const AVCodec* codec = avcodec_find_decoder(source.stream->codecpar->codec_id);
    if (!codec)
        readFailure(u"its audio is in a format that cannot be decoded"_s);
    source.decoder.reset(avcodec_alloc_context3(codec));
    if (!source.decoder)
        readFailure(u"out of memory"_s);
    check(avcodec_parameters_to_context(source.decoder.get(), source.stream->codecpar), Failure::Stage::read,
          u"its audio could not be decoded"_s);
    // Without these a FLAC frame whose checksum fails decodes into noise and goes onto the device.
    if (codec->id == AV_CODEC_ID_FLAC)
        source.decoder->err_recognition |= AV_EF_CRCCHECK | AV_EF_EXPLODE;
    check(avcodec_open2(source.decoder.get(), codec, nullptr), Failure::Stage::read, u"its audio could not be decoded"_s);
    if (source.decoder->sample_rate <= 0 || source.decoder->ch_layout.nb_channels <= 0)
        readFailure(u"its audio has no sample rate or channels"_s);

    if (source.stream->duration != AV_NOPTS_VALUE && source.stream->duration > 0
        && raw->duration_estimation_method != AVFMT_DURATION_FROM_BITRATE)
        source.statedSeconds = double(source.stream->duration) * av_q2d(source.stream->time_base);
    return source;
}

// The part that writes: the muxer, its one stream and the encoder.
struct Sink {
    std::unique_ptr<AVFormatContext, OutputCloser> format;
    AVStream* stream = nullptr;
    Codec encoder;
    int frameSize = 0; // samples per frame the encoder takes
    bool smallLastFrame = false;
};

Sink openSink(const QString& path, const Target& target)
{
    const AVCodec* codec = avcodec_find_encoder_by_name(target.encoder.toUtf8().constData());
    if (!codec)
        writeFailure(u"the encoder %1 is not available"_s.arg(target.encoder));
    AVFormatContext* raw = nullptr;
    const QByteArray encodedPath = QFile::encodeName(path);
    check(avformat_alloc_output_context2(&raw, nullptr, target.container.toUtf8().constData(), encodedPath.constData()),
          Failure::Stage::write, u"the output could not be prepared"_s);
    Sink sink{std::unique_ptr<AVFormatContext, OutputCloser>(raw)};

    sink.encoder.reset(avcodec_alloc_context3(codec));
    if (!sink.encoder)
        writeFailure(u"out of memory"_s);
    AVCodecContext* encoder = sink.encoder.get();
    encoder->sample_rate = target.sampleRate;
    av_channel_layout_default(&encoder->ch_layout, target.channels);
    encoder->bit_rate = target.bitRate;
    encoder->time_base = AVRational{1, target.sampleRate};
    // The encoder's own first choice of sample format. The decoded audio is converted straight
    // into it, not through 16-bit PCM first, so no precision is lost on the way.
    encoder->sample_fmt = codec->sample_fmts ? codec->sample_fmts[0] : AV_SAMPLE_FMT_S16;
    if (raw->oformat->flags & AVFMT_GLOBALHEADER)
        encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    check(avcodec_open2(encoder, codec, nullptr), Failure::Stage::write, u"the encoder would not start"_s);
    sink.frameSize = encoder->frame_size > 0 ? encoder->frame_size : 1152;
    sink.smallLastFrame = (codec->capabilities & AV_CODEC_CAP_SMALL_LAST_FRAME) != 0;

    sink.stream = avformat_new_stream(raw, nullptr);
    if (!sink.stream)
        writeFailure(u"out of memory"_s);
    sink.stream->time_base = encoder->time_base;
    check(avcodec_parameters_from_context(sink.stream->codecpar, encoder), Failure::Stage::write,
          u"the output could not be prepared"_s);

    check(avio_open(&raw->pb, encodedPath.constData(), AVIO_FLAG_WRITE), Failure::Stage::write,
          u"the file could not be created"_s);
    AVDictionary* options = nullptr;
    if (target.container == u"ipod"_s || target.container == u"mp4"_s)
        av_dict_set(&options, "movflags", "+faststart", 0);
    const int code = avformat_write_header(raw, &options);
    av_dict_free(&options);
    check(code, Failure::Stage::write, u"the file could not be written"_s);
    return sink;
}

class Pipeline {
public:
    Pipeline(Source& source, Sink& sink)
        : m_source(source)
        , m_sink(sink)
        , m_packet(av_packet_alloc())
        , m_frame(av_frame_alloc())
        , m_encoded(av_packet_alloc())
    {
        AVCodecContext* decoder = source.decoder.get();
        AVCodecContext* encoder = sink.encoder.get();
        SwrContext* raw = nullptr;
        if (swr_alloc_set_opts2(&raw, &encoder->ch_layout, encoder->sample_fmt, encoder->sample_rate,
                                &decoder->ch_layout, decoder->sample_fmt, decoder->sample_rate, 0, nullptr)
                < 0
            || swr_init(raw) < 0) {
            swr_free(&raw);
            readFailure(u"its audio could not be converted"_s);
        }
        m_resampler.reset(raw);
        m_fifo.reset(av_audio_fifo_alloc(encoder->sample_fmt, encoder->ch_layout.nb_channels, sink.frameSize * 4));
        if (!m_packet || !m_frame || !m_encoded || !m_fifo)
            writeFailure(u"out of memory"_s);
    }

    void run()
    {
        AVFormatContext* input = m_source.format.get();
        int code = 0;
        while ((code = av_read_frame(input, m_packet.get())) >= 0) {
            if (m_packet->stream_index == m_source.stream->index) {
                m_at = m_packet->pts;
                if (avcodec_send_packet(m_source.decoder.get(), m_packet.get()) < 0)
                    rejected();
                decodeAvailable();
            }
            av_packet_unref(m_packet.get());
        }
        if (code != AVERROR_EOF)
            check(code, Failure::Stage::read, u"it could not be read to its end"_s);
        avcodec_send_packet(m_source.decoder.get(), nullptr);
        decodeAvailable();
        if (m_decodedFrames == 0)
            readFailure(u"its audio could not be decoded"_s);
        if (m_source.statedSeconds) {
            const double decoded = double(m_decodedFrames) / m_source.decoder->sample_rate;
            if (decoded < *m_source.statedSeconds - std::max(0.5, *m_source.statedSeconds * 0.01))
                readFailure(u"it ends after %1 of its %2 seconds"_s.arg(std::floor(decoded)).arg(std::ceil(*m_source.statedSeconds)));
        }

        resample(nullptr, 0); // what the resampler still holds
        encodeFromFifo(true);
        encode(nullptr);
        check(av_write_trailer(m_sink.format.get()), Failure::Stage::write, u"the file could not be finished"_s);
        AVIOContext* output = m_sink.format->pb;
        avio_flush(output);
        if (output->error < 0)
            check(output->error, Failure::Stage::write, u"the file could not be written"_s);
        check(avio_closep(&m_sink.format->pb), Failure::Stage::write, u"the file could not be written"_s);
    }

private:
    void decodeAvailable()
    {
        int code = 0;
        while ((code = avcodec_receive_frame(m_source.decoder.get(), m_frame.get())) == 0) {
            m_decodedFrames += m_frame->nb_samples;
            resample(const_cast<const uint8_t**>(m_frame->extended_data), m_frame->nb_samples);
            av_frame_unref(m_frame.get());
            encodeFromFifo(false);
        }
        if (code != AVERROR(EAGAIN) && code != AVERROR_EOF)
            rejected();
    }

    // A copy with a gap in it would pass for the whole track on the device.
    [[noreturn]] void rejected() const
    {
        const AVStream& stream = *m_source.stream;
        const int64_t start = stream.start_time == AV_NOPTS_VALUE ? 0 : std::max<int64_t>(stream.start_time, 0);
        const double seconds = m_at == AV_NOPTS_VALUE ? 0.0 : double(m_at - start) * av_q2d(stream.time_base);
        readFailure(u"it is damaged: the frame at %1 does not decode"_s.arg(AudioDecoder::position(seconds)));
    }

    void resample(const uint8_t** input, int count)
    {
        AVCodecContext* encoder = m_sink.encoder.get();
        const int room = swr_get_out_samples(m_resampler.get(), count);
        if (room <= 0)
            return;
        uint8_t** planes = nullptr;
        if (av_samples_alloc_array_and_samples(&planes, nullptr, encoder->ch_layout.nb_channels, room,
                                               encoder->sample_fmt, 0)
            < 0)
            writeFailure(u"out of memory"_s);
        const int converted = swr_convert(m_resampler.get(), planes, room, input, count);
        const int stored = converted > 0 ? av_audio_fifo_write(m_fifo.get(), reinterpret_cast<void**>(planes), converted)
                                         : converted;
        av_freep(&planes[0]);
        av_freep(&planes);
        if (converted < 0)
            readFailure(u"its audio could not be converted"_s);
        if (stored < converted)
            writeFailure(u"out of memory"_s);
    }

    void encodeFromFifo(bool finishing)
    {
        AVCodecContext* encoder = m_sink.encoder.get();
        while (av_audio_fifo_size(m_fifo.get()) >= m_sink.frameSize
               || (finishing && av_audio_fifo_size(m_fifo.get()) > 0)) {
            const int available = std::min(av_audio_fifo_size(m_fifo.get()), m_sink.frameSize);
            Frame frame(av_frame_alloc());
            if (!frame)
                writeFailure(u"out of memory"_s);
            frame->nb_samples = m_sink.smallLastFrame ? available : m_sink.frameSize;
            frame->format = encoder->sample_fmt;
            frame->sample_rate = encoder->sample_rate;
            av_channel_layout_copy(&frame->ch_layout, &encoder->ch_layout);
            check(av_frame_get_buffer(frame.get(), 0), Failure::Stage::write, u"out of memory"_s);
            if (available < frame->nb_samples)
                av_samples_set_silence(frame->extended_data, 0, frame->nb_samples, encoder->ch_layout.nb_channels,
                                       encoder->sample_fmt);
            av_audio_fifo_read(m_fifo.get(), reinterpret_cast<void**>(frame->extended_data), available);
            frame->pts = m_encodedSamples;
            m_encodedSamples += frame->nb_samples;
            encode(frame.get());
        }
    }

    void encode(const AVFrame* frame)
    {
        AVCodecContext* encoder = m_sink.encoder.get();
        check(avcodec_send_frame(encoder, frame), Failure::Stage::write, u"the audio could not be encoded"_s);
        for (;;) {
            const int code = avcodec_receive_packet(encoder, m_encoded.get());
            if (code == AVERROR(EAGAIN) || code == AVERROR_EOF)
                return;
            check(code, Failure::Stage::write, u"the audio could not be encoded"_s);
            m_encoded->stream_index = m_sink.stream->index;
            av_packet_rescale_ts(m_encoded.get(), encoder->time_base, m_sink.stream->time_base);
            check(av_interleaved_write_frame(m_sink.format.get(), m_encoded.get()), Failure::Stage::write,
                  u"the file could not be written"_s);
        }
    }

    Source& m_source;
    Sink& m_sink;
    Packet m_packet;
    Frame m_frame;
    Packet m_encoded;
    FFmpeg::Resampler m_resampler;
    std::unique_ptr<AVAudioFifo, FifoFreer> m_fifo;
    qint64 m_decodedFrames = 0;
    int64_t m_at = AV_NOPTS_VALUE; // where the last packet sent begins
    qint64 m_encodedSamples = 0;
};

} // namespace

void transcode(const QString& source, const QString& destination, const Target& target)
{
    // FFmpeg's own complaints would reach velmo's terminal; the failures that matter are thrown.
    static std::once_flag quiet;
    std::call_once(quiet, [] { av_log_set_level(AV_LOG_QUIET); });

    // The source is looked at first, so that a file without audio never creates a destination.
    Source input = openSource(source);
    QFile::remove(destination);
    Sink output = openSink(destination, target);
    Pipeline(input, output).run();
}

} // namespace AudioTranscoding
