#pragma once

#include "platform/DiscEventSource.h"

#include <QList>
#include <QObject>
#include <QString>

#include <memory>

// A drive holding an audio CD, or a disc image opened by the user. The monitor doesn't read
// the TOC, so `trackCount` is 0 as it fills it in.
struct DiscInfo {
    QString bsdName; // the kernel's name (`sr0`), or the absolute path of an image's CUE sheet
    qint64 trackCount = 0;

    QString id() const { return bsdName; }
    bool operator==(const DiscInfo&) const = default;
};

size_t qHash(const DiscInfo& disc, size_t seed = 0);

// The observed list of inserted discs. It lives on the main thread and changes only there.
class DiscMonitor : public QObject {
    Q_OBJECT

public:
    // Without a source, the system's own (udev).
    explicit DiscMonitor(std::unique_ptr<DiscEventSource> events = nullptr, QObject* parent = nullptr);
    ~DiscMonitor() override;

    const QList<DiscInfo>& insertedDiscs() const { return m_insertedDiscs; }
    bool isStarted() const { return m_started; }

    // Idempotent; when the system gives no notices, the monitor stays stopped and says nothing.
    void start();
    // The list keeps its entries.
    void stop();

    // An image stays listed, by its absolute path, until it is removed here: it is never ejected.
    void addDiscImage(const QString& sheetPath);
    void removeDisc(const QString& bsdName);

signals:
    void insertedDiscsChanged();

private:
    void handle(const DiscEventSource::Event& event);
    void addDisc(const QString& bsdName);

    std::unique_ptr<DiscEventSource> m_events;
    QList<DiscInfo> m_insertedDiscs;
    bool m_started = false;
};
