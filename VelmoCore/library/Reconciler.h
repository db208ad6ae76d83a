#pragma once

#include "ReconcileReport.h"

#include <QList>
#include <QSet>
#include <QUuid>

// Merges a scan of the library folder into the catalogue without losing what only the
// catalogue knows: a track's id, its date added and its custom tags. A file is recognised
// by its durable id, then by its path, and only when both fail by its text and length;
// all id and path matches are settled first, so that a text match never takes an entry
// that a better match claims.
namespace Reconciler {

struct Result {
    QList<Track> tracks;
    ReconcileReport report;
};

// `referenced`: the ids used by playlists. With `applyRemovals`, missing entries that no
// playlist uses leave the catalogue; missing entries a playlist uses always stay.
Result merge(const QList<Track>& existing, const QList<Track>& scanned, const QSet<QUuid>& referenced,
             bool applyRemovals);

// Whether a rescan of the same path counts as an edit of the tags: bitrate, format, sample
// rate, the release ids and the custom tags do not count.
bool contentChanged(const Track& before, const Track& after);

} // namespace Reconciler
