#include "PlaylistHeader.h"
#include "widgets/Icons.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

PlaylistHeader::PlaylistHeader(const QString& editToolTip, QWidget* parent)
    : QWidget(parent)
    , m_title(new QLabel(this))
    , m_summary(new QLabel(this))
    , m_error(new QLabel(this))
    , m_edit(new QToolButton(this))
    , m_export(new QPushButton(u"Export M3U8…"_s, this))
{
    QFont big = m_title->font();
    big.setPointSizeF(big.pointSizeF() * 1.5);
    big.setBold(true);
    m_title->setFont(big);
    m_title->setTextFormat(Qt::PlainText); // a name is never markup
    m_title->setWordWrap(true);
    m_title->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_summary->setEnabled(false);
    m_error->setTextFormat(Qt::PlainText);
    m_error->setWordWrap(true);
    m_error->setStyleSheet(u"color: #c0392b;"_s);
    m_error->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_error->hide();

    // No style has a pencil of its own: without one in the icon theme the button says what it does.
    if (QIcon::hasThemeIcon(u"document-edit"_s))
        m_edit->setIcon(Icons::symbol(u"pencil"_s));
    else
        m_edit->setText(editToolTip + u'…');
    m_edit->setToolTip(editToolTip);
    m_edit->setAccessibleName(editToolTip);
    m_export->setIcon(Icons::symbol(u"square.and.arrow.up"_s));

    auto* text = new QVBoxLayout;
    text->setSpacing(2);
    text->addWidget(m_title);
    text->addWidget(m_summary);
    auto* top = new QHBoxLayout;
    top->addLayout(text, 1);
    top->addWidget(m_edit, 0, Qt::AlignTop);
    top->addWidget(m_export, 0, Qt::AlignTop);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(top);
    layout->addWidget(m_error);
}

void PlaylistHeader::setTitle(const QString& title)
{
    m_title->setText(title);
}

void PlaylistHeader::setSummary(const QString& summary)
{
    m_summary->setText(summary);
}

void PlaylistHeader::setError(const QString& error)
{
    m_error->setText(error);
    m_error->setVisible(!error.isEmpty());
}

QString PlaylistHeader::title() const
{
    return m_title->text();
}

QString PlaylistHeader::summary() const
{
    return m_summary->text();
}

QString PlaylistHeader::error() const
{
    return m_error->text();
}
