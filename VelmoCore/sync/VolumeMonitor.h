#pragma once

#include "platform/VolumeSource.h"

#include <QList>
#include <QObject>
#include <QUrl>

#include <memory>

// A removable volume that is mounted now.
struct MountedVolume {
    QString name;
    QUrl url; // the mount point

    bool operator==(const MountedVolume&) const = default;
};

size_t qHash(const MountedVolume& volume, size_t seed = 0);

// The removable volumes mounted now, in the order they were found. Feeds the volume picker
// and wakes the device screens; whether a profile is connected is told by its root path, not
// by this list. Lives on the main thread, like the source it is given.
class VolumeMonitor : public QObject {
    Q_OBJECT

public:
    // The list is right from the start, before `start`.
    explicit VolumeMonitor(std::unique_ptr<VolumeSource> source, QObject* parent = nullptr);
    // On the machine's own mount table.
    explicit VolumeMonitor(QObject* parent = nullptr);
    ~VolumeMonitor() override;

    const QList<MountedVolume>& volumes() const { return m_volumes; }

    // Follows volumes as they come and go. A second start does nothing.
    void start();
    void stop();

signals:
    void volumesChanged();

private:
    void volumeAppeared(const VolumeSource::Volume& volume);
    void volumeDisappeared(const QString& path);

    std::unique_ptr<VolumeSource> m_source;
    QList<MountedVolume> m_volumes;
    bool m_started = false;
};
