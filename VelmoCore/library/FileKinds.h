#pragma once

#include <QString>

// What lies at a path, in the words a user reads when it is not what was expected.
namespace FileKinds {

enum class Kind { missing, loop, regularFile, folder, other };

// Follows symbolic links; a link that leads back into itself is a loop, not "missing".
Kind kindOf(const QString& path);

// "there is nothing at that path", "it is a symbolic link that leads back to itself (a
// loop)", "it is a folder, not a file", "it is not a regular file but a device, a pipe or a
// socket"; empty for a regular file.
QString describe(Kind kind);

// Why the tag reader could not read the file at `path`.
QString unreadableReason(const QString& path);

} // namespace FileKinds
