#include "support/TestEnvironment.h"
#include "sync/VelmoDeviceFile.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

TEST(VelmoDeviceFile, WritesTheUpperCaseIdWithoutNewlineAndReadsItBack)
{
    QTemporaryDir device;
    const QUuid id = QUuid::fromString(u"{0ac22a2a-8c4d-4d6e-9b3b-8a1e6e7c2f10}"_s);
    VelmoDeviceFile::write(id, device.path());
    EXPECT_EQ(readFile(device.filePath(u".velmo"_s)), QByteArray(R"({"id":"0AC22A2A-8C4D-4D6E-9B3B-8A1E6E7C2F10"})"));
    EXPECT_EQ(VelmoDeviceFile::read(device.path()), VelmoDeviceFile{id});
    EXPECT_EQ(QDir(device.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{u".velmo"_s});

    const QUuid other = QUuid::createUuid();
    VelmoDeviceFile::write(other, device.path());
    EXPECT_EQ(VelmoDeviceFile::read(device.path()), VelmoDeviceFile{other});
}

TEST(VelmoDeviceFile, AnythingWrongReadsAsAbsent)
{
    QTemporaryDir device;
    EXPECT_FALSE(VelmoDeviceFile::read(device.path()));
    for (const QByteArray& text : {QByteArray("{\"id\":"), QByteArray("[]"), QByteArray("{}"),
                                   QByteArray("{\"id\":\"not a uuid\"}"), QByteArray("{\"id\":42}"),
                                   QByteArray(8192, ' ')}) {
        writeFile(device.filePath(u".velmo"_s), text);
        EXPECT_FALSE(VelmoDeviceFile::read(device.path())) << text.left(40).constData();
    }
    QDir().mkpath(device.filePath(u"folder/.velmo"_s));
    EXPECT_FALSE(VelmoDeviceFile::read(device.filePath(u"folder"_s)));
}

TEST(VelmoDeviceFile, AFailedWriteIsSilentAndLeavesNothing)
{
    QTemporaryDir parent;
    const QString gone = parent.filePath(u"unplugged"_s);
    VelmoDeviceFile::write(QUuid::createUuid(), gone);
    EXPECT_FALSE(QFileInfo::exists(gone)); // no folder is made where the device was

    const QString file = parent.filePath(u"file"_s);
    writeFile(file, "x");
    VelmoDeviceFile::write(QUuid::createUuid(), file);
    EXPECT_EQ(readFile(file), QByteArray("x"));

    if (::geteuid() == 0)
        return; // the superuser writes into read-only folders; the rest has been checked
    const QString readOnly = parent.filePath(u"readonly"_s);
    QDir().mkpath(readOnly);
    ::chmod(QFile::encodeName(readOnly).constData(), 0555);
    VelmoDeviceFile::write(QUuid::createUuid(), readOnly);
    EXPECT_TRUE(QDir(readOnly).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).isEmpty());
    ::chmod(QFile::encodeName(readOnly).constData(), 0755);
}
