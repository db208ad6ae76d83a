#include "Library.h"

#include "library/Background.h"
#include "library/Reconciler.h"
#include "library/TagReader.h"
#include "library/TrackSignature.h"
#include "platform/FolderWatcher.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QPointer>
#include <QtConcurrent/QtConcurrentMap>

namespace {

// Files are read in groups, so that only one group's pictures exist twice before their
// copies are folded into the ones already kept.
constexpr qsizetype groupSize = 64;

void collectAudioFiles(const QString& folder, QStringList& files)
{
    const QFileInfoList entries =
        QDir(folder).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System, QDir::Name);
    for (const QFileInfo& entry : entries) {
        if (entry.fileName().startsWith(u'.') || entry.isSymLink())
            continue;
        if (entry.isDir())
            collectAudioFiles(entry.filePath(), files);
        else if (entry.isFile() && isAudioFilePath(entry.filePath()))
            files.append(entry.filePath());
    }
}

// Keeps one buffer per distinct picture.
class PictureFolder {
public:
    void fold(std::optional<QByteArray>& picture)
    {
        if (!picture)
            return;
        const size_t key = qHash(*picture);
        for (const QByteArray& kept : m_pictures.values(key)) {
            if (kept == *picture) {
                picture = kept;
                return;
            }
        }
        m_pictures.insert(key, *picture);
    }

private:
    QMultiHash<size_t, QByteArray> m_pictures;
};

} // namespace

QList<Track> Library::scanFolder(const QUrl& folder)
{
    return readTracks(audioFilesBelow(folder));
}

QStringList Library::audioFilesBelow(const QUrl& folder)
{
    QStringList files;
    if (QFileInfo(folder.toLocalFile()).isDir())
        collectAudioFiles(folder.toLocalFile(), files);
    return files;
}

QList<Track> Library::readTracks(const QStringList& files, QStringList* unreadable)
{
    QList<Track> tracks;
    tracks.reserve(files.size());
    PictureFolder pictures;
    for (qsizetype start = 0; start < files.size(); start += groupSize) {
        const QStringList group = files.mid(start, groupSize);
        const QList<std::optional<TrackMetadata>> read = QtConcurrent::blockingMapped(
            group, [](const QString& path) { return TagReader::read(QUrl::fromLocalFile(path)); });
        for (qsizetype i = 0; i < group.size(); ++i) {
            if (!read.at(i)) {
                if (unreadable)
                    unreadable->append(group.at(i));
                continue;
            }
            Track track = Track::fromFile(QUrl::fromLocalFile(group.at(i)), *read.at(i));
            pictures.fold(track.artworkData);
            tracks.append(std::move(track));
        }
    }
    return tracks;
}

QCoro::Task<ReconcileReport> Library::reconcile(bool applyRemovals)
{
    assertMainThread();
    const auto scan = [root = m_rootURL] { return scanFolder(root); };
    const QList<Track> scanned = co_await Background::run(scan);

    // The catalogue as it is now, after the scan: changes made meanwhile are merged, not lost.
    QSet<QUuid> referenced;
    for (const Playlist& playlist : std::as_const(m_playlists))
        referenced.unite(QSet<QUuid>(playlist.trackIDs.cbegin(), playlist.trackIDs.cend()));
    Reconciler::Result result = Reconciler::merge(m_tracks, scanned, referenced, applyRemovals);
    m_tracks = std::move(result.tracks);
    tracksDidChange();
    for (const Track& track : std::as_const(m_tracks))
        m_artworkCache.warm(track.artworkData, track.id);
    co_return result.report;
}

void Library::startWatching()
{
    assertMainThread();
    if (m_watcher)
        return;
    m_watcher = new FolderWatcher(m_rootURL, 1.0, this);
    connect(m_watcher, &FolderWatcher::filesChanged, this, [this](const QList<QUrl>& urls) { handleChangedFiles(urls); });
    connect(m_watcher, &FolderWatcher::partialCoverage, this, &Library::liveUpdatesPartial);
    m_watcher->start();
}

void Library::stopWatching()
{
    assertMainThread();
    delete m_watcher;
    m_watcher = nullptr;
}

QCoro::Task<> Library::handleChangedFiles(QList<QUrl> urls)
{
    QList<QUrl> present;
    QList<QUrl> gone;
    for (const QUrl& url : std::as_const(urls)) {
        if (!isAudioFile(url))
            continue;
        (QFileInfo::exists(url.toLocalFile()) ? present : gone).append(url);
    }
    if (present.isEmpty() && gone.isEmpty())
        co_return;

    QPointer<Library> self(this);
    bool changed = false;
    // Present paths first: a rename arrives as one gone and one present path, and the entry
    // is found while its old file is known to be missing.
    for (const QUrl& url : std::as_const(present)) {
        const auto read = [url] { return TagReader::read(url); };
        const std::optional<TrackMetadata> metadata = co_await Background::run(read);
        if (!self)
            co_return;
        if (!metadata)
            continue;
        const Track fresh = Track::fromFile(url, *metadata);
        const auto isMissing = [](const Track& t) { return !QFileInfo::exists(t.path()); };
        auto entry = std::find_if(m_tracks.begin(), m_tracks.end(), [&url](const Track& t) { return t.url == url; });
        if (entry == m_tracks.end() && fresh.externalID) {
            entry = std::find_if(m_tracks.begin(), m_tracks.end(), [&](const Track& t) {
                return t.externalID == fresh.externalID && isMissing(t);
            });
        }
        if (entry == m_tracks.end()) {
            const TrackSignature signature(fresh);
            entry = std::find_if(m_tracks.begin(), m_tracks.end(),
                                 [&](const Track& t) { return TrackSignature(t).matches(signature) && isMissing(t); });
        }
        const Track stored = entry == m_tracks.end() ? fresh : fresh.preservingIdentity(*entry);
        if (entry == m_tracks.end())
            m_tracks.append(stored);
        else
            *entry = stored;
        m_artworkCache.warm(stored.artworkData, stored.id);
        changed = true;
    }
    for (const QUrl& url : std::as_const(gone))
        changed |= m_tracks.removeIf([&url](const Track& t) { return t.url == url; }) > 0;
    if (changed)
        tracksDidChange();
}
