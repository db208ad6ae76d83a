#include "SidebarView.h"

#include "widgets/Icons.h"

#include <QIcon>
#include <QLabel>
#include <QFileInfo>
#include <QListWidget>
#include <QSignalBlocker>
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
    for (int i = 0; i < m_list->count(); ++i) {
        QListWidgetItem* row = m_list->item(i);
        if (item && itemOf(row) == *item) {
            m_list->setCurrentItem(row);
            return;
        }
    }
    m_list->clearSelection();
}

QStringList SidebarView::rowTexts() const
{
    QStringList texts;
    for (int i = 0; i < m_list->count(); ++i)
        texts.append(m_list->item(i)->text());
    return texts;
}
