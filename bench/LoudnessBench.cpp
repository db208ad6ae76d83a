#include "library/LoudnessAnalyzer.h"
#include "support/EncodedAudio.h"

#include <benchmark/benchmark.h>

#include <QFile>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentMap>

#include <atomic>

namespace {

// 200 FLAC files of a minute, twenty albums of ten, made once per run: ten pieces each copied
// twenty times, which costs a decoder as much as two hundred pieces would.
const QList<QList<Track>>& albums()
{
    static QTemporaryDir folder;
    static const QList<QList<Track>> made = [] {
        QList<Track> tracks;
        for (unsigned piece = 0; piece < 10; ++piece) {
            const QString first = EncodedAudio::write(EncodedAudio::music(piece, 60.0),
                                                      folder.filePath(QStringLiteral("%1-0.flac").arg(piece)));
            for (int copy = 0; copy < 20; ++copy) {
                const QString path = folder.filePath(QStringLiteral("%1-%2.flac").arg(piece).arg(copy));
                if (copy > 0)
                    QFile::copy(first, path);
                Track track;
                track.id = QUuid::createUuid();
                track.url = QUrl::fromLocalFile(path);
                track.albumArtist = QStringLiteral("Artist");
                track.album = QStringLiteral("Album %1").arg(copy);
                tracks.append(track);
            }
        }
        return LoudnessAnalyzer::albums(tracks);
    }();
    return made;
}

QStringList paths()
{
    QStringList result;
    for (const QList<Track>& album : albums())
        for (const Track& track : album)
            result.append(track.path());
    return result;
}

void perFile(benchmark::State& state)
{
    state.counters["perFile"] =
        benchmark::Counter(200.0, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// What `velmo library loudness` does, less the tag writes: every track's and every album's
// loudness and true peak, each file decoded once, `threads` tracks at a time.
void BM_LoudnessAlbumByAlbum(benchmark::State& state)
{
    albums();
    QThreadPool pool;
    pool.setMaxThreadCount(int(state.range(0)));
    for (auto _ : state) {
        for (const QList<Track>& album : albums())
            benchmark::DoNotOptimize(LoudnessAnalyzer::analyseAlbum(album, pool));
    }
    perFile(state);
}
BENCHMARK(BM_LoudnessAlbumByAlbum)->Arg(1)->Arg(2)->Unit(benchmark::kSecond)->Iterations(1)->UseRealTime();

// The yardstick: FFmpeg's own R128 meter with true peak, one process per file. It gives the
// track's values only; an album would need its files read again.
bool ffmpegMeasures(const QString& path)
{
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"), {QStringLiteral("-nostdin"), QStringLiteral("-nostats"),
                                            QStringLiteral("-i"), path, QStringLiteral("-af"),
                                            QStringLiteral("ebur128=peak=true"), QStringLiteral("-f"),
                                            QStringLiteral("null"), QStringLiteral("-")});
    return ffmpeg.waitForFinished(-1) && ffmpeg.exitCode() == 0;
}

void BM_FfmpegEbur128(benchmark::State& state)
{
    albums();
    const QStringList files = paths();
    QThreadPool pool;
    pool.setMaxThreadCount(int(state.range(0)));
    for (auto _ : state) {
        std::atomic_bool failed = false;
        QtConcurrent::blockingMap(&pool, files, [&failed](const QString& path) {
            if (!ffmpegMeasures(path))
                failed = true;
        });
        if (failed) {
            state.SkipWithError("ffmpeg did not run; install ffmpeg");
            return;
        }
    }
    perFile(state);
}
BENCHMARK(BM_FfmpegEbur128)->Arg(1)->Arg(2)->Unit(benchmark::kSecond)->Iterations(1)->UseRealTime();

} // namespace
