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

namespace {

// Indices of the existing list grouped by a key, each group in list order: the first index
// under each key, and for each index the next one with the same key. Most keys have one
// index, so this spares a list per key.
template <typename Key>
class IndexChains {
public:
    explicit IndexChains(qsizetype size)
        : m_next(size, -1)
    {
        m_first.reserve(size);
    }

    // Called for the indices in descending order, so that each chain runs ascending.
    void prepend(const Key& key, qsizetype index)
    {
        auto it = m_first.find(key);
        if (it == m_first.end()) {
            m_first.insert(key, index);
            return;
        }
        m_next[index] = *it;
        *it = index;
    }

    // The first index under the key for which `taken` is false, or none.
    template <typename Taken>
    std::optional<qsizetype> firstNot(const Key& key, const Taken& taken) const
    {
        for (qsizetype i = m_first.value(key, -1); i >= 0; i = m_next.at(i)) {
            if (!taken(i))
                return i;
        }
        return std::nullopt;
    }

private:
    QHash<Key, qsizetype> m_first;
    QList<qsizetype> m_next;
};

} // namespace

Result merge(const QList<Track>& existing, const QList<Track>& scanned, const QSet<QUuid>& referenced,
             bool applyRemovals)
{
    IndexChains<QString> byExternalID(existing.size());
    IndexChains<QUrl> byPath(existing.size());
    for (qsizetype i = existing.size() - 1; i >= 0; --i) {
        if (existing.at(i).externalID)
            byExternalID.prepend(*existing.at(i).externalID, i);
        byPath.prepend(existing.at(i).url, i);
    }

    QList<bool> matched(existing.size(), false);
    QList<std::optional<Track>> merged(existing.size());
    Result result;
    ReconcileReport& report = result.report;

    const auto isMatched = [&matched](qsizetype i) { return matched.at(i); };
    const auto claim = [&](qsizetype i, const Track& scannedTrack) {
        matched[i] = true;
        merged[i] = scannedTrack.preservingIdentity(existing.at(i));
        return *merged.at(i);
    };

    QList<Track> unresolved;
    for (const Track& s : scanned) {
        std::optional<qsizetype> index;
        if (s.externalID)
            index = byExternalID.firstNot(*s.externalID, isMatched);
        if (!index)
            index = byPath.firstNot(s.url, isMatched);
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
            result.tracks.append(std::move(*merged[i]));
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
