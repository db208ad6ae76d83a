#include "../../support/JsonHelpers.h"
#include "../../support/TestEnvironment.h"
#include "../../support/TrackFactory.h"
#include "facade/Library.h"
#include "facade/LibraryStores.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class LibraryTest : public ::testing::Test {
protected:
    TemporaryStores stores;

    QString storePath(StoreKind kind) const { return StoreLocations::path(kind); }
    std::unique_ptr<Library> open() const
    {
        return std::make_unique<Library>(QUrl::fromLocalFile(stores.folder() + u"/Music"_s));
    }
    QList<Track> storedTracks() const { return LibraryStores::readTracks().value; }
};

} // namespace

TEST_F(LibraryTest, FirstLaunchHasEmptyListsAndWritesNothingInTheTwoStoreFolders)
{
    {
        const auto library = open();
        EXPECT_TRUE(library->tracks().isEmpty());
        EXPECT_TRUE(library->playlists().isEmpty());
        EXPECT_TRUE(library->podcasts().isEmpty());
        EXPECT_TRUE(library->downloadProgress().isEmpty());
    }
    for (StoreKind kind : allStoreKinds)
        EXPECT_FALSE(QFileInfo::exists(storePath(kind))) << qPrintable(storePath(kind));
    EXPECT_FALSE(QFileInfo::exists(stores.folder() + u"/Music"_s)) << "the root is not created by loading";

    StoreLocations::setOverride(StoreKind::library, std::nullopt);
    StoreLocations::setOverride(StoreKind::podcasts, std::nullopt);
    EXPECT_EQ(StoreLocations::path(StoreKind::library), TestEnvironment::dataHome() + u"/Sonorelle/library.json"_s);
    EXPECT_EQ(StoreLocations::path(StoreKind::podcasts), TestEnvironment::dataHome() + u"/Velmo/podcasts.json"_s);
}

TEST_F(LibraryTest, AddedTracksSurviveARestartWithoutTheirArtwork)
{
    Track first = makeFullTrack();
    first.artworkData = QByteArray(1000, 'x');
    const Track second = makeTrack(u"Second"_s);
    {
        const auto library = open();
        QSignalSpy changed(library.get(), &Library::tracksChanged);
        library->add(first);
        library->add(second);
        EXPECT_EQ(changed.count(), 2);
        EXPECT_EQ(library->tracks().constFirst().artworkData, first.artworkData) << "held while running";
    }
    EXPECT_FALSE(readFile(storePath(StoreKind::library)).contains("xxxx"));
    first.artworkData = std::nullopt;
    const auto reopened = open();
    EXPECT_EQ(reopened->tracks(), (QList<Track>{first, second}));
}

TEST_F(LibraryTest, CorruptStoresReadAsEmptyAndStayUntilTheNextChange)
{
    const Track kept = makeTrack(u"Kept"_s);
    writeFile(storePath(StoreKind::library), LibraryStores::encodeTracks({kept}));
    writeFile(storePath(StoreKind::playlists), "[{\"id\": broken");
    const QJsonArray oneBadRecord{toQt(Playlist{QUuid::createUuid(), u"Good"_s, {}, {}, {}}),
                                  QJsonObject{{u"id"_s, u"not a playlist"_s}}};
    writeFile(storePath(StoreKind::smartPlaylists), "{\"wrong\": \"shape\"}");
    writeFile(storePath(StoreKind::deviceProfiles), jsonText(oneBadRecord));
    QDir().mkpath(storePath(StoreKind::podcasts));

    const QByteArray brokenPlaylists = readFile(storePath(StoreKind::playlists));
    {
        const auto library = open();
        EXPECT_EQ(library->tracks().size(), 1) << "a sound library.json loads beside corrupt stores";
        EXPECT_TRUE(library->playlists().isEmpty());
        EXPECT_TRUE(library->smartPlaylists().isEmpty());
        EXPECT_TRUE(library->deviceProfiles().isEmpty()) << "one bad record loses the whole list";
        EXPECT_TRUE(library->podcasts().isEmpty());
        library->add(makeTrack(u"New"_s));
    }
    EXPECT_EQ(readFile(storePath(StoreKind::playlists)), brokenPlaylists) << "only a change overwrites a store";
    EXPECT_TRUE(QFileInfo(storePath(StoreKind::podcasts)).isDir());
    EXPECT_EQ(storedTracks().size(), 2);
}

TEST_F(LibraryTest, AnObjectInPlaceOfTheArrayIsReplacedByTheFirstAdd)
{
    writeFile(storePath(StoreKind::library), "{\"tracks\": []}");
    const auto library = open();
    EXPECT_TRUE(library->tracks().isEmpty());
    library->add(makeTrack(u"Only"_s));
    library->flush();
    ASSERT_EQ(storedTracks().size(), 1);
    EXPECT_EQ(storedTracks().constFirst().title, u"Only"_s);
}

TEST_F(LibraryTest, InspectionNamesTheProblem)
{
    writeFile(storePath(StoreKind::library), "[{\"id\": broken");
    const QJsonArray badRecord{toQt(makeTrack(u"a"_s)), QJsonObject{{u"title"_s, u"b"_s}}};
    writeFile(storePath(StoreKind::playlists), jsonText(badRecord));
    writeFile(storePath(StoreKind::smartPlaylists), "[]");

    const auto inspections = LibraryStores::inspectAll();
    ASSERT_EQ(inspections.size(), 5);
    EXPECT_EQ(inspections.at(0).state, StoreState::corrupt);
    EXPECT_TRUE(inspections.at(0).problem.contains(u"at byte 8"_s)) << qPrintable(inspections.at(0).problem);
    EXPECT_EQ(inspections.at(1).state, StoreState::corrupt);
    EXPECT_TRUE(inspections.at(1).problem.startsWith(u"record 1: key \"name\" not found"_s))
        << qPrintable(inspections.at(1).problem);
}

TEST_F(LibraryTest, AStoreThatRepeatsAnIdKeepsTheFirstRecordOfEachAndNamesTheId)
{
    const Track a = makeTrack(u"A"_s);
    Track aAgain = makeTrack(u"A again"_s);
    aAgain.id = a.id;
    writeFile(storePath(StoreKind::library), LibraryStores::encodeTracks({a, makeTrack(u"B"_s), aAgain, aAgain}));
    const Playlist mix{.id = QUuid::createUuid(), .name = u"Mix"_s};
    Playlist mixAgain = mix;
    mixAgain.name = u"Mix again"_s;
    writeFile(storePath(StoreKind::playlists), LibraryStores::encodePlaylists({mix, mixAgain}));
    const DeviceProfile player{.id = QUuid::createUuid(), .name = u"Player"_s, .rootPath = stores.folder() + u"/Player"_s};
    DeviceProfile playerAgain = player;
    playerAgain.name = u"Player again"_s;
    writeFile(storePath(StoreKind::deviceProfiles), LibraryStores::encodeDeviceProfiles({player, playerAgain}));
    const Podcast show{.id = QUuid::createUuid(), .title = u"Show"_s, .feedURL = QUrl(u"https://example.org/show.xml"_s)};
    const Episode one{.id = QUuid::createUuid(), .podcastID = show.id, .title = u"One"_s,
                      .remoteURL = QUrl(u"https://example.org/one.mp3"_s)};
    Episode oneAgain = one;
    oneAgain.title = u"One again"_s;
    ASSERT_EQ(PodcastStore::save({show, show}, {one, oneAgain}), std::nullopt);

    const auto idText = [](const QUuid& id) { return id.toString(QUuid::WithoutBraces).toUpper(); };
    const auto inspections = LibraryStores::inspectAll();
    ASSERT_EQ(inspections.size(), 5);
    EXPECT_EQ(inspections.at(0).repeatedIDs, QStringList{idText(a.id)}) << "named once however often it repeats";
    EXPECT_EQ(inspections.at(0).records, 2);
    EXPECT_EQ(inspections.at(1).repeatedIDs, QStringList{idText(mix.id)});
    EXPECT_TRUE(inspections.at(2).repeatedIDs.isEmpty());
    EXPECT_EQ(inspections.at(3).repeatedIDs, QStringList{idText(player.id)});
    EXPECT_EQ(inspections.at(4).repeatedIDs, (QStringList{idText(show.id), idText(one.id)}))
        << qPrintable(inspections.at(4).problem);

    const auto library = open();
    ASSERT_EQ(library->tracks().size(), 2);
    EXPECT_EQ(library->tracks().at(0).title, u"A"_s) << "the first record of the id";
    EXPECT_EQ(library->tracks().at(1).title, u"B"_s);
    ASSERT_EQ(library->playlists().size(), 1);
    EXPECT_EQ(library->playlists().at(0).name, u"Mix"_s);
    ASSERT_EQ(library->deviceProfiles().size(), 1);
    EXPECT_EQ(library->deviceProfiles().at(0).name, u"Player"_s);
    EXPECT_EQ(library->podcasts().size(), 1);
    ASSERT_EQ(library->episodes().size(), 1);
    EXPECT_EQ(library->episodes().at(0).title, u"One"_s);
    QList<StoreKind> kinds;
    for (const Library::RepeatedIDs& store : library->storesWithRepeatedIDs())
        kinds.append(store.kind);
    EXPECT_EQ(kinds, (QList<StoreKind>{StoreKind::library, StoreKind::playlists, StoreKind::deviceProfiles,
                                        StoreKind::podcasts}));
    EXPECT_TRUE(library->unreadableStores().isEmpty()) << "nothing was lost for a repeated id";

    library->add(makeTrack(u"C"_s));
    library->flush();
    EXPECT_EQ(storedTracks(), library->tracks());
    EXPECT_TRUE(LibraryStores::readTracks().repeatedIDs.isEmpty()) << "the next save leaves the others out";
}

TEST_F(LibraryTest, RemoveDropsEveryEntryWithTheIdAndAnUnknownIdStillSaves)
{
    // Indented by hand: the library writes compact JSON, so a rewrite shows.
    const Track a = makeTrack(u"A"_s);
    const QByteArray indented = jsonText(QJsonArray{toQt(a)});
    writeFile(storePath(StoreKind::library), indented);
    const auto library = open();
    library->remove(QUuid::createUuid());
    library->flush();
    EXPECT_EQ(library->tracks().size(), 1);
    EXPECT_NE(readFile(storePath(StoreKind::library)), indented);
    EXPECT_EQ(storedTracks(), library->tracks());

    Track duplicate = makeTrack(u"A again"_s);
    duplicate.id = a.id;
    library->add(makeTrack(u"B"_s));
    library->add(duplicate);
    library->remove(a.id);
    ASSERT_EQ(library->tracks().size(), 1);
    EXPECT_EQ(library->tracks().constFirst().title, u"B"_s);
}

TEST_F(LibraryTest, ReRippingADiscKeepsIdentityButAnotherLengthAppends)
{
    const auto library = open();
    QList<Track> firstRip;
    for (int n = 1; n <= 3; ++n)
        firstRip.append(library->upsertRippedTrack(makeTrack(u"Song %1"_s.arg(n), u"Band"_s, u"Record"_s, 180.0 + n)));
    ASSERT_EQ(library->tracks().size(), 3);

    for (int n = 1; n <= 3; ++n) {
        Track again = makeTrack(u"song %1 "_s.arg(n), u"BAND"_s, u"Record"_s, 181.5 + n);
        again.url = QUrl::fromLocalFile(u"/new/place/%1.flac"_s.arg(n));
        const Track stored = library->upsertRippedTrack(again);
        EXPECT_EQ(stored.id, firstRip.at(n - 1).id);
        EXPECT_EQ(stored.url, again.url);
    }
    EXPECT_EQ(library->tracks().size(), 3) << "no new entries";

    const Track longer = makeTrack(u"Song 1"_s, u"Band"_s, u"Record"_s, 185.0);
    EXPECT_EQ(library->upsertRippedTrack(longer).id, longer.id) << "2.5 s longer is another track";
    EXPECT_EQ(library->tracks().size(), 4);
}

TEST_F(LibraryTest, RippedTracksOfOneTitleAreKnownByTheirDiscAndPosition)
{
    const auto library = open();
    const auto ripped = [](const QString& title, qint64 number, double duration, const QString& discID) {
        Track track = makeTrack(title, u"Band"_s, u"Record"_s, duration);
        track.trackNumber = number;
        track.discNumber = 1;
        if (!discID.isEmpty())
            track.customTags.insert(Track::discIDTag(), discID);
        return track;
    };

    // One rip: three "Untitled" without a length, which the signature alone calls one song.
    QSet<QUuid> sameRip;
    QList<QUuid> firstIDs;
    for (qint64 n = 1; n <= 3; ++n) {
        const Track stored = library->upsertRippedTrack(ripped(u"Untitled"_s, n, 0.0, u"disc-a"_s), sameRip);
        sameRip.insert(stored.id);
        firstIDs.append(stored.id);
    }
    ASSERT_EQ(library->tracks().size(), 3) << "two tracks of one rip never match each other";

    // A re-rip of the third alone takes over the third's entry, not the first of its title.
    const Track third = library->upsertRippedTrack(ripped(u"Untitled"_s, 3, 0.0, u"disc-a"_s));
    EXPECT_EQ(third.id, firstIDs.at(2));
    EXPECT_EQ(library->tracks().size(), 3);

    // A fourth "Untitled" of this disc is none of its other three, whatever its text says.
    const Track fourth = library->upsertRippedTrack(ripped(u"Untitled"_s, 4, 0.0, u"disc-a"_s));
    EXPECT_EQ(fourth.id, library->tracks().constLast().id);
    EXPECT_FALSE(firstIDs.contains(fourth.id));
    EXPECT_EQ(library->tracks().size(), 4);

    // Another pressing, with another disc id, is matched by its text, at its own position.
    EXPECT_EQ(library->upsertRippedTrack(ripped(u"Untitled"_s, 2, 0.0, u"disc-b"_s)).id, firstIDs.at(1));
    EXPECT_EQ(library->tracks().size(), 4);
    // A track without a disc id is matched by its text, the entry at its position first.
    EXPECT_EQ(library->upsertRippedTrack(ripped(u"Untitled"_s, 2, 0.0, QString())).id, firstIDs.at(1));
    EXPECT_EQ(library->tracks().size(), 4);
}

TEST_F(LibraryTest, TracksMatchingKeepsLibraryOrderAndListsATrackOnce)
{
    const auto library = open();
    const Track a = makeTrack(u"A"_s, u"X"_s, u"Y"_s, 100);
    const Track b = makeTrack(u"B"_s, u"X"_s, u"Y"_s, 0);
    const Track c = makeTrack(u"C"_s, u"X"_s, u"Y"_s, 300);
    for (const Track& t : {a, b, c})
        library->add(t);
    const QList<TrackSignature> wanted{
        TrackSignature(u"x"_s, u"y"_s, u"c"_s, 301.9), TrackSignature(u"X"_s, u"Y"_s, u"A"_s, 102.0),
        TrackSignature(u"X"_s, u"Y"_s, u"A"_s, 101.0), TrackSignature(u"X"_s, u"Y"_s, u"B"_s, 555.0),
        TrackSignature(u"X"_s, u"Y"_s, u"C"_s, 297.9)};
    const QList<Track> matched = library->tracksMatching(wanted);
    ASSERT_EQ(matched.size(), 3);
    EXPECT_EQ(matched.at(0).id, a.id);
    EXPECT_EQ(matched.at(1).id, b.id) << "duration 0 matches any length";
    EXPECT_EQ(matched.at(2).id, c.id);
}
