#pragma once

#include "AccurateRipDatabase.h"
#include "AccurateRipID.h"
#include "CTDBDatabase.h"
#include "CTDBVerifier.h"
#include "DiscRipStrategy.h"
#include "DiscTOC.h"
#include "metadata/ReleaseMetadata.h"

#include <QCoro/QCoroTask>
#include <QHash>
#include <QString>

#include <optional>

namespace CDImporter {
struct TrackImportResult;
}

// The checking side of an import: each ripped track against the AccurateRip database and,
// when the setting asks, the CUETools database; a track that one of them knows and neither
// confirms read once more with the paranoia reader; and at the end the rip log and cue sheet
// beside the album's tracks when the setting keeps them. Lives for one import, on its task.
class RipAudit {
public:
    RipAudit(QString source, DiscTOC toc, const DiscRipStrategy& strategy);

    // The verdict of a fresh rip, and the better of two reads for a track that does not
    // match; the second read goes into a folder of its own below `folder`. A strategy that
    // gave no checksums is not checked.
    QCoro::Task<DiscRipStrategy::RippedTrack> check(qint64 trackIndex, DiscRipStrategy::RippedTrack ripped,
                                                    QString folder, CDRipper::ProgressHandler onProgress);
    std::optional<AccurateRip::Verdict> verdict(qint64 trackIndex) const;
    // What CTDB says of the track: after check() from the track alone, after concludeCTDB()
    // from the whole disc. None when the setting is off or the track was not checked.
    std::optional<CTDB::Verdict> ctdbVerdict(qint64 trackIndex) const;
    // Checks the whole disc at every offset the database allows, once every track is in.
    QCoro::Task<> concludeCTDB();

    // The log and cue sheet, named after the album, in the folder of the first track that
    // arrived. Nothing is written when the setting is off or no track arrived; a failed write
    // costs the rip nothing.
    QCoro::Task<> finish(ReleaseMetadata release, QList<CDImporter::TrackImportResult> results);

private:
    QCoro::Task<> lookUp();
    QCoro::Task<> lookUpCTDB(QByteArray fullTOC);
    std::optional<CTDB::Verdict> checkCTDB(qint64 trackIndex, const DiscRipStrategy::RippedTrack& ripped) const;
    QList<std::optional<CTDB::TrackSamples>> ctdbTracks() const;

    QString m_source;
    DiscTOC m_toc;
    QString m_strategyName;
    bool m_lookedUp = false;
    std::optional<AccurateRipID> m_id;
    QList<AccurateRip::Pressing> m_pressings;
    QString m_lookupFailure;
    QHash<qint64, DiscRipStrategy::RippedTrack> m_ripped;
    QHash<qint64, AccurateRip::Verdict> m_verdicts;
    bool m_ctdbAsked = false;
    std::optional<CTDBTOC> m_ctdbTOC;
    QList<CTDB::Entry> m_ctdbEntries;
    QString m_ctdbFailure;
    QHash<qint64, CTDB::Verdict> m_ctdbVerdicts;
};
