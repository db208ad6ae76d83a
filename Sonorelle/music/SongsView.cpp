#include "SongsView.h"

#include "TrackMenus.h"
#include "devices/DeviceMenuItems.h"

#include <QHeaderView>
#include <QMenu>
#include <QTableView>
#include <QVBoxLayout>

SongsView::SongsView(Library& library, TextPrompt prompt, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_prompt(std::move(prompt))
    , m_model(new SongsTableModel(this))
    , m_table(new QTableView(this))
{
    m_table->setModel(m_model);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setShowGrid(false);
    // Tab goes on to the next control; the arrows move between rows.
    m_table->setTabKeyNavigation(false);
    m_table->setAlternatingRowColors(true);
    m_table->setWordWrap(false);
    m_table->verticalHeader()->setVisible(false);
    // Every row is one line: the view never measures rows, which keeps 100,000 of them cheap.
    m_table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_table->verticalHeader()->setDefaultSectionSize(m_table->fontMetrics().height() + 8);
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
    m_table->horizontalHeader()->setStretchLastSection(false);
    m_table->horizontalHeader()->setSectionResizeMode(SongsTableModel::title, QHeaderView::Stretch);
    m_table->setSortingEnabled(true);
    m_table->horizontalHeader()->setSortIndicator(SongsTableModel::title, Qt::AscendingOrder);
    // The title takes what the others leave.
    m_table->setColumnWidth(SongsTableModel::number, 44);
    m_table->setColumnWidth(SongsTableModel::artist, 140);
    m_table->setColumnWidth(SongsTableModel::album, 140);
    m_table->setColumnWidth(SongsTableModel::year, 50);
    m_table->setColumnWidth(SongsTableModel::duration, 68);
    m_table->setColumnWidth(SongsTableModel::format, 58);
    m_table->setColumnWidth(SongsTableModel::gain, 76);
    m_table->setColumnHidden(SongsTableModel::gain, true);
    m_table->horizontalHeader()->setMinimumSectionSize(40);
    m_table->setContextMenuPolicy(Qt::CustomContextMenu);
    // The header's menu shows and hides the columns that may go.
    m_table->horizontalHeader()->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_table->horizontalHeader(), &QHeaderView::customContextMenuRequested, this, [this](const QPoint& position) {
        QMenu menu;
        QAction* gain = menu.addAction(QStringLiteral("Gain"));
        gain->setCheckable(true);
        gain->setChecked(!m_table->isColumnHidden(SongsTableModel::gain));
        connect(gain, &QAction::toggled, this,
                [this](bool shown) { m_table->setColumnHidden(SongsTableModel::gain, !shown); });
        menu.exec(m_table->horizontalHeader()->mapToGlobal(position));
    });

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_table);

    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this, &SongsView::selectionDidChange);
    connect(m_model, &QAbstractItemModel::modelReset, this, &SongsView::selectionDidChange);
    connect(m_table, &QTableView::customContextMenuRequested, this, [this](const QPoint& position) {
        QMenu menu;
        fillContextMenu(menu);
        if (!menu.isEmpty())
            menu.exec(m_table->viewport()->mapToGlobal(position));
    });
}

void SongsView::setRows(TrackTextIndex* index, QList<qsizetype> rows)
{
    // The selection is kept by id across a refresh of the rows, and the detail column is
    // told only if the selected track really changed: a refresh must not close an edit.
    const QList<QUuid> selected = selectedTrackIDs();
    m_refreshing = true;
    m_model->setRows(index, std::move(rows));
    QItemSelection selection;
    for (const QUuid& id : selected) {
        const int row = m_model->rowOf(id);
        if (row >= 0)
            selection.select(m_model->index(row, 0), m_model->index(row, SongsTableModel::columnTotal - 1));
    }
    m_table->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    m_refreshing = false;
    selectionDidChange();
}

QList<QUuid> SongsView::selectedTrackIDs() const
{
    QList<int> rows;
    for (const QModelIndex& index : m_table->selectionModel()->selectedRows())
        rows.append(index.row());
    std::sort(rows.begin(), rows.end());
    QList<QUuid> ids;
    for (int row : rows)
        ids.append(m_model->trackAt(row).id);
    return ids;
}

void SongsView::fillContextMenu(QMenu& menu)
{
    const QList<QUuid> ids = selectedTrackIDs();
    if (ids.isEmpty())
        return;
    TrackMenus::addPlaylistSubmenu(menu, m_library, ids, m_prompt, this);
    DeviceMenuItems::addTo(menu, m_library, ids);
}

void SongsView::selectionDidChange()
{
    if (m_refreshing)
        return;
    const QModelIndexList rows = m_table->selectionModel()->selectedRows();
    std::optional<Track> first;
    int firstRow = std::numeric_limits<int>::max();
    for (const QModelIndex& index : rows) {
        if (index.row() < firstRow) {
            firstRow = index.row();
            first = m_model->trackAt(index.row());
        }
    }
    const std::optional<QUuid> id = first ? std::optional<QUuid>(first->id) : std::nullopt;
    if (id == m_selected)
        return;
    m_selected = id;
    emit selectedTrackChanged(first);
}
