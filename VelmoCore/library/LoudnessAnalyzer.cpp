#include "LoudnessAnalyzer.h"

#include "platform/AudioDecoder.h"

#include <QHash>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentMap>

#include <ebur128.h>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace LoudnessAnalyzer {

AnalysisError::AnalysisError(Kind kind, const QString& message)
    : std::runtime_error(message.toStdString())
    , m_kind(kind)
    , m_message(message)
{
}

struct Blocks {
    explicit Blocks(ebur128_state* measured) : state(measured) {}
    ~Blocks() { ebur128_destroy(&state); }
    Blocks(const Blocks&) = delete;
    Blocks& operator=(const Blocks&) = delete;

    ebur128_state* state;
};

namespace {

// More channels than 5.1 are measured by their first six, as the standard weighs those.
constexpr int maxChannels = 6;

[[noreturn]] void fail(const QString& path, const char* what)
{
    throw AnalysisError(AnalysisError::Kind::unreadable, u"The loudness of “%1” %2."_s.arg(path, QString::fromUtf8(what)));
}

} // namespace

Measurement measure(const QString& path)
{
    std::shared_ptr<Blocks> blocks;
    const auto feed = [&](int rate, int channels, std::span<const float> interleaved) {
        if (!blocks) {
            ebur128_state* state
                = ebur128_init(unsigned(channels), unsigned(rate), EBUR128_MODE_I | EBUR128_MODE_TRUE_PEAK);
            if (!state)
                fail(path, "cannot be measured: its sample rate or channels are out of range");
            blocks = std::make_shared<Blocks>(state);
            // A mono recording plays from both speakers, and counts as it sounds: twice.
            if (channels == 1)
                ebur128_set_channel(state, 0, EBUR128_DUAL_MONO);
        }
        if (ebur128_add_frames_float(blocks->state, interleaved.data(), interleaved.size() / size_t(channels))
            != EBUR128_SUCCESS)
            fail(path, "could not be measured");
    };
    try {
        AudioDecoder::decode(path, std::numeric_limits<double>::infinity(), maxChannels, feed);
    } catch (const AudioDecoder::DecodeError& error) {
        const auto kind = error.kind() == AudioDecoder::DecodeError::Kind::damaged ? AnalysisError::Kind::damaged
                                                                                    : AnalysisError::Kind::unreadable;
        throw AnalysisError(kind, QString::fromUtf8(error.what()));
    }
    if (!blocks)
        fail(path, "cannot be measured: it holds no audio");

    Measurement result;
    if (ebur128_loudness_global(blocks->state, &result.loudness) != EBUR128_SUCCESS)
        fail(path, "could not be measured");
    // Silence throughout has no gated loudness; it is left at the level it has.
    if (!std::isfinite(result.loudness))
        result.loudness = ReplayGain::referenceLoudness;
    for (unsigned channel = 0; channel < blocks->state->channels; ++channel) {
        double peak = 0;
        if (ebur128_true_peak(blocks->state, channel, &peak) == EBUR128_SUCCESS)
            result.peak = std::max(result.peak, peak);
    }
    result.blocks = std::move(blocks);
    return result;
}

double albumLoudness(const std::vector<Measurement>& tracks)
{
    std::vector<ebur128_state*> states;
    for (const Measurement& track : tracks) {
        if (track.blocks)
            states.push_back(track.blocks->state);
    }
    double loudness = -HUGE_VAL;
    if (states.empty() || ebur128_loudness_global_multiple(states.data(), states.size(), &loudness) != EBUR128_SUCCESS
        || !std::isfinite(loudness))
        return ReplayGain::referenceLoudness;
    return loudness;
}

bool hasAlbum(const Track& track)
{
    return !track.album.trimmed().isEmpty();
}

std::optional<QString> albumKey(const Track& track)
{
    if (!hasAlbum(track))
        return std::nullopt;
    return track.albumArtist + u'\x1f' + track.album + u'\x1f' + track.releaseMBID.value_or(QString());
}

QList<QList<Track>> albums(const QList<Track>& tracks)
{
    QList<QList<Track>> result;
    QHash<QString, qsizetype> index;
    for (const Track& track : tracks) {
        const std::optional<QString> key = albumKey(track);
        if (!key) {
            result.append({track});
            continue;
        }
        const auto found = index.constFind(*key);
        if (found != index.cend()) {
            result[*found].append(track);
        } else {
            index.insert(*key, result.size());
            result.append({track});
        }
    }
    return result;
}

QList<TrackResult> analyseAlbum(const QList<Track>& album, QThreadPool& pool, const std::function<void()>& onTrackDone)
{
    struct Outcome {
        std::optional<Measurement> measurement;
        QString failure;
    };
    const std::function<Outcome(const Track&)> measureOne = [&onTrackDone](const Track& track) {
        Outcome outcome;
        try {
            outcome.measurement = measure(track.path());
        } catch (const AnalysisError& error) {
            outcome.failure = error.message();
        }
        if (onTrackDone)
            onTrackDone();
        return outcome;
    };
    const QList<Outcome> outcomes = QtConcurrent::blockingMapped<QList<Outcome>>(&pool, album, measureOne);

    std::vector<Measurement> measured;
    for (const Outcome& outcome : outcomes) {
        if (outcome.measurement)
            measured.push_back(*outcome.measurement);
    }
    const bool isAlbum = !album.isEmpty() && hasAlbum(album.constFirst());
    std::optional<double> loudness;
    std::optional<double> peak;
    if (isAlbum && !measured.empty()) {
        loudness = albumLoudness(measured);
        peak = 0.0;
        for (const Measurement& track : measured)
            peak = std::max(*peak, track.peak);
    }

    QList<TrackResult> results;
    for (qsizetype i = 0; i < album.size(); ++i) {
        TrackResult result{album.at(i), std::nullopt, outcomes.at(i).failure};
        if (const auto& measurement = outcomes.at(i).measurement)
            result.values = ReplayGain::Values{measurement->loudness, measurement->peak, loudness, peak};
        results.append(result);
    }
    return results;
}

} // namespace LoudnessAnalyzer
