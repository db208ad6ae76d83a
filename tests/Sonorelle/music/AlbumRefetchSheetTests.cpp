#include "facade/Library.h"
#include "library/BlockingWait.h"
#include "library/TagReader.h"
#include "metadata/MusicBrainzReleaseLookup.h"
#include "music/AlbumArtworkLoader.h"
#include "music/AlbumRefetchSheet.h"
#include "music/AlbumsView.h"
#include "support/AudioFixtures.h"
#include "support/FakeServices.h"
#include "support/TestData.h"
#include "support/TestEnvironment.h"
#include "widgets/StatusToast.h"

#include <QBuffer>
#include <QImage>
#include <QLabel>
#include <QListView>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString multidiscID = u"6c4f766f-3351-4c10-a53d-b119452c27b2"_s;

// The real two-disc release as a search lists it.
const QByteArray multidiscSearch =
    uR"({"releases":[{"id":"6c4f766f-3351-4c10-a53d-b119452c27b2","title":"ケアレス","date":"2021-09-15",
        "artist-credit":[{"artist":{"name":"ClariS"}}],
        "media":[{"position":1,"track-count":4},{"position":2,"track-count":3}]}]})"_s.toUtf8();

QByteArray pictureOf(Qt::GlobalColor color)
{
    QImage image(8, 8, QImage::Format_RGB32);
    image.fill(color);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

class AlbumRefetchTest : public ::testing::Test {
protected:
    AlbumRefetchTest()
    {
        for (qint64 number : {1, 2}) {
            const QUrl url = QUrl::fromLocalFile(AudioFixtures::copySample(
                u"taglib/sinewave.flac"_s, root + u"/track"_s + QString::number(number) + u".flac"_s));
            Track track = Track::fromFile(url, *TagReader::read(url));
            track.title = u"Track "_s + QString::number(number);
            track.artist = u"Old"_s;
            track.albumArtist = u"Old"_s;
            track.album = u"Careless"_s;
            track.trackNumber = number;
            track.discNumber = 1;
            library.add(track);
        }
        view.resize(800, 600);
        view.show();
        view.setTracks(library.tracks());
    }

    // Opens the sheet from the tile's menu, as a right click does.
    AlbumRefetchSheet* openSheet()
    {
        const std::unique_ptr<QMenu> menu = view.contextMenu(view.grid()->model()->index(0, 0));
        EXPECT_NE(menu, nullptr);
        if (!menu)
            return nullptr;
        const QList<QAction*> actions = menu->actions();
        EXPECT_EQ(actions.size(), 1);
        EXPECT_EQ(actions.constFirst()->text(), u"Re-fetch Album Info…"_s);
        actions.constFirst()->trigger();
        return view.refetchSheet();
    }

    static bool waitForSearch(AlbumRefetchSheet* sheet)
    {
        return QTest::qWaitFor([sheet] { return !sheet->isSearching(); }, 15000);
    }

    static void clickRow(AlbumRefetchSheet* sheet, int row)
    {
        QListWidget* list = sheet->candidateList();
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(row)).center());
    }

    static QStringList labelTexts(const QWidget* widget)
    {
        QStringList texts;
        for (const QLabel* label : widget->findChildren<QLabel*>())
            texts.append(label->text());
        return texts;
    }

    FakeServices services;
    TemporaryStores stores;
    QString root = stores.folder() + u"/Music"_s;
    Library library{QUrl::fromLocalFile(root)};
    AlbumsView view{library};
};

} // namespace

TEST(AlbumRefetchRows, TitleArtistThenYearCommentAndDiscsOrTracks)
{
    const QList<ReleaseCandidate> candidates =
        MusicBrainzReleaseLookup::parseCandidates(testData(u"metadata/musicbrainz/release-search.json"_s));
    ASSERT_EQ(candidates.size(), 3);
    EXPECT_EQ(AlbumRefetchSheet::rowText(candidates.at(0)),
              u"The Dark Side of the Moon — Pink Floyd\n1973 · stereo · 10 tracks"_s);
    EXPECT_EQ(AlbumRefetchSheet::rowText(candidates.at(1)),
              u"The Dark Side of the Moon — Pink Floyd\n2011 · Experience Edition · 2 discs (10, 9)"_s);
    EXPECT_EQ(AlbumRefetchSheet::rowText(ReleaseCandidate{.id = u"x"_s, .title = u"Bare"_s}), u"Bare — \n0 tracks"_s);
}

TEST_F(AlbumRefetchTest, FromTheTileMenuToTheToast)
{
    services.musicBrainz.route(u"/ws/2/release"_s, FakeResponse::ok(multidiscSearch, "application/json"));
    services.musicBrainz.route(u"/ws/2/release/"_s + multidiscID,
                               FakeResponse::ok(testData(u"metadata/musicbrainz/release_multidisc.json"_s),
                                                "application/json"));

    AlbumRefetchSheet* sheet = openSheet();
    ASSERT_NE(sheet, nullptr);
    EXPECT_TRUE(sheet->isVisible());
    EXPECT_EQ(sheet->stateText(), u"Searching MusicBrainz…"_s);
    const QStringList texts = labelTexts(sheet);
    EXPECT_TRUE(texts.contains(u"\"Careless\" by Old"_s));
    EXPECT_TRUE(texts.contains(u"Overwrites title, artist, year, track numbers, disc numbers, and artwork for all 2 "
                               u"tracks in this album. This can't be undone."_s));

    ASSERT_TRUE(waitForSearch(sheet));
    ASSERT_EQ(sheet->candidateList()->count(), 1);
    EXPECT_EQ(sheet->candidateList()->item(0)->text(), u"ケアレス — ClariS\n2021 · 2 discs (4, 3)"_s);
    EXPECT_FALSE(sheet->refetchButton()->isEnabled()) << "nothing chosen yet";

    clickRow(sheet, 0);
    ASSERT_TRUE(sheet->refetchButton()->isEnabled());
    QPointer<AlbumRefetchSheet> guard(sheet);
    QTest::mouseClick(sheet->refetchButton(), Qt::LeftButton);
    ASSERT_TRUE(QTest::qWaitFor([&guard] { return !guard || !guard->isVisible(); }, 15000));

    EXPECT_TRUE(view.toast()->isVisible());
    EXPECT_EQ(view.toast()->text(), u"Updated 2 tracks. Artwork wasn't available for this release."_s);
    EXPECT_FALSE(view.refetchTarget().has_value());
    EXPECT_EQ(library.tracks().at(1).title, u"Bye\u2010Bye Butterfly"_s);
}

TEST_F(AlbumRefetchTest, AFailedSearchOffersRetryAndAFailedRefetchSaysWhy)
{
    services.musicBrainz.routeSequence(
        u"/ws/2/release"_s,
        {FakeResponse::withStatus(404), FakeResponse::ok(multidiscSearch, "application/json")});

    AlbumRefetchSheet* sheet = openSheet();
    ASSERT_NE(sheet, nullptr);
    ASSERT_TRUE(waitForSearch(sheet));
    EXPECT_EQ(sheet->stateText(), u"No matching release found on MusicBrainz."_s);
    ASSERT_TRUE(sheet->retryButton()->isVisible());

    QTest::mouseClick(sheet->retryButton(), Qt::LeftButton);
    ASSERT_TRUE(waitForSearch(sheet));
    EXPECT_FALSE(sheet->searchError().has_value());
    ASSERT_EQ(sheet->candidateList()->count(), 1);

    // The release itself is gone from the service.
    clickRow(sheet, 0);
    QPointer<AlbumRefetchSheet> guard(sheet);
    QTest::mouseClick(sheet->refetchButton(), Qt::LeftButton);
    ASSERT_TRUE(QTest::qWaitFor([&guard] { return !guard || !guard->isVisible(); }, 15000));
    EXPECT_EQ(view.refetchStatus(), u"Re-fetch failed: No matching release found on MusicBrainz."_s);
}

TEST_F(AlbumRefetchTest, AnEmptyAnswerSaysNoMatches)
{
    services.musicBrainz.route(u"/ws/2/release"_s, FakeResponse::ok(R"({"releases":[]})", "application/json"));
    AlbumRefetchSheet* sheet = openSheet();
    ASSERT_NE(sheet, nullptr);
    ASSERT_TRUE(waitForSearch(sheet));
    EXPECT_EQ(sheet->stateText(), u"No matches found on MusicBrainz."_s);
    EXPECT_FALSE(sheet->refetchButton()->isEnabled());

    const QList<QPushButton*> buttons = sheet->findChildren<QPushButton*>();
    const auto cancel =
        std::find_if(buttons.cbegin(), buttons.cend(), [](const QPushButton* b) { return b->text() == u"Cancel"_s; });
    ASSERT_NE(cancel, buttons.cend());
    QTest::mouseClick(*cancel, Qt::LeftButton);
    EXPECT_FALSE(view.refetchTarget().has_value());
    EXPECT_FALSE(view.refetchStatus().has_value()) << "a cancelled sheet has nothing to say";
}

TEST_F(AlbumRefetchTest, TheGridDrawsTheNewCoverAfterThePicturesChanged)
{
    // First known to have no picture at all, as before an artwork fetch.
    AlbumArtworkLoader* loader = view.artworkLoader();
    QSignalSpy ready(loader, &AlbumArtworkLoader::coverReady);
    EXPECT_TRUE(loader->cover(view.groups().constFirst()).isNull());
    ASSERT_TRUE(QTest::qWaitFor([&ready] { return !ready.isEmpty(); }, 5000));
    EXPECT_TRUE(loader->cover(view.groups().constFirst()).isNull());

    const QByteArray red = pictureOf(Qt::red);
    const QSet<QUuid> album{library.tracks().at(0).id, library.tracks().at(1).id};
    ASSERT_EQ(BlockingWait::wait(library.applyArtwork({.data = red, .mimeType = u"image/png"_s}, album)), 2);
    view.setTracks(library.tracks());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !loader->cover(view.groups().constFirst()).isNull(); }, 5000));
    EXPECT_EQ(loader->cover(view.groups().constFirst()).pixelColor(2, 2), QColor(Qt::red));

    const QByteArray blue = pictureOf(Qt::blue);
    ASSERT_EQ(BlockingWait::wait(library.applyArtwork({.data = blue, .mimeType = u"image/png"_s}, album)), 2);
    view.setTracks(library.tracks());
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            const QImage cover = loader->cover(view.groups().constFirst());
            return !cover.isNull() && cover.pixelColor(2, 2) == QColor(Qt::blue);
        },
        5000))
        << "the red cover stayed";
}

TEST_F(AlbumRefetchTest, AnAlbumRippedFromADiscIsLookedUpAgainFromItsMenu)
{
    const QString discID = u"KnpGsLhvH.Vxy_x2GXJNAsMIXsQ-"_s;
    for (Track track : library.tracks()) {
        track.customTags.insert(Track::discIDTag(), discID);
        BlockingWait::wait(library.update(track));
    }
    view.setTracks(library.tracks());
    const std::unique_ptr<QMenu> menu = view.contextMenu(view.grid()->model()->index(0, 0));
    ASSERT_NE(menu, nullptr);
    QStringList texts;
    for (const QAction* action : menu->actions())
        texts.append(action->text());
    EXPECT_EQ(texts, (QStringList{u"Re-fetch Album Info…"_s, u"Look Up Again"_s}));

    menu->actions().at(1)->trigger();
    ASSERT_TRUE(QTest::qWaitFor([&] { return view.refetchStatus().has_value(); }, 10000));
    EXPECT_EQ(*view.refetchStatus(), u"No matching release found on MusicBrainz."_s)
        << "MusicBrainz doesn't know the disc yet";
    EXPECT_EQ(services.musicBrainz.requestCount(u"/ws/2/discid/"_s + discID), 1);
}
