#pragma once

#include <QString>

#include <optional>

// ReplayGain 2.0 values and the forms in which tags carry them. Gains are in dB towards the
// reference of −18 LUFS, rounded to hundredths as they are written; peaks are linear, 1.0
// being full scale.
namespace ReplayGain {

inline constexpr double referenceLoudness = -18.0;
// Opus gains count from −23 LUFS instead (the R128 tags).
inline constexpr double opusReferenceLoudness = -23.0;

// What a measurement gives for one track: integrated loudness in LUFS and true peak.
struct Values {
    double trackLoudness = 0;
    double trackPeak = 0;
    // None for a track that belongs to no album.
    std::optional<double> albumLoudness;
    std::optional<double> albumPeak;

    double trackGain() const;
    std::optional<double> albumGain() const;

    bool operator==(const Values&) const = default;
};

// −18 − loudness, to two decimals.
double gain(double loudnessLUFS);

// "-7.53 dB", "+1.20 dB" is written "1.20 dB": the form other taggers write and read.
QString gainText(double gain);
// "0.988553"
QString peakText(double peak);
// The number in a gain tag ("-7.53 dB", "-7.53", " +2 db"); none for anything else.
std::optional<double> parseGain(const QString& text);

// An R128 tag's value: −23 − loudness in 1/256 dB, held to a signed 16-bit number.
int opusGain(double loudnessLUFS);
// An R128 tag read back as a ReplayGain gain; none for text that is no integer.
std::optional<double> fromOpusGain(const QString& text);

} // namespace ReplayGain
