#include "DuplicateFinder.h"

#include "Background.h"
#include "FingerprintCache.h"
#include "platform/AudioDecoder.h"

#include <QCoro/QCoroFuture>
#include <QFileInfo>
#include <QHash>
#include <QTimer>
#include <QtConcurrent/QtConcurrentMap>

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>
#include <vector>

namespace DuplicateFinder {

namespace {

// Union-find over track indices, with path halving.
class Forest {
public:
    explicit Forest(qsizetype size) : m_parent(size_t(size)) { std::iota(m_parent.begin(), m_parent.end(), 0); }

    qsizetype find(qsizetype x)
    {
        while (m_parent[size_t(x)] != x) {
            m_parent[size_t(x)] = m_parent[size_t(m_parent[size_t(x)])];
            x = m_parent[size_t(x)];
        }
        return x;
    }

    void unite(qsizetype i, qsizetype j)
    {
        const qsizetype rootI = find(i);
        const qsizetype rootJ = find(j);
        if (rootI != rootJ)
            m_parent[size_t(rootI)] = rootJ;
    }

private:
    std::vector<qsizetype> m_parent;
};

// The same verdict as similarity() >= threshold, giving up as soon as too many bits differ.
bool alike(const Fingerprint& a, const Fingerprint& b, float threshold)
{
    const qsizetype n = std::min(a.size(), b.size());
    if (n == 0)
        return 0.0f >= threshold;
    // One bit of slack keeps the early answer on the safe side of float rounding.
    const auto allowed = qint64(std::ceil((1.0 - double(threshold)) * 32.0 * double(n))) + 1;
    qint64 differing = 0;
    for (qsizetype k = 0; k < n; ++k) {
        differing += std::popcount(a[k] ^ b[k]);
        if ((k & 15) == 15 && differing > allowed)
            return false;
    }
    return similarity(a, b) >= threshold;
}

// Shorter fingerprints than this are compared with every other: they have too few words for
// the index to be sure of a shared one.
constexpr qsizetype shortLength = 128;
// Below this the index would miss pairs that share hardly a whole sub-word.
constexpr float lowestIndexedThreshold = 0.75f;
// Positions indexed at once; bounds the memory of the index to a few tens of megabytes.
constexpr qsizetype blockLength = 32;

void pairExact(const QList<std::optional<Fingerprint>>& fingerprints, float threshold, Forest& forest,
               const std::atomic_bool* cancelled)
{
    for (qsizetype i = 0; i < fingerprints.size(); ++i) {
        if (!fingerprints.at(i))
            continue;
        if (cancelled && cancelled->load())
            return;
        for (qsizetype j = i + 1; j < fingerprints.size(); ++j) {
            if (fingerprints.at(j) && similarity(*fingerprints.at(i), *fingerprints.at(j)) >= threshold)
                forest.unite(i, j);
        }
    }
}

// Two copies of the same music differ in a few bits of most words, so at some place of their
// common prefix they almost always share a whole 16-bit half-word; unrelated music rarely
// does. Only such pairs are compared, and a pair already joined through others is not.
void pairIndexed(const QList<std::optional<Fingerprint>>& fingerprints, float threshold, Forest& forest,
                 const std::atomic_bool* cancelled)
{
    std::vector<qsizetype> present;
    std::vector<quint32> indexed;
    qsizetype longest = 0;
    for (qsizetype i = 0; i < fingerprints.size(); ++i) {
        if (!fingerprints.at(i))
            continue;
        present.push_back(i);
        if (fingerprints.at(i)->size() >= shortLength) {
            indexed.push_back(quint32(i));
            longest = std::max(longest, fingerprints.at(i)->size());
        }
    }
    const auto compare = [&](qsizetype i, qsizetype j) {
        if (forest.find(i) != forest.find(j) && alike(*fingerprints.at(i), *fingerprints.at(j), threshold))
            forest.unite(std::min(i, j), std::max(i, j));
    };
    for (qsizetype i : present) {
        if (fingerprints.at(i)->size() >= shortLength)
            continue;
        for (qsizetype j : present) {
            if (j != i)
                compare(i, j);
        }
    }

    std::vector<std::pair<quint64, quint32>> keys;
    std::vector<quint64> candidates;
    for (qsizetype start = 0; start < longest; start += blockLength) {
        if (cancelled && cancelled->load())
            return;
        keys.clear();
        for (quint32 i : indexed) {
            const Fingerprint& print = *fingerprints.at(i);
            const qsizetype end = std::min(print.size(), start + blockLength);
            for (qsizetype k = start; k < end; ++k) {
                const quint64 place = quint64(k) << 17;
                keys.emplace_back(place | (print[k] >> 16), i);
                keys.emplace_back(place | (1u << 16) | (print[k] & 0xffffu), i);
            }
        }
        std::sort(keys.begin(), keys.end());
        candidates.clear();
        for (size_t first = 0; first < keys.size();) {
            size_t last = first + 1;
            while (last < keys.size() && keys[last].first == keys[first].first)
                ++last;
            for (size_t a = first; a < last; ++a) {
                for (size_t b = a + 1; b < last; ++b) {
                    const quint32 i = keys[a].second;
                    const quint32 j = keys[b].second;
                    if (forest.find(i) != forest.find(j))
                        candidates.push_back(quint64(std::min(i, j)) << 32 | std::max(i, j));
                }
            }
            first = last;
        }
        std::sort(candidates.begin(), candidates.end());
        candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
        for (quint64 candidate : candidates)
            compare(qsizetype(candidate >> 32), qsizetype(candidate & 0xffffffffu));
    }
}

QList<QList<qsizetype>> pairWithin(const QList<std::optional<Fingerprint>>& fingerprints, float threshold,
                                   Pairing pairing, const std::atomic_bool* cancelled)
{
    Forest forest(fingerprints.size());
    if (pairing == Pairing::indexed && threshold >= lowestIndexedThreshold)
        pairIndexed(fingerprints, threshold, forest, cancelled);
    else
        pairExact(fingerprints, threshold, forest, cancelled);

    QList<QList<qsizetype>> sets;
    QHash<qsizetype, qsizetype> setOfRoot;
    for (qsizetype i = 0; i < fingerprints.size(); ++i) {
        if (!fingerprints.at(i))
            continue;
        const qsizetype root = forest.find(i);
        const auto found = setOfRoot.constFind(root);
        if (found == setOfRoot.cend()) {
            setOfRoot.insert(root, sets.size());
            sets.append(QList<qsizetype>{i});
        } else {
            sets[*found].append(i);
        }
    }
    sets.removeIf([](const QList<qsizetype>& set) { return set.size() < 2; });
    return sets;
}

struct Outcome {
    std::optional<Fingerprint> fingerprint;
    std::optional<FingerprintCache::Entry> entry; // what the cache is to hold
    bool fromCache = false;
    QString skipped; // why a file that is there has no fingerprint
};

Outcome fingerprintFile(const Track& track, const std::optional<FingerprintCache::Entry>& cached, bool useCache,
                        const Fingerprinter& fingerprinter)
{
    Outcome outcome;
    const QFileInfo info(track.path());
    if (!info.isFile())
        return outcome;
    try {
        if (!useCache) {
            outcome.fingerprint = fingerprinter(track.url);
            return outcome;
        }
        FingerprintCache::Entry entry{info.size(), info.lastModified().toMSecsSinceEpoch(), {}, {}};
        if (cached && cached->size == entry.size && cached->modified == entry.modified) {
            outcome = {cached->fingerprint, cached, true};
            return outcome;
        }
        // New tags change the size and the time but not the compressed audio.
        entry.audioDigest = AudioDecoder::packetDigest(track.path(), maxDuration);
        if (cached && cached->audioDigest == entry.audioDigest)
            entry.fingerprint = cached->fingerprint;
        else
            entry.fingerprint = fingerprinter(track.url);
        outcome.fingerprint = entry.fingerprint;
        outcome.entry = entry;
    } catch (const FingerprintReader::FingerprintError& error) {
        outcome.skipped = error.message();
    } catch (const AudioDecoder::DecodeError& error) {
        outcome.skipped = QString::fromUtf8(error.what());
    }
    return outcome;
}

} // namespace

float similarity(const Fingerprint& a, const Fingerprint& b)
{
    const qsizetype n = std::min(a.size(), b.size());
    if (n == 0)
        return 0.0f;
    qint64 equal = 0;
    for (qsizetype k = 0; k < n; ++k)
        equal += std::popcount(~(a[k] ^ b[k]));
    return float(equal) / float(32 * n);
}

QList<QList<qsizetype>> pair(const QList<std::optional<Fingerprint>>& fingerprints, float threshold, Pairing pairing)
{
    return pairWithin(fingerprints, threshold, pairing, nullptr);
}

QList<Group> groups(const QList<Track>& tracks, const QList<QList<qsizetype>>& indexSets)
{
    QList<Group> result;
    result.reserve(indexSets.size());
    for (const QList<qsizetype>& set : indexSets) {
        Group group;
        for (qsizetype index : set)
            group.append(tracks.at(index));
        result.append(group);
    }
    std::stable_sort(result.begin(), result.end(),
                     [](const Group& a, const Group& b) { return a.first().title < b.first().title; });
    return result;
}

QCoro::Task<QList<Group>> findDuplicates(QList<Track> tracks, float threshold)
{
    Search search;
    search.threshold = threshold;
    search.pairing = Pairing::exact;
    const std::optional<QList<Group>> found = co_await findDuplicates(std::move(tracks), std::move(search));
    co_return found.value_or(QList<Group>());
}

QCoro::Task<std::optional<QList<Group>>> findDuplicates(QList<Track> tracks, Search search)
{
    if (!search.fingerprinter)
        search.fingerprinter = [](const QUrl& url) { return FingerprintReader::fingerprint(url, maxDuration); };
    const bool useCache = search.cachePath.has_value();
    auto cache = std::make_shared<FingerprintCache>();
    if (useCache) {
        const QString path = *search.cachePath;
        const auto load = [path] { return FingerprintCache::load(path); };
        *cache = co_await Background::run(load);
    }

    const qsizetype total = tracks.size();
    auto outcomes = std::make_shared<std::vector<Outcome>>(size_t(total));
    auto done = std::make_shared<std::atomic<qsizetype>>(0);
    std::vector<qsizetype> indices(static_cast<size_t>(total));
    std::iota(indices.begin(), indices.end(), 0);
    const auto work = [tracks, cache, outcomes, done, useCache, cancelled = search.cancelled,
                       fingerprinter = search.fingerprinter](qsizetype& index) {
        if (cancelled->load())
            return;
        const Track& track = tracks.at(index);
        (*outcomes)[size_t(index)] =
            fingerprintFile(track, useCache ? cache->entry(track.id) : std::nullopt, useCache, fingerprinter);
        ++*done;
    };
    QTimer progressTimer;
    const auto report = [&search, done, total] {
        if (search.onProgress)
            search.onProgress(done->load(), total);
    };
    QObject::connect(&progressTimer, &QTimer::timeout, report);
    progressTimer.start(100);
    QFuture<void> mapping = QtConcurrent::map(indices, work);
    co_await mapping;
    progressTimer.stop();
    if (search.cancelled->load())
        co_return std::nullopt;
    report();

    QList<std::optional<Fingerprint>> fingerprints;
    fingerprints.reserve(total);
    FingerprintCache kept;
    bool cacheChanged = false;
    for (qsizetype i = 0; i < total; ++i) {
        const Outcome& outcome = outcomes->at(size_t(i));
        fingerprints.append(outcome.fingerprint);
        if (!outcome.skipped.isEmpty() && search.onSkipped)
            search.onSkipped(tracks.at(i), outcome.skipped);
        if (outcome.entry) {
            kept.insert(tracks.at(i).id, *outcome.entry);
            cacheChanged = cacheChanged || !outcome.fromCache;
        }
    }
    if (useCache && (cacheChanged || kept.size() != cache->size())) {
        const QString path = *search.cachePath;
        // A cache that cannot be written only costs the next search its time.
        const auto save = [kept, path] { (void)kept.save(path); };
        co_await Background::run(save);
    }

    const auto pairing = [fingerprints, threshold = search.threshold, mode = search.pairing,
                          cancelled = search.cancelled] {
        return pairWithin(fingerprints, threshold, mode, cancelled.get());
    };
    const QList<QList<qsizetype>> sets = co_await Background::run(pairing);
    if (search.cancelled->load())
        co_return std::nullopt;
    co_return groups(tracks, sets);
}

} // namespace DuplicateFinder
