#include "ArtworkView.h"

#include "Icons.h"

#include <QIcon>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

ArtworkView::ArtworkView(int maxSize, int cornerRadius, const QString& placeholderSymbol, QWidget* parent)
    : QWidget(parent)
    , m_maxSize(maxSize)
    , m_cornerRadius(cornerRadius)
    , m_placeholderSymbol(placeholderSymbol)
{
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
}

void ArtworkView::setImage(const QImage& image)
{
    m_image = image;
    update();
}

QSize ArtworkView::sizeHint() const
{
    return {m_maxSize, m_maxSize};
}

void ArtworkView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const int side = std::min({width(), height(), m_maxSize});
    const QRect square((width() - side) / 2, (height() - side) / 2, side, side);
    QPainterPath rounded;
    rounded.addRoundedRect(square, m_cornerRadius, m_cornerRadius);
    painter.setClipPath(rounded);
    if (!m_image.isNull()) {
        const QImage scaled = m_image.scaled(square.size(), Qt::KeepAspectRatio, Qt::SmoothTransformation);
        painter.fillRect(square, palette().color(QPalette::Window).darker(110));
        painter.drawImage(square.x() + (side - scaled.width()) / 2, square.y() + (side - scaled.height()) / 2, scaled);
        return;
    }
    painter.fillRect(square, palette().color(QPalette::Mid).lighter(150));
    const QIcon symbol = Icons::symbol(m_placeholderSymbol);
    const int iconSide = side * 2 / 5;
    symbol.paint(&painter, QRect(square.center() - QPoint(iconSide / 2, iconSide / 2), QSize(iconSide, iconSide)));
}

void ArtworkView::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint()))
        emit clicked();
    QWidget::mouseReleaseEvent(event);
}
