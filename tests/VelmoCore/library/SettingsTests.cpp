#include "library/LibraryLock.h"
#include "library/Settings.h"
#include "library/StoreLocations.h"
#include "support/TestEnvironment.h"

#include <QCoreApplication>
#include <QSettings>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class SettingsTest : public ::testing::Test {
protected:
    void SetUp() override { TestEnvironment::clearSettings(); }
    void TearDown() override { TestEnvironment::clearSettings(); }

    // Written as another program or a hand edit would leave the file.
    static void writeRaw(const QString& key, const QVariant& value)
    {
        QSettings(u"Sonorelle"_s, u"Sonorelle"_s).setValue(key, value);
    }
};

} // namespace

TEST_F(SettingsTest, ValuesSurviveInTheSettingsFile)
{
    Settings::setValue(Settings::isOnboarded, true);
    Settings::setValue(Settings::defaultBitrate, 192);
    Settings::setValue(Settings::ripStrategy, RipStrategyKind::paranoia);
    Settings::setLibraryRootPath(u"/home/me/Music, Old/Sonorelle"_s);
    QSettings(u"Sonorelle"_s, u"Sonorelle"_s).sync();

    const QString file = TestEnvironment::configHome() + u"/Sonorelle/Sonorelle.conf"_s;
    const QByteArray text = readFile(file);
    EXPECT_TRUE(text.contains("isOnboarded=true")) << text.constData();
    EXPECT_TRUE(text.contains("ripStrategy=paranoia")) << text.constData();

    EXPECT_TRUE(Settings::value(Settings::isOnboarded));
    EXPECT_EQ(Settings::value(Settings::defaultBitrate), 192);
    EXPECT_EQ(Settings::value(Settings::ripStrategy), RipStrategyKind::paranoia);
    EXPECT_EQ(Settings::libraryRootPath(), u"/home/me/Music, Old/Sonorelle"_s);
    EXPECT_EQ(Settings::libraryRootURL(), QUrl::fromLocalFile(u"/home/me/Music, Old/Sonorelle"_s));
}

TEST_F(SettingsTest, AFreshDomainAndValuesOfTheWrongTypeReadAsDefaults)
{
    const auto expectDefaults = [](const char* when) {
        SCOPED_TRACE(when);
        EXPECT_FALSE(Settings::value(Settings::isOnboarded));
        EXPECT_EQ(Settings::value(Settings::ripStrategy), RipStrategyKind::direct);
        EXPECT_EQ(Settings::value(Settings::defaultOutputFormat), OutputFormat::keepSource);
        EXPECT_EQ(Settings::value(Settings::defaultBitrate), 320);
        EXPECT_TRUE(Settings::value(Settings::defaultSyncPodcasts));
        EXPECT_EQ(Settings::libraryRootPath(), std::nullopt);
        EXPECT_EQ(Settings::libraryRootURL(), std::nullopt);
    };
    expectDefaults("fresh");
    writeRaw(u"isOnboarded"_s, u"yes please"_s);
    writeRaw(u"defaultSyncPodcasts"_s, 7);
    writeRaw(u"defaultBitrate"_s, u"loud"_s);
    writeRaw(u"ripStrategy"_s, u"x"_s);
    writeRaw(u"defaultOutputFormat"_s, u"MP3"_s);
    writeRaw(u"libraryRootPath"_s, QStringList{u"a"_s, u"b"_s});
    expectDefaults("wrong types");
}

TEST(LibraryLock, ASecondHolderIsRefusedUntilTheFirstLetsGoAndADeadOneIsTakenOver)
{
    TemporaryStores stores;
    {
        auto first = std::make_unique<LibraryLock>();
        EXPECT_EQ(first->acquire(), std::nullopt);
        LibraryLock second;
        const auto refusal = second.acquire();
        ASSERT_TRUE(refusal.has_value());
        EXPECT_TRUE(refusal->contains(QString::number(QCoreApplication::applicationPid()))) << qPrintable(*refusal);
        EXPECT_TRUE(refusal->contains(u"Quit it first"_s));
        first.reset();
        EXPECT_EQ(second.acquire(), std::nullopt);
    }
    // The format QLockFile writes: pid, application, host. No process has pid 2^22 + 1.
    writeFile(StoreLocations::lockFilePath(), "4194305\nsonorelle\n\n");
    LibraryLock lock;
    EXPECT_EQ(lock.acquire(), std::nullopt);
}
