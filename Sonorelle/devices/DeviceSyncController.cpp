#include "DeviceSyncController.h"

#include "DeviceDisplay.h"
#include "facade/Library.h"
#include "library/Background.h"

#include <QFileInfo>
#include <QPointer>

using namespace Qt::StringLiterals;

namespace {

QString fileName(const QUrl& url)
{
    return QFileInfo(url.toLocalFile()).fileName();
}

QList<SyncItem> itemsOf(const SyncDiff& diff)
{
    QList<SyncItem> items;
    const auto append = [&items](const QString& name, bool isRemoval) {
        items.append({QUuid::createUuid(), name, isRemoval, false});
    };
    for (const QUrl& url : diff.toRemove)
        append(fileName(url), true);
    for (const SyncDiff::AddItem& item : diff.toAdd)
        append(item.track.title.isEmpty() ? fileName(item.destinationURL) : item.track.title, false);
    if (diff.podcastChanges) {
        for (const QUrl& url : diff.podcastChanges->toRemove)
            append(fileName(url), true);
        for (const auto& [podcast, episode] : diff.podcastChanges->toAdd)
            append(episode.title.isEmpty() ? u"Podcast Episode"_s : episode.title, false);
    }
    return items;
}

} // namespace

DeviceSyncController::DeviceSyncController(Library& library, QObject* parent)
    : QObject(parent)
    , m_library(library)
{
}

void DeviceSyncController::setState(SyncControllerState state)
{
    m_state = std::move(state);
    emit stateChanged();
}

void DeviceSyncController::setCurrentProfileID(const std::optional<QUuid>& id)
{
    if (m_currentProfileID == id)
        return;
    m_currentProfileID = id;
    emit currentProfileIDChanged();
}

void DeviceSyncController::reset()
{
    m_lastProfileID.reset();
    setCurrentProfileID(std::nullopt);
    setState(SyncStates::Idle{});
}

std::optional<double> DeviceSyncController::progressFraction() const
{
    const auto* syncing = std::get_if<SyncStates::Syncing>(&m_state);
    if (!syncing)
        return std::nullopt;
    return double(syncing->progress.completed) / double(std::max<qint64>(syncing->progress.total, 1));
}

QCoro::Task<> DeviceSyncController::computeDiff(DeviceProfile profile)
{
    if (std::holds_alternative<SyncStates::Syncing>(m_state) || std::holds_alternative<SyncStates::ComputingDiff>(m_state))
        co_return;
    m_lastProfileID = profile.id;
    // Its folders might lead off the device: not even a look is taken.
    if (const QString repair = DeviceDisplay::repairText(profile); !repair.isEmpty()) {
        setState(SyncStates::Failed{repair});
        co_return;
    }
    setState(SyncStates::ComputingDiff{});

    const QList<SyncDiff::PodcastEpisodes> podcasts =
        profile.syncPodcasts ? m_library.podcastsToSync(profile) : QList<SyncDiff::PodcastEpisodes>();
    const auto compute = [tracks = m_library.tracks(), playlists = m_library.playlists(),
                          smartPlaylists = m_library.smartPlaylists(), root = m_library.rootURL(), profile, podcasts] {
        return SyncDiff::compute(tracks, playlists, smartPlaylists, profile, root, podcasts,
                                 SyncDiff::nameRulesAt(profile.rootPath));
    };
    QPointer<DeviceSyncController> self(this);
    SyncDiff diff = co_await Background::run(compute);
    if (!self || m_lastProfileID != profile.id)
        co_return;
    setState(SyncStates::Ready{std::move(diff)});
}

void DeviceSyncController::showProgress(qsizetype doneCount, const SyncEngine::Progress& progress)
{
    auto* syncing = std::get_if<SyncStates::Syncing>(&m_state);
    if (!syncing)
        return;
    for (qsizetype i = 0; i < std::min(doneCount, syncing->items.size()); ++i)
        syncing->items[i].isDone = true;
    syncing->progress = progress;
    emit stateChanged();
}

void DeviceSyncController::engineReported(qint64 total, qint64 completed, const QString& currentItem)
{
    // From the first report on, the engine's own total (music only) is shown.
    showProgress(completed, {total, completed, currentItem});
}

QCoro::Task<> DeviceSyncController::startSync(DeviceProfile profile)
{
    const auto* ready = std::get_if<SyncStates::Ready>(&m_state);
    if (!ready)
        co_return;
    const SyncDiff diff = ready->diff;
    QList<SyncItem> items = itemsOf(diff);
    const qint64 podcastAdds = diff.podcastChanges ? diff.podcastChanges->toAdd.size() : 0;
    const qint64 podcastRemovals = diff.podcastChanges ? diff.podcastChanges->toRemove.size() : 0;
    const qint64 added = diff.toAdd.size() + podcastAdds;
    const qint64 removed = diff.toRemove.size() + podcastRemovals;
    const qsizetype musicItems = diff.toRemove.size() + diff.toAdd.size();
    const qint64 shownTotal = std::max<qint64>(items.size(), 1);

    // Another run, taken off the screen by a reset, may still go on: it keeps its device.
    const std::optional<QUuid> earlierRun = m_runningProfileID;
    m_runningProfileID = profile.id;
    setCurrentProfileID(profile.id);
    setState(SyncStates::Syncing{{shownTotal, 0, QString()}, std::move(items)});

    QPointer<DeviceSyncController> self(this);
    const SyncEngine::ProgressHandler onProgress = [self](qint64 total, qint64 completed, const QString& currentItem) {
        if (self)
            self->engineReported(total, completed, currentItem);
    };
    const QList<Playlist> playlists = m_library.playlists();
    const QList<SmartPlaylist> smartPlaylists = m_library.smartPlaylists();
    const QList<Track> tracks = m_library.tracks();
    const QUrl root = m_library.rootURL();
    std::optional<QString> failure;
    bool engineBusy = false;
    try {
        co_await SyncEngine::shared().sync(diff, profile, playlists, smartPlaylists, tracks, root, onProgress);
    } catch (const SyncEngine::SyncError& error) {
        failure = error.message();
        engineBusy = error.kind() == SyncEngine::SyncError::Kind::alreadySyncing;
    } catch (const std::exception& error) {
        failure = QString::fromUtf8(error.what());
    }
    if (!self)
        co_return;
    if (!failure && profile.syncPodcasts) {
        showProgress(musicItems, {shownTotal, musicItems, u"Syncing podcasts…"_s});
        try {
            co_await m_library.syncPodcastsToDevice(profile.rootPath, profile);
        } catch (const std::exception& error) {
            failure = QString::fromUtf8(error.what());
        }
        if (!self)
            co_return;
        if (!failure)
            showProgress(shownTotal, {shownTotal, shownTotal, QString()});
    }
    m_runningProfileID = engineBusy ? earlierRun : std::nullopt;
    setCurrentProfileID(std::nullopt);
    if (failure)
        setState(SyncStates::Failed{*failure});
    else
        setState(SyncStates::Finished{added, removed});
}
