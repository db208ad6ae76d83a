#pragma once

#include "DeviceProfile.h"
#include "library/Track.h"

#include <QString>

// How one track reaches a device: its file copied as it is, or encoded into the profile's
// format at a bit rate. A lossless source is always encoded; a lossy one is never encoded at a
// higher rate than it has, since that makes a larger file that sounds no better.
struct AddAction {
    enum class Kind { copy, transcode };

    Kind kind = Kind::copy;
    OutputFormat format = OutputFormat::keepSource; // of a transcode
    qint64 bitrateKbps = 0;                         // of a transcode

    // For a profile that keeps the source's format, always a copy. Otherwise: a lossless
    // source is encoded at the profile's rate; a lossy one already in the profile's format is
    // copied when its rate is at or below the profile's (measured rates may read up to 5 %
    // above the rate a file was made at), else encoded at the profile's rate;
    // one in another lossy format is encoded at the profile's rate or the source's rounded up
    // to the next rate the encoders take, whichever is lower. A lossy source of unknown rate
    // is encoded at the profile's rate.
    static AddAction forTrack(const Track& track, const DeviceProfile& profile);

    // "copy", "transcode to MP3 192 kbps".
    QString description() const;

    bool operator==(const AddAction&) const = default;
};
