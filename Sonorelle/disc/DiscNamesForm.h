#pragma once

#include "metadata/ReleaseMetadata.h"

#include <QWidget>

class QCheckBox;
class QLineEdit;
class QTreeWidget;

// The names of a disc without a release, as the user types them before ripping: album artist,
// album, year, genre, and each track's title, with each track's artist too once "Various
// artists" is on. Every change gives the whole release anew.
class DiscNamesForm : public QWidget {
    Q_OBJECT

public:
    explicit DiscNamesForm(const ReleaseMetadata& release, QWidget* parent = nullptr);

    // The release as the fields name it; an emptied name falls back to "Unknown Artist",
    // "Unknown Album" or "Track N".
    ReleaseMetadata release() const;

    QLineEdit* artistField() const { return m_artist; }
    QLineEdit* albumField() const { return m_album; }
    QLineEdit* yearField() const { return m_year; }
    QLineEdit* genreField() const { return m_genre; }
    QCheckBox* variousArtists() const { return m_various; }
    QTreeWidget* trackList() const { return m_tracks; }

    static constexpr int titleColumn = 1;
    static constexpr int artistColumn = 2;

signals:
    void edited(const ReleaseMetadata& release);

private:
    void showArtists(bool various);
    void followAlbumArtist(const QString& artist);

    ReleaseMetadata m_base;
    QString m_albumArtist; // as the field showed it last
    QLineEdit* m_artist;
    QLineEdit* m_album;
    QLineEdit* m_year;
    QLineEdit* m_genre;
    QCheckBox* m_various;
    QTreeWidget* m_tracks;
};
