#include "facade/Library.h"
#include "library/BlockingWait.h"
#include "podcasts/EpisodeDownloader.h"
#include "podcasts/PodcastStore.h"
#include "podcasts/RSSParser.h"
#include "support/AsyncTesting.h"
#include "support/FakeHttpServer.h"
#include "support/PodcastFeeds.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFileInfo>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// A show on a fake server whose feed a test rewrites between refreshes.
class LibraryPodcasts : public ::testing::Test {
protected:
    void SetUp() override
    {
        server.route(u"/feed.xml"_s, [this](const FakeRequest&) { return FakeResponse::ok(feed, "application/rss+xml"); });
        server.route(u"/broken.xml"_s, FakeResponse::withStatus(404, "<html><body>Not here</body></html>"));
        library = std::make_unique<Library>(QUrl::fromLocalFile(root()));
    }

    QString root() const { return stores.folder() + u"/Music"_s; }
    QString showFolder() const { return root() + u"/Podcasts/Late Night- Radio"_s; }
    QUrl feedURL() const { return server.url(u"/feed.xml"_s); }

    // An item dated `daysAgo` days back with an enclosure on the fake server.
    FeedItem item(const QString& name, int daysAgo) const
    {
        return {.title = name, .guid = u"guid-"_s + name, .enclosure = server.url(u"/media/"_s + name + u".mp3"_s).toString(),
                .pubDate = rfc822(QDateTime::currentDateTimeUtc().addDays(-daysAgo)), .duration = u"1:00"_s};
    }
    void serveEnclosure(const QString& name, const FakeResponse& response)
    {
        server.route(u"/media/"_s + name + u".mp3"_s, response);
    }
    void serveFeed(const QList<FeedItem>& items, const QString& title = u"Late Night: Radio"_s,
                   const QString& moreChannelXml = {})
    {
        feed = rssFeed(title, items, moreChannelXml);
        for (const FeedItem& i : items)
            serveEnclosure(i.title, FakeResponse::ok("audio of " + i.title.toUtf8(), "audio/mpeg"));
    }

    Podcast subscribe() { return BlockingWait::wait(library->addPodcast(feedURL())); }
    void refresh(const QUuid& id) { BlockingWait::wait(library->refreshPodcast(id)); }

    const Episode& episodeTitled(const QString& title) const
    {
        for (const Episode& e : library->episodes()) {
            if (e.title == title)
                return e;
        }
        throw std::runtime_error("no episode titled " + title.toStdString());
    }
    QStringList downloadedTitles() const
    {
        QStringList titles;
        for (const Episode& e : library->episodes()) {
            if (e.downloadState == DownloadState::downloaded)
                titles.append(e.title);
        }
        titles.sort();
        return titles;
    }
    PodcastStore::Contents saved()
    {
        library->flush();
        return PodcastStore::load().value;
    }

    TemporaryStores stores;
    FakeHttpServer server;
    QByteArray feed;
    std::unique_ptr<Library> library;
};

} // namespace

TEST_F(LibraryPodcasts, SubscribingAppendsThePodcastAndItsEpisodesAndSaves)
{
    serveFeed({item(u"one"_s, 2), item(u"two"_s, 1), {.title = u"no enclosure"_s}});
    QSignalSpy podcastsChanged(library.get(), &Library::podcastsChanged);
    const Podcast podcast = subscribe();

    EXPECT_EQ(podcast.title, u"Late Night: Radio"_s);
    EXPECT_EQ(podcast.feedURL, feedURL());
    EXPECT_EQ(library->podcasts(), QList<Podcast>{podcast});
    EXPECT_EQ(podcastsChanged.count(), 1);
    EXPECT_EQ(library->episodes().size(), 2);

    const PodcastStore::Contents store = saved();
    EXPECT_EQ(store.podcasts, library->podcasts());
    EXPECT_EQ(store.episodes, library->episodes());

    // The same address again is a second subscription: the screen guards against that.
    const Podcast again = subscribe();
    EXPECT_NE(again.id, podcast.id);
    EXPECT_EQ(library->podcasts().size(), 2);
    EXPECT_EQ(library->episodes().size(), 4);
}

TEST_F(LibraryPodcasts, AFeedThatCannotBeReadChangesNothing)
{
    EXPECT_THROW(BlockingWait::wait(library->addPodcast(server.url(u"/broken.xml"_s))), RSSParser::ParseError);
    EXPECT_TRUE(library->podcasts().isEmpty());

    serveFeed({item(u"one"_s, 1)});
    const Podcast podcast = subscribe();
    const QList<Podcast> podcasts = library->podcasts();
    const QList<Episode> episodes = library->episodes();
    feed = "<html>Maintenance</html>";
    EXPECT_EQ(awaitFailure<RSSParser::ParseError>(library->refreshPodcast(podcast.id)).kind(),
              RSSParser::ParseError::Kind::invalidFeed);
    EXPECT_EQ(library->podcasts(), podcasts) << "lastFetched too stays";
    EXPECT_EQ(library->episodes(), episodes);

    EXPECT_NO_THROW(refresh(QUuid::createUuid())) << "an unknown podcast is no error";
}

TEST_F(LibraryPodcasts, ARefreshTakesTheFeedsTextAndKeepsTheUsersChoices)
{
    serveFeed({item(u"one"_s, 3), item(u"two"_s, 2)});
    const Podcast podcast = subscribe();
    library->updatePodcastAutoDownload(podcast.id, PodcastAutoDownloadRule::latestN(0));
    const Episode one = episodeTitled(u"one"_s);
    library->markPlayed(one.id, true);

    // The guid stays while the title changes; the image is gone.
    FeedItem renamed = item(u"one"_s, 0);
    renamed.title = u"one, remastered"_s;
    feed = rssFeed(u"Late Night Radio (new name)"_s, {renamed, item(u"two"_s, 2), item(u"three"_s, 1)});
    feed.replace("<itunes:image href=\"https://example.org/art.jpg\"/>", "");
    refresh(podcast.id);

    const Podcast& refreshed = library->podcasts().at(0);
    EXPECT_EQ(refreshed.id, podcast.id);
    EXPECT_EQ(refreshed.title, u"Late Night Radio (new name)"_s);
    EXPECT_EQ(refreshed.artworkURL, std::nullopt) << "a feed that lost its image clears it";
    EXPECT_EQ(refreshed.autoDownloadRule, PodcastAutoDownloadRule::latestN(0));
    ASSERT_TRUE(refreshed.lastFetched);
    EXPECT_GE(*refreshed.lastFetched, *podcast.lastFetched);

    ASSERT_EQ(library->episodes().size(), 3);
    EXPECT_EQ(library->episodes().at(0).id, one.id) << "merged by its guid";
    EXPECT_TRUE(library->episodes().at(0).isPlayed);
    EXPECT_EQ(saved().episodes, library->episodes());
}

TEST_F(LibraryPodcasts, LatestNFetchesFurtherBackAtEachRefresh)
{
    serveFeed({item(u"e1"_s, 5), item(u"e2"_s, 4), item(u"e3"_s, 3), item(u"e4"_s, 2), item(u"e5"_s, 1)});
    const Podcast podcast = subscribe();
    library->updatePodcastAutoDownload(podcast.id, PodcastAutoDownloadRule::latestN(2));
    EXPECT_TRUE(downloadedTitles().isEmpty()) << "a rule takes effect at the next refresh";

    refresh(podcast.id);
    EXPECT_EQ(downloadedTitles(), (QStringList{u"e4"_s, u"e5"_s}));
    const Episode& newest = episodeTitled(u"e5"_s);
    ASSERT_TRUE(newest.localURL);
    EXPECT_EQ(newest.localURL->toLocalFile(), showFolder() + u"/e5.mp3"_s);

    // Marking one played frees its file; the next refresh reaches further back and may fetch it again.
    const QString file = newest.localURL->toLocalFile();
    library->markPlayed(newest.id, true);
    EXPECT_FALSE(QFileInfo::exists(file));
    EXPECT_EQ(episodeTitled(u"e5"_s).downloadState, DownloadState::notDownloaded);
    refresh(podcast.id);
    EXPECT_EQ(downloadedTitles(), (QStringList{u"e3"_s, u"e4"_s, u"e5"_s}));
    EXPECT_EQ(server.requestCount(u"/media/e4.mp3"_s), 1) << "nothing downloaded is fetched twice";
}

TEST_F(LibraryPodcasts, NewerThanTakesOnlyRecentEpisodesAndNeverRetriesAFailure)
{
    serveFeed({item(u"old"_s, 30), item(u"recent"_s, 3), item(u"new"_s, 1)});
    serveEnclosure(u"new"_s, FakeResponse::cutAfter(QByteArray(50'000, 'a'), 10'000));
    const Podcast podcast = subscribe();
    library->updatePodcastAutoDownload(podcast.id, PodcastAutoDownloadRule::newerThan(7));

    refresh(podcast.id);
    EXPECT_EQ(downloadedTitles(), QStringList{u"recent"_s});
    EXPECT_EQ(episodeTitled(u"new"_s).downloadState, DownloadState::failed) << "a failure does not stop the next";

    serveEnclosure(u"new"_s, FakeResponse::ok("fine now"));
    refresh(podcast.id);
    EXPECT_EQ(episodeTitled(u"new"_s).downloadState, DownloadState::failed) << "not retried by itself";
    EXPECT_EQ(server.requestCount(u"/media/new.mp3"_s), 1);

    // The user retries it by hand.
    BlockingWait::wait(library->downloadEpisode(episodeTitled(u"new"_s).id));
    EXPECT_EQ(episodeTitled(u"new"_s).downloadState, DownloadState::downloaded);
}

TEST_F(LibraryPodcasts, ADownloadGoesThroughItsStatesWithProgress)
{
    serveFeed({item(u"slow"_s, 1)});
    serveEnclosure(u"slow"_s, FakeResponse::slow(QByteArray(100'000, 's'), 10'000, std::chrono::milliseconds(30)));
    subscribe();
    const QUuid id = episodeTitled(u"slow"_s).id;

    QList<double> progress;
    QObject::connect(library.get(), &Library::downloadProgressChanged, library.get(), [&] {
        if (library->downloadProgress().contains(id))
            progress.append(library->downloadProgress().value(id));
    });
    QCoro::Task<> download = library->downloadEpisode(id);
    EXPECT_EQ(episodeTitled(u"slow"_s).downloadState, DownloadState::downloading);
    EXPECT_FALSE(library->downloadProgress().contains(id)) << "no entry before the first report";
    EXPECT_EQ(saved().episodes.at(0).downloadState, DownloadState::downloading) << "the state is on disk";

    // Asking again during the transfer marks it failed until the first one ends.
    EXPECT_EQ(awaitFailure<EpisodeDownloader::DownloadError>(library->downloadEpisode(id)).kind(),
              EpisodeDownloader::DownloadError::Kind::alreadyDownloading);
    EXPECT_EQ(episodeTitled(u"slow"_s).downloadState, DownloadState::failed);
    BlockingWait::wait(std::move(download));

    const Episode& done = episodeTitled(u"slow"_s);
    EXPECT_EQ(done.downloadState, DownloadState::downloaded);
    EXPECT_EQ(done.localURL, QUrl::fromLocalFile(showFolder() + u"/slow.mp3"_s));
    EXPECT_GE(progress.size(), 2);
    EXPECT_EQ(progress.constLast(), 1.0);
    EXPECT_FALSE(library->downloadProgress().contains(id)) << "removed at the end";
    EXPECT_EQ(saved().episodes.at(0), done);

    EXPECT_NO_THROW(BlockingWait::wait(library->downloadEpisode(QUuid::createUuid()))) << "an unknown id does nothing";
}

TEST_F(LibraryPodcasts, AFailedDownloadIsMarkedAndThrown)
{
    serveFeed({item(u"cut"_s, 1)});
    serveEnclosure(u"cut"_s, FakeResponse::cutAfter(QByteArray(50'000, 'c'), 20'000));
    subscribe();
    const QUuid id = episodeTitled(u"cut"_s).id;
    EXPECT_THROW(BlockingWait::wait(library->downloadEpisode(id)), EpisodeDownloader::DownloadError);
    EXPECT_EQ(episodeTitled(u"cut"_s).downloadState, DownloadState::failed);
    EXPECT_EQ(episodeTitled(u"cut"_s).localURL, std::nullopt);
    EXPECT_TRUE(library->downloadProgress().isEmpty());
    EXPECT_EQ(saved().episodes.at(0).downloadState, DownloadState::failed);
}

TEST_F(LibraryPodcasts, AnErrorAnswerLeavesTheEpisodeNotDownloaded)
{
    serveFeed({item(u"gone"_s, 1), item(u"broken"_s, 2)});
    serveEnclosure(u"gone"_s, FakeResponse::withStatus(404, "<h1>Not Found</h1>"));
    serveEnclosure(u"broken"_s, FakeResponse::withStatus(500, "<h1>Oops</h1>"));
    subscribe();
    for (const QString& title : {u"gone"_s, u"broken"_s}) {
        const auto failure = awaitFailure<EpisodeDownloader::DownloadError>(library->downloadEpisode(episodeTitled(title).id));
        EXPECT_EQ(failure.kind(), EpisodeDownloader::DownloadError::Kind::httpError) << failure.message().toStdString();
        EXPECT_EQ(episodeTitled(title).downloadState, DownloadState::failed);
        EXPECT_EQ(episodeTitled(title).localURL, std::nullopt);
    }
    EXPECT_TRUE(QDir(showFolder()).entryList(QDir::Files | QDir::Hidden).isEmpty());
    EXPECT_TRUE(downloadedTitles().isEmpty());
}

TEST_F(LibraryPodcasts, EpisodesOfOneTitleKeepAFileEach)
{
    const auto bonus = [this](const QString& name, int daysAgo) {
        FeedItem bonusItem = item(name, daysAgo);
        bonusItem.title = u"Bonus"_s;
        serveEnclosure(name, FakeResponse::ok("audio of " + name.toUtf8(), "audio/mpeg"));
        return bonusItem;
    };
    feed = rssFeed(u"Late Night: Radio"_s, {bonus(u"older"_s, 2), bonus(u"newer"_s, 1)});
    subscribe();
    QList<QUuid> ids;
    for (const Episode& e : library->episodes())
        ids.append(e.id);
    ASSERT_EQ(ids.size(), 2);
    const auto episode = [this](const QUuid& id) {
        const QList<Episode>& all = library->episodes();
        return *std::find_if(all.cbegin(), all.cend(), [&id](const Episode& e) { return e.id == id; });
    };
    const auto content = [&episode](const QUuid& id) { return readFile(episode(id).localURL->toLocalFile()); };

    BlockingWait::wait(library->downloadEpisode(ids.at(0)));
    BlockingWait::wait(library->downloadEpisode(ids.at(1)));
    EXPECT_EQ(episode(ids.at(0)).localURL, QUrl::fromLocalFile(showFolder() + u"/Bonus.mp3"_s));
    EXPECT_EQ(episode(ids.at(1)).localURL, QUrl::fromLocalFile(showFolder() + u"/Bonus (2).mp3"_s));
    const QByteArray firstContent = content(ids.at(0));
    const QByteArray secondContent = content(ids.at(1));
    EXPECT_NE(firstContent, secondContent);
    EXPECT_EQ(saved().episodes, library->episodes()) << "localURL records the name";

    BlockingWait::wait(library->downloadEpisode(ids.at(0)));
    EXPECT_EQ(content(ids.at(0)), firstContent) << "a new download of one episode keeps its name";
    EXPECT_EQ(content(ids.at(1)), secondContent);

    // With the first one's file gone, the second takes the plain name and its old file goes.
    library->deleteLocalFile(ids.at(0));
    BlockingWait::wait(library->downloadEpisode(ids.at(1)));
    EXPECT_EQ(episode(ids.at(1)).localURL, QUrl::fromLocalFile(showFolder() + u"/Bonus.mp3"_s));
    EXPECT_EQ(content(ids.at(1)), secondContent);
    EXPECT_EQ(QDir(showFolder()).entryList(QDir::Files | QDir::Hidden), QStringList{u"Bonus.mp3"_s});
}

TEST_F(LibraryPodcasts, RecordsThatGoDuringAWaitAreNotBroughtBack)
{
    serveFeed({item(u"slow"_s, 1)});
    serveEnclosure(u"slow"_s, FakeResponse::slow(QByteArray(40'000, 's'), 4'000, std::chrono::milliseconds(10)));
    const Podcast podcast = subscribe();

    // Unsubscribed while an episode is in transfer: the transfer ends and finds no record.
    QCoro::Task<> download = library->downloadEpisode(episodeTitled(u"slow"_s).id);
    library->deletePodcast(podcast.id);
    BlockingWait::wait(std::move(download));
    EXPECT_TRUE(library->episodes().isEmpty());
    EXPECT_TRUE(library->downloadProgress().isEmpty());
    EXPECT_TRUE(QFileInfo::exists(showFolder() + u"/slow.mp3"_s)) << "the moved file stays behind";

    // Unsubscribed while its feed is being read: the result is dropped.
    const Podcast second = subscribe();
    FakeResponse slowFeed = FakeResponse::ok(feed);
    slowFeed.delay = std::chrono::milliseconds(200);
    server.route(u"/feed.xml"_s, slowFeed);
    QCoro::Task<> refreshing = library->refreshPodcast(second.id);
    library->deletePodcast(second.id);
    BlockingWait::wait(std::move(refreshing));
    EXPECT_TRUE(library->podcasts().isEmpty());
    EXPECT_TRUE(library->episodes().isEmpty());
}

TEST_F(LibraryPodcasts, RefreshingAllGoesOnPastAFailure)
{
    serveFeed({item(u"one"_s, 1)});
    subscribe();
    server.route(u"/other.xml"_s, FakeResponse::ok(rssFeed(u"Other"_s, {item(u"x"_s, 1)})));
    const Podcast second = BlockingWait::wait(library->addPodcast(server.url(u"/other.xml"_s)));
    server.route(u"/other.xml"_s, FakeResponse::withStatus(500, "down"));
    const Podcast third = subscribe();

    feed = rssFeed(u"Renamed"_s, {item(u"one"_s, 1), item(u"two"_s, 0)});
    BlockingWait::wait(library->refreshAllPodcasts());
    EXPECT_EQ(library->podcasts().at(0).title, u"Renamed"_s);
    EXPECT_EQ(library->podcasts().at(1).title, u"Other"_s) << "the failed one is untouched";
    EXPECT_EQ(library->podcasts().at(2).title, u"Renamed"_s) << "and the next went on";
    EXPECT_EQ(library->episodes(third.id).size(), 2);
    EXPECT_EQ(library->episodes(second.id).size(), 1);
}

TEST_F(LibraryPodcasts, EpisodeOperationsOnFilesAndMarks)
{
    serveFeed({item(u"a"_s, 3), item(u"b"_s, 2), item(u"c"_s, 1)});
    serveEnclosure(u"c"_s, FakeResponse::cutAfter(QByteArray(5'000, 'c'), 1'000));
    const Podcast podcast = subscribe();
    for (const QString& title : {u"a"_s, u"b"_s})
        BlockingWait::wait(library->downloadEpisode(episodeTitled(title).id));
    EXPECT_THROW(BlockingWait::wait(library->downloadEpisode(episodeTitled(u"c"_s).id)), EpisodeDownloader::DownloadError);
    const QString fileA = episodeTitled(u"a"_s).localURL->toLocalFile();
    const QString fileB = episodeTitled(u"b"_s).localURL->toLocalFile();
    ASSERT_TRUE(QFileInfo::exists(fileA));

    library->deleteLocalFile(episodeTitled(u"a"_s).id);
    EXPECT_FALSE(QFileInfo::exists(fileA));
    EXPECT_EQ(episodeTitled(u"a"_s).downloadState, DownloadState::notDownloaded);
    EXPECT_EQ(episodeTitled(u"a"_s).localURL, std::nullopt);

    // Only a downloaded episode has a file to delete; nothing else is touched or saved.
    Episode failed = episodeTitled(u"c"_s);
    QSignalSpy episodesChanged(library.get(), &Library::episodesChanged);
    library->deleteLocalFile(failed.id);
    library->deleteLocalFile(QUuid::createUuid());
    EXPECT_EQ(episodesChanged.count(), 0);

    ASSERT_EQ(failed.downloadState, DownloadState::failed);
    library->markPlayed(failed.id, true);
    EXPECT_TRUE(episodeTitled(u"c"_s).isPlayed);
    EXPECT_EQ(episodeTitled(u"c"_s).downloadState, DownloadState::failed) << "no file, so the state stays";
    EXPECT_EQ(episodesChanged.count(), 1);
    library->markPlayed(episodeTitled(u"b"_s).id, false);
    EXPECT_FALSE(episodeTitled(u"b"_s).isPlayed);
    EXPECT_TRUE(QFileInfo::exists(fileB)) << "unplayed keeps the file";

    ASSERT_EQ(library->episodes(podcast.id).size(), 3);
    EXPECT_EQ(library->episodes(podcast.id).at(0).title, u"c"_s) << "newest first";
    EXPECT_TRUE(library->episodes(QUuid::createUuid()).isEmpty());
}

TEST_F(LibraryPodcasts, UnsubscribingRemovesTheFilesAndOnlyThatPodcastsEpisodes)
{
    serveFeed({item(u"a"_s, 2), item(u"b"_s, 1)});
    const Podcast podcast = subscribe();
    server.route(u"/other.xml"_s, FakeResponse::ok(rssFeed(u"Other"_s, {item(u"x"_s, 1)})));
    serveEnclosure(u"x"_s, FakeResponse::ok("audio of x", "audio/mpeg"));
    const Podcast other = BlockingWait::wait(library->addPodcast(server.url(u"/other.xml"_s)));
    BlockingWait::wait(library->downloadEpisode(episodeTitled(u"a"_s).id));
    BlockingWait::wait(library->downloadEpisode(episodeTitled(u"x"_s).id));
    const QString fileA = episodeTitled(u"a"_s).localURL->toLocalFile();
    const QString fileX = episodeTitled(u"x"_s).localURL->toLocalFile();

    library->deletePodcast(podcast.id);
    EXPECT_EQ(library->podcasts(), QList<Podcast>{other});
    ASSERT_EQ(library->episodes().size(), 1);
    EXPECT_EQ(library->episodes().at(0).title, u"x"_s);
    EXPECT_FALSE(QFileInfo::exists(fileA));
    EXPECT_TRUE(QFileInfo::exists(fileX));
    EXPECT_TRUE(QFileInfo(showFolder()).isDir()) << "the folder stays";
    EXPECT_EQ(saved().podcasts, QList<Podcast>{other});
}

TEST_F(LibraryPodcasts, StoresLoadAsTheyAreAndACorruptOneIsEmptyUntilTheNextSave)
{
    library.reset();
    const Podcast podcast{.id = QUuid::createUuid(), .title = u"Show"_s, .feedURL = feedURL()};
    const Episode interrupted{.id = QUuid::createUuid(), .podcastID = podcast.id, .title = u"half"_s,
                              .remoteURL = QUrl(u"https://e.org/half.mp3"_s), .downloadState = DownloadState::downloading};
    const Episode orphan{.id = QUuid::createUuid(), .podcastID = QUuid::createUuid(), .title = u"orphan"_s,
                         .remoteURL = QUrl(u"https://e.org/orphan.mp3"_s)};
    ASSERT_EQ(PodcastStore::save({podcast}, {interrupted, orphan}), std::nullopt);
    library = std::make_unique<Library>(QUrl::fromLocalFile(root()));
    EXPECT_EQ(library->episodes(), (QList<Episode>{interrupted, orphan})) << "no repair step";
    EXPECT_TRUE(library->downloadProgress().isEmpty());

    library.reset();
    const QByteArray corrupt = R"({"podcasts":[{"id":"not a uuid"}],"episodes":[]})";
    writeFile(PodcastStore::storePath(), corrupt);
    library = std::make_unique<Library>(QUrl::fromLocalFile(root()));
    EXPECT_TRUE(library->podcasts().isEmpty());
    EXPECT_TRUE(library->episodes().isEmpty());
    library->flush();
    EXPECT_EQ(readFile(PodcastStore::storePath()), corrupt) << "loading writes nothing";

    serveFeed({item(u"one"_s, 1)});
    const Podcast subscribed = subscribe();
    EXPECT_EQ(saved().podcasts, QList<Podcast>{subscribed});
    EXPECT_EQ(PodcastStore::load().state, StoreState::sound);
}
