#include "facade/Library.h"
#include "library/BlockingWait.h"
#include "library/TagReader.h"
#include "maintenance/LibraryMaintenanceView.h"
#include "support/AudioFixtures.h"
#include "support/FakeServices.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QUrlQuery>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class MaintenanceTest : public ::testing::Test {
protected:
    TemporaryStores stores;
    QString root = stores.folder() + u"/Music"_s;
    Library library{QUrl::fromLocalFile(root)};
    std::optional<ConfirmationRequest> asked;
    bool answer = true;
    LibraryMaintenanceView view{library, [this](QWidget*, const ConfirmationRequest& request) {
                                    asked = request;
                                    return answer;
                                }};
};

} // namespace

TEST_F(MaintenanceTest, TheReportCountsAndRemovalAsksTheRightQuestion)
{
    BlockingWait::wait(view.scanAndReconcile());
    EXPECT_EQ(view.status(), u"Scan complete."_s);
    EXPECT_EQ(view.reportLines(), QStringList{u"Library is in sync."_s});

    AudioFixtures::copySample(u"taglib/sinewave.flac"_s, root + u"/new.flac"_s);
    const Track used = makeTrack(u"Used"_s);
    library.add(used);
    library.add(makeTrack(u"Unused"_s));
    const Playlist playlist = library.createPlaylist(u"Mix"_s);
    library.addTrack(used.id, playlist.id);
    BlockingWait::wait(view.scanAndReconcile());
    EXPECT_EQ(view.reportLines(),
              (QStringList{u"1 added"_s, u"2 missing on disk"_s,
                           u"1 of the missing tracks are still used in playlists — removing them will drop them from "
                           u"those playlists."_s}));

    answer = false;
    BlockingWait::wait(view.removeMissingTracks());
    ASSERT_TRUE(asked.has_value());
    EXPECT_EQ(asked->title, u"Remove 2 tracks whose files are missing?"_s);
    EXPECT_EQ(asked->message, u"1 are referenced by playlists and will be removed from them too."_s);
    EXPECT_EQ(asked->confirmButton, u"Remove Missing Tracks"_s);
    EXPECT_EQ(library.tracks().size(), 3) << "cancelled: nothing removed";

    answer = true;
    BlockingWait::wait(view.removeMissingTracks());
    EXPECT_EQ(view.status(), u"Reconcile complete."_s);
    EXPECT_TRUE(view.reportLines().contains(u"Removals applied."_s));
    ASSERT_EQ(library.tracks().size(), 2);
    EXPECT_EQ(library.tracks().at(1).id, used.id) << "the track a playlist uses stays, after the found ones";

    library.deletePlaylist(playlist.id);
    BlockingWait::wait(view.scanAndReconcile());
    BlockingWait::wait(view.removeMissingTracks());
    EXPECT_EQ(asked->title, u"Remove 1 tracks whose files are missing?"_s);
    EXPECT_EQ(asked->message, u"This cannot be undone."_s) << "no playlist uses it any more";
    EXPECT_EQ(library.tracks().size(), 1);
}

TEST_F(MaintenanceTest, OrganizeAndPruneReportTheirWork)
{
    const QString path = AudioFixtures::copySample(u"taglib/sinewave.flac"_s, root + u"/loose.flac"_s);
    library.add(Library::scanFolder(QUrl::fromLocalFile(root)).constFirst());
    BlockingWait::wait(view.organizeFiles());
    EXPECT_EQ(view.status(), u"Files organized."_s);
    EXPECT_FALSE(QFileInfo::exists(path));

    const Playlist playlist = library.createPlaylist(u"Mix"_s);
    library.addTrack(QUuid::createUuid(), playlist.id);
    view.prunePlaylistGaps();
    EXPECT_EQ(view.status(), u"Removed dangling playlist entries."_s);
    EXPECT_TRUE(library.playlists().constFirst().trackIDs.isEmpty());
}

// Artwork.

namespace {

class MaintenanceArtworkTest : public MaintenanceTest {
protected:
    MaintenanceArtworkTest()
    {
        view.show();
        // Only "Found" / "Album" has a cover, and only on iTunes.
        services.iTunes.route(u"/art/1200x1200bb.jpg"_s, FakeResponse::ok(png, "image/png"));
        services.iTunes.route(u"/search"_s, [this](const FakeRequest& request) {
            const QUrlQuery query(QUrl(QString::fromUtf8(request.target)));
            if (query.queryItemValue(u"term"_s, QUrl::FullyDecoded) != u"Found Album"_s)
                return FakeResponse::ok(R"({"resultCount":0,"results":[]})", "application/json");
            const QString art = services.iTunes.url(u"/art/100x100bb.jpg"_s).toString();
            return FakeResponse::ok(
                uR"({"results":[{"artistName":"Found","collectionName":"Album","artworkUrl100":"%1"}]})"_s.arg(art)
                    .toUtf8(),
                "application/json");
        });
    }

    Track addFile(const QString& name, const QString& artist, const QString& album)
    {
        const QUrl url = QUrl::fromLocalFile(
            AudioFixtures::copySample(u"taglib/sinewave.flac"_s, root + u'/' + name + u".flac"_s));
        Track track = Track::fromFile(url, *TagReader::read(url));
        track.artist = artist;
        track.albumArtist = artist;
        track.album = album;
        library.add(track);
        return track;
    }

    QPushButton* button(const QString& text) const
    {
        // A button shows "&&" as "&".
        for (QPushButton* candidate : view.findChildren<QPushButton*>()) {
            if (QString(candidate->text()).replace(u"&&"_s, u"&"_s) == text)
                return candidate;
        }
        ADD_FAILURE() << "no button " << text.toStdString();
        return nullptr;
    }

    // Clicks as the user would and waits for the action to end.
    void click(const QString& text)
    {
        QPushButton* target = button(text);
        ASSERT_NE(target, nullptr);
        QTest::mouseClick(target, Qt::LeftButton);
        ASSERT_TRUE(QTest::qWaitFor([this] { return !view.isRunning(); }, 10000));
    }

    FakeServices services;
    const QByteArray png = AudioFixtures::pngBytes();
};

} // namespace

TEST_F(MaintenanceArtworkTest, FetchingMissingArtworkCountsCoversAndReFetchingAllAsksFirst)
{
    click(u"Fetch Missing Artwork"_s);
    EXPECT_EQ(view.status(), u"No tracks were missing artwork."_s);

    addFile(u"a"_s, u"Found"_s, u"Album"_s);
    addFile(u"b"_s, u"Lost"_s, u"Album"_s);
    addFile(u"c"_s, u"Found"_s, u"Album"_s);
    for (const Track& track : library.tracks())
        library.artworkCache().invalidate(track.id);
    click(u"Fetch Missing Artwork"_s);
    EXPECT_EQ(view.status(), u"Found artwork for 2 of 3 tracks."_s);
    EXPECT_FALSE(asked.has_value()) << "only re-fetching everything asks first";

    answer = false;
    const qsizetype requests = services.iTunes.requests().size();
    click(u"Re-fetch All Artwork"_s);
    ASSERT_TRUE(asked.has_value());
    EXPECT_EQ(asked->title, u"Re-fetch artwork for all 3 tracks?"_s);
    EXPECT_EQ(asked->message, u"This overwrites the artwork currently embedded on every track, including ones that "
                              u"already look correct. This can't be undone."_s);
    EXPECT_EQ(asked->confirmButton, u"Re-fetch All Artwork"_s);
    EXPECT_EQ(services.iTunes.requests().size(), requests) << "cancelled";

    answer = true;
    click(u"Re-fetch All Artwork"_s);
    EXPECT_EQ(view.status(), u"Re-fetched artwork for 2 of 3 tracks."_s);
}

TEST_F(MaintenanceArtworkTest, TheArtworkActionsStandBetweenOrganizingAndPruningAndWaitForARunningOne)
{
    QStringList headings;
    const QStringList titles{u"Scan & Reconcile"_s, u"Organize Files"_s, u"Fetch Missing Artwork"_s,
                             u"Re-fetch All Artwork"_s, u"Prune Playlist Gaps"_s};
    for (const QLabel* label : view.findChildren<QLabel*>()) {
        if (titles.contains(label->text()))
            headings.append(label->text());
    }
    EXPECT_EQ(headings, titles);

    addFile(u"a"_s, u"Found"_s, u"Album"_s);
    library.artworkCache().invalidate(library.tracks().constFirst().id);
    QCoro::Task<> running = view.fetchMissingArtwork();
    EXPECT_TRUE(view.isRunning());
    EXPECT_FALSE(button(u"Re-fetch All Artwork"_s)->isEnabled());
    EXPECT_FALSE(button(u"Scan & Reconcile"_s)->isEnabled());
    BlockingWait::wait(view.refetchAllArtwork());
    EXPECT_FALSE(asked.has_value()) << "nothing starts while another action runs";
    BlockingWait::wait(std::move(running));
    EXPECT_FALSE(view.isRunning());
    EXPECT_TRUE(button(u"Re-fetch All Artwork"_s)->isEnabled());
    EXPECT_EQ(view.status(), u"Found artwork for 1 of 1 tracks."_s);
}
