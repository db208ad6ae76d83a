#include "PlaylistDetailView.h"

#include "FindByID.h"
#include "LibraryFollower.h"
#include "PlaylistHeader.h"
#include "PlaylistTracksTable.h"
#include "facade/Library.h"
#include "music/TrackMenus.h"

#include <QMenu>
#include <QPointer>
#include <QToolButton>

using namespace Qt::StringLiterals;

PlaylistDetailView::PlaylistDetailView(Library& library, const QUuid& playlistID, TextPrompt prompt,
                                       SaveFilePicker savePicker, QWidget* parent)
    : PlaylistPage(library, true,
                   {u"Rename Playlist"_s, u"music.note.list"_s, u"Empty Playlist"_s,
                    u"Right-click any track in Music to add it here."_s},
                   std::move(savePicker), parent)
    , m_playlistID(playlistID)
    , m_prompt(std::move(prompt))
{
    table()->setContextMenuPolicy(Qt::CustomContextMenu);

    connect(header()->editButton(), &QToolButton::clicked, this, &PlaylistDetailView::rename);
    connect(&library, &Library::playlistsChanged, follower(), &LibraryFollower::recordsChanged);
    // The rows are numbered among the tracks that exist, and so is the move; with dangling
    // ids before the gap it lands that much off in the stored list.
    connect(table()->tracksModel(), &PlaylistTracksModel::moveRequested, this,
            [this](const QSet<qsizetype>& rows, qsizetype destination) {
                this->library().moveTrack(m_playlistID, rows, destination);
            });
    connect(table(), &QWidget::customContextMenuRequested, this, [this](const QPoint& position) {
        const QModelIndex index = table()->indexAt(position);
        if (!index.isValid())
            return;
        QMenu menu;
        fillRowMenu(menu, index.row());
        menu.exec(table()->viewport()->mapToGlobal(position));
    });
    refresh();
}

void PlaylistDetailView::refresh()
{
    const Playlist* playlist = findByID(library().playlists(), m_playlistID);
    // A playlist that has gone leaves an empty page until its owner replaces it.
    showTracks(playlist ? playlist->name : QString(), playlist ? library().resolve(*playlist) : QList<Track>());
}

void PlaylistDetailView::rename()
{
    const Playlist* playlist = findByID(library().playlists(), m_playlistID);
    if (!playlist)
        return;
    const TextPromptRequest request{u"Rename Playlist"_s, u"Name"_s, u"Rename"_s, playlist->name};
    const QPointer<PlaylistDetailView> self(this);
    const std::optional<QString> answer = m_prompt(this, request);
    if (!self || !answer || answer->trimmed().isEmpty())
        return;
    // Looked up again: the library may have changed while the dialog was open.
    playlist = findByID(library().playlists(), m_playlistID);
    if (!playlist)
        return;
    Playlist renamed = *playlist;
    renamed.name = answer->trimmed();
    library().updatePlaylist(renamed);
}

void PlaylistDetailView::exportFile()
{
    if (const Playlist* playlist = findByID(library().playlists(), m_playlistID)) {
        exportAs(playlist->name,
                 [id = m_playlistID](Library& library, const QUrl& to) { library.exportPlaylist(id, to, true); });
    }
}

void PlaylistDetailView::fillRowMenu(QMenu& menu, int row)
{
    if (row < 0 || row >= table()->tracksModel()->rowCount())
        return;
    const QUuid trackID = table()->tracksModel()->trackAt(row).id;
    const QPointer<Library> guarded(&library());
    menu.addAction(u"Remove from Playlist"_s, this, [guarded, trackID, playlistID = m_playlistID] {
        if (!guarded)
            return;
        // By id, not by row: rows count only the tracks that still exist.
        if (const Playlist* playlist = findByID(guarded->playlists(), playlistID))
            guarded->removeTrack(playlist->trackIDs.indexOf(trackID), playlistID);
    });
    menu.addSeparator();
    TrackMenus::addPlaylistSubmenu(menu, library(), {trackID}, m_prompt, this);
}
