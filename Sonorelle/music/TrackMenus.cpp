#include "TrackMenus.h"

#include "facade/Library.h"

#include <QMenu>
#include <QPointer>

using namespace Qt::StringLiterals;

namespace TrackMenus {

void addPlaylistSubmenu(QMenu& menu, Library& library, const QList<QUuid>& trackIDs, const TextPrompt& prompt,
                        QWidget* dialogParent)
{
    QMenu* submenu = menu.addMenu(u"Add to Playlist"_s);
    QPointer<Library> guarded(&library);
    for (const Playlist& playlist : library.playlists()) {
        submenu->addAction(playlist.name, [guarded, trackIDs, id = playlist.id] {
            if (!guarded)
                return;
            for (const QUuid& track : trackIDs)
                guarded->addTrack(track, id);
        });
    }
    if (!library.playlists().isEmpty())
        submenu->addSeparator();
    submenu->addAction(u"New Playlist…"_s, [guarded, trackIDs, prompt, dialogParent] {
        const TextPromptRequest request{u"New Playlist"_s, u"Name"_s, u"Create"_s, QString()};
        const auto name = prompt(dialogParent, request);
        if (!name || name->trimmed().isEmpty() || !guarded)
            return;
        const Playlist playlist = guarded->createPlaylist(name->trimmed());
        for (const QUuid& track : trackIDs)
            guarded->addTrack(track, playlist.id);
    });
}

} // namespace TrackMenus
