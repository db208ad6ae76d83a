#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>

#include <functional>

class Library;
class QWidget;

// Keeps a playlist screen in step with the library: at once when its own records change, a
// moment after a burst of track changes (an import adds its tracks one at a time), and not at
// all while the screen is hidden: the playlists screen lives as long as the window, and
// resolving every smart playlist for each imported track would slow the import down.
class LibraryFollower : public QObject {
    Q_OBJECT

public:
    LibraryFollower(Library& library, QWidget* screen, std::function<void()> refresh);

    // The screen's own records changed: refresh now, or when the screen is next shown.
    void recordsChanged();
    // The screen has just refreshed; nothing is owed.
    void settle();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void refreshIfShown();

    QPointer<QWidget> m_screen;
    std::function<void()> m_refresh;
    QTimer m_timer;
    bool m_owed = false;
};
