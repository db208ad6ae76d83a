#include "podcasts/EpisodeDownloader.h"
#include "library/BlockingWait.h"
#include "podcasts/PodcastFiles.h"
#include "support/FakeHttpServer.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFileInfo>
#include <QScopeGuard>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include <sys/mount.h>

using namespace Qt::StringLiterals;
using DownloadError = EpisodeDownloader::DownloadError;

namespace {

Episode episodeAt(const QUrl& remoteURL, const QString& title = u"Episode One"_s)
{
    return Episode{
        .id = QUuid::createUuid(),
        .podcastID = QUuid::createUuid(),
        .title = title,
        .remoteURL = remoteURL,
    };
}

QByteArray audio(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i)
        bytes[i] = char(i * 7 % 251);
    return bytes;
}

class EpisodeDownload : public ::testing::Test {
protected:
    QUrl download(const Episode& episode, std::function<void(double)> onProgress = {})
    {
        return BlockingWait::wait(downloader.download(episode, QUrl::fromLocalFile(folder()), std::move(onProgress)));
    }

    DownloadError::Kind failureOf(const Episode& episode)
    {
        try {
            download(episode);
        } catch (const DownloadError& error) {
            lastError = error.message();
            return error.kind();
        }
        ADD_FAILURE() << "the download succeeded";
        return DownloadError::Kind::noLocalFile;
    }

    // The error with which a downloader of these options ends the download.
    DownloadError failureWith(const EpisodeDownloader::Options& options, const Episode& episode)
    {
        EpisodeDownloader limited(options);
        try {
            BlockingWait::wait(limited.download(episode, QUrl::fromLocalFile(folder()), {}));
        } catch (const DownloadError& error) {
            EXPECT_FALSE(limited.isDownloading(episode.id));
            return error;
        }
        ADD_FAILURE() << "the download succeeded";
        return DownloadError(DownloadError::Kind::noLocalFile);
    }

    QString folder() const { return stores.folder() + u"/Music/Podcasts/Show"_s; }
    QStringList filesInFolder() const { return QDir(folder()).entryList(QDir::Files | QDir::Hidden); }

    TemporaryStores stores;
    FakeHttpServer server;
    EpisodeDownloader downloader;
    QString lastError;
};

} // namespace

TEST(PodcastFiles, NamesComeFromTheTitleAndThePathExtension)
{
    const auto name = [](const QString& url, const QString& title) {
        Episode episode = episodeAt(QUrl(url), title);
        episode.id = QUuid::fromString(u"0A1B2C3D-0000-4000-8000-00000000ABCD"_s);
        return PodcastFiles::episodeFileName(episode);
    };
    EXPECT_EQ(name(u"https://e.org/e1.MP3"_s, u"Part 1: Intro"_s), u"Part 1- Intro.mp3"_s);
    EXPECT_EQ(name(u"https://e.org/media/episode.M4A?token=x.y"_s, u"A"_s), u"A.m4a"_s);
    EXPECT_EQ(name(u"https://e.org/media/stream"_s, u"A"_s), u"A.mp3"_s);
    EXPECT_EQ(name(u"https://e.org/a.mp3%2F..%2Fx"_s, u"A"_s), u"A.mp3"_s) << "an extension is plain letters";
    EXPECT_EQ(name(u"https://e.org/a.ogg"_s, u"   "_s), u"0A1B2C3D-0000-4000-8000-00000000ABCD.ogg"_s);
    EXPECT_EQ(name(u"https://e.org/a.ogg"_s, u"../../etc/passwd"_s), u"-..-etc-passwd.ogg"_s);
    EXPECT_EQ(name(u"https://e.org/a.ogg"_s, u"Line\none\ttwo\u0007"_s), u"Line one two.ogg"_s);
    Episode bonus = episodeAt(QUrl(u"https://e.org/b.m4a"_s), u"Bonus"_s);
    EXPECT_EQ(PodcastFiles::episodeFileName(bonus, 2), u"Bonus (2).m4a"_s);
    bonus.title = QString(1000, u'é');
    EXPECT_TRUE(PodcastFiles::episodeFileName(bonus, 12).endsWith(u"é (12).m4a"_s));
    EXPECT_LE(PodcastFiles::episodeFileName(bonus, 12).toUtf8().size(), PodcastFiles::maximumNameBytes);

    for (const QString& title : {QString(1000, u'x'), QString(1000, u'é'), QString(500, u'あ'),
                                 QString(u"😀"_s).repeated(300), QString(u"a."_s).repeated(500)}) {
        const QString fileName = name(u"https://e.org/a.mp3"_s, title);
        const QByteArray bytes = fileName.toUtf8();
        EXPECT_LE(bytes.size(), PodcastFiles::maximumNameBytes);
        EXPECT_GT(bytes.size(), 200) << "cut, not dropped";
        EXPECT_TRUE(fileName.endsWith(u".mp3"_s));
        EXPECT_EQ(QString::fromUtf8(bytes), fileName) << "cut at a character boundary";
        EXPECT_FALSE(fileName.contains(u"..mp3"_s));
    }
}

TEST(PodcastFiles, EachPodcastHasAFolderOfItsOwnBelowPodcasts)
{
    const QUrl root = QUrl::fromLocalFile(u"/music/"_s);
    EXPECT_EQ(PodcastFiles::podcastFolder(root, u"Tech/Talk"_s), u"/music/Podcasts/Tech-Talk"_s);
    EXPECT_EQ(PodcastFiles::podcastFolder(root, u".."_s), u"/music/Podcasts/Unknown Podcast"_s);
    const QString longName = QFileInfo(PodcastFiles::podcastFolder(root, QString(1000, u'ü'))).fileName();
    EXPECT_LE(longName.toUtf8().size(), PodcastFiles::maximumNameBytes);
}

TEST_F(EpisodeDownload, StreamsToTheFolderWithProgressWhenTheLengthIsKnown)
{
    const QByteArray body = audio(3'000'000);
    // Half a second: Qt reports progress at most every tenth of a second.
    server.route(u"/e1.MP3"_s, FakeResponse::slow(body, 300'000, std::chrono::milliseconds(50)));

    const Episode episode = episodeAt(server.url(u"/e1.MP3"_s), u"Part 1: Intro"_s);
    QList<double> fractions;
    bool targetAppearedEarly = false;
    const QUrl file = download(episode, [&](double fraction) {
        fractions.append(fraction);
        // While the transfer runs the bytes go to a temporary file; the target appears whole.
        if (fraction < 1 && QFileInfo::exists(folder() + u"/Part 1- Intro.mp3"_s))
            targetAppearedEarly = true;
    });

    EXPECT_EQ(file, QUrl::fromLocalFile(folder() + u"/Part 1- Intro.mp3"_s));
    EXPECT_EQ(readFile(file.toLocalFile()), body);
    EXPECT_EQ(filesInFolder(), QStringList{u"Part 1- Intro.mp3"_s}) << "nothing else is left";
    ASSERT_GE(fractions.size(), 3);
    EXPECT_TRUE(std::is_sorted(fractions.cbegin(), fractions.cend()));
    EXPECT_GT(fractions.constFirst(), 0);
    EXPECT_EQ(fractions.constLast(), 1.0);
    EXPECT_FALSE(targetAppearedEarly);
    EXPECT_FALSE(downloader.isDownloading(episode.id));
    EXPECT_TRUE(server.requests()[0].header("User-Agent").isEmpty()
                || !server.requests()[0].header("User-Agent").startsWith("Velmo"))
        << "the transfer carries no User-Agent of the program's own";
}

TEST_F(EpisodeDownload, AnUnknownLengthGivesNoProgressButCompletes)
{
    FakeResponse unknown = FakeResponse::slow(audio(50'000), 10'000, std::chrono::milliseconds(10));
    unknown.sendContentLength = false;
    server.route(u"/stream"_s, unknown);
    int calls = 0;
    const QUrl file = download(episodeAt(server.url(u"/stream"_s)), [&calls](double) { ++calls; });
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(QFileInfo(file.toLocalFile()).size(), 50'000);
}

TEST_F(EpisodeDownload, OneTransferPerEpisodeAtATime)
{
    server.route(u"/slow.mp3"_s, FakeResponse::slow(audio(30'000), 3'000, std::chrono::milliseconds(20)));
    server.route(u"/other.mp3"_s, FakeResponse::ok("other"));

    const Episode episode = episodeAt(server.url(u"/slow.mp3"_s));
    QCoro::Task<QUrl> first = downloader.download(episode, QUrl::fromLocalFile(folder()), {});
    EXPECT_EQ(failureOf(episode), DownloadError::Kind::alreadyDownloading);
    EXPECT_EQ(lastError, u"The episode is already being downloaded."_s);

    // Another episode goes at the same time.
    const QUrl other = download(episodeAt(server.url(u"/other.mp3"_s), u"Other"_s));
    EXPECT_EQ(readFile(other.toLocalFile()), "other");
    EXPECT_TRUE(downloader.isDownloading(episode.id));

    const QUrl file = BlockingWait::wait(std::move(first));
    EXPECT_EQ(QFileInfo(file.toLocalFile()).size(), 30'000) << "the first transfer was not disturbed";
    EXPECT_EQ(server.requestCount(u"/slow.mp3"_s), 1);

    // Once it has ended the episode may be fetched again, and the new file replaces the old.
    server.route(u"/slow.mp3"_s, FakeResponse::ok("second version"));
    EXPECT_EQ(download(episode), file);
    EXPECT_EQ(readFile(file.toLocalFile()), "second version");
}

TEST_F(EpisodeDownload, ATransferThatFailsMidwayLeavesNothingBehind)
{
    const Episode episode = episodeAt(server.url(u"/cut.mp3"_s));
    server.route(u"/cut.mp3"_s, FakeResponse::ok("an earlier download"));
    const QUrl target = download(episode);

    FakeResponse cut = FakeResponse::slow(audio(100'000), 10'000, std::chrono::milliseconds(5));
    cut.dropAfter = 40'000;
    server.route(u"/cut.mp3"_s, cut);
    EXPECT_EQ(failureOf(episode), DownloadError::Kind::networkError);
    EXPECT_TRUE(lastError.startsWith(u"The episode could not be downloaded: "_s)) << lastError.toStdString();
    EXPECT_EQ(readFile(target.toLocalFile()), "an earlier download") << "the old file stays until a new one is whole";
    EXPECT_EQ(filesInFolder(), QStringList{QFileInfo(target.toLocalFile()).fileName()}) << "no partial file";
    EXPECT_FALSE(downloader.isDownloading(episode.id));

    server.route(u"/cut.mp3"_s, FakeResponse::ok("complete"));
    EXPECT_EQ(readFile(download(episode).toLocalFile()), "complete") << "the id was released";
}

TEST_F(EpisodeDownload, RedirectsAreFollowed)
{
    server.route(u"/tracking"_s, FakeResponse::redirect(server.url(u"/cdn/ep.ogg"_s)));
    server.route(u"/cdn/ep.ogg"_s, FakeResponse::ok("audio"));
    const QUrl file = download(episodeAt(server.url(u"/tracking"_s)));
    EXPECT_TRUE(file.toLocalFile().endsWith(u"/Episode One.mp3"_s)) << "named after the address asked for";
    EXPECT_EQ(readFile(file.toLocalFile()), "audio");
}

TEST_F(EpisodeDownload, AnErrorAnswerIsNotAnEpisodeAndLeavesNoFile)
{
    const Episode episode = episodeAt(server.url(u"/ep.mp3"_s));
    server.route(u"/ep.mp3"_s, FakeResponse::ok("an earlier download"));
    const QString target = download(episode).toLocalFile();

    for (const auto& [status, words] : {std::pair(404, "404 (not found)"), std::pair(500, "500 (internal server error)")}) {
        server.route(u"/ep.mp3"_s, FakeResponse::withStatus(status, QByteArray(40'000, 'x')));
        EXPECT_EQ(failureOf(episode), DownloadError::Kind::httpError) << status;
        EXPECT_EQ(lastError, u"The episode could not be downloaded: the server answered %1."_s.arg(QLatin1StringView(words)));
        EXPECT_EQ(readFile(target), "an earlier download") << "an error page replaces nothing";
        EXPECT_EQ(filesInFolder(), QStringList{QFileInfo(target).fileName()}) << "and leaves no file of its own";
        EXPECT_FALSE(downloader.isDownloading(episode.id));
    }

    server.route(u"/teapot.mp3"_s, FakeResponse::withStatus(418, "short and stout"));
    EXPECT_EQ(failureOf(episodeAt(server.url(u"/teapot.mp3"_s), u"Teapot"_s)), DownloadError::Kind::httpError);
    EXPECT_TRUE(lastError.contains(u"the server answered 418"_s)) << lastError.toStdString();
    EXPECT_EQ(filesInFolder().size(), 1);
}

TEST_F(EpisodeDownload, ARedirectAwayFromTheWebIsRefused)
{
    const QString secret = stores.path(u"secret.txt"_s);
    writeFile(secret, "private");
    for (const QUrl& elsewhere : {QUrl::fromLocalFile(secret), QUrl(u"ftp://127.0.0.1/e.mp3"_s),
                                  QUrl(u"data:audio/mpeg;base64,AAAA"_s)}) {
        server.route(u"/away"_s, FakeResponse::redirect(elsewhere));
        const Episode episode = episodeAt(server.url(u"/away"_s));
        EXPECT_EQ(failureOf(episode), DownloadError::Kind::httpError) << elsewhere.toString().toStdString();
        EXPECT_TRUE(lastError.contains(u"which is not a web address"_s)) << lastError.toStdString();
        EXPECT_TRUE(filesInFolder().isEmpty()) << filesInFolder().join(u", "_s).toStdString();
        EXPECT_FALSE(downloader.isDownloading(episode.id));
    }
    EXPECT_EQ(readFile(secret), "private");
}

TEST_F(EpisodeDownload, EpisodesOfOneTitleGetAFileEach)
{
    server.route(u"/a.mp3"_s, FakeResponse::ok("first"));
    server.route(u"/b.mp3"_s, FakeResponse::ok("second"));
    server.route(u"/c.mp3"_s, FakeResponse::ok("third"));
    const Episode first = episodeAt(server.url(u"/a.mp3"_s), u"Bonus"_s);
    const Episode second = episodeAt(server.url(u"/b.mp3"_s), u"Bonus"_s);
    const Episode third = episodeAt(server.url(u"/c.mp3"_s), u"Bonus"_s);

    const QString firstFile = download(first).toLocalFile();
    const auto downloadBeside = [this](const Episode& episode, const QSet<QString>& taken) {
        return BlockingWait::wait(downloader.download(episode, QUrl::fromLocalFile(folder()), {}, taken)).toLocalFile();
    };
    const QString secondFile = downloadBeside(second, {firstFile});
    const QString thirdFile = downloadBeside(third, {firstFile, secondFile});
    EXPECT_EQ(QFileInfo(firstFile).fileName(), u"Bonus.mp3"_s);
    EXPECT_EQ(QFileInfo(secondFile).fileName(), u"Bonus (2).mp3"_s);
    EXPECT_EQ(QFileInfo(thirdFile).fileName(), u"Bonus (3).mp3"_s);
    EXPECT_EQ(readFile(firstFile), "first");
    EXPECT_EQ(readFile(secondFile), "second");
    EXPECT_EQ(readFile(thirdFile), "third");

    EXPECT_EQ(downloadBeside(second, {firstFile, thirdFile}), secondFile) << "a file's own name is not taken from it";
    EXPECT_EQ(downloadBeside(first, {secondFile, thirdFile}), firstFile);

    // Two transfers at once, neither file on disk yet: the name is decided as each starts.
    server.route(u"/slow-a.mp3"_s, FakeResponse::slow(QByteArray(20'000, 'a'), 5'000, std::chrono::milliseconds(10)));
    server.route(u"/slow-b.mp3"_s, FakeResponse::slow(QByteArray(20'000, 'b'), 5'000, std::chrono::milliseconds(10)));
    QCoro::Task<QUrl> one = downloader.download(episodeAt(server.url(u"/slow-a.mp3"_s), u"Live"_s), QUrl::fromLocalFile(folder()), {});
    QCoro::Task<QUrl> two = downloader.download(episodeAt(server.url(u"/slow-b.mp3"_s), u"Live"_s), QUrl::fromLocalFile(folder()), {});
    const QString oneFile = BlockingWait::wait(std::move(one)).toLocalFile();
    const QString twoFile = BlockingWait::wait(std::move(two)).toLocalFile();
    EXPECT_EQ(QFileInfo(oneFile).fileName(), u"Live.mp3"_s);
    EXPECT_EQ(QFileInfo(twoFile).fileName(), u"Live (2).mp3"_s);
    EXPECT_EQ(readFile(oneFile), QByteArray(20'000, 'a'));
    EXPECT_EQ(readFile(twoFile), QByteArray(20'000, 'b'));
}

TEST_F(EpisodeDownload, OnlyWebAddressesAreFetched)
{
    const QString secret = stores.path(u"secret.txt"_s);
    writeFile(secret, "private");
    for (const QUrl& url : {QUrl::fromLocalFile(secret), QUrl(u"ftp://127.0.0.1/e.mp3"_s),
                            QUrl(u"data:audio/mpeg;base64,AAAA"_s), QUrl(u"relative/e.mp3"_s)}) {
        const Episode episode = episodeAt(url);
        EXPECT_EQ(failureOf(episode), DownloadError::Kind::unsupportedAddress) << url.toString().toStdString();
        EXPECT_TRUE(lastError.contains(u"not a web address"_s)) << lastError.toStdString();
        EXPECT_FALSE(downloader.isDownloading(episode.id));
    }
    EXPECT_FALSE(QFileInfo::exists(folder())) << "nothing was made";
}

TEST_F(EpisodeDownload, AFolderThatCannotBeMadeIsAFileError)
{
    writeFile(stores.folder() + u"/Music/Podcasts"_s, "a file where the folder should be");
    server.route(u"/e.mp3"_s, FakeResponse::ok("audio"));
    const Episode episode = episodeAt(server.url(u"/e.mp3"_s));
    EXPECT_EQ(failureOf(episode), DownloadError::Kind::fileError);
    EXPECT_EQ(server.requestCount(u"/e.mp3"_s), 0) << "no transfer was started";
    EXPECT_FALSE(downloader.isDownloading(episode.id));
}

TEST_F(EpisodeDownload, AServerThatTricklesIsGivenUpWhenAWindowBringsTooLittle)
{
    using namespace std::chrono_literals;
    const EpisodeDownloader::Options strict{.minimumBytesPerWindow = 16 * 1024, .window = 200ms};
    // 50 bytes every 10 ms: never silent, but a kilobyte in each window, and 6 s in all.
    server.route(u"/trickle.mp3"_s, FakeResponse::slow(audio(30'000), 50, 10ms));
    server.route(u"/brisk.mp3"_s, FakeResponse::slow(audio(200'000), 20'000, 10ms));

    const DownloadError error = failureWith(strict, episodeAt(server.url(u"/trickle.mp3"_s)));
    EXPECT_EQ(error.kind(), DownloadError::Kind::networkError);
    EXPECT_EQ(error.message(), u"The episode could not be downloaded: the server sent less than 16 KiB in 200 ms."_s);
    EXPECT_TRUE(filesInFolder().isEmpty()) << "no partial file";

    EpisodeDownloader brisk(strict);
    const QUrl file = BlockingWait::wait(brisk.download(episodeAt(server.url(u"/brisk.mp3"_s), u"Brisk"_s),
                                                        QUrl::fromLocalFile(folder()), {}));
    EXPECT_EQ(QFileInfo(file.toLocalFile()).size(), 200'000);
}

namespace {

// Bytes in the files this process has open in `folder`: a download's temporary file has no
// name there until it is complete.
qint64 bytesOpenIn(const QString& folder)
{
    qint64 bytes = 0;
    const QDir descriptors(u"/proc/self/fd"_s);
    for (const QFileInfo& descriptor : descriptors.entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)) {
        if (descriptor.symLinkTarget().startsWith(folder + u'/'))
            bytes += descriptor.size();
    }
    return bytes;
}

// A file system of `total` bytes with `free` of them unused before the download. Should the
// count go wrong, it reports the disk full after a while rather than let the test fill it.
std::function<std::optional<FileSystemSpace>(const QString&)> fakeDisk(qint64 total, qint64 free)
{
    auto calls = std::make_shared<int>(0);
    return [total, free, calls](const QString& folder) {
        if (++*calls > 10'000)
            return FileSystemSpace{0, total};
        return FileSystemSpace{free - bytesOpenIn(folder), total};
    };
}

} // namespace

TEST_F(EpisodeDownload, AnEnclosureThatNeverEndsStopsAtTheDisksReserve)
{
    constexpr qint64 mebibyte = 1024 * 1024;
    FakeResponse endless = FakeResponse::ok(audio(64 * 1024));
    endless.endless = true;
    server.route(u"/endless.mp3"_s, endless);
    const Episode episode = episodeAt(server.url(u"/endless.mp3"_s));

    // 5 % of 100 MiB is less than the reserve of 1 GiB.
    const DownloadError small = failureWith({.freeSpace = fakeDisk(100 * mebibyte, 8 * mebibyte)}, episode);
    EXPECT_EQ(small.kind(), DownloadError::Kind::fileError);
    EXPECT_EQ(small.message(), u"The episode could not be saved as “%1/Episode One.mp3”: it would leave less than 5 MiB "
                               u"free on its disk."_s.arg(folder()));
    EXPECT_TRUE(filesInFolder().isEmpty()) << "the partial file is removed";

    const DownloadError large =
        failureWith({.freeSpace = fakeDisk(qint64(1) << 40, (qint64(1) << 30) + 3 * mebibyte)}, episode);
    EXPECT_TRUE(large.message().endsWith(u"it would leave less than 1 GiB free on its disk."_s))
        << large.message().toStdString();
    EXPECT_TRUE(filesInFolder().isEmpty());

    // A length that does not fit is refused before a byte is written.
    FakeResponse announced = FakeResponse::slow(audio(64 * 1024), 1024, std::chrono::milliseconds(100));
    announced.sendContentLength = false;
    announced.headers.append({"Content-Length", QByteArray::number(4 * mebibyte)});
    server.route(u"/announced.mp3"_s, announced);
    const DownloadError refused = failureWith({.freeSpace = fakeDisk(100 * mebibyte, 8 * mebibyte)},
                                              episodeAt(server.url(u"/announced.mp3"_s)));
    EXPECT_EQ(refused.kind(), DownloadError::Kind::fileError) << refused.message().toStdString();
    EXPECT_TRUE(filesInFolder().isEmpty());
}

TEST_F(EpisodeDownload, OnASmallDiskAnEndlessEnclosureLeavesItsShareFree)
{
    const QString disk = stores.path(u"small disk"_s);
    ASSERT_TRUE(QDir().mkpath(disk));
    if (::mount("tmpfs", QFile::encodeName(disk).constData(), "tmpfs", 0, "size=4m") != 0)
        GTEST_SKIP() << "a 4 MiB tmpfs cannot be mounted here (" << std::strerror(errno) << "); CI runs as root";
    const auto unmount = qScopeGuard([&disk] { ::umount2(QFile::encodeName(disk).constData(), MNT_DETACH); });

    FakeResponse endless = FakeResponse::ok(audio(64 * 1024));
    endless.endless = true;
    server.route(u"/endless.mp3"_s, endless);
    try {
        BlockingWait::wait(downloader.download(episodeAt(server.url(u"/endless.mp3"_s)),
                                               QUrl::fromLocalFile(disk + u"/Podcasts/Show"_s), {}));
        ADD_FAILURE() << "the download succeeded";
    } catch (const DownloadError& error) {
        EXPECT_EQ(error.kind(), DownloadError::Kind::fileError);
        EXPECT_TRUE(error.message().endsWith(u"it would leave less than 204.8 KiB free on its disk."_s))
            << error.message().toStdString();
    }
    EXPECT_TRUE(QDir(disk + u"/Podcasts/Show"_s).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    const auto space = FileSystemSpace::of(disk);
    ASSERT_TRUE(space.has_value());
    EXPECT_GT(space->available, space->total * 9 / 10) << "the partial file is gone";
}
