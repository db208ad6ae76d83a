#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// A file replaced whole or not at all: the new bytes go to a hidden file beside the target,
// every write and the close are checked, the data reach the disk before the rename, and on
// any failure the temporary file goes and the old file stays as it was. A full disk, a quota
// or an I/O error therefore never leaves a short or empty file where a good one was.
//
// A target that exists and is not a regular file (a folder, a device node, a FIFO) is
// refused rather than replaced; a symbolic link is followed, so the link stays a link.
// Failures are the reason in words ("there is no space left on the device"), for callers
// to put after the name of what they were writing.
class AtomicFile {
public:
    enum class Existing { replace, keep };

    explicit AtomicFile(QString path, Existing existing = Existing::replace);
    ~AtomicFile(); // discards what was not committed
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    // Creates the temporary file, and with `makeFolder` the target's folder.
    std::optional<QString> open(bool makeFolder = true);
    // After a failed write every later one fails too, and commit reports the first failure.
    bool write(const char* data, qint64 size);
    bool write(const QByteArray& bytes) { return write(bytes.constData(), bytes.size()); }
    // Syncs, closes and renames into place. With Existing::keep an existing target is left
    // alone and the commit fails, so two writers never overwrite each other's file.
    std::optional<QString> commit();
    void discard();

    const QString& path() const { return m_path; }

    // The whole of `bytes` into `path`, creating the folder.
    static std::optional<QString> save(const QString& path, const QByteArray& bytes);
    // A copy of the file at `source`, streamed, into `path`; the folder must exist.
    static std::optional<QString> copy(const QString& source, const QString& path, Existing existing);

    // Removes the temporary files that writers of `path` killed before their commit left
    // beside it. Only for a target that no one else is writing at the same time.
    static void removeLeftovers(const QString& path);

    // Why a system call failed, in words: "there is no space left on the device", ...
    static QString describe(int error);

private:
    std::optional<QString> fail(const QString& what, int error);

    QString m_path;
    Existing m_existing;
    QString m_temporaryPath;
    int m_fd = -1;
    std::optional<QString> m_failure;
};
