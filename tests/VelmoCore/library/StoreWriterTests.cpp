#include "library/StoreFile.h"
#include "library/StoreWriter.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// A store whose content is one counter, and which counts how often it was encoded.
class CounterStore {
public:
    explicit CounterStore(const QString& path)
        : writer(path, [this] {
            ++snapshots;
            return [value = value] { return QByteArray::number(value); };
        })
    {
    }

    int value = 0;
    int snapshots = 0;
    StoreWriter writer;
};

} // namespace

TEST(StoreWriter, ManyChangesInQuickSuccessionBecomeOneWriteAndLaterOnesAnother)
{
    QTemporaryDir folder;
    CounterStore store(folder.filePath(u"nested/store.json"_s));
    QSignalSpy written(&store.writer, &StoreWriter::written);
    for (int i = 1; i <= 100; ++i) {
        store.value = i;
        store.writer.markChanged();
    }
    EXPECT_FALSE(QFile::exists(store.writer.path())) << "nothing is written synchronously";
    ASSERT_TRUE(written.wait(2000));
    QTest::qWait(400);
    EXPECT_EQ(written.count(), 1);
    EXPECT_EQ(store.snapshots, 1);
    EXPECT_EQ(readFile(store.writer.path()), "100") << "the folder is created and the last state written";
    EXPECT_FALSE(store.writer.hasUnsavedChanges());

    store.value = 101;
    store.writer.markChanged();
    ASSERT_TRUE(written.wait(2000));
    EXPECT_EQ(readFile(store.writer.path()), "101");
    EXPECT_EQ(written.count(), 2);
}

TEST(StoreWriter, FlushAndDestructionWriteAtOnceOnlyWhatIsUnsavedAndCancelTheScheduledWrite)
{
    QTemporaryDir folder;
    auto store = std::make_unique<CounterStore>(folder.filePath(u"store.json"_s));
    const QString path = store->writer.path();
    QSignalSpy written(&store->writer, &StoreWriter::written);
    store->value = 7;
    store->writer.markChanged();
    store->writer.flush();
    EXPECT_EQ(readFile(path), "7");
    EXPECT_EQ(written.count(), 1);
    QTest::qWait(400);
    EXPECT_EQ(written.count(), 1) << "no second write for the same change";
    store->writer.flush();
    EXPECT_EQ(written.count(), 1) << "a flush with nothing unsaved writes nothing";

    store->value = 1;
    store->writer.markChanged();
    QTest::qWait(300); // the scheduled write has started or finished
    store->value = 2;
    store->writer.markChanged();
    store->writer.flush();
    EXPECT_EQ(readFile(path), "2") << "a flush waits for a write in progress and writes what came after";
    EXPECT_FALSE(store->writer.hasUnsavedChanges());

    store->value = 3;
    store->writer.markChanged();
    store.reset();
    EXPECT_EQ(readFile(path), "3") << "destruction flushes";
}

TEST(StoreWriter, AFailedWriteIsReportedAndLeavesNoPartialFile)
{
    QTemporaryDir folder;
    const QString path = folder.filePath(u"store.json"_s);
    QDir().mkpath(path); // a folder where the file should be
    CounterStore store(path);
    QSignalSpy written(&store.writer, &StoreWriter::written);
    store.value = 5;
    store.writer.markChanged();
    ASSERT_TRUE(written.wait(2000));
    const auto error = written.constFirst().constFirst().value<std::optional<QString>>();
    EXPECT_EQ(error, u"“%1” could not be saved: a folder of that name is in the way."_s.arg(path));
    EXPECT_EQ(store.writer.failure(), error) << "the failure stands until a write succeeds";
    EXPECT_TRUE(QFileInfo(path).isDir());

    QDir(path).removeRecursively();
    store.writer.markChanged();
    store.writer.flush();
    EXPECT_EQ(store.writer.failure(), std::nullopt);
    EXPECT_EQ(readFile(path), "5");
}

TEST(StoreFile, ReadTellsMissingSoundAndCorruptApart)
{
    QTemporaryDir folder;
    const QString path = folder.filePath(u"s.json"_s);
    EXPECT_EQ(StoreFile::readDocument(path).state, StoreState::missing);
    writeFile(path, "[1, 2");
    const auto corrupt = StoreFile::readDocument(path);
    EXPECT_EQ(corrupt.state, StoreState::corrupt);
    EXPECT_TRUE(corrupt.problem.startsWith(u"is not valid JSON"_s)) << qPrintable(corrupt.problem);
    writeFile(path, "[1, 2]");
    EXPECT_EQ(StoreFile::readDocument(path).state, StoreState::sound);
    EXPECT_FALSE(StoreFile::writeAtomically(path, "[3]").has_value());
    EXPECT_EQ(readFile(path), "[3]");
    QDir().mkpath(folder.filePath(u"dir.json"_s));
    EXPECT_EQ(StoreFile::readDocument(folder.filePath(u"dir.json"_s)).problem, u"is a folder, not a file"_s);
}
