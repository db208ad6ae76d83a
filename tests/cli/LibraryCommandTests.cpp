#include "VelmoTest.h"
#include "facade/LibraryStores.h"
#include "library/LibraryLock.h"
#include "library/Settings.h"
#include "support/TrackFactory.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST_F(VelmoTest, InitCompletesFirstRunSetUpWhichOtherCommandsNeed)
{
    const VelmoResult before = velmo({u"library"_s, u"stats"_s});
    EXPECT_EQ(before.status, 1);
    EXPECT_TRUE(before.err.contains(u"velmo library init"_s)) << qPrintable(before.err);

    const VelmoResult result = velmo({u"library"_s, u"init"_s, root(), u"--copy"_s});
    EXPECT_EQ(result.status, 0) << qPrintable(result.err);
    EXPECT_TRUE(Settings::value(Settings::isOnboarded));
    EXPECT_TRUE(Settings::value(Settings::copyImportedFiles));
    EXPECT_EQ(Settings::libraryRootPath(), root());
    EXPECT_TRUE(QDir(root()).exists());

    const VelmoResult again = velmo({u"library"_s, u"init"_s, stores.folder() + u"/Other"_s});
    EXPECT_EQ(again.status, 1);
    EXPECT_TRUE(again.err.contains(u"already set up at "_s + root())) << qPrintable(again.err);
}

TEST_F(VelmoTest, StatsCountsEveryList)
{
    initLibrary();
    writeFile(StoreLocations::path(StoreKind::library),
              LibraryStores::encodeTracks({makeTrack(u"a"_s), makeTrack(u"b"_s), makeTrack(u"c"_s)}));
    writeFile(StoreLocations::path(StoreKind::playlists),
              LibraryStores::encodePlaylists({Playlist{QUuid::createUuid(), u"p"_s, {}, {}, {}}}));

    const VelmoResult json = velmo({u"library"_s, u"stats"_s, u"--json"_s});
    ASSERT_EQ(json.status, 0) << qPrintable(json.err);
    const QJsonObject counts = QJsonDocument::fromJson(json.out.toUtf8()).object();
    EXPECT_EQ(counts.value("tracks"_L1).toInt(), 3);
    EXPECT_EQ(counts.value("playlists"_L1).toInt(), 1);
    EXPECT_EQ(counts.value("smartPlaylists"_L1).toInt(), 0);

    const VelmoResult text = velmo({u"library"_s, u"stats"_s});
    EXPECT_TRUE(text.out.contains(u"Tracks:"_s)) << qPrintable(text.out);
}

TEST_F(VelmoTest, CheckSaysWhatIsWrongWithEachStore)
{
    writeFile(StoreLocations::path(StoreKind::library), "[{\"id\": oops}]");
    writeFile(StoreLocations::path(StoreKind::playlists), "[]");
    const VelmoResult result = velmo({u"library"_s, u"check"_s, u"--json"_s});
    EXPECT_EQ(result.status, 1) << "a corrupt store fails the check";
    const QJsonArray report = QJsonDocument::fromJson(result.out.toUtf8()).array();
    ASSERT_EQ(report.size(), 5);
    EXPECT_EQ(report.at(0)["store"_L1].toString(), u"library.json"_s);
    EXPECT_EQ(report.at(0)["state"_L1].toString(), u"corrupt"_s);
    EXPECT_TRUE(report.at(0)["problem"_L1].isString());
    EXPECT_EQ(report.at(1)["state"_L1].toString(), u"sound"_s);

    QFile::remove(StoreLocations::path(StoreKind::library));
    EXPECT_EQ(velmo({u"library"_s, u"check"_s}).status, 0);
}

TEST_F(VelmoTest, ChangingCommandsAreRefusedWhileTheLibraryIsInUse)
{
    LibraryLock application;
    ASSERT_EQ(application.acquire(), std::nullopt);
    const VelmoResult result = velmo({u"library"_s, u"init"_s, root()});
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
    const VelmoResult unknownOption = velmo({u"library"_s, u"stats"_s, u"--colour"_s});
    EXPECT_EQ(unknownOption.status, 2);
    EXPECT_TRUE(unknownOption.err.contains(u"Usage: velmo library stats [--json]"_s)) << qPrintable(unknownOption.err);
}

TEST_F(VelmoTest, HelpIsEverywhere)
{
    const VelmoResult top = velmo({u"--help"_s});
    EXPECT_EQ(top.status, 0);
    EXPECT_TRUE(top.out.contains(u"velmo library init PATH [--copy]"_s)) << qPrintable(top.out);
    const VelmoResult group = velmo({u"library"_s, u"--help"_s});
    EXPECT_EQ(group.status, 0);
    EXPECT_TRUE(group.out.contains(u"library check"_s));
    const VelmoResult leaf = velmo({u"library"_s, u"init"_s, u"--help"_s});
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

    process.start(QStringLiteral(VELMO_EXECUTABLE), {u"library"_s, u"nonsense"_s});
    ASSERT_TRUE(process.waitForFinished(30000));
    EXPECT_EQ(process.exitCode(), 2);
}

TEST_F(VelmoTest, SettingsAreListedReadAndSetWithTheirTypesChecked)
{
    const VelmoResult listed = velmo({u"settings"_s, u"list"_s});
    EXPECT_TRUE(listed.out.contains(u"defaultBitrate"_s) && listed.out.contains(u"one of 128, 192, 256, 320; default 320"_s))
        << qPrintable(listed.out);
    EXPECT_EQ(velmo({u"settings"_s, u"get"_s, u"ripStrategy"_s}).out, u"direct\n"_s);
    EXPECT_EQ(velmo({u"settings"_s, u"set"_s, u"ripStrategy"_s, u"paranoia"_s}).status, 0);
    EXPECT_EQ(Settings::value(Settings::ripStrategy), RipStrategyKind::paranoia);

    const VelmoResult wrong = velmo({u"settings"_s, u"set"_s, u"defaultBitrate"_s, u"loud"_s});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_EQ(wrong.err.trimmed(), u"defaultBitrate takes one of 128, 192, 256, 320, not “loud”."_s);
    EXPECT_EQ(velmo({u"settings"_s, u"set"_s, u"copyImportedFiles"_s, u"yes"_s}).status, 1);
    EXPECT_EQ(velmo({u"settings"_s, u"set"_s, u"libraryRootPath"_s, u"/x"_s}).status, 1);
    EXPECT_EQ(velmo({u"settings"_s, u"get"_s, u"volume"_s}).status, 2);
    EXPECT_EQ(Settings::value(Settings::defaultBitrate), 320);
}
