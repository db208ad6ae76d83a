#include "BenchSupport.h"

#include "playlists/PlaylistExporter.h"
#include "playlists/SmartRuleEngine.h"

#include <QFileInfo>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace {

// All three filters, the first two letting a good share of the tracks through: four of six
// decades, four of six genres, and the artists of every `stride`-th track: a stride of 4
// is a stress case of some 20,000 artists, 1,000 a large real one of about a hundred.
SmartPlaylist threeFilters(const QList<Track>& tracks, qsizetype stride)
{
    SmartPlaylist smart{.id = QUuid::createUuid(), .name = u"Bench"_s};
    smart.filterDecades = {1960, 1970, 1990, 2000};
    smart.filterGenres = {u"Rock"_s, u"Jazz"_s, u"Folk"_s, u"Electronic"_s};
    for (qsizetype i = 0; i < tracks.size(); i += stride)
        smart.filterArtists.insert(tracks.at(i).artist);
    return smart;
}

void resolveSmartPlaylist(benchmark::State& state)
{
    const QList<Track> tracks = generateTracks(state.range(0));
    const SmartPlaylist smart = threeFilters(tracks, state.range(1));
    qsizetype matches = 0;
    for (auto _ : state) {
        const QList<Track> result = SmartRuleEngine::resolve(smart, tracks);
        matches = result.size();
        benchmark::DoNotOptimize(result.constData());
    }
    state.counters["matches"] = double(matches);
    state.counters["artistsInFilter"] = double(smart.filterArtists.size());
}

void exportPlaylist(benchmark::State& state)
{
    // The playlist draws its tracks from a library ten times its size, in shuffled order.
    const QList<Track> tracks = generateTracks(state.range(0) * 10);
    Playlist playlist{.id = QUuid::createUuid(), .name = u"Bench"_s};
    for (qsizetype i = 0; i < state.range(0); ++i)
        playlist.trackIDs.append(tracks.at((i * 7919) % tracks.size()).id);

    QTemporaryDir folder;
    const QUrl target = QUrl::fromLocalFile(folder.filePath(u"Bench.m3u8"_s));
    for (auto _ : state) {
        try {
            PlaylistExporter::write(playlist, tracks, target, true);
        } catch (const PlaylistExporter::ExportError& error) {
            state.SkipWithError(qPrintable(error.message()));
            break;
        }
    }
    state.counters["fileKiB"] = double(QFileInfo(target.toLocalFile()).size()) / 1024.0;
}

} // namespace

BENCHMARK(resolveSmartPlaylist)->Args({100'000, 4})->Args({100'000, 1'000})->Unit(benchmark::kMillisecond);
BENCHMARK(exportPlaylist)->Arg(10'000)->Unit(benchmark::kMillisecond);
