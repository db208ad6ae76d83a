#pragma once

#include <QWidget>

#include <functional>

class QTabWidget;

// The preferences window: "General", "Formats" and "Sync". Each control writes its setting
// the moment it changes; there is no Apply.
class PreferencesView : public QWidget {
    Q_OBJECT

public:
    // "Check Now" in the General tab runs this; the window's owner knows how to check.
    explicit PreferencesView(std::function<void()> checkForUpdates, QWidget* parent = nullptr);

    QTabWidget* tabs() const { return m_tabs; }

private:
    QTabWidget* m_tabs;
};
