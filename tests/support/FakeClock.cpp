#include "FakeClock.h"

#include <QCoro/QCoroSignal>
#include <QCoro/QCoroTimer>

FakeClock::FakeClock(Mode mode)
    : m_mode(mode)
    , m_start(std::chrono::hours(1000))
    , m_now(m_start)
{
}

QCoro::Task<> FakeClock::sleep(Duration duration)
{
    m_sleeps.append(duration);
    const TimePoint end = m_now + duration;
    if (m_mode == Mode::passesAtOnce) {
        // Others get their turn meanwhile, as during a real pause.
        co_await QCoro::sleepFor(Duration::zero());
        m_now = std::max(m_now, end);
        co_return;
    }
    while (m_now < end)
        co_await qCoro(this, &FakeClock::advanced);
}

void FakeClock::advance(Duration by)
{
    m_now += by;
    emit advanced();
}
