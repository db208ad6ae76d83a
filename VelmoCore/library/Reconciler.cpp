#include "Reconciler.h"

#include "TrackSignature.h"

#include <QHash>

#include <cmath>

namespace Reconciler {

bool contentChanged(const Track& before, const Track& after)
{
    return before.title != after.title || before.artist != after.artist || before.albumArtist != after.albumArtist
        || before.album != after.album || before.genre != after.genre || before.year != after.year
        || before.trackNumber != after.trackNumber || before.discNumber != after.discNumber
        || before.externalID != after.externalID || before.bpm != after.bpm
        || std::abs(before.duration - after.duration) > 0.5;
}

Result merge(const QList<Track>& existing, const QList<Track>& scanned, const QSet<QUuid>& referenced,
             bool applyRemovals)
{
    QHash<QString, QList<qsizetype>> byExternalID;
    QHash<QUrl, QList<qsizetype>> byPath;
    for (qsizetype i = 0; i < existing.size(); ++i) {
        if (existing.at(i).externalID)
            byExternalID[*existing.at(i).externalID].append(i);
        byPath[existing.at(i).url].append(i);
    }

    QList<bool> matched(existing.size(), false);
    QHash<qsizetype, Track> merged;
    Result result;
    ReconcileReport& report = result.report;

    const auto firstUnmatched = [&matched](const QList<qsizetype>& candidates) -> std::optional<qsizetype> {
        for (qsizetype i : candidates) {
            if (!matched.at(i))
                return i;
        }
        return std::nullopt;
    };
    const auto claim = [&](qsizetype i, const Track& scannedTrack) {
        matched[i] = true;
        const Track record = scannedTrack.preservingIdentity(existing.at(i));
        merged.insert(i, record);
        return record;
    };

    QList<Track> unresolved;
    for (const Track& s : scanned) {
        std::optional<qsizetype> index;
        if (s.externalID) {
            const auto byID = byExternalID.constFind(*s.externalID);
            if (byID != byExternalID.cend())
                index = firstUnmatched(*byID);
        }
        if (!index)
            index = firstUnmatched(byPath.value(s.url));
        if (!index) {
            unresolved.append(s);
            continue;
        }
        const Track record = claim(*index, s);
        if (existing.at(*index).url != record.url)
            report.moved.append(record);
        else if (contentChanged(existing.at(*index), record))
            report.updated.append(record);
    }

    QHash<TrackSignature::Key, QList<qsizetype>> bySignature;
    for (qsizetype i = 0; i < existing.size(); ++i) {
        if (!matched.at(i))
            bySignature[TrackSignature(existing.at(i)).key()].append(i);
    }
    for (const Track& s : unresolved) {
        const TrackSignature signature(s);
        std::optional<qsizetype> index;
        for (qsizetype i : bySignature.value(signature.key())) {
            if (!matched.at(i) && TrackSignature::durationsMatch(existing.at(i).duration, s.duration)) {
                index = i;
                break;
            }
        }
        if (index)
            report.moved.append(claim(*index, s));
        else
            report.added.append(s);
    }

    result.tracks.reserve(existing.size() + report.added.size());
    for (qsizetype i = 0; i < existing.size(); ++i) {
        if (matched.at(i)) {
            result.tracks.append(merged.value(i));
            continue;
        }
        report.removedCandidates.append(existing.at(i));
        if (referenced.contains(existing.at(i).id))
            report.removedReferenced.append(existing.at(i));
    }
    for (const Track& missing : std::as_const(report.removedCandidates)) {
        // A track a playlist uses stays even when removals are applied; a later scan may
        // find its file again.
        if (!applyRemovals || referenced.contains(missing.id))
            result.tracks.append(missing);
    }
    result.tracks.append(report.added);
    report.removalsApplied = applyRemovals;
    return result;
}

} // namespace Reconciler
