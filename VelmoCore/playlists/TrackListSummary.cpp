#include "TrackListSummary.h"

#include "library/DisplayText.h"

#include <cmath>

using namespace Qt::StringLiterals;

TrackListSummary TrackListSummary::of(const QList<Track>& tracks)
{
    TrackListSummary summary{.count = tracks.size()};
    for (const Track& track : tracks) {
        // One broken record must not blank the total of all the others.
        if (std::isfinite(track.duration))
            summary.totalDuration += track.duration;
    }
    return summary;
}

QString TrackListSummary::countText(qsizetype count)
{
    return DisplayText::counted(count, u"track"_s);
}

QString TrackListSummary::text() const
{
    return countText(count) + u" · "_s + DisplayText::formatDuration(totalDuration);
}
