#include "Library.h"

#include "Background.h"
#include "Reconciler.h"
#include "TagReader.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
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
    QStringList files;
    if (QFileInfo(folder.toLocalFile()).isDir())
        collectAudioFiles(folder.toLocalFile(), files);

    QList<Track> tracks;
    tracks.reserve(files.size());
    PictureFolder pictures;
    for (qsizetype start = 0; start < files.size(); start += groupSize) {
        const QStringList group = files.mid(start, groupSize);
        const QList<std::optional<TrackMetadata>> read = QtConcurrent::blockingMapped(
            group, [](const QString& path) { return TagReader::read(QUrl::fromLocalFile(path)); });
        for (qsizetype i = 0; i < group.size(); ++i) {
            if (!read.at(i))
                continue;
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
