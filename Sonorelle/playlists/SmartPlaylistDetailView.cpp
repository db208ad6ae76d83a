#include "SmartPlaylistDetailView.h"

#include "FindByID.h"
#include "LibraryFollower.h"
#include "PlaylistHeader.h"
#include "SmartPlaylistEditorSheet.h"
#include "facade/Library.h"

#include <QToolButton>

using namespace Qt::StringLiterals;

SmartPlaylistDetailView::SmartPlaylistDetailView(Library& library, const QUuid& smartPlaylistID,
                                                 SaveFilePicker savePicker, QWidget* parent)
    : PlaylistPage(library, false,
                   {u"Edit Smart Playlist"_s, u"tools-wizard"_s, u"No Matching Tracks"_s,
                    u"Adjust your filters to match tracks in the library."_s},
                   std::move(savePicker), parent)
    , m_smartPlaylistID(smartPlaylistID)
{
    connect(header()->editButton(), &QToolButton::clicked, this, &SmartPlaylistDetailView::edit);
    connect(&library, &Library::smartPlaylistsChanged, follower(), &LibraryFollower::recordsChanged);
    refresh();
}

void SmartPlaylistDetailView::refresh()
{
    const SmartPlaylist* smartPlaylist = findByID(library().smartPlaylists(), m_smartPlaylistID);
    showTracks(smartPlaylist ? smartPlaylist->name : QString(),
               smartPlaylist ? library().resolve(*smartPlaylist) : QList<Track>());
}

void SmartPlaylistDetailView::edit()
{
    const SmartPlaylist* smartPlaylist = findByID(library().smartPlaylists(), m_smartPlaylistID);
    if (!smartPlaylist || m_sheet)
        return;
    m_sheet = new SmartPlaylistEditorSheet(library(), *smartPlaylist, this);
    m_sheet->setAttribute(Qt::WA_DeleteOnClose);
    const QPointer<Library> guarded(&library());
    connect(m_sheet, &SmartPlaylistEditorSheet::completed, this,
            [guarded](const std::optional<SmartPlaylist>& edited) {
                if (guarded && edited)
                    guarded->updateSmartPlaylist(*edited);
            });
    m_sheet->open();
}

void SmartPlaylistDetailView::exportFile()
{
    if (const SmartPlaylist* smartPlaylist = findByID(library().smartPlaylists(), m_smartPlaylistID)) {
        exportAs(smartPlaylist->name, [id = m_smartPlaylistID](Library& library, const QUrl& to) {
            library.exportSmartPlaylist(id, to, true);
        });
    }
}

SmartPlaylistEditorSheet* SmartPlaylistDetailView::editorSheet() const
{
    return m_sheet;
}
