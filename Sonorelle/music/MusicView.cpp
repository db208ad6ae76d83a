#include "MusicView.h"

#include "AlbumsView.h"
#include "ImportReviewSheet.h"
#include "SongsView.h"
#include "facade/Library.h"
#include "library/DisplayText.h"
#include "widgets/Icons.h"
#include "widgets/PlaceholderView.h"
#include "widgets/StatusToast.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QIcon>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QStackedWidget>
#include <QStyle>
#include <QListView>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

// Changes to the library come in bursts (an import adds a track at a time); the lists
// follow them at this pace rather than once per change.
constexpr auto refreshDelay = std::chrono::milliseconds(150);
constexpr auto toastDuration = std::chrono::milliseconds(2500);

} // namespace

MusicView::MusicView(Library& library, FolderPicker folderPicker, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_importController(std::move(folderPicker))
    , m_songsButton(new QToolButton(this))
    , m_albumsButton(new QToolButton(this))
    , m_search(new QLineEdit(this))
    , m_pages(new QStackedWidget(this))
    , m_songs(new SongsView(library, promptWithDialog, this))
    , m_albums(new AlbumsView(library, this))
    , m_toast(new StatusToast(this))
    , m_empty(new QStackedWidget(this))
{
    m_empty->addWidget(new PlaceholderView(u"music.note"_s, u"No Music Yet"_s,
                                           u"Import a folder of music with “Import Folder…”, or scan your library "
                                           u"folder from Maintenance."_s));
    m_noResults = new PlaceholderView(u"magnifyingglass"_s, u"No Results"_s, QString());
    m_empty->addWidget(m_noResults);
    m_songsButton->setText(u"Songs"_s);
    m_albumsButton->setText(u"Albums"_s);
    auto* modes = new QButtonGroup(this);
    for (QToolButton* button : {m_songsButton, m_albumsButton}) {
        button->setCheckable(true);
        button->setAutoRaise(false);
        modes->addButton(button);
    }
    m_songsButton->setAccessibleName(u"View"_s);
    auto* importButton = new QPushButton(Icons::symbol(u"folder.badge.plus"_s), u"Import Folder…"_s, this);

    m_search->setPlaceholderText(u"Search"_s);
    m_search->setClearButtonEnabled(true);
    m_search->addAction(Icons::symbol(u"magnifyingglass"_s), QLineEdit::LeadingPosition);

    auto* toolbar = new QHBoxLayout;
    toolbar->addWidget(m_songsButton);
    toolbar->addWidget(m_albumsButton);
    toolbar->addStretch();
    toolbar->addWidget(importButton);

    m_pages->addWidget(m_songs);
    m_pages->addWidget(m_albums);
    m_pages->addWidget(m_empty);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(toolbar);
    layout->addWidget(m_search);
    layout->addWidget(m_pages, 1);

    m_refresh.setSingleShot(true);
    m_refresh.setInterval(refreshDelay);
    m_toastTimer.setSingleShot(true);
    m_toastTimer.setInterval(toastDuration);

    connect(&m_refresh, &QTimer::timeout, this, &MusicView::refreshNow);
    connect(&library, &Library::tracksChanged, &m_refresh, [this] {
        if (!m_refresh.isActive())
            m_refresh.start();
    });
    connect(m_search, &QLineEdit::textChanged, this, &MusicView::refilter);
    auto* leaveSearch = new QShortcut(QKeySequence(Qt::Key_Escape), m_search, nullptr, nullptr, Qt::WidgetShortcut);
    connect(leaveSearch, &QShortcut::activated, this, [this] {
        m_search->clear();
        focusList();
    });
    connect(m_songsButton, &QToolButton::clicked, this, [this] { setViewMode(MusicViewMode::songs); });
    connect(m_albumsButton, &QToolButton::clicked, this, [this] { setViewMode(MusicViewMode::albums); });
    connect(importButton, &QPushButton::clicked, this, [this] { m_importController.chooseFolder(m_library); });
    connect(&m_importController, &ImportController::changed, this, &MusicView::importStateChanged);
    connect(&m_toastTimer, &QTimer::timeout, this, [this] {
        m_importController.clearImportComplete();
        m_toast->setMessage(QString());
    });
    connect(m_songs, &SongsView::selectedTrackChanged, this, &MusicView::selectedTrackChanged);
    connect(m_albums, &AlbumsView::albumActivated, this, [this](const AlbumGroup& group) {
        emit selectedTrackChanged(std::nullopt);
        emit selectedAlbumChanged(group);
    });

    setViewMode(MusicViewMode::albums);
    refreshNow();
}

void MusicView::setViewMode(MusicViewMode mode)
{
    m_viewMode = mode;
    m_songsButton->setChecked(mode == MusicViewMode::songs);
    m_albumsButton->setChecked(mode == MusicViewMode::albums);
    refilter();
}

void MusicView::focusSearch()
{
    m_search->setFocus(Qt::ShortcutFocusReason);
    m_search->selectAll();
}

void MusicView::focusList()
{
    QAbstractItemView* list = m_viewMode == MusicViewMode::songs ? static_cast<QAbstractItemView*>(m_songs->table())
                                                                 : m_albums->grid();
    list->setFocus(Qt::OtherFocusReason);
    // Arrows then move from the first row instead of nowhere; nothing is chosen by it.
    if (!list->currentIndex().isValid() && list->model()->rowCount() > 0)
        list->selectionModel()->setCurrentIndex(list->model()->index(0, 0), QItemSelectionModel::NoUpdate);
}

QString MusicView::searchText() const
{
    return m_search->text();
}

void MusicView::setSearchText(const QString& text)
{
    m_search->setText(text);
}

void MusicView::refreshNow()
{
    m_refresh.stop();
    m_index.update(m_library.tracks());
    refilter();
}

void MusicView::refilter()
{
    m_filtered = m_index.filter(m_search->text());
    QWidget* list = m_viewMode == MusicViewMode::songs ? static_cast<QWidget*>(m_songs) : m_albums;
    if (m_filtered.isEmpty()) {
        m_noResults->setMessage(u"No songs match “"_s + m_search->text() + u"”"_s);
        m_empty->setCurrentIndex(m_index.tracks().isEmpty() ? 0 : 1);
        list = m_empty;
    }
    m_pages->setCurrentWidget(list);
    // Only the list on screen is brought up to date; the other follows when it is shown.
    if (m_viewMode == MusicViewMode::songs) {
        m_songs->setRows(&m_index, m_filtered);
        return;
    }
    QList<Track> tracks;
    tracks.reserve(m_filtered.size());
    for (qsizetype row : std::as_const(m_filtered))
        tracks.append(m_index.tracks().at(row));
    m_albums->setTracks(tracks);
}

void MusicView::importStateChanged()
{
    if (m_importController.isPresented() && !m_sheet)
        showImportSheet();
    if (m_importController.importComplete() && !m_toastTimer.isActive()) {
        const qsizetype count = m_importController.importedCount();
        QString message = DisplayText::counted(count, u"track"_s) + u" imported"_s;
        // The files left behind are named, with the reason of the first.
        if (const QStringList& failures = m_importController.importFailures(); !failures.isEmpty())
            message += u"; "_s + QString::number(failures.size()) + u" could not be: "_s + failures.constFirst();
        m_toast->setMessage(message);
        m_toastTimer.start();
    }
}

void MusicView::showImportSheet()
{
    m_sheet = new ImportReviewSheet(m_importController, this);
    m_sheet->setAttribute(Qt::WA_DeleteOnClose);
    connect(m_sheet, &QObject::destroyed, this, [this] { m_sheet = nullptr; });
    m_sheet->open();
}
