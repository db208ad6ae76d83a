#include "BenchSupport.h"
#include "UiBenchSupport.h"

#include "facade/Library.h"
#include "facade/LibraryStores.h"
#include "library/BlockingWait.h"
#include "library/StoreWriter.h"
#include "music/ImportController.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int importedFiles = 1'000;

// What the library's own writes of library.json cost during an import: each write is done
// again here, alone, with the catalogue as large as it was then. The writes themselves run on
// a worker thread beside the import, so this is their share of the machine, not time the
// import waited.
double replayedWriteSeconds(const QList<Track>& tracks, const QList<qsizetype>& sizes, const QString& path)
{
    QElapsedTimer timer;
    timer.start();
    for (qsizetype size : sizes)
        StoreFile::writeAtomically(path, LibraryStores::encodeTracks(tracks.first(size)));
    return double(timer.nsecsElapsed()) / 1e9;
}

// Copies 1,000 files of the six containers into the library, stamping our id into those
// without a durable one, with `existing` tracks in the catalogue already and the stores on
// the disk or in memory (/dev/shm). Timed until the controller reports the import done.
void importByCopy(benchmark::State& state)
{
    const qsizetype existing = state.range(0);
    const bool storesInMemory = state.range(1) != 0;
    if (storesInMemory && !QFileInfo(u"/dev/shm"_s).isWritable()) {
        state.SkipWithError("/dev/shm is not available");
        return;
    }
    const QString source = mixedFormatFixture(importedFiles);
    // Texts the imported files do not share, so that every one of them is new and each is
    // judged against the whole catalogue.
    QList<Track> otherTracks = generateTracks(existing);
    for (Track& track : otherTracks)
        track.title.prepend(u"Earlier "_s);
    double scanSeconds = 0;
    double writeSeconds = 0;
    qsizetype writes = 0;
    qsizetype imported = 0;
    for (auto _ : state) {
        state.PauseTiming();
        UiBenchStores stores(0, storesInMemory ? u"/dev/shm"_s : QString());
        StoreFile::writeAtomically(stores.libraryJson(), LibraryStores::encodeTracks(otherTracks));
        QTemporaryDir root;
        QList<qsizetype> writtenSizes; // outlives the library, whose last flush may report
        Library library(QUrl::fromLocalFile(root.path()));
        for (StoreWriter* writer : library.findChildren<StoreWriter*>()) {
            if (writer->path() == stores.libraryJson())
                QObject::connect(writer, &StoreWriter::written, &library,
                                 [&] { writtenSizes.append(library.tracks().size()); });
        }
        ImportController controller;
        QElapsedTimer scan;
        scan.start();
        BlockingWait::wait(controller.scan(library, QUrl::fromLocalFile(source)));
        scanSeconds += double(scan.nsecsElapsed()) / 1e9;
        controller.setCopyFiles(true);
        state.ResumeTiming();

        BlockingWait::wait(controller.importSelected());

        state.PauseTiming();
        // The last write would go out a quarter of a second later; it counts as store work.
        library.flush();
        imported = controller.importedCount();
        writes += writtenSizes.size();
        writeSeconds += replayedWriteSeconds(library.tracks(), writtenSizes, stores.libraryJson());
        state.ResumeTiming();
    }
    const auto perIteration = [&state](double value) { return value / double(state.iterations()); };
    state.counters["imported"] = double(imported);
    state.counters["scanSeconds"] = perIteration(scanSeconds);
    state.counters["storeWrites"] = perIteration(double(writes));
    state.counters["storeWriteSeconds"] = perIteration(writeSeconds);
}

} // namespace

BENCHMARK(importByCopy)
    ->ArgNames({"existing", "storesInMemory"})
    ->Args({0, 0})
    ->Args({0, 1})
    ->Args({100'000, 0})
    ->Args({100'000, 1})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->UseRealTime();
