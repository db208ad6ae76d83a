#pragma once

#include "playlists/SmartPlaylistEditorModel.h"

#include <QDialog>
#include <QItemSelection>

#include <optional>

class Library;
class PlaceholderView;
class PlaylistTracksModel;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QStackedWidget;
class QTreeView;
class LibraryFollower;

// Edits a copy of a smart playlist: its name, the three columns of wanted artists, genres and
// decades, and a live preview of what they match. It hands the edited value to its owner, who
// adds or updates it; nothing reaches the library from here.
class SmartPlaylistEditorSheet : public QDialog {
    Q_OBJECT

public:
    SmartPlaylistEditorSheet(Library& library, SmartPlaylist draft, QWidget* parent = nullptr);

    const SmartPlaylist& draft() const { return m_model.draft(); }

    QLineEdit* nameField() const { return m_name; }
    QLineEdit* artistSearchField() const { return m_artistSearch; }
    QLineEdit* genreSearchField() const { return m_genreSearch; }
    // One option per row; a selected row is a wanted value.
    QListWidget* artistList() const { return m_artists.list; }
    QListWidget* genreList() const { return m_genres.list; }
    QListWidget* decadeList() const { return m_decades.list; }
    // What a column shows instead of its list when the library has nothing for it; empty
    // while it shows the list.
    QString artistEmptyText() const { return emptyText(m_artists); }
    QString genreEmptyText() const { return emptyText(m_genres); }
    QString decadeEmptyText() const { return emptyText(m_decades); }
    // The count line, or "No Matching Tracks".
    QString previewText() const;
    PlaylistTracksModel* previewModel() const { return m_previewModel; }
    QPushButton* saveButton() const { return m_save; }

signals:
    // The draft on "Save", nothing on "Cancel".
    void completed(const std::optional<SmartPlaylist>& result);

private:
    struct Column {
        QListWidget* list = nullptr;
        QLabel* empty = nullptr;
        QStackedWidget* stack = nullptr;
    };

    // One option: its label, its value, and whether the draft wants it.
    struct Option {
        QString label;
        QVariant value;
        bool wanted = false;
    };

    QWidget* makeColumn(Column& column, const QString& title, QLineEdit* search, const QString& emptyText);
    void fillColumn(const Column& column, const QList<Option>& options, bool libraryHasAny);
    void fillArtists();
    void fillGenres();
    void fillDecades();
    static QString emptyText(const Column& column);
    // Applies the rows the user selected or deselected in one column to the draft.
    void toggled(const Column& column, const QItemSelection& selected, const QItemSelection& deselected);
    void updatePreview();
    void libraryChanged();

    Library& m_library;
    SmartPlaylistEditorModel m_model;
    QLineEdit* m_name;
    QLineEdit* m_artistSearch;
    QLineEdit* m_genreSearch;
    Column m_artists;
    Column m_genres;
    Column m_decades;
    QLabel* m_previewCount;
    PlaylistTracksModel* m_previewModel;
    QTreeView* m_previewList;
    PlaceholderView* m_previewEmpty;
    QStackedWidget* m_preview;
    QPushButton* m_save;
    LibraryFollower* m_follower;
};
