#include "disc/DiscMonitor.h"

#include <QDir>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using Event = DiscEventSource::Event;

namespace {

struct FakeEvents {
    bool refuses = false;
    int starts = 0;
    int stops = 0;
    DiscEventSource::EventHandler handler;

    void send(Event::Kind kind, const QString& name) { handler({kind, name}); }
};

class FakeDiscEventSource : public DiscEventSource {
public:
    explicit FakeDiscEventSource(FakeEvents& events)
        : m_events(events)
    {
    }

    bool start(EventHandler handler) override
    {
        if (m_events.refuses)
            return false;
        ++m_events.starts;
        m_events.handler = std::move(handler);
        return true;
    }
    void stop() override { ++m_events.stops; }

private:
    FakeEvents& m_events;
};

QStringList names(const DiscMonitor& monitor)
{
    QStringList result;
    for (const DiscInfo& disc : monitor.insertedDiscs())
        result.append(disc.bsdName);
    return result;
}

} // namespace

TEST(DiscMonitor, ListsEachDiscOnceAndRemovesByName)
{
    FakeEvents events;
    DiscMonitor monitor(std::make_unique<FakeDiscEventSource>(events));
    QSignalSpy changes(&monitor, &DiscMonitor::insertedDiscsChanged);
    monitor.start();
    monitor.start();
    EXPECT_EQ(events.starts, 1);

    events.send(Event::Kind::appeared, u"sr0"_s);
    events.send(Event::Kind::appeared, u"sr1"_s);
    events.send(Event::Kind::appeared, u"sr0"_s);
    EXPECT_EQ(names(monitor), (QStringList{u"sr0"_s, u"sr1"_s}));
    EXPECT_EQ(monitor.insertedDiscs().constFirst(), (DiscInfo{u"sr0"_s, 0}));

    events.send(Event::Kind::disappeared, u"sda1"_s);
    EXPECT_EQ(changes.size(), 2) << "a disk that was never listed changes nothing";
    events.send(Event::Kind::disappeared, u"sr0"_s);
    EXPECT_EQ(names(monitor), QStringList{u"sr1"_s});

    monitor.stop();
    EXPECT_FALSE(monitor.isStarted());
    EXPECT_EQ(events.stops, 1);
    EXPECT_EQ(names(monitor), QStringList{u"sr1"_s}) << "entries stay after stop";
    monitor.start();
    EXPECT_EQ(events.starts, 2);
}

TEST(DiscMonitor, ASystemWithoutNoticesLeavesItStopped)
{
    FakeEvents events;
    events.refuses = true;
    DiscMonitor monitor(std::make_unique<FakeDiscEventSource>(events));
    monitor.start();
    EXPECT_FALSE(monitor.isStarted());
    monitor.stop();
    EXPECT_EQ(events.stops, 0);
}

TEST(DiscMonitor, ImagesAreListedByTheirAbsolutePath)
{
    FakeEvents events;
    DiscMonitor monitor(std::make_unique<FakeDiscEventSource>(events));
    monitor.addDiscImage(u"images/Disc.cue"_s);
    monitor.addDiscImage(QDir::current().filePath(u"images/Disc.cue"_s));
    EXPECT_EQ(names(monitor), QStringList{QDir::current().filePath(u"images/Disc.cue"_s)});
    monitor.removeDisc(names(monitor).constFirst());
    EXPECT_TRUE(monitor.insertedDiscs().isEmpty());
}
