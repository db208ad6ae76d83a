#include "VerdictSymbol.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QPixmap>

using namespace Qt::StringLiterals;

namespace VerdictSymbols {

namespace {

const QColor confirmedColour(0x2e, 0x7d, 0x32);
const QColor warningColour(0xe0, 0x9b, 0x00);
const QColor failedColour(0xc6, 0x28, 0x28);

QColor neutralColour()
{
    QColor colour = QApplication::palette().color(QPalette::WindowText);
    colour.setAlphaF(0.6);
    return colour;
}

int rank(VerdictSymbol symbol)
{
    switch (symbol) {
    case VerdictSymbol::failed: return 0;
    case VerdictSymbol::warning: return 1;
    case VerdictSymbol::unconfirmed: return 2;
    case VerdictSymbol::waiting: return 3;
    case VerdictSymbol::confirmed: break;
    }
    return 4;
}

// A 32-pixel mark on a 32-unit canvas.
void draw(QPainter& painter, VerdictSymbol symbol)
{
    const QRectF disc(3, 3, 26, 26);
    const QPen white(Qt::white, 3.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    switch (symbol) {
    case VerdictSymbol::confirmed:
        painter.setPen(Qt::NoPen);
        painter.setBrush(confirmedColour);
        painter.drawEllipse(disc);
        painter.setPen(white);
        painter.drawPolyline(QPolygonF{{QPointF(10, 16.5), QPointF(14, 20.5), QPointF(22, 11.5)}});
        return;
    case VerdictSymbol::unconfirmed:
        painter.setPen(QPen(neutralColour(), 2.4));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(disc.adjusted(1, 1, -1, -1));
        painter.setPen(QPen(neutralColour(), 3, Qt::SolidLine, Qt::RoundCap));
        painter.drawPoint(QPointF(16, 10.5));
        painter.drawLine(QPointF(16, 15), QPointF(16, 22));
        return;
    case VerdictSymbol::warning: {
        QPainterPath triangle;
        triangle.moveTo(16, 3);
        triangle.lineTo(30, 28);
        triangle.lineTo(2, 28);
        triangle.closeSubpath();
        painter.setPen(QPen(warningColour, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(warningColour);
        painter.drawPath(triangle);
        painter.setPen(QPen(Qt::black, 3, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(QPointF(16, 11), QPointF(16, 19));
        painter.drawPoint(QPointF(16, 24));
        return;
    }
    case VerdictSymbol::waiting:
        painter.setPen(QPen(neutralColour(), 2.5));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(QRectF(5, 5, 22, 22));
        return;
    case VerdictSymbol::failed:
        painter.setPen(Qt::NoPen);
        painter.setBrush(failedColour);
        painter.drawEllipse(disc);
        painter.setPen(white);
        painter.drawLine(QPointF(16, 9), QPointF(16, 18));
        painter.drawPoint(QPointF(16, 23));
        return;
    }
}

} // namespace

VerdictSymbol forVerdict(const std::optional<AccurateRip::Verdict>& verdict)
{
    using Outcome = AccurateRip::Verdict::Outcome;
    if (!verdict)
        return VerdictSymbol::unconfirmed;
    switch (verdict->outcome) {
    case Outcome::accurate: return VerdictSymbol::confirmed;
    case Outcome::mismatch:
    case Outcome::damaged: return VerdictSymbol::warning;
    case Outcome::notInDatabase:
    case Outcome::unchecked: break;
    }
    return VerdictSymbol::unconfirmed;
}

VerdictSymbol forVerdict(const std::optional<CTDB::Verdict>& verdict)
{
    using Status = CTDB::Verdict::Status;
    if (!verdict)
        return VerdictSymbol::unconfirmed;
    switch (verdict->status) {
    case Status::accurate: return VerdictSymbol::confirmed;
    case Status::differs:
    case Status::damaged: return VerdictSymbol::warning;
    case Status::notInDatabase:
    case Status::unchecked: break;
    }
    return VerdictSymbol::unconfirmed;
}

VerdictSymbol forTrack(const std::optional<AccurateRip::Verdict>& accurateRip, const std::optional<CTDB::Verdict>& ctdb)
{
    const VerdictSymbol a = forVerdict(accurateRip);
    const VerdictSymbol b = forVerdict(ctdb);
    if (a == VerdictSymbol::warning || b == VerdictSymbol::warning)
        return VerdictSymbol::warning;
    if (a == VerdictSymbol::confirmed || b == VerdictSymbol::confirmed)
        return VerdictSymbol::confirmed;
    return VerdictSymbol::unconfirmed;
}

VerdictSymbol worse(VerdictSymbol a, VerdictSymbol b)
{
    return rank(b) < rank(a) ? b : a;
}

QString name(VerdictSymbol symbol)
{
    switch (symbol) {
    case VerdictSymbol::confirmed: return u"checkmark.circle.fill"_s;
    case VerdictSymbol::unconfirmed: return u"info.circle"_s;
    case VerdictSymbol::warning: return u"exclamationmark.triangle.fill"_s;
    case VerdictSymbol::waiting: return u"circle"_s;
    case VerdictSymbol::failed: break;
    }
    return u"exclamationmark.circle.fill"_s;
}

QIcon icon(VerdictSymbol symbol)
{
    QIcon result;
    for (const int side : {16, 32, 64}) {
        QPixmap pixmap(side, side);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(side / 32.0, side / 32.0);
        draw(painter, symbol);
        painter.end();
        result.addPixmap(pixmap);
    }
    return result;
}

QString words(VerdictSymbol symbol)
{
    switch (symbol) {
    case VerdictSymbol::confirmed: return u"Done"_s;
    case VerdictSymbol::unconfirmed: return u"Not verified"_s;
    case VerdictSymbol::warning: return u"Warning"_s;
    case VerdictSymbol::waiting: return u"Waiting"_s;
    case VerdictSymbol::failed: break;
    }
    return u"Failed"_s;
}

} // namespace VerdictSymbols
