#include "PlaylistsView.h"

#include "FindByID.h"
#include "LibraryFollower.h"
#include "PlaylistDetailView.h"
#include "SmartPlaylistDetailView.h"
#include "SmartPlaylistEditorSheet.h"
#include "devices/DeviceMenuItems.h"
#include "facade/Library.h"
#include "playlists/SmartRuleEngine.h"
#include "playlists/TrackListSummary.h"
#include "playlists/TrackLookup.h"
#include "widgets/Icons.h"
#include "widgets/ListDetailSplit.h"
#include "widgets/PlaceholderView.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIcon>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QScrollBar>
#include <QStackedWidget>
#include <QStyle>
#include <QStyledItemDelegate>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int kindRole = Qt::UserRole;
constexpr int idRole = Qt::UserRole + 1;
constexpr int countRole = Qt::UserRole + 2;

const QString playlistIcon = u"music.note.list"_s;
const QString smartPlaylistIcon = u"wand.and.sparkles"_s;

// A playlist's row: its name, and below it the count line in a quieter colour.
class PlaylistRowDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        const QString count = index.data(countRole).toString();
        if (count.isEmpty()) {
            QStyledItemDelegate::paint(painter, option, index);
            return;
        }
        QStyleOptionViewItem item = option;
        initStyleOption(&item, index);
        const QString name = item.text;
        item.text.clear();
        const QWidget* widget = item.widget;
        QStyle* style = widget ? widget->style() : QApplication::style();
        style->drawControl(QStyle::CE_ItemViewItem, &item, painter, widget);

        const QRect text = style->subElementRect(QStyle::SE_ItemViewItemText, &item, widget);
        const int lineHeight = item.fontMetrics.height();
        const QRect nameLine(text.left(), text.center().y() - lineHeight, text.width(), lineHeight);
        const QRect countLine(text.left(), text.center().y(), text.width(), lineHeight);
        const bool selected = item.state & QStyle::State_Selected;
        const QPalette::ColorGroup group = item.state & QStyle::State_Active ? QPalette::Active : QPalette::Inactive;
        painter->save();
        painter->setFont(item.font);
        painter->setPen(item.palette.color(group, selected ? QPalette::HighlightedText : QPalette::Text));
        painter->drawText(nameLine, Qt::AlignLeft | Qt::AlignVCenter,
                          item.fontMetrics.elidedText(name, Qt::ElideRight, nameLine.width()));
        painter->setPen(item.palette.color(group, selected ? QPalette::HighlightedText : QPalette::PlaceholderText));
        painter->drawText(countLine, Qt::AlignLeft | Qt::AlignVCenter, count);
        painter->restore();
    }

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        QSize size = QStyledItemDelegate::sizeHint(option, index);
        if (!index.data(countRole).toString().isEmpty())
            size.setHeight(std::max(size.height(), 2 * option.fontMetrics.height() + 8));
        return size;
    }
};

QTreeWidgetItem* addSection(QTreeWidget* list, const QString& title)
{
    auto* section = new QTreeWidgetItem(list, {title});
    section->setFlags(Qt::ItemIsEnabled);
    QFont font = list->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 0.9);
    section->setFont(0, font);
    section->setForeground(0, list->palette().color(QPalette::PlaceholderText));
    return section;
}

void addRow(QTreeWidgetItem* section, const QIcon& icon, const QString& name, qsizetype count,
            PlaylistSelection::Kind kind, const QUuid& id)
{
    auto* row = new QTreeWidgetItem(section, {name});
    row->setIcon(0, icon);
    row->setToolTip(0, name);
    row->setData(0, kindRole, int(kind));
    row->setData(0, idRole, id);
    row->setData(0, countRole, TrackListSummary::countText(count));
}

} // namespace

PlaylistsView::PlaylistsView(Library& library, TextPrompt prompt, SaveFilePicker savePicker, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_prompt(std::move(prompt))
    , m_savePicker(std::move(savePicker))
    , m_list(new QTreeWidget(this))
    , m_noPlaylists(new PlaceholderView(u"No playlists yet"_s, this))
    , m_listStack(new QStackedWidget(this))
    , m_detailStack(new QStackedWidget(this))
    , m_noSelection(new PlaceholderView(playlistIcon, u"No Playlist Selected"_s, u"Choose a playlist from the left."_s,
                                        this))
    , m_newPlaylist(new QAction(Icons::symbol(playlistIcon), u"New Playlist"_s, this))
    , m_newSmartPlaylist(new QAction(Icons::symbol(smartPlaylistIcon), u"New Smart Playlist"_s, this))
    , m_follower(new LibraryFollower(library, this, [this] { refresh(); }))
{
    m_list->setHeaderHidden(true);
    m_list->setRootIsDecorated(false);
    m_list->setItemsExpandable(false);
    m_list->setIndentation(0);
    m_list->setIconSize(QSize(20, 20));
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setContextMenuPolicy(Qt::CustomContextMenu);
    m_list->setItemDelegate(new PlaylistRowDelegate(m_list));
    m_list->setFrameShape(QFrame::NoFrame);

    auto* addMenu = new QMenu(this);
    addMenu->addAction(m_newPlaylist);
    addMenu->addAction(m_newSmartPlaylist);
    auto* add = new QToolButton(this);
    add->setIcon(Icons::symbol(u"plus"_s));
    add->setToolTip(u"New Playlist"_s);
    add->setAccessibleName(u"New Playlist"_s);
    add->setMenu(addMenu);
    add->setPopupMode(QToolButton::InstantPopup);
    auto* title = new QLabel(u"Playlists"_s, this);
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    auto* toolbar = new QHBoxLayout;
    toolbar->addWidget(title, 1);
    toolbar->addWidget(add);

    m_listStack->addWidget(m_list);
    m_listStack->addWidget(m_noPlaylists);
    auto* left = new QWidget(this);
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(6, 6, 0, 0);
    leftLayout->addLayout(toolbar);
    leftLayout->addWidget(m_listStack, 1);

    m_detailStack->addWidget(m_noSelection);
    placeListAndDetail(this, left, m_detailStack, 220);

    connect(m_newPlaylist, &QAction::triggered, this, &PlaylistsView::newPlaylist);
    connect(m_newSmartPlaylist, &QAction::triggered, this, &PlaylistsView::newSmartPlaylist);
    connect(&library, &Library::playlistsChanged, m_follower, &LibraryFollower::recordsChanged);
    connect(&library, &Library::smartPlaylistsChanged, m_follower, &LibraryFollower::recordsChanged);
    connect(m_list, &QTreeWidget::itemSelectionChanged, this, &PlaylistsView::listSelectionChanged);
    connect(m_list, &QWidget::customContextMenuRequested, this, [this](const QPoint& position) {
        const QTreeWidgetItem* item = m_list->itemAt(position);
        if (!item || !item->data(0, idRole).isValid())
            return;
        QMenu menu;
        fillRowMenu(menu, {PlaylistSelection::Kind(item->data(0, kindRole).toInt()), item->data(0, idRole).toUuid()});
        menu.exec(m_list->viewport()->mapToGlobal(position));
    });
    refresh();
}

void PlaylistsView::refresh()
{
    m_follower->settle();
    fillList();
    showDetail();
}

void PlaylistsView::fillList()
{
    const QList<Playlist>& playlists = m_library.playlists();
    const QList<SmartPlaylist>& smartPlaylists = m_library.smartPlaylists();
    m_listStack->setCurrentWidget(playlists.isEmpty() && smartPlaylists.isEmpty() ? m_noPlaylists
                                                                                   : static_cast<QWidget*>(m_list));

    // Rebuilding the rows is not the user choosing another one, nor scrolling.
    const QSignalBlocker blocker(m_list);
    const int scrolled = m_list->verticalScrollBar()->value();
    m_list->clear();
    const QIcon regularIcon = Icons::symbol(playlistIcon);
    QTreeWidgetItem* regular = addSection(m_list, u"Playlists"_s);
    const TrackLookup lookup(m_library.tracks());
    for (const Playlist& playlist : playlists) {
        const auto found = std::count_if(playlist.trackIDs.cbegin(), playlist.trackIDs.cend(),
                                         [&lookup](const QUuid& id) { return lookup.find(id) != nullptr; });
        addRow(regular, regularIcon, playlist.name, found, PlaylistSelection::Kind::regular, playlist.id);
    }
    if (!smartPlaylists.isEmpty()) {
        const QIcon smartIcon = Icons::symbol(smartPlaylistIcon);
        QTreeWidgetItem* smart = addSection(m_list, u"Smart Playlists"_s);
        for (const SmartPlaylist& smartPlaylist : smartPlaylists) {
            const qsizetype matches = SmartRuleEngine::resolve(smartPlaylist, m_library.tracks()).size();
            addRow(smart, smartIcon, smartPlaylist.name, matches, PlaylistSelection::Kind::smart, smartPlaylist.id);
        }
    }
    m_list->expandAll();
    if (m_selection) {
        if (QTreeWidgetItem* item = itemFor(*m_selection))
            item->setSelected(true);
    }
    m_list->verticalScrollBar()->setValue(scrolled);
}

QTreeWidgetItem* PlaylistsView::itemFor(const PlaylistSelection& selection) const
{
    for (int s = 0; s < m_list->topLevelItemCount(); ++s) {
        QTreeWidgetItem* section = m_list->topLevelItem(s);
        for (int r = 0; r < section->childCount(); ++r) {
            QTreeWidgetItem* row = section->child(r);
            if (row->data(0, idRole).toUuid() == selection.id
                && PlaylistSelection::Kind(row->data(0, kindRole).toInt()) == selection.kind)
                return row;
        }
    }
    return nullptr;
}

QStringList PlaylistsView::listTexts() const
{
    if (m_listStack->currentWidget() == m_noPlaylists)
        return {u"No playlists yet"_s};
    QStringList texts;
    for (int s = 0; s < m_list->topLevelItemCount(); ++s) {
        const QTreeWidgetItem* section = m_list->topLevelItem(s);
        texts.append(section->text(0));
        for (int r = 0; r < section->childCount(); ++r)
            texts.append(section->child(r)->text(0) + u'\t' + section->child(r)->data(0, countRole).toString());
    }
    return texts;
}

void PlaylistsView::listSelectionChanged()
{
    const QList<QTreeWidgetItem*> items = m_list->selectedItems();
    if (items.isEmpty() || !items.constFirst()->data(0, idRole).isValid()) {
        // A click on a section title or beside the rows chooses nothing; the chosen row stays lit.
        const QSignalBlocker blocker(m_list);
        if (QTreeWidgetItem* chosen = m_selection ? itemFor(*m_selection) : nullptr)
            chosen->setSelected(true);
        return;
    }
    const QTreeWidgetItem* item = items.constFirst();
    setSelection(PlaylistSelection{PlaylistSelection::Kind(item->data(0, kindRole).toInt()),
                                   item->data(0, idRole).toUuid()});
}

void PlaylistsView::setSelection(const std::optional<PlaylistSelection>& selection)
{
    m_selection = selection;
    {
        const QSignalBlocker blocker(m_list);
        m_list->clearSelection();
        if (QTreeWidgetItem* item = selection ? itemFor(*selection) : nullptr) {
            item->setSelected(true);
            m_list->scrollToItem(item);
        }
    }
    showDetail();
}

bool PlaylistsView::selectionExists() const
{
    if (!m_selection)
        return false;
    if (m_selection->kind == PlaylistSelection::Kind::regular)
        return findByID(m_library.playlists(), m_selection->id) != nullptr;
    return findByID(m_library.smartPlaylists(), m_selection->id) != nullptr;
}

void PlaylistsView::showDetail()
{
    const std::optional<PlaylistSelection> shown = selectionExists() ? m_selection : std::nullopt;
    if (shown == m_detailShows)
        return;
    if (m_detail) {
        m_detailStack->removeWidget(m_detail);
        m_detail->deleteLater();
        m_detail = nullptr;
    }
    m_detailShows = shown;
    // A new page starts with no track chosen.
    trackSelected(std::nullopt);
    if (!shown) {
        m_detailStack->setCurrentWidget(m_noSelection);
        return;
    }
    if (shown->kind == PlaylistSelection::Kind::regular)
        m_detail = new PlaylistDetailView(m_library, shown->id, m_prompt, m_savePicker);
    else
        m_detail = new SmartPlaylistDetailView(m_library, shown->id, m_savePicker);
    connect(m_detail, &PlaylistPage::selectedTrackChanged, this, &PlaylistsView::trackSelected);
    m_detailStack->addWidget(m_detail);
    m_detailStack->setCurrentWidget(m_detail);
}

QWidget* PlaylistsView::detail() const
{
    return m_detailStack->currentWidget();
}

void PlaylistsView::trackSelected(const std::optional<Track>& track)
{
    const bool changed = (track.has_value() != m_selectedTrack.has_value()) || (track && track->id != m_selectedTrack->id);
    m_selectedTrack = track;
    if (changed)
        emit selectedTrackChanged(track);
}

void PlaylistsView::clearSelectedTrack()
{
    const QSignalBlocker blocker(this);
    if (m_detail)
        m_detail->clearSelectedTrack();
    m_selectedTrack.reset();
}

void PlaylistsView::newPlaylist()
{
    const TextPromptRequest request{u"New Playlist"_s, u"Name"_s, u"Create"_s, QString()};
    const QPointer<PlaylistsView> self(this);
    const std::optional<QString> answer = m_prompt(this, request);
    if (!self || !answer)
        return;
    const QString name = answer->trimmed();
    if (name.isEmpty())
        return;
    const Playlist playlist = m_library.createPlaylist(name);
    setSelection(PlaylistSelection{PlaylistSelection::Kind::regular, playlist.id});
}

void PlaylistsView::newSmartPlaylist()
{
    if (m_sheet) {
        m_sheet->raise();
        return;
    }
    m_sheet = new SmartPlaylistEditorSheet(m_library, SmartPlaylistEditorModel::newDraft(), this);
    m_sheet->setAttribute(Qt::WA_DeleteOnClose);
    connect(m_sheet, &SmartPlaylistEditorSheet::completed, this, &PlaylistsView::smartPlaylistEdited);
    m_sheet->open();
}

void PlaylistsView::smartPlaylistEdited(const std::optional<SmartPlaylist>& edited)
{
    if (!edited)
        return;
    if (findByID(m_library.smartPlaylists(), edited->id)) {
        m_library.updateSmartPlaylist(*edited);
        return;
    }
    m_library.addSmartPlaylist(*edited);
    setSelection(PlaylistSelection{PlaylistSelection::Kind::smart, edited->id});
}

void PlaylistsView::fillRowMenu(QMenu& menu, const PlaylistSelection& row)
{
    DeviceMenuItems::addPlaylistEntries(menu, m_library, row.id, row.kind == PlaylistSelection::Kind::smart);
    menu.addAction(Icons::symbol(u"trash"_s), u"Delete"_s, this, [this, row] {
        if (row.kind == PlaylistSelection::Kind::regular)
            m_library.deletePlaylist(row.id);
        else
            m_library.deleteSmartPlaylist(row.id);
        if (m_selection == row)
            setSelection(std::nullopt);
    });
}

SmartPlaylistEditorSheet* PlaylistsView::editorSheet() const
{
    return m_sheet;
}
