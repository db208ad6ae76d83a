#include "TrackChangeFollower.h"

#include "library/Library.h"

namespace {

constexpr auto followDelay = std::chrono::milliseconds(150);

} // namespace

TrackChangeFollower::TrackChangeFollower(Library& library, std::function<void()> refresh, QObject* parent)
    : QObject(parent)
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(followDelay);
    connect(&m_timer, &QTimer::timeout, this, std::move(refresh));
    connect(&library, &Library::tracksChanged, this, [this] {
        if (!m_timer.isActive())
            m_timer.start();
    });
}
