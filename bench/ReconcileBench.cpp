#include "BenchSupport.h"

#include "library/Reconciler.h"

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace {

// A rescan of a settled library: every file read afresh (new ids and dates), most where they
// were; of each hundred, one renamed with its id in the tags, one moved without any id (found
// by its text), one gone, one retagged, and one new file.
QList<Track> rescan(const QList<Track>& existing)
{
    QList<Track> scanned;
    scanned.reserve(existing.size() + existing.size() / 100);
    for (qsizetype i = 0; i < existing.size(); ++i) {
        Track track = existing.at(i);
        track.id = QUuid::createUuid();
        track.dateAdded = Date::now();
        track.customTags.clear();
        switch (i % 100) {
        case 0: track.url = QUrl::fromLocalFile(track.path() + u".renamed.flac"_s); break;
        case 1:
            track.externalID.reset();
            track.url = QUrl::fromLocalFile(u"/elsewhere/"_s + QString::number(i) + u".flac"_s);
            break;
        case 2: continue;
        case 3: track.genre = u"Retagged"_s; break;
        case 4: {
            Track added = track;
            added.id = QUuid::createUuid();
            added.title = u"New "_s + QString::number(i);
            added.externalID.reset();
            added.url = QUrl::fromLocalFile(u"/new/"_s + QString::number(i) + u".flac"_s);
            scanned.append(added);
            break;
        }
        default: break;
        }
        scanned.append(track);
    }
    return scanned;
}

void reconcileMerge(benchmark::State& state)
{
    const QList<Track> existing = generateTracks(state.range(0));
    const QList<Track> scanned = rescan(existing);
    QSet<QUuid> referenced;
    for (qsizetype i = 0; i < existing.size(); i += 7)
        referenced.insert(existing.at(i).id);
    Reconciler::Result result;
    for (auto _ : state) {
        result = Reconciler::merge(existing, scanned, referenced, false);
        benchmark::DoNotOptimize(result.tracks.constData());
    }
    state.counters["moved"] = double(result.report.moved.size());
    state.counters["added"] = double(result.report.added.size());
    state.counters["missing"] = double(result.report.removedCandidates.size());
    state.SetComplexityN(state.range(0));
}

} // namespace

BENCHMARK(reconcileMerge)
    ->Arg(12'500)
    ->Arg(25'000)
    ->Arg(50'000)
    ->Arg(100'000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);
