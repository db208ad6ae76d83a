#include "ContentView.h"

#include "SidebarView.h"
#include "library/Library.h"
#include "widgets/PlaceholderView.h"

#include <QSplitter>
#include <QStackedWidget>
#include <QHBoxLayout>

using namespace Qt::StringLiterals;

ContentView::ContentView(Library& library, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_sidebar(new SidebarView(this))
    , m_content(new QStackedWidget(this))
    , m_detail(new QStackedWidget(this))
{
    auto* splitter = new QSplitter(Qt::Horizontal, this);
    splitter->addWidget(m_sidebar);
    splitter->addWidget(m_content);
    splitter->addWidget(m_detail);
    splitter->setStretchFactor(0, 0);
    splitter->setStretchFactor(1, 3);
    splitter->setStretchFactor(2, 2);
    splitter->setSizes({200, 620, 380});
    splitter->setChildrenCollapsible(false);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(splitter);

    connect(m_sidebar, &SidebarView::selectionChanged, this, &ContentView::setSidebarSelection);
    setSidebarSelection(SidebarItem{SidebarItem::Kind::music, {}});
}

void ContentView::setSidebarSelection(const std::optional<SidebarItem>& item)
{
    if (m_sidebarSelection == item && m_content->count() > 0)
        return;
    m_sidebarSelection = item;
    m_sidebar->setSelection(item);
    updateColumns();
}

void ContentView::updateColumns()
{
    showContent(new PlaceholderView(u"Select an item"_s));
    showDetail(new PlaceholderView(u"Select an item"_s));
}

namespace {

void replaceColumn(QStackedWidget* column, QWidget* widget)
{
    while (column->count() > 0) {
        QWidget* old = column->widget(0);
        column->removeWidget(old);
        old->deleteLater();
    }
    column->addWidget(widget);
}

} // namespace

void ContentView::showContent(QWidget* widget)
{
    replaceColumn(m_content, widget);
}

void ContentView::showDetail(QWidget* widget)
{
    replaceColumn(m_detail, widget);
}

QWidget* ContentView::contentColumn() const
{
    return m_content->currentWidget();
}

QWidget* ContentView::detailColumn() const
{
    return m_detail->currentWidget();
}

void ContentView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    if (!m_hasAppeared) {
        m_hasAppeared = true;
        emit appeared();
    }
}
