#include "BenchSupport.h"

#include "library/AudioFormat.h"
#include "library/TagReader.h"

#include <QDirIterator>
#include <QFile>

#include <taglib/fileref.h>
#include <taglib/tag.h>

#include <benchmark/benchmark.h>

#include <chrono>

namespace {

constexpr int fileCount = 1'000;

struct FixtureFile {
    QUrl url;
    QByteArray encodedPath;
};

QList<FixtureFile> fixtureFiles()
{
    QStringList paths;
    QDirIterator it(mixedFormatFixture(fileCount), QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        if (isAudioFilePath(path))
            paths.append(path);
    }
    paths.sort();
    QList<FixtureFile> files;
    for (const QString& path : std::as_const(paths))
        files.append({QUrl::fromLocalFile(path), QFile::encodeName(path)});
    return files;
}

// Everything a scan learns of a file: tags, our properties, audio properties, the picture.
bool readWithTagReader(const FixtureFile& file)
{
    const std::optional<TrackMetadata> metadata = TagReader::read(file.url);
    benchmark::DoNotOptimize(metadata);
    return metadata.has_value();
}

// The floor: TagLib opens the file as it does by default and gives its title, nothing more.
bool readTitleBare(const FixtureFile& file)
{
    const TagLib::FileRef ref(file.encodedPath.constData());
    if (ref.isNull() || !ref.tag())
        return false;
    const TagLib::String title = ref.tag()->title();
    benchmark::DoNotOptimize(title);
    return !title.isEmpty();
}

template <bool (*readFile)(const FixtureFile&)>
void readAll(benchmark::State& state)
{
    const QList<FixtureFile> files = fixtureFiles();
    qsizetype succeeded = 0;
    for (auto _ : state) {
        succeeded = 0;
        for (const FixtureFile& file : files)
            succeeded += readFile(file);
    }
    state.counters["files"] = double(succeeded);
    state.counters["filesPerSecond"] =
        benchmark::Counter(double(files.size()), benchmark::Counter::kIsIterationInvariantRate);
}

// The two side by side, file by file and in alternating order, so that a busy machine slows
// both alike and neither reads a file the other has just brought into the caches.
void readerOverBareTagLib(benchmark::State& state)
{
    using Clock = std::chrono::steady_clock;
    const QList<FixtureFile> files = fixtureFiles();
    Clock::duration reader{};
    Clock::duration bare{};
    for (auto _ : state) {
        for (qsizetype i = 0; i < files.size(); ++i) {
            const FixtureFile& file = files.at(i);
            const bool readerFirst = i % 2 == 0;
            const auto start = Clock::now();
            readerFirst ? readWithTagReader(file) : readTitleBare(file);
            const auto middle = Clock::now();
            readerFirst ? readTitleBare(file) : readWithTagReader(file);
            const auto end = Clock::now();
            reader += readerFirst ? middle - start : end - middle;
            bare += readerFirst ? end - middle : middle - start;
        }
    }
    const auto perPassMs = [&state](Clock::duration total) {
        return std::chrono::duration<double, std::milli>(total).count() / double(state.iterations());
    };
    state.counters["readerMs"] = perPassMs(reader);
    state.counters["bareMs"] = perPassMs(bare);
    state.counters["ratio"] = double(reader.count()) / double(bare.count());
}

} // namespace

BENCHMARK(readAll<readWithTagReader>)->Name("readTags")->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(readAll<readTitleBare>)->Name("bareTagLibTitles")->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(readerOverBareTagLib)->Unit(benchmark::kMillisecond)->MinTime(4);
