#include "PlaylistTestSupport.h"

#include "playlists/PlaylistDetailView.h"
#include "playlists/PlaylistExportPrompt.h"
#include "playlists/PlaylistHeader.h"

#include <QDir>
#include <QFileInfo>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class PlaylistDetailViewTest : public ::testing::Test, protected PlaylistFixture {
protected:
    std::optional<QString> nameAnswer;
    std::optional<TextPromptRequest> asked;
    std::optional<QString> fileAnswer;
    QList<SaveFilePickerRequest> pickerRequests;

    std::unique_ptr<PlaylistDetailView> makeView(const QUuid& playlistID)
    {
        auto view = std::make_unique<PlaylistDetailView>(
            library, playlistID,
            [this](QWidget*, const TextPromptRequest& request) {
                asked = request;
                return nameAnswer;
            },
            [this](QWidget*, const SaveFilePickerRequest& request) {
                pickerRequests.append(request);
                return fileAnswer;
            });
        view->resize(640, 480);
        view->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(view.get()));
        return view;
    }

    static QStringList rowTexts(PlaylistDetailView& view)
    {
        QStringList texts;
        const PlaylistTracksModel* model = view.table()->tracksModel();
        for (int row = 0; row < model->rowCount(); ++row) {
            texts.append(model->data(model->index(row, PlaylistTracksModel::position), Qt::DisplayRole).toString()
                         + u' ' + model->trackAt(row).title);
        }
        return texts;
    }

    void chooseFromRowMenu(PlaylistDetailView& view, int row, const QString& entry)
    {
        QMenu menu;
        view.fillRowMenu(menu, row);
        for (QAction* action : menu.actions()) {
            if (action->text() == entry) {
                action->trigger();
                return;
            }
        }
        ADD_FAILURE() << "no entry " << entry.toStdString();
    }
};

TEST_F(PlaylistDetailViewTest, DragsStoreTheDropAsGivenAndTheSelectedTrackFollows)
{
    const QList<Track> tracks = addTracks({u"A"_s, u"B"_s, u"C"_s, u"D"_s});
    const Playlist playlist = playlistHolding(u"Mix"_s, idsOf(tracks));
    auto view = makeView(playlist.id);
    dropRow(view->table(), 0, gapBefore(view->table(), 2));
    EXPECT_EQ(titlesOf(playlist.id), (QStringList{u"B"_s, u"C"_s, u"A"_s, u"D"_s}));
    EXPECT_EQ(rowTexts(*view), (QStringList{u"1 B"_s, u"2 C"_s, u"3 A"_s, u"4 D"_s})) << "the rows follow at once";
    const QRect last = view->table()->visualRect(view->table()->model()->index(3, PlaylistTracksModel::title));
    dropRow(view->table(), 0, QPoint(last.center().x(), last.bottom() + 20));
    EXPECT_EQ(titlesOf(playlist.id), (QStringList{u"C"_s, u"A"_s, u"D"_s, u"B"_s}));

    QSignalSpy selected(view.get(), &PlaylistDetailView::selectedTrackChanged);
    clickRow(view->table(), 1);
    ASSERT_EQ(selected.count(), 1);
    EXPECT_EQ(selected.at(0).at(0).value<std::optional<Track>>()->title, u"A"_s);
    dropRow(view->table(), 1, gapBefore(view->table(), 0));
    EXPECT_EQ(titlesOf(playlist.id), (QStringList{u"A"_s, u"C"_s, u"D"_s, u"B"_s}));
    EXPECT_EQ(selected.count(), 1) << "the same track stays selected";
    EXPECT_EQ(view->table()->currentIndex().row(), 0);

    chooseFromRowMenu(*view, 0, u"Remove from Playlist"_s);
    ASSERT_EQ(selected.count(), 2);
    EXPECT_FALSE(selected.at(1).at(0).value<std::optional<Track>>().has_value());
}

TEST_F(PlaylistDetailViewTest, RowsFromAnotherPlaylistAreNotTakenIn)
{
    const QList<Track> tracks = addTracks({u"A"_s, u"B"_s, u"C"_s});
    const Playlist first = playlistHolding(u"First"_s, idsOf(tracks));
    const Playlist second = playlistHolding(u"Second"_s, idsOf(tracks));
    auto source = makeView(first.id);
    auto target = makeView(second.id);

    const std::unique_ptr<QMimeData> data(source->table()->model()->mimeData({source->table()->model()->index(0, 0)}));
    EXPECT_FALSE(target->table()->model()->canDropMimeData(data.get(), Qt::MoveAction, 2, 0, {}));
    EXPECT_FALSE(target->table()->model()->dropMimeData(data.get(), Qt::MoveAction, 2, 0, {}));
    EXPECT_EQ(titlesOf(second.id), (QStringList{u"A"_s, u"B"_s, u"C"_s}));
}

TEST_F(PlaylistDetailViewTest, WithDanglingIdsPositionsCountResolvedRowsAndRemovalTakesTheFirstEntry)
{
    const QList<Track> tracks = addTracks({u"A"_s, u"B"_s, u"C"_s});
    const QUuid gone = QUuid::createUuid();
    // Adding skips a track already there, so the list is stored whole.
    Playlist playlist = playlistHolding(u"Mix"_s, {});
    playlist.trackIDs = {gone, tracks[0].id, tracks[1].id, tracks[2].id, tracks[0].id};
    library.updatePlaylist(playlist);
    auto view = makeView(playlist.id);
    EXPECT_EQ(rowTexts(*view), (QStringList{u"1 A"_s, u"2 B"_s, u"3 C"_s, u"4 A"_s}));

    // Removing goes by id: the last row takes the first entry of its track.
    chooseFromRowMenu(*view, 3, u"Remove from Playlist"_s);
    EXPECT_EQ(library.playlists().constFirst().trackIDs,
              (QList<QUuid>{gone, tracks[1].id, tracks[2].id, tracks[0].id}));
}

TEST_F(PlaylistDetailViewTest, HeaderCountsResolvedTracksFollowsTrackChangesAMomentLaterAndRenames)
{
    QList<Track> tracks = addTracks({u"A"_s, u"B"_s}, 1800.5);
    const Playlist playlist = playlistHolding(u"Long"_s, {tracks[0].id, QUuid::createUuid(), tracks[1].id});
    auto view = makeView(playlist.id);
    EXPECT_EQ(view->header()->title(), u"Long"_s);
    EXPECT_EQ(view->header()->summary(), u"2 tracks · 1:00:01"_s);

    library.removeTrack(2, playlist.id);
    EXPECT_EQ(view->header()->summary(), u"1 track · 30:00"_s);
    EXPECT_FALSE(view->showsEmptyState());

    library.remove(tracks[0].id);
    EXPECT_TRUE(QTest::qWaitFor([&view] { return view->showsEmptyState(); }, 2000));
    EXPECT_EQ(view->header()->summary(), u"0 tracks · 0:00"_s);

    // Renaming trims, and a blank name or Cancel changes nothing.
    nameAnswer = u"  New Name "_s;
    QTest::mouseClick(view->header()->editButton(), Qt::LeftButton);
    ASSERT_TRUE(asked.has_value());
    EXPECT_EQ(asked->title, u"Rename Playlist"_s);
    EXPECT_EQ(asked->initialText, u"Long"_s);
    EXPECT_EQ(library.playlists().constFirst().name, u"New Name"_s);
    EXPECT_EQ(view->header()->title(), u"New Name"_s);
    const Date modified = library.playlists().constFirst().dateModified;
    nameAnswer = u"   "_s;
    view->rename();
    nameAnswer.reset();
    view->rename();
    EXPECT_EQ(library.playlists().constFirst().name, u"New Name"_s);
    EXPECT_EQ(library.playlists().constFirst().dateModified, modified);
}

TEST_F(PlaylistDetailViewTest, AFailedExportIsShownUntilTheNextAndANameWithASlashAsksForNoFile)
{
    QTemporaryDir folder;
    QList<Track> tracks;
    for (const QString& title : {u"Één"_s, u"Two"_s}) {
        tracks.append(makeTrack(title, u"Artist"_s, u"Album"_s, 61.9));
        tracks.last().url = QUrl::fromLocalFile(folder.filePath(u"Music/Artist/"_s + title + u".flac"_s));
        library.add(tracks.last());
    }
    const Playlist playlist = playlistHolding(u"Road Trip"_s, idsOf(tracks));
    auto view = makeView(playlist.id);

    fileAnswer = folder.filePath(u"missing/Road Trip.m3u8"_s);
    view->exportFile();
    EXPECT_TRUE(view->header()->error().startsWith(u"The playlist could not be written to"_s))
        << view->header()->error().toStdString();
    fileAnswer.reset(); // cancelled
    view->exportFile();
    EXPECT_TRUE(view->header()->error().isEmpty());

    QDir(folder.path()).mkpath(u"Exports"_s);
    fileAnswer = folder.filePath(u"Exports/Road Trip.m3u8"_s);
    QTest::mouseClick(view->header()->exportButton(), Qt::LeftButton);
    ASSERT_EQ(pickerRequests.size(), 3);
    EXPECT_EQ(QFileInfo(pickerRequests[2].suggestedPath).fileName(), u"Road Trip.m3u8"_s);
    EXPECT_EQ(pickerRequests[2].fileExtension, u".m3u8"_s);
    EXPECT_EQ(readFile(*fileAnswer), u"#EXTM3U\n#EXTINF:61,Artist - Één\n../Music/Artist/Één.flac\n"
                                     u"#EXTINF:61,Artist - Two\n../Music/Artist/Two.flac\n"_s.toUtf8());

    const Playlist slash = playlistHolding(u"AC/DC"_s, idsOf(tracks));
    auto unsafe = makeView(slash.id);
    pickerRequests.clear();
    fileAnswer = folder.filePath(u"anything.m3u8"_s);
    const QStringList before = QDir(folder.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    unsafe->exportFile();
    EXPECT_TRUE(pickerRequests.isEmpty()) << "no file name is offered that would leave the folder";
    EXPECT_EQ(unsafe->header()->error(),
              u"The playlist name “AC/DC” cannot be used as a file name, because it holds a “/” or is made only of "
              u"dots. Rename the playlist, or give the full path of the file."_s);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), before);
    EXPECT_FALSE(QFileInfo::exists(PlaylistExportPrompt::startFolder() + u"/AC"_s));
}

} // namespace
