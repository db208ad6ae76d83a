#pragma once

#include "metadata/MetadataHTTPClient.h"

#include <QList>
#include <QObject>

// A clock for the HTTP client that tests drive, so that the rate limit and the pauses between
// attempts are checked exactly and at once instead of waited for.
class FakeClock : public QObject, public MetadataHTTPClient::Clock {
    Q_OBJECT

public:
    using Duration = MetadataHTTPClient::Duration;

    enum class Mode {
        passesAtOnce, // a sleep ends on the next turn of the event loop, the clock moved past it
        manual,       // a sleep lasts until advance() moves the clock past its end
    };

    explicit FakeClock(Mode mode = Mode::passesAtOnce);

    TimePoint now() const override { return m_now; }
    QCoro::Task<> sleep(Duration duration) override;

    void advance(Duration by);
    // Every sleep asked for, in order.
    const QList<Duration>& sleeps() const { return m_sleeps; }
    Duration elapsed() const { return std::chrono::duration_cast<Duration>(m_now - m_start); }

signals:
    void advanced();

private:
    Mode m_mode;
    TimePoint m_start;
    TimePoint m_now;
    QList<Duration> m_sleeps;
};
