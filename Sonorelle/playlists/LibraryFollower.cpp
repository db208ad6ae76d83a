#include "LibraryFollower.h"

#include "facade/Library.h"

#include <QEvent>
#include <QWidget>

namespace {

constexpr auto followDelay = std::chrono::milliseconds(150);

} // namespace

LibraryFollower::LibraryFollower(Library& library, QWidget* screen, std::function<void()> refresh)
    : QObject(screen)
    , m_screen(screen)
    , m_refresh(std::move(refresh))
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(followDelay);
    connect(&m_timer, &QTimer::timeout, this, &LibraryFollower::refreshIfShown);
    connect(&library, &Library::tracksChanged, this, [this] {
        if (!m_timer.isActive())
            m_timer.start();
    });
    screen->installEventFilter(this);
}

void LibraryFollower::recordsChanged()
{
    m_timer.stop();
    refreshIfShown();
}

void LibraryFollower::settle()
{
    m_timer.stop();
    m_owed = false;
}

void LibraryFollower::refreshIfShown()
{
    m_owed = !m_screen || !m_screen->isVisible();
    if (!m_owed)
        m_refresh();
}

bool LibraryFollower::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_screen && event->type() == QEvent::Show && m_owed) {
        m_owed = false;
        m_refresh();
    }
    return QObject::eventFilter(watched, event);
}
