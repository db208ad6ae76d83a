#pragma once

#include <QString>
#include <QTemporaryDir>

// A tmpfs of a few KiB, mounted for the life of the object, to see what a full disk does to
// a write. Mounting needs root, as CI has; elsewhere mounted() is false and the test skips.
class SmallFileSystem {
public:
    explicit SmallFileSystem(qint64 bytes = 64 * 1024);
    ~SmallFileSystem();
    SmallFileSystem(const SmallFileSystem&) = delete;
    SmallFileSystem& operator=(const SmallFileSystem&) = delete;

    bool mounted() const { return m_mounted; }
    QString path() const { return m_folder.path(); }
    QString filePath(const QString& name) const { return m_folder.filePath(name); }

    // Takes up every free block, so that the next write that needs one fails with ENOSPC.
    void fill();

private:
    QTemporaryDir m_folder;
    bool m_mounted = false;
};

// Skips the test, saying why, where no small file system could be mounted.
#define SKIP_UNLESS_MOUNTED(fileSystem)                                                                  \
    if (!(fileSystem).mounted())                                                                         \
    GTEST_SKIP() << "a tmpfs could not be mounted here (this needs root); the full-disk case is not run"
