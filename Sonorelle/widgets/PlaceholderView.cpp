#include "PlaceholderView.h"

#include "Icons.h"

#include <QIcon>
#include <QLabel>
#include <QVBoxLayout>

PlaceholderView::PlaceholderView(const QString& title, QWidget* parent)
    : PlaceholderView(QString(), title, QString(), parent)
{
}

PlaceholderView::PlaceholderView(const QString& iconName, const QString& title, const QString& message,
                                 QWidget* parent)
    : QWidget(parent)
    , m_title(new QLabel(title, this))
{
    auto* layout = new QVBoxLayout(this);
    layout->addStretch();
    if (!iconName.isEmpty()) {
        auto* icon = new QLabel(this);
        icon->setPixmap(Icons::symbol(iconName).pixmap(48, 48));
        icon->setAlignment(Qt::AlignCenter);
        layout->addWidget(icon);
    }
    m_title->setAlignment(Qt::AlignCenter);
    QFont font = m_title->font();
    font.setPointSizeF(font.pointSizeF() * (iconName.isEmpty() ? 1.1 : 1.3));
    m_title->setFont(font);
    m_title->setEnabled(!message.isEmpty() || !iconName.isEmpty());
    layout->addWidget(m_title);
    if (!iconName.isEmpty()) {
        m_message = new QLabel(message, this);
        m_message->setAlignment(Qt::AlignCenter);
        m_message->setEnabled(false);
        m_message->setWordWrap(true);
        layout->addWidget(m_message);
    }
    layout->addStretch();
}

QString PlaceholderView::title() const
{
    return m_title->text();
}

void PlaceholderView::setTitle(const QString& title)
{
    m_title->setText(title);
}

QString PlaceholderView::message() const
{
    return m_message ? m_message->text() : QString();
}

void PlaceholderView::setMessage(const QString& message)
{
    if (m_message)
        m_message->setText(message);
}
