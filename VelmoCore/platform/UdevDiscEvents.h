#pragma once

#include "DiscEventSource.h"

#include <QStringList>

#include <memory>

class QSocketNotifier;
struct udev;
struct udev_monitor;

// Audio CDs as udev sees them: a block device counts while its drive reports CD media with
// audio tracks. The monitor's socket is watched on the thread that starts it.
class UdevDiscEvents : public DiscEventSource {
public:
    UdevDiscEvents();
    ~UdevDiscEvents() override;

    bool start(EventHandler handler) override;
    void stop() override;

    // The drives holding an audio CD now, by kernel name.
    static QStringList presentDiscs();
    // udev's ID_VENDOR and ID_MODEL of a drive (`sr0`), joined by a space; empty when unknown.
    static QString driveModel(const QString& name);

private:
    void receive();

    EventHandler m_handler;
    udev* m_udev = nullptr;
    udev_monitor* m_monitor = nullptr;
    std::unique_ptr<QSocketNotifier> m_notifier;
};
