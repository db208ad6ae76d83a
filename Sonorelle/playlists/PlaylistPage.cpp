#include "PlaylistPage.h"

#include "LibraryFollower.h"
#include "PlaylistExportPrompt.h"
#include "PlaylistHeader.h"
#include "PlaylistTracksTable.h"
#include "facade/Library.h"
#include "playlists/TrackListSummary.h"
#include "widgets/PlaceholderView.h"

#include <QPointer>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

PlaylistPage::PlaylistPage(Library& library, bool reorderable, const Texts& texts, SaveFilePicker savePicker,
                           QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_savePicker(std::move(savePicker))
    , m_header(new PlaylistHeader(texts.editToolTip, this))
    , m_table(new PlaylistTracksTable(reorderable, this))
    , m_empty(new PlaceholderView(texts.emptyIcon, texts.emptyTitle, texts.emptyMessage, this))
    , m_body(new QStackedWidget(this))
    , m_follower(new LibraryFollower(library, this, [this] { refresh(); }))
{
    m_body->addWidget(m_table);
    m_body->addWidget(m_empty);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_header);
    layout->addWidget(m_body, 1);

    connect(m_header->exportButton(), &QPushButton::clicked, this, &PlaylistPage::exportFile);
    connect(m_table, &PlaylistTracksTable::selectedTrackChanged, this, &PlaylistPage::selectedTrackChanged);
}

bool PlaylistPage::showsEmptyState() const
{
    return m_body->currentWidget() == m_empty;
}

void PlaylistPage::clearSelectedTrack()
{
    m_table->clearSelectedTrack();
}

void PlaylistPage::showTracks(const QString& name, const QList<Track>& tracks)
{
    m_follower->settle();
    m_header->setTitle(name);
    m_header->setSummary(TrackListSummary::of(tracks).text());
    m_table->setRows(PlaylistTrackRow::numbered(tracks));
    m_body->setCurrentWidget(tracks.isEmpty() ? static_cast<QWidget*>(m_empty) : m_table);
}

void PlaylistPage::exportAs(const QString& name, const std::function<void(Library&, const QUrl&)>& write)
{
    m_header->setError(QString());
    const QPointer<Library> library(&m_library);
    const auto writeIfOpen = [library, &write](const QUrl& to) {
        if (library)
            write(*library, to);
    };
    const QPointer<PlaylistPage> self(this);
    const std::optional<QString> failure = PlaylistExportPrompt::run(this, name, m_savePicker, writeIfOpen);
    if (self && failure)
        m_header->setError(*failure);
}
