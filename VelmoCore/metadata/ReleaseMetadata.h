#pragma once

#include "library/TrackMetadataStub.h"

#include <QList>
#include <QString>

#include <optional>

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
