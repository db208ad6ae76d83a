#pragma once

#include "widgets/TextPrompt.h"

#include <QList>
#include <QUuid>

class Library;
class QMenu;
class QWidget;

// The context menu entries every list of tracks offers.
namespace TrackMenus {

// "Add to Playlist": one entry per playlist, a divider, and "New Playlist…", which asks for
// a name and makes a playlist holding the tracks. A blank name makes nothing.
void addPlaylistSubmenu(QMenu& menu, Library& library, const QList<QUuid>& trackIDs, const TextPrompt& prompt,
                        QWidget* dialogParent);

} // namespace TrackMenus
