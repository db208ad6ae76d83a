#pragma once

#include <QByteArray>
#include <QString>

#include <stdexcept>

// How every reader of a file the user names takes it in: only a regular file, checked before
// it is opened (a FIFO would block the open, /dev/zero never ends), and only up to the largest
// size its format can sensibly have, so that no input holds the program or its memory.
namespace BoundedFile {

class ReadError : public std::runtime_error {
public:
    enum class Kind { unreadable, notRegular, tooLarge };

    ReadError(Kind kind, const QString& path, const QString& detail = {});

    Kind kind() const { return m_kind; }
    const QString& path() const { return m_path; }
    // The sentence the user reads; it names the file.
    QString message() const;

private:
    Kind m_kind;
    QString m_path;
};

// Throws ReadError (notRegular, unreadable) unless `path` is a regular file or a link to one.
// Opens nothing.
void requireRegular(const QString& path);

// The whole file, when it is a regular file of at most `limit` bytes. Throws ReadError.
QByteArray read(const QString& path, qint64 limit);

} // namespace BoundedFile
