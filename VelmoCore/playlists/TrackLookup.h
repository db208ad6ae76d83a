#pragma once

#include "library/Track.h"

#include <QHash>
#include <QList>
#include <QUuid>

// The tracks by id, built once so that resolving a playlist is one lookup per entry.
// Should two records share an id (a hand-edited or merged library.json), the first one
// wins: the same answer every time, and no crash over data a user's library can hold.
class TrackLookup {
public:
    explicit TrackLookup(const QList<Track>& tracks);

    const Track* find(const QUuid& id) const;

    // The tracks of these ids in their order; ids with no track are skipped.
    QList<Track> resolve(const QList<QUuid>& ids) const;

private:
    QList<Track> m_tracks; // shared with the caller's list, not copied
    QHash<QUuid, qsizetype> m_indexByID;
};
