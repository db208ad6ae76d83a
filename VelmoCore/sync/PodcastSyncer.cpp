#include "PodcastSyncer.h"

#include "DeviceFiles.h"
#include "DeviceProfile.h"
#include "library/LibraryOrganizer.h"
#include "platform/FileTree.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace PodcastSyncer {

namespace {

QString sentence(SyncError::Kind kind, const QString& path, const QString& detail)
{
    switch (kind) {
    case SyncError::Kind::folderFailed:
        return u"The podcast folder “%1” could not be created on the device: %2."_s.arg(path, detail);
    case SyncError::Kind::copyFailed: return u"The episode “%1” could not be copied to the device: %2."_s.arg(path, detail);
    }
    Q_UNREACHABLE();
}

} // namespace

SyncError::SyncError(Kind kind, const QString& path, const QString& detail)
    : std::runtime_error(sentence(kind, path, detail).toStdString())
    , m_kind(kind)
    , m_path(path)
    , m_detail(detail)
{
}

QString SyncError::message() const
{
    return QString::fromUtf8(what());
}

QList<Episode> episodesToSync(const Podcast& podcast, const QList<Episode>& episodes)
{
    QList<Episode> chosen;
    for (const Episode& episode : episodes) {
        if (episode.podcastID == podcast.id && episode.downloadState == DownloadState::downloaded)
            chosen.append(episode);
    }
    std::stable_sort(chosen.begin(), chosen.end(),
                     [](const Episode& a, const Episode& b) { return a.publishDate > b.publishDate; });
    return chosen;
}

void sync(const QList<PodcastEpisodes>& filteredEpisodesByPodcast, const QUrl& root, const QString& podcastsFolder)
{
    const QString rootPath = root.toLocalFile();
    if (const std::optional<DeviceProfile::Problem> problem = DeviceProfile::checkFolder(u"podcastsFolder"_s, podcastsFolder))
        throw SyncError(SyncError::Kind::folderFailed, podcastsFolder, problem->message());
    const QString podcastsRoot = QDir::cleanPath(rootPath + u'/' + podcastsFolder);
    // A podcasts folder reached through a link would have its target's files removed.
    if (const std::optional<QString> reason = DeviceFiles::checkFolder(rootPath, podcastsRoot))
        throw SyncError(SyncError::Kind::folderFailed, podcastsRoot, *reason);
    QSet<QString> expected;
    for (const auto& [podcast, episodes] : filteredEpisodesByPodcast) {
        if (episodes.isEmpty())
            continue;
        QString name = LibraryOrganizer::sanitizePathComponent(podcast.title);
        if (name.isEmpty())
            name = u"Unknown Podcast"_s;
        const QString folder = podcastsRoot + u'/' + name;
        if (const std::optional<QString> reason = DeviceFiles::makeFolders(rootPath, folder))
            throw SyncError(SyncError::Kind::folderFailed, folder, *reason);
        for (const Episode& episode : episodes) {
            if (!episode.localURL)
                continue;
            const QString local = episode.localURL->toLocalFile();
            if (!QFileInfo(local).isFile())
                continue;
            const QString destination = folder + u'/' + QFileInfo(local).fileName();
            expected.insert(destination);
            if (QFileInfo::exists(destination))
                continue;
            if (const std::optional<QString> reason = DeviceFiles::copy(local, rootPath, destination, false))
                throw SyncError(SyncError::Kind::copyFailed, local, *reason);
        }
    }

    // Only files a sync would have put there go: a user's notes or pictures stay.
    QStringList unexpected;
    FileTree::local().walk(podcastsRoot, [&](const FileTree::Entry& entry) {
        if (entry.attributes.kind == FileTree::Kind::regularFile && DeviceFiles::isAudioFileName(entry.path)
            && !expected.contains(QDir::cleanPath(entry.path)))
            unexpected.append(entry.path);
        return true;
    });
    for (const QString& path : std::as_const(unexpected))
        DeviceFiles::remove(rootPath, path);
}

void sync(const QList<Podcast>& podcasts, const QList<Episode>& episodes, const QUrl& root,
          const QString& podcastsFolder)
{
    QList<PodcastEpisodes> pairs;
    for (const Podcast& podcast : podcasts)
        pairs.append({podcast, episodesToSync(podcast, episodes)});
    sync(pairs, root, podcastsFolder);
}

} // namespace PodcastSyncer
