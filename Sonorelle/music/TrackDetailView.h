#pragma once

#include "TrackEditor.h"
#include "library/Track.h"
#include "widgets/ImagePicker.h"

#include <QCoro/QCoroTask>
#include <QWidget>

#include <optional>

class ArtworkView;
class ElidedLabel;
class Library;
class QFormLayout;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class QStackedWidget;
class QVBoxLayout;

// The detail pane of one track: its record, and an edit mode for the tags, the picture and
// the custom tags. An edit goes into the file first and into the library only if the file
// took it; a failure is shown here, with the edits kept.
class TrackDetailView : public QWidget {
    Q_OBJECT

public:
    TrackDetailView(Library& library, const Track& track, ImagePicker imagePicker = chooseImageWithDialog,
                    QWidget* parent = nullptr);

    const Track& savedSnapshot() const { return m_savedSnapshot; }
    bool isEditing() const { return m_isEditing; }
    bool isSaving() const { return m_isSaving; }
    const std::optional<QString>& saveError() const { return m_saveError; }

    void beginEditing();
    void cancelEditing();
    // Runs the save; what the "Save" button starts.
    QCoro::Task<> save();

    void chooseImage();
    void pasteImage();

signals:
    // After a successful save, with the record now in the library.
    void saved(const Track& track);

private:
    QWidget* makeReadPage();
    QWidget* makeEditPage();
    void showReadMode();
    void showPage(int index);
    void fillEditFields();
    void addTagRow(const TagEntry& entry);
    void collectEdits();
    void updateButtons();
    void setArtwork(const std::optional<QByteArray>& data);
    void setEditedArtwork(const QByteArray& data);
    QCoro::Task<> loadArtwork();

    Library& m_library;
    ImagePicker m_imagePicker;
    Track m_savedSnapshot;
    TrackEditor m_editor;
    bool m_isEditing = false;
    bool m_isSaving = false;
    std::optional<QString> m_saveError;
    std::optional<QByteArray> m_cachedArtworkData;

    ArtworkView* m_artwork;
    QLabel* m_artworkHint;
    QMenu* m_artworkMenu;
    QStackedWidget* m_pages;
    QLabel* m_title;
    QLabel* m_subtitle;
    QFormLayout* m_readFields;
    ElidedLabel* m_path;
    QLabel* m_info;
    QLineEdit* m_editTitle;
    QLineEdit* m_editArtist;
    QLineEdit* m_editAlbumArtist;
    QLineEdit* m_editAlbum;
    QLineEdit* m_editYear;
    QLineEdit* m_editGenre;
    QLineEdit* m_editTrackNumber;
    QLineEdit* m_editDiscNumber;
    QVBoxLayout* m_tagRows;
    QLabel* m_error;
    QPushButton* m_edit;
    QPushButton* m_cancel;
    QPushButton* m_save;
};
