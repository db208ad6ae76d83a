#pragma once

#include <QObject>
#include <QTimer>

#include <functional>

class Library;

// Runs a refresh a moment after the library's tracks change, once per burst: an import adds
// its tracks one at a time, and a playlist screen need not resolve its playlists again for
// each of them.
class TrackChangeFollower : public QObject {
    Q_OBJECT

public:
    TrackChangeFollower(Library& library, std::function<void()> refresh, QObject* parent);

    bool isPending() const { return m_timer.isActive(); }
    // Forgets a pending refresh, because the owner has just refreshed anyway.
    void cancel() { m_timer.stop(); }

private:
    QTimer m_timer;
};
