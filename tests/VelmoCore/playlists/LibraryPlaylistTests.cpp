#include "facade/Library.h"
#include "facade/LibraryStores.h"
#include "playlists/PlaylistExporter.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QDir>
#include <QFileInfo>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const Date longAgo{1000};

class LibraryPlaylistTest : public ::testing::Test {
protected:
    TemporaryStores stores;

    std::unique_ptr<Library> open() const
    {
        return std::make_unique<Library>(QUrl::fromLocalFile(stores.folder() + u"/Music"_s));
    }

    // Playlists from before this run, so that a changed dateModified shows.
    static Playlist oldPlaylist(const QString& name, const QList<QUuid>& trackIDs = {})
    {
        return {QUuid::createUuid(), name, trackIDs, longAgo, longAgo};
    }

    static void seed(const QList<Playlist>& playlists, const QList<Track>& tracks = {})
    {
        writeFile(StoreLocations::path(StoreKind::playlists), LibraryStores::encodePlaylists(playlists));
        writeFile(StoreLocations::path(StoreKind::library), LibraryStores::encodeTracks(tracks));
    }

    static QList<Playlist> storedPlaylists() { return LibraryStores::readPlaylists().value; }
    static QList<SmartPlaylist> storedSmartPlaylists() { return LibraryStores::readSmartPlaylists().value; }
};

// Letters name ids, so that an order reads as "B C A D".
class Ids {
public:
    explicit Ids(const QString& letters)
    {
        for (QChar letter : letters)
            m_ids.insert(letter, QUuid::createUuid());
    }
    QList<QUuid> operator()(const QString& letters) const
    {
        QList<QUuid> ids;
        for (QChar letter : letters)
            ids.append(m_ids.value(letter));
        return ids;
    }
    QString letters(const QList<QUuid>& ids) const
    {
        QString text;
        for (const QUuid& id : ids)
            text += m_ids.key(id, u'?');
        return text;
    }

private:
    QHash<QChar, QUuid> m_ids;
};

} // namespace

TEST_F(LibraryPlaylistTest, CreatedPlaylistsAreAppendedAndSurviveARestart)
{
    Playlist first;
    {
        const auto library = open();
        QSignalSpy changed(library.get(), &Library::playlistsChanged);
        const Date before = Date::now();
        first = library->createPlaylist(u"Road Trip"_s);
        library->createPlaylist(u"Road Trip"_s);
        library->createPlaylist(u"  not cleaned/ "_s);
        EXPECT_EQ(changed.count(), 3);
        EXPECT_TRUE(first.trackIDs.isEmpty());
        EXPECT_GE(first.dateCreated, before);
        EXPECT_EQ(first.dateModified, first.dateCreated);
        ASSERT_EQ(library->playlists().size(), 3) << "names need not be unique";
        EXPECT_NE(library->playlists().at(1).id, first.id);
    }
    const QList<Playlist> stored = storedPlaylists();
    ASSERT_EQ(stored.size(), 3);
    EXPECT_EQ(stored.at(0), first);
    EXPECT_EQ(stored.at(2).name, u"  not cleaned/ "_s);
}

TEST_F(LibraryPlaylistTest, DeleteRemovesEveryPlaylistWithTheIdAndKeepsTheRestInOrder)
{
    Playlist twin = oldPlaylist(u"A"_s);
    const Playlist b = oldPlaylist(u"B"_s);
    const Playlist c = oldPlaylist(u"C"_s);
    Playlist twinAgain = oldPlaylist(u"A again"_s);
    twinAgain.id = twin.id;
    seed({twin, b, twinAgain, c});
    const auto library = open();
    library->deletePlaylist(twin.id);
    library->flush();
    EXPECT_EQ(library->playlists(), (QList<Playlist>{b, c}));
    EXPECT_EQ(storedPlaylists(), library->playlists());
}

TEST_F(LibraryPlaylistTest, UpdateReplacesTheWholePlaylistAndSetsDateModified)
{
    const Playlist original = oldPlaylist(u"Old name"_s);
    seed({original});
    const auto library = open();
    QSignalSpy changed(library.get(), &Library::playlistsChanged);

    Playlist renamed = original;
    renamed.name = u"New name"_s;
    renamed.trackIDs = {QUuid::createUuid()};
    renamed.dateModified = Date{5};
    library->updatePlaylist(renamed);
    const Playlist& stored = library->playlists().constFirst();
    EXPECT_EQ(stored.name, u"New name"_s);
    EXPECT_EQ(stored.trackIDs, renamed.trackIDs);
    EXPECT_EQ(stored.dateCreated, longAgo);
    EXPECT_GT(stored.dateModified, longAgo) << "set to now, whatever the value carried";

    library->updatePlaylist(oldPlaylist(u"Stranger"_s));
    EXPECT_EQ(changed.count(), 1) << "an unknown id changes nothing";
    EXPECT_EQ(library->playlists().size(), 1);
}

TEST_F(LibraryPlaylistTest, AddTrackAppendsOnceAndOnlyARealAddTouchesTheDate)
{
    const Playlist playlist = oldPlaylist(u"P"_s);
    seed({playlist});
    const auto library = open();
    QSignalSpy changed(library.get(), &Library::playlistsChanged);
    const QUuid first = QUuid::createUuid();
    const QUuid second = QUuid::createUuid();

    library->addTrack(first, playlist.id);
    const Date afterFirstAdd = library->playlists().constFirst().dateModified;
    EXPECT_GT(afterFirstAdd, longAgo);
    library->addTrack(first, playlist.id);
    EXPECT_EQ(library->playlists().constFirst().dateModified, afterFirstAdd);
    EXPECT_EQ(changed.count(), 1) << "adding an id already there is no change";

    library->addTrack(second, playlist.id);
    EXPECT_EQ(library->playlists().constFirst().trackIDs, (QList<QUuid>{first, second}));
    library->addTrack(first, QUuid::createUuid());
    EXPECT_EQ(changed.count(), 2) << "an unknown playlist changes nothing";
}

TEST_F(LibraryPlaylistTest, RemoveTrackGoesByPositionAndIgnoresPositionsOutside)
{
    const Ids ids(u"ABC"_s);
    const Playlist playlist = oldPlaylist(u"P"_s, ids(u"ABA"_s));
    seed({playlist});
    const auto library = open();
    QSignalSpy changed(library.get(), &Library::playlistsChanged);

    library->removeTrack(3, playlist.id);
    library->removeTrack(-1, playlist.id);
    EXPECT_EQ(changed.count(), 0) << "a position equal to the count, or below 0, does nothing";
    EXPECT_EQ(library->playlists().constFirst().dateModified, longAgo);

    library->moveTrack(QUuid::createUuid(), {0}, 1);
    EXPECT_EQ(changed.count(), 0) << "a move in an unknown playlist changes nothing";

    library->removeTrack(2, playlist.id);
    EXPECT_EQ(ids.letters(library->playlists().constFirst().trackIDs), u"AB"_s) << "the second A, not the first";
    EXPECT_GT(library->playlists().constFirst().dateModified, longAgo);
    EXPECT_EQ(changed.count(), 1);
}

TEST_F(LibraryPlaylistTest, MoveTrackUsesTheDestinationUncorrected)
{
    struct Case {
        QString before;
        QSet<qsizetype> from;
        qsizetype to;
        QString after;
        const char* why;
    };
    const QList<Case> cases{
        {u"ABCD"_s, {0}, 2, u"BCAD"_s, "dragged down: one place further per moved row"},
        {u"ABCD"_s, {3}, 1, u"ADBC"_s, "dragged up lands in the gap"},
        {u"ABCDE"_s, {0, 2}, 4, u"BDEAC"_s, "the block clamps to the remaining count"},
        {u"ABCDE"_s, {3, 1}, 0, u"BDACE"_s, "collected in ascending position order"},
        {u"ABCD"_s, {1}, 99, u"ACDB"_s, "a destination beyond the end places the block at the end"},
        {u"ABCD"_s, {2, 7, -1}, 0, u"CABD"_s, "positions outside the list are ignored"},
        {u"ABCD"_s, {1}, -3, u"BACD"_s, "a negative destination is the start"},
    };
    for (const Case& c : cases) {
        const Ids ids(u"ABCDE"_s);
        const Playlist playlist = oldPlaylist(u"P"_s, ids(c.before));
        seed({playlist});
        const auto library = open();
        library->moveTrack(playlist.id, c.from, c.to);
        EXPECT_EQ(ids.letters(library->playlists().constFirst().trackIDs), c.after) << c.why;
        EXPECT_GT(library->playlists().constFirst().dateModified, longAgo) << c.why;
        library->flush();
        EXPECT_EQ(storedPlaylists().constFirst().trackIDs, library->playlists().constFirst().trackIDs) << c.why;
    }
}

TEST_F(LibraryPlaylistTest, DraggingWithDanglingIdsAppliesResolvedRowNumbersToTheIds)
{
    // The screen shows only the resolved tracks and hands their row numbers on unchanged.
    const Track a = makeTrack(u"A"_s);
    const Track b = makeTrack(u"B"_s);
    const Track c = makeTrack(u"C"_s);
    const QUuid gone = QUuid::createUuid();
    const Playlist playlist = oldPlaylist(u"P"_s, {gone, a.id, b.id, c.id});
    seed({playlist}, {a, b, c});
    const auto library = open();
    ASSERT_EQ(library->resolve(library->playlists().constFirst()).size(), 3);

    EXPECT_EQ(library->resolve(Playlist{.trackIDs = {c.id, gone, a.id, c.id}}), (QList<Track>{c, a, c}))
        << "resolving keeps the order and repeats";

    // The user drags row "A" to the end; position 0 of trackIDs is the dangling id.
    library->moveTrack(playlist.id, {0}, 3);
    EXPECT_EQ(library->playlists().constFirst().trackIDs, (QList<QUuid>{a.id, b.id, c.id, gone}));
}

TEST_F(LibraryPlaylistTest, DeletedTracksStayInPlaylistsUntilAPrune)
{
    const Track kept = makeTrack(u"Kept"_s);
    const Track deleted = makeTrack(u"Deleted"_s);
    const Playlist mixed = oldPlaylist(u"Mixed"_s, {deleted.id, kept.id, deleted.id});
    const Playlist allGone = oldPlaylist(u"All gone"_s, {deleted.id});
    const Playlist untouched = oldPlaylist(u"Untouched"_s, {kept.id});
    seed({mixed, allGone, untouched}, {kept, deleted});
    const auto library = open();
    library->remove(deleted.id);

    EXPECT_EQ(library->playlists().at(1).trackIDs, allGone.trackIDs) << "track deletion leaves playlists alone";
    EXPECT_TRUE(library->resolve(library->playlists().at(1)).isEmpty()) << "and every reader skips the id";
    EXPECT_EQ(library->resolve(library->playlists().at(0)), (QList<Track>{kept}));

    QSignalSpy changed(library.get(), &Library::playlistsChanged);
    library->prunePlaylistReferences();
    EXPECT_EQ(changed.count(), 1) << "one save for all playlists";
    EXPECT_EQ(library->playlists().at(0).trackIDs, (QList<QUuid>{kept.id}));
    EXPECT_TRUE(library->playlists().at(1).trackIDs.isEmpty());
    EXPECT_GT(library->playlists().at(0).dateModified, longAgo);
    EXPECT_GT(library->playlists().at(1).dateModified, longAgo);
    EXPECT_EQ(library->playlists().at(2).dateModified, longAgo) << "only playlists that lost entries";
    library->flush();
    EXPECT_EQ(storedPlaylists(), library->playlists());
}

TEST_F(LibraryPlaylistTest, APruneWithNothingToRemoveLeavesTheFileAlone)
{
    const Track track = makeTrack(u"T"_s);
    seed({oldPlaylist(u"P"_s, {track.id})}, {track});
    // Compact JSON with spaces added by hand: any rewrite would show.
    const QByteArray handWritten = readFile(StoreLocations::path(StoreKind::playlists)).replace(",", ", ");
    writeFile(StoreLocations::path(StoreKind::playlists), handWritten);
    {
        const auto library = open();
        QSignalSpy changed(library.get(), &Library::playlistsChanged);
        library->prunePlaylistReferences();
        EXPECT_EQ(changed.count(), 0);
    }
    EXPECT_EQ(readFile(StoreLocations::path(StoreKind::playlists)), handWritten);
}

TEST_F(LibraryPlaylistTest, ExportWritesTheFileButNeverTouchesTheDate)
{
    const Track track = makeTrack(u"Song"_s, u"Band"_s);
    const Playlist playlist = oldPlaylist(u"P"_s, {track.id});
    seed({playlist}, {track});
    const auto library = open();
    QSignalSpy changed(library.get(), &Library::playlistsChanged);
    const QString target = stores.path(u"out/P.m3u8"_s);
    QDir().mkpath(stores.path(u"out"_s));

    library->exportPlaylist(playlist.id, QUrl::fromLocalFile(target), false);
    EXPECT_EQ(readFile(target), "#EXTM3U\n#EXTINF:200,Band - Song\n/music/Band/Album/Song.flac\n");
    EXPECT_EQ(library->playlists().constFirst().dateModified, longAgo);
    EXPECT_EQ(changed.count(), 0);

    const QString unknownTarget = stores.path(u"out/none.m3u8"_s);
    library->exportPlaylist(QUuid::createUuid(), QUrl::fromLocalFile(unknownTarget), true);
    EXPECT_FALSE(QFileInfo::exists(unknownTarget)) << "an unknown playlist writes nothing";

    EXPECT_THROW(library->exportPlaylist(playlist.id, QUrl::fromLocalFile(stores.path(u"missing/P.m3u8"_s)), true),
                 PlaylistExporter::ExportError);
}

TEST_F(LibraryPlaylistTest, SmartPlaylistsAreStoredAsGivenAndUpdatedWithANewDate)
{
    SmartPlaylist given{
        .id = QUuid::createUuid(),
        .name = u"Nineties"_s,
        .filterDecades = {1990},
        .dateCreated = longAgo,
        .dateModified = longAgo,
    };
    SmartPlaylist created;
    {
        const auto library = open();
        QSignalSpy changed(library.get(), &Library::smartPlaylistsChanged);
        library->addSmartPlaylist(given);
        EXPECT_EQ(library->smartPlaylists().constFirst(), given) << "appended exactly as given";
        created = library->createSmartPlaylist(u"Everything"_s);
        EXPECT_EQ(created.dateCreated, created.dateModified);

        SmartPlaylist edited = given;
        edited.filterGenres = {u"Rock"_s};
        library->updateSmartPlaylist(edited);
        EXPECT_EQ(library->smartPlaylists().constFirst().filterGenres, edited.filterGenres);
        EXPECT_GT(library->smartPlaylists().constFirst().dateModified, longAgo);
        EXPECT_EQ(library->smartPlaylists().constFirst().dateCreated, longAgo);

        library->updateSmartPlaylist(SmartPlaylist{.id = QUuid::createUuid()});
        EXPECT_EQ(library->smartPlaylists().size(), 2) << "an unknown id adds nothing";
        EXPECT_EQ(changed.count(), 3);
    }
    const QList<SmartPlaylist> stored = storedSmartPlaylists();
    ASSERT_EQ(stored.size(), 2);
    EXPECT_EQ(stored.at(1), created);

    const auto library = open();
    library->deleteSmartPlaylist(given.id);
    ASSERT_EQ(library->smartPlaylists().size(), 1);
    EXPECT_EQ(library->smartPlaylists().constFirst().id, created.id);
}

TEST_F(LibraryPlaylistTest, SmartPlaylistsResolveAndExportTheirMatches)
{
    Track old = makeTrack(u"Old"_s, u"Band"_s);
    old.year = 1975;
    Track young = makeTrack(u"Young"_s, u"Band"_s);
    young.year = 2003;
    seed({}, {old, young});
    const auto library = open();
    SmartPlaylist smart = library->createSmartPlaylist(u"Seventies"_s);
    smart.filterDecades = {1970};
    library->updateSmartPlaylist(smart);
    EXPECT_EQ(library->resolve(library->smartPlaylists().constFirst()), (QList<Track>{old}));

    const QString target = stores.path(u"Seventies.m3u8"_s);
    library->exportSmartPlaylist(smart.id, QUrl::fromLocalFile(target), true);
    const QString folderToMusic = PlaylistExporter::relativePath(stores.folder(), u"/music"_s);
    EXPECT_EQ(readFile(target),
              "#EXTM3U\n#EXTINF:200,Band - Old\n" + folderToMusic.toUtf8() + "/Band/Album/Old.flac\n");

    library->exportSmartPlaylist(QUuid::createUuid(), QUrl::fromLocalFile(stores.path(u"x.m3u8"_s)), true);
    EXPECT_FALSE(QFileInfo::exists(stores.path(u"x.m3u8"_s)));
}
