#pragma once

#include "UDisks.h"

// UDisks2 on the system bus. Calls may wait for the user to authorise them, so run them
// off the main thread.
class UDisksDBus final : public UDisks {
public:
    QList<FileSystem> mountedFileSystems() override;
    Drive drive(const QString& driveObject) override;
    void unmount(const QString& blockObject) override;
    void eject(const QString& driveObject) override;
    void powerOff(const QString& driveObject) override;
};
