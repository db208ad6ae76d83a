#pragma once

#include <QList>
#include <QObject>
#include <QString>

// Where mounted volumes come from: a listing now, and news of volumes that come and go. The
// operating system's side sits behind this, so that the rules above it run on a fake.
class VolumeSource : public QObject {
    Q_OBJECT

public:
    struct Volume {
        QString name;           // the file-system label, else the mount folder's name
        QString path;           // the mount point
        bool removable = false;
        QString fileSystemType; // as the kernel names it: "vfat", "exfat", "ext4", ...

        bool operator==(const Volume&) const = default;
    };

    using QObject::QObject;

    // Every mounted volume, in the order of the mount table.
    virtual QList<Volume> mountedVolumes() const = 0;
    // After start, appeared and disappeared arrive on the thread that made the source. A
    // second start does nothing.
    virtual void start() = 0;
    virtual void stop() = 0;

signals:
    void appeared(const VolumeSource::Volume& volume);
    void disappeared(const QString& path);
};
