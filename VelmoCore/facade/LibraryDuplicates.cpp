#include "Library.h"
#include "library/FingerprintCache.h"

#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

QCoro::Task<QList<QList<Track>>> Library::findDuplicates(float threshold)
{
    assertMainThread();
    co_return co_await DuplicateFinder::findDuplicates(m_tracks, threshold);
}

QCoro::Task<std::optional<QList<QList<Track>>>> Library::findDuplicates(DuplicateFinder::Search search)
{
    assertMainThread();
    if (!search.cachePath && search.pairing == DuplicateFinder::Pairing::indexed)
        search.cachePath = FingerprintCache::defaultPath();
    co_return co_await DuplicateFinder::findDuplicates(m_tracks, std::move(search));
}

void Library::moveToTrash(const QUuid& trackID)
{
    assertMainThread();
    const auto found = std::find_if(m_tracks.cbegin(), m_tracks.cend(),
                                    [&trackID](const Track& track) { return track.id == trackID; });
    if (found == m_tracks.cend())
        return;
    const QString path = found->path();
    if (QFileInfo::exists(path) && !QFile::moveToTrash(path))
        throw TrashError(u"“"_s + QFileInfo(path).fileName() + u"” could not be moved to the trash."_s);
    remove(trackID);
    prunePlaylistReferences();
}
