#include "SidebarView.h"

#include "disc/DiscTOC.h"
#include "podcasts/CircularProgress.h"
#include "widgets/Icons.h"

#include <QIcon>
#include <QLabel>
#include <QFileInfo>
#include <QListWidget>
#include <QMenu>
#include <QSignalBlocker>
#include <QHBoxLayout>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int kindRole = Qt::UserRole;
constexpr int bsdNameRole = Qt::UserRole + 1;

} // namespace

SidebarView::SidebarView(QWidget* parent)
    : QWidget(parent)
    , m_list(new QListWidget(this))
{
    auto* title = new QLabel(u"Sonorelle"_s, this);
    QFont font = title->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.2);
    title->setFont(font);
    title->setContentsMargins(8, 8, 8, 4);

    m_list->setFrameShape(QFrame::NoFrame);
    m_list->setIconSize(QSize(18, 18));
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(title);
    layout->addWidget(m_list, 1);

    using Kind = SidebarItem::Kind;
    addRow({Kind::music, {}}, u"Music"_s, u"music.note"_s);
    addRow({Kind::playlists, {}}, u"Playlists"_s, u"music.note.list"_s);
    addRow({Kind::podcasts, {}}, u"Podcasts"_s, u"mic"_s);
    addRow({Kind::devices, {}}, u"Devices"_s, u"externaldrive"_s);
    addRow({Kind::library, {}}, u"Maintenance"_s, u"wrench.and.screwdriver"_s);

    connect(m_list, &QListWidget::itemSelectionChanged, this, [this] { emit selectionChanged(selection()); });
    m_list->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_list, &QListWidget::customContextMenuRequested, this, &SidebarView::showContextMenu);
}

void SidebarView::showContextMenu(const QPoint& at)
{
    const QListWidgetItem* row = m_list->itemAt(at);
    if (!row)
        return;
    const SidebarItem item = itemOf(row);
    // A drive's disc leaves by its eject; an image stays until it is closed here.
    if (item.kind != SidebarItem::Kind::cdRip || !MusicBrainzDiscLookup::isDiscImage(item.bsdName))
        return;
    QMenu menu(this);
    menu.addAction(u"Close Disc Image"_s, this, [this, item] { emit closeDiscImageRequested(item.bsdName); });
    menu.exec(m_list->viewport()->mapToGlobal(at));
}

QListWidgetItem* SidebarView::rowOf(const SidebarItem& item) const
{
    for (int i = 0; i < m_list->count(); ++i) {
        if (itemOf(m_list->item(i)) == item)
            return m_list->item(i);
    }
    return nullptr;
}

void SidebarView::setProgress(const SidebarItem& item, std::optional<double> fraction)
{
    QListWidgetItem* row = rowOf(item);
    if (!row)
        return;
    auto* mark = m_list->itemWidget(row) ? m_list->itemWidget(row)->findChild<CircularProgress*>() : nullptr;
    if (!fraction) {
        if (mark)
            m_list->removeItemWidget(row);
        return;
    }
    if (!mark) {
        // Over the row, right-aligned; the row's own text and icon show through.
        auto* holder = new QWidget;
        auto* layout = new QHBoxLayout(holder);
        layout->setContentsMargins(0, 0, 6, 0);
        layout->addStretch(1);
        mark = new CircularProgress(holder);
        mark->setFixedSize(14, 14);
        layout->addWidget(mark);
        m_list->setItemWidget(row, holder);
    }
    mark->setValue(*fraction);
}

std::optional<double> SidebarView::progress(const SidebarItem& item) const
{
    QListWidgetItem* row = rowOf(item);
    const QWidget* holder = row ? m_list->itemWidget(row) : nullptr;
    const auto* mark = holder ? holder->findChild<CircularProgress*>() : nullptr;
    return mark ? std::optional(mark->value()) : std::nullopt;
}

void SidebarView::addRow(const SidebarItem& item, const QString& text, const QString& iconName)
{
    auto* row = new QListWidgetItem(Icons::symbol(iconName), text, m_list);
    row->setData(kindRole, int(item.kind));
    row->setData(bsdNameRole, item.bsdName);
}

void SidebarView::setDiscs(const QList<DiscInfo>& discs)
{
    const std::optional<SidebarItem> selected = selection();
    {
        const QSignalBlocker blocker(m_list);
        for (int i = m_list->count() - 1; i >= 0; --i) {
            if (itemOf(m_list->item(i)).kind == SidebarItem::Kind::cdRip)
                delete m_list->takeItem(i);
        }
        for (const DiscInfo& disc : discs) {
            addRow(SidebarItem::cdRip(disc.bsdName), u"CD Rip"_s, u"opticaldisc"_s);
            m_list->item(m_list->count() - 1)->setToolTip(QFileInfo(disc.bsdName).fileName());
        }
        setSelection(selected);
    }
    if (selection() != selected)
        emit selectionChanged(selection());
}

SidebarItem SidebarView::itemOf(const QListWidgetItem* row)
{
    return {SidebarItem::Kind(row->data(kindRole).toInt()), row->data(bsdNameRole).toString()};
}

std::optional<SidebarItem> SidebarView::selection() const
{
    const QList<QListWidgetItem*> selected = m_list->selectedItems();
    if (selected.isEmpty())
        return std::nullopt;
    return itemOf(selected.constFirst());
}

void SidebarView::setSelection(const std::optional<SidebarItem>& item)
{
    if (QListWidgetItem* row = item ? rowOf(*item) : nullptr)
        m_list->setCurrentItem(row);
    else
        m_list->clearSelection();
}

QStringList SidebarView::rowTexts() const
{
    QStringList texts;
    for (int i = 0; i < m_list->count(); ++i)
        texts.append(m_list->item(i)->text());
    return texts;
}
