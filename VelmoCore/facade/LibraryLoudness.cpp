#include "Library.h"
#include "library/Background.h"
#include "library/DisplayText.h"
#include "library/LoudnessAnalyzer.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"

#include <QPointer>
#include <QThreadPool>

using namespace Qt::StringLiterals;

namespace {

// Whether the file carries the gains an analysis would write: the album's too, when it has one.
bool carriesGains(const Track& track)
{
    const std::optional<TrackMetadata> tags = TagReader::read(track.url);
    return tags && tags->replayGainTrack && (tags->replayGainAlbum || !LoudnessAnalyzer::hasAlbum(track));
}

struct AlbumOutcome {
    QList<std::pair<Track, ReplayGain::Values>> tagged;
    QList<Track> skipped;
    QList<std::pair<Track, QString>> failed;
    bool measured = false;
};

} // namespace

QString Library::LoudnessSummary::message() const
{
    QString text = u"Tagged "_s + DisplayText::counted(tagged.size(), u"track"_s);
    if (albumCount > 0)
        text += u" of "_s + DisplayText::counted(albumCount, u"album"_s);
    if (!skipped.isEmpty())
        text += u"; "_s + QString::number(skipped.size()) + u" already tagged"_s;
    if (!failed.isEmpty())
        text += u"; "_s + QString::number(failed.size()) + u" could not be analysed"_s;
    text += cancelled ? u"; cancelled."_s : u"."_s;
    return text;
}

QCoro::Task<Library::LoudnessSummary> Library::analyseLoudness(QList<Track> tracks, LoudnessOptions options,
                                                               LoudnessProgressHandler onProgress)
{
    assertMainThread();
    LoudnessSummary summary;
    const auto pool = std::make_shared<QThreadPool>();
    pool->setMaxThreadCount(options.jobs > 0 ? options.jobs : QThread::idealThreadCount());
    const auto cancelled = [&options] { return options.cancel && options.cancel->load(); };

    // An album's values come from all its tracks, so a selection takes in the rest of each album.
    QSet<QUuid> chosen;
    QSet<QString> chosenAlbums;
    for (const Track& track : std::as_const(tracks)) {
        chosen.insert(track.id);
        if (const auto key = LoudnessAnalyzer::albumKey(track))
            chosenAlbums.insert(*key);
    }
    tracks.clear();
    for (const Track& track : std::as_const(m_tracks)) {
        const auto key = LoudnessAnalyzer::albumKey(track);
        if (chosen.contains(track.id) || (key && chosenAlbums.contains(*key)))
            tracks.append(track);
    }
    const QList<QList<Track>> albums = LoudnessAnalyzer::albums(tracks);
    const auto done = std::make_shared<std::atomic<qsizetype>>(0);
    const qsizetype trackCount = tracks.size();
    QPointer<Library> self(this);
    // From the pool's threads to this one, where the handler runs.
    const std::function<void()> trackDone = [self, done, trackCount, onProgress] {
        const qsizetype count = ++*done;
        if (!onProgress || !self)
            return;
        QMetaObject::invokeMethod(
            self.data(), [onProgress, count, trackCount] { onProgress({count, trackCount}); }, Qt::QueuedConnection);
    };

    for (const QList<Track>& album : albums) {
        if (cancelled()) {
            summary.cancelled = true;
            break;
        }
        const bool force = options.force;
        const auto cancel = options.cancel;
        const auto job = [album, force, pool, trackDone, cancel] {
            AlbumOutcome outcome;
            if (!force && std::all_of(album.cbegin(), album.cend(), carriesGains)) {
                outcome.skipped = album;
                for (qsizetype i = 0; i < album.size(); ++i)
                    trackDone();
                return outcome;
            }
            const QList<LoudnessAnalyzer::TrackResult> results = LoudnessAnalyzer::analyseAlbum(album, *pool, trackDone);
            if (cancel && cancel->load())
                return outcome;
            outcome.measured = true;
            for (const LoudnessAnalyzer::TrackResult& result : results) {
                if (!result.values) {
                    outcome.failed.append({result.track, result.failure});
                    continue;
                }
                try {
                    TagWriter::writeReplayGain(result.track.path(), *result.values);
                    outcome.tagged.append({result.track, *result.values});
                } catch (const TagWriter::WriteError& error) {
                    outcome.failed.append({result.track, error.message()});
                }
            }
            return outcome;
        };
        AlbumOutcome outcome = co_await Background::run(job);
        if (!self)
            co_return summary;
        if (cancelled() && !outcome.measured && outcome.skipped.isEmpty()) {
            summary.cancelled = true;
            break;
        }
        summary.albumCount += outcome.measured ? 1 : 0;
        summary.skipped += outcome.skipped;
        summary.failed += outcome.failed;
        bool changed = false;
        for (auto& [track, values] : outcome.tagged) {
            const auto entry = std::find_if(m_tracks.begin(), m_tracks.end(),
                                            [&track](const Track& t) { return t.id == track.id; });
            if (entry == m_tracks.end())
                continue;
            entry->replayGainTrack = values.trackGain();
            entry->replayGainAlbum = values.albumGain();
            track = *entry;
            changed = true;
            summary.tagged.append({track, values});
        }
        if (changed)
            tracksDidChange();
    }
    co_return summary;
}
