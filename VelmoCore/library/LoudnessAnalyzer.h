#pragma once

#include "ReplayGain.h"
#include "Track.h"

#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

class QThreadPool;

// EBU R128 loudness of tracks and albums, for their ReplayGain tags: integrated loudness with
// its gating, and the true peak (4× oversampled, not the sample peak). An album's loudness is
// gated over the blocks of all its tracks together, as the standard defines it, and each file
// is decoded once for both.
namespace LoudnessAnalyzer {

class AnalysisError : public std::runtime_error {
public:
    // unreadable: gone, or not audio we can decode. damaged: a frame that does not decode.
    enum class Kind { unreadable, damaged };

    AnalysisError(Kind kind, const QString& message);

    Kind kind() const { return m_kind; }
    // The sentence the user reads; it names the file.
    QString message() const { return m_message; }

private:
    Kind m_kind;
    QString m_message;
};

// The measured blocks of one track, kept for its album's loudness.
struct Blocks;

struct Measurement {
    double loudness = 0; // LUFS
    double peak = 0;     // linear
    std::shared_ptr<const Blocks> blocks;
};

// Decodes the whole file once. Throws AnalysisError.
Measurement measure(const QString& path);

// The loudness of the measured tracks heard one after another.
double albumLoudness(const std::vector<Measurement>& tracks);

// The albums among the tracks, in the order of their first track: tracks sharing album artist,
// album and release id. A track without an album name is an album of its own, and gets no
// album values.
QList<QList<Track>> albums(const QList<Track>& tracks);
bool hasAlbum(const Track& track);
// What the tracks of one album share; none for a track without an album name.
std::optional<QString> albumKey(const Track& track);

struct TrackResult {
    Track track;
    std::optional<ReplayGain::Values> values; // none when the file did not decode
    QString failure;                          // why, then
};

// Measures an album's tracks on the pool, one track per thread, and gives each its values,
// the album's from every track that decoded. `onTrackDone` is called from the pool's threads.
QList<TrackResult> analyseAlbum(const QList<Track>& album, QThreadPool& pool,
                                const std::function<void()>& onTrackDone = {});

} // namespace LoudnessAnalyzer
