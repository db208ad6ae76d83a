#include "PlaylistTestSupport.h"

#include "playlists/PlaylistHeader.h"
#include "playlists/SmartPlaylistDetailView.h"
#include "playlists/SmartPlaylistEditorSheet.h"

#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QStringList texts(const QListWidget* list)
{
    QStringList result;
    for (int row = 0; row < list->count(); ++row)
        result.append(list->item(row)->text());
    return result;
}

// The options shown as wanted: selected and ticked alike.
QStringList wanted(const QListWidget* list)
{
    QStringList result;
    for (int row = 0; row < list->count(); ++row) {
        const QListWidgetItem* item = list->item(row);
        EXPECT_EQ(item->isSelected(), item->checkState() == Qt::Checked) << item->text().toStdString();
        if (item->isSelected())
            result.append(item->text());
    }
    return result;
}

void clickOption(QListWidget* list, const QString& label)
{
    const QList<QListWidgetItem*> found = list->findItems(label, Qt::MatchExactly);
    ASSERT_EQ(found.size(), 1) << label.toStdString();
    QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::NoModifier, list->visualItemRect(found[0]).center());
}

class SmartPlaylistSheetTest : public ::testing::Test, protected PlaylistFixture {
protected:
    Track anna = makeTrack(u"Night"_s, u"Anna"_s, u"First"_s, 100);
    Track ben = makeTrack(u"Day"_s, u"Ben"_s, u"Second"_s, 200);
    Track annaK = makeTrack(u"Noon"_s, u"anna k"_s, u"Third"_s, 50);

    void SetUp() override
    {
        anna.albumArtist = u"Band"_s;
        anna.genre = u"Jazz"_s;
        anna.year = 1999;
        ben.genre = u"Rock"_s;
        ben.year = 2000;
        annaK.genre = u"Jazz"_s;
        for (const Track& track : {anna, ben, annaK})
            library.add(track);
    }

    std::unique_ptr<SmartPlaylistEditorSheet> openSheet(const SmartPlaylist& draft)
    {
        auto sheet = std::make_unique<SmartPlaylistEditorSheet>(library, draft);
        sheet->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(sheet.get()));
        return sheet;
    }

    static std::optional<SmartPlaylist> resultOf(const QSignalSpy& spy)
    {
        EXPECT_EQ(spy.count(), 1);
        return spy.isEmpty() ? std::nullopt : spy.at(0).at(0).value<std::optional<SmartPlaylist>>();
    }
};

TEST_F(SmartPlaylistSheetTest, SaveWaitsForANameAndCancelGivesNothing)
{
    auto sheet = openSheet(SmartPlaylistEditorModel::newDraft());
    EXPECT_FALSE(sheet->saveButton()->isEnabled());
    QTest::keyClicks(sheet->nameField(), u"Chill"_s);
    EXPECT_TRUE(sheet->saveButton()->isEnabled());
    QSignalSpy completed(sheet.get(), &SmartPlaylistEditorSheet::completed);
    sheet->reject();
    EXPECT_FALSE(resultOf(completed).has_value());
}

TEST_F(SmartPlaylistSheetTest, ColumnsOfferTheLibrarysValuesSearchesNarrowThemAndTheyFollowTheLibrary)
{
    auto sheet = openSheet(SmartPlaylistEditorModel::newDraft());
    EXPECT_EQ(texts(sheet->artistList()), (QStringList{u"Anna"_s, u"Band"_s, u"Ben"_s, u"anna k"_s}));
    EXPECT_EQ(texts(sheet->genreList()), (QStringList{u"Jazz"_s, u"Rock"_s}));
    EXPECT_EQ(texts(sheet->decadeList()), (QStringList{u"1990s"_s, u"2000s"_s}));

    QTest::keyClicks(sheet->artistSearchField(), u"ANNA"_s);
    EXPECT_EQ(texts(sheet->artistList()), (QStringList{u"Anna"_s, u"anna k"_s}));
    QTest::keyClicks(sheet->genreSearchField(), u"x"_s);
    EXPECT_TRUE(texts(sheet->genreList()).isEmpty());
    EXPECT_TRUE(sheet->genreEmptyText().isEmpty()) << "the library has genres, only the search finds none";

    // A search hides wanted values without dropping them.
    clickOption(sheet->artistList(), u"Anna"_s);
    sheet->artistSearchField()->clear();
    QTest::keyClicks(sheet->artistSearchField(), u"Be"_s);
    EXPECT_EQ(texts(sheet->artistList()), QStringList{u"Ben"_s});
    clickOption(sheet->artistList(), u"Ben"_s);
    sheet->artistSearchField()->clear();
    EXPECT_EQ(wanted(sheet->artistList()), (QStringList{u"Anna"_s, u"Ben"_s}));
    EXPECT_EQ(sheet->draft().filterArtists, (QSet<QString>{u"Anna"_s, u"Ben"_s}));

    Track later = makeTrack(u"Late"_s, u"Cleo"_s);
    later.year = 1975;
    library.add(later);
    EXPECT_TRUE(QTest::qWaitFor(
        [&sheet] { return texts(sheet->decadeList()) == QStringList{u"1970s"_s, u"1990s"_s, u"2000s"_s}; }, 2000));
    EXPECT_TRUE(texts(sheet->artistList()).contains(u"Cleo"_s));
}

TEST_F(SmartPlaylistSheetTest, TogglesChangeTheDraftAndThePreviewLive)
{
    auto sheet = openSheet(SmartPlaylistEditorModel::newDraft());
    EXPECT_EQ(sheet->previewText(), u"3 tracks · 5:50"_s) << "no filter matches the whole library";
    clickOption(sheet->genreList(), u"Jazz"_s);
    EXPECT_EQ(sheet->previewText(), u"2 tracks · 2:30"_s);
    EXPECT_EQ(sheet->previewModel()->rowCount(), 2);
    EXPECT_EQ(sheet->previewModel()->trackAt(0).id, anna.id);
    clickOption(sheet->decadeList(), u"2000s"_s);
    EXPECT_EQ(sheet->previewText(), u"No Matching Tracks"_s);
    clickOption(sheet->genreList(), u"Jazz"_s);
    EXPECT_EQ(sheet->previewText(), u"1 track · 3:20"_s) << "a second click takes the value back";
    EXPECT_TRUE(wanted(sheet->genreList()).isEmpty());
    clickOption(sheet->artistList(), u"Ben"_s);

    QSignalSpy completed(sheet.get(), &SmartPlaylistEditorSheet::completed);
    QTest::keyClicks(sheet->nameField(), u"Odd"_s);
    QTest::mouseClick(sheet->saveButton(), Qt::LeftButton);
    const std::optional<SmartPlaylist> result = resultOf(completed);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->name, u"Odd"_s);
    EXPECT_EQ(result->filterArtists, QSet<QString>{u"Ben"_s});
    EXPECT_TRUE(result->filterGenres.isEmpty());
    EXPECT_EQ(result->filterDecades, QSet<qint64>{2000});
    EXPECT_TRUE(library.smartPlaylists().isEmpty()) << "the owner decides what to do with it";
}

TEST_F(SmartPlaylistSheetTest, AValueNoTrackHasStaysInTheDraftButIsNotOffered)
{
    SmartPlaylist draft = library.createSmartPlaylist(u"Polka"_s);
    draft.filterGenres = {u"Polka"_s, u"Jazz"_s};
    auto sheet = openSheet(draft);
    EXPECT_EQ(sheet->nameField()->text(), u"Polka"_s);
    EXPECT_EQ(wanted(sheet->genreList()), QStringList{u"Jazz"_s});

    QSignalSpy completed(sheet.get(), &SmartPlaylistEditorSheet::completed);
    sheet->accept();
    const std::optional<SmartPlaylist> result = resultOf(completed);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->id, draft.id);
    EXPECT_EQ(result->filterGenres, (QSet<QString>{u"Polka"_s, u"Jazz"_s}));
}

TEST(SmartPlaylistSheetEmptyLibrary, EachColumnSaysWhatIsMissing)
{
    PlaylistFixture fixture;
    Track noYear = makeTrack(u"Untitled"_s, QString());
    noYear.albumArtist.clear();
    fixture.library.add(noYear);
    SmartPlaylistEditorSheet sheet(fixture.library, SmartPlaylistEditorModel::newDraft());
    EXPECT_EQ(sheet.artistEmptyText(), u"No artists in library"_s);
    EXPECT_EQ(sheet.genreEmptyText(), u"No genres in library"_s);
    EXPECT_EQ(sheet.decadeEmptyText(), u"No year data in library"_s);
    EXPECT_EQ(sheet.previewText(), u"1 track · 3:20"_s);
}

class SmartPlaylistDetailTest : public SmartPlaylistSheetTest {
protected:
    std::optional<QString> fileAnswer;

    std::unique_ptr<SmartPlaylistDetailView> makeView(const QUuid& id)
    {
        auto view = std::make_unique<SmartPlaylistDetailView>(
            library, id, [this](QWidget*, const SaveFilePickerRequest&) { return fileAnswer; });
        view->resize(640, 480);
        view->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(view.get()));
        return view;
    }
};

TEST_F(SmartPlaylistDetailTest, ShowsAndExportsTheMatchesAndEditingThroughTheSheetUpdatesThem)
{
    SmartPlaylist jazz = library.createSmartPlaylist(u"Jazz"_s);
    jazz.filterGenres = {u"Jazz"_s};
    library.updateSmartPlaylist(jazz);
    auto view = makeView(jazz.id);
    EXPECT_EQ(view->header()->title(), u"Jazz"_s);
    EXPECT_EQ(view->header()->summary(), u"2 tracks · 2:30"_s);
    EXPECT_EQ(view->table()->tracksModel()->trackAt(0).id, anna.id) << "library order";
    EXPECT_TRUE(view->table()->isColumnHidden(PlaylistTracksModel::position));
    EXPECT_FALSE(view->table()->tracksModel()->flags(view->table()->tracksModel()->index(0, 0)) & Qt::ItemIsDragEnabled);
    QTemporaryDir folder;
    fileAnswer = folder.filePath(u"Jazz.m3u8"_s);
    view->exportFile();
    EXPECT_EQ(QString::fromUtf8(readFile(*fileAnswer)).count(u"#EXTINF:"_s), 2);

    QTest::mouseClick(view->header()->editButton(), Qt::LeftButton);
    SmartPlaylistEditorSheet* sheet = view->editorSheet();
    ASSERT_NE(sheet, nullptr);
    EXPECT_EQ(wanted(sheet->genreList()), QStringList{u"Jazz"_s});
    clickOption(sheet->decadeList(), u"2000s"_s);
    sheet->reject();
    EXPECT_TRUE(library.smartPlaylists().constFirst().filterDecades.isEmpty()) << "cancelled";
    EXPECT_TRUE(QTest::qWaitFor([&view] { return view->editorSheet() == nullptr; }, 2000));

    view->edit();
    clickOption(view->editorSheet()->decadeList(), u"2000s"_s);
    QTest::mouseClick(view->editorSheet()->saveButton(), Qt::LeftButton);
    EXPECT_EQ(library.smartPlaylists().constFirst().filterDecades, QSet<qint64>{2000});
    EXPECT_TRUE(view->showsEmptyState());
    EXPECT_EQ(view->header()->summary(), u"0 tracks · 0:00"_s);
}

} // namespace
