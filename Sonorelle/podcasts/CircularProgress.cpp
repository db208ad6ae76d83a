#include "CircularProgress.h"

#include <QPainter>

#include <cmath>

CircularProgress::CircularProgress(QWidget* parent)
    : QWidget(parent)
{
    setFixedSize(sizeHint());
}

void CircularProgress::setValue(double value)
{
    const double clamped = std::isfinite(value) ? std::clamp(value, 0.0, 1.0) : 0.0;
    if (clamped == m_value)
        return;
    m_value = clamped;
    update();
}

void CircularProgress::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal pen = 2.5;
    const QRectF ring = QRectF(rect()).adjusted(pen, pen, -pen, -pen);
    QColor track = palette().color(QPalette::WindowText);
    track.setAlphaF(0.2);
    painter.setPen(QPen(track, pen));
    painter.drawEllipse(ring);
    painter.setPen(QPen(palette().color(QPalette::Highlight), pen, Qt::SolidLine, Qt::RoundCap));
    // Clockwise from twelve o'clock; Qt counts sixteenths of a degree, anticlockwise.
    painter.drawArc(ring, 90 * 16, -int(std::lround(m_value * 360 * 16)));
}
