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
    font.setPointSizeF(font.pointSizeF() * (message.isEmpty() ? 1.1 : 1.3));
    m_title->setFont(font);
    m_title->setEnabled(!message.isEmpty());
    layout->addWidget(m_title);
    if (!message.isEmpty()) {
        auto* detail = new QLabel(message, this);
        detail->setAlignment(Qt::AlignCenter);
        detail->setEnabled(false);
        detail->setWordWrap(true);
        layout->addWidget(detail);
    }
    layout->addStretch();
}

QString PlaceholderView::title() const
{
    return m_title->text();
}
