#pragma once

#include <QString>

#include <optional>

// One track of a release as MusicBrainz gives it: what the rip screen shows and the importer
// and the album re-fetch write into tags.
struct TrackMetadataStub {
    qint64 number = 0; // within its medium
    QString title;
    QString artist;
    double duration = 0; // seconds
    std::optional<QString> recordingMBID;
    // Only a whole release read for the album re-fetch sets it: the medium's position.
    std::optional<qint64> discNumber;

    bool operator==(const TrackMetadataStub&) const = default;
};
