#pragma once

#include "Track.h"

#include <QList>

// What a scan of the library folder changed in the catalogue.
struct ReconcileReport {
    QList<Track> added;             // files with no entry: new entries were made
    QList<Track> moved;             // entries whose file now lies elsewhere, as merged
    QList<Track> updated;           // entries at the same path whose tags changed, as merged
    QList<Track> removedCandidates; // entries whose file was not found, applied or not
    QList<Track> removedReferenced; // those of them that some playlist uses
    bool removalsApplied = false;

    bool hasChanges() const
    {
        return !added.isEmpty() || !moved.isEmpty() || !updated.isEmpty() || !removedCandidates.isEmpty();
    }
};
