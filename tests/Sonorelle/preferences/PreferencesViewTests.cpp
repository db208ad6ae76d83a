#include "app/AppCoordinator.h"
#include "app/MainWindow.h"
#include "app/UpdateCheck.h"
#include "library/Settings.h"
#include "preferences/PreferencesView.h"
#include "support/TestEnvironment.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QMenuBar>
#include <QSettings>
#include <QSpinBox>
#include <QTabWidget>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class PreferencesTest : public ::testing::Test {
protected:
    void SetUp() override { TestEnvironment::clearSettings(); }
    void TearDown() override { TestEnvironment::clearSettings(); }

    // What QSettings holds on disk now, read by a fresh object as another process would.
    static QVariant stored(const char* key)
    {
        QSettings settings(u"Sonorelle"_s, u"Sonorelle"_s);
        return settings.value(QString::fromLatin1(key));
    }

    template <typename T>
    static T* find(QWidget& view, const QString& name)
    {
        return view.findChild<T*>(name);
    }
};

} // namespace

TEST_F(PreferencesTest, AFreshDomainShowsTheDefaultsInThreeTabs)
{
    PreferencesView view({});
    ASSERT_EQ(view.tabs()->count(), 3);
    EXPECT_EQ(view.tabs()->tabText(0), u"General"_s);
    EXPECT_EQ(view.tabs()->tabText(1), u"Formats"_s);
    EXPECT_EQ(view.tabs()->tabText(2), u"Sync"_s);
    EXPECT_FALSE(view.tabs()->tabIcon(0).isNull());
    EXPECT_EQ(find<QLabel>(view, u"location"_s)->text(), u"Not set"_s);
    EXPECT_EQ(find<QComboBox>(view, u"fileHandling"_s)->currentText(), u"Move files into library"_s);
    EXPECT_EQ(find<QComboBox>(view, u"outputFormat"_s)->currentText(), u"Keep Original"_s);
    EXPECT_EQ(find<QComboBox>(view, u"bitrate"_s)->currentText(), u"320 kbps"_s);
    EXPECT_FALSE(find<QComboBox>(view, u"bitrate"_s)->isEnabled());
    EXPECT_EQ(find<QComboBox>(view, u"readingMode"_s)->currentText(), u"Direct (raw sector reads)"_s);
    EXPECT_EQ(find<QComboBox>(view, u"folderStructure"_s)->currentText(), u"Artist / Album / Track"_s);
    EXPECT_TRUE(find<QCheckBox>(view, u"syncPlaylists"_s)->isChecked());
    EXPECT_FALSE(find<QCheckBox>(view, u"automaticUpdates"_s)->isChecked());
    EXPECT_FALSE(stored("defaultBitrate").isValid()) << "showing writes nothing";
}

TEST_F(PreferencesTest, EachChangeIsWrittenAtOnceAndTheBitrateIsKeptWhileDisabled)
{
    Settings::setRawString(Settings::ripStrategy.name, u"x"_s);
    Settings::setValue(Settings::defaultBitrate, 192);
    Settings::setLibraryRootPath(u"/music"_s);
    PreferencesView view({});
    EXPECT_EQ(find<QLabel>(view, u"location"_s)->text(), u"/music"_s);
    EXPECT_EQ(find<QComboBox>(view, u"readingMode"_s)->currentText(), u"Direct (raw sector reads)"_s)
        << "an unknown stored mode shows as direct";

    auto* format = find<QComboBox>(view, u"outputFormat"_s);
    auto* bitrate = find<QComboBox>(view, u"bitrate"_s);
    format->setCurrentIndex(format->findText(u"MP3"_s));
    EXPECT_EQ(stored("defaultOutputFormat"), u"mp3"_s);
    EXPECT_TRUE(bitrate->isEnabled());
    EXPECT_EQ(bitrate->currentText(), u"192 kbps"_s);
    bitrate->setCurrentIndex(bitrate->findText(u"256 kbps"_s));
    EXPECT_EQ(stored("defaultBitrate").toLongLong(), 256);
    format->setCurrentIndex(format->findText(u"Keep Original"_s));
    EXPECT_FALSE(bitrate->isEnabled());
    EXPECT_EQ(stored("defaultBitrate").toLongLong(), 256) << "kept while disabled";

    auto* mode = find<QComboBox>(view, u"readingMode"_s);
    mode->setCurrentIndex(mode->findText(u"Paranoia (error-correcting)"_s));
    EXPECT_EQ(stored("ripStrategy"), u"paranoia"_s);
    mode->setCurrentIndex(mode->findText(u"Secure (read twice)"_s));
    EXPECT_EQ(stored("ripStrategy"), u"secure"_s);
    find<QComboBox>(view, u"fileHandling"_s)->setCurrentIndex(1);
    EXPECT_EQ(stored("copyImportedFiles").toBool(), true);
    auto* structure = find<QComboBox>(view, u"folderStructure"_s);
    structure->setCurrentIndex(structure->findText(u"Flat (all files in root)"_s));
    EXPECT_EQ(stored("defaultFolderStructure"), u"flat"_s);
    find<QCheckBox>(view, u"syncPodcasts"_s)->setChecked(false);
    EXPECT_EQ(stored("defaultSyncPodcasts").toBool(), false);
    find<QCheckBox>(view, u"automaticUpdates"_s)->setChecked(true);
    EXPECT_TRUE(Settings::value(Settings::automaticallyCheckForUpdates));
}

TEST_F(PreferencesTest, TheMenusOpenOneWindowAndTheCheckSaysItsAnswer)
{
    AppCoordinator coordinator;
    MainWindow window(coordinator);
    QStringList menus;
    for (QAction* action : window.menuBar()->actions())
        menus.append(action->text());
    EXPECT_EQ(menus, (QStringList{u"&File"_s, u"&Edit"_s, u"&Help"_s}));
    PreferencesView* first = window.showPreferences();
    EXPECT_EQ(window.showPreferences(), first) << "one window, brought forward";

    QStringList said;
    UpdateCheck check(u"1.0"_s, [&said](const QString& message, const std::optional<QUrl>&) { said.append(message); });
    check.checkNow();
    EXPECT_EQ(said, QStringList{u"No update address is configured."_s}) << "without an address, at once";
    check.checkAtStart();
    EXPECT_EQ(said.size(), 1) << "automatic checks are off by default";
}

TEST_F(PreferencesTest, EachDriveKeepsItsReadOffsetAndTheRipLogCanBeTurnedOff)
{
    Settings::setReadOffset(u"PLEXTOR PX-716A"_s, 30);
    Settings::setReadOffset(u"ASUS BW-16D1HT"_s, 6);
    PreferencesView view({});
    auto* drive = find<QComboBox>(view, u"offsetDrive"_s);
    auto* offset = find<QSpinBox>(view, u"readOffset"_s);
    ASSERT_TRUE(drive && offset);
    drive->setCurrentIndex(drive->findText(u"PLEXTOR PX-716A"_s));
    EXPECT_EQ(offset->value(), 30);
    EXPECT_EQ(offset->suffix(), u" samples"_s);
    offset->setValue(-472);
    EXPECT_EQ(Settings::readOffset(u"PLEXTOR PX-716A"_s), -472);
    drive->setCurrentIndex(drive->findText(u"ASUS BW-16D1HT"_s));
    EXPECT_EQ(offset->value(), 6) << "each drive shows its own";
    EXPECT_EQ(Settings::readOffset(u"PLEXTOR PX-716A"_s), -472) << "showing another drive changes nothing";

    auto* keepLog = find<QCheckBox>(view, u"keepRipLog"_s);
    ASSERT_TRUE(keepLog);
    EXPECT_EQ(keepLog->text(), u"Keep a rip log and cue sheet"_s);
    EXPECT_TRUE(keepLog->isChecked()) << "on by default";
    keepLog->setChecked(false);
    EXPECT_EQ(stored("keepRipLog").toBool(), false);

    auto* verifyCTDB = find<QCheckBox>(view, u"verifyWithCTDB"_s);
    ASSERT_TRUE(verifyCTDB);
    EXPECT_EQ(verifyCTDB->text(), u"Verify with CTDB"_s);
    EXPECT_TRUE(verifyCTDB->isChecked()) << "on by default";
    verifyCTDB->setChecked(false);
    EXPECT_EQ(stored("verifyWithCTDB").toBool(), false);
}
