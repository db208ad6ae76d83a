#pragma once

#include <QCoro/QCoroTask>
#include <QString>

#include <stdexcept>

class UDisks;

// Takes a device away safely: the file system that holds a profile's root is unmounted, then
// a USB drive is switched off and any other removable drive ejected.
namespace VolumeEjector {

class EjectError : public std::runtime_error {
public:
    enum class Kind {
        syncing,            // refused before asking the system
        notMounted,         // no mounted file system holds the path
        notRemovable,       // the path lies on a fixed disk, which is never ejected
        busy,               // a file on it is still open
        notPermitted,       // the system's policy refused
        serviceUnavailable, // no disk service on the system bus
        refused             // any other refusal, with the system's words
    };

    EjectError(Kind kind, const QString& message) : std::runtime_error(message.toStdString()), m_kind(kind), m_message(message) {}
    Kind kind() const { return m_kind; }
    QString message() const { return m_message; }

    static EjectError syncing(const QString& deviceName);

private:
    Kind m_kind;
    QString m_message;
};

// Blocking; throws EjectError. `deviceName` is only for the sentences. A drive that will not
// power off or eject after its file system is unmounted is no failure: it is safe to pull.
void eject(UDisks& udisks, const QString& rootPath, const QString& deviceName);

// The same through the system's disk service, off the main thread.
QCoro::Task<> ejectWithSystemService(QString rootPath, QString deviceName);

} // namespace VolumeEjector
