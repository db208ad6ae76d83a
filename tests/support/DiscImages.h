#pragma once

#include "disc/AccurateRipDatabase.h"
#include "disc/DiscRipStrategy.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QSet>
#include <QString>

#include <memory>
#include <mutex>
#include <optional>

// Disc images and raw tables of contents made inside the tests.
namespace DiscImages {

// Little-endian 16-bit stereo PCM of `frames` CD frames: a tone and noise that differ with `seed`,
// so that a frame put in the wrong place shows.
QByteArray pcm(qint64 frames, int seed);
// Little-endian PCM of `frames` CD frames in which every stereo sample holds its own position,
// counted from 0: the left channel the low 16 bits, the right channel the high ones.
QByteArray numberedPCM(qint64 frames);
QByteArray bigEndian(const QByteArray& pcm);
QByteArray wave(const QByteArray& pcm);

struct Descriptor {
    int session = 1;
    int control = 0;
    int point = 0;
    qint64 frame = 0;
};

// Full TOC bytes; the header's `length` is the descriptors' unless given.
QByteArray fullTOC(const QList<Descriptor>& descriptors, int firstSession = 1, int lastSession = 1,
                   std::optional<int> length = std::nullopt);

// A plain audio disc: tracks in session 1 at the offsets and its lead-out.
QByteArray audioTOC(const QList<qint64>& offsets, qint64 leadOut);

// The bytes of a dBAR answer as the AccurateRip database sends it.
QByteArray accurateRipAnswer(const QList<AccurateRip::Pressing>& pressings);

// "disc.cue" and "disc.bin" in `folder`: `trackCount` tracks of `framesPerTrack` frames of pcm().
struct WrittenImage {
    QString sheet;
    QByteArray audio;

    QByteArray trackAudio(qint64 index, qint64 framesPerTrack) const
    {
        return audio.mid(index * framesPerTrack * 2352, framesPerTrack * 2352);
    }
};
WrittenImage writeImage(const QString& folder, qint64 trackCount, qint64 framesPerTrack, int seed = 4);

// A release as MusicBrainz answers a disc ID: by "Band", dated 1999, one medium holding the
// disc, tracks "Song N" of 200 seconds whose recordings are "<id>-recording-N".
QJsonObject musicBrainzRelease(const QString& id, const QString& title, const QString& discID, qint64 trackCount,
                               const QString& status = QStringLiteral("Official"), const QString& group = {});

// A drive made of the disc image a source names, with the faults a test scripts.
struct ScriptedDrive {
    std::mutex mutex; // the reads run on a worker thread
    QSet<qint64> badSectors; // never read, however often tried
    bool removed = false; // every open and read fails with ENOMEDIUM
    // A track from this index on waits before it is read; set on the main thread.
    qint64 allowedTracks = 1 << 30;
};

// The direct strategy, with a short pause between retries, reading through `drive`.
std::unique_ptr<DiscRipStrategy> scriptedStrategy(std::shared_ptr<ScriptedDrive> drive);

} // namespace DiscImages

// What a FLAC file holds, decoded with libFLAC.
namespace FlacFiles {

struct Decoded {
    QByteArray pcm; // little-endian 16-bit interleaved
    qint64 totalSamples = 0; // from STREAMINFO
    unsigned channels = 0;
    unsigned bitsPerSample = 0;
    unsigned sampleRate = 0;
};

std::optional<Decoded> decode(const QString& path);

} // namespace FlacFiles
