#include "BenchSupport.h"

#include "facade/Library.h"
#include "library/JsonCoding.h"
#include "library/LibraryOrganizer.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QThreadPool>

#include <benchmark/benchmark.h>

#include <chrono>

using namespace Qt::StringLiterals;

namespace {

// 10,000 small FLAC files, twelve to an album, each album with its own 40 KB cover in every
// file: made once and kept in the cache folder, since writing them takes a while.
QString scanFixture()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)
                         + u"/sonorelle-bench/scan-10000"_s;
    if (QFile::exists(folder + u"/complete"_s))
        return folder;
    QDir(folder).removeRecursively();
    const QString sample = QStringLiteral(SONORELLE_SMALL_FLAC);
    const auto metadata = TagReader::read(QUrl::fromLocalFile(sample));
    QRandomGenerator random(3);
    QByteArray cover;
    for (int i = 0; i < 10'000; ++i) {
        if (i % 12 == 0) {
            cover = QByteArray("\xFF\xD8\xFF\xE0", 4);
            for (int b = 0; b < 40'000; ++b)
                cover.append(char(random.bounded(256)));
        }
        Track track = Track::fromFile(QUrl::fromLocalFile(sample), *metadata);
        track.artist = u"Artist "_s + QString::number(i / 120);
        track.album = u"Album "_s + QString::number(i / 12);
        track.title = u"Track "_s + QString::number(i);
        track.trackNumber = i % 12 + 1;
        track.url = LibraryOrganizer::canonicalURL(track, QUrl::fromLocalFile(folder));
        QDir().mkpath(QFileInfo(track.path()).absolutePath());
        QFile::copy(sample, track.path());
        QFile::setPermissions(track.path(), QFile::ReadOwner | QFile::WriteOwner);
        TagWriter::write(track);
        TagWriter::writeArtwork(track.url, cover, u"image/jpeg"_s);
    }
    writeFile(folder + u"/complete"_s);
    return folder;
}

void scanFolder(benchmark::State& state)
{
    const QString folder = scanFixture();
    qsizetype found = 0;
    for (auto _ : state)
        found = Library::scanFolder(QUrl::fromLocalFile(folder)).size();
    state.counters["tracks"] = double(found);
    state.counters["peakRssMiB"] = measureInChild(scanFolderArgument, folder);
}

// 2,000 files of the six containers, read in parallel as a scan does, and then with the
// global thread pool held to none beyond the scanning thread itself.
void scanMixedFolder(benchmark::State& state)
{
    const bool parallel = state.range(0) != 0;
    const QString folder = mixedFormatFixture(2'000);
    QThreadPool* pool = QThreadPool::globalInstance();
    const int threads = pool->maxThreadCount();
    if (!parallel) {
        pool->setMaxThreadCount(1);
        pool->reserveThread();
    }
    qsizetype found = 0;
    double cpu = 0;
    double wall = 0;
    for (auto _ : state) {
        const double cpuBefore = processCpuSeconds();
        const auto start = std::chrono::steady_clock::now();
        found = Library::scanFolder(QUrl::fromLocalFile(folder)).size();
        wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        cpu += processCpuSeconds() - cpuBefore;
    }
    if (!parallel) {
        pool->releaseThread();
        pool->setMaxThreadCount(threads);
    }
    state.counters["tracks"] = double(found);
    state.counters["filesPerSecond"] = benchmark::Counter(double(found), benchmark::Counter::kIsIterationInvariantRate);
    state.counters["busyThreads"] = wall > 0 ? cpu / wall : 0;
}

} // namespace

BENCHMARK(scanFolder)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(scanMixedFolder)->ArgName("parallel")->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->MinTime(2)->UseRealTime();
