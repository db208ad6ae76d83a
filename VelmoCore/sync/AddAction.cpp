#include "AddAction.h"

#include "library/FilePaths.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool isLossless(AudioFormat format)
{
    switch (format) {
    case AudioFormat::flac:
    case AudioFormat::alac:
    case AudioFormat::wav:
    case AudioFormat::aiff: return true;
    case AudioFormat::mp3:
    case AudioFormat::aac:
    case AudioFormat::ogg:
    case AudioFormat::opus: return false;
    }
    return true;
}

// The file is already what the device would get, container included: a raw ".aac" stream
// is no ".m4a" file, whatever its codec.
bool isInFormat(const Track& track, OutputFormat format)
{
    const QString extension = FilePaths::pathExtension(track.path()).toLower();
    switch (format) {
    case OutputFormat::keepSource: return true;
    case OutputFormat::mp3: return track.format == AudioFormat::mp3 && extension == u"mp3"_s;
    case OutputFormat::aac: return track.format == AudioFormat::aac && extension == u"m4a"_s;
    }
    return false;
}

// A measured rate reads a little above the one the file was encoded at, since headers and
// tags count in: a 128 kbps MP3 with a large cover may read 131.
bool isAtMost(qint64 measuredKbps, qint64 nominalKbps)
{
    return measuredKbps * 100 <= nominalKbps * 105;
}

// The lowest rate the encoders take that is at least `kbps`; none above the highest.
qint64 standardRateAtLeast(qint64 kbps)
{
    const auto& rates = DeviceProfile::encoderBitrates;
    const auto it = std::lower_bound(rates.cbegin(), rates.cend(), kbps);
    return it == rates.cend() ? rates.back() : *it;
}

} // namespace

AddAction AddAction::forTrack(const Track& track, const DeviceProfile& profile)
{
    if (profile.outputFormat == OutputFormat::keepSource)
        return {};
    const AddAction encode{Kind::transcode, profile.outputFormat, profile.transcodeBitrate};
    const std::optional<qint64> sourceRate = track.bitrate && *track.bitrate > 0 ? track.bitrate : std::nullopt;
    if (isLossless(track.format) || !sourceRate)
        return encode;
    if (isInFormat(track, profile.outputFormat))
        return isAtMost(*sourceRate, profile.transcodeBitrate) ? AddAction() : encode;
    return {Kind::transcode, profile.outputFormat, std::min(profile.transcodeBitrate, standardRateAtLeast(*sourceRate))};
}

QString AddAction::description() const
{
    if (kind == Kind::copy)
        return u"copy"_s;
    const QString name = format == OutputFormat::aac ? u"AAC"_s : u"MP3"_s;
    return u"transcode to %1 %2 kbps"_s.arg(name).arg(bitrateKbps);
}
