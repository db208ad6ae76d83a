#pragma once

#include <QString>

#include <optional>

// The file operations of a sync, each confined to the device's root: below it no symbolic link
// is followed, entered, written through or deleted through, and nothing outside it is touched.
// The root itself may be a link (a mount point reached through one). Each failure is the
// reason in words ("the file system is read-only", "“…/Music” is a symbolic link, which a
// sync never follows"), for callers to put into their own sentence.
namespace DeviceFiles {

// A name with one of the library's audio extensions, in any case: what a sync may have put on
// a device, and so all it ever removes there.
bool isAudioFileName(const QString& path);

// The folder and every missing one between the root and it.
std::optional<QString> makeFolders(const QString& root, const QString& folder);

// Nothing at `folder`, or a real folder reached without a link: a walk there stays on the
// device.
std::optional<QString> checkFolder(const QString& root, const QString& folder);

// Makes the folders of `path` and makes sure the file can be written at `path` itself:
// nothing there, or a regular file, never a link.
std::optional<QString> prepareWrite(const QString& root, const QString& path);

// Removes a regular file; a link or anything else is left where it is, with the reason.
// Nothing there is no failure.
std::optional<QString> remove(const QString& root, const QString& path);

// A copy through a hidden file beside the target, renamed into place when complete, so a
// failure leaves no file at `target`. With `keepDate` the copy gets the source's
// modification time, by which the next diff knows it fresh. Replaces a regular file at
// `target`, never a link.
std::optional<QString> copy(const QString& source, const QString& root, const QString& target, bool keepDate);

} // namespace DeviceFiles
