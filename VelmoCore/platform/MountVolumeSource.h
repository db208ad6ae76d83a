#pragma once

#include "MountTable.h"
#include "VolumeSource.h"

#include <optional>
#include <thread>

// Volumes from the kernel's mount table (/proc/self/mountinfo), whose changes are waited for
// with poll on a thread of their own; sysfs and udev tell whether a device is removable and
// what its label is.
class MountVolumeSource final : public VolumeSource {
    Q_OBJECT

public:
    // What the system knows of a mount's block device.
    struct DeviceFacts {
        bool removableFlag = false; // sysfs "removable" of the disk, or an SD card
        QString bus;                // udev ID_BUS
        QString label;              // udev ID_FS_LABEL, decoded
    };

    explicit MountVolumeSource(QObject* parent = nullptr);
    ~MountVolumeSource() override;

    QList<Volume> mountedVolumes() const override;
    void start() override;
    void stop() override;

    // A volume as the mount and its device's facts describe it. Pure.
    static Volume volumeFor(const MountTable::Mount& mount, const DeviceFacts& facts);
    // What sysfs and udev say of the device node `source`.
    static DeviceFacts factsFor(const QString& source);

private:
    void tableChanged(const QByteArray& text);

    QList<MountTable::Mount> m_mounts; // the candidates last seen
    std::thread m_watcher;
    int m_wakeFd = -1; // an eventfd that ends the watcher's poll
};
