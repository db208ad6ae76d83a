#pragma once

#include <QString>

#include <functional>
#include <optional>

// The file-system reads of a device diff, behind an interface so that tests can count them.
// Paths are plain absolute path strings. Used from two threads at once.
class FileTree {
public:
    enum class Kind { regularFile, folder, link, other };

    struct Attributes {
        Kind kind = Kind::other;
        std::optional<double> modified; // seconds since the Unix epoch, with fractions
    };

    struct Entry {
        QString path;
        Attributes attributes;
    };

    // Called for each entry; for a folder, its answer says whether to go into it.
    using Visitor = std::function<bool(const Entry&)>;

    virtual ~FileTree() = default;

    // Every entry below `root`, a folder before its contents, each folder's entries in byte
    // order of their names. Hidden names are passed over; links are reported as `link` and
    // never followed; folders that cannot be read, and names that are not valid UTF-8, are
    // passed over with what lies below them. False when the walk cannot start.
    virtual bool walk(const QString& root, const Visitor& visit) const = 0;

    // What lies at `path`, following links; none when nothing does.
    virtual std::optional<Attributes> attributes(const QString& path) const = 0;

    // The machine's own file system.
    static const FileTree& local();
};
