#include "InotifyNotifier.h"

#include <QFile>

#include <cerrno>
#include <sys/inotify.h>
#include <unistd.h>

namespace {

constexpr quint32 watchedChanges =
    IN_CREATE | IN_MOVED_TO | IN_CLOSE_WRITE | IN_DELETE | IN_MOVED_FROM | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

FileChangeNotifier::Event::Kind kindOf(quint32 mask)
{
    using Kind = FileChangeNotifier::Event::Kind;
    if (mask & IN_Q_OVERFLOW)
        return Kind::Overflow;
    if (mask & (IN_UNMOUNT | IN_IGNORED))
        return Kind::WatchEnded;
    if (mask & (IN_DELETE_SELF | IN_MOVE_SELF))
        return Kind::FolderGone;
    if (mask & (IN_CREATE | IN_MOVED_TO))
        return Kind::Added;
    if (mask & IN_CLOSE_WRITE)
        return Kind::Written;
    return Kind::Removed;
}

} // namespace

std::unique_ptr<InotifyNotifier> InotifyNotifier::open(EventHandler handler)
{
    const int descriptor = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (descriptor < 0)
        return nullptr;
    return std::unique_ptr<InotifyNotifier>(new InotifyNotifier(descriptor, std::move(handler)));
}

InotifyNotifier::InotifyNotifier(int descriptor, EventHandler handler)
    : m_descriptor(descriptor)
    , m_handler(std::move(handler))
    , m_socketNotifier(descriptor, QSocketNotifier::Read)
{
    QObject::connect(&m_socketNotifier, &QSocketNotifier::activated, &m_socketNotifier, [this] { readEvents(); });
}

InotifyNotifier::~InotifyNotifier()
{
    m_socketNotifier.setEnabled(false);
    ::close(m_descriptor);
}

FileChangeNotifier::WatchResult InotifyNotifier::addWatch(const QString& folder, Symlinks symlinks)
{
    const quint32 mask = watchedChanges | (symlinks == Symlinks::DoNotFollow ? IN_DONT_FOLLOW : 0);
    const int watch = ::inotify_add_watch(m_descriptor, QFile::encodeName(folder).constData(), mask);
    if (watch >= 0)
        return watch;
    return errno == ENOSPC ? WatchFailure::LimitReached : WatchFailure::Unavailable;
}

void InotifyNotifier::removeWatch(int watch)
{
    // Fails harmlessly when the kernel has dropped the watch already.
    ::inotify_rm_watch(m_descriptor, watch);
}

void InotifyNotifier::readEvents()
{
    // One read per wake-up: the notifier is level-triggered, so whatever is left wakes it again
    // and a flood of events cannot hold the event loop.
    alignas(inotify_event) char buffer[64 * 1024];
    ssize_t length = -1;
    do {
        length = ::read(m_descriptor, buffer, sizeof buffer);
    } while (length < 0 && errno == EINTR);
    if (length <= 0)
        return;

    QList<Event> events;
    for (const char* position = buffer; position < buffer + length;) {
        const auto* event = reinterpret_cast<const inotify_event*>(position);
        events.append(Event{
            .kind = kindOf(event->mask),
            .watch = event->wd,
            .name = event->len > 0 ? QFile::decodeName(event->name) : QString(),
            .isFolder = (event->mask & IN_ISDIR) != 0,
        });
        position += sizeof(inotify_event) + event->len;
    }
    m_handler(events);
}
