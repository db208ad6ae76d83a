#pragma once

#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <variant>

// The kernel's notices of changes in single folders (inotify on Linux), reduced to what
// FolderWatcher needs, so that the logic above it can be driven by a fake. Each watch covers
// one folder, not its subfolders.
class FileChangeNotifier {
public:
    struct Event {
        enum class Kind {
            Added,      // an entry was created in, or moved into, the folder
            Written,    // a file in the folder was closed after writing
            Removed,    // an entry was deleted from, or moved out of, the folder
            FolderGone, // the watched folder itself was deleted or moved
            WatchEnded, // the kernel dropped the watch, e.g. because its file system was unmounted
            Overflow,   // the kernel's queue overflowed and events were lost; `watch` is -1
        };

        Kind kind;
        int watch = -1;
        QString name; // the entry within the watched folder; empty for events about the folder itself
        bool isFolder = false;
    };

    enum class WatchFailure {
        LimitReached, // the per-user maximum of watches (fs.inotify.max_user_watches) is in use
        Unavailable,  // missing, not a folder, or not readable
    };
    using WatchResult = std::variant<int, WatchFailure>;

    enum class Symlinks { Follow, DoNotFollow };

    // Called on the thread that made the notifier, with the events read at one time, in order.
    using EventHandler = std::function<void(const QList<Event>&)>;

    virtual ~FileChangeNotifier() = default;

    // Adding a folder that is already watched returns its existing watch.
    virtual WatchResult addWatch(const QString& folder, Symlinks symlinks) = 0;
    virtual void removeWatch(int watch) = 0;
};

// Makes a notifier that reports to the handler; none when the system refuses one.
using FileChangeNotifierFactory =
    std::function<std::unique_ptr<FileChangeNotifier>(FileChangeNotifier::EventHandler handler)>;
