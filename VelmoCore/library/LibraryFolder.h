#pragma once

#include <QString>
#include <QStringList>

#include <stdexcept>

// Checking the music folder a user chooses, before it is kept for good: the first-run
// screen and `velmo library init` refuse the same paths with the same words.
namespace LibraryFolder {

class FolderError : public std::runtime_error {
public:
    enum class Kind { emptyPath, notAFolder, cannotCreate, notWritable };

    FolderError(Kind kind, const QString& sentence);

    Kind kind() const { return m_kind; }
    const QString& message() const { return m_message; }

private:
    Kind m_kind;
    QString m_message;
};

struct Choice {
    QString path;                // absolute and clean
    QStringList foldersToCreate; // outermost first; empty when the folder exists
};

// "~" and "~/..." stand for the home folder; a relative path is taken from the current folder.
QString expand(const QString& typed);

// Throws FolderError for an empty path, a path that is (or leads through) something other
// than a folder, and a folder that could not be made or written to. Creates nothing.
Choice check(const QString& typed);

// Makes the missing folders. Throws FolderError (cannotCreate).
void create(const Choice& choice);

} // namespace LibraryFolder
