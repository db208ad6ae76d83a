#include "library/BlockingWait.h"
#include "support/EncodedAudio.h"
#include "sync/SyncEngine.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int fileCount = 100;
constexpr double secondsPerFile = 30.0;
constexpr qint64 bitrateKbps = 320;

// 100 FLAC files of 30 s of music each, made once and kept in the cache folder.
const QList<Track>& flacFixture()
{
    static const QList<Track> tracks = [] {
        const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)
                             + u"/sonorelle-bench/transcode"_s;
        QList<Track> made;
        for (int i = 0; i < fileCount; ++i) {
            const QString path = folder + u"/%1.flac"_s.arg(i, 3, 10, QLatin1Char('0'));
            if (!QFileInfo::exists(path))
                EncodedAudio::write(EncodedAudio::music(unsigned(i), secondsPerFile), path);
            Track track;
            track.id = QUuid::createUuid();
            track.url = QUrl::fromLocalFile(path);
            track.title = u"Track %1"_s.arg(i);
            track.artist = u"Bench"_s;
            track.album = u"Transcodes"_s;
            track.trackNumber = i + 1;
            made.append(track);
        }
        return made;
    }();
    return tracks;
}

// The whole run of the engine, tags and playlists included, with as many transcodes at once
// as the argument says (0: one per core).
void engineToMp3(benchmark::State& state)
{
    const QList<Track>& tracks = flacFixture();
    SyncEngine engine;
    engine.setTranscodeWorkers(state.range(0) > 0 ? int(state.range(0)) : QThread::idealThreadCount());
    for (auto _ : state) {
        QTemporaryDir device;
        DeviceProfile profile;
        profile.id = QUuid::createUuid();
        profile.rootPath = device.path();
        profile.outputFormat = OutputFormat::mp3;
        profile.transcodeBitrate = bitrateKbps;
        profile.syncPlaylists = false;
        SyncDiff diff;
        for (const Track& track : tracks)
            diff.toAdd.append({track, SyncDiff::destinationURL(track, profile, {}), AddAction::forTrack(track, profile)});
        BlockingWait::wait(engine.sync(diff, profile, {}, {}, tracks, {}, {}));
    }
    state.counters["files"] = benchmark::Counter(fileCount, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["workers"] = engine.transcodeWorkers();
}

// The yardstick: the command-line converter on the same files, one after the other.
void ffmpegCommandOneAfterTheOther(benchmark::State& state)
{
    const QList<Track>& tracks = flacFixture();
    for (auto _ : state) {
        QTemporaryDir output;
        for (const Track& track : tracks) {
            QProcess ffmpeg;
            ffmpeg.start(u"ffmpeg"_s, {u"-nostdin"_s, u"-loglevel"_s, u"error"_s, u"-y"_s, u"-i"_s, track.path(),
                                       u"-vn"_s, u"-ar"_s, u"44100"_s, u"-ac"_s, u"2"_s, u"-c:a"_s, u"libmp3lame"_s,
                                       u"-b:a"_s, u"320k"_s, output.filePath(QFileInfo(track.path()).baseName() + u".mp3"_s)});
            if (!ffmpeg.waitForFinished(-1) || ffmpeg.exitStatus() != QProcess::NormalExit || ffmpeg.exitCode() != 0) {
                state.SkipWithError("the ffmpeg command is missing or failed");
                return;
            }
        }
    }
    state.counters["files"] = benchmark::Counter(fileCount, benchmark::Counter::kIsIterationInvariantRate);
}

} // namespace

BENCHMARK(engineToMp3)->Arg(0)->Arg(1)->Unit(benchmark::kSecond)->UseRealTime()->Iterations(1);
BENCHMARK(ffmpegCommandOneAfterTheOther)->Unit(benchmark::kSecond)->UseRealTime()->Iterations(1);
