#include "FileTree.h"

#include <QByteArray>
#include <QFile>
#include <QList>

#include <algorithm>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

FileTree::Attributes attributesOf(const struct stat& info)
{
    FileTree::Kind kind = FileTree::Kind::other;
    if (S_ISREG(info.st_mode))
        kind = FileTree::Kind::regularFile;
    else if (S_ISDIR(info.st_mode))
        kind = FileTree::Kind::folder;
    else if (S_ISLNK(info.st_mode))
        kind = FileTree::Kind::link;
    return {kind, double(info.st_mtim.tv_sec) + double(info.st_mtim.tv_nsec) / 1e9};
}

// A name that is not UTF-8 would come back from QString as another name, naming another file.
std::optional<QString> decodedName(const QByteArray& name)
{
    QString decoded = QFile::decodeName(name);
    // Only a name with a replacement character can have lost bytes; the rest need no check.
    if (decoded.contains(QChar::ReplacementCharacter) && QFile::encodeName(decoded) != name)
        return std::nullopt;
    return decoded;
}

class LocalFileTree final : public FileTree {
public:
    bool walk(const QString& root, const Visitor& visit) const override
    {
        const int fd = ::open(QFile::encodeName(root).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0)
            return false;
        walkFolder(fd, root, visit);
        return true;
    }

    std::optional<Attributes> attributes(const QString& path) const override
    {
        struct stat info {};
        if (::stat(QFile::encodeName(path).constData(), &info) != 0)
            return std::nullopt;
        return attributesOf(info);
    }

private:
    // Takes over `fd`. Descriptors are held only down the current branch, so the depth of the
    // tree, not its width, bounds how many are open.
    static void walkFolder(int fd, const QString& path, const Visitor& visit)
    {
        DIR* folder = ::fdopendir(fd);
        if (!folder) {
            ::close(fd);
            return;
        }
        QList<QByteArray> names;
        // A device that goes away mid-walk ends the listing early: a shorter list.
        while (const dirent* entry = ::readdir(folder)) {
            if (entry->d_name[0] != '.')
                names.append(QByteArray(entry->d_name));
        }
        std::sort(names.begin(), names.end());

        const QString prefix = path.endsWith(u'/') ? path : path + u'/';
        for (const QByteArray& name : names) {
            const std::optional<QString> decoded = decodedName(name);
            if (!decoded)
                continue;
            struct stat info {};
            if (::fstatat(fd, name.constData(), &info, AT_SYMLINK_NOFOLLOW) != 0)
                continue;
            const Entry entry{prefix + *decoded, attributesOf(info)};
            if (!visit(entry) || entry.attributes.kind != Kind::folder)
                continue;
            const int child = ::openat(fd, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (child >= 0)
                walkFolder(child, entry.path, visit);
        }
        ::closedir(folder);
    }
};

} // namespace

const FileTree& FileTree::local()
{
    static const LocalFileTree tree;
    return tree;
}
