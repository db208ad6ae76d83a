#include "FilePaths.h"

namespace FilePaths {

QString lastPathComponent(const QString& path)
{
    qsizetype end = path.size();
    while (end > 1 && path.at(end - 1) == u'/')
        --end;
    const qsizetype slash = path.lastIndexOf(u'/', end - 1);
    return path.mid(slash + 1, end - slash - 1);
}

QString pathExtension(const QString& path)
{
    const QString name = lastPathComponent(path);
    const qsizetype dot = name.lastIndexOf(u'.');
    if (dot <= 0 || dot == name.size() - 1)
        return {};
    return name.mid(dot + 1);
}

QString baseName(const QString& path)
{
    const QString name = lastPathComponent(path);
    const QString extension = pathExtension(name);
    return extension.isEmpty() ? name : name.left(name.size() - extension.size() - 1);
}

} // namespace FilePaths
