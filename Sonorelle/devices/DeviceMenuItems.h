#pragma once

#include <QList>
#include <QUuid>

class Library;
class QMenu;

// The entries by which tracks are put on and taken off the devices that hold chosen
// content. Devices that take the whole library receive everything and are not offered.
namespace DeviceMenuItems {

// Nothing without such a device; otherwise a divider, then for one device "Add to <name>"
// while some of the tracks are not on it and "Remove from <name>" while some are, and for
// several the submenus "Add to Device" and "Remove from Device" with the devices that apply.
void addTo(QMenu& menu, Library& library, const QList<QUuid>& trackIDs);

// The same for a playlist's row: with one such device "Remove from <name>" when the list is
// on it and "Add to <name>" when not, with several a submenu "Add to Device" with one such
// entry per device; then a divider. Nothing without such a device.
void addPlaylistEntries(QMenu& menu, Library& library, const QUuid& listID, bool isSmart);

} // namespace DeviceMenuItems
