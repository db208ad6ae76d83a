#include "VolumeMonitor.h"

#include "platform/MountVolumeSource.h"

#include <algorithm>

namespace {

// Only a removable volume with a name is a device the user can sync to.
bool counts(const VolumeSource::Volume& volume)
{
    return volume.removable && !volume.name.isEmpty();
}

MountedVolume mounted(const VolumeSource::Volume& volume)
{
    return {volume.name, QUrl::fromLocalFile(volume.path)};
}

} // namespace

size_t qHash(const MountedVolume& volume, size_t seed)
{
    return qHashMulti(seed, volume.name, volume.url);
}

VolumeMonitor::VolumeMonitor(std::unique_ptr<VolumeSource> source, QObject* parent)
    : QObject(parent)
    , m_source(std::move(source))
{
    for (const VolumeSource::Volume& volume : m_source->mountedVolumes()) {
        if (counts(volume))
            m_volumes.append(mounted(volume));
    }
    connect(m_source.get(), &VolumeSource::appeared, this, &VolumeMonitor::volumeAppeared);
    connect(m_source.get(), &VolumeSource::disappeared, this, &VolumeMonitor::volumeDisappeared);
}

VolumeMonitor::VolumeMonitor(QObject* parent)
    : VolumeMonitor(std::make_unique<MountVolumeSource>(), parent)
{
}

VolumeMonitor::~VolumeMonitor()
{
    stop();
}

void VolumeMonitor::start()
{
    if (m_started)
        return;
    m_started = true;
    m_source->start();
}

void VolumeMonitor::stop()
{
    if (!m_started)
        return;
    m_started = false;
    m_source->stop();
}

void VolumeMonitor::volumeAppeared(const VolumeSource::Volume& volume)
{
    if (!counts(volume))
        return;
    const MountedVolume entry = mounted(volume);
    const bool listed = std::any_of(m_volumes.cbegin(), m_volumes.cend(),
                                    [&entry](const MountedVolume& v) { return v.url == entry.url; });
    if (listed)
        return;
    m_volumes.append(entry);
    emit volumesChanged();
}

void VolumeMonitor::volumeDisappeared(const QString& path)
{
    const QUrl url = QUrl::fromLocalFile(path);
    if (m_volumes.removeIf([&url](const MountedVolume& v) { return v.url == url; }) > 0)
        emit volumesChanged();
}
