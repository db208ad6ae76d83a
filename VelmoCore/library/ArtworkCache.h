#pragma once

#include "Track.h"

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QFuture>
#include <QHash>
#include <QObject>
#include <QUrl>
#include <QUuid>

#include <functional>
#include <optional>

// The covers already read from audio files, by track id, so that a grid of albums does not
// open each file again. An entry without data records that the file has no picture. A
// serial object on the main thread: at most one file read per track is in flight, and
// every caller asking meanwhile shares it. No eviction: entries leave only by invalidate.
class ArtworkCache : public QObject {
    Q_OBJECT

public:
    using Artwork = std::optional<QByteArray>;
    // Reads a file's picture; runs on the thread pool. Tests count the reads through it.
    using Reader = std::function<Artwork(const QUrl&)>;

    explicit ArtworkCache(QObject* parent = nullptr);
    explicit ArtworkCache(Reader reader, QObject* parent = nullptr);

    QCoro::Task<Artwork> artwork(Track track);
    // The answer already known, without reading anything.
    std::optional<Artwork> cached(const QUuid& id) const;

    // Stores fresh bytes from a file read, rip or fetch; none is stored too.
    void warm(const Artwork& data, const QUuid& id);
    // Forgets the entry and drops the result of a read in flight.
    void invalidate(const QUuid& id);

private:
    struct Load {
        QFuture<Artwork> future;
        quint64 serial = 0; // tells a read from a later one for the same track
    };

    Reader m_reader;
    QHash<QUuid, Artwork> m_cache;
    QHash<QUuid, Load> m_inFlight;
    quint64 m_nextSerial = 1;
};
