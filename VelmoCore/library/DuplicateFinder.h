#pragma once

#include "FingerprintReader.h"
#include "Track.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QUrl>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

// Groups tracks that sound alike, whatever their tags say, from their fingerprints.
namespace DuplicateFinder {

using Group = QList<Track>;

// The seconds of each file that are fingerprinted and compared.
inline constexpr double maxDuration = 120.0;

// Equal bits over the common prefix of the two, with no alignment: 0 when either is empty.
float similarity(const Fingerprint& a, const Fingerprint& b);

enum class Pairing {
    exact,  // every pair compared
    indexed // only pairs that share a sub-word at the same place, then compared as exact does
};

// The sets of two or more indices whose fingerprints join through pairs at least `threshold`
// alike, each in index order, in the order of their first index. Tracks without a
// fingerprint take no part.
QList<QList<qsizetype>> pair(const QList<std::optional<Fingerprint>>& fingerprints, float threshold,
                             Pairing pairing);

// The tracks of those sets, sorted by the title of each group's first track.
QList<Group> groups(const QList<Track>& tracks, const QList<QList<qsizetype>>& indexSets);

// Fingerprints every track on the pool and compares every pair. A track that cannot be
// fingerprinted is passed over.
QCoro::Task<QList<Group>> findDuplicates(QList<Track> tracks, float threshold);

using Fingerprinter = std::function<Fingerprint(const QUrl&)>;

// The search at library scale: fingerprints come from the cache where the file is unchanged,
// and the pairing is indexed.
struct Search {
    float threshold = 0.9f;
    Pairing pairing = Pairing::indexed;
    // No cache without a path.
    std::optional<QString> cachePath;
    // On the calling thread: files looked at, of all.
    std::function<void(qsizetype done, qsizetype total)> onProgress;
    // On the calling thread, once for each file passed over because its audio is damaged or
    // does not decode, with the reason in words.
    std::function<void(const Track& track, const QString& reason)> onSkipped;
    // Set from any thread; the search stops soon after and gives nothing.
    std::shared_ptr<std::atomic_bool> cancelled = std::make_shared<std::atomic_bool>(false);
    // Tests count the decodes through this.
    Fingerprinter fingerprinter;
};

// Nothing when cancelled.
QCoro::Task<std::optional<QList<Group>>> findDuplicates(QList<Track> tracks, Search search);

} // namespace DuplicateFinder
