#include "StatusToast.h"

#include <QEvent>

StatusToast::StatusToast(QWidget* parent)
    : QLabel(parent)
{
    setAlignment(Qt::AlignCenter);
    setMargin(8);
    setStyleSheet(QStringLiteral(
        "background: palette(tool-tip-base); color: palette(tool-tip-text); border-radius: 8px;"));
    setVisible(false);
    parent->installEventFilter(this);
}

void StatusToast::setMessage(const QString& text)
{
    setText(text);
    setVisible(!text.isEmpty());
    if (!text.isEmpty()) {
        adjustSize();
        place();
        raise();
    }
}

bool StatusToast::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == parent() && event->type() == QEvent::Resize)
        place();
    return QLabel::eventFilter(watched, event);
}

void StatusToast::place()
{
    const QWidget* host = parentWidget();
    move((host->width() - width()) / 2, host->height() - height() - 16);
}
