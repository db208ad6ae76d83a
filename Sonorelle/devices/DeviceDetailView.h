#pragma once

#include "sync/DeviceProfile.h"

#include <QCoro/QCoroTask>
#include <QWidget>

#include <functional>

class DeviceSyncBody;
class DeviceSyncController;
class Library;
class QLabel;
class QMenu;
class QPushButton;
class QToolButton;
class QTreeWidget;
class VolumeMonitor;

// The detail column for one device: its header with the sync, edit and eject buttons, the
// controller's state for it, and the tracks assigned to it one by one. It looks at the device
// again when it appears, and whenever a volume comes or goes.
class DeviceDetailView : public QWidget {
    Q_OBJECT

public:
    // Unmounts and ejects the device at a root; throws VolumeEjector::EjectError.
    using Ejector = std::function<QCoro::Task<>(QString rootPath, QString deviceName)>;

    DeviceDetailView(Library& library, DeviceSyncController& controller, VolumeMonitor* volumes,
                     const DeviceProfile& profile, Ejector ejector, QWidget* parent = nullptr);

    const DeviceProfile& profile() const { return m_profile; }

    QString title() const;
    // "Connected" or "Not connected".
    QString status() const;
    QString caption() const;
    // "Connect device to compute changes." while nothing is at the root.
    QString connectHint() const;
    QPushButton* syncNowButton() const { return m_syncNow; }
    QPushButton* editButton() const { return m_edit; }
    QToolButton* ejectButton() const { return m_eject; }
    DeviceSyncBody* body() const { return m_body; }
    // Why the last eject did not happen; empty when it did or none was tried.
    QString ejectMessage() const;

    // "Individual Tracks": one row per assigned track as "title\tartist", or the one text
    // shown without any; empty for a profile that takes the whole library.
    QStringList individualTrackRows() const;
    // The menu of one of those rows: "Remove from Device".
    void fillTrackMenu(QMenu& menu, const QUuid& trackID);

    QCoro::Task<> eject();

signals:
    void editRequested(const DeviceProfile& profile);

private:
    // `profileChanged` when the view came up for a profile other than the controller's last.
    void reevaluate(bool profileChanged);
    void showHeader();
    void showBody();
    void fillIndividualTracks();
    void profilesChanged();

    Library& m_library;
    DeviceSyncController& m_controller;
    DeviceProfile m_profile;
    Ejector m_ejector;
    bool m_connected = false;
    QLabel* m_title;
    QLabel* m_status;
    QLabel* m_caption;
    QLabel* m_connectHint;
    QLabel* m_ejectMessage;
    QPushButton* m_syncNow;
    QPushButton* m_edit;
    QToolButton* m_eject;
    DeviceSyncBody* m_body;
    QWidget* m_tracksSection;
    QTreeWidget* m_tracks;
    QLabel* m_noTracks;
};
