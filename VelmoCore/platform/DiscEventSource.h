#pragma once

#include <QString>

#include <functional>

// Notices of drives that gain or lose an audio CD, so that the disc list can be driven by a fake.
class DiscEventSource {
public:
    struct Event {
        enum class Kind { appeared, disappeared };
        Kind kind;
        QString name; // the kernel's name of the drive, `sr0`
    };
    using EventHandler = std::function<void(const Event&)>;

    virtual ~DiscEventSource() = default;

    // Reports the discs in the drives now, then each change, on the calling thread's event
    // loop. False when the system gives no notices; nothing is reported then.
    virtual bool start(EventHandler handler) = 0;
    virtual void stop() = 0;
};
