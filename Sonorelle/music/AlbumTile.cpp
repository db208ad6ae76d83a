#include "AlbumTile.h"

#include "AlbumGridModel.h"
#include "widgets/Icons.h"

#include <QIcon>
#include <QPainter>
#include <QPainterPath>

AlbumTile::AlbumTile(int side, QObject* parent)
    : QStyledItemDelegate(parent)
    , m_side(side)
{
}

QSize AlbumTile::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const
{
    return {m_side, m_side + 2 * option.fontMetrics.height() + 10};
}

void AlbumTile::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QRect tile = option.rect;
    const QRect cover(tile.x() + (tile.width() - m_side) / 2, tile.y(), m_side, m_side);
    QPainterPath rounded;
    rounded.addRoundedRect(cover, 6, 6);

    const QImage image = index.data(AlbumGridModel::coverRole).value<QImage>();
    painter->save();
    painter->setClipPath(rounded);
    if (image.isNull()) {
        painter->fillRect(cover, option.palette.color(QPalette::Mid).lighter(150));
        const int iconSide = m_side * 2 / 5;
        Icons::symbol(QStringLiteral("music.note"))
            .paint(painter, QRect(cover.center() - QPoint(iconSide / 2, iconSide / 2), QSize(iconSide, iconSide)));
    } else {
        painter->fillRect(cover, option.palette.color(QPalette::Window).darker(110));
        painter->drawImage(cover.x() + (m_side - image.width()) / 2, cover.y() + (m_side - image.height()) / 2, image);
    }
    painter->restore();
    if (option.state & QStyle::State_Selected) {
        painter->setPen(QPen(option.palette.color(QPalette::Highlight), 3));
        painter->drawPath(rounded);
    }

    const int line = option.fontMetrics.height();
    QRect text(tile.x(), cover.bottom() + 6, tile.width(), line);
    QFont bold = option.font;
    bold.setBold(true);
    painter->setFont(bold);
    painter->setPen(option.palette.color(QPalette::Text));
    painter->drawText(text, Qt::AlignHCenter | Qt::AlignTop,
                      QFontMetrics(bold).elidedText(index.data(AlbumGridModel::albumRole).toString(), Qt::ElideRight,
                                                    tile.width()));
    painter->setFont(option.font);
    painter->setPen(option.palette.color(QPalette::PlaceholderText));
    text.translate(0, line + 2);
    painter->drawText(text, Qt::AlignHCenter | Qt::AlignTop,
                      option.fontMetrics.elidedText(index.data(AlbumGridModel::artistRole).toString(), Qt::ElideRight,
                                                    tile.width()));
    painter->restore();
}
