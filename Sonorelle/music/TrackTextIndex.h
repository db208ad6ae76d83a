#pragma once

#include "library/Track.h"

#include <QCollator>
#include <QCollatorSortKey>
#include <QHash>
#include <QList>
#include <QUuid>

// The text of every track prepared once, so that a keystroke in the search field or a click
// on a column header over 100,000 tracks does no per-track string work: lower-cased fields
// for the search, collation keys for sorting in the natural order of the user's language.
// A rebuild reuses what it made for tracks whose text has not changed.
class TrackTextIndex {
public:
    enum class Field { title, artist, album };

    TrackTextIndex();

    void update(const QList<Track>& tracks);
    const QList<Track>& tracks() const { return m_tracks; }

    // Positions in tracks(), in library order, of the tracks whose title, artist or album
    // contains the lower-cased text; all of them for an empty text. The text is not trimmed.
    QList<qsizetype> filter(const QString& searchText) const;

    // Compares two positions by one field in the collation of the user's language.
    int compare(qsizetype a, qsizetype b, Field field) const;

private:
    struct Entry {
        QString title;
        QString artist;
        QString album;
        QString searchTitle;
        QString searchArtist;
        QString searchAlbum;
        QCollatorSortKey titleKey;
        QCollatorSortKey artistKey;
        QCollatorSortKey albumKey;
    };

    Entry make(const Track& track) const;

    QCollator m_collator;
    QList<Track> m_tracks;
    QList<Entry> m_entries;
};
