#pragma once

#include "library/Track.h"
#include "widgets/SaveFilePicker.h"

#include <QUrl>
#include <QWidget>

#include <functional>
#include <optional>

class Library;
class LibraryFollower;
class PlaceholderView;
class PlaylistHeader;
class PlaylistTracksTable;
class QStackedWidget;

// What the pages of both kinds of playlist share: the header, the rows or an empty state in
// their place, the selected track, and "Export M3U8…". Each page reads its playlist from the
// library again whenever it changes.
class PlaylistPage : public QWidget {
    Q_OBJECT

public:
    PlaylistHeader* header() const { return m_header; }
    PlaylistTracksTable* table() const { return m_table; }
    bool showsEmptyState() const;
    void clearSelectedTrack();

    // Reads the playlist and its tracks again now.
    virtual void refresh() = 0;
    // "Export M3U8…"; a failure is shown in the header.
    virtual void exportFile() = 0;

signals:
    void selectedTrackChanged(const std::optional<Track>& track);

protected:
    struct Texts {
        QString editToolTip;
        QString emptyIcon;
        QString emptyTitle;
        QString emptyMessage;
    };

    // The page calls refresh() at the end of its own constructor.
    PlaylistPage(Library& library, bool reorderable, const Texts& texts, SaveFilePicker savePicker,
                 QWidget* parent);

    Library& library() const { return m_library; }
    LibraryFollower* follower() const { return m_follower; }
    // Shows the name and the resolved tracks, or the empty state when there are none.
    void showTracks(const QString& name, const QList<Track>& tracks);
    // Asks where to save `name`'s file and writes it with `write`.
    void exportAs(const QString& name, const std::function<void(Library&, const QUrl&)>& write);

private:
    Library& m_library;
    SaveFilePicker m_savePicker;
    PlaylistHeader* m_header;
    PlaylistTracksTable* m_table;
    PlaceholderView* m_empty;
    QStackedWidget* m_body;
    LibraryFollower* m_follower;
};
