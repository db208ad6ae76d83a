#include "app/ContentView.h"
#include "app/SidebarView.h"
#include "disc/CDRipView.h"
#include "disc/DiscMonitor.h"
#include "disc/DiscNamesForm.h"
#include "facade/CDRipController.h"
#include "facade/Library.h"
#include "support/DiscImages.h"
#include "support/FakeServices.h"
#include "support/TestEnvironment.h"

#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(DiscRows, ARowIsNamedByItsDiscThenItsAlbumAndDoneShowsTheAlbumJustRipped)
{
    TestEnvironment::clearSettings();
    TemporaryStores stores;
    FakeServices services;
    Library library(QUrl::fromLocalFile(stores.folder() + u"/Music"_s));
    ContentView content(library);
    DiscMonitor monitor;
    content.setDiscMonitor(&monitor);
    QTemporaryDir folder;
    const QString sheet = DiscImages::writeImage(folder.path(), 2, 30).sheet;
    monitor.addDiscImage(sheet);
    SidebarView* sidebar = content.sidebar();
    EXPECT_EQ(sidebar->rowTexts().mid(5), QStringList{u"Audio CD (disc.cue)"_s});
    ASSERT_NE(sidebar->discButton(sheet), nullptr);
    EXPECT_EQ(sidebar->discButton(sheet)->accessibleName(), u"Close Disc Image"_s);

    content.setSidebarSelection(SidebarItem::cdRip(sheet));
    auto* screen = qobject_cast<CDRipView*>(content.contentColumn());
    ASSERT_NE(screen, nullptr);
    ASSERT_TRUE(QTest::qWaitFor([&] { return screen->button(u"Rip Without Metadata"_s) != nullptr; }, 10000));
    screen->button(u"Rip Without Metadata"_s)->click();
    ASSERT_TRUE(QTest::qWaitFor([&] { return screen->namesForm() != nullptr; }, 10000));
    EXPECT_EQ(sidebar->rowTexts().mid(5), QStringList{u"Unknown Album"_s});
    QLineEdit* album = screen->namesForm()->albumField();
    album->selectAll();
    QTest::keyClicks(album, u"Night Drive"_s);
    EXPECT_EQ(sidebar->rowTexts().mid(5), QStringList{u"Night Drive"_s}) << "the row follows the typing";

    screen->button(u"Start Ripping"_s)->click();
    ASSERT_TRUE(QTest::qWaitFor([&] { return screen->button(u"Done"_s) != nullptr; }, 10000));
    screen->button(u"Done"_s)->click();
    ASSERT_EQ(content.sidebarSelection(), (SidebarItem{SidebarItem::Kind::music, {}}));
    ASSERT_TRUE(content.selectedAlbum().has_value()) << "the album just ripped, not an empty page";
    EXPECT_EQ(content.selectedAlbum()->album, u"Night Drive"_s);
    EXPECT_EQ(content.selectedAlbum()->tracks.size(), 2);

    sidebar->discButton(sheet)->click();
    EXPECT_EQ(sidebar->rowTexts().size(), 5) << "the image is closed";
    EXPECT_TRUE(monitor.insertedDiscs().isEmpty());
}

TEST(DiscRows, ADrivesRowEjectsItsDiscAndANameStaysWithItsRow)
{
    TemporaryStores stores;
    Library library(QUrl::fromLocalFile(stores.folder() + u"/Music"_s));
    ContentView content(library);
    QStringList ejected;
    content.setEjector([&](const QString& name) { ejected.append(name); });
    SidebarView* sidebar = content.sidebar();
    sidebar->setDiscs({DiscInfo{u"sr0"_s}, DiscInfo{u"/discs/Live.cue"_s}});
    EXPECT_EQ(sidebar->rowTexts().mid(5), (QStringList{u"Audio CD (sr0)"_s, u"Audio CD (Live.cue)"_s}));
    ASSERT_NE(sidebar->discButton(u"sr0"_s), nullptr);
    EXPECT_EQ(sidebar->discButton(u"sr0"_s)->accessibleName(), u"Eject"_s);
    EXPECT_FALSE(sidebar->discButton(u"sr0"_s)->isHidden());
    sidebar->discButton(u"sr0"_s)->click();
    EXPECT_EQ(ejected, QStringList{u"sr0"_s});

    sidebar->setDiscTitle(u"sr0"_s, u"Blue Hour"_s);
    sidebar->setDiscs({DiscInfo{u"/discs/Live.cue"_s}, DiscInfo{u"sr0"_s}});
    EXPECT_EQ(sidebar->rowTexts().mid(5), (QStringList{u"Audio CD (Live.cue)"_s, u"Blue Hour"_s}))
        << "the name follows its disc when the rows are made anew";
    sidebar->setDiscTitle(u"sr0"_s, QString());
    EXPECT_EQ(sidebar->rowTexts().constLast(), u"Audio CD (sr0)"_s);
}
