#pragma once

#include "SmartPlaylist.h"
#include "library/Track.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// What the smart playlist editor sheet shows and allows, without its widgets: the draft,
// the three columns of options with their searches, the live preview and the save rule.
// The sheet hands the draft back on "Save"; its owner adds it or updates the known one.
class SmartPlaylistEditorModel {
public:
    // A new smart playlist: no name, no filters, a new id, both dates now. It cannot be
    // saved until it is named.
    static SmartPlaylist newDraft();

    SmartPlaylistEditorModel(SmartPlaylist draft, const QList<Track>& tracks);

    const SmartPlaylist& draft() const { return m_draft; }
    void setName(const QString& name) { m_draft.name = name; }

    // The library changed while the sheet was open.
    void setTracks(const QList<Track>& tracks);

    const QString& artistSearch() const { return m_artistSearch; }
    void setArtistSearch(const QString& search) { m_artistSearch = search; }
    const QString& genreSearch() const { return m_genreSearch; }
    void setGenreSearch(const QString& search) { m_genreSearch = search; }

    // The options that the searches let through. Values in the draft that no track has any
    // more are not offered, but stay in the draft.
    QStringList artistOptions() const;
    QStringList genreOptions() const;
    const QList<qint64>& decadeOptions() const { return m_decades; }

    // Whether the library offers anything at all; a column without shows its empty text.
    bool hasArtists() const { return !m_artists.isEmpty(); }
    bool hasGenres() const { return !m_genres.isEmpty(); }
    bool hasDecades() const { return !m_decades.isEmpty(); }

    void toggleArtist(const QString& artist);
    void toggleGenre(const QString& genre);
    void toggleDecade(qint64 decade);

    // The draft's matches, in library order.
    QList<Track> matches() const;
    // "12 tracks · 48:10", or nothing when no track matches.
    std::optional<QString> previewText() const;

    // "Save" stays disabled while the name, trimmed of white space, is empty.
    bool canSave() const { return canSave(m_draft); }
    static bool canSave(const SmartPlaylist& draft);

    // An option passes a search when it contains it, ignoring case; an empty search passes all.
    static bool matchesSearch(const QString& option, const QString& search);
    // "1990s".
    static QString decadeLabel(qint64 decade);

private:
    SmartPlaylist m_draft;
    QList<Track> m_tracks;
    QStringList m_artists;
    QStringList m_genres;
    QList<qint64> m_decades;
    QString m_artistSearch;
    QString m_genreSearch;
};
