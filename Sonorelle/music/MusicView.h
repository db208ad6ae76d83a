#pragma once

#include "AlbumGroup.h"
#include "ImportController.h"
#include "TrackTextIndex.h"
#include "widgets/FolderPicker.h"

#include <QTimer>
#include <QWidget>

#include <optional>

class AlbumsView;
class ImportReviewSheet;
class Library;
class PlaceholderView;
class QLineEdit;
class QStackedWidget;
class QToolButton;
class SongsView;
class StatusToast;

enum class MusicViewMode { songs, albums };

// The content column for the library: a search field, a switch between the table of songs
// and the grid of albums, and the folder import.
class MusicView : public QWidget {
    Q_OBJECT

public:
    MusicView(Library& library, FolderPicker folderPicker = chooseFolderWithDialog, QWidget* parent = nullptr);

    MusicViewMode viewMode() const { return m_viewMode; }
    void setViewMode(MusicViewMode mode);
    // Ctrl+F: the search field takes the focus with its text selected. Escape there clears
    // it and hands the focus to the list on screen.
    void focusSearch();
    void focusList();
    QString searchText() const;
    void setSearchText(const QString& text);

    QLineEdit* searchField() const { return m_search; }
    SongsView* songsView() const { return m_songs; }
    AlbumsView* albumsView() const { return m_albums; }
    ImportController& importController() { return m_importController; }
    StatusToast* toast() const { return m_toast; }
    // Brings the lists up to date with the library now, instead of a moment later.
    void refreshNow();

signals:
    void selectedTrackChanged(const std::optional<Track>& track);
    void selectedAlbumChanged(const std::optional<AlbumGroup>& album);

private:
    void refilter();
    void showImportSheet();
    void importStateChanged();

    Library& m_library;
    MusicViewMode m_viewMode = MusicViewMode::albums;
    TrackTextIndex m_index;
    QList<qsizetype> m_filtered;
    QTimer m_refresh;
    QTimer m_toastTimer;
    ImportController m_importController;
    ImportReviewSheet* m_sheet = nullptr;

    QToolButton* m_songsButton;
    QToolButton* m_albumsButton;
    QLineEdit* m_search;
    QStackedWidget* m_pages;
    SongsView* m_songs;
    AlbumsView* m_albums;
    StatusToast* m_toast;
    QStackedWidget* m_empty;
    PlaceholderView* m_noResults = nullptr;
};
