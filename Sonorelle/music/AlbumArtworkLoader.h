#pragma once

#include "AlbumGroup.h"

#include <QCache>
#include <QCoro/QCoroTask>
#include <QHash>
#include <QImage>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>

class Library;

// Album covers for the grid, decoded off the main thread and scaled to the tile, loaded
// only for tiles that are painted. Until a cover is ready the tile shows its placeholder.
// Decoded covers are kept for the most recently shown albums only.
class AlbumArtworkLoader : public QObject {
    Q_OBJECT

public:
    AlbumArtworkLoader(Library& library, int side, QObject* parent = nullptr);

    static QString keyOf(const AlbumGroup& group);

    // The cover when it is ready; otherwise a null image, and a load is started.
    QImage cover(const AlbumGroup& group);

    // Drops every decoded cover, after the library's pictures changed.
    void clear();

signals:
    void coverReady(const QString& key);

private:
    QCoro::Task<> load(AlbumGroup group, QString key);
    void startNext();

    QPointer<Library> m_library;
    int m_side;
    QCache<QString, QImage> m_covers;
    QSet<QString> m_known;  // keys whose cover is known to be absent or undecodable
    QSet<QString> m_loading;
    // Bumped by clear(), so that a load begun before it cannot bring an old cover back.
    quint64 m_generation = 0;
    QList<std::pair<QString, AlbumGroup>> m_queue;
    int m_running = 0;
};
