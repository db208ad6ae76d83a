#pragma once

#include "ReleaseMetadata.h"
#include "library/Track.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>

#include <optional>

// Which track of a release each of an album's tracks is, by disc and track number.
class ReleaseTrackIndex {
public:
    // Beyond this a track without a disc number is taken for another recording.
    static constexpr double lengthToleranceSeconds = 10.0;

    explicit ReleaseTrackIndex(const QList<TrackMetadataStub>& stubs);

    // A track with a disc number matches that disc's track of its number, whatever its
    // length. One without looks on disc 1, then, unless its number is on several discs, at
    // the number alone; what it finds must be of about its length.
    std::optional<TrackMetadataStub> match(const Track& track) const;

    bool isAmbiguous(qint64 number) const { return m_ambiguousNumbers.contains(number); }

    static bool lengthsAgree(double trackDuration, double stubDuration);

private:
    static QString discKey(qint64 disc, qint64 number);

    QHash<QString, TrackMetadataStub> m_byDiscAndNumber;
    QHash<qint64, TrackMetadataStub> m_byNumber;
    QSet<qint64> m_ambiguousNumbers;
};

// What re-fetching an album's information from one release changes, decided without
// touching a file: the matched tracks as they become. Unmatched tracks stay as they are.
struct AlbumRefetchPlan {
    QList<Track> updatedTracks; // in the album's order
    qsizetype totalCount = 0;   // tracks of the album

    qsizetype matchedCount() const { return updatedTracks.size(); }

    // `artwork` is the release's cover when one was found.
    static AlbumRefetchPlan make(const QList<Track>& albumTracks, const ReleaseMetadata& release,
                                 const std::optional<QByteArray>& artwork = std::nullopt);

    // The track with the release's text: title, artist and number from the stub; album,
    // album artist, year, IDs, disc number and genre from the release. A field the answer
    // leaves empty or out is never cleared: the track keeps its own.
    static Track applying(const Track& track, const TrackMetadataStub& stub, const ReleaseMetadata& release,
                          const std::optional<QByteArray>& artwork);
};
