#include "facade/Library.h"
#include "library/BlockingWait.h"
#include "library/JsonCoding.h"
#include "library/Reconciler.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"
#include "library/Uuid.h"
#include "platform/FolderWatcher.h"
#include "support/AudioFixtures.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

Track at(Track track, const QString& path)
{
    track.url = QUrl::fromLocalFile(path);
    return track;
}

// A scanned record of the same file: fresh id and date, as a scan makes them.
Track rescanned(const Track& track, const QString& path)
{
    Track fresh = at(track, path);
    fresh.id = QUuid::createUuid();
    fresh.dateAdded = Date::now();
    fresh.customTags.clear();
    return fresh;
}

QList<QUuid> ids(const QList<Track>& tracks)
{
    QList<QUuid> result;
    for (const Track& t : tracks)
        result.append(t.id);
    return result;
}

} // namespace

TEST(Reconciler, ARenamedFileKeepsItsIdentityButASecondCopyIsANewEntry)
{
    Track kept = at(makeTrack(u"Song"_s), u"/m/a.flac"_s);
    kept.externalID = u"ext-1"_s;
    const auto renamed = Reconciler::merge({kept}, {rescanned(kept, u"/m/renamed.flac"_s)}, {}, false);
    ASSERT_EQ(renamed.tracks.size(), 1);
    const Track& merged = renamed.tracks.constFirst();
    EXPECT_EQ(merged.id, kept.id);
    EXPECT_EQ(merged.path(), u"/m/renamed.flac"_s);
    EXPECT_EQ(ids(renamed.report.moved), QList<QUuid>{kept.id});
    EXPECT_TRUE(renamed.report.added.isEmpty());

    const Track second = rescanned(kept, u"/m/copy.flac"_s);
    const auto copied = Reconciler::merge({kept}, {rescanned(kept, u"/m/a.flac"_s), second}, {}, false);
    ASSERT_EQ(copied.tracks.size(), 2);
    EXPECT_EQ(copied.tracks.at(0).id, kept.id);
    EXPECT_EQ(ids(copied.report.added), QList<QUuid>{second.id}) << "the text match cannot take a claimed entry";
    EXPECT_TRUE(copied.report.moved.isEmpty());
}

TEST(Reconciler, RetaggedFilesAreUpdatedButABitrateChangeIsInNoList)
{
    const Track kept = at(makeTrack(u"Song"_s), u"/m/a.flac"_s);
    Track retagged = rescanned(kept, u"/m/a.flac"_s);
    retagged.genre = u"Jazz"_s;
    Track reencoded = rescanned(kept, u"/m/a.flac"_s);
    reencoded.bitrate = 999;
    reencoded.duration += 0.4;

    const auto edited = Reconciler::merge({kept}, {retagged}, {}, false);
    EXPECT_EQ(ids(edited.report.updated), QList<QUuid>{kept.id});
    EXPECT_EQ(edited.tracks.constFirst().genre, u"Jazz"_s);

    const auto quiet = Reconciler::merge({kept}, {reencoded}, {}, false);
    EXPECT_FALSE(quiet.report.hasChanges());
    EXPECT_EQ(quiet.tracks.constFirst().bitrate, 999) << "the record still takes the new value";
}

TEST(Reconciler, UntaggedFilesMatchBySignatureInOrder)
{
    const Track one = at(makeTrack(u"Intro"_s, u"Band"_s, u"Live"_s, 61), u"/m/old/1.mp3"_s);
    const Track two = at(makeTrack(u"Intro"_s, u"Band"_s, u"Live"_s, 61), u"/m/old/2.mp3"_s);
    const Track zero = at(makeTrack(u"Outro"_s, u"Band"_s, u"Live"_s, 0), u"/m/old/3.mp3"_s);
    const Track movedOne = rescanned(one, u"/m/new/a.mp3"_s);
    const Track movedTwo = rescanned(two, u"/m/new/b.mp3"_s);
    Track movedZero = rescanned(zero, u"/m/new/c.mp3"_s);
    movedZero.duration = 245;
    const auto result = Reconciler::merge({one, two, zero}, {movedOne, movedTwo, movedZero}, {}, false);
    EXPECT_EQ(ids(result.report.moved), (QList<QUuid>{one.id, two.id, zero.id}));
    EXPECT_EQ(result.tracks.at(0).path(), u"/m/new/a.mp3"_s);
    EXPECT_EQ(result.tracks.at(1).path(), u"/m/new/b.mp3"_s);
    EXPECT_EQ(result.tracks.at(2).duration, 245) << "a duration of 0 matches on text alone";
}

TEST(Reconciler, MissingFilesLeaveOnlyWhenAskedAndNotWhileAPlaylistUsesThem)
{
    const Track unreferenced = at(makeTrack(u"Gone"_s), u"/m/gone.flac"_s);
    const Track referenced = at(makeTrack(u"Used"_s), u"/m/used.flac"_s);
    const Track present = at(makeTrack(u"Here"_s), u"/m/here.flac"_s);
    const QList<Track> existing{unreferenced, referenced, present};
    const QList<Track> scan{rescanned(present, u"/m/here.flac"_s)};
    const QSet<QUuid> playlists{referenced.id};

    const auto reported = Reconciler::merge(existing, scan, playlists, false);
    EXPECT_EQ(ids(reported.tracks), (QList<QUuid>{present.id, unreferenced.id, referenced.id}))
        << "the missing entries follow the found ones";
    EXPECT_EQ(ids(reported.report.removedCandidates), (QList<QUuid>{unreferenced.id, referenced.id}));
    EXPECT_EQ(ids(reported.report.removedReferenced), QList<QUuid>{referenced.id});
    EXPECT_FALSE(reported.report.removalsApplied);

    const auto applied = Reconciler::merge(existing, scan, playlists, true);
    EXPECT_EQ(ids(applied.tracks), (QList<QUuid>{present.id, referenced.id}));
    EXPECT_EQ(applied.report.removedCandidates.size(), 2);
    EXPECT_TRUE(applied.report.removalsApplied);

    const auto empty = Reconciler::merge(existing, {}, {}, false);
    EXPECT_EQ(empty.report.removedCandidates.size(), 3) << "an empty scan reports every entry missing";
    EXPECT_TRUE(empty.report.added.isEmpty());
    EXPECT_TRUE(empty.report.hasChanges());
}

namespace {

class ScanTest : public ::testing::Test {
protected:
    TemporaryStores stores;
    QString root = stores.folder() + u"/Music"_s;

    QString copy(const QString& relativePath, const QString& sample = u"taglib/sinewave.flac"_s)
    {
        return AudioFixtures::copySample(sample, root + u'/' + relativePath);
    }
};

} // namespace

TEST_F(ScanTest, ReadsAudioFilesAndPassesOverTheRest)
{
    copy(u"B/b.flac"_s);
    copy(u"A/a.flac"_s);
    copy(u".hidden/h.flac"_s);
    copy(u"A/.h.flac"_s);
    writeFile(root + u"/A/broken.mp3"_s, "not audio at all");
    AudioFixtures::writeSilentWav(root + u"/A/quiet.WAV"_s, 1);

    const QList<Track> tracks = Library::scanFolder(QUrl::fromLocalFile(root));
    QStringList names;
    for (const Track& t : tracks)
        names.append(t.path().mid(root.size() + 1));
    EXPECT_EQ(names, (QStringList{u"A/a.flac"_s, u"A/quiet.WAV"_s, u"B/b.flac"_s}));
    EXPECT_TRUE(Library::scanFolder(QUrl::fromLocalFile(root + u"/absent"_s)).isEmpty());
}

TEST_F(ScanTest, LinksArePassedOverSoALoopEnds)
{
    copy(u"A/a.flac"_s);
    ASSERT_TRUE(QFile::link(root, root + u"/A/loop"_s));
    ASSERT_TRUE(QFile::link(root + u"/A/a.flac"_s, root + u"/A/link.flac"_s));
    const QList<Track> tracks = Library::scanFolder(QUrl::fromLocalFile(root));
    ASSERT_EQ(tracks.size(), 1) << "each file once, by its own name";
    EXPECT_EQ(tracks.constFirst().path(), root + u"/A/a.flac"_s);
}

TEST_F(ScanTest, AFileGoneBetweenTheWalkAndTheReadIsPassedOver)
{
    copy(u"a.flac"_s);
    copy(u"b.flac"_s);
    writeFile(root + u"/cover.jpg"_s, "not audio");
    const QStringList files = Library::audioFilesBelow(QUrl::fromLocalFile(root));
    EXPECT_EQ(files, (QStringList{root + u"/a.flac"_s, root + u"/b.flac"_s}));
    QFile::remove(root + u"/a.flac"_s);
    const QList<Track> tracks = Library::readTracks(files);
    ASSERT_EQ(tracks.size(), 1);
    EXPECT_EQ(tracks.constFirst().path(), root + u"/b.flac"_s);
}

TEST_F(ScanTest, AFolderWithoutAudioReconcilesToNothingFound)
{
    writeFile(root + u"/notes.txt"_s, "liner notes");
    Library library(QUrl::fromLocalFile(root));
    Track kept = makeTrack(u"Elsewhere"_s);
    kept.url = QUrl::fromLocalFile(root + u"/gone.flac"_s);
    library.add(kept);
    const ReconcileReport report = BlockingWait::wait(library.reconcile(false));
    EXPECT_TRUE(report.added.isEmpty());
    EXPECT_EQ(report.removedCandidates.size(), 1);
    EXPECT_FALSE(report.removalsApplied);
    EXPECT_EQ(library.tracks().size(), 1) << "kept until removals are asked for";
}

TEST_F(ScanTest, OnePictureIsHeldOnceForTheWholeAlbum)
{
    for (int n = 0; n < 70; ++n)
        copy(u"Album/%1.flac"_s.arg(n, 2, 10, QChar(u'0')), u"taglib/silence-44-s.flac"_s);
    const QList<Track> tracks = Library::scanFolder(QUrl::fromLocalFile(root));
    ASSERT_EQ(tracks.size(), 70);
    for (const Track& t : tracks) {
        ASSERT_TRUE(t.artworkData.has_value());
        EXPECT_EQ(t.artworkData->constData(), tracks.constFirst().artworkData->constData());
    }
}

TEST_F(ScanTest, ReconcileAndTheWatcherKeepIdentityThroughRenamesOutsideTheProgram)
{
    Library library(QUrl::fromLocalFile(root));
    const QString first = copy(u"A/one.flac"_s);
    copy(u"A/two.flac"_s);
    for (Track track : Library::scanFolder(QUrl::fromLocalFile(root))) {
        track.externalID = Uuid::text(track.id);
        TagWriter::write(track);
        library.add(track);
    }
    library.add(makeTrack(u"Missing"_s));
    const QUuid firstID = library.tracks().at(0).id;

    QFile::rename(first, root + u"/A/renamed.flac"_s);
    const ReconcileReport report = BlockingWait::wait(library.reconcile(false));
    EXPECT_EQ(report.moved.size(), 1);
    EXPECT_EQ(report.removedCandidates.size(), 1);
    ASSERT_EQ(library.tracks().size(), 3);
    EXPECT_EQ(library.tracks().at(0).id, firstID);
    EXPECT_EQ(library.tracks().at(0).path(), root + u"/A/renamed.flac"_s);
    EXPECT_TRUE(BlockingWait::wait(library.reconcile(true)).removalsApplied);
    EXPECT_EQ(library.tracks().size(), 2);
    EXPECT_FALSE(BlockingWait::wait(library.reconcile(false)).hasChanges());

    library.startWatching();
    QSignalSpy changed(&library, &Library::tracksChanged);
    QFile::rename(root + u"/A/renamed.flac"_s, root + u"/A/moved.flac"_s);
    ASSERT_TRUE(changed.wait(5000));
    EXPECT_EQ(library.tracks().size(), 2);
    EXPECT_EQ(library.tracks().at(0).id, firstID) << "replaced in place, identity kept";
    EXPECT_EQ(library.tracks().at(0).path(), root + u"/A/moved.flac"_s);

    QFile::remove(root + u"/A/two.flac"_s);
    ASSERT_TRUE(changed.wait(5000));
    EXPECT_EQ(library.tracks().size(), 1);

    QDir().mkpath(root + u"/C"_s);
    copy(u"C/new.flac"_s);
    ASSERT_TRUE(changed.wait(5000));
    ASSERT_EQ(library.tracks().size(), 2);
    EXPECT_EQ(library.tracks().last().path(), root + u"/C/new.flac"_s);

    library.stopWatching();
    EXPECT_FALSE(library.isWatching());
    QFile::remove(root + u"/C/new.flac"_s);
    EXPECT_FALSE(changed.wait(1500)) << "nothing is followed after stopping";
}

TEST_F(ScanTest, ReadingTagsIsNoChangeToTheWatcher)
{
    const QString path = copy(u"A/one.flac"_s);
    FolderWatcher watcher(QUrl::fromLocalFile(root), 0.2);
    QSignalSpy changed(&watcher, &FolderWatcher::filesChanged);
    watcher.start();
    ASSERT_TRUE(TagReader::read(QUrl::fromLocalFile(path)).has_value());
    EXPECT_FALSE(changed.wait(1000)) << "a read that opened the file for writing would report it, and loop";
    Track track = Library::scanFolder(QUrl::fromLocalFile(root)).constFirst();
    TagWriter::write(track);
    EXPECT_TRUE(changed.wait(3000)) << "a write is a change";
}
