#include "platform/InotifyNotifier.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using Event = FileChangeNotifier::Event;
using Symlinks = FileChangeNotifier::Symlinks;
using WatchFailure = FileChangeNotifier::WatchFailure;

QString describe(const Event& event)
{
    static const QHash<Event::Kind, QString> kinds = {
        {Event::Kind::Added, u"added"_s},
        {Event::Kind::Written, u"written"_s},
        {Event::Kind::Removed, u"removed"_s},
        {Event::Kind::FolderGone, u"folder gone"_s},
        {Event::Kind::WatchEnded, u"watch ended"_s},
        {Event::Kind::Overflow, u"overflow"_s},
    };
    return kinds.value(event.kind) + u' ' + event.name + (event.isFolder ? u"/"_s : QString());
}

// Collects what the notifier reports, as "kind name" lines.
struct Recorder {
    QList<Event> events;

    FileChangeNotifier::EventHandler handler()
    {
        return [this](const QList<Event>& received) { events.append(received); };
    }

    QStringList waitFor(qsizetype count)
    {
        // A shortfall shows in the comparison of the lines.
        [[maybe_unused]] const bool arrived = QTest::qWaitFor([&] { return events.size() >= count; }, 5000);
        QStringList lines;
        for (const Event& event : std::as_const(events))
            lines.append(describe(event));
        return lines;
    }
};

} // namespace

TEST(InotifyNotifier, ReportsTheChangesInAFolderWithTheirKinds)
{
    QTemporaryDir folder;
    Recorder recorder;
    const auto notifier = InotifyNotifier::open(recorder.handler());
    ASSERT_TRUE(notifier);
    const auto watch = notifier->addWatch(folder.path(), Symlinks::DoNotFollow);
    ASSERT_TRUE(std::holds_alternative<int>(watch));

    writeFile(folder.filePath(u"a.flac"_s), "audio");
    ASSERT_TRUE(QFile::rename(folder.filePath(u"a.flac"_s), folder.filePath(u"b.flac"_s)));
    ASSERT_TRUE(QDir(folder.path()).mkdir(u"Sub"_s));
    ASSERT_TRUE(QFile::remove(folder.filePath(u"b.flac"_s)));
    ASSERT_TRUE(QDir(folder.path()).rmdir(u"Sub"_s));

    EXPECT_EQ(recorder.waitFor(7),
              QStringList({u"added a.flac"_s, u"written a.flac"_s, u"removed a.flac"_s, u"added b.flac"_s,
                           u"added Sub/"_s, u"removed b.flac"_s, u"removed Sub/"_s}));
    for (const Event& event : std::as_const(recorder.events))
        EXPECT_EQ(event.watch, std::get<int>(watch));
}

TEST(InotifyNotifier, TellsWhenTheWatchedFolderGoesAndItsWatchEnds)
{
    QTemporaryDir folder;
    writeFile(folder.filePath(u"Sub/a.flac"_s), "audio");
    Recorder recorder;
    const auto notifier = InotifyNotifier::open(recorder.handler());
    ASSERT_TRUE(notifier);
    ASSERT_TRUE(std::holds_alternative<int>(notifier->addWatch(folder.filePath(u"Sub"_s), Symlinks::DoNotFollow)));

    ASSERT_TRUE(QDir(folder.filePath(u"Sub"_s)).removeRecursively());
    EXPECT_EQ(recorder.waitFor(3), QStringList({u"removed a.flac"_s, u"folder gone "_s, u"watch ended "_s}));
}

TEST(InotifyNotifier, WatchesOnlyFoldersThatAreThere)
{
    QTemporaryDir folder;
    writeFile(folder.filePath(u"a.flac"_s), "audio");
    Recorder recorder;
    const auto notifier = InotifyNotifier::open(recorder.handler());
    ASSERT_TRUE(notifier);

    const auto missing = notifier->addWatch(folder.filePath(u"Missing"_s), Symlinks::DoNotFollow);
    ASSERT_TRUE(std::holds_alternative<WatchFailure>(missing));
    EXPECT_EQ(std::get<WatchFailure>(missing), WatchFailure::Unavailable);
    const auto file = notifier->addWatch(folder.filePath(u"a.flac"_s), Symlinks::DoNotFollow);
    ASSERT_TRUE(std::holds_alternative<WatchFailure>(file));
    EXPECT_EQ(std::get<WatchFailure>(file), WatchFailure::Unavailable);

    const auto first = notifier->addWatch(folder.path(), Symlinks::DoNotFollow);
    const auto second = notifier->addWatch(folder.path(), Symlinks::DoNotFollow);
    ASSERT_TRUE(std::holds_alternative<int>(first));
    EXPECT_EQ(first, second) << "one folder, one watch";
}

TEST(InotifyNotifier, FollowsASymlinkedFolderOnlyWhenAsked)
{
    QTemporaryDir folder;
    ASSERT_TRUE(QDir(folder.path()).mkdir(u"Real"_s));
    ASSERT_TRUE(QFile::link(folder.filePath(u"Real"_s), folder.filePath(u"Link"_s)));
    Recorder recorder;
    const auto notifier = InotifyNotifier::open(recorder.handler());
    ASSERT_TRUE(notifier);

    EXPECT_TRUE(
        std::holds_alternative<WatchFailure>(notifier->addWatch(folder.filePath(u"Link"_s), Symlinks::DoNotFollow)));
    ASSERT_TRUE(std::holds_alternative<int>(notifier->addWatch(folder.filePath(u"Link"_s), Symlinks::Follow)));
    writeFile(folder.filePath(u"Real/a.flac"_s), "audio");
    EXPECT_EQ(recorder.waitFor(2), QStringList({u"added a.flac"_s, u"written a.flac"_s}));
}
