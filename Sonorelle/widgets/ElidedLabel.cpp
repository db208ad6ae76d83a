#include "ElidedLabel.h"

ElidedLabel::ElidedLabel(Qt::TextElideMode mode, QWidget* parent)
    : QLabel(parent)
    , m_mode(mode)
{
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
}

void ElidedLabel::setFullText(const QString& text)
{
    m_fullText = text;
    setToolTip(text);
    elide();
}

QSize ElidedLabel::minimumSizeHint() const
{
    return {0, QLabel::minimumSizeHint().height()};
}

void ElidedLabel::resizeEvent(QResizeEvent* event)
{
    QLabel::resizeEvent(event);
    elide();
}

void ElidedLabel::elide()
{
    setText(fontMetrics().elidedText(m_fullText, m_mode, qMax(width(), 40)));
}
