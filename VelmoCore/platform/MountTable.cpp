#include "MountTable.h"

#include <QFile>
#include <QHash>
#include <QSet>

using namespace Qt::StringLiterals;

namespace MountTable {

namespace {

// mountinfo writes blanks, tabs, newlines and backslashes in paths as three octal digits.
QString unescaped(const QByteArray& field)
{
    QByteArray bytes;
    bytes.reserve(field.size());
    for (qsizetype i = 0; i < field.size(); ++i) {
        const char c = field.at(i);
        if (c == '\\' && i + 3 < field.size()) {
            const QByteArray digits = field.mid(i + 1, 3);
            bool ok = false;
            const int value = digits.toInt(&ok, 8);
            if (ok && digits.size() == 3 && value < 256) {
                bytes.append(char(value));
                i += 3;
                continue;
            }
        }
        bytes.append(c);
    }
    return QFile::decodeName(bytes);
}

std::optional<Mount> parseLine(const QByteArray& line)
{
    const QList<QByteArray> fields = line.split(' ');
    // Six fixed fields, optional fields up to a lone "-", then type, source and options.
    const qsizetype separator = fields.indexOf("-", 6);
    if (fields.size() < 10 || separator < 6 || separator + 2 >= fields.size())
        return std::nullopt;
    const QList<QByteArray> device = fields.at(2).split(':');
    bool ok[4] = {};
    Mount mount;
    mount.mountID = fields.at(0).toInt(&ok[0]);
    mount.parentID = fields.at(1).toInt(&ok[1]);
    if (device.size() != 2)
        return std::nullopt;
    mount.deviceMajor = device.at(0).toUInt(&ok[2]);
    mount.deviceMinor = device.at(1).toUInt(&ok[3]);
    if (!(ok[0] && ok[1] && ok[2] && ok[3]))
        return std::nullopt;
    mount.root = unescaped(fields.at(3));
    mount.mountPoint = unescaped(fields.at(4));
    mount.fileSystemType = unescaped(fields.at(separator + 1));
    mount.source = unescaped(fields.at(separator + 2));
    return mount;
}

} // namespace

QList<Mount> parse(const QByteArray& text)
{
    QList<Mount> mounts;
    for (const QByteArray& line : text.split('\n')) {
        if (const std::optional<Mount> mount = parseLine(line.trimmed()))
            mounts.append(*mount);
    }
    return mounts;
}

QList<Mount> volumeCandidates(const QList<Mount>& mounts)
{
    QList<Mount> candidates;
    // The system disk mounted again elsewhere is still the system disk.
    QSet<QString> sources;
    for (const Mount& mount : mounts) {
        if (mount.mountPoint == u"/"_s)
            sources.insert(mount.source);
    }
    for (const Mount& mount : mounts) {
        // Pseudo file systems have no device node; a bind mount shows a folder of the file
        // system as its root; and the system's own disk is mounted at "/".
        if (!mount.source.startsWith(u"/dev/"_s) || mount.root != u"/"_s || mount.mountPoint == u"/"_s)
            continue;
        // A device mounted twice is one volume, at its first mount point.
        if (sources.contains(mount.source))
            continue;
        sources.insert(mount.source);
        candidates.append(mount);
    }
    return candidates;
}

Changes changes(const QList<Mount>& before, const QList<Mount>& after)
{
    const auto sourcesByPoint = [](const QList<Mount>& mounts) {
        QHash<QString, QString> sources;
        for (const Mount& mount : mounts)
            sources.insert(mount.mountPoint, mount.source);
        return sources;
    };
    const QHash<QString, QString> then = sourcesByPoint(before);
    const QHash<QString, QString> now = sourcesByPoint(after);
    Changes result;
    for (const Mount& mount : before) {
        if (now.value(mount.mountPoint) != mount.source)
            result.gone.append(mount.mountPoint);
    }
    for (const Mount& mount : after) {
        if (then.value(mount.mountPoint) != mount.source)
            result.came.append(mount);
    }
    return result;
}

std::optional<Mount> mountHolding(const QList<Mount>& mounts, const QString& path)
{
    if (!path.startsWith(u'/'))
        return std::nullopt;
    std::optional<Mount> best;
    for (const Mount& mount : mounts) {
        const QString& point = mount.mountPoint;
        const bool holds = point == u"/"_s || path == point
            || (path.startsWith(point) && path.at(point.size()) == u'/');
        // A later mount over the same point hides the earlier one.
        if (holds && (!best || point.size() >= best->mountPoint.size()))
            best = mount;
    }
    return best;
}

QList<Mount> read()
{
    QFile file(QString::fromLatin1(mountInfoPath));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return parse(file.readAll());
}

} // namespace MountTable
