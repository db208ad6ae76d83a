#include "facade/Library.h"
#include "facade/LibraryStores.h"
#include "library/BlockingWait.h"
#include "library/LibraryOrganizer.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"
#include "support/AudioFixtures.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QDir>
#include <QFileInfo>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class LibraryFileTest : public ::testing::Test {
protected:
    TemporaryStores stores;
    QString root = stores.folder() + u"/Music"_s;
    Library library{QUrl::fromLocalFile(root)};

    Track addFile(const QString& relativePath, const QString& title, const QString& artist, const QString& album)
    {
        const QString path = AudioFixtures::copySample(u"taglib/sinewave.flac"_s, root + u'/' + relativePath);
        Track track = makeTrack(title, artist, album);
        track.url = QUrl::fromLocalFile(path);
        library.add(track);
        return track;
    }
};

} // namespace

TEST_F(LibraryFileTest, UpdateWritesTheFileThenTheEntry)
{
    Track track = addFile(u"in/a.flac"_s, u"Old"_s, u"Artist"_s, u"Album"_s);
    track.title = u"New"_s;
    track.year = std::nullopt;
    BlockingWait::wait(library.update(track));

    EXPECT_EQ(library.tracks().constFirst(), track);
    EXPECT_EQ(TagReader::read(track.url)->title, u"New"_s);
    library.flush();
    EXPECT_EQ(LibraryStores::readTracks().value.constFirst().title, u"New"_s);
}

TEST_F(LibraryFileTest, AFailedWriteOrATrackRemovedMeanwhileChangesNothing)
{
    const Track removed = addFile(u"in/a.flac"_s, u"Old"_s, u"Artist"_s, u"Album"_s);
    library.remove(removed.id);
    Track edited = removed;
    edited.title = u"New"_s;
    BlockingWait::wait(library.update(edited));
    EXPECT_TRUE(library.tracks().isEmpty());
    EXPECT_EQ(TagReader::read(removed.url)->title, QString()) << "not even the file is written";

    const Track missing = addFile(u"in/b.flac"_s, u"Old"_s, u"Artist"_s, u"Album"_s);
    QFile::remove(missing.path());
    edited = missing;
    edited.title = u"New"_s;
    QSignalSpy changed(&library, &Library::tracksChanged);
    try {
        BlockingWait::wait(library.update(edited));
        FAIL() << "expected the write to fail";
    } catch (const TagWriter::WriteError& error) {
        EXPECT_EQ(error.kind(), TagWriter::WriteError::Kind::fileNotFound);
    }
    EXPECT_EQ(library.tracks(), QList<Track>{missing});
    EXPECT_EQ(changed.count(), 0);
}

TEST_F(LibraryFileTest, OrganizeMovesFilesIntoTheLayoutAndLeavesCollisionsAlone)
{
    Track first = addFile(u"incoming/x.flac"_s, u"Song"_s, u"Band"_s, u"Record"_s);
    Track second = addFile(u"incoming/y.flac"_s, u"Song"_s, u"Band"_s, u"Record"_s);
    Track placed = addFile(u"Band/Record/Other.flac"_s, u"Other"_s, u"Band"_s, u"Record"_s);

    BlockingWait::wait(library.organizeLibrary());

    const QList<Track> tracks = library.tracks();
    ASSERT_EQ(tracks.size(), 3);
    EXPECT_EQ(tracks.at(0).path(), root + u"/Band/Record/Song.flac"_s);
    EXPECT_EQ(tracks.at(1).url, second.url) << "its place was taken by the first";
    EXPECT_TRUE(QFileInfo::exists(second.path()));
    EXPECT_EQ(tracks.at(2), placed) << "already in place";
    EXPECT_EQ(tracks.at(0).id, first.id);
    library.flush();
    EXPECT_EQ(LibraryStores::readTracks().value, tracks);
}
