#include "DiscMonitor.h"

#include "platform/UdevDiscEvents.h"

#include <QFileInfo>
#include <QHashFunctions>
#include <QThread>

size_t qHash(const DiscInfo& disc, size_t seed)
{
    return qHashMulti(seed, disc.bsdName, disc.trackCount);
}

DiscMonitor::DiscMonitor(std::unique_ptr<DiscEventSource> events, QObject* parent)
    : QObject(parent)
    , m_events(events ? std::move(events) : std::make_unique<UdevDiscEvents>())
{
}

DiscMonitor::~DiscMonitor()
{
    stop();
}

void DiscMonitor::start()
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (m_started)
        return;
    m_started = m_events->start([this](const DiscEventSource::Event& event) { handle(event); });
}

void DiscMonitor::stop()
{
    if (m_started)
        m_events->stop();
    m_started = false;
}

void DiscMonitor::addDiscImage(const QString& sheetPath)
{
    addDisc(QFileInfo(sheetPath).absoluteFilePath());
}

void DiscMonitor::removeDisc(const QString& bsdName)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (m_insertedDiscs.removeIf([&bsdName](const DiscInfo& disc) { return disc.bsdName == bsdName; }) > 0)
        emit insertedDiscsChanged();
}

void DiscMonitor::handle(const DiscEventSource::Event& event)
{
    if (event.kind == DiscEventSource::Event::Kind::appeared)
        addDisc(event.name);
    else
        removeDisc(event.name);
}

void DiscMonitor::addDisc(const QString& bsdName)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const bool listed = std::any_of(m_insertedDiscs.cbegin(), m_insertedDiscs.cend(),
                                    [&bsdName](const DiscInfo& disc) { return disc.bsdName == bsdName; });
    if (listed)
        return;
    m_insertedDiscs.append({bsdName, 0});
    emit insertedDiscsChanged();
}
