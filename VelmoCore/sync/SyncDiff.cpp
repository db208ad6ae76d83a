#include "SyncDiff.h"

#include "DeviceFiles.h"
#include "FatNames.h"
#include "library/FilePaths.h"
#include "library/LibraryOrganizer.h"
#include "platform/FileTree.h"
#include "platform/MountTable.h"
#include "playlists/SmartRuleEngine.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <algorithm>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

QString joined(const QString& folder, const QString& name)
{
    return QDir::cleanPath(folder + u'/' + name);
}

QString cleanedOr(const QString& text, const QString& fallback)
{
    const QString cleaned = LibraryOrganizer::sanitizePathComponent(text);
    return cleaned.isEmpty() ? fallback : cleaned;
}

QString extensionFor(const QString& sourcePath, OutputFormat format)
{
    switch (format) {
    case OutputFormat::keepSource:
        return FilePaths::pathExtension(sourcePath).toLower();
    case OutputFormat::mp3:
        return u"mp3"_s;
    case OutputFormat::aac:
        return u"m4a"_s;
    }
    return {};
}

// The path rule, with what it needs from the profile worked out once for a whole diff.
class PathRule {
public:
    PathRule(const DeviceProfile& profile, const QUrl& libraryRoot, SyncDiff::NameRules nameRules)
        : m_profile(profile)
        , m_nameRules(nameRules)
        , m_base(joined(profile.rootPath, profile.musicFolder))
        , m_libraryRoot(libraryRoot.toLocalFile())
    {
        while (m_libraryRoot.size() > 1 && m_libraryRoot.endsWith(u'/'))
            m_libraryRoot.chop(1);
        if (!m_base.endsWith(u'/'))
            m_base += u'/';
    }

    // `path` is the track's own file path, given since it costs a little to make.
    QString destination(const Track& track, const QString& path) const
    {
        const QString relative = relativePath(track, path);
        if (m_nameRules == SyncDiff::NameRules::fat) {
            QStringList components = relative.split(u'/', Qt::SkipEmptyParts);
            for (qsizetype i = 0; i < components.size(); ++i)
                components[i] = FatNames::safeComponent(components.at(i), i == components.size() - 1);
            return QDir::cleanPath(m_base + components.join(u'/'));
        }
        // Cleaned names are plain components; only a mirrored path may hold "." or "//".
        QString cleaned = relative;
        if (relative.startsWith(u'.') || relative.contains(u"/."_s) || relative.contains(u"//"_s))
            cleaned = QDir::cleanPath(relative);
        QStringList components = cleaned.split(u'/');
        bool shortened = false;
        for (qsizetype i = 0; i < components.size(); ++i) {
            const QString fitted = LibraryOrganizer::fittedName(components.at(i), i == components.size() - 1);
            shortened = shortened || fitted.size() != components.at(i).size();
            components[i] = fitted;
        }
        return m_base + (shortened ? components.join(u'/') : cleaned);
    }

private:
    QString relativePath(const Track& track, const QString& path) const
    {
        const QString extension = extensionFor(path, m_profile.outputFormat);
        const auto titleName = [&] {
            return cleanedOr(track.title.isEmpty() ? FilePaths::baseName(path) : track.title, u"Track"_s);
        };

        switch (m_profile.folderStructure) {
        case FolderStructure::artistAlbumTrack: {
            const QString artist = cleanedOr(track.albumArtist.isEmpty() ? track.artist : track.albumArtist,
                                             u"Unknown Artist"_s);
            const QString album = cleanedOr(track.album, u"Unknown Album"_s);
            const QString number = track.trackNumber
                ? QString::asprintf("%02lld ", static_cast<long long>(*track.trackNumber))
                : QString();
            return artist + u'/' + album + u'/' + number + titleName() + u'.' + extension;
        }
        case FolderStructure::flat: {
            const QString artist = LibraryOrganizer::sanitizePathComponent(track.artist);
            return (artist.isEmpty() ? titleName() : artist + u" - "_s + titleName()) + u'.' + extension;
        }
        case FolderStructure::mirrorLibrary: {
            // By string, as the rule has it: a sibling folder that begins with the root's
            // name counts as inside.
            QString relative;
            if (path.startsWith(m_libraryRoot)) {
                qsizetype start = m_libraryRoot.size();
                while (start < path.size() && path.at(start) == u'/')
                    ++start;
                relative = path.mid(start);
            } else {
                relative = FilePaths::lastPathComponent(path);
            }
            const QString oldExtension = FilePaths::pathExtension(relative);
            if (!oldExtension.isEmpty())
                relative.chop(oldExtension.size() + 1);
            if (!extension.isEmpty())
                relative += u'.' + extension;
            return relative;
        }
        }
        return {};
    }

    const DeviceProfile& m_profile;
    SyncDiff::NameRules m_nameRules;
    QString m_base;        // the music folder, ending in "/"
    QString m_libraryRoot; // without a trailing "/"
};

QString episodeDestinationPath(const Podcast& podcast, const QUrl& localURL, const DeviceProfile& profile,
                               SyncDiff::NameRules nameRules)
{
    QString folderName = cleanedOr(podcast.title, u"Unknown Podcast"_s);
    QString fileName = FilePaths::lastPathComponent(localURL.toLocalFile());
    if (nameRules == SyncDiff::NameRules::fat) {
        folderName = FatNames::safeComponent(folderName, false);
        fileName = FatNames::safeComponent(fileName, true);
    }
    return joined(joined(joined(profile.rootPath, profile.podcastsFolder), folderName), fileName);
}

// Indices into `tracks`, in their order.
QList<qsizetype> wantedTracks(const QList<Track>& tracks, const QList<Playlist>& playlists,
                              const QList<SmartPlaylist>& smartPlaylists, const DeviceProfile& profile)
{
    QList<qsizetype> result;
    result.reserve(tracks.size());
    if (profile.syncScope == SyncScope::fullLibrary) {
        for (qsizetype i = 0; i < tracks.size(); ++i)
            result.append(i);
        return result;
    }
    const QSet<QUuid> playlistIDs(profile.playlistIDs.cbegin(), profile.playlistIDs.cend());
    const QSet<QUuid> smartPlaylistIDs(profile.smartPlaylistIDs.cbegin(), profile.smartPlaylistIDs.cend());
    QSet<QUuid> wanted(profile.manualTrackIDs.cbegin(), profile.manualTrackIDs.cend());
    for (const Playlist& playlist : playlists) {
        if (playlistIDs.contains(playlist.id))
            wanted.unite(QSet<QUuid>(playlist.trackIDs.cbegin(), playlist.trackIDs.cend()));
    }
    for (const SmartPlaylist& smartPlaylist : smartPlaylists) {
        if (!smartPlaylistIDs.contains(smartPlaylist.id))
            continue;
        for (const Track& track : SmartRuleEngine::resolve(smartPlaylist, tracks))
            wanted.insert(track.id);
    }
    for (qsizetype i = 0; i < tracks.size(); ++i) {
        if (wanted.contains(tracks.at(i).id))
            result.append(i);
    }
    return result;
}

// FAT looks names up without regard to case, so paths that differ only in case are one.
QString pathKey(const QString& path, SyncDiff::NameRules nameRules)
{
    return nameRules == SyncDiff::NameRules::fat ? path.toCaseFolded() : path;
}

QStringList keptApart(const QList<Track>& tracks, const PathRule& pathRule, SyncDiff::NameRules nameRules)
{
    QStringList paths;
    paths.reserve(tracks.size());
    QSet<QString> taken;
    taken.reserve(tracks.size());
    for (const Track& track : tracks) {
        QString destination = pathRule.destination(track, track.path());
        const qsizetype slash = destination.lastIndexOf(u'/');
        const QString folder = destination.left(slash);
        const QString fileName = destination.mid(slash + 1);
        for (int n = 2; taken.contains(pathKey(destination, nameRules)); ++n)
            destination = folder + u'/' + FatNames::numbered(fileName, n);
        taken.insert(pathKey(destination, nameRules));
        paths.append(destination);
    }
    return paths;
}

// What the walks of the device found, so that no file's attributes are read twice: a path
// the walks did not meet (hidden, behind a link, in a folder that could not be listed) is
// looked at once on its own.
class DeviceView {
public:
    DeviceView(const FileTree& files, SyncDiff::NameRules nameRules) : m_files(files), m_nameRules(nameRules) {}

    QString key(const QString& path) const { return pathKey(path, m_nameRules); }

    void remember(const FileTree::Entry& entry)
    {
        if (entry.attributes.kind != FileTree::Kind::other)
            m_known.insert(key(entry.path), entry.attributes);
    }

    std::optional<FileTree::Attributes> attributes(const QString& path)
    {
        const QString pathKey = key(path);
        const auto known = m_known.constFind(pathKey);
        if (known != m_known.cend())
            return *known;
        const std::optional<FileTree::Attributes> read = m_files.attributes(path);
        m_known.insert(pathKey, read);
        return read;
    }

private:
    const FileTree& m_files;
    SyncDiff::NameRules m_nameRules;
    QHash<QString, std::optional<FileTree::Attributes>> m_known;
};

// The library file is newer than the copy by more than the 2 seconds that coarse device
// clocks (FAT keeps even seconds) may round away. Dates that cannot be read count as fresh.
bool isStale(const std::optional<FileTree::Attributes>& source, const FileTree::Attributes& copy)
{
    return source && source->modified && copy.modified && *source->modified > *copy.modified + 2.0;
}

} // namespace

SyncDiff SyncDiff::compute(const QList<Track>& tracks, const QList<Playlist>& playlists,
                           const QList<SmartPlaylist>& smartPlaylists, const DeviceProfile& profile,
                           const QUrl& libraryRoot, const QList<PodcastEpisodes>& podcastsToSync,
                           NameRules nameRules, const FileTree* files)
{
    if (profile.problem())
        return {};
    const FileTree& fileTree = files ? *files : FileTree::local();
    DeviceView device(fileTree, nameRules);
    const QString root = QDir::cleanPath(profile.rootPath);
    const QString podcastsRoot = joined(root, profile.podcastsFolder);
    const QList<qsizetype> wanted = wantedTracks(tracks, playlists, smartPlaylists, profile);

    // The library side on a second thread while this one walks the device: each track's place
    // on the device and each wanted track's own file's date. Every date is read, not only
    // those of tracks found on the device, so that the two halves need not wait for each
    // other; they are reads of the library's files, never of the device's.
    QStringList destinations;
    QList<std::optional<FileTree::Attributes>> sources(wanted.size());
    const PathRule pathRule(profile, libraryRoot, nameRules);
    std::thread planner([&] {
        // All tracks, not only the wanted ones, so that a track keeps its place whatever else
        // is chosen, and the playlists on the device point where the files are.
        destinations = keptApart(tracks, pathRule, nameRules);
        for (qsizetype i = 0; i < wanted.size(); ++i)
            sources[i] = fileTree.attributes(tracks.at(wanted.at(i)).path());
    });

    // One walk of the device. Everything whose path begins with the podcasts folder is that
    // folder's business, also a sibling that merely shares its first letters; that folder is
    // walked on its own only when the walk met it as a real folder, not through a link.
    SyncDiff diff;
    QStringList removable;
    bool podcastsFolderFound = false;
    fileTree.walk(root, [&](const FileTree::Entry& entry) {
        if (entry.attributes.kind == FileTree::Kind::link)
            diff.passedOver.append(QUrl::fromLocalFile(entry.path));
        if (entry.path.startsWith(podcastsRoot)) {
            podcastsFolderFound = podcastsFolderFound
                || (entry.path == podcastsRoot && entry.attributes.kind == FileTree::Kind::folder);
            return false;
        }
        device.remember(entry);
        if (entry.attributes.kind == FileTree::Kind::regularFile && DeviceFiles::isAudioFileName(entry.path))
            removable.append(entry.path);
        return true;
    });

    QList<FileTree::Entry> podcastFiles;
    if (profile.syncPodcasts && podcastsFolderFound) {
        fileTree.walk(podcastsRoot, [&](const FileTree::Entry& entry) {
            device.remember(entry);
            if (entry.attributes.kind == FileTree::Kind::link)
                diff.passedOver.append(QUrl::fromLocalFile(entry.path));
            // Only what a sync itself would have put there: never a user's own document.
            if (entry.attributes.kind == FileTree::Kind::regularFile && DeviceFiles::isAudioFileName(entry.path))
                podcastFiles.append(entry);
            return true;
        });
    }
    planner.join();

    QSet<QString> expected;
    expected.reserve(wanted.size());
    for (qsizetype i = 0; i < wanted.size(); ++i) {
        const QString& destination = destinations.at(wanted.at(i));
        expected.insert(device.key(destination));
        const std::optional<FileTree::Attributes> copy = device.attributes(destination);
        if (copy && copy->kind == FileTree::Kind::link)
            continue; // listed as passed over; never written through
        if (!copy || isStale(sources.at(i), *copy)) {
            const Track& track = tracks.at(wanted.at(i));
            diff.toAdd.append({track, QUrl::fromLocalFile(destination), AddAction::forTrack(track, profile)});
        }
    }
    diff.unchanged = std::max<qint64>(wanted.size() - diff.toAdd.size(), 0);

    for (const QString& path : removable) {
        if (!expected.contains(device.key(path)))
            diff.toRemove.append(QUrl::fromLocalFile(path));
    }

    if (!profile.syncPodcasts)
        return diff;
    PodcastChanges changes;
    QSet<QString> expectedEpisodes;
    for (const auto& [podcast, episodes] : podcastsToSync) {
        for (const Episode& episode : episodes) {
            if (!episode.localURL || !fileTree.attributes(episode.localURL->toLocalFile()))
                continue;
            const QString destination = episodeDestinationPath(podcast, *episode.localURL, profile, nameRules);
            expectedEpisodes.insert(device.key(destination));
            if (device.attributes(destination))
                ++changes.unchanged;
            else
                changes.toAdd.append({podcast, episode});
        }
    }
    for (const FileTree::Entry& file : podcastFiles) {
        if (!expectedEpisodes.contains(device.key(file.path)))
            changes.toRemove.append(QUrl::fromLocalFile(file.path));
    }
    diff.podcastChanges = changes;
    return diff;
}

QUrl SyncDiff::episodeDestinationURL(const Podcast& podcast, const Episode& episode, const DeviceProfile& profile,
                                     NameRules nameRules)
{
    return QUrl::fromLocalFile(episodeDestinationPath(podcast, episode.localURL.value_or(QUrl()), profile, nameRules));
}

QUrl SyncDiff::destinationURL(const Track& track, const DeviceProfile& profile, const QUrl& libraryRoot,
                              NameRules nameRules)
{
    return QUrl::fromLocalFile(PathRule(profile, libraryRoot, nameRules).destination(track, track.path()));
}

QStringList SyncDiff::destinationPaths(const QList<Track>& tracks, const DeviceProfile& profile,
                                       const QUrl& libraryRoot, NameRules nameRules)
{
    return keptApart(tracks, PathRule(profile, libraryRoot, nameRules), nameRules);
}

SyncDiff::NameRules SyncDiff::nameRulesFor(const QString& fileSystemType)
{
    static const QSet<QString> fat{u"vfat"_s, u"msdos"_s, u"fat"_s, u"exfat"_s};
    return fat.contains(fileSystemType.toLower()) ? NameRules::fat : NameRules::plain;
}

SyncDiff::NameRules SyncDiff::nameRulesAt(const QString& rootPath)
{
    // A root reached through a link is looked up where it leads.
    const QString canonical = QFileInfo(rootPath).canonicalFilePath();
    const auto mount = MountTable::mountHolding(MountTable::read(), canonical.isEmpty() ? rootPath : canonical);
    return nameRulesFor(mount ? mount->fileSystemType : QString());
}
