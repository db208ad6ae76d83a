#include "facade/Library.h"
#include "library/BlockingWait.h"
#include "music/AlbumGroup.h"
#include "music/AlbumsView.h"
#include "music/ImportController.h"
#include "music/MusicView.h"
#include "music/SongsTableModel.h"
#include "music/SongsView.h"
#include "music/TrackTextIndex.h"
#include "support/AudioFixtures.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"
#include "widgets/PlaceholderView.h"
#include "widgets/StatusToast.h"

#include <QAbstractItemModelTester>
#include <QComboBox>
#include <QMenu>
#include <QTableView>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

Track track(const QString& title, const QString& artist, const QString& album, const QString& albumArtist = {})
{
    Track t = makeTrack(title, artist, album);
    t.albumArtist = albumArtist;
    return t;
}

QStringList titlesAt(const TrackTextIndex& index, const QList<qsizetype>& rows)
{
    QStringList titles;
    for (qsizetype row : rows)
        titles.append(index.tracks().at(row).title);
    return titles;
}

} // namespace

TEST(TrackSearch, MatchesTitleArtistAlbumOrAlbumArtistWithoutRegardToCaseOrAccents)
{
    TrackTextIndex index;
    index.update({track(u"Brûlé"_s, u"Élodie"_s, u"Çà et là"_s), track(u"Fade"_s, u"Röyksopp"_s, u"Melody A.M."_s),
                  track(u"Straße"_s, u"Ærø"_s, u"ﬁnal"_s, u"Sigur Rós"_s), track(u"Plain"_s, u"Band"_s, u"Record"_s)});
    const std::vector<std::pair<QString, QStringList>> cases{
        {u"brule"_s, {u"Brûlé"_s}},
        {u"BRÛLÉ"_s, {u"Brûlé"_s}},
        {u"elodie"_s, {u"Brûlé"_s}},
        {u"ca et la"_s, {u"Brûlé"_s}},
        {u"royksopp"_s, {u"Fade"_s}},
        {u"RÖYK"_s, {u"Fade"_s}},
        {u"strasse"_s, {u"Straße"_s}},
        {u"aero"_s, {u"Straße"_s}},
        {u"final"_s, {u"Straße"_s}},
        {u"sigur ros"_s, {u"Straße"_s}},
        {u"melody a.m."_s, {u"Fade"_s}},
        {u"ÉLO"_s, {u"Brûlé"_s, u"Fade"_s}},
        {u"plainband"_s, {}},
    };
    for (const auto& [query, titles] : cases)
        EXPECT_EQ(titlesAt(index, index.filter(query)), titles) << qPrintable(query);
}

TEST(TrackSearch, MatchesTitleArtistOrAlbumWithoutRegardToCaseAndFollowsUpdates)
{
    TrackTextIndex index;
    QList<Track> tracks{track(u"Blue Train"_s, u"John Coltrane"_s, u"Blue Train"_s),
                        track(u"So What"_s, u"Miles Davis"_s, u"Kind of Blue"_s, u"Coltrane fans"_s),
                        track(u"Naima"_s, u"John Coltrane"_s, u"Giant Steps"_s)};
    index.update(tracks);
    EXPECT_EQ(titlesAt(index, index.filter(u"COLTRANE"_s)),
              (QStringList{u"Blue Train"_s, u"So What"_s, u"Naima"_s}))
        << "the album artist is searched too";
    EXPECT_EQ(titlesAt(index, index.filter(u"blue"_s)), (QStringList{u"Blue Train"_s, u"So What"_s}));
    EXPECT_TRUE(index.filter(u"john naima"_s).isEmpty()) << "no tokenising across fields";
    EXPECT_TRUE(index.filter(u"naima "_s).isEmpty()) << "the text is not trimmed";
    EXPECT_EQ(index.filter(QString()).size(), 3);

    tracks[2].title = u"New"_s;
    index.update(tracks);
    EXPECT_EQ(titlesAt(index, index.filter(u"new"_s)), QStringList{u"New"_s});
    EXPECT_TRUE(index.filter(u"naima"_s).isEmpty());
    tracks[1].albumArtist = u"Davis Quintet"_s;
    index.update(tracks);
    EXPECT_EQ(titlesAt(index, index.filter(u"quintet"_s)), QStringList{u"So What"_s}) << "a new album artist is seen";
}

TEST(AlbumGrouping, GroupsByAlbumArtistAndAlbumExactlyAndTheFirstTrackNamesTheGroup)
{
    const QList<AlbumGroup> groups = AlbumGroup::group(
        {track(u"1"_s, u"Guest"_s, u"Duets"_s, u"Star"_s), track(u"2"_s, u"Star"_s, u"Duets"_s, u"Star"_s),
         track(u"3"_s, u"Guest"_s, u"Solo"_s), track(u"4"_s, u"Star"_s, u"Solo"_s),
         track(u"5"_s, u"Star"_s, u"duets"_s, u"Star"_s), track(u"6"_s, u"Star"_s, QString())},
        AlbumSortOption::artist);
    QStringList keys;
    for (const AlbumGroup& g : groups)
        keys.append(g.artist + u'/' + g.album + u'/' + QString::number(g.tracks.size()));
    EXPECT_EQ(keys, (QStringList{u"Guest/Solo/1"_s, u"Star//1"_s, u"Star/Duets/2"_s, u"Star/duets/1"_s,
                                 u"Star/Solo/1"_s}))
        << "names that differ only in case stay apart, capitals first";

    // The first track names the group; tracks sort by disc and number.
    Track early = track(u"Intro"_s, u"Band"_s, u"Record"_s, u"Band"_s);
    early.year = 1999;
    Track late = track(u"Outro"_s, u"Band feat. Guest"_s, u"Record"_s, u"Band"_s);
    late.year = 2001;
    late.artworkData = QByteArray("cover");
    const AlbumGroup both = AlbumGroup::group({early, late}, AlbumSortOption::artist).constFirst();
    EXPECT_EQ(both.year, 1999);
    EXPECT_EQ(both.artworkData, QByteArray("cover")) << "the first track that has artwork gives the group's";
    EXPECT_EQ(AlbumGroup::group({late}, AlbumSortOption::artist).constFirst().year, 2001);

    Track second = track(u"b"_s, u"Z"_s, u"album"_s);
    second.discNumber = 2;
    second.trackNumber = 1;
    Track first = track(u"a"_s, u"Z"_s, u"album"_s);
    first.trackNumber = 7;
    const QList<AlbumGroup> byAlbum = AlbumGroup::group(
        {second, track(u"x"_s, u"Y"_s, u"Zebra"_s), track(u"y"_s, u"A"_s, u"Apple"_s), first}, AlbumSortOption::album);
    ASSERT_EQ(byAlbum.size(), 3);
    EXPECT_EQ(byAlbum.at(0).album, u"album"_s) << "case does not count";
    EXPECT_EQ(byAlbum.at(1).album, u"Apple"_s);
    EXPECT_EQ(byAlbum.at(2).album, u"Zebra"_s);
    EXPECT_EQ(byAlbum.at(0).tracks.at(0).title, u"a"_s) << "no disc counts as 0";
}

TEST(AlbumGrouping, SortsByTheLocaleWithNumbersByValueAndWithoutCase)
{
    const QStringList names{u"Zappa"_s, u"Élodie"_s, u"10cc"_s, u"abba"_s, u"Eagles"_s, u"2 Unlimited"_s,
                            u"Fleetwood"_s, u"Disc 10"_s, u"Disc 9"_s, u"éclat"_s};
    const QStringList sorted{u"2 Unlimited"_s, u"10cc"_s, u"abba"_s, u"Disc 9"_s, u"Disc 10"_s,
                             u"Eagles"_s, u"éclat"_s, u"Élodie"_s, u"Fleetwood"_s, u"Zappa"_s};
    QList<Track> byArtist;
    QList<Track> byAlbum;
    for (const QString& name : names) {
        byArtist.append(track(u"t"_s, name, u"Same"_s));
        byAlbum.append(track(u"t"_s, u"Same"_s, name));
    }
    QStringList artists;
    for (const AlbumGroup& group : AlbumGroup::group(byArtist, AlbumSortOption::artist))
        artists.append(group.artist);
    EXPECT_EQ(artists, sorted);
    QStringList albums;
    for (const AlbumGroup& group : AlbumGroup::group(byAlbum, AlbumSortOption::album))
        albums.append(group.album);
    EXPECT_EQ(albums, sorted);
}

TEST(SongsTable, NumbersShowTheDiscOnlyWhenThereAreSeveralTitlesSortNaturallyAndYearDoesNotSort)
{
    Track discTwo = track(u"Track 10"_s, u"b"_s, u"X"_s);
    discTwo.discNumber = 2;
    discTwo.trackNumber = 5;
    Track discOne = track(u"track 9"_s, u"C"_s, u"X"_s);
    discOne.discNumber = 1;
    discOne.trackNumber = 9;
    TrackTextIndex index;
    index.update({discTwo, discOne, track(u"Ärger"_s, u"a"_s, u"X"_s)});
    SongsTableModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setRows(&index, {0, 1, 2});
    const auto column = [&model](int c) {
        QStringList values;
        for (int row = 0; row < model.rowCount(); ++row)
            values.append(model.data(model.index(row, c), Qt::DisplayRole).toString());
        return values;
    };
    EXPECT_EQ(column(SongsTableModel::title), (QStringList{u"Ärger"_s, u"track 9"_s, u"Track 10"_s}));
    model.sort(SongsTableModel::number, Qt::AscendingOrder);
    EXPECT_EQ(column(SongsTableModel::number), (QStringList{u"–"_s, u"1-9"_s, u"2-5"_s}));
    model.sort(SongsTableModel::artist, Qt::DescendingOrder);
    EXPECT_EQ(column(SongsTableModel::artist), (QStringList{u"C"_s, u"b"_s, u"a"_s}));
    model.sort(SongsTableModel::year, Qt::AscendingOrder);
    EXPECT_EQ(column(SongsTableModel::artist), (QStringList{u"C"_s, u"b"_s, u"a"_s}));
    model.setRows(&index, {0});
    EXPECT_EQ(column(SongsTableModel::number), QStringList{u"5"_s});
    EXPECT_EQ(column(SongsTableModel::year), QStringList{u"–"_s});
}

namespace {

class MusicViewTest : public ::testing::Test {
protected:
    TemporaryStores stores;
    Library library{QUrl::fromLocalFile(stores.folder() + u"/Music"_s)};
};

} // namespace

TEST_F(MusicViewTest, StartsOnAlbumsSaysWhenEmptyAndSearchNarrowsBothViews)
{
    MusicView view(library);
    view.resize(600, 400);
    view.show();
    const auto shownTitle = [&view] {
        for (PlaceholderView* placeholder : view.findChildren<PlaceholderView*>()) {
            if (placeholder->isVisible())
                return placeholder->title();
        }
        return QString();
    };
    EXPECT_EQ(view.viewMode(), MusicViewMode::albums);
    EXPECT_EQ(shownTitle(), u"No Music Yet"_s);
    library.add(track(u"Song A"_s, u"Alpha"_s, u"First"_s));
    library.add(track(u"Song B"_s, u"Beta"_s, u"Second"_s));
    view.refreshNow();
    EXPECT_EQ(shownTitle(), QString());
    EXPECT_EQ(view.albumsView()->groups().size(), 2) << "the lists follow the library";
    view.setSearchText(u"beta"_s);
    ASSERT_EQ(view.albumsView()->groups().size(), 1);
    EXPECT_EQ(view.albumsView()->groups().constFirst().album, u"Second"_s);
    view.setViewMode(MusicViewMode::songs);
    EXPECT_EQ(view.songsView()->model()->rowCount(), 1);
    view.setSearchText(QString());
    EXPECT_EQ(view.songsView()->model()->rowCount(), 2);
    view.setViewMode(MusicViewMode::albums);
    view.setSearchText(u"zzz"_s);
    EXPECT_EQ(shownTitle(), u"No Results"_s);
    for (PlaceholderView* placeholder : view.findChildren<PlaceholderView*>()) {
        if (placeholder->isVisible()) {
            EXPECT_EQ(placeholder->message(), u"No songs match “zzz”"_s);
        }
    }
    view.setSearchText(u"BÉTA"_s);
    EXPECT_EQ(view.albumsView()->groups().size(), 1) << "case and accents do not count";
}

TEST_F(MusicViewTest, TheChosenAlbumOrderIsKeptForTheNextWindow)
{
    TestEnvironment::clearSettings();
    library.add(track(u"1"_s, u"Beta"_s, u"Alpha"_s));
    library.add(track(u"2"_s, u"Alpha"_s, u"Beta"_s));
    {
        MusicView first(library);
        EXPECT_EQ(first.albumsView()->sortOption(), AlbumSortOption::artist);
        auto* picker = first.albumsView()->findChild<QComboBox*>();
        ASSERT_NE(picker, nullptr);
        picker->setCurrentIndex(1);
        EXPECT_EQ(first.albumsView()->groups().constFirst().album, u"Alpha"_s);
    }
    MusicView second(library);
    EXPECT_EQ(second.albumsView()->sortOption(), AlbumSortOption::album);
    EXPECT_EQ(second.albumsView()->groups().constFirst().album, u"Alpha"_s);
    TestEnvironment::clearSettings();
}

TEST_F(MusicViewTest, TheFirstSelectedRowInTableOrderIsTheSelectedTrackAndARefreshKeepsItSilently)
{
    const Track b = track(u"B"_s, u"x"_s, u"y"_s);
    const Track a = track(u"A"_s, u"x"_s, u"y"_s);
    library.add(b);
    library.add(a);
    MusicView view(library);
    view.setViewMode(MusicViewMode::songs);
    std::optional<Track> selected;
    int emitted = 0;
    QObject::connect(&view, &MusicView::selectedTrackChanged, [&](const std::optional<Track>& t) {
        selected = t;
        ++emitted;
    });
    QTableView* table = view.songsView()->table();
    table->selectAll();
    ASSERT_TRUE(selected.has_value());
    EXPECT_EQ(selected->id, a.id) << "A sorts first by title";
    table->clearSelection();
    EXPECT_FALSE(selected.has_value());

    table->selectRow(1);
    EXPECT_EQ(selected->id, b.id);
    emitted = 0;
    library.add(track(u"C"_s, u"x"_s, u"y"_s));
    view.refreshNow();
    EXPECT_EQ(emitted, 0) << "an edit open in the detail column would be lost";
    EXPECT_EQ(view.songsView()->selectedTrackIDs().size(), 1);
}

TEST_F(MusicViewTest, TheContextMenuAddsTheSelectionToAPlaylistOrANewOne)
{
    library.add(track(u"A"_s, u"x"_s, u"y"_s));
    library.add(track(u"B"_s, u"x"_s, u"y"_s));
    library.createPlaylist(u"Road"_s);
    std::optional<QString> answer = u"  Fresh  "_s;
    SongsView songs(library, [&answer](QWidget*, const TextPromptRequest&) { return answer; });
    TrackTextIndex index;
    index.update(library.tracks());
    songs.setRows(&index, {0, 1});

    QMenu empty;
    songs.fillContextMenu(empty);
    EXPECT_TRUE(empty.isEmpty()) << "nothing for an empty selection";

    songs.table()->selectAll();
    QMenu menu;
    songs.fillContextMenu(menu);
    QMenu* submenu = menu.actions().constFirst()->menu();
    ASSERT_NE(submenu, nullptr);
    const QList<QAction*> entries = submenu->actions();
    ASSERT_EQ(entries.size(), 3);
    EXPECT_EQ(entries.at(0)->text(), u"Road"_s);
    EXPECT_TRUE(entries.at(1)->isSeparator());

    entries.at(0)->trigger();
    EXPECT_EQ(library.playlists().constFirst().trackIDs.size(), 2);
    entries.at(2)->trigger();
    ASSERT_EQ(library.playlists().size(), 2);
    EXPECT_EQ(library.playlists().at(1).name, u"Fresh"_s);
    EXPECT_EQ(library.playlists().at(1).trackIDs.size(), 2);
    answer = u"   "_s;
    entries.at(2)->trigger();
    EXPECT_EQ(library.playlists().size(), 2) << "a blank name makes nothing";
}

TEST_F(MusicViewTest, AnImportShowsItsCountForAMoment)
{
    const QString source = stores.folder() + u"/Incoming"_s;
    AudioFixtures::copySample(u"taglib/sinewave.flac"_s, source + u"/one.flac"_s);
    MusicView view(library, [&source](QWidget*, const FolderPickerRequest&) { return std::optional<QString>(source); });
    view.resize(600, 400);
    view.show();
    BlockingWait::wait(view.importController().chooseFolder(library));
    BlockingWait::wait(view.importController().importSelected());
    EXPECT_TRUE(view.toast()->isVisible());
    EXPECT_EQ(view.toast()->text(), u"1 track imported"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!view.toast()->isVisible(), 5000);
    EXPECT_FALSE(view.importController().importComplete());
}
