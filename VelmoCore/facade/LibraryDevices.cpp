// The device profile operations of Library.
#include "Library.h"

#include "library/Settings.h"

#include <algorithm>

namespace {

DeviceProfile* findProfile(QList<DeviceProfile>& profiles, const QUuid& id)
{
    const auto it = std::find_if(profiles.begin(), profiles.end(), [&id](const DeviceProfile& p) { return p.id == id; });
    return it == profiles.end() ? nullptr : &*it;
}

} // namespace

DeviceProfile Library::createDeviceProfile(const QString& name, const QString& rootPath)
{
    assertMainThread();
    DeviceProfile profile;
    profile.id = QUuid::createUuid();
    profile.name = name;
    profile.rootPath = rootPath;
    // The preferences promise that these defaults apply to new profiles, so they do.
    profile.outputFormat = Settings::value(Settings::defaultOutputFormat);
    profile.transcodeBitrate = Settings::value(Settings::defaultBitrate);
    profile.folderStructure = Settings::value(Settings::defaultFolderStructure);
    profile.syncPlaylists = Settings::value(Settings::defaultSyncPlaylists);
    profile.syncPodcasts = Settings::value(Settings::defaultSyncPodcasts);
    m_deviceProfiles.append(profile);
    deviceProfilesDidChange();
    return profile;
}

void Library::updateDeviceProfile(const DeviceProfile& profile)
{
    assertMainThread();
    DeviceProfile* stored = findProfile(m_deviceProfiles, profile.id);
    if (!stored)
        return;
    *stored = profile;
    deviceProfilesDidChange();
}

void Library::deleteDeviceProfile(const QUuid& id)
{
    assertMainThread();
    m_deviceProfiles.removeIf([&id](const DeviceProfile& p) { return p.id == id; });
    deviceProfilesDidChange();
}

void Library::addTracksToDevice(const QList<QUuid>& trackIDs, const QUuid& profileID)
{
    assertMainThread();
    DeviceProfile* profile = findProfile(m_deviceProfiles, profileID);
    if (!profile)
        return;
    QSet<QUuid> listed(profile->manualTrackIDs.cbegin(), profile->manualTrackIDs.cend());
    bool changed = false;
    for (const QUuid& id : trackIDs) {
        if (listed.contains(id))
            continue;
        listed.insert(id);
        profile->manualTrackIDs.append(id);
        changed = true;
    }
    if (changed)
        deviceProfilesDidChange();
}

void Library::removeTracksFromDevice(const QList<QUuid>& trackIDs, const QUuid& profileID)
{
    assertMainThread();
    DeviceProfile* profile = findProfile(m_deviceProfiles, profileID);
    if (!profile)
        return;
    const QSet<QUuid> removed(trackIDs.cbegin(), trackIDs.cend());
    profile->manualTrackIDs.removeIf([&removed](const QUuid& id) { return removed.contains(id); });
    deviceProfilesDidChange();
}

SyncDiff Library::syncDiff(const DeviceProfile& profile, const QList<SyncDiff::PodcastEpisodes>& podcastsToSync) const
{
    assertMainThread();
    return SyncDiff::compute(m_tracks, m_playlists, m_smartPlaylists, profile, m_rootURL, podcastsToSync,
                             SyncDiff::nameRulesAt(profile.rootPath));
}
