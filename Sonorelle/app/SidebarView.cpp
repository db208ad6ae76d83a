#include "SidebarView.h"

#include "disc/DiscTOC.h"
#include "widgets/Icons.h"

#include <QIcon>
#include <QLabel>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QListWidget>
#include <QMenu>
#include <QPainter>
#include <QSignalBlocker>
#include <QStyledItemDelegate>
#include <QToolButton>
#include <QVBoxLayout>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr int kindRole = Qt::UserRole;
constexpr int bsdNameRole = Qt::UserRole + 1;
constexpr int progressRole = Qt::UserRole + 2;
constexpr int markRole = Qt::UserRole + 3;

// Draws a row as usual, with a ring at its right end while the row carries a progress.
class ProgressRowDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::paint(painter, option, index);
        const QVariant progress = index.data(progressRole);
        const qreal side = std::min<qreal>(option.rect.height() - 8, 14);
        if (!progress.isValid()) {
            const QVariant mark = index.data(markRole);
            if (!mark.isValid())
                return;
            const QRect at(int(option.rect.right() - side - 8), int(option.rect.center().y() - side / 2), int(side),
                           int(side));
            VerdictSymbols::icon(VerdictSymbol(mark.toInt())).paint(painter, at);
            return;
        }
        const qreal pen = 2.0;
        const QRectF ring(option.rect.right() - side - 8 + pen, option.rect.center().y() - side / 2 + pen,
                          side - 2 * pen, side - 2 * pen);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        QColor track = option.palette.color(QPalette::Text);
        track.setAlphaF(0.2);
        painter->setPen(QPen(track, pen));
        painter->drawEllipse(ring);
        painter->setPen(QPen(option.palette.color(QPalette::Highlight), pen, Qt::SolidLine, Qt::RoundCap));
        // Clockwise from twelve o'clock; Qt counts sixteenths of a degree, anticlockwise.
        painter->drawArc(ring, 90 * 16, -int(std::lround(progress.toDouble() * 360 * 16)));
        painter->restore();
    }
};

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
    m_list->setItemDelegate(new ProgressRowDelegate(m_list));

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(title);
    layout->addWidget(m_list, 1);
    // Focus given to the sidebar (Ctrl+1…, a click on its title) lands on its rows.
    setFocusProxy(m_list);

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
    if (QListWidgetItem* row = rowOf(item))
        row->setData(progressRole, fraction ? QVariant(std::clamp(*fraction, 0.0, 1.0)) : QVariant());
}

std::optional<double> SidebarView::progress(const SidebarItem& item) const
{
    const QListWidgetItem* row = rowOf(item);
    if (!row || !row->data(progressRole).isValid())
        return std::nullopt;
    return row->data(progressRole).toDouble();
}

void SidebarView::setMark(const SidebarItem& item, std::optional<VerdictSymbol> symbol)
{
    QListWidgetItem* row = rowOf(item);
    if (!row)
        return;
    row->setData(markRole, symbol ? QVariant(int(*symbol)) : QVariant());
    row->setData(Qt::AccessibleTextRole,
                 symbol ? QVariant(row->text() + u", "_s + VerdictSymbols::words(*symbol).toLower()) : QVariant());
}

std::optional<VerdictSymbol> SidebarView::mark(const SidebarItem& item) const
{
    const QListWidgetItem* row = rowOf(item);
    if (!row || !row->data(markRole).isValid())
        return std::nullopt;
    return VerdictSymbol(row->data(markRole).toInt());
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
            addRow(SidebarItem::cdRip(disc.bsdName), m_discTitles.value(disc.bsdName, discRowText(disc.bsdName)),
                   u"opticaldisc"_s);
            QListWidgetItem* row = m_list->item(m_list->count() - 1);
            row->setToolTip(QFileInfo(disc.bsdName).fileName());
            addDiscButton(row, disc.bsdName);
        }
        setSelection(selected);
    }
    if (selection() != selected)
        emit selectionChanged(selection());
}

QString SidebarView::discRowText(const QString& bsdName)
{
    return u"Audio CD (%1)"_s.arg(QFileInfo(bsdName).fileName());
}

void SidebarView::setDiscTitle(const QString& bsdName, const QString& title)
{
    if (title.isEmpty())
        m_discTitles.remove(bsdName);
    else
        m_discTitles.insert(bsdName, title);
    const QString text = title.isEmpty() ? discRowText(bsdName) : title;
    // A rip reports many times a second; an unchanged name repaints nothing.
    if (QListWidgetItem* row = rowOf(SidebarItem::cdRip(bsdName)); row && row->text() != text)
        row->setText(text);
}

void SidebarView::addDiscButton(QListWidgetItem* row, const QString& bsdName)
{
    const bool image = MusicBrainzDiscLookup::isDiscImage(bsdName);
    auto* holder = new QWidget;
    auto* layout = new QHBoxLayout(holder);
    // Clear of the progress ring at the row's right end.
    layout->setContentsMargins(0, 0, 26, 0);
    layout->addStretch(1);
    auto* button = new QToolButton(holder);
    button->setAutoRaise(true);
    button->setIcon(Icons::symbol(u"eject"_s));
    const QString action = image ? u"Close Disc Image"_s : u"Eject"_s;
    button->setToolTip(action);
    button->setAccessibleName(action);
    button->setObjectName(bsdName);
    connect(button, &QToolButton::clicked, this, [this, bsdName, image] {
        if (image)
            emit closeDiscImageRequested(bsdName);
        else
            emit ejectRequested(bsdName);
    });
    layout->addWidget(button);
    m_list->setItemWidget(row, holder);
}

QToolButton* SidebarView::discButton(const QString& bsdName) const
{
    QListWidgetItem* row = rowOf(SidebarItem::cdRip(bsdName));
    QWidget* holder = row ? m_list->itemWidget(row) : nullptr;
    return holder ? holder->findChild<QToolButton*>(bsdName) : nullptr;
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
