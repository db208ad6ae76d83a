#pragma once

#include "facade/Library.h"
#include "playlists/PlaylistTracksTable.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QApplication>
#include <QMimeData>
#include <QTest>

#include <memory>

// A library of its own for each test, with a few tracks added in order.
struct PlaylistFixture {
    TemporaryStores stores;
    Library library{QUrl::fromLocalFile(stores.folder() + QStringLiteral("/Music"))};

    QList<Track> addTracks(const QStringList& titles, double duration = 200.0)
    {
        QList<Track> added;
        for (const QString& title : titles) {
            added.append(makeTrack(title, QStringLiteral("Artist"), QStringLiteral("Album"), duration));
            library.add(added.constLast());
        }
        return added;
    }

    Playlist playlistHolding(const QString& name, const QList<QUuid>& ids)
    {
        const Playlist playlist = library.createPlaylist(name);
        for (const QUuid& id : ids)
            library.addTrack(id, playlist.id);
        return library.playlists().constLast();
    }

    QStringList titlesOf(const QUuid& playlistID) const
    {
        QStringList titles;
        for (const Playlist& playlist : library.playlists()) {
            for (const Track& track : playlist.id == playlistID ? library.resolve(playlist) : QList<Track>())
                titles.append(track.title);
        }
        return titles;
    }
};

inline QList<QUuid> idsOf(const QList<Track>& tracks)
{
    QList<QUuid> ids;
    for (const Track& track : tracks)
        ids.append(track.id);
    return ids;
}

// Drops a drag of `row` onto the table the way a mouse release does: the table's own drag
// data, released at `position` in its viewport.
inline void dropRow(PlaylistTracksTable* table, int row, const QPoint& position)
{
    const std::unique_ptr<QMimeData> data(table->model()->mimeData({table->model()->index(row, 0)}));
    QDragEnterEvent enter(position, Qt::MoveAction, data.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(table->viewport(), &enter);
    QDragMoveEvent move(position, Qt::MoveAction, data.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(table->viewport(), &move);
    QDropEvent drop(position, Qt::MoveAction, data.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(table->viewport(), &drop);
}

// The point just inside the top edge of a row: the gap before it.
inline QPoint gapBefore(PlaylistTracksTable* table, int row)
{
    const QRect rect = table->visualRect(table->model()->index(row, PlaylistTracksModel::title));
    return {rect.center().x(), rect.top() + 1};
}

// Clicks a row as the user does.
inline void clickRow(PlaylistTracksTable* table, int row)
{
    const QRect rect = table->visualRect(table->model()->index(row, PlaylistTracksModel::title));
    QTest::mouseClick(table->viewport(), Qt::LeftButton, Qt::NoModifier, rect.center());
}
