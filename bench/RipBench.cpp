#include "BenchSupport.h"

#include "disc/CDRipper.h"
#include "disc/DirectRipStrategy.h"
#include "disc/DiscTOC.h"
#include "library/BlockingWait.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtEndian>

#include <benchmark/benchmark.h>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr int trackCount = 10;

// A disc image of ten tracks, one BINARY file per track, `minutes` long in all: chords with a
// slow swell and a little noise, which FLAC compresses about as it does music. Made once and
// kept in the cache folder.
QString discImage(int minutes)
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)
                         + u"/sonorelle-bench/disc-%1min"_s.arg(minutes);
    const QString sheet = folder + u"/disc.cue"_s;
    if (QFile::exists(folder + u"/complete"_s))
        return sheet;
    QDir(folder).removeRecursively();
    QDir().mkpath(folder);
    const qint64 frames = qint64(minutes) * 60 * 75;
    QString cue;
    quint32 noise = 2463534242u;
    qint64 sample = 0;
    qint64 placed = 0;
    for (int track = 1; track <= trackCount; ++track) {
        // Tracks of unequal length, as on a real disc: weights 8, 9, 10, 7, ... summing to 85.
        const qint64 trackFrames = track < trackCount ? frames * (7 + track % 4) / 85 : frames - placed;
        placed += trackFrames;
        const QString name = u"track%1.bin"_s.arg(track, 2, 10, '0'_L1);
        cue += u"FILE \"%1\" BINARY\n  TRACK %2 AUDIO\n    INDEX 01 00:00:00\n"_s.arg(name).arg(track, 2, 10, '0'_L1);
        QFile file(folder + u'/' + name);
        if (!file.open(QIODevice::WriteOnly))
            qFatal("Cannot write %s", qPrintable(file.fileName()));
        QByteArray frame(2352, Qt::Uninitialized);
        for (qint64 f = 0; f < trackFrames; ++f) {
            for (int i = 0; i < 588; ++i, ++sample) {
                noise ^= noise << 13;
                noise ^= noise >> 17;
                noise ^= noise << 5;
                const double t = double(sample) / 44100.0;
                const double swell = 0.6 + 0.4 * std::sin(t * 0.3 + track);
                const double chord = std::sin(t * 2 * M_PI * (220.0 + 20 * track)) + 0.6 * std::sin(t * 2 * M_PI * 277.2)
                                   + 0.4 * std::sin(t * 2 * M_PI * 329.6);
                const double left = swell * chord * 6000.0 + double(noise % 64) - 32.0;
                const double right = swell * chord * 5000.0 + double((noise >> 8) % 64) - 32.0;
                qToLittleEndian(qint16(left), frame.data() + i * 4);
                qToLittleEndian(qint16(right), frame.data() + i * 4 + 2);
            }
            file.write(frame);
        }
    }
    QFile cueFile(sheet);
    if (!cueFile.open(QIODevice::WriteOnly))
        qFatal("Cannot write %s", qPrintable(sheet));
    cueFile.write(cue.toUtf8());
    writeFile(folder + u"/complete"_s);
    return sheet;
}

qint64 imageBytes(const QString& sheet)
{
    qint64 bytes = 0;
    for (const QFileInfo& file : QDir(QFileInfo(sheet).absolutePath()).entryInfoList({u"*.bin"_s}))
        bytes += file.size();
    return bytes;
}

void ripTheImage(const QString& sheet, const QString& output)
{
    const DiscTOC toc = MusicBrainzDiscLookup::readDiscTOC(sheet);
    DirectRipStrategy strategy;
    const QList<QUrl> files =
        BlockingWait::wait(CDRipper::rip(sheet, toc, QUrl::fromLocalFile(output), strategy, {}));
    if (files.size() != trackCount)
        qFatal("The rip made %lld files", qint64(files.size()));
}

// The whole 40-minute disc image to FLAC, track by track on one worker thread at a time.
void ripDiscImage(benchmark::State& state)
{
    const QString sheet = discImage(40);
    for (auto _ : state) {
        QTemporaryDir output;
        ripTheImage(sheet, output.path());
    }
    state.SetBytesProcessed(state.iterations() * imageBytes(sheet));
    state.counters["peakRssMiB_4min"] = measureInChild(ripImageArgument, discImage(4));
    state.counters["peakRssMiB_40min"] = measureInChild(ripImageArgument, sheet);
}

// The same PCM through the command-line encoder at the same level, one file after another.
void flacCommandOnTheSamePCM(benchmark::State& state)
{
    const QString sheet = discImage(40);
    const QStringList tracks = QDir(QFileInfo(sheet).absolutePath()).entryList({u"*.bin"_s});
    for (auto _ : state) {
        QTemporaryDir output;
        for (const QString& track : tracks) {
            QProcess flac;
            flac.setWorkingDirectory(QFileInfo(sheet).absolutePath());
            flac.start(u"flac"_s, {u"-5"_s, u"-s"_s, u"-f"_s, u"--force-raw-format"_s, u"--endian=little"_s,
                                   u"--sign=signed"_s, u"--channels=2"_s, u"--bps=16"_s, u"--sample-rate=44100"_s,
                                   u"-o"_s, output.filePath(track + u".flac"_s), track});
            if (!flac.waitForFinished(-1) || flac.exitCode() != 0) {
                state.SkipWithError("the flac command is missing or failed");
                return;
            }
        }
    }
    state.SetBytesProcessed(state.iterations() * imageBytes(sheet));
}

} // namespace

int runRipChild(const QString& sheet)
{
    QTemporaryDir output;
    ripTheImage(sheet, output.path());
    printf("%d %.1f\n", trackCount, peakMemoryMiB());
    return 0;
}

BENCHMARK(ripDiscImage)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);
BENCHMARK(flacCommandOnTheSamePCM)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);
