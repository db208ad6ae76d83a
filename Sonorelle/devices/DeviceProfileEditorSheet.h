#pragma once

#include "sync/DeviceProfile.h"
#include "sync/VolumeMonitor.h"
#include "widgets/FolderPicker.h"

#include <QDialog>

#include <optional>

class Library;
class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QStackedWidget;
class QVBoxLayout;

// Adds a device, picked among the mounted removable volumes that no profile has yet, or
// edits one: what goes onto it, in which format and layout, into which folders, and which
// podcasts. Only the confirming button reaches the library.
class DeviceProfileEditorSheet : public QDialog {
    Q_OBJECT

public:
    // No profile: a new device. `volumes` may be absent: then none can be picked.
    DeviceProfileEditorSheet(Library& library, VolumeMonitor* volumes, const std::optional<DeviceProfile>& profile,
                             FolderPicker pickFolder, QWidget* parent = nullptr);

    // The volumes offered: mounted, removable, and neither some profile's root nor naming an
    // existing profile in their identity file.
    static QList<MountedVolume> availableVolumes(const QList<MountedVolume>& mounted,
                                                 const QList<DeviceProfile>& profiles);

    QComboBox* volumePicker() const { return m_volume; }
    // "No removable volumes connected", "All connected devices are already added.", or empty.
    QString volumeNotice() const;
    QLineEdit* nameField() const { return m_name; }
    QLineEdit* pathField() const { return m_path; }
    QPushButton* choosePathButton() const { return m_choosePath; }
    // The chosen subfolder, or "No folder chosen".
    QString syncFolderText() const;
    QPushButton* chooseFolderButton() const { return m_chooseFolder; }
    QPushButton* resetFolderButton() const { return m_resetFolder; }
    QComboBox* scopePicker() const { return m_scope; }
    // The playlist and smart playlist boxes, by name; or "No playlists in library".
    QStringList playlistChoices() const;
    QCheckBox* playlistBox(const QString& name) const;
    QComboBox* formatPicker() const { return m_format; }
    QComboBox* bitratePicker() const { return m_bitrate; }
    QComboBox* coverSizePicker() const { return m_coverSize; }
    QCheckBox* coverFilesBox() const { return m_coverFiles; }
    QComboBox* structurePicker() const { return m_structure; }
    QLineEdit* musicFolderField() const { return m_musicFolder; }
    QLineEdit* podcastsFolderField() const { return m_podcastsFolder; }
    QLineEdit* playlistsFolderField() const { return m_playlistsFolder; }
    QCheckBox* syncPodcastsBox() const { return m_syncPodcasts; }
    QCheckBox* podcastBox(const QString& title) const;
    // "Save" or "Add Device"; disabled while a setting is one no sync may act on.
    QPushButton* confirmButton() const { return m_confirm; }
    // Why the settings as they stand cannot be saved, in words, or empty.
    QString problemText() const;

    // What "Add Device" or "Save" stores; the profile as stored afterwards.
    DeviceProfile save();

private:
    QGroupBox* makeNewDeviceSection();
    QGroupBox* makeExistingDeviceSection();
    QGroupBox* makeScopeSection();
    QGroupBox* makePodcastsSection();
    void fillVolumes();
    void volumeChosen();
    void chooseSubfolder();
    void choosePath();
    QString chosenRoot() const;
    std::optional<MountedVolume> chosenVolume() const;
    void updateConfirm();
    // The settings of the sheet written into `profile`.
    void applyTo(DeviceProfile& profile) const;

    Library& m_library;
    std::optional<DeviceProfile> m_profile;
    FolderPicker m_pickFolder;
    VolumeMonitor* m_volumes;
    QList<MountedVolume> m_offered;
    std::optional<QString> m_subfolder;

    QComboBox* m_volume = nullptr;
    QLabel* m_volumeNotice = nullptr;
    QLineEdit* m_name = nullptr;
    QLabel* m_syncFolder = nullptr;
    QPushButton* m_chooseFolder = nullptr;
    QPushButton* m_resetFolder = nullptr;
    QLineEdit* m_path = nullptr;
    QPushButton* m_choosePath = nullptr;
    QComboBox* m_scope = nullptr;
    QWidget* m_playlistChoices = nullptr;
    QList<std::pair<QUuid, QCheckBox*>> m_playlistBoxes;
    QList<std::pair<QUuid, QCheckBox*>> m_smartPlaylistBoxes;
    QLabel* m_noPlaylists = nullptr;
    QComboBox* m_format = nullptr;
    QComboBox* m_bitrate = nullptr;
    QComboBox* m_coverSize = nullptr;
    QCheckBox* m_coverFiles = nullptr;
    bool m_coverSizeChosen = false; // by the user; until then it follows the format
    QComboBox* m_structure = nullptr;
    QLineEdit* m_musicFolder = nullptr;
    QLineEdit* m_podcastsFolder = nullptr;
    QLineEdit* m_playlistsFolder = nullptr;
    QCheckBox* m_syncPodcasts = nullptr;
    QWidget* m_podcastChoices = nullptr;
    QList<std::pair<QUuid, QCheckBox*>> m_podcastBoxes;
    QLabel* m_problem = nullptr;
    QPushButton* m_confirm = nullptr;
};
