#include "SyncEngine.h"

#include "DeviceFiles.h"
#include "Transcoder.h"
#include "VelmoDeviceFile.h"
#include "library/Background.h"
#include "library/Settings.h"
#include "platform/AtomicFile.h"
#include "platform/ImageScaling.h"
#include "playlists/PlaylistExporter.h"
#include "playlists/SmartRuleEngine.h"

#include <QCoro/QCoroFuture>
#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QScopeGuard>
#include <QSet>
#include <QtConcurrent/QtConcurrentRun>

#include <deque>
#include <exception>
#include <limits>
#include <mutex>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

QString sentence(SyncEngine::SyncError::Kind kind, const QString& path, const QString& detail)
{
    using Kind = SyncEngine::SyncError::Kind;
    switch (kind) {
    case Kind::alreadySyncing: return u"A sync is already running."_s;
    case Kind::needsRepair: return u"The device profile needs repair before it can be synced: %1"_s.arg(detail);
    case Kind::folderFailed: return u"The folder “%1” could not be created on the device: %2."_s.arg(path, detail);
    case Kind::writeRefused: return u"“%1” was not written on the device: %2."_s.arg(path, detail);
    case Kind::removeFailed: return u"The old file “%1” could not be removed from the device: %2."_s.arg(path, detail);
    case Kind::copyFailed: return u"“%1” could not be copied to the device: %2."_s.arg(path, detail);
    }
    Q_UNREACHABLE();
}

} // namespace

SyncEngine::SyncError::SyncError(Kind kind, const QString& path, const QString& detail)
    : std::runtime_error(sentence(kind, path, detail).toStdString())
    , m_kind(kind)
    , m_path(path)
    , m_detail(detail)
{
}

QString SyncEngine::SyncError::message() const
{
    return QString::fromUtf8(what());
}

SyncEngine::SyncEngine(QObject* parent)
    : QObject(parent)
{
}

SyncEngine& SyncEngine::shared()
{
    static SyncEngine engine;
    static std::once_flag cacheChosen;
    std::call_once(cacheChosen, [] { engine.setTranscodeCacheFolder(TranscodeCache::defaultFolder()); });
    return engine;
}

namespace {

struct AddFailure {
    qsizetype index = 0;
    std::exception_ptr error;
};

// Keeps the failure of the earliest add, whatever order the transcodes end in.
void note(std::optional<AddFailure>& failure, qsizetype index, std::exception_ptr error)
{
    if (error && (!failure || index < failure->index))
        failure = AddFailure{index, std::move(error)};
}

// Writes the wanted playlists into the device's playlist folder, with paths relative to it.
// Nothing here fails the run: a playlist that cannot be written is passed over.
void exportPlaylists(const DeviceProfile& profile, const QList<Playlist>& playlists,
                     const QList<SmartPlaylist>& smartPlaylists, const QList<Track>& allTracks,
                     const QUrl& libraryRoot)
{
    const QString folder = QDir::cleanPath(profile.rootPath + u'/' + profile.playlistsFolder);
    if (DeviceFiles::makeFolders(profile.rootPath, folder))
        return; // not there, or reached through a link: nothing is written through it
    const QUrl folderURL = QUrl::fromLocalFile(folder);

    const SyncDiff::NameRules nameRules = SyncDiff::nameRulesAt(profile.rootPath);
    const QStringList paths = SyncDiff::destinationPaths(allTracks, profile, libraryRoot, nameRules);
    QHash<QUuid, QUrl> destinations;
    destinations.reserve(allTracks.size());
    for (qsizetype i = 0; i < allTracks.size(); ++i) {
        const QUuid& id = allTracks.at(i).id;
        if (destinations.contains(id))
            qFatal("Duplicate values for key: '%s'", qPrintable(id.toString(QUuid::WithoutBraces).toUpper()));
        destinations.insert(id, QUrl::fromLocalFile(paths.at(i)));
    }
    const PlaylistExporter::UrlResolver resolver = [&destinations](const Track& track) -> std::optional<QUrl> {
        const auto it = destinations.constFind(track.id);
        if (it == destinations.cend())
            return std::nullopt;
        return *it;
    };

    const bool everything = profile.syncScope == SyncScope::fullLibrary;
    QList<Playlist> wanted;
    for (const Playlist& playlist : playlists) {
        if (everything || profile.playlistIDs.contains(playlist.id))
            wanted.append(playlist);
    }
    for (const SmartPlaylist& smart : smartPlaylists) {
        if (!everything && !profile.smartPlaylistIDs.contains(smart.id))
            continue;
        Playlist evaluated{smart.id, smart.name, {}, smart.dateCreated, smart.dateModified};
        for (const Track& track : SmartRuleEngine::resolve(smart, allTracks))
            evaluated.trackIDs.append(track.id);
        wanted.append(evaluated);
    }
    for (const Playlist& playlist : std::as_const(wanted)) {
        try {
            const QUrl file = PlaylistExporter::fileURL(playlist.name, folderURL);
            // A playlist file that is a link would have its target overwritten.
            if (DeviceFiles::prepareWrite(profile.rootPath, file.toLocalFile()))
                continue;
            PlaylistExporter::write(playlist, allTracks, file, true, resolver);
        } catch (const PlaylistExporter::ExportError&) {
            // A name that would leave the folder, or a full device: the next playlist follows.
        }
    }
}

// A "cover.jpg" in each album folder that this run added to and that has none yet, from the
// front cover of its first track there, fitted like the embedded ones. Nothing here fails
// the run: a folder without a cover is merely plainer.
void writeAlbumCovers(const DeviceProfile& profile, const QList<SyncDiff::AddItem>& adds)
{
    QSet<QString> done;
    for (const SyncDiff::AddItem& item : adds) {
        const QString folder = QFileInfo(item.destinationURL.toLocalFile()).path();
        if (done.contains(folder))
            continue;
        const QString path = folder + u"/cover.jpg"_s;
        if (QFileInfo::exists(path) || DeviceFiles::prepareWrite(profile.rootPath, path)) {
            done.insert(folder);
            continue;
        }
        const std::optional<QByteArray> cover = Transcoder::frontCover(item.track);
        const std::optional<QByteArray> jpeg
            = cover ? ImageScaling::fittedJpeg(*cover, profile.coverPixels().value_or(std::numeric_limits<int>::max()))
                    : std::nullopt;
        if (jpeg && !AtomicFile::save(path, *jpeg))
            done.insert(folder);
    }
}

} // namespace

QCoro::Task<> SyncEngine::sync(SyncDiff diff, DeviceProfile profile, QList<Playlist> playlists,
                               QList<SmartPlaylist> smartPlaylists, QList<Track> allTracks, QUrl libraryRoot,
                               ProgressHandler onProgress)
{
    if (m_isSyncing)
        throw SyncError(SyncError::Kind::alreadySyncing);
    if (const std::optional<DeviceProfile::Problem> problem = profile.problem())
        throw SyncError(SyncError::Kind::needsRepair, profile.name, problem->message());
    m_isSyncing = true;
    const auto done = qScopeGuard([this] { m_isSyncing = false; });
    const auto report = [&onProgress](qint64 total, qint64 completed, const QString& item) {
        if (onProgress)
            onProgress(total, completed, item);
    };

    VelmoDeviceFile::write(profile.id, profile.rootPath);
    std::optional<TranscodeCache> cache;
    if (m_cacheFolder)
        cache.emplace(*m_cacheFolder, Settings::value(Settings::transcodeCacheLimit));
    const std::optional<int> coverPixels = profile.coverPixels();
    const qint64 removals = diff.toRemove.size();
    const qint64 total = removals + diff.toAdd.size();

    for (qint64 i = 0; i < removals; ++i) {
        const QUrl& url = diff.toRemove.at(i);
        DeviceFiles::remove(profile.rootPath, url.toLocalFile()); // a file that stays is no reason to stop
        report(total, i + 1, url.fileName());
    }

    struct Running {
        qsizetype index = 0;
        QFuture<std::exception_ptr> result;
    };
    std::deque<Running> running;
    std::optional<AddFailure> failure;
    const auto collectFinished = [&running, &failure] {
        for (auto it = running.begin(); it != running.end();) {
            if (!it->result.isFinished()) {
                ++it;
                continue;
            }
            note(failure, it->index, it->result.result());
            it = running.erase(it);
        }
    };

    for (qsizetype j = 0; j < diff.toAdd.size() && !failure; ++j) {
        const SyncDiff::AddItem& item = diff.toAdd.at(j);
        const QString destination = item.destinationURL.toLocalFile();
        if (item.needsTranscode()) {
            // A free worker first, so that a failure found meanwhile ends the run before this
            // add is reported.
            while (std::ssize(running) >= m_transcodes.maxThreadCount()) {
                QFuture<std::exception_ptr> oldest = running.front().result;
                co_await oldest;
                collectFinished();
            }
            collectFinished();
            if (failure)
                break;
        }
        report(total, removals + j, item.track.title);
        if (const std::optional<QString> reason = DeviceFiles::makeFolders(profile.rootPath, QFileInfo(destination).path())) {
            note(failure, j, std::make_exception_ptr(SyncError(SyncError::Kind::folderFailed,
                                                               QFileInfo(destination).path(), *reason)));
            break;
        }
        if (const std::optional<QString> reason = DeviceFiles::prepareWrite(profile.rootPath, destination)) {
            note(failure, j, std::make_exception_ptr(SyncError(SyncError::Kind::writeRefused, destination, *reason)));
            break;
        }
        if (item.needsTranscode()) {
            const Transcoder::Settings settings{item.action.format, item.action.bitrateKbps, coverPixels};
            const auto job = [item, settings, cache, encoder = m_encoder] {
                try {
                    const Transcoder::Means means{cache ? &*cache : nullptr, encoder};
                    Transcoder::transcodeFile(item.track.url, item.destinationURL, settings, item.track, means);
                    return std::exception_ptr();
                } catch (...) {
                    return std::current_exception();
                }
            };
            running.push_back(Running{j, QtConcurrent::run(&m_transcodes, job)});
            continue;
        }
        if (QFileInfo::exists(destination)) {
            if (const std::optional<QString> reason = DeviceFiles::remove(profile.rootPath, destination)) {
                note(failure, j, std::make_exception_ptr(SyncError(SyncError::Kind::removeFailed, destination, *reason)));
                break;
            }
        }
        const QString source = item.track.path();
        if (coverPixels) {
            const auto copy = [item, pixels = *coverPixels]() -> std::optional<Transcoder::TranscodeError> {
                try {
                    Transcoder::copyWithFittedCover(item.track.url, item.destinationURL, pixels, item.track);
                    return std::nullopt;
                } catch (const Transcoder::TranscodeError& error) {
                    return error;
                }
            };
            const std::optional<Transcoder::TranscodeError> error = co_await Background::run(copy);
            if (error)
                note(failure, j, std::make_exception_ptr(*error));
        } else {
            const auto copy = [source, root = profile.rootPath, destination] {
                return DeviceFiles::copy(source, root, destination, true);
            };
            const std::optional<QString> reason = co_await Background::run(copy);
            if (reason)
                note(failure, j, std::make_exception_ptr(SyncError(SyncError::Kind::copyFailed, source, *reason)));
        }
        collectFinished();
    }
    while (!running.empty()) {
        QFuture<std::exception_ptr> next = running.front().result;
        co_await next;
        collectFinished();
    }
    if (failure)
        std::rethrow_exception(failure->error);

    if (profile.writeCoverFiles && profile.folderStructure != FolderStructure::flat) {
        const auto covers = [profile, adds = diff.toAdd] { writeAlbumCovers(profile, adds); };
        co_await Background::run(covers);
    }

    if (profile.syncPlaylists) {
        const auto write = [profile, playlists, smartPlaylists, allTracks, libraryRoot] {
            exportPlaylists(profile, playlists, smartPlaylists, allTracks, libraryRoot);
        };
        co_await Background::run(write);
    }
}
