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

// Collects what a notifier reports, as "kind name" lines.
class InotifyNotifierTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(notifier); }

    FileChangeNotifier::WatchResult watch(const QString& path, Symlinks symlinks = Symlinks::DoNotFollow)
    {
        return notifier->addWatch(path, symlinks);
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

    QTemporaryDir folder;
    QList<Event> events;
    std::unique_ptr<InotifyNotifier> notifier =
        InotifyNotifier::open([this](const QList<Event>& received) { events.append(received); });
};

} // namespace

TEST_F(InotifyNotifierTest, ReportsTheChangesInAFolderWithTheirKinds)
{
    const auto watched = watch(folder.path());
    ASSERT_TRUE(std::holds_alternative<int>(watched));

    writeFile(folder.filePath(u"a.flac"_s), "audio");
    ASSERT_TRUE(QFile::rename(folder.filePath(u"a.flac"_s), folder.filePath(u"b.flac"_s)));
    ASSERT_TRUE(QDir(folder.path()).mkdir(u"Sub"_s));
    ASSERT_TRUE(QFile::remove(folder.filePath(u"b.flac"_s)));
    ASSERT_TRUE(QDir(folder.path()).rmdir(u"Sub"_s));

    EXPECT_EQ(waitFor(7), QStringList({u"added a.flac"_s, u"written a.flac"_s, u"removed a.flac"_s, u"added b.flac"_s,
                                       u"added Sub/"_s, u"removed b.flac"_s, u"removed Sub/"_s}));
    for (const Event& event : std::as_const(events))
        EXPECT_EQ(event.watch, std::get<int>(watched));
}

TEST_F(InotifyNotifierTest, TellsWhenTheWatchedFolderGoesAndItsWatchEnds)
{
    writeFile(folder.filePath(u"Sub/a.flac"_s), "audio");
    ASSERT_TRUE(std::holds_alternative<int>(watch(folder.filePath(u"Sub"_s))));
    ASSERT_TRUE(QDir(folder.filePath(u"Sub"_s)).removeRecursively());
    EXPECT_EQ(waitFor(3), QStringList({u"removed a.flac"_s, u"folder gone "_s, u"watch ended "_s}));
}

TEST_F(InotifyNotifierTest, WatchesOnlyFoldersThatAreThereFollowingLinksOnlyWhenAsked)
{
    writeFile(folder.filePath(u"a.flac"_s), "audio");
    ASSERT_TRUE(QDir(folder.path()).mkdir(u"Real"_s));
    ASSERT_TRUE(QFile::link(folder.filePath(u"Real"_s), folder.filePath(u"Link"_s)));
    for (const QString& name : {u"Missing"_s, u"a.flac"_s, u"Link"_s})
        EXPECT_EQ(watch(folder.filePath(name)), FileChangeNotifier::WatchResult(WatchFailure::Unavailable)) << qPrintable(name);
    const auto first = watch(folder.path());
    ASSERT_TRUE(std::holds_alternative<int>(first));
    EXPECT_EQ(first, watch(folder.path())) << "one folder, one watch";

    ASSERT_TRUE(std::holds_alternative<int>(watch(folder.filePath(u"Link"_s), Symlinks::Follow)));
    writeFile(folder.filePath(u"Real/a.flac"_s), "audio");
    EXPECT_EQ(waitFor(2), QStringList({u"added a.flac"_s, u"written a.flac"_s}));
}
