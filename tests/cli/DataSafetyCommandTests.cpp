#include "VelmoTest.h"
#include "facade/LibraryStores.h"
#include "library/LibraryOrganizer.h"
#include "library/Settings.h"
#include "library/TagReader.h"
#include "support/AudioFixtures.h"
#include "support/SmallFileSystem.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

class VelmoSafetyTest : public VelmoTest {
protected:
    QString incoming() const { return stores.folder() + u"/Incoming"_s; }
    QString sample(const QString& name, const QString& from = u"taglib/sinewave.flac"_s)
    {
        return AudioFixtures::copySample(from, incoming() + u'/' + name);
    }
    static QList<Track> stored() { return LibraryStores::readTracks().value; }
};

} // namespace

TEST_F(VelmoSafetyTest, AFullDiskFailsTheImportAndKeepsTheCatalogueWhole)
{
    SmallFileSystem disk;
    SKIP_UNLESS_MOUNTED(disk);
    initLibrary();
    StoreLocations::setOverride(StoreKind::library, disk.filePath(u"library.json"_s));
    sample(u"first/a.flac"_s);
    ASSERT_EQ(velmo({u"import"_s, incoming() + u"/first"_s}).status, 0);
    const QByteArray before = readFile(disk.filePath(u"library.json"_s));
    ASSERT_EQ(stored().size(), 1);

    disk.fill();
    sample(u"second/b.flac"_s, u"taglib/silence-44-s.flac"_s);
    const VelmoResult full = velmo({u"import"_s, incoming() + u"/second"_s});
    EXPECT_EQ(full.status, 1) << "a catalogue that was not saved is a failure";
    EXPECT_TRUE(full.err.contains(u"“%1” could not be saved: there is no space left on the device."_s.arg(
        disk.filePath(u"library.json"_s))))
        << qPrintable(full.err);
    EXPECT_EQ(readFile(disk.filePath(u"library.json"_s)), before);
}

TEST_F(VelmoSafetyTest, InitRefusesWhatCannotBeTheMusicFolderAndSaysWhatItCreates)
{
    writeFile(stores.folder() + u"/passwd"_s, "root:x:0:0");
    const VelmoResult file = velmo({u"library"_s, u"init"_s, stores.folder() + u"/passwd"_s});
    EXPECT_EQ(file.status, 1);
    EXPECT_TRUE(file.err.contains(u"is a file, not a folder"_s)) << qPrintable(file.err);
    const VelmoResult below = velmo({u"library"_s, u"init"_s, stores.folder() + u"/passwd/Music"_s});
    EXPECT_EQ(below.status, 1);
    EXPECT_TRUE(below.err.contains(u"cannot be made"_s)) << qPrintable(below.err);
    EXPECT_EQ(velmo({u"library"_s, u"init"_s, u""_s}).status, 2);
    const VelmoResult proc = velmo({u"library"_s, u"init"_s, u"/proc/Music"_s});
    EXPECT_EQ(proc.status, 1) << qPrintable(proc.out);
    EXPECT_FALSE(Settings::libraryRootPath().has_value()) << "nothing refused is kept";
    EXPECT_FALSE(Settings::value(Settings::isOnboarded));

    const VelmoResult deep = velmo({u"library"_s, u"init"_s, stores.folder() + u"/a/b/Music"_s});
    ASSERT_EQ(deep.status, 0) << qPrintable(deep.err);
    EXPECT_TRUE(deep.out.startsWith(u"Creating the folders %1/a, %1/a/b, %1/a/b/Music."_s.arg(stores.folder())))
        << qPrintable(deep.out);
    EXPECT_TRUE(QFileInfo(stores.folder() + u"/a/b/Music"_s).isDir());

    TestEnvironment::clearSettings();
    ASSERT_EQ(velmo({u"library"_s, u"init"_s, u"~/Tunes"_s}).status, 0);
    EXPECT_EQ(Settings::libraryRootPath(), TestEnvironment::home() + u"/Tunes"_s);
}

TEST_F(VelmoSafetyTest, AnUnreadableStoreIsReportedAndNotOverwrittenUnlessAsked)
{
    initLibrary();
    writeFile(StoreLocations::path(StoreKind::library), "{ not json");
    const VelmoResult stats = velmo({u"library"_s, u"stats"_s});
    EXPECT_EQ(stats.status, 0);
    EXPECT_TRUE(stats.err.contains(StoreLocations::path(StoreKind::library)) && stats.err.contains(u"library check"_s))
        << qPrintable(stats.err);

    sample(u"a.flac"_s);
    const VelmoResult refused = velmo({u"import"_s, incoming()});
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.err.contains(u"--replace-unreadable"_s)) << qPrintable(refused.err);
    EXPECT_EQ(readFile(StoreLocations::path(StoreKind::library)), "{ not json");
    EXPECT_TRUE(QDir(root()).isEmpty()) << "nothing was copied either";

    // A broken store the command does not write is only warned of.
    writeFile(StoreLocations::path(StoreKind::playlists), "[{\"id\": 1}]");
    const VelmoResult replaced = velmo({u"import"_s, incoming(), u"--replace-unreadable"_s});
    EXPECT_EQ(replaced.status, 0) << qPrintable(replaced.err);
    EXPECT_EQ(stored().size(), 1);
    EXPECT_EQ(velmo({u"import"_s, stores.folder() + u"/empty"_s}).err.count(u"warning:"_s), 1);
    EXPECT_EQ(readFile(StoreLocations::path(StoreKind::playlists)), "[{\"id\": 1}]");
}

TEST_F(VelmoSafetyTest, ImportNeverRetagsAFileItFoundAtTheDestination)
{
    initLibrary();
    const QString candidate = sample(u"a.flac"_s);
    const Track track = Track::fromFile(QUrl::fromLocalFile(candidate), *TagReader::read(QUrl::fromLocalFile(candidate)));
    const QString destination = LibraryOrganizer::canonicalURL(track, QUrl::fromLocalFile(root())).toLocalFile();
    AudioFixtures::copySample(u"taglib/silence-44-s.flac"_s, destination); // the user's own recording
    const QByteArray mine = readFile(destination);

    const VelmoResult result = velmo({u"import"_s, incoming(), u"--move"_s});
    ASSERT_EQ(result.status, 0) << qPrintable(result.err);
    EXPECT_EQ(readFile(destination), mine) << "not a byte of the user's file changes";
    EXPECT_TRUE(QFileInfo::exists(candidate)) << "the source stays put";
    ASSERT_EQ(stored().size(), 1);
    EXPECT_EQ(stored().constFirst().path(), destination);
}

TEST_F(VelmoSafetyTest, ImportAndTagsSayWhyAFileOrFolderCouldNotBeUsed)
{
    initLibrary();
    writeFile(incoming() + u"/broken.flac"_s, "not audio at all");
    const VelmoResult unreadable = velmo({u"import"_s, incoming()});
    EXPECT_EQ(unreadable.status, 1);
    EXPECT_TRUE(unreadable.err.contains(u"not read: %1/broken.flac: not an audio file"_s.arg(incoming())))
        << qPrintable(unreadable.err);
    EXPECT_TRUE(unreadable.err.contains(u"None of the 1 audio file in the folder could be read"_s))
        << qPrintable(unreadable.err);

    const QString loop = stores.folder() + u"/loop"_s;
    QFile::link(loop, loop);
    EXPECT_TRUE(velmo({u"import"_s, loop}).err.contains(u"leads back to itself (a loop)"_s));
    EXPECT_TRUE(velmo({u"tags"_s, u"read"_s, loop}).err.contains(u"leads back to itself (a loop)"_s));

    // Nothing placed: velmo gives the reason itself, not the window's guess.
    QFile::remove(incoming() + u"/broken.flac"_s);
    const QString candidate = sample(u"b.flac"_s);
    const Track track = Track::fromFile(QUrl::fromLocalFile(candidate), *TagReader::read(QUrl::fromLocalFile(candidate)));
    const QString artistFolder =
        QFileInfo(QFileInfo(LibraryOrganizer::canonicalURL(track, QUrl::fromLocalFile(root())).toLocalFile()).path()).path();
    writeFile(artistFolder, "a file where the artist's folder would go");
    const VelmoResult placed = velmo({u"import"_s, incoming()});
    EXPECT_EQ(placed.status, 1);
    EXPECT_TRUE(placed.err.contains(u"Nothing was imported: The folder"_s)) << qPrintable(placed.err);
    EXPECT_FALSE(placed.err.contains(u"may lack permission"_s));

    const VelmoResult version = velmo({u"--version"_s});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.trimmed(), u"velmo "_s + QStringLiteral(SONORELLE_VERSION));
}

TEST_F(VelmoSafetyTest, AnImportWithAFileThatFailedExitsOne)
{
    initLibrary();
    sample(u"good.flac"_s);
    writeFile(incoming() + u"/broken.flac"_s, "not audio at all");
    const VelmoResult partial = velmo({u"import"_s, incoming()});
    EXPECT_EQ(partial.status, 1) << "a script must not take a partial import for a whole one";
    EXPECT_TRUE(partial.err.contains(u"Imported 1 of 1 file."_s)) << qPrintable(partial.err);
    EXPECT_TRUE(partial.err.contains(u"1 file was not imported; each is named above with the reason."_s))
        << qPrintable(partial.err);
    EXPECT_EQ(stored().size(), 1) << "what could be imported was";

    const VelmoResult nothingNew = velmo({u"import"_s, incoming()});
    EXPECT_EQ(nothingNew.status, 1) << "the broken file still fails";

    QFile::remove(incoming() + u"/broken.flac"_s);
    EXPECT_EQ(velmo({u"import"_s, incoming()}).status, 0);
}

TEST_F(VelmoSafetyTest, AStoreThatRepeatsAnIdIsNamedByCheckAndSyncsWithTheFirstRecord)
{
    initLibrary();
    const QString first = AudioFixtures::copySample(u"taglib/sinewave.flac"_s, root() + u"/Band/Album/01 One.flac"_s);
    const QString second = AudioFixtures::copySample(u"taglib/silence-44-s.flac"_s, root() + u"/Band/Album/02 Two.flac"_s);
    const Track one = Track::fromFile(QUrl::fromLocalFile(first), *TagReader::read(QUrl::fromLocalFile(first)));
    Track twin = Track::fromFile(QUrl::fromLocalFile(second), *TagReader::read(QUrl::fromLocalFile(second)));
    twin.id = one.id;
    writeFile(StoreLocations::path(StoreKind::library), LibraryStores::encodeTracks({one, twin}));
    const QString id = one.id.toString(QUuid::WithoutBraces).toUpper();

    const VelmoResult check = velmo({u"library"_s, u"check"_s});
    EXPECT_EQ(check.status, 1) << qPrintable(check.out);
    EXPECT_TRUE(check.out.contains(u"library.json"_s.leftJustified(22) + u"damaged  1 record"_s)) << qPrintable(check.out);
    EXPECT_TRUE(check.out.contains(u"More than one record has the id "_s + id)) << qPrintable(check.out);

    const QString device = stores.folder() + u"/Stick"_s;
    QDir().mkpath(device);
    const VelmoResult added = velmo({u"device"_s, u"add"_s, u"Stick"_s, device});
    ASSERT_EQ(added.status, 0) << qPrintable(added.err);
    EXPECT_TRUE(added.err.contains(u"holds more than one record with the id "_s + id)) << qPrintable(added.err);

    // The fault stopped the whole program, so the sync runs as a process of its own, on this
    // test's stores (they are laid out as under the data folder).
    QProcess sync;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"XDG_DATA_HOME"_s, stores.folder());
    sync.setProcessEnvironment(environment);
    sync.start(QStringLiteral(VELMO_EXECUTABLE), {u"device"_s, u"sync"_s, u"Stick"_s});
    ASSERT_TRUE(sync.waitForFinished(60'000));
    const QByteArray errors = sync.readAllStandardError();
    EXPECT_EQ(sync.exitStatus(), QProcess::NormalExit) << errors.constData();
    EXPECT_EQ(sync.exitCode(), 0) << errors.constData();
    QStringList copied;
    QDirIterator files(device + u"/Music"_s, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext())
        copied.append(files.next());
    ASSERT_EQ(copied.size(), 1) << qPrintable(copied.join(u", "_s));
    EXPECT_EQ(readFile(copied.constFirst()), readFile(first)) << "the first record of the id";
}
