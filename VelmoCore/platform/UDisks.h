#pragma once

#include <QString>
#include <QStringList>

#include <stdexcept>

// What ejecting a device needs of the disk service: the mounted file systems with their
// drives, a drive's nature, and the three calls. The system bus sits behind this, so that
// the rules above it run on a fake.
class UDisks {
public:
    struct FileSystem {
        QString blockObject; // the D-Bus object of the block device
        QString driveObject; // of the drive it lies on; empty for none (a loop device)
        QStringList mountPoints;
    };

    struct Drive {
        bool removable = false; // the drive or its media is meant to be taken away
        bool ejectable = false;
        bool canPowerOff = false;
        QString connectionBus; // "usb", "sdio", "ieee1394", or empty
    };

    // A call the service refused or could not take: its D-Bus error name and text.
    class CallError : public std::runtime_error {
    public:
        CallError(const QString& name, const QString& text)
            : std::runtime_error(QString(name + u": " + text).toStdString()), m_name(name), m_text(text)
        {
        }
        QString name() const { return m_name; }
        QString text() const { return m_text; }

    private:
        QString m_name;
        QString m_text;
    };

    virtual ~UDisks() = default;

    // Every call blocks until the service answers and throws CallError when it refuses.
    virtual QList<FileSystem> mountedFileSystems() = 0;
    virtual Drive drive(const QString& driveObject) = 0;
    virtual void unmount(const QString& blockObject) = 0;
    virtual void eject(const QString& driveObject) = 0;
    virtual void powerOff(const QString& driveObject) = 0;
};
