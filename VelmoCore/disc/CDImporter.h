#pragma once

#include "AccurateRipDatabase.h"
#include "CDRipper.h"
#include "CTDBVerifier.h"
#include "DiscRipStrategy.h"
#include "DiscTOC.h"
#include "library/Track.h"
#include "metadata/ArtworkFetcher.h"
#include "metadata/ReleaseMetadata.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

// Carries a disc's tracks from the drive into the library folder, one after the other: rip,
// build the record, write tags and cover, move the file to its place. A failed track does not
// stop the others. The catalogue is not touched here: the caller enters each finished track.
namespace CDImporter {

// Why one track did not arrive, in the words of the failure behind it.
struct TrackError {
    enum class Kind { ripFailed, placeFailed };

    Kind kind;
    QString message;

    bool operator==(const TrackError&) const = default;
};

struct TrackImportResult {
    qint64 trackIndex = 0; // 0-based position on the disc
    std::optional<Track> track;
    std::optional<TrackError> error;
    // What AccurateRip says of the rip; none when the track was not ripped or not checked.
    std::optional<AccurateRip::Verdict> verdict;
    // What the CUETools database says; none when the setting is off or the track was not ripped.
    // While the rip goes on it is the track's own check; the result of the whole import holds
    // the whole disc's.
    std::optional<CTDB::Verdict> ctdbVerdict;

    bool succeeded() const { return track.has_value(); }
};

// "11 of 12 tracks verified by AccurateRip"; empty when no track could be checked.
QString verdictSummary(const QList<TrackImportResult>& results);

// "11 of 12 tracks verified by CTDB"; empty when no track could be checked.
QString ctdbSummary(const QList<TrackImportResult>& results);

using TrackProgressHandler = std::function<void(qint64 trackIndex, const CDRipper::Progress&)>;
using TrackCompleteHandler = std::function<void(const TrackImportResult&)>;

// The record a ripped file gets, before it is placed: the stub's text and the release's.
Track makeTrack(const QUrl& file, const TrackMetadataStub& stub, const ReleaseMetadata& release,
                const std::optional<ArtworkFetcher::ArtworkResult>& artwork);

// The stub of track i: the release's, or "Track N" by the release's artist where it has none.
TrackMetadataStub stubFor(const ReleaseMetadata& release, qint64 trackIndex);

// Removes the "velmo_rip_<UUID>" folders in the system's temporary folder that a rip killed
// more than a day ago left: those whose lock no running rip holds.
void removeStaleRipFolders();

// Never throws. One result per index processed, in order; no index means every track. The
// temporary folder "velmo_rip_<UUID>" in the system's temporary folder is locked while the
// rip runs and gone however it ends, with whatever a failed track left in it; stale ones go
// first. Each file carries the disc id (Track::discIDTag) beside its track and disc number,
// and reaches its place whole or not at all; a file there from an earlier rip of the same
// track is replaced, any other is left and the track fails unless `overwriteExisting`. A disc
// still called "Unknown Album" gets a folder of its own (UnknownDisc::distinct). Each
// ripped track is checked against AccurateRip (RipAudit), and the rip log and cue sheet are
// written when the setting keeps them.
QCoro::Task<QList<TrackImportResult>> importDisc(QString source, DiscTOC toc, ReleaseMetadata release,
                                                 std::optional<ArtworkFetcher::ArtworkResult> artwork, QUrl into,
                                                 std::optional<QList<qint64>> trackIndices, bool overwriteExisting,
                                                 DiscRipStrategy& strategy, TrackProgressHandler onTrackProgress = {},
                                                 TrackCompleteHandler onTrackComplete = {});

} // namespace CDImporter
