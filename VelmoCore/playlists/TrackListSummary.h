#pragma once

#include "library/Track.h"

#include <QList>
#include <QString>

// What the playlist screens and velmo say about a list of tracks: "12 tracks · 48:10".
struct TrackListSummary {
    qsizetype count = 0;
    double totalDuration = 0;

    static TrackListSummary of(const QList<Track>& tracks);

    // "1 track", "0 tracks", "12 tracks".
    static QString countText(qsizetype count);
    // The count, " · " and the summed duration.
    QString text() const;
};
