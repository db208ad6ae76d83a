#pragma once

#include <QString>
#include <QUuid>

#include <optional>

// The hidden ".velmo" file in a device's root, naming the profile that last synced to it, so
// that a device remounted under another path is still recognised.
struct VelmoDeviceFile {
    QUuid id;

    static constexpr const char* fileName = ".velmo";

    // Absent when the file is missing, unreadable or holds no object with an id; never an
    // error.
    static std::optional<VelmoDeviceFile> read(const QString& rootPath);
    // Atomic. Every failure (a read-only or vanished volume, a root that is no folder) is
    // swallowed and leaves nothing behind; no folder is ever made.
    static void write(const QUuid& id, const QString& rootPath);

    bool operator==(const VelmoDeviceFile&) const = default;
};
