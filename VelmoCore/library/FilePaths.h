#pragma once

#include <QString>

// Path-name arithmetic on plain strings, with the rules the layout depends on: a leading dot
// does not start an extension (".mp3" has none), and an extension keeps its own case.
namespace FilePaths {

QString lastPathComponent(const QString& path);
QString pathExtension(const QString& path);
// The last path component without its extension.
QString baseName(const QString& path);

} // namespace FilePaths
