#pragma once

#include <QString>

#include <optional>

// The file operations of a sync, each failure the reason in words ("the file system is
// read-only"), for callers to put into their own sentence.
namespace DeviceFiles {

// The folder and every missing one above it.
std::optional<QString> makeFolders(const QString& path);

// Removes a file; nothing there is no failure.
std::optional<QString> remove(const QString& path);

// A copy through a hidden file beside the target, renamed into place when complete, so a
// failure leaves no file at `target`. With `keepDate` the copy gets the source's
// modification time, by which the next diff knows it fresh. Replaces a file at `target`.
std::optional<QString> copy(const QString& source, const QString& target, bool keepDate);

} // namespace DeviceFiles
