#include "MountVolumeSource.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMetaObject>

#include <cerrno>

#include <fcntl.h>
#include <libudev.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray readSysfs(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed() : QByteArray();
}

// udev writes unsafe bytes of a label as "\xHH".
QString decodedLabel(const char* encoded)
{
    const QByteArray text(encoded);
    QByteArray bytes;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) == '\\' && i + 3 < text.size() && text.at(i + 1) == 'x') {
            bool ok = false;
            const int value = text.mid(i + 2, 2).toInt(&ok, 16);
            if (ok) {
                bytes.append(char(value));
                i += 3;
                continue;
            }
        }
        bytes.append(text.at(i));
    }
    return QString::fromUtf8(bytes);
}

QByteArray readAll(int fd)
{
    QByteArray text;
    if (::lseek(fd, 0, SEEK_SET) < 0)
        return text;
    char buffer[8192];
    ssize_t count = 0;
    while ((count = ::read(fd, buffer, sizeof buffer)) > 0)
        text.append(buffer, count);
    return text;
}

} // namespace

MountVolumeSource::MountVolumeSource(QObject* parent) : VolumeSource(parent) {}

MountVolumeSource::~MountVolumeSource()
{
    stop();
}

MountVolumeSource::Volume MountVolumeSource::volumeFor(const MountTable::Mount& mount, const DeviceFacts& facts)
{
    Volume volume;
    volume.path = mount.mountPoint;
    volume.name = facts.label.isEmpty() ? QFileInfo(mount.mountPoint).fileName() : facts.label;
    volume.removable = facts.removableFlag || facts.bus == u"usb"_s;
    volume.fileSystemType = mount.fileSystemType;
    return volume;
}

MountVolumeSource::DeviceFacts MountVolumeSource::factsFor(const QString& source)
{
    DeviceFacts facts;
    // /dev/disk/by-label/... and /dev/mapper/... are links to the node itself.
    const QString node = QFileInfo(source).canonicalFilePath();
    const QString name = QFileInfo(node.isEmpty() ? source : node).fileName();
    const QString block = u"/sys/class/block/"_s + name;
    // A partition's removable flag is its disk's, one folder up.
    const QString disk = QFileInfo::exists(block + u"/partition"_s)
        ? QFileInfo(QFileInfo(block).canonicalFilePath()).absolutePath()
        : block;
    // Card readers built into a machine call SD cards fixed; the card itself says what it is.
    facts.removableFlag = readSysfs(disk + u"/removable"_s) == "1" || readSysfs(disk + u"/device/type"_s) == "SD";

    if (udev* context = udev_new()) {
        if (udev_device* device = udev_device_new_from_subsystem_sysname(context, "block", QFile::encodeName(name).constData())) {
            if (const char* bus = udev_device_get_property_value(device, "ID_BUS"))
                facts.bus = QString::fromUtf8(bus);
            if (const char* encoded = udev_device_get_property_value(device, "ID_FS_LABEL_ENC"))
                facts.label = decodedLabel(encoded);
            else if (const char* label = udev_device_get_property_value(device, "ID_FS_LABEL"))
                facts.label = QString::fromUtf8(label);
            udev_device_unref(device);
        }
        udev_unref(context);
    }
    return facts;
}

QList<MountVolumeSource::Volume> MountVolumeSource::mountedVolumes() const
{
    QList<Volume> volumes;
    for (const MountTable::Mount& mount : MountTable::volumeCandidates(MountTable::read()))
        volumes.append(volumeFor(mount, factsFor(mount.source)));
    return volumes;
}

void MountVolumeSource::start()
{
    if (m_watcher.joinable())
        return;
    const int tableFd = ::open(MountTable::mountInfoPath, O_RDONLY | O_CLOEXEC);
    if (tableFd < 0)
        return;
    m_wakeFd = ::eventfd(0, EFD_CLOEXEC);
    if (m_wakeFd < 0) {
        ::close(tableFd);
        return;
    }
    const QByteArray initial = readAll(tableFd);
    m_mounts = MountTable::volumeCandidates(MountTable::parse(initial));

    // The kernel marks the table's descriptor with POLLPRI at each mount and unmount. The
    // thread ends in stop, before this object does, so the posted calls find it alive.
    m_watcher = std::thread([this, tableFd, wakeFd = m_wakeFd] {
        pollfd fds[2] = {{tableFd, POLLPRI, 0}, {wakeFd, POLLIN, 0}};
        while (::poll(fds, 2, -1) >= 0 || errno == EINTR) {
            if (fds[1].revents)
                break;
            if (fds[0].revents & (POLLPRI | POLLERR)) {
                QMetaObject::invokeMethod(
                    this, [this, text = readAll(tableFd)] { tableChanged(text); }, Qt::QueuedConnection);
            }
        }
        ::close(tableFd);
    });
}

void MountVolumeSource::stop()
{
    if (!m_watcher.joinable())
        return;
    const quint64 one = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_wakeFd, &one, sizeof one);
    m_watcher.join();
    ::close(m_wakeFd);
    m_wakeFd = -1;
}

void MountVolumeSource::tableChanged(const QByteArray& text)
{
    const QList<MountTable::Mount> mounts = MountTable::volumeCandidates(MountTable::parse(text));
    const MountTable::Changes changes = MountTable::changes(m_mounts, mounts);
    m_mounts = mounts;
    for (const QString& path : changes.gone)
        emit disappeared(path);
    for (const MountTable::Mount& mount : changes.came)
        emit appeared(volumeFor(mount, factsFor(mount.source)));
}
