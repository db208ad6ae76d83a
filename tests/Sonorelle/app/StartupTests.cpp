#include "app/AppCoordinator.h"
#include "app/ContentView.h"
#include "app/MainWindow.h"
#include "app/OnboardingView.h"
#include "app/SidebarView.h"
#include "disc/DiscMonitor.h"
#include "facade/LibraryStores.h"
#include "library/Settings.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class StartupTest : public ::testing::Test {
protected:
    void SetUp() override { TestEnvironment::clearSettings(); }
    void TearDown() override { TestEnvironment::clearSettings(); }

    TemporaryStores stores;

    QString root() const { return stores.folder() + u"/My Music"_s; }

    static QPushButton* button(QWidget* parent, const QString& text)
    {
        for (QPushButton* widget : parent->findChildren<QPushButton*>()) {
            if (widget->text() == text)
                return widget;
        }
        return nullptr;
    }
};

} // namespace

TEST_F(StartupTest, BrowseAsksForAFolderAndTakesTheChoice)
{
    FolderPickerRequest asked;
    OnboardingView view([&](QWidget*, const FolderPickerRequest& request) -> std::optional<QString> {
        asked = request;
        return u"/srv/music"_s;
    });
    QTest::mouseClick(button(&view, u"Browse…"_s), Qt::LeftButton);
    EXPECT_TRUE(asked.canCreateFolders);
    EXPECT_EQ(view.libraryPath(), u"/srv/music"_s);

    OnboardingView cancelled([](QWidget*, const FolderPickerRequest&) { return std::optional<QString>(); });
    const QString before = cancelled.libraryPath();
    QTest::mouseClick(button(&cancelled, u"Browse…"_s), Qt::LeftButton);
    EXPECT_EQ(cancelled.libraryPath(), before);
}

TEST_F(StartupTest, AFirstRunShowsOnboardingAndGetStartedCompletesItAndOpensTheMainWindow)
{
    // A library.json from an earlier installation is shown at once.
    writeFile(StoreLocations::path(StoreKind::library), LibraryStores::encodeTracks({makeTrack(u"Kept"_s)}));
    AppCoordinator coordinator;
    EXPECT_FALSE(coordinator.showsMainContent());
    MainWindow window(coordinator);
    window.show();
    OnboardingView* onboarding = window.onboardingView();
    ASSERT_NE(onboarding, nullptr);
    EXPECT_EQ(onboarding->libraryPath(), TestEnvironment::home() + u"/Music/Sonorelle"_s);
    EXPECT_FALSE(onboarding->copyFiles()) << "moving is the default";
    onboarding->findChild<QLineEdit*>(u"libraryPath"_s)->setText(root());
    onboarding->findChild<QComboBox*>()->setCurrentIndex(1);
    QTest::mouseClick(button(onboarding, u"Get Started"_s), Qt::LeftButton);

    EXPECT_TRUE(Settings::value(Settings::isOnboarded));
    EXPECT_TRUE(Settings::value(Settings::copyImportedFiles));
    EXPECT_EQ(Settings::libraryRootPath(), root());
    EXPECT_TRUE(QDir(root()).exists());
    ASSERT_NE(coordinator.library(), nullptr);
    EXPECT_EQ(coordinator.library()->tracks().size(), 1);
    EXPECT_NE(window.contentView(), nullptr);
    QCoreApplication::processEvents();
    EXPECT_EQ(window.onboardingView(), nullptr) << "onboarding cannot be completed twice";
}

TEST_F(StartupTest, ARelativePathIsRefusedInWords)
{
    OnboardingView view;
    QSignalSpy completed(&view, &OnboardingView::completed);
    view.findChild<QLineEdit*>(u"libraryPath"_s)->setText(u"Music"_s);
    QTest::mouseClick(button(&view, u"Get Started"_s), Qt::LeftButton);
    EXPECT_EQ(completed.count(), 0);
    writeFile(stores.folder() + u"/a-file"_s, "not a folder");
    view.findChild<QLineEdit*>(u"libraryPath"_s)->setText(stores.folder() + u"/a-file/Music"_s);
    QTest::mouseClick(button(&view, u"Get Started"_s), Qt::LeftButton);
    EXPECT_EQ(completed.count(), 0);
    const auto* problem = view.findChild<QLabel*>(u"problem"_s);
    ASSERT_NE(problem, nullptr);
    EXPECT_TRUE(problem->text().contains(u"is a file, not a folder"_s)) << qPrintable(problem->text());
    view.findChild<QLineEdit*>(u"libraryPath"_s)->setText(u"~/Tunes"_s);
    QTest::mouseClick(button(&view, u"Get Started"_s), Qt::LeftButton);
    ASSERT_EQ(completed.count(), 1);
    EXPECT_EQ(completed.constFirst().constFirst().toUrl(), QUrl::fromLocalFile(TestEnvironment::home() + u"/Tunes"_s));
}

TEST_F(StartupTest, OnboardedWithoutAPathShowsOnboardingAgainAndWithBothGoesStraightToTheMainWindow)
{
    Settings::setValue(Settings::isOnboarded, true);
    {
        AppCoordinator coordinator;
        EXPECT_TRUE(coordinator.isOnboarded());
        EXPECT_EQ(coordinator.library(), nullptr);
        MainWindow window(coordinator);
        EXPECT_NE(window.onboardingView(), nullptr);
    }
    Settings::setLibraryRootPath(root());
    AppCoordinator coordinator;
    ASSERT_TRUE(coordinator.showsMainContent());
    EXPECT_EQ(coordinator.library()->rootURL(), QUrl::fromLocalFile(root()));
    MainWindow window(coordinator);
    EXPECT_EQ(window.onboardingView(), nullptr);
    EXPECT_NE(window.contentView(), nullptr);
}

TEST_F(StartupTest, ARootThatCannotBeCreatedStillStartsTheLibrary)
{
    writeFile(stores.folder() + u"/occupied"_s, "a file, not a folder");
    AppCoordinator coordinator;
    coordinator.completeOnboarding(QUrl::fromLocalFile(stores.folder() + u"/occupied/Music"_s), false);
    EXPECT_TRUE(coordinator.showsMainContent());
    EXPECT_FALSE(QDir(stores.folder() + u"/occupied/Music"_s).exists());
}

TEST_F(StartupTest, TheMainWindowShellListsTheFiveRowsAndStartsOnMusic)
{
    Library library(QUrl::fromLocalFile(root()));
    ContentView content(library);
    EXPECT_EQ(content.sidebar()->rowTexts(),
              (QStringList{u"Music"_s, u"Playlists"_s, u"Podcasts"_s, u"Devices"_s, u"Maintenance"_s}));
    ASSERT_TRUE(content.sidebarSelection().has_value());
    EXPECT_EQ(content.sidebarSelection()->kind, SidebarItem::Kind::music);

    QSignalSpy appeared(&content, &ContentView::appeared);
    content.show();
    content.hide();
    content.show();
    EXPECT_EQ(appeared.count(), 1);
}

TEST_F(StartupTest, AnOpenedDiscImageGetsACDRipRowThatStaysSelected)
{
    Settings::setValue(Settings::isOnboarded, true);
    Settings::setLibraryRootPath(root());
    AppCoordinator coordinator;
    MainWindow window(coordinator);
    DiscMonitor monitor;
    window.setDiscMonitor(&monitor);
    monitor.addDiscImage(stores.path(u"First.cue"_s));
    ContentView* content = window.contentView();
    ASSERT_NE(content, nullptr);
    EXPECT_EQ(content->sidebar()->rowTexts().mid(5), QStringList{u"Audio CD (First.cue)"_s});

    const QString second = QDir(stores.folder()).absoluteFilePath(u"Second.cue"_s);
    window.openDiscImage(second);
    EXPECT_EQ(content->sidebar()->rowTexts().mid(5),
              (QStringList{u"Audio CD (First.cue)"_s, u"Audio CD (Second.cue)"_s}));
    EXPECT_EQ(content->sidebarSelection(), SidebarItem::cdRip(second));

    monitor.removeDisc(stores.path(u"First.cue"_s));
    EXPECT_EQ(content->sidebar()->rowTexts().size(), 6);
    EXPECT_EQ(content->sidebarSelection(), SidebarItem::cdRip(second));
    monitor.removeDisc(second);
    EXPECT_EQ(content->sidebarSelection(), std::nullopt);
}
