#pragma once

#include <QList>
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

// A release as the rip path and the album re-fetch speak of it. A release with holes is never
// rejected: missing text is empty and missing values are absent.
struct ReleaseMetadata {
    QString mbid; // may be empty if the answer lacked it
    QString title;
    QString artist; // the first credited artist only
    std::optional<qint64> year;
    // The tracks of the medium that holds the disc; of every medium for a whole release.
    QList<TrackMetadataStub> tracks;
    std::optional<qint64> discNumber; // the position of that medium
    std::optional<QString> disambiguation; // never empty when present
    std::optional<QString> status; // as the service gives it, such as "Official"
    std::optional<QString> releaseGroupID;
    std::optional<QString> genre; // the most-voted genre, first letter in capitals

    bool operator==(const ReleaseMetadata&) const = default;
};
