#pragma once

#include <QUuid>
#include <QWidget>

#include <optional>

class DeviceSyncController;
class Library;
class QListWidget;
class QMenu;
class QStackedWidget;
class QToolButton;
class VolumeMonitor;

// The content column for devices: one row per profile with whether it is syncing, connected
// or not, and the buttons to add a device and to look again.
class DeviceSyncView : public QWidget {
    Q_OBJECT

public:
    DeviceSyncView(Library& library, DeviceSyncController& controller, QWidget* parent = nullptr);

    // The volumes whose coming and going makes the rows look at their devices again.
    void setVolumeMonitor(VolumeMonitor* volumes);

    const std::optional<QUuid>& selectedDeviceID() const { return m_selectedDeviceID; }
    void setSelectedDeviceID(const std::optional<QUuid>& id);

    QListWidget* list() const { return m_list; }
    QToolButton* addButton() const { return m_add; }
    QToolButton* refreshButton() const { return m_refresh; }
    // The rows as "name\tstatus", or the one text the list shows instead of rows.
    QStringList listTexts() const;
    // The menu of one row: "Delete".
    void fillRowMenu(QMenu& menu, const QUuid& profileID);

signals:
    void selectedDeviceIDChanged(const std::optional<QUuid>& id);
    void addRequested();
    void refreshRequested();

private:
    void fillList();

    Library& m_library;
    DeviceSyncController& m_controller;
    std::optional<QUuid> m_selectedDeviceID;
    QListWidget* m_list;
    QWidget* m_empty;
    QStackedWidget* m_stack;
    QToolButton* m_add;
    QToolButton* m_refresh;
};
