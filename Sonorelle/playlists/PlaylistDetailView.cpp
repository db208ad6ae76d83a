#include "PlaylistDetailView.h"

#include "FindByID.h"
#include "PlaylistExportPrompt.h"
#include "PlaylistHeader.h"
#include "PlaylistTracksTable.h"
#include "TrackChangeFollower.h"
#include "library/Library.h"
#include "music/TrackMenus.h"
#include "playlists/TrackListSummary.h"
#include "widgets/PlaceholderView.h"

#include <QMenu>
#include <QPointer>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

PlaylistDetailView::PlaylistDetailView(Library& library, const QUuid& playlistID, TextPrompt prompt,
                                       SaveFilePicker savePicker, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_playlistID(playlistID)
    , m_prompt(std::move(prompt))
    , m_savePicker(std::move(savePicker))
    , m_header(new PlaylistHeader(u"Rename Playlist"_s, this))
    , m_table(new PlaylistTracksTable(true, this))
    , m_empty(new PlaceholderView(u"view-media-playlist"_s, u"Empty Playlist"_s,
                                  u"Right-click any track in Music to add it here."_s, this))
    , m_body(new QStackedWidget(this))
    , m_follower(new TrackChangeFollower(library, [this] { refresh(); }, this))
{
    m_table->setContextMenuPolicy(Qt::CustomContextMenu);
    m_body->addWidget(m_table);
    m_body->addWidget(m_empty);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_header);
    layout->addWidget(m_body, 1);

    connect(m_header->editButton(), &QToolButton::clicked, this, &PlaylistDetailView::rename);
    connect(m_header->exportButton(), &QPushButton::clicked, this, &PlaylistDetailView::exportFile);
    connect(&library, &Library::playlistsChanged, this, &PlaylistDetailView::refresh);
    connect(m_table, &PlaylistTracksTable::selectedTrackChanged, this, &PlaylistDetailView::selectedTrackChanged);
    // The rows are numbered among the tracks that exist, and so is the move; with dangling
    // ids before the gap it lands that much off in the stored list.
    connect(m_table->tracksModel(), &PlaylistTracksModel::moveRequested, this,
            [this](const QSet<qsizetype>& rows, qsizetype destination) {
                m_library.moveTrack(m_playlistID, rows, destination);
            });
    connect(m_table, &QWidget::customContextMenuRequested, this, [this](const QPoint& position) {
        const QModelIndex index = m_table->indexAt(position);
        if (!index.isValid())
            return;
        QMenu menu;
        fillRowMenu(menu, index.row());
        menu.exec(m_table->viewport()->mapToGlobal(position));
    });
    refresh();
}

bool PlaylistDetailView::showsEmptyState() const
{
    return m_body->currentWidget() == m_empty;
}

void PlaylistDetailView::refresh()
{
    m_follower->cancel();
    const Playlist* playlist = findByID(m_library.playlists(), m_playlistID);
    // A playlist that has gone leaves an empty page until its owner replaces it.
    const QList<Track> tracks = playlist ? m_library.resolve(*playlist) : QList<Track>();
    m_header->setTitle(playlist ? playlist->name : QString());
    m_header->setSummary(TrackListSummary::of(tracks).text());
    m_table->setRows(PlaylistTrackRow::numbered(tracks));
    m_body->setCurrentWidget(tracks.isEmpty() ? static_cast<QWidget*>(m_empty) : m_table);
}

void PlaylistDetailView::clearSelectedTrack()
{
    m_table->clearSelectedTrack();
}

void PlaylistDetailView::rename()
{
    const Playlist* playlist = findByID(m_library.playlists(), m_playlistID);
    if (!playlist)
        return;
    const TextPromptRequest request{u"Rename Playlist"_s, u"Name"_s, u"Rename"_s, playlist->name};
    const QPointer<PlaylistDetailView> self(this);
    const std::optional<QString> answer = m_prompt(this, request);
    if (!self || !answer || answer->trimmed().isEmpty())
        return;
    // Looked up again: the library may have changed while the dialog was open.
    playlist = findByID(m_library.playlists(), m_playlistID);
    if (!playlist)
        return;
    Playlist renamed = *playlist;
    renamed.name = answer->trimmed();
    m_library.updatePlaylist(renamed);
}

void PlaylistDetailView::exportFile()
{
    const Playlist* playlist = findByID(m_library.playlists(), m_playlistID);
    if (!playlist)
        return;
    m_header->setError(QString());
    const QPointer<Library> library(&m_library);
    const auto write = [library, id = m_playlistID](const QUrl& to) {
        if (library)
            library->exportPlaylist(id, to, true);
    };
    const QPointer<PlaylistDetailView> self(this);
    const std::optional<QString> failure = PlaylistExportPrompt::run(this, playlist->name, m_savePicker, write);
    if (self && failure)
        m_header->setError(*failure);
}

void PlaylistDetailView::fillRowMenu(QMenu& menu, int row)
{
    if (row < 0 || row >= m_table->tracksModel()->rowCount())
        return;
    const QUuid trackID = m_table->tracksModel()->trackAt(row).id;
    const QPointer<Library> library(&m_library);
    menu.addAction(u"Remove from Playlist"_s, this, [library, trackID, playlistID = m_playlistID] {
        if (!library)
            return;
        // By id, not by row: rows count only the tracks that still exist.
        if (const Playlist* playlist = findByID(library->playlists(), playlistID))
            library->removeTrack(playlist->trackIDs.indexOf(trackID), playlistID);
    });
    menu.addSeparator();
    TrackMenus::addPlaylistSubmenu(menu, m_library, {trackID}, m_prompt, this);
}
