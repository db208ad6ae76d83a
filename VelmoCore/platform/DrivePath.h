#pragma once

#include <QString>

// The device node of a drive named by the kernel (`sr0`); a path is taken as given.
inline QString drivePath(const QString& drive)
{
    return drive.startsWith(u'/') ? drive : QStringLiteral("/dev/") + drive;
}
