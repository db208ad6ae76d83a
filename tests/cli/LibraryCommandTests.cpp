#include "VelmoRun.h"
#include "library/LibraryLock.h"
#include "library/LibraryStores.h"
#include "library/Settings.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using Result = VelmoResult;

class VelmoTest : public ::testing::Test {
protected:
    void SetUp() override { TestEnvironment::clearSettings(); }
    void TearDown() override { TestEnvironment::clearSettings(); }

    Result velmo(const QStringList& arguments) { return runVelmo(arguments); }

    QString root() const { return stores.folder() + u"/Music"_s; }

    TemporaryStores stores;
};

} // namespace

TEST_F(VelmoTest, InitCompletesFirstRunSetUp)
{
    const Result result = velmo({u"library"_s, u"init"_s, root(), u"--copy"_s});
    EXPECT_EQ(result.status, 0) << qPrintable(result.err);
    EXPECT_TRUE(Settings::value(Settings::isOnboarded));
    EXPECT_TRUE(Settings::value(Settings::copyImportedFiles));
    EXPECT_EQ(Settings::libraryRootPath(), root());
    EXPECT_TRUE(QDir(root()).exists());

    const Result again = velmo({u"library"_s, u"init"_s, stores.folder() + u"/Other"_s});
    EXPECT_EQ(again.status, 1);
    EXPECT_TRUE(again.err.contains(u"already set up at "_s + root())) << qPrintable(again.err);
}

TEST_F(VelmoTest, CommandsThatNeedALibraryNameInit)
{
    const Result result = velmo({u"library"_s, u"stats"_s});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.err.contains(u"velmo library init"_s)) << qPrintable(result.err);
}

TEST_F(VelmoTest, StatsCountsEveryList)
{
    ASSERT_EQ(velmo({u"library"_s, u"init"_s, root()}).status, 0);
    writeFile(StoreLocations::path(StoreKind::library),
              LibraryStores::encodeTracks({makeTrack(u"a"_s), makeTrack(u"b"_s), makeTrack(u"c"_s)}));
    writeFile(StoreLocations::path(StoreKind::playlists),
              LibraryStores::encodePlaylists({Playlist{QUuid::createUuid(), u"p"_s, {}, {}, {}}}));

    const Result json = velmo({u"library"_s, u"stats"_s, u"--json"_s});
    ASSERT_EQ(json.status, 0) << qPrintable(json.err);
    const QJsonObject counts = QJsonDocument::fromJson(json.out.toUtf8()).object();
    EXPECT_EQ(counts.value("tracks"_L1).toInt(), 3);
    EXPECT_EQ(counts.value("playlists"_L1).toInt(), 1);
    EXPECT_EQ(counts.value("smartPlaylists"_L1).toInt(), 0);
    EXPECT_EQ(counts.value("deviceProfiles"_L1).toInt(), 0);
    EXPECT_EQ(counts.value("podcasts"_L1).toInt(), 0);
    EXPECT_EQ(counts.value("episodes"_L1).toInt(), 0);

    const Result text = velmo({u"library"_s, u"stats"_s});
    EXPECT_TRUE(text.out.contains(u"Tracks:"_s)) << qPrintable(text.out);
}

TEST_F(VelmoTest, CheckSaysWhatIsWrongWithEachStore)
{
    writeFile(StoreLocations::path(StoreKind::library), "[{\"id\": oops}]");
    writeFile(StoreLocations::path(StoreKind::playlists), "[]");
    const Result result = velmo({u"library"_s, u"check"_s, u"--json"_s});
    EXPECT_EQ(result.status, 1) << "a corrupt store fails the check";
    const QJsonArray report = QJsonDocument::fromJson(result.out.toUtf8()).array();
    ASSERT_EQ(report.size(), 5);
    EXPECT_EQ(report.at(0)["store"_L1].toString(), u"library.json"_s);
    EXPECT_EQ(report.at(0)["state"_L1].toString(), u"corrupt"_s);
    EXPECT_TRUE(report.at(0)["problem"_L1].toString().contains(u"at byte"_s));
    EXPECT_EQ(report.at(1)["state"_L1].toString(), u"sound"_s);
    EXPECT_EQ(report.at(1)["records"_L1].toInt(), 0);
    EXPECT_EQ(report.at(2)["state"_L1].toString(), u"missing"_s);

    QFile::remove(StoreLocations::path(StoreKind::library));
    EXPECT_EQ(velmo({u"library"_s, u"check"_s}).status, 0);
}

TEST_F(VelmoTest, ChangingCommandsAreRefusedWhileTheLibraryIsInUse)
{
    LibraryLock application;
    ASSERT_EQ(application.acquire(), std::nullopt);
    const Result result = velmo({u"library"_s, u"init"_s, root()});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.err.contains(u"in use"_s)) << qPrintable(result.err);
    EXPECT_FALSE(Settings::value(Settings::isOnboarded)) << "nothing was changed";
    EXPECT_EQ(velmo({u"library"_s, u"check"_s}).status, 0) << "reading is allowed";
}

TEST_F(VelmoTest, UsageErrorsExitWithTwo)
{
    EXPECT_EQ(velmo({}).status, 2);
    EXPECT_EQ(velmo({u"frobnicate"_s}).status, 2);
    EXPECT_EQ(velmo({u"library"_s}).status, 2);
    EXPECT_EQ(velmo({u"library"_s, u"init"_s}).status, 2) << "PATH is required";
    EXPECT_EQ(velmo({u"library"_s, u"stats"_s, u"extra"_s}).status, 2);
    const Result unknownOption = velmo({u"library"_s, u"stats"_s, u"--colour"_s});
    EXPECT_EQ(unknownOption.status, 2);
    EXPECT_TRUE(unknownOption.err.contains(u"Usage: velmo library stats [--json]"_s)) << qPrintable(unknownOption.err);
}

TEST_F(VelmoTest, HelpIsEverywhere)
{
    const Result top = velmo({u"--help"_s});
    EXPECT_EQ(top.status, 0);
    EXPECT_TRUE(top.out.contains(u"velmo library init PATH [--copy]"_s)) << qPrintable(top.out);
    const Result group = velmo({u"library"_s, u"--help"_s});
    EXPECT_EQ(group.status, 0);
    EXPECT_TRUE(group.out.contains(u"library check"_s));
    const Result leaf = velmo({u"library"_s, u"init"_s, u"--help"_s});
    EXPECT_EQ(leaf.status, 0);
    EXPECT_TRUE(leaf.out.startsWith(u"Usage: velmo library init PATH [--copy]"_s)) << qPrintable(leaf.out);
    EXPECT_FALSE(Settings::value(Settings::isOnboarded)) << "help runs nothing";
}

TEST_F(VelmoTest, TheExecutableReportsItsExitStatus)
{
    QProcess process;
    process.start(QStringLiteral(VELMO_EXECUTABLE), {u"library"_s, u"check"_s, u"--json"_s});
    ASSERT_TRUE(process.waitForFinished(30000));
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().constData();
    EXPECT_EQ(QJsonDocument::fromJson(process.readAllStandardOutput()).array().size(), 5);

    process.start(QStringLiteral(VELMO_EXECUTABLE), {u"library"_s, u"nonsense"_s});
    ASSERT_TRUE(process.waitForFinished(30000));
    EXPECT_EQ(process.exitCode(), 2);
}
