#include "library/LibraryOrganizer.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using LibraryOrganizer::OrganizerError;

namespace {

const QUrl root = QUrl::fromLocalFile(u"/music"_s);

QString canonicalPath(const Track& track)
{
    return LibraryOrganizer::canonicalURL(track, root).toLocalFile();
}

Track trackAt(const QString& path, const QString& title, const QString& artist, const QString& album)
{
    Track track = makeTrack(title, artist, album);
    track.url = QUrl::fromLocalFile(path);
    return track;
}

} // namespace

TEST(SanitizePathComponent, ReplacesTheNineCharactersAndTrimsDotsAndBlanks)
{
    const std::pair<QString, QString> cases[] = {{u"C: D"_s, u"C- D"_s},
        {u"a/b\\c:d*e?f\"g<h>i|j"_s, u"a-b-c-d-e-f-g-h-i-j"_s}, {u"...And Justice for All"_s, u"And Justice for All"_s},
        {u"Title. "_s, u"Title"_s}, {u" . .. "_s, QString()}, {u"Sigur Rós – ( )"_s, u"Sigur Rós – ( )"_s},
        {u"Line\nbreak\r\tand\x1b[1mbell\a\u0085"_s, u"Linebreakand[1mbell"_s}, {u"\n.\n"_s, QString()}};
    for (const auto& [name, cleaned] : cases)
        EXPECT_EQ(LibraryOrganizer::sanitizePathComponent(name), cleaned) << qPrintable(name);
}

TEST(CanonicalURL, ArtistAlbumAndNumberedTitleWithFallbacksForEmptyFields)
{
    Track track = trackAt(u"/in/x.FLAC"_s, u"Title."_s, u"A/B"_s, u"C: D"_s);
    EXPECT_EQ(canonicalPath(track), u"/music/A-B/C- D/Title.FLAC"_s) << "the extension keeps its case";
    track.trackNumber = 3;
    EXPECT_EQ(canonicalPath(track), u"/music/A-B/C- D/03 Title.FLAC"_s);
    track.discNumber = 1;
    EXPECT_EQ(canonicalPath(track), u"/music/A-B/C- D/03 Title.FLAC"_s) << "disc 1 has no prefix";
    track.discNumber = 2;
    EXPECT_EQ(canonicalPath(track), u"/music/A-B/C- D/2-03 Title.FLAC"_s);
    track.trackNumber = 100;
    EXPECT_EQ(canonicalPath(track), u"/music/A-B/C- D/2-100 Title.FLAC"_s);
    track.trackNumber = std::nullopt;
    EXPECT_EQ(canonicalPath(track), u"/music/A-B/C- D/Title.FLAC"_s) << "a disc without a track has no prefix";

    track = trackAt(u"/in/My Song.mp3"_s, QString(), QString(), QString());
    track.albumArtist = u"Various"_s;
    EXPECT_EQ(canonicalPath(track), u"/music/Unknown Artist/Unknown Album/My Song.mp3"_s);
    track.artist = u"Performer"_s;
    EXPECT_EQ(canonicalPath(track), u"/music/Performer/Unknown Album/My Song.mp3"_s)
        << "the performer, not the album artist";
}

TEST(CanonicalURL, ANameThatCleansToNothingFallsBackToo)
{
    // A file named ".flac" would be hidden from every later scan.
    Track track = trackAt(u"/in/...mp3"_s, u"..."_s, u" . "_s, u"?"_s);
    EXPECT_EQ(canonicalPath(track), u"/music/Unknown Artist/-/Untitled.mp3"_s);
    track.url = QUrl::fromLocalFile(u"/in/Own Name.mp3"_s);
    EXPECT_EQ(canonicalPath(track), u"/music/Unknown Artist/-/Own Name.mp3"_s);
}

TEST(OrganizerMove, MovesIntoPlaceCreatingFolders)
{
    QTemporaryDir folder;
    const QString source = folder.filePath(u"incoming/track.mp3"_s);
    writeFile(source, "audio");
    Track track = trackAt(source, u"Song"_s, u"Artist"_s, u"Album"_s);
    track.trackNumber = 1;
    const QUrl libraryRoot = QUrl::fromLocalFile(folder.filePath(u"Library"_s));

    const Track moved = LibraryOrganizer::move(track, libraryRoot, false);
    EXPECT_EQ(moved.url.toLocalFile(), folder.filePath(u"Library/Artist/Album/01 Song.mp3"_s));
    EXPECT_EQ(readFile(moved.url.toLocalFile()), "audio");
    EXPECT_FALSE(QFileInfo::exists(source));
    EXPECT_TRUE(QDir(folder.filePath(u"incoming"_s)).exists()) << "emptied folders stay";
    EXPECT_EQ(moved.id, track.id);

    EXPECT_EQ(LibraryOrganizer::move(moved, libraryRoot, false), moved) << "already in place: unchanged";
}

TEST(OrganizerMove, RefusesMissingSourcesAndTakenDestinations)
{
    QTemporaryDir folder;
    const QUrl libraryRoot = QUrl::fromLocalFile(folder.path());
    const Track missing = trackAt(folder.filePath(u"gone.mp3"_s), u"Song"_s, u"A"_s, u"B"_s);
    try {
        LibraryOrganizer::move(missing, libraryRoot, false);
        FAIL();
    } catch (const OrganizerError& error) {
        EXPECT_EQ(error.kind(), OrganizerError::Kind::sourceNotFound);
    }

    const QString source = folder.filePath(u"new.mp3"_s);
    writeFile(source, "new");
    writeFile(folder.filePath(u"A/B/Song.mp3"_s), "old");
    const Track track = trackAt(source, u"Song"_s, u"A"_s, u"B"_s);
    try {
        LibraryOrganizer::move(track, libraryRoot, false);
        FAIL();
    } catch (const OrganizerError& error) {
        EXPECT_EQ(error.kind(), OrganizerError::Kind::destinationExists);
        EXPECT_TRUE(error.message().contains(u"already exists"_s));
    }
    EXPECT_EQ(readFile(source), "new");
    EXPECT_EQ(readFile(folder.filePath(u"A/B/Song.mp3"_s)), "old");

    LibraryOrganizer::move(track, libraryRoot, true);
    EXPECT_EQ(readFile(folder.filePath(u"A/B/Song.mp3"_s)), "new");
}

TEST(OrganizerMove, ANameTooLongIsShortenedAtACharacterBoundaryKeepingItsExtension)
{
    QTemporaryDir folder;
    const QUrl libraryRoot = QUrl::fromLocalFile(folder.filePath(u"Library"_s));
    const QString source = folder.filePath(u"in.flac"_s);
    writeFile(source, "audio");
    // 90 characters of three bytes each: short in characters, 270 bytes on the disk.
    const QString longAlbum = QString(90, QChar(0x6771));
    Track track = trackAt(source, QString(300, u'x') + QString(10, QChar(0x6771)), u"A"_s, longAlbum);
    track.trackNumber = 7;
    const Track moved = LibraryOrganizer::move(track, libraryRoot, false);
    const QString album = QString(85, QChar(0x6771)); // 255 bytes, whole characters
    EXPECT_EQ(moved.path(), folder.filePath(u"Library/A/"_s + album + u"/07 "_s + QString(247, u'x') + u".flac"_s));
    EXPECT_EQ(readFile(moved.path()), "audio");

    // A cut that would fall inside a character falls before it.
    const QString name = QString(250, u'y') + QString(3, QChar(0x6771)) + u".flac"_s;
    EXPECT_EQ(LibraryOrganizer::fittedName(name, true), QString(250, u'y') + u".flac"_s);
    EXPECT_EQ(LibraryOrganizer::fittedName(QString(247, u'y') + u"😀😀.mp3"_s, true), QString(247, u'y') + u"😀.mp3"_s);
    EXPECT_EQ(LibraryOrganizer::fittedName(QString(300, u'z'), false), QString(255, u'z'));
    EXPECT_EQ(LibraryOrganizer::fittedName(u"short.flac"_s, true), u"short.flac"_s);

    // Organising again finds the file in its place.
    EXPECT_EQ(LibraryOrganizer::move(moved, libraryRoot, false), moved);
}

TEST(OrganizerMove, OrganisingTwiceMovesNothingTheSecondTime)
{
    QTemporaryDir folder;
    const QUrl libraryRoot = QUrl::fromLocalFile(folder.filePath(u"Library"_s));
    for (const QString& title : {u".."_s, QString()}) {
        const QString source = folder.filePath(u"t2.flac"_s);
        writeFile(source, "audio");
        Track track = trackAt(source, title, u"A"_s, u"B"_s);
        track.trackNumber = 1;
        const Track once = LibraryOrganizer::move(track, libraryRoot, false);
        EXPECT_EQ(once.path(), folder.filePath(u"Library/A/B/01 t2.flac"_s)) << qPrintable(title);
        const Track twice = LibraryOrganizer::move(once, libraryRoot, false);
        EXPECT_EQ(twice.path(), once.path()) << qPrintable(title);
        QFile::remove(twice.path());
    }
}

TEST(OrganizerMove, TheFileItselfReachedThroughALinkIsRenamedNeverRemoved)
{
    QTemporaryDir folder;
    const QString real = folder.filePath(u"real"_s);
    const QString linked = folder.filePath(u"linked"_s);
    writeFile(real + u"/A/B/Song.flac"_s, "the only copy");
    ASSERT_TRUE(QFile::link(real, linked));
    const Track track = trackAt(real + u"/A/B/Song.flac"_s, u"Song"_s, u"A"_s, u"B"_s);

    for (bool overwrite : {false, true}) {
        const Track moved = LibraryOrganizer::move(track, QUrl::fromLocalFile(linked), overwrite);
        EXPECT_EQ(moved.path(), linked + u"/A/B/Song.flac"_s);
        EXPECT_EQ(readFile(real + u"/A/B/Song.flac"_s), "the only copy");
    }
}
