#include "facade/Library.h"
#include "library/BlockingWait.h"
#include "library/JsonCoding.h"
#include "library/Settings.h"
#include "library/TagFile.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"
#include "library/Uuid.h"
#include "music/ImportController.h"
#include "music/ImportReviewSheet.h"
#include "support/AudioFixtures.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QStandardItemModel>
#include <QTreeView>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(ImportClassification, TheFirstTrackWithTheSameTextDecides)
{
    const Track scanned = makeTrack(u"Song"_s, u"Band"_s, u"Record"_s, 200);
    EXPECT_EQ(FolderImport::classify(scanned, {}), ImportStatus::new_);
    EXPECT_EQ(FolderImport::classify(scanned, {makeTrack(u" song"_s, u"BAND"_s, u"Record"_s, 201.5)}),
              ImportStatus::alreadyInLibrary);
    EXPECT_EQ(FolderImport::classify(scanned, {makeTrack(u"Song"_s, u"Band"_s, u"Record"_s, 203)}),
              ImportStatus::possibleDuplicate);
    EXPECT_EQ(FolderImport::classify(scanned, {makeTrack(u"Song"_s, u"Band"_s, u"Record"_s, 197),
                                                   makeTrack(u"Song"_s, u"Band"_s, u"Record"_s, 200)}),
              ImportStatus::possibleDuplicate)
        << "only the first match counts";
}

TEST(ImportGrouping, ByAlbumArtistAndAlbumInTextOrderThenDiscAndTrack)
{
    Track b2 = makeTrack(u"b2"_s, u"Performer"_s, u"B"_s);
    b2.albumArtist = u"Alpha"_s;
    b2.discNumber = 2;
    b2.trackNumber = 1;
    Track b1 = b2;
    b1.discNumber = std::nullopt;
    b1.trackNumber = 9;
    Track unknown = makeTrack(u"u"_s, u"Zed"_s, QString());
    unknown.albumArtist = u"Alpha"_s;
    Track other = makeTrack(u"o"_s, u"Beta"_s, u"A"_s);
    other.albumArtist.clear();
    const QList<ImportCandidate> candidates{{b2}, {unknown}, {other}, {b1}};
    const auto groups = ImportController::group(candidates);
    ASSERT_EQ(groups.size(), 3);
    EXPECT_EQ(groups.at(0).key, u"Alpha — B"_s);
    EXPECT_EQ(groups.at(0).candidates, (QList<qsizetype>{3, 0}));
    EXPECT_EQ(groups.at(1).key, u"Alpha — Unknown Album"_s);
    EXPECT_EQ(groups.at(2).key, u"Beta — A"_s);
}

namespace {

class ImportTest : public ::testing::Test {
protected:
    void SetUp() override { TestEnvironment::clearSettings(); }
    void TearDown() override { TestEnvironment::clearSettings(); }

    TemporaryStores stores;
    QString root = stores.folder() + u"/Library"_s;
    QString source = stores.folder() + u"/Incoming"_s;
    Library library{QUrl::fromLocalFile(root)};

    QString sample(const QString& name)
    {
        return AudioFixtures::copySample(u"taglib/sinewave.flac"_s, source + u'/' + name);
    }

    std::unique_ptr<ImportController> scanned()
    {
        auto controller = std::make_unique<ImportController>();
        BlockingWait::wait(controller->scan(library, QUrl::fromLocalFile(source)));
        return controller;
    }
};

} // namespace

TEST_F(ImportTest, AnImportedFileIsPlacedStampedAndAddedAndASecondCopyIsAlreadyThere)
{
    sample(u"a.flac"_s);
    ImportController controller;
    EXPECT_FALSE(controller.copyFiles()) << "moving is the default";
    BlockingWait::wait(controller.scan(library, QUrl::fromLocalFile(source)));
    ASSERT_EQ(controller.candidates().size(), 1);
    BlockingWait::wait(controller.importSelected());
    EXPECT_TRUE(controller.importComplete());
    EXPECT_FALSE(controller.isPresented());
    EXPECT_EQ(controller.importedCount(), 1);
    ASSERT_EQ(library.tracks().size(), 1);
    const Track added = library.tracks().constFirst();
    EXPECT_EQ(added.path(), root + u"/Unknown Artist/Unknown Album/a.flac"_s);
    EXPECT_FALSE(QFileInfo::exists(source + u"/a.flac"_s)) << "moved, not copied";
    EXPECT_EQ(added.externalID, Uuid::text(added.id));
    EXPECT_EQ(TagReader::read(added.url)->externalID, Uuid::text(added.id));

    // The library's own file and a new copy of it.
    sample(u"a.flac"_s);
    ImportController both;
    BlockingWait::wait(both.scan(library, QUrl::fromLocalFile(stores.folder())));
    ASSERT_EQ(both.candidates().size(), 2);
    for (const ImportCandidate& candidate : both.candidates())
        EXPECT_EQ(candidate.status, ImportStatus::alreadyInLibrary) << "the same title, from the same file name";
    both.selectAll(true);
    EXPECT_EQ(both.selectedCount(), 0) << "only a hand ticks a file already in the library";

    // A taken place counts as imported and names the file there.
    const auto second = scanned();
    second->setSelected(0, true);
    BlockingWait::wait(second->importSelected());
    ASSERT_EQ(library.tracks().size(), 2);
    EXPECT_EQ(library.tracks().at(1).url, added.url);
    EXPECT_NE(library.tracks().at(1).id, added.id);
    EXPECT_TRUE(QFileInfo::exists(source + u"/a.flac"_s)) << "the source stays where it is";
}

TEST_F(ImportTest, TrackAndDiscTotalsSurviveTheImportAndAnEdit)
{
    const QString path = sample(u"a.flac"_s);
    const auto setTotals = [&path] {
        TagFile file(path, TagFile::Access::write);
        TagLib::PropertyMap properties = file.properties();
        properties.replace("TRACKNUMBER", TagLib::StringList("5/7"));
        properties.replace("DISCNUMBER", TagLib::StringList("1/2"));
        file.setProperties(properties);
        return file.save();
    };
    ASSERT_TRUE(setTotals());
    const auto inFile = [](const Track& track, const char* name) {
        const TagFile file(track.path(), TagFile::Access::read);
        const TagLib::StringList values = file.properties()[name];
        return values.isEmpty() ? std::string() : values.front().to8Bit(true);
    };

    const auto controller = scanned();
    BlockingWait::wait(controller->importSelected());
    ASSERT_EQ(library.tracks().size(), 1);
    Track imported = library.tracks().constFirst();
    EXPECT_EQ(imported.externalID, Uuid::text(imported.id)) << "the import wrote its id into the file";
    EXPECT_EQ(inFile(imported, "TRACKNUMBER"), "5/7");
    EXPECT_EQ(inFile(imported, "DISCNUMBER"), "1/2");

    imported.title = u"Edited"_s;
    imported.trackNumber = 4;
    BlockingWait::wait(library.update(imported));
    EXPECT_EQ(inFile(imported, "TITLE"), "Edited");
    EXPECT_EQ(inFile(imported, "TRACKNUMBER"), "4/7");
    EXPECT_EQ(inFile(imported, "DISCNUMBER"), "1/2");
}

TEST_F(ImportTest, CopyingLeavesTheSourceAndWavFilesAreNeverWritten)
{
    Settings::setValue(Settings::copyImportedFiles, true);
    AudioFixtures::writeSilentWav(source + u"/take.wav"_s, 1);
    const QByteArray before = readFile(source + u"/take.wav"_s);
    const auto controller = scanned();
    EXPECT_TRUE(controller->copyFiles());
    BlockingWait::wait(controller->importSelected());
    ASSERT_EQ(library.tracks().size(), 1);
    EXPECT_TRUE(QFileInfo::exists(source + u"/take.wav"_s));
    EXPECT_EQ(readFile(library.tracks().constFirst().path()), before);
    EXPECT_EQ(library.tracks().constFirst().externalID, std::nullopt);
}

TEST_F(ImportTest, NothingImportedSaysWhyAndKeepsTheSheet)
{
    sample(u"a.flac"_s);
    const auto controller = scanned();
    writeFile(root, "a file where the library folder should be");
    BlockingWait::wait(controller->importSelected());
    EXPECT_TRUE(controller->isPresented());
    ASSERT_TRUE(controller->importError().has_value());
    EXPECT_EQ(*controller->importError(),
              u"No tracks could be imported. The files may already exist at the destination, or the app may lack "
              u"permission to write to "_s + root + u"."_s);
    EXPECT_TRUE(library.tracks().isEmpty());
    ASSERT_EQ(controller->importFailures().size(), 1);
    EXPECT_TRUE(controller->importFailures().constFirst().contains(u"could not be created"_s));
}

TEST_F(ImportTest, EachFileThatStaysBehindIsNamedWithItsReasonAndALongNameIsShortened)
{
    sample(u"fits.flac"_s);
    const QString tooLong = sample(QString(200, u'x') + u".flac"_s);
    Track renamed = Track::fromFile(QUrl::fromLocalFile(tooLong), *TagReader::read(QUrl::fromLocalFile(tooLong)));
    renamed.title = QString(300, u'y');
    TagWriter::write(renamed);
    const QString vanishing = sample(u"vanishing.flac"_s);
    const auto controller = scanned();
    ASSERT_EQ(controller->candidates().size(), 3);
    QFile::remove(vanishing);
    controller->setCopyFiles(true);

    BlockingWait::wait(controller->importSelected());
    EXPECT_EQ(controller->importedCount(), 2);
    ASSERT_EQ(library.tracks().size(), 2);
    const QStringList failures = controller->importFailures();
    ASSERT_EQ(failures.size(), 1);
    EXPECT_TRUE(failures.at(0).contains(u"could not be copied"_s)) << failures.at(0).toStdString();
    QStringList placed;
    for (QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories); it.hasNext();)
        placed.append(QFileInfo(it.next()).fileName());
    placed.sort();
    // The longest name the file system takes, its extension kept.
    EXPECT_EQ(placed, (QStringList{u"fits.flac"_s, QString(250, u'y') + u".flac"_s})) << "no part of a failed copy is left";
}

TEST_F(ImportTest, TheSheetCountsTicksAndNamesItsButton)
{
    sample(u"a.flac"_s);
    sample(u"b.flac"_s);
    AudioFixtures::copySample(u"taglib/sinewave.flac"_s, root + u"/a.flac"_s);
    library.add(Library::scanFolder(QUrl::fromLocalFile(root)).constFirst());
    writeFile(source + u"/notes.txt"_s, "not music");

    ImportController controller;
    ImportReviewSheet sheet(controller);
    BlockingWait::wait(controller.scan(library, QUrl::fromLocalFile(source)));
    ASSERT_EQ(controller.candidates().size(), 2);
    EXPECT_EQ(sheet.importButtonText(), u"Import 1 track"_s) << "only the new one starts ticked";
    controller.setSelected(0, true);
    EXPECT_EQ(sheet.importButtonText(), u"Import 2 tracks"_s);
    controller.selectAll(false);
    EXPECT_EQ(sheet.importButtonText(), u"Import 1 track"_s) << "deselect all leaves a hand-ticked duplicate";
    controller.setSelected(0, false);
    EXPECT_EQ(sheet.importButtonText(), u"Import"_s);
    controller.setSelected(0, true);
    controller.setSelected(1, true);

    auto* model = qobject_cast<QStandardItemModel*>(sheet.candidateView()->model());
    ASSERT_EQ(model->rowCount(), 1);
    EXPECT_EQ(model->item(0)->text(), u" — Unknown Album"_s) << "an empty artist stays empty in the key";
    EXPECT_EQ(model->item(0)->child(0, 1)->text(), u"Already in library"_s);
    model->item(0)->child(0)->setCheckState(Qt::Unchecked);
    EXPECT_EQ(controller.selectedCount(), 1) << "a tick in the list reaches the controller";
}
