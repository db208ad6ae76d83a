#pragma once

#include "FileChangeNotifier.h"

#include <QSocketNotifier>

#include <memory>

// FileChangeNotifier on one inotify instance. Its descriptor is watched by a QSocketNotifier on
// the thread that opened it, so events arrive through that thread's event loop. Destruction
// closes the descriptor, which ends every watch.
class InotifyNotifier final : public FileChangeNotifier {
public:
    // None when the kernel refuses another instance (fs.inotify.max_user_instances).
    static std::unique_ptr<InotifyNotifier> open(EventHandler handler);

    ~InotifyNotifier() override;
    InotifyNotifier(const InotifyNotifier&) = delete;
    InotifyNotifier& operator=(const InotifyNotifier&) = delete;

    WatchResult addWatch(const QString& folder, Symlinks symlinks) override;
    void removeWatch(int watch) override;

private:
    InotifyNotifier(int descriptor, EventHandler handler);
    void readEvents();

    int m_descriptor;
    EventHandler m_handler;
    QSocketNotifier m_socketNotifier;
};
