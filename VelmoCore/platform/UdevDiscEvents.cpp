#include "UdevDiscEvents.h"

#include <QFileInfo>
#include <QSocketNotifier>

#include <libudev.h>

#include <cstring>

namespace {

bool holdsAudioCD(udev_device* device)
{
    const char* isCD = udev_device_get_property_value(device, "ID_CDROM_MEDIA_CD");
    const char* audioTracks = udev_device_get_property_value(device, "ID_CDROM_MEDIA_TRACK_COUNT_AUDIO");
    return isCD && std::strcmp(isCD, "1") == 0 && audioTracks && std::atoi(audioTracks) > 0;
}

QStringList discsIn(udev* context)
{
    QStringList names;
    udev_enumerate* enumeration = udev_enumerate_new(context);
    if (!enumeration)
        return names;
    udev_enumerate_add_match_subsystem(enumeration, "block");
    udev_enumerate_scan_devices(enumeration);
    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumeration))
    {
        udev_device* device = udev_device_new_from_syspath(context, udev_list_entry_get_name(entry));
        if (!device)
            continue;
        if (holdsAudioCD(device))
            names.append(QString::fromLocal8Bit(udev_device_get_sysname(device)));
        udev_device_unref(device);
    }
    udev_enumerate_unref(enumeration);
    return names;
}

} // namespace

UdevDiscEvents::UdevDiscEvents() = default;

UdevDiscEvents::~UdevDiscEvents()
{
    stop();
}

QStringList UdevDiscEvents::presentDiscs()
{
    udev* context = udev_new();
    if (!context)
        return {};
    const QStringList names = discsIn(context);
    udev_unref(context);
    return names;
}

QString UdevDiscEvents::driveModel(const QString& name)
{
    udev* context = udev_new();
    if (!context)
        return {};
    QStringList parts;
    const QByteArray sysName = QFileInfo(name).fileName().toLocal8Bit();
    if (udev_device* device = udev_device_new_from_subsystem_sysname(context, "block", sysName.constData())) {
        for (const char* property : {"ID_VENDOR", "ID_MODEL"}) {
            if (const char* value = udev_device_get_property_value(device, property))
                parts.append(QString::fromLocal8Bit(value).replace(u'_', u' ').trimmed());
        }
        udev_device_unref(device);
    }
    udev_unref(context);
    return parts.join(u' ');
}

bool UdevDiscEvents::start(EventHandler handler)
{
    stop();
    m_udev = udev_new();
    if (!m_udev)
        return false;
    m_monitor = udev_monitor_new_from_netlink(m_udev, "udev");
    if (!m_monitor || udev_monitor_filter_add_match_subsystem_devtype(m_monitor, "block", nullptr) < 0
        || udev_monitor_enable_receiving(m_monitor) < 0) {
        stop();
        return false;
    }
    m_handler = std::move(handler);
    // Listening before enumerating, so that a disc arriving in between isn't missed.
    m_notifier = std::make_unique<QSocketNotifier>(udev_monitor_get_fd(m_monitor), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] { receive(); });
    for (const QString& name : discsIn(m_udev))
        m_handler({Event::Kind::appeared, name});
    return true;
}

void UdevDiscEvents::stop()
{
    m_notifier.reset();
    if (m_monitor)
        udev_monitor_unref(m_monitor);
    if (m_udev)
        udev_unref(m_udev);
    m_monitor = nullptr;
    m_udev = nullptr;
    m_handler = nullptr;
}

void UdevDiscEvents::receive()
{
    udev_device* device = udev_monitor_receive_device(m_monitor);
    if (!device)
        return;
    const char* action = udev_device_get_action(device);
    const QString name = QString::fromLocal8Bit(udev_device_get_sysname(device));
    // A change without audio media is an ejected disc; removal is by name alone.
    const bool present = !(action && std::strcmp(action, "remove") == 0) && holdsAudioCD(device);
    udev_device_unref(device);
    m_handler({present ? Event::Kind::appeared : Event::Kind::disappeared, name});
}
