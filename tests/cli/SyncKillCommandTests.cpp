#include "VelmoTest.h"
#include "facade/LibraryStores.h"
#include "library/TagReader.h"
#include "support/EncodedAudio.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QTemporaryDir>

#include <functional>
#include <signal.h>

using namespace Qt::StringLiterals;

namespace {

// What a device holds: every file, hidden ones included, by its path below the root.
using Snapshot = QMap<QString, QByteArray>;

Snapshot snapshot(const QString& root)
{
    Snapshot files;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        files.insert(path.mid(root.size() + 1), readFile(path));
    }
    return files;
}

// A library of FLACs, transcoded for an MP3 320 kbps profile, between MP3s of 128 kbps, copied
// as they are; `velmo device sync` runs as a process of its own and is killed with SIGKILL.
class SyncKillTest : public VelmoTest {
protected:
    void SetUp() override
    {
        VelmoTest::SetUp();
        initLibrary();
        QList<Track> tracks;
        for (int i = 0; i < 5; ++i) {
            const bool lossless = i % 2 == 0;
            const QString title = u"Song %1"_s.arg(i + 1);
            const QString path = root() + u"/Band/Album/"_s + title + (lossless ? u".flac"_s : u".mp3"_s);
            EncodedAudio::write(EncodedAudio::music(unsigned(i), lossless ? 12.0 : 90.0), path, 128000);
            const QUrl url = QUrl::fromLocalFile(path);
            Track track = Track::fromFile(url, *TagReader::read(url));
            track.title = title;
            track.artist = track.albumArtist = u"Band"_s;
            track.album = u"Album"_s;
            track.trackNumber = i + 1;
            tracks.append(track);
            if (!lossless)
                copies.append(u"Music/Band/Album/%1 %2.mp3"_s.arg(qint64(i + 1), 2, 10, QChar(u'0')).arg(title));
        }
        writeFile(StoreLocations::path(StoreKind::library), LibraryStores::encodeTracks(tracks));
        QDir().mkpath(device());
        ASSERT_EQ(velmo({u"device"_s, u"add"_s, u"Stick"_s, device()}).status, 0);
        ASSERT_EQ(velmo({u"device"_s, u"set"_s, u"Stick"_s, u"outputFormat=mp3"_s, u"transcodeBitrate=320"_s,
                         u"syncPodcasts=false"_s})
                      .status,
                  0);
    }

    QString device() const { return stores.folder() + u"/Stick"_s; }

    void wipeDevice()
    {
        ASSERT_TRUE(QDir(device()).removeRecursively());
        QDir().mkpath(device());
    }

    // Starts a sync, on this test's stores and with an empty transcode cache of its own, so
    // that every FLAC is encoded. With `killWhen`, polls it with the lines of progress read so
    // far and kills the process with SIGKILL once it says yes. Returns the exit code of a
    // sync that ran to its end, or -1 for one that was killed.
    int runSync(const std::function<bool(const QString& progress)>& killWhen = {})
    {
        QTemporaryDir cache;
        QProcess sync;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_DATA_HOME"_s, stores.folder());
        environment.insert(u"XDG_CACHE_HOME"_s, cache.path());
        sync.setProcessEnvironment(environment);
        sync.start(QStringLiteral(VELMO_EXECUTABLE), {u"device"_s, u"sync"_s, u"Stick"_s});
        EXPECT_TRUE(sync.waitForStarted());
        QString progress;
        QElapsedTimer clock;
        clock.start();
        while (sync.state() != QProcess::NotRunning && clock.elapsed() < 120'000) {
            sync.waitForReadyRead(1);
            progress += QString::fromUtf8(sync.readAllStandardError());
            if (killWhen && killWhen(progress)) {
                ::kill(pid_t(sync.processId()), SIGKILL);
                sync.waitForFinished();
                return -1;
            }
        }
        sync.waitForFinished();
        progress += QString::fromUtf8(sync.readAllStandardError());
        EXPECT_EQ(sync.exitStatus(), QProcess::NormalExit) << progress.toStdString();
        return sync.exitCode();
    }

    // The device a sync after a kill leaves is the one a clean sync makes: the same files, no
    // hidden leftovers, the copies byte for byte; transcodes whole and tagged.
    void expectLikeACleanSync(const Snapshot& clean)
    {
        const Snapshot after = snapshot(device());
        EXPECT_EQ(after.keys(), clean.keys());
        for (auto it = clean.cbegin(); it != clean.cend(); ++it) {
            if (it.key().endsWith(u".mp3"_s) && !copies.contains(it.key())) {
                const std::optional<TrackMetadata> tags = TagReader::read(QUrl::fromLocalFile(device() + u'/' + it.key()));
                ASSERT_TRUE(tags) << it.key().toStdString();
                EXPECT_NEAR(tags->duration, 12.0, 0.1) << it.key().toStdString();
                continue;
            }
            EXPECT_TRUE(after.value(it.key()) == it.value()) << it.key().toStdString() << " differs";
        }
    }

    bool hiddenFileOnDevice() const
    {
        QDirIterator it(device() + u"/Music"_s, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            if (it.next().section(u'/', -1).startsWith(u'.'))
                return true;
        }
        return false;
    }

    QStringList copies; // paths below the root
};

} // namespace

TEST_F(SyncKillTest, AKilledSyncLeavesADeviceThatTheNextSyncMakesLikeACleanOne)
{
    ASSERT_EQ(runSync(), 0);
    const Snapshot clean = snapshot(device());
    ASSERT_EQ(clean.size(), 6) << clean.keys().join(u", "_s).toStdString(); // the five tracks and the identity file
    for (const QString& copy : std::as_const(copies))
        EXPECT_EQ(clean.value(copy), readFile(root() + u"/Band/Album/"_s + copy.section(u'/', -1).mid(3)));

    struct KillPoint {
        const char* name;
        std::function<bool(const QString&)> when;
    };
    const QList<KillPoint> points{
        // A part file of a transcode or a copy is there: the kill lands inside its write.
        {"during the first write", [this](const QString&) { return hiddenFileOnDevice(); }},
        // The second add, a copy, has been announced: the kill lands as it starts or runs.
        {"during a copy", [](const QString& progress) { return progress.contains(u"[1/5]"_s); }},
        // The fourth add is announced once the third is under way or done.
        {"between files", [](const QString& progress) { return progress.contains(u"[3/5]"_s); }},
    };
    for (const KillPoint& point : points) {
        SCOPED_TRACE(point.name);
        wipeDevice();
        EXPECT_EQ(runSync(point.when), -1) << "the sync ended before the kill";
        ASSERT_EQ(runSync(), 0);
        expectLikeACleanSync(clean);
    }
}
