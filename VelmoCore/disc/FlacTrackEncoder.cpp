#include "FlacTrackEncoder.h"

#include "CDRipper.h"

#include <QFile>

#include <array>
#include <cerrno>
#include <cstring>

namespace {

constexpr unsigned samplesPerFrame = 588 * 2;

} // namespace

FlacTrackEncoder::FlacTrackEncoder(const QString& path, qint64 totalSamples)
    : m_encoder(FLAC__stream_encoder_new())
{
    if (!m_encoder)
        throw CDRipper::RipError::encoderInitFailed();
    FLAC__stream_encoder_set_channels(m_encoder, 2);
    FLAC__stream_encoder_set_bits_per_sample(m_encoder, 16);
    FLAC__stream_encoder_set_sample_rate(m_encoder, 44100);
    FLAC__stream_encoder_set_compression_level(m_encoder, 5);
    FLAC__stream_encoder_set_total_samples_estimate(m_encoder, FLAC__uint64(totalSamples));
    const FLAC__StreamEncoderInitStatus status = FLAC__stream_encoder_init_file(
        m_encoder, QFile::encodeName(path).constData(), nullptr, nullptr);
    if (status != FLAC__STREAM_ENCODER_INIT_STATUS_OK) {
        FLAC__stream_encoder_delete(m_encoder);
        throw CDRipper::RipError::encoderInitFailed();
    }
}

FlacTrackEncoder::~FlacTrackEncoder()
{
    FLAC__stream_encoder_delete(m_encoder);
}

void FlacTrackEncoder::writeFrame(const char* frame)
{
    std::array<qint16, samplesPerFrame> samples;
    std::memcpy(samples.data(), frame, sizeof samples);
    std::array<FLAC__int32, samplesPerFrame> wide;
    for (unsigned i = 0; i < samplesPerFrame; ++i)
        wide[i] = samples[i];
    errno = 0;
    if (!FLAC__stream_encoder_process_interleaved(m_encoder, wide.data(), samplesPerFrame / 2))
        throw CDRipper::RipError::encoderWriteFailed(errno);
}

void FlacTrackEncoder::finish()
{
    // The last blocks and the header's totals are written here: on a disk that fills now, the
    // file is short, and so a failure.
    errno = 0;
    if (!FLAC__stream_encoder_finish(m_encoder))
        throw CDRipper::RipError::encoderWriteFailed(errno);
}
