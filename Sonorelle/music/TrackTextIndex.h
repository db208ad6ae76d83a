#pragma once

#include "library/Track.h"

#include <QCollatorSortKey>
#include <QList>
#include <QLocale>
#include <QUuid>

#include <optional>

// The text of every track prepared once, so that a keystroke in the search field or a click
// on a column header over 100,000 tracks does no per-track string work: folded fields
// for the search (SearchText), collation keys for sorting in the natural order of the user's language.
// Keys are made on the thread pool, for a field only once it is first sorted by, and a
// rebuild reuses what it made for tracks whose text has not changed.
class TrackTextIndex {
public:
    enum class Field { title, artist, album };

    TrackTextIndex();

    void update(const QList<Track>& tracks);
    const QList<Track>& tracks() const { return m_tracks; }

    // Positions in tracks(), in library order, of the tracks whose title, artist, album or
    // album artist contains the text, regardless of case and accents; all of them for an
    // empty text. The text is not trimmed.
    QList<qsizetype> filter(const QString& searchText) const;

    // Makes the collation keys of a field, before sorting by it.
    void prepareSort(Field field);
    // Compares two positions by a prepared field in the collation of the user's language.
    int compare(qsizetype a, qsizetype b, Field field) const;

private:
    struct Entry {
        QString title;
        QString artist;
        QString album;
        QString albumArtist;
        QString searchTitle;
        QString searchArtist;
        QString searchAlbum;
        QString searchAlbumArtist;
        std::optional<QCollatorSortKey> keys[3];
    };

    QLocale m_locale;
    QList<Track> m_tracks;
    QList<Entry> m_entries;
};
