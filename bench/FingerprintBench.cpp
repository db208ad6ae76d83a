#include "library/DuplicateFinder.h"
#include "library/FingerprintReader.h"
#include "support/EncodedAudio.h"

#include <benchmark/benchmark.h>

#include <QFile>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QtConcurrent/QtConcurrentMap>

namespace {

// 200 FLAC files of three minutes, made once per run: ten pieces, each copied twenty times,
// which costs the decoder as much as two hundred pieces would.
const QStringList& files()
{
    static QTemporaryDir folder;
    static const QStringList made = [] {
        QStringList paths;
        for (unsigned piece = 0; piece < 10; ++piece) {
            const QString first = EncodedAudio::write(EncodedAudio::music(piece, 180.0),
                                                      folder.filePath(QStringLiteral("%1-0.flac").arg(piece)));
            paths.append(first);
            for (int copy = 1; copy < 20; ++copy) {
                const QString path = folder.filePath(QStringLiteral("%1-%2.flac").arg(piece).arg(copy));
                QFile::copy(first, path);
                paths.append(path);
            }
        }
        return paths;
    }();
    return made;
}

void fingerprint(const QString& path)
{
    benchmark::DoNotOptimize(FingerprintReader::fingerprint(QUrl::fromLocalFile(path), DuplicateFinder::maxDuration));
}

void perFile(benchmark::State& state)
{
    state.counters["perFile"] =
        benchmark::Counter(double(files().size()), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_FingerprintOneCore(benchmark::State& state)
{
    files();
    for (auto _ : state) {
        for (const QString& path : files())
            fingerprint(path);
    }
    perFile(state);
}
BENCHMARK(BM_FingerprintOneCore)->Unit(benchmark::kSecond)->Iterations(1)->UseRealTime();

void BM_FingerprintOnThePool(benchmark::State& state)
{
    files();
    for (auto _ : state)
        QtConcurrent::blockingMap(files(), fingerprint);
    perFile(state);
}
BENCHMARK(BM_FingerprintOnThePool)->Unit(benchmark::kSecond)->Iterations(1)->UseRealTime();

// The reference: Chromaprint's own tool, one process per file, one after another.
void BM_FpcalcOneCore(benchmark::State& state)
{
    files();
    for (auto _ : state) {
        for (const QString& path : files()) {
            QProcess fpcalc;
            fpcalc.start(QStringLiteral("fpcalc"), {QStringLiteral("-raw"), QStringLiteral("-length"),
                                                   QStringLiteral("120"), path});
            if (!fpcalc.waitForFinished(-1) || fpcalc.exitCode() != 0) {
                state.SkipWithError("fpcalc did not run; install libchromaprint-tools");
                return;
            }
        }
    }
    perFile(state);
}
BENCHMARK(BM_FpcalcOneCore)->Unit(benchmark::kSecond)->Iterations(1)->UseRealTime();

} // namespace
