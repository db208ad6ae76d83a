#include "CDRipController.h"

#include "Library.h"
#include "disc/CueSheet.h"
#include "metadata/MusicBrainzDiscLookup.h"
#include "disc/UnknownDisc.h"
#include "library/Background.h"
#include "library/ImageType.h"
#include "library/Settings.h"
#include "library/TrackSignature.h"

#include <QCoreApplication>
#include <QPointer>
#include <QScopeGuard>
#include <QSet>
#include <QThread>

#include <algorithm>
#include <atomic>

using namespace Qt::StringLiterals;

namespace {

bool isDone(const TrackRipState& state)
{
    return std::holds_alternative<TrackRipStates::Done>(state);
}

// The library tracks that belong to a release: by its id, its group, or its title and artist.
QList<Track> tracksOfRelease(const ReleaseMetadata& release, const QList<Track>& tracks)
{
    QList<Track> found;
    for (const Track& track : tracks) {
        const bool byID = !release.mbid.isEmpty() && track.releaseMBID == release.mbid;
        const bool byGroup = release.releaseGroupID && track.releaseGroupMBID == release.releaseGroupID;
        const bool byName = !track.album.isEmpty() && track.album == release.title
                            && track.albumArtist == release.artist;
        if (byID || byGroup || byName)
            found.append(track);
    }
    return found;
}

} // namespace

QList<qint64> ExistingRipInfo::missingIndices() const
{
    QList<qint64> missing;
    for (qint64 i = 0; i < totalTracks; ++i) {
        if (!presentIndices.contains(i))
            missing.append(i);
    }
    return missing;
}

CDRipController::StrategyMaker CDRipController::readers()
{
    return [](RipStrategyKind kind) { return makeStrategy(kind); };
}

CDRipController::CDRipController(MetadataHTTPClient& client, StrategyMaker strategies, QObject* parent)
    : QObject(parent)
    , m_client(client)
    , m_makeStrategy(std::move(strategies))
{
}

CDRipController::~CDRipController() = default;

void CDRipController::askEjectWhenAllDone(const QString& bsdName)
{
    const auto* finished = std::get_if<RipStates::Finished>(&m_state);
    if (finished && std::ranges::all_of(finished->tracks, isDone)) {
        m_pendingEjectBSDName = bsdName;
        emit pendingEjectBSDNameChanged();
    }
}

void CDRipController::setState(RipState state)
{
    Q_ASSERT(QThread::currentThread() == thread());
    m_state = std::move(state);
    emit stateChanged();
}

void CDRipController::setArtwork(const std::optional<ArtworkFetcher::ArtworkResult>& artwork)
{
    m_cachedArtwork = artwork;
    const std::optional<QByteArray> data = artwork ? std::optional(artwork->data) : std::nullopt;
    if (data == m_artworkData)
        return;
    m_artworkData = data;
    emit artworkDataChanged();
}

void CDRipController::clearPendingEject()
{
    if (!m_pendingEjectBSDName)
        return;
    m_pendingEjectBSDName.reset();
    emit pendingEjectBSDNameChanged();
}

RipStates::Ripping* CDRipController::ripping()
{
    return std::get_if<RipStates::Ripping>(&m_state);
}

std::optional<double> CDRipController::overallProgress() const
{
    const auto* running = std::get_if<RipStates::Ripping>(&m_state);
    if (!running || running->tracks.isEmpty())
        return std::nullopt;
    double sum = 0;
    for (const TrackRipState& track : running->tracks) {
        if (const auto* inProgress = std::get_if<TrackRipStates::Ripping>(&track))
            sum += inProgress->fractionComplete;
        else if (isDone(track))
            sum += 1.0;
    }
    return sum / double(running->tracks.size());
}

std::optional<qsizetype> CDRipController::preferredRelease(const QList<ReleaseMetadata>& releases,
                                                          const QList<Track>& libraryTracks)
{
    QSet<QString> releaseIDs;
    QSet<QString> groupIDs;
    for (const Track& track : libraryTracks) {
        if (track.releaseMBID)
            releaseIDs.insert(*track.releaseMBID);
        if (track.releaseGroupMBID)
            groupIDs.insert(*track.releaseGroupMBID);
    }
    const auto first = [&releases](const auto& predicate) -> std::optional<qsizetype> {
        const auto found = std::ranges::find_if(releases, predicate);
        if (found == releases.cend())
            return std::nullopt;
        return found - releases.cbegin();
    };
    const auto known = [&](const ReleaseMetadata& r) { return releaseIDs.contains(r.mbid); };
    const auto inGroup = [&](const ReleaseMetadata& r) { return r.releaseGroupID && groupIDs.contains(*r.releaseGroupID); };
    const auto official = [](const ReleaseMetadata& r) { return r.status == u"Official"_s; };
    if (const auto index = first(known))
        return index;
    if (const auto index = first(inGroup))
        return index;
    return first(official);
}

qsizetype CDRipController::chooseRelease(const QList<ReleaseMetadata>& releases, const QList<Track>& libraryTracks)
{
    return preferredRelease(releases, libraryTracks).value_or(0);
}

ExistingRipInfo CDRipController::existingInfo(qint64 trackCount, const ReleaseMetadata& release, const Library& library)
{
    ExistingRipInfo info{.totalTracks = trackCount};
    for (qint64 i = 0; i < trackCount && i < release.tracks.size(); ++i) {
        if (!library.tracksMatching({TrackSignature(release.title, release.tracks.at(i))}).isEmpty())
            info.presentIndices.insert(i);
    }
    return info;
}

QCoro::Task<> CDRipController::start(QString bsdName, Library& library)
{
    if (m_trackedBSDName == bsdName && !std::holds_alternative<RipStates::LookingUp>(m_state)) {
        QPointer<CDRipController> self(this);
        const auto read = [bsdName] { return MusicBrainzDiscLookup::readDiscTOC(bsdName); };
        std::optional<DiscTOC> toc;
        try {
            toc = co_await Background::run(read);
        } catch (const MusicBrainzDiscLookup::LookupError&) {
        } catch (const CueSheet::LoadError&) {
        }
        if (!self)
            co_return;
        // The same disc is still in: the screen shows what it showed, a running rip included.
        if (toc && m_cachedTOC && toc->discID == m_cachedTOC->discID)
            co_return;
    }
    m_trackedBSDName = bsdName;
    setState(RipStates::LookingUp{});
    co_await lookUp(bsdName, library);
}

QCoro::Task<> CDRipController::lookUp(QString bsdName, Library& library)
{
    const qint64 generation = ++m_lookupGeneration;
    m_cachedTOC.reset();
    m_cachedReleases.clear();
    m_cachedRelease.reset();
    setArtwork(std::nullopt);
    setState(RipStates::LookingUp{});

    QPointer<CDRipController> self(this);
    QPointer<Library> libraryAlive(&library);
    // The disc is read first, so that a lookup that fails still leaves a disc to rip.
    std::optional<DiscTOC> toc;
    QList<ReleaseMetadata> releases;
    RipStates::LookupFailed failure;
    try {
        const auto read = [bsdName] { return MusicBrainzDiscLookup::readDiscTOC(bsdName); };
        toc = co_await Background::run(read);
        releases = co_await MusicBrainzDiscLookup::fetchReleases(toc->discID, toc->trackOffsets, toc->leadOutOffset,
                                                                 m_client);
    } catch (const MusicBrainzDiscLookup::LookupError& error) {
        failure = {error.message(), error.kind() == MusicBrainzDiscLookup::LookupErrorKind::noMatchFound, toc};
    } catch (const CueSheet::LoadError& error) {
        failure.message = error.message();
    }
    if (!self || !libraryAlive || generation != m_lookupGeneration)
        co_return;
    if (releases.isEmpty()) {
        setState(failure);
        co_return;
    }
    m_cachedTOC = toc;
    m_cachedReleases = releases;
    const qsizetype chosen = chooseRelease(releases, library.tracks());
    const ReleaseMetadata& release = releases.at(chosen);
    setState(RipStates::Ready{releases, chosen, existingInfo(toc->trackCount, release, library)});
    fetchArtworkFor(release, library);
}

void CDRipController::selectRelease(qsizetype index, Library& library)
{
    auto* ready = std::get_if<RipStates::Ready>(&m_state);
    if (!ready || index < 0 || index >= ready->allReleases.size())
        return;
    // The "In Library" marks stay those of the preselected release.
    ready->selectedIndex = index;
    const ReleaseMetadata release = ready->allReleases.at(index);
    emit stateChanged();
    fetchArtworkFor(release, library);
}

void CDRipController::fetchArtworkFor(const ReleaseMetadata& release, Library& library)
{
    const qint64 generation = ++m_artworkFetchGeneration;
    setArtwork(std::nullopt);
    fetchArtwork(release, &library, generation);
}

QCoro::Task<> CDRipController::fetchArtwork(ReleaseMetadata release, Library* library, qint64 generation)
{
    QPointer<CDRipController> self(this);
    QPointer<Library> libraryAlive(library);
    ++m_artworkFetchesRunning;
    const auto finished = qScopeGuard([self] {
        if (self)
            --self->m_artworkFetchesRunning;
    });
    std::optional<ArtworkFetcher::ArtworkResult> found;
    const QList<Track> own = tracksOfRelease(release, library->tracks());
    for (const Track& track : own) {
        if (track.artworkData) {
            found = ArtworkFetcher::ArtworkResult{*track.artworkData, ImageType::mimeType(*track.artworkData)};
            break;
        }
    }
    for (qsizetype i = 0; !found && i < own.size(); ++i) {
        const ArtworkCache::Artwork cached = co_await library->artworkCache().artwork(own.at(i));
        if (!self || !libraryAlive)
            co_return;
        if (cached)
            found = ArtworkFetcher::ArtworkResult{*cached, ImageType::mimeType(*cached)};
    }
    if (!found) {
        try {
            found = co_await ArtworkFetcher::fetchArtwork(release.artist, release.title, release.mbid,
                                                          release.releaseGroupID, m_client);
        } catch (const ArtworkFetcher::FetchError&) {
            // A disc without a cover is no news to the user.
        }
    }
    if (!self || !libraryAlive || !found || generation != m_artworkFetchGeneration)
        co_return;
    setArtwork(found);
    co_await applyLateArtwork(*library);
}

QCoro::Task<> CDRipController::applyLateArtwork(Library& library)
{
    const bool ripped = std::holds_alternative<RipStates::Ripping>(m_state)
                        || std::holds_alternative<RipStates::Finished>(m_state);
    if (!m_cachedArtwork || !ripped)
        co_return;
    const ArtworkFetcher::ArtworkResult artwork = *m_cachedArtwork;
    QSet<QUuid> bare;
    std::visit(
        [&bare](const auto& current) {
            if constexpr (requires { current.tracks; }) {
                for (const TrackRipState& track : current.tracks) {
                    const auto* done = std::get_if<TrackRipStates::Done>(&track);
                    if (done && !done->track.artworkData)
                        bare.insert(done->track.id);
                }
            }
        },
        m_state);
    if (bare.isEmpty())
        co_return;
    QPointer<CDRipController> self(this);
    co_await library.applyArtwork(artwork, bare);
    if (!self)
        co_return;
    // The rip may have finished meanwhile: the tracks are found in whichever state holds them.
    std::visit(
        [&](auto& current) {
            if constexpr (requires { current.tracks; }) {
                for (TrackRipState& track : current.tracks) {
                    auto* done = std::get_if<TrackRipStates::Done>(&track);
                    if (done && bare.contains(done->track.id))
                        done->track.artworkData = artwork.data;
                }
            }
        },
        m_state);
    emit stateChanged();
}

QCoro::Task<> CDRipController::startRip(QString bsdName, Library& library, std::optional<QList<qint64>> trackIndices,
                                        bool overwriteExisting)
{
    const auto* ready = std::get_if<RipStates::Ready>(&m_state);
    if (!ready || !m_cachedTOC)
        co_return;
    const ReleaseMetadata release = ready->allReleases.at(ready->selectedIndex);
    m_cachedRelease = release;
    const qint64 trackCount = m_cachedTOC->trackCount;
    QList<qint64> chosen;
    if (trackIndices) {
        chosen = *trackIndices;
    } else {
        for (qint64 i = 0; i < trackCount; ++i)
            chosen.append(i);
    }
    QList<TrackRipState> tracks(trackCount, TrackRipStates::Waiting{});
    // Tracks left out are those the library has: they count as done with the library's own.
    for (qint64 i = 0; i < trackCount && i < release.tracks.size(); ++i) {
        if (chosen.contains(i))
            continue;
        const QList<Track> present = library.tracksMatching({TrackSignature(release.title, release.tracks.at(i))});
        if (!present.isEmpty())
            tracks[i] = TrackRipStates::Done{present.constFirst()};
    }
    setState(RipStates::Ripping{tracks, release});
    const QString discID = m_cachedTOC->discID;
    QPointer<CDRipController> self(this);
    co_await rip(bsdName, library, trackIndices, overwriteExisting, true);
    if (self)
        m_namedDiscs.remove(discID);
}

QCoro::Task<> CDRipController::retryFailedTracks(QString bsdName, Library& library)
{
    auto* finished = std::get_if<RipStates::Finished>(&m_state);
    if (!finished || !m_cachedTOC || !m_cachedRelease)
        co_return;
    QList<qint64> failed;
    QList<TrackRipState> tracks = finished->tracks;
    for (qsizetype i = 0; i < tracks.size(); ++i) {
        if (std::holds_alternative<TrackRipStates::Failed>(tracks.at(i))) {
            failed.append(i);
            tracks[i] = TrackRipStates::Waiting{};
        }
    }
    if (failed.isEmpty())
        co_return;
    setState(RipStates::Ripping{tracks, finished->metadata});
    co_await rip(bsdName, library, failed, false, false);
}

QCoro::Task<> CDRipController::ripWithoutMetadata(QString bsdName, Library& library)
{
    const auto* failed = std::get_if<RipStates::LookupFailed>(&m_state);
    if (!failed || !failed->toc)
        co_return;
    const DiscTOC toc = *failed->toc;
    const qint64 generation = m_lookupGeneration;
    ReleaseMetadata release;
    if (const auto named = m_namedDiscs.constFind(toc.discID); named != m_namedDiscs.cend()) {
        release = *named;
    } else {
        QPointer<CDRipController> self(this);
        const auto read = [bsdName] { return UnknownDisc::read(bsdName); };
        const UnknownDisc::Names names = co_await Background::run(read);
        if (!self || generation != m_lookupGeneration || !std::holds_alternative<RipStates::LookupFailed>(m_state))
            co_return;
        release = UnknownDisc::release(toc, names);
    }
    m_cachedTOC = toc;
    m_cachedReleases = {release};
    // An earlier rip of this very disc went in under its distinct name.
    const ExistingRipInfo existing =
        existingInfo(toc.trackCount, UnknownDisc::distinct(release, toc.discID), library);
    setState(RipStates::Ready{.allReleases = {release}, .existing = existing, .unnamed = true});
}

void CDRipController::nameDisc(const ReleaseMetadata& release)
{
    auto* ready = std::get_if<RipStates::Ready>(&m_state);
    if (!ready || !ready->unnamed || !m_cachedTOC)
        return;
    ready->allReleases = {release};
    m_cachedReleases = ready->allReleases;
    m_namedDiscs.insert(m_cachedTOC->discID, release);
    emit discNamed();
}

QCoro::Task<> CDRipController::rip(QString bsdName, Library& library, std::optional<QList<qint64>> indices,
                                   bool overwriteExisting, bool askEject)
{
    const DiscTOC toc = *m_cachedTOC;
    const ReleaseMetadata release = *m_cachedRelease;
    const std::optional<ArtworkFetcher::ArtworkResult> artwork = m_cachedArtwork;
    const std::shared_ptr<DiscRipStrategy> strategy = m_makeStrategy(Settings::value(Settings::ripStrategy));
    QPointer<CDRipController> self(this);
    QPointer<Library> libraryAlive(&library);

    // Progress comes from the rip's worker thread once a frame; a tenth of a percent is as
    // fine as the screen shows, so only such steps go over to the main thread. There a notice
    // that arrives after its track has finished is stale.
    const auto lastStep = std::make_shared<std::atomic<qint64>>(-1);
    const CDImporter::TrackProgressHandler onProgress = [self, lastStep](qint64 index,
                                                                        const CDRipper::Progress& progress) {
        const double fraction = progress.fractionComplete;
        const qint64 step = index * 1001 + qint64(fraction * 1000);
        if (lastStep->exchange(step) == step)
            return;
        const auto apply = [self, index, fraction] {
            RipStates::Ripping* running = self ? self->ripping() : nullptr;
            if (!running || index >= running->tracks.size())
                return;
            TrackRipState& track = running->tracks[index];
            if (std::holds_alternative<TrackRipStates::Waiting>(track)
                || std::holds_alternative<TrackRipStates::Ripping>(track)) {
                track = TrackRipStates::Ripping{fraction};
                emit self->stateChanged();
            }
        };
        QMetaObject::invokeMethod(QCoreApplication::instance(), apply, Qt::QueuedConnection);
    };
    const CDImporter::TrackCompleteHandler onComplete = [self](const CDImporter::TrackImportResult& result) {
        RipStates::Ripping* running = self ? self->ripping() : nullptr;
        if (!running || result.trackIndex >= running->tracks.size())
            return;
        TrackRipState& track = running->tracks[result.trackIndex];
        if (result.track)
            track = TrackRipStates::Done{*result.track, result.verdict, result.ctdbVerdict};
        else if (result.error)
            track = TrackRipStates::Failed{*result.error};
        else
            track = TrackRipStates::Waiting{};
        emit self->stateChanged();
    };

    QList<CDImporter::TrackImportResult> results =
        co_await CDImporter::importDisc(bsdName, toc, release, artwork, library.rootURL(), indices, overwriteExisting,
                                        *strategy, onProgress, onComplete);
    if (!libraryAlive)
        co_return;
    // The files are in the library folder whatever the screen turned to meanwhile, so they are
    // entered even when another disc has taken the controller.
    QList<std::pair<qint64, TrackRipState>> outcomes;
    QSet<QUuid> enteredThisRip;
    for (const CDImporter::TrackImportResult& result : std::as_const(results)) {
        if (result.track) {
            const Track stored = library.upsertRippedTrack(*result.track, enteredThisRip);
            enteredThisRip.insert(stored.id);
            outcomes.append({result.trackIndex, TrackRipStates::Done{stored, result.verdict, result.ctdbVerdict}});
        } else if (result.error) {
            outcomes.append({result.trackIndex, TrackRipStates::Failed{*result.error}});
        }
    }
    RipStates::Ripping* running = self ? ripping() : nullptr;
    if (!running)
        co_return;
    QList<TrackRipState> tracks = running->tracks;
    for (const auto& [index, outcome] : std::as_const(outcomes)) {
        if (index < tracks.size())
            tracks[index] = outcome;
    }
    setState(RipStates::Finished{tracks, running->metadata});
    if (askEject)
        askEjectWhenAllDone(bsdName);
    co_await applyLateArtwork(library);
    if (!libraryAlive || !Settings::value(Settings::analyseLoudnessAfterRipping))
        co_return;
    QList<Track> ripped;
    for (const Track& track : library.tracks()) {
        if (enteredThisRip.contains(track.id))
            ripped.append(track);
    }
    const Library::LoudnessOptions options;
    if (!ripped.isEmpty())
        co_await library.analyseLoudness(ripped, options);
}

void CDRipController::reset()
{
    ++m_lookupGeneration;
    ++m_artworkFetchGeneration;
    m_cachedTOC.reset();
    m_cachedRelease.reset();
    m_cachedReleases.clear();
    setArtwork(std::nullopt);
    const bool hadEject = m_pendingEjectBSDName.has_value();
    m_pendingEjectBSDName.reset();
    setState(RipStates::LookingUp{});
    if (hadEject)
        emit pendingEjectBSDNameChanged();
}
