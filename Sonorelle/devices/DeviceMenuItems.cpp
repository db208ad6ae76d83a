#include "DeviceMenuItems.h"

#include "facade/Library.h"
#include "widgets/Icons.h"

#include <QMenu>
#include <QPointer>

using namespace Qt::StringLiterals;

namespace DeviceMenuItems {

namespace {

struct Offer {
    DeviceProfile profile;
    bool lacksSome = false;
    bool holdsSome = false;
};

QList<Offer> offers(const Library& library, const QList<QUuid>& trackIDs)
{
    QList<Offer> result;
    for (const DeviceProfile& profile : library.deviceProfiles()) {
        if (profile.syncScope != SyncScope::selectedPlaylists)
            continue;
        const QSet<QUuid> held(profile.manualTrackIDs.cbegin(), profile.manualTrackIDs.cend());
        Offer offer{profile};
        for (const QUuid& id : trackIDs) {
            (held.contains(id) ? offer.holdsSome : offer.lacksSome) = true;
        }
        result.append(offer);
    }
    return result;
}

} // namespace

void addTo(QMenu& menu, Library& library, const QList<QUuid>& trackIDs)
{
    const QList<Offer> eligible = offers(library, trackIDs);
    if (eligible.isEmpty())
        return;
    menu.addSeparator();
    QPointer<Library> guarded(&library);
    const auto add = [guarded, trackIDs](const QUuid& profileID) {
        return [guarded, trackIDs, profileID] {
            if (guarded)
                guarded->addTracksToDevice(trackIDs, profileID);
        };
    };
    const auto remove = [guarded, trackIDs](const QUuid& profileID) {
        return [guarded, trackIDs, profileID] {
            if (guarded)
                guarded->removeTracksFromDevice(trackIDs, profileID);
        };
    };
    if (eligible.size() == 1) {
        const Offer& offer = eligible.constFirst();
        if (offer.lacksSome)
            menu.addAction(u"Add to "_s + offer.profile.name, add(offer.profile.id));
        if (offer.holdsSome) {
            QAction* action = menu.addAction(u"Remove from "_s + offer.profile.name, remove(offer.profile.id));
            action->setIcon(Icons::symbol(u"externaldrive.badge.xmark"_s));
        }
        return;
    }
    if (std::ranges::any_of(eligible, &Offer::lacksSome)) {
        QMenu* submenu = menu.addMenu(u"Add to Device"_s);
        for (const Offer& offer : eligible) {
            if (offer.lacksSome)
                submenu->addAction(offer.profile.name, add(offer.profile.id));
        }
    }
    if (std::ranges::any_of(eligible, &Offer::holdsSome)) {
        QMenu* submenu = menu.addMenu(u"Remove from Device"_s);
        for (const Offer& offer : eligible) {
            if (offer.holdsSome)
                submenu->addAction(offer.profile.name, remove(offer.profile.id));
        }
    }
}

void addPlaylistEntries(QMenu& menu, Library& library, const QUuid& listID, bool isSmart)
{
    QList<DeviceProfile> eligible;
    std::ranges::copy_if(library.deviceProfiles(), std::back_inserter(eligible),
                         [](const DeviceProfile& p) { return p.syncScope == SyncScope::selectedPlaylists; });
    if (eligible.isEmpty())
        return;
    QMenu* target = eligible.size() == 1 ? &menu : menu.addMenu(u"Add to Device"_s);
    QPointer<Library> guarded(&library);
    for (const DeviceProfile& profile : std::as_const(eligible)) {
        const QList<QUuid>& lists = isSmart ? profile.smartPlaylistIDs : profile.playlistIDs;
        const bool onDevice = lists.contains(listID);
        target->addAction((onDevice ? u"Remove from "_s : u"Add to "_s) + profile.name,
                          [guarded, profileID = profile.id, listID, isSmart] {
                              if (!guarded)
                                  return;
                              const auto it = std::ranges::find(guarded->deviceProfiles(), profileID, &DeviceProfile::id);
                              if (it == guarded->deviceProfiles().cend())
                                  return;
                              DeviceProfile changed = *it;
                              QList<QUuid>& ids = isSmart ? changed.smartPlaylistIDs : changed.playlistIDs;
                              if (ids.contains(listID))
                                  ids.removeAll(listID);
                              else
                                  ids.append(listID);
                              guarded->updateDeviceProfile(changed);
                          });
    }
    menu.addSeparator();
}

} // namespace DeviceMenuItems
