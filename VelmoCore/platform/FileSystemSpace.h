#pragma once

#include <QString>

#include <optional>

// The room on the file system that holds a path, as statvfs gives it: what an unprivileged
// writer may still use, and the size of the whole.
struct FileSystemSpace {
    qint64 available = 0;
    qint64 total = 0;

    // Nothing when the file system cannot be asked, e.g. when the path does not exist.
    static std::optional<FileSystemSpace> of(const QString& path);
};
