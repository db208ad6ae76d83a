#include "platform/FolderWatcher.h"
#include "platform/InotifyNotifier.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

using namespace Qt::StringLiterals;
using ::testing::UnorderedElementsAreArray;

namespace {

using Event = FileChangeNotifier::Event;

constexpr double latency = 0.1;
constexpr int generousWait = 5000;
// How long to listen before concluding that nothing is coming: several batches' worth.
constexpr int quietWait = 400;

// The real inotify adapter under a limit of the test's choosing, which can also lose events the
// way an overflowing kernel queue does.
class TestNotifier final : public FileChangeNotifier {
public:
    TestNotifier(EventHandler handler, int maxWatches)
        : m_maxWatches(maxWatches)
        , m_handler(std::move(handler))
        , m_real(InotifyNotifier::open([this](const QList<Event>& events) { received(events); }))
    {}

    WatchResult addWatch(const QString& folder, Symlinks symlinks) override
    {
        if (m_watched.size() >= m_maxWatches)
            return WatchFailure::LimitReached;
        const WatchResult result = m_real->addWatch(folder, symlinks);
        if (const int* watch = std::get_if<int>(&result))
            m_watched.insert(*watch, folder);
        return result;
    }

    void removeWatch(int watch) override
    {
        m_watched.remove(watch);
        m_real->removeWatch(watch);
    }

    QStringList watchedFolders() const { return m_watched.values(); }

    void loseEvents() { m_losing = true; }

    void overflow()
    {
        m_losing = false;
        m_handler({Event{.kind = Event::Kind::Overflow}});
    }

private:
    void received(const QList<Event>& events)
    {
        for (const Event& event : events) {
            if (event.kind == Event::Kind::WatchEnded)
                m_watched.remove(event.watch);
        }
        if (!m_losing)
            m_handler(events);
    }

    int m_maxWatches;
    EventHandler m_handler;
    QHash<int, QString> m_watched;
    bool m_losing = false;
    std::unique_ptr<InotifyNotifier> m_real;
};

int openInotifyDescriptors()
{
    int count = 0;
    for (const QString& name : QDir(u"/proc/self/fd"_s).entryList(QDir::Files | QDir::System)) {
        char target[64] = {};
        const QByteArray link = "/proc/self/fd/" + name.toLatin1();
        if (::readlink(link.constData(), target, sizeof target - 1) > 0 && qstrcmp(target, "anon_inode:inotify") == 0)
            ++count;
    }
    return count;
}

class FolderWatcherTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(QDir().mkpath(root));
        ASSERT_TRUE(QDir().mkpath(outside));
    }

    QString at(const QString& relative) const { return root + u'/' + relative; }

    // Starts watching the root through a TestNotifier that refuses watches beyond the limit.
    void start(int maxWatches = 100, double seconds = latency)
    {
        watcher = std::make_unique<FolderWatcher>(
            QUrl::fromLocalFile(root), seconds, [this, maxWatches](FileChangeNotifier::EventHandler handler) {
                auto made = std::make_unique<TestNotifier>(std::move(handler), maxWatches);
                notifier = made.get();
                return made;
            });
        batches = std::make_unique<QSignalSpy>(watcher.get(), &FolderWatcher::filesChanged);
        partial = std::make_unique<QSignalSpy>(watcher.get(), &FolderWatcher::partialCoverage);
        watcher->start();
    }

    // The paths of the next batch, relative to the root (or to its parent for paths outside).
    QStringList nextBatch(QSignalSpy& spy) const
    {
        if (spy.isEmpty() && !spy.wait(generousWait))
            return {u"(no batch)"_s};
        QStringList paths;
        for (const QUrl& url : spy.takeFirst().at(0).value<QList<QUrl>>())
            paths.append(QDir(root).relativeFilePath(url.toLocalFile()));
        return paths;
    }

    QTemporaryDir temporary;
    // Both on one file system, so that moves between them are renames.
    QString root = temporary.filePath(u"Music"_s);
    QString outside = temporary.filePath(u"Elsewhere"_s);
    TestNotifier* notifier = nullptr;
    std::unique_ptr<FolderWatcher> watcher;
    std::unique_ptr<QSignalSpy> batches;
    std::unique_ptr<QSignalSpy> partial;
};

} // namespace

TEST_F(FolderWatcherTest, ReportsChangedFilesOncePerBatchButNotHiddenOnesAndWatchesNewFolders)
{
    writeFile(at(u"Artist/Album/old.flac"_s), "old");
    start();
    ASSERT_TRUE(watcher->isRunning());

    writeFile(at(u"Artist/Album/new.flac"_s), "new");
    for (int i = 0; i < 3; ++i)
        writeFile(at(u"Artist/Album/old.flac"_s), "rewritten");
    EXPECT_EQ(nextBatch(*batches), QStringList({u"Artist/Album/new.flac"_s, u"Artist/Album/old.flac"_s}))
        << "creation and each write of one file make one entry, in the order first seen";
    EXPECT_FALSE(batches->wait(quietWait)) << "nothing else changed";

    ASSERT_TRUE(QFile::rename(at(u"Artist/Album/old.flac"_s), at(u"Artist/renamed.flac"_s)));
    EXPECT_EQ(nextBatch(*batches), QStringList({u"Artist/Album/old.flac"_s, u"Artist/renamed.flac"_s}));
    ASSERT_TRUE(QFile::remove(at(u"Artist/Album/new.flac"_s)));
    EXPECT_EQ(nextBatch(*batches), QStringList{u"Artist/Album/new.flac"_s});

    writeFile(at(u".partial.flac"_s), "audio");
    writeFile(at(u".Trash/deleted.flac"_s), "audio");
    writeFile(at(u"visible.flac"_s), "audio");
    EXPECT_EQ(nextBatch(*batches), QStringList{u"visible.flac"_s});

    ASSERT_TRUE(QDir().mkpath(at(u"New Artist/New Album"_s)));
    writeFile(at(u"New Artist/New Album/01.flac"_s), "audio");
    EXPECT_EQ(nextBatch(*batches), QStringList{u"New Artist/New Album/01.flac"_s});
    // Long after the folder appeared, only its own watch can tell of this.
    writeFile(at(u"New Artist/New Album/02.flac"_s), "audio");
    EXPECT_EQ(nextBatch(*batches), QStringList{u"New Artist/New Album/02.flac"_s});
}

TEST_F(FolderWatcherTest, ABatchGoesOutAfterTheLatencyFromItsFirstChangeEvenWhileChangesGoOn)
{
    start(100, 0.3);
    QStringList written;
    for (int i = 0; i < 24; ++i) {
        written.append(u"%1.flac"_s.arg(i, 2, 10, QChar(u'0')));
        writeFile(at(written.last()), "audio");
        QTest::qWait(50);
    }
    QStringList seen;
    int batchCount = 0;
    while (seen.size() < written.size()) {
        const QStringList batch = nextBatch(*batches);
        ASSERT_NE(batch, QStringList{u"(no batch)"_s}) << "only these arrived: " << seen.join(u' ').toStdString();
        ++batchCount;
        QStringList sorted = batch;
        sorted.sort();
        EXPECT_EQ(batch, sorted) << "first-seen order";
        seen.append(batch);
        seen.removeDuplicates();
    }
    EXPECT_GE(batchCount, 2) << "a stream of changes longer than the latency is not held back until it ends";
}

TEST_F(FolderWatcherTest, AFolderMovedInReportsEveryFileItHolds)
{
    QStringList expected;
    for (int i = 1; i <= 300; ++i)
        expected.append(u"Album/%1 Track.flac"_s.arg(i, 3, 10, QChar(u'0')));
    expected.append(u"Album/Disc 2/01 Bonus.flac"_s);
    for (const QString& name : std::as_const(expected))
        writeFile(outside + u'/' + name, "audio");
    start();

    ASSERT_TRUE(QDir().rename(outside + u"/Album"_s, at(u"Album"_s)));
    EXPECT_THAT(nextBatch(*batches), UnorderedElementsAreArray(expected));
    writeFile(at(u"Album/Disc 2/02 Bonus.flac"_s), "audio");
    EXPECT_EQ(nextBatch(*batches), QStringList{u"Album/Disc 2/02 Bonus.flac"_s}) << "its subfolders are watched too";
}

TEST_F(FolderWatcherTest, FoldersMovedAwayRenamedOrDeletedReportTheirFilesAndKeepTheWatchesRight)
{
    for (const QString& file : {u"Away/Album/01.flac"_s, u"Away/Album/Disc 2/01.flac"_s, u"Away/Other/01.flac"_s,
                                u"Artst/Album/01.flac"_s, u"Gone/Sub/01.flac"_s})
        writeFile(at(file), "audio");
    start();

    ASSERT_TRUE(QDir().rename(at(u"Away/Album"_s), outside + u"/Album"_s));
    EXPECT_THAT(nextBatch(*batches), UnorderedElementsAreArray({u"Away/Album/01.flac"_s, u"Away/Album/Disc 2/01.flac"_s}));
    ASSERT_TRUE(QDir().rename(at(u"Artst"_s), at(u"Artist"_s)));
    EXPECT_EQ(nextBatch(*batches), QStringList({u"Artst/Album/01.flac"_s, u"Artist/Album/01.flac"_s}))
        << "a rename within the tree reports both paths of each file";
    ASSERT_TRUE(QDir(at(u"Gone"_s)).removeRecursively());
    EXPECT_EQ(nextBatch(*batches), QStringList{u"Gone/Sub/01.flac"_s});
    EXPECT_THAT(notifier->watchedFolders(), UnorderedElementsAreArray({root, at(u"Away"_s), at(u"Away/Other"_s),
                                                                      at(u"Artist"_s), at(u"Artist/Album"_s)}));

    writeFile(outside + u"/Album/Disc 2/03.flac"_s, "audio");
    writeFile(at(u"Artist/Album/02.flac"_s), "audio");
    writeFile(at(u"Gone/Sub/01.flac"_s), "audio again");
    EXPECT_THAT(nextBatch(*batches), UnorderedElementsAreArray({u"Artist/Album/02.flac"_s, u"Gone/Sub/01.flac"_s}))
        << "nothing from outside; the new name and a folder made again at the same place are watched";
    EXPECT_FALSE(batches->wait(quietWait));
}

TEST_F(FolderWatcherTest, AtTheWatchLimitItSaysSoOnceAndTheWatchedFoldersGoOnReporting)
{
    for (const QString& folder : {u"A"_s, u"B"_s, u"C"_s})
        writeFile(at(folder + u"/01.flac"_s), "audio");
    start(2);
    ASSERT_TRUE(watcher->isRunning());
    ASSERT_TRUE(!partial->isEmpty() || partial->wait(generousWait));
    EXPECT_EQ(partial->at(0).at(0).toString(),
              u"Live updates cover only part of the library: the system's limit on watched folders was reached."_s);

    QStringList watched = notifier->watchedFolders();
    ASSERT_TRUE(watched.removeOne(root)) << "the root is watched first";
    ASSERT_EQ(watched.size(), 1);
    const QString watchedFolder = watched.first();
    QStringList unwatched = {at(u"A"_s), at(u"B"_s), at(u"C"_s)};
    ASSERT_TRUE(unwatched.removeOne(watchedFolder));

    writeFile(unwatched.first() + u"/02.flac"_s, "audio");
    writeFile(watchedFolder + u"/02.flac"_s, "audio");
    writeFile(at(u"loose.flac"_s), "audio");
    EXPECT_EQ(nextBatch(*batches),
              QStringList({QDir(root).relativeFilePath(watchedFolder + u"/02.flac"_s), u"loose.flac"_s}));

    ASSERT_TRUE(QDir().mkpath(at(u"D"_s)));
    ASSERT_TRUE(QDir().mkpath(at(u"E"_s)));
    writeFile(at(u"after.flac"_s), "audio");
    EXPECT_EQ(nextBatch(*batches), QStringList{u"after.flac"_s});
    EXPECT_EQ(partial->count(), 1) << "folders refused later are not announced again";
}

TEST_F(FolderWatcherTest, AfterLostEventsItReportsEveryFileAndWatchesAfreshButTheRootGoingAwayReportsNothing)
{
    writeFile(at(u"Artist/Album/01.flac"_s), "audio");
    writeFile(at(u"Artist/Album/02.flac"_s), "audio");
    start();

    notifier->loseEvents();
    ASSERT_TRUE(QFile::remove(at(u"Artist/Album/02.flac"_s)));
    writeFile(at(u"Artist/Album/03.flac"_s), "audio");
    writeFile(at(u"Artist/Unseen/01.flac"_s), "audio");
    QTest::qWait(quietWait);
    ASSERT_TRUE(batches->isEmpty()) << "the test notifier lost the events";

    notifier->overflow();
    EXPECT_THAT(nextBatch(*batches), UnorderedElementsAreArray({u"Artist/Album/01.flac"_s, u"Artist/Album/02.flac"_s,
                                                                u"Artist/Album/03.flac"_s, u"Artist/Unseen/01.flac"_s}));
    writeFile(at(u"Artist/Unseen/02.flac"_s), "audio");
    EXPECT_EQ(nextBatch(*batches), QStringList{u"Artist/Unseen/02.flac"_s}) << "the folder missed is watched now";

    ASSERT_TRUE(QDir().rename(root, outside + u"/Music"_s));
    QTest::qWait(quietWait);
    EXPECT_TRUE(batches->isEmpty()) << "a renamed or unplugged library folder is no reason to drop its tracks";
    EXPECT_TRUE(notifier->watchedFolders().isEmpty()) << "the moved tree is no longer watched";
}

TEST_F(FolderWatcherTest, StopAndDestructionReleaseTheDescriptorAndAMissingRootTakesNone)
{
    const int before = openInotifyDescriptors();
    auto plain = std::make_unique<FolderWatcher>(QUrl::fromLocalFile(root), latency);
    QSignalSpy changes(plain.get(), &FolderWatcher::filesChanged);
    plain->start();
    plain->start();
    EXPECT_EQ(openInotifyDescriptors(), before + 1) << "a second start does nothing";

    writeFile(at(u"pending.flac"_s), "audio");
    QCoreApplication::processEvents();
    plain->stop();
    EXPECT_FALSE(plain->isRunning());
    EXPECT_EQ(openInotifyDescriptors(), before);
    writeFile(at(u"after.flac"_s), "audio");
    EXPECT_FALSE(changes.wait(quietWait)) << "neither the pending change nor a later one is reported";

    plain->start();
    writeFile(at(u"restarted.flac"_s), "audio");
    EXPECT_EQ(nextBatch(changes), QStringList{u"restarted.flac"_s});
    plain.reset();
    EXPECT_EQ(openInotifyDescriptors(), before) << "destruction releases it too";

    FolderWatcher missing(QUrl::fromLocalFile(at(u"Not There"_s)), latency);
    QSignalSpy missingChanges(&missing, &FolderWatcher::filesChanged);
    QSignalSpy coverage(&missing, &FolderWatcher::partialCoverage);
    missing.start();
    EXPECT_FALSE(missing.isRunning()) << "a missing root starts nothing";
    EXPECT_EQ(openInotifyDescriptors(), before);
    writeFile(at(u"Not There/01.flac"_s), "audio");
    EXPECT_FALSE(missingChanges.wait(quietWait));
    EXPECT_TRUE(coverage.isEmpty());
}
