#include "BenchSupport.h"

#include "facade/Library.h"
#include "facade/LibraryStores.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace {

// Stores in a temporary folder for the length of one benchmark.
struct BenchStores {
    QTemporaryDir folder;

    BenchStores()
    {
        for (StoreKind kind : allStoreKinds)
            StoreLocations::setOverride(kind, folder.filePath(StoreLocations::relativePath(kind)));
    }
    ~BenchStores()
    {
        for (StoreKind kind : allStoreKinds)
            StoreLocations::setOverride(kind, std::nullopt);
    }
};

void loadLibrary(benchmark::State& state)
{
    BenchStores stores;
    const QByteArray json = LibraryStores::encodeTracks(generateTracks(state.range(0)));
    StoreFile::writeAtomically(StoreLocations::path(StoreKind::library), json);
    for (auto _ : state) {
        Library library(QUrl::fromLocalFile(stores.folder.path()));
        benchmark::DoNotOptimize(library.tracks().size());
    }
    state.counters["storeMiB"] = double(json.size()) / (1024.0 * 1024.0);
    state.counters["peakRssMiB"] = measureInChild(loadStoreArgument, StoreLocations::path(StoreKind::library));
}

void saveLibrary(benchmark::State& state)
{
    BenchStores stores;
    const QList<Track> tracks = generateTracks(state.range(0));
    for (auto _ : state) {
        const auto error = StoreFile::writeAtomically(StoreLocations::path(StoreKind::library),
                                                      LibraryStores::encodeTracks(tracks));
        if (error)
            state.SkipWithError(qPrintable(*error));
    }
}

// Adds in a row, with the event loop running between them as it does during an import:
// the coalesced writer must keep the whole run linear.
void successiveAdds(benchmark::State& state)
{
    const QList<Track> tracks = generateTracks(state.range(0));
    for (auto _ : state) {
        BenchStores stores;
        Library library(QUrl::fromLocalFile(stores.folder.path()));
        for (const Track& track : tracks) {
            library.add(track);
            QCoreApplication::processEvents();
        }
        library.flush();
    }
    state.SetComplexityN(state.range(0));
}

} // namespace

BENCHMARK(loadLibrary)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(saveLibrary)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(successiveAdds)->Arg(1'250)->Arg(2'500)->Arg(5'000)->Unit(benchmark::kMillisecond)->Iterations(1)->Complexity();
