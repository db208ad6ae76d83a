#include "SmartPlaylistDetailView.h"

#include "FindByID.h"
#include "PlaylistExportPrompt.h"
#include "PlaylistHeader.h"
#include "PlaylistTracksTable.h"
#include "SmartPlaylistEditorSheet.h"
#include "TrackChangeFollower.h"
#include "library/Library.h"
#include "playlists/TrackListSummary.h"
#include "widgets/PlaceholderView.h"

#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

SmartPlaylistDetailView::SmartPlaylistDetailView(Library& library, const QUuid& smartPlaylistID,
                                                 SaveFilePicker savePicker, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_smartPlaylistID(smartPlaylistID)
    , m_savePicker(std::move(savePicker))
    , m_header(new PlaylistHeader(u"Edit Smart Playlist"_s, this))
    , m_table(new PlaylistTracksTable(false, this))
    , m_empty(new PlaceholderView(u"tools-wizard"_s, u"No Matching Tracks"_s,
                                  u"Adjust your filters to match tracks in the library."_s, this))
    , m_body(new QStackedWidget(this))
    , m_follower(new TrackChangeFollower(library, [this] { refresh(); }, this))
{
    m_body->addWidget(m_table);
    m_body->addWidget(m_empty);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_header);
    layout->addWidget(m_body, 1);

    connect(m_header->editButton(), &QToolButton::clicked, this, &SmartPlaylistDetailView::edit);
    connect(m_header->exportButton(), &QPushButton::clicked, this, &SmartPlaylistDetailView::exportFile);
    connect(&library, &Library::smartPlaylistsChanged, this, &SmartPlaylistDetailView::refresh);
    connect(m_table, &PlaylistTracksTable::selectedTrackChanged, this,
            &SmartPlaylistDetailView::selectedTrackChanged);
    refresh();
}

bool SmartPlaylistDetailView::showsEmptyState() const
{
    return m_body->currentWidget() == m_empty;
}

void SmartPlaylistDetailView::refresh()
{
    m_follower->cancel();
    const SmartPlaylist* smartPlaylist = findByID(m_library.smartPlaylists(), m_smartPlaylistID);
    const QList<Track> tracks = smartPlaylist ? m_library.resolve(*smartPlaylist) : QList<Track>();
    m_header->setTitle(smartPlaylist ? smartPlaylist->name : QString());
    m_header->setSummary(TrackListSummary::of(tracks).text());
    m_table->setRows(PlaylistTrackRow::numbered(tracks));
    m_body->setCurrentWidget(tracks.isEmpty() ? static_cast<QWidget*>(m_empty) : m_table);
}

void SmartPlaylistDetailView::clearSelectedTrack()
{
    m_table->clearSelectedTrack();
}

void SmartPlaylistDetailView::edit()
{
    const SmartPlaylist* smartPlaylist = findByID(m_library.smartPlaylists(), m_smartPlaylistID);
    if (!smartPlaylist || m_sheet)
        return;
    m_sheet = new SmartPlaylistEditorSheet(m_library, *smartPlaylist, this);
    m_sheet->setAttribute(Qt::WA_DeleteOnClose);
    const QPointer<Library> library(&m_library);
    connect(m_sheet, &SmartPlaylistEditorSheet::completed, this,
            [library](const std::optional<SmartPlaylist>& edited) {
                if (library && edited)
                    library->updateSmartPlaylist(*edited);
            });
    m_sheet->open();
}

void SmartPlaylistDetailView::exportFile()
{
    const SmartPlaylist* smartPlaylist = findByID(m_library.smartPlaylists(), m_smartPlaylistID);
    if (!smartPlaylist)
        return;
    m_header->setError(QString());
    const QPointer<Library> library(&m_library);
    const auto write = [library, id = m_smartPlaylistID](const QUrl& to) {
        if (library)
            library->exportSmartPlaylist(id, to, true);
    };
    const QPointer<SmartPlaylistDetailView> self(this);
    const std::optional<QString> failure =
        PlaylistExportPrompt::run(this, smartPlaylist->name, m_savePicker, write);
    if (self && failure)
        m_header->setError(*failure);
}

SmartPlaylistEditorSheet* SmartPlaylistDetailView::editorSheet() const
{
    return m_sheet;
}
