#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// The kernel's table of mounts, as /proc/self/mountinfo gives it.
namespace MountTable {

struct Mount {
    int mountID = 0;
    int parentID = 0;
    unsigned deviceMajor = 0;
    unsigned deviceMinor = 0;
    QString root;        // the folder of the file system that is mounted; "/" unless a bind mount
    QString mountPoint;  // unescaped: "\040" is a blank again
    QString fileSystemType;
    QString source;      // "/dev/sdb1", or a word such as "proc" for pseudo file systems

    bool operator==(const Mount&) const = default;
};

// Every well-formed line, in order; a line that is not is passed over. Pure.
QList<Mount> parse(const QByteArray& text);

// The mounts that could be a user's volume: a block device of its own, mounted whole
// (not a bind mount of a folder), not the root file system, each device once. Pure.
QList<Mount> volumeCandidates(const QList<Mount>& mounts);

// What changed between two lists of candidates: the mount points gone, and the mounts that
// came, a point that now holds another device counting as both. Pure.
struct Changes {
    QStringList gone;
    QList<Mount> came;
};
Changes changes(const QList<Mount>& before, const QList<Mount>& after);

// The mount that holds `path`: the longest mount point that is the path or one of its
// folders. None for a relative path or an empty table.
std::optional<Mount> mountHolding(const QList<Mount>& mounts, const QString& path);

// Reads the table of this process; empty when it cannot be read.
QList<Mount> read();
inline constexpr const char* mountInfoPath = "/proc/self/mountinfo";

} // namespace MountTable
