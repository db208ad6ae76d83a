#include "LibraryFolder.h"

#include "platform/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace LibraryFolder {

namespace {

// A file made and removed at once is the only sure test: root passes every permission
// check, yet cannot write into /proc or onto a read-only mount.
int probeWriting(const QString& folder)
{
    const QString probe = folder + u"/.velmo-probe-"_s + QString::number(QRandomGenerator::global()->generate(), 16);
    const QByteArray name = QFile::encodeName(probe);
    const int fd = ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0)
        return errno;
    ::close(fd);
    ::unlink(name.constData());
    return 0;
}

} // namespace

FolderError::FolderError(Kind kind, const QString& sentence)
    : std::runtime_error(sentence.toStdString())
    , m_kind(kind)
    , m_message(sentence)
{
}

QString expand(const QString& typed)
{
    QString path = typed.trimmed();
    if (path == u"~" || path.startsWith(u"~/"))
        path = QDir::homePath() + path.mid(1);
    if (path.isEmpty())
        return path;
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

Choice check(const QString& typed)
{
    Choice choice{.path = expand(typed)};
    if (choice.path.isEmpty())
        throw FolderError(FolderError::Kind::emptyPath, u"The path is empty: give the folder that is to hold the music."_s);

    // Up from the chosen folder to the first thing that exists.
    QString existing = choice.path;
    struct stat status {};
    while (::stat(QFile::encodeName(existing).constData(), &status) != 0) {
        if (errno == ELOOP) {
            throw FolderError(FolderError::Kind::notAFolder,
                              u"“%1” is a symbolic link that leads back to itself (a loop), not a folder."_s.arg(existing));
        }
        choice.foldersToCreate.prepend(existing);
        existing = QFileInfo(existing).absolutePath();
    }
    if (!S_ISDIR(status.st_mode)) {
        if (choice.foldersToCreate.isEmpty())
            throw FolderError(FolderError::Kind::notAFolder, u"“%1” is a file, not a folder."_s.arg(existing));
        throw FolderError(FolderError::Kind::notAFolder,
                          u"“%1” cannot be made: “%2” is a file, not a folder."_s.arg(choice.path, existing));
    }
    if (const int error = probeWriting(existing)) {
        if (choice.foldersToCreate.isEmpty()) {
            throw FolderError(FolderError::Kind::notWritable,
                              u"“%1” cannot be written to: %2."_s.arg(existing, AtomicFile::describe(error)));
        }
        throw FolderError(FolderError::Kind::cannotCreate, u"“%1” cannot be made, because nothing can be written into "
                                                           "“%2”: %3."_s.arg(choice.path, existing,
                                                                             AtomicFile::describe(error)));
    }
    return choice;
}

void create(const Choice& choice)
{
    for (const QString& folder : choice.foldersToCreate) {
        if (::mkdir(QFile::encodeName(folder).constData(), 0777) != 0 && errno != EEXIST) {
            throw FolderError(FolderError::Kind::cannotCreate,
                              u"“%1” cannot be made: %2."_s.arg(folder, AtomicFile::describe(errno)));
        }
    }
}

} // namespace LibraryFolder
