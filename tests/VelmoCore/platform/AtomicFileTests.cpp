#include "platform/AtomicFile.h"
#include "support/SmallFileSystem.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

QStringList entries(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

} // namespace

TEST(AtomicFile, AFullDiskFailsInWordsAndKeepsTheOldFileWholeWithNothingLeftBehind)
{
    SmallFileSystem disk;
    SKIP_UNLESS_MOUNTED(disk);
    const QString path = disk.filePath(u"library.json"_s);
    ASSERT_EQ(AtomicFile::save(path, "[1,2,3]"), std::nullopt);
    disk.fill();

    const std::optional<QString> failure = AtomicFile::save(path, QByteArray(20000, 'x'));
    ASSERT_TRUE(failure.has_value()) << "a write that did not fit must not count as saved";
    EXPECT_EQ(*failure, u"there is no space left on the device"_s);
    EXPECT_EQ(readFile(path), "[1,2,3]");
    EXPECT_EQ(entries(disk.path()), (QStringList{u".filler"_s, u"library.json"_s})) << "no temporary file stays";

    // A source that does not fit fails the same way, and no part of it arrives.
    QTemporaryDir elsewhere;
    writeFile(elsewhere.filePath(u"song.flac"_s), QByteArray(50000, 's'));
    EXPECT_EQ(AtomicFile::copy(elsewhere.filePath(u"song.flac"_s), disk.filePath(u"song.flac"_s),
                               AtomicFile::Existing::keep),
              u"there is no space left on the device"_s);
    EXPECT_FALSE(QFileInfo::exists(disk.filePath(u"song.flac"_s)));
}

TEST(AtomicFile, OnlyRegularFilesAreReplacedAndALinkStaysALink)
{
    QTemporaryDir folder;
    const QString fifo = folder.filePath(u"pipe"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0644), 0);
    EXPECT_EQ(AtomicFile::save(fifo, "x"), u"it is not a regular file but a device, a pipe or a socket, and was left alone"_s);
    EXPECT_TRUE(QFileInfo(fifo).exists() && !QFileInfo(fifo).isFile()) << "the FIFO is still there";

    QDir(folder.path()).mkdir(u"sub"_s);
    EXPECT_EQ(AtomicFile::save(folder.filePath(u"sub"_s), "x"), u"a folder of that name is in the way"_s);

    writeFile(folder.filePath(u"plain"_s), "plain");
    EXPECT_EQ(AtomicFile::save(folder.filePath(u"plain/inside.m3u8"_s), "x"),
              u"“%1” is not a folder"_s.arg(folder.filePath(u"plain"_s)));
    EXPECT_EQ(readFile(folder.filePath(u"plain"_s)), "plain");

    QFile::link(folder.filePath(u"plain"_s), folder.filePath(u"link"_s));
    ASSERT_EQ(AtomicFile::save(folder.filePath(u"link"_s), "through the link"), std::nullopt);
    EXPECT_TRUE(QFileInfo(folder.filePath(u"link"_s)).isSymLink());
    EXPECT_EQ(readFile(folder.filePath(u"plain"_s)), "through the link");
}

TEST(AtomicFile, AReplacementKeepsThePermissionsAndKeepNeverOverwrites)
{
    QTemporaryDir folder;
    const QString path = folder.filePath(u"private.json"_s);
    writeFile(path, "old");
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    ASSERT_EQ(AtomicFile::save(path, "new"), std::nullopt);
    EXPECT_EQ(QFile::permissions(path), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser);
    EXPECT_EQ(readFile(path), "new");

    writeFile(folder.filePath(u"source"_s), "source");
    EXPECT_EQ(AtomicFile::copy(folder.filePath(u"source"_s), path, AtomicFile::Existing::keep),
              u"a file of that name exists already"_s);
    EXPECT_EQ(readFile(path), "new");
    ASSERT_EQ(AtomicFile::copy(folder.filePath(u"source"_s), folder.filePath(u"copy"_s), AtomicFile::Existing::keep),
              std::nullopt);
    EXPECT_EQ(readFile(folder.filePath(u"copy"_s)), "source");
    EXPECT_EQ(entries(folder.path()), (QStringList{u"copy"_s, u"private.json"_s, u"source"_s}));

    EXPECT_EQ(AtomicFile::save(folder.filePath(u"new/deeper/file"_s), "made"), std::nullopt) << "folders are made";
    EXPECT_EQ(readFile(folder.filePath(u"new/deeper/file"_s)), "made");
}

TEST(AtomicFile, LeftoversOfKilledWritersGoAndNothingElse)
{
    QTemporaryDir folder;
    const QString target = folder.filePath(u"Song.flac"_s);
    for (const QString& name : {u".Song.flac.1a2b.tmp"_s, u".Song.flac.ffff0000.tmp"_s, u".Song.flac.notes.tmp"_s,
                                u".Song.flac.tmp"_s, u".Other.flac.1a2b.tmp"_s, u"Song.flac"_s})
        writeFile(folder.filePath(name), "x");
    AtomicFile::removeLeftovers(target);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden, QDir::Name),
              (QStringList{u".Other.flac.1a2b.tmp"_s, u".Song.flac.notes.tmp"_s, u".Song.flac.tmp"_s, u"Song.flac"_s}));
}
