#pragma once

#include <QString>

#include <FLAC/stream_encoder.h>

// One track's FLAC file: 2 channels, 16 bits, 44,100 Hz, compression level 5, fed a CD frame at
// a time. The encoder lives exactly as long as this object.
class FlacTrackEncoder {
public:
    // Throws CDRipper::RipError encoderInitFailed.
    FlacTrackEncoder(const QString& path, qint64 totalSamples);
    ~FlacTrackEncoder();
    FlacTrackEncoder(const FlacTrackEncoder&) = delete;
    FlacTrackEncoder& operator=(const FlacTrackEncoder&) = delete;

    // 588 stereo pairs of host-order 16-bit samples. Throws RipError encoderWriteFailed.
    void writeFrame(const char* frame);
    // Flushes and closes the file; a failed rip skips this. Throws RipError encoderWriteFailed
    // when the file could not be completed.
    void finish();

private:
    FLAC__StreamEncoder* m_encoder;
};
