#include "BenchSupport.h"

#include "sync/SyncDiff.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype libraryCount = 50'000;
constexpr qsizetype onDevice = 45'000;
constexpr qsizetype staleEvery = 45; // 1,000 of those on the device
constexpr qsizetype unwantedCount = 500;
constexpr time_t fixtureTime = 1'700'000'000;

struct SyncFixture {
    QString libraryRoot;
    QString deviceRoot;
    QList<Track> tracks;
    DeviceProfile profile;
};

void touch(const QString& path, time_t modified)
{
    const QByteArray name = QFile::encodeName(path);
    int fd = ::open(name.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
    if (fd < 0) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        fd = ::open(name.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
    }
    if (fd < 0)
        qFatal("Cannot write %s", name.constData());
    const timespec times[2] = {{modified, 0}, {modified, 0}};
    ::futimens(fd, times);
    ::close(fd);
}

// A library of 50,000 files and a device mirroring its layout with 45,000 of them, 1,000 of
// those older than the library's, and 500 audio files the profile does not want. Made once
// and kept in the cache folder.
const SyncFixture& fixture()
{
    static const SyncFixture made = [] {
        SyncFixture f;
        const QString base = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)
            + u"/sonorelle-bench/sync-diff"_s;
        f.libraryRoot = base + u"/library"_s;
        f.deviceRoot = base + u"/device"_s;
        f.tracks = generateTracks(libraryCount);
        for (Track& track : f.tracks)
            track.url = QUrl::fromLocalFile(track.path().replace(u"/home/someone/Music/Sonorelle"_s, f.libraryRoot));
        f.profile.id = QUuid::createUuid();
        f.profile.rootPath = f.deviceRoot;
        f.profile.folderStructure = FolderStructure::mirrorLibrary;
        f.profile.syncPodcasts = false;

        const QString done = base + u"/complete"_s;
        if (QFile::exists(done))
            return f;
        QDir(base).removeRecursively();
        const QUrl root = QUrl::fromLocalFile(f.libraryRoot);
        for (qsizetype i = 0; i < f.tracks.size(); ++i) {
            const Track& track = f.tracks.at(i);
            touch(track.path(), fixtureTime);
            if (i < onDevice) {
                const time_t copyTime = i % staleEvery == 0 ? fixtureTime - 100 : fixtureTime;
                touch(SyncDiff::destinationURL(track, f.profile, root).toLocalFile(), copyTime);
            }
        }
        for (qsizetype i = 0; i < unwantedCount; ++i)
            touch(f.deviceRoot + u"/Music/Unwanted/Song %1.mp3"_s.arg(i), fixtureTime);
        touch(done, fixtureTime);
        return f;
    }();
    return made;
}

void syncDiffAgainstDevice(benchmark::State& state)
{
    const SyncFixture& f = fixture();
    const QUrl root = QUrl::fromLocalFile(f.libraryRoot);
    SyncDiff diff;
    for (auto _ : state) {
        diff = SyncDiff::compute(f.tracks, {}, {}, f.profile, root, {});
        benchmark::DoNotOptimize(diff.toAdd.constData());
    }
    state.counters["toAdd"] = double(diff.toAdd.size());
    state.counters["toRemove"] = double(diff.toRemove.size());
    state.counters["unchanged"] = double(diff.unchanged);
}

// The yardstick: rsync's own dry run over the same two trees.
void rsyncDryRun(benchmark::State& state)
{
    const SyncFixture& f = fixture();
    const QString rsync = QStandardPaths::findExecutable(u"rsync"_s);
    if (rsync.isEmpty()) {
        state.SkipWithError("rsync is not installed");
        return;
    }
    for (auto _ : state) {
        QProcess process;
        process.start(rsync, {u"--dry-run"_s, u"--recursive"_s, u"--times"_s, f.libraryRoot + u'/',
                              f.deviceRoot + u"/Music/"_s});
        if (!process.waitForFinished(-1) || process.exitCode() != 0) {
            state.SkipWithError("rsync failed");
            return;
        }
    }
}

} // namespace

BENCHMARK(syncDiffAgainstDevice)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
BENCHMARK(rsyncDryRun)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
