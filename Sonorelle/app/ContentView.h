#pragma once

#include "SidebarItem.h"

#include <QWidget>

#include <optional>

class Library;
class QSplitter;
class QStackedWidget;
class SidebarView;

// The main window's three columns: sidebar, content and detail. It owns the selections
// that connect the columns and decides what each column shows.
class ContentView : public QWidget {
    Q_OBJECT

public:
    explicit ContentView(Library& library, QWidget* parent = nullptr);

    const std::optional<SidebarItem>& sidebarSelection() const { return m_sidebarSelection; }
    void setSidebarSelection(const std::optional<SidebarItem>& item);

    SidebarView* sidebar() const { return m_sidebar; }
    // What the content and detail columns show now.
    QWidget* contentColumn() const;
    QWidget* detailColumn() const;

signals:
    // Once, when the window first shows the library: the moment the live services start.
    void appeared();

protected:
    void showEvent(QShowEvent* event) override;

private:
    void showContent(QWidget* widget);
    void showDetail(QWidget* widget);
    void updateColumns();

    Library& m_library;
    std::optional<SidebarItem> m_sidebarSelection;
    SidebarView* m_sidebar;
    QStackedWidget* m_content;
    QStackedWidget* m_detail;
    bool m_hasAppeared = false;
};
