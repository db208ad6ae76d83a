#include "../../support/DiscImages.h"
#include "../../support/TestEnvironment.h"
#include "disc/CueSheet.h"
#include "disc/UnknownDisc.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Three audio tracks of 30 frames and a data track in a second session; CD-Text on the disc
// and on tracks 1 and 4, none on track 2, the data track named too.
QString writeSheet(const QTemporaryDir& folder)
{
    writeFile(QDir(folder.path()).filePath(u"audio.bin"_s), DiscImages::pcm(90, 2));
    writeFile(QDir(folder.path()).filePath(u"data.bin"_s), QByteArray(300 * 2352, '\x5A'));
    const QString sheet = QDir(folder.path()).filePath(u"named.cue"_s);
    writeFile(sheet, "REM GENRE Shoegaze\nREM DATE 1991-11-04\nREM SESSION 01\n"
                     "PERFORMER \"Näher  Still\"\nTITLE Loveless Demos\n"
                     "FILE \"audio.bin\" BINARY\n"
                     "  TRACK 01 AUDIO\n    TITLE \"Only Shallow\"\n    INDEX 01 00:00:00\n"
                     "  TRACK 02 AUDIO\n    INDEX 01 00:00:30\n"
                     "  TRACK 03 AUDIO\n    TITLE \"Soon\"\n    PERFORMER \"Guest Band\"\n    INDEX 01 00:00:60\n"
                     "REM SESSION 02\nFILE \"data.bin\" BINARY\n"
                     "  TRACK 04 MODE1/2352\n    TITLE \"Extras\"\n    INDEX 01 00:00:00\n");
    return sheet;
}

} // namespace

TEST(UnknownDisc, ASheetsCDTextAndRemarksNameTheDiscAndItsAudioTracks)
{
    QTemporaryDir folder;
    const QString sheet = writeSheet(folder);
    const CDText text = CueSheet::load(sheet).cdText();
    EXPECT_EQ(text.albumTitle, u"Loveless Demos"_s) << "unquoted words make one title";
    EXPECT_EQ(text.albumPerformer, u"Näher  Still"_s) << "quoted text is kept as written";
    EXPECT_EQ(text.genre, u"Shoegaze"_s);
    EXPECT_EQ(text.trackTitles, (QStringList{u"Only Shallow"_s, QString(), u"Soon"_s})) << "the data track is left out";
    EXPECT_EQ(text.trackPerformers, (QStringList{QString(), QString(), u"Guest Band"_s}));
    EXPECT_EQ(CueSheet::load(sheet).year(), 1991);

    const DiscTOC toc = MusicBrainzDiscLookup::readDiscTOC(sheet);
    const ReleaseMetadata release = UnknownDisc::release(toc, UnknownDisc::read(sheet));
    EXPECT_EQ(release.title, u"Loveless Demos"_s);
    EXPECT_EQ(release.artist, u"Näher  Still"_s);
    EXPECT_EQ(release.year, 1991);
    EXPECT_EQ(release.genre, u"Shoegaze"_s);
    EXPECT_TRUE(release.mbid.isEmpty());
    ASSERT_EQ(release.tracks.size(), 3);
    EXPECT_EQ(release.tracks.at(0).title, u"Only Shallow"_s);
    EXPECT_EQ(release.tracks.at(0).artist, u"Näher  Still"_s) << "a track without a performer has the disc's";
    EXPECT_EQ(release.tracks.at(1).title, u"Track 2"_s);
    EXPECT_EQ(release.tracks.at(2).artist, u"Guest Band"_s);
    EXPECT_EQ(release.tracks.at(2).number, 3);
    EXPECT_DOUBLE_EQ(release.tracks.at(0).duration, 30.0 / 75.0);
}

TEST(UnknownDisc, WithoutNamesTheDiscIsUnknownAndKeptApartByItsID)
{
    const DiscTOC toc = MusicBrainzDiscLookup::parseDiscTOC(DiscImages::audioTOC({150, 1650}, 1800));
    const ReleaseMetadata unknown = UnknownDisc::release(toc, UnknownDisc::read(u"/nonexistent/disc.cue"_s));
    EXPECT_EQ(unknown.title, u"Unknown Album"_s);
    EXPECT_EQ(unknown.artist, u"Unknown Artist"_s);
    EXPECT_EQ(unknown.year, std::nullopt);
    EXPECT_EQ(unknown.genre, std::nullopt);
    ASSERT_EQ(unknown.tracks.size(), 2);
    EXPECT_EQ(unknown.tracks.at(1).title, u"Track 2"_s);
    EXPECT_EQ(unknown.tracks.at(1).artist, u"Unknown Artist"_s);
    EXPECT_DOUBLE_EQ(unknown.tracks.at(0).duration, 20.0) << "1,500 frames";

    const ReleaseMetadata ripped = UnknownDisc::distinct(unknown, u"KnpGsLhvH.Vxy_x2GXJNAsMIXsQ-"_s);
    EXPECT_EQ(ripped.title, u"Unknown Album (KnpGsLhv)"_s);
    EXPECT_EQ(ripped.tracks, unknown.tracks);

    ReleaseMetadata named = unknown;
    named.title = u"Demo"_s;
    EXPECT_EQ(UnknownDisc::distinct(named, u"KnpGsLhvH"_s).title, u"Demo"_s) << "a name of the user's stays";
    ReleaseMetadata fromMusicBrainz = unknown;
    fromMusicBrainz.mbid = u"b84ee12a"_s;
    EXPECT_EQ(UnknownDisc::distinct(fromMusicBrainz, u"KnpGsLhvH"_s).title, u"Unknown Album"_s)
        << "a release MusicBrainz gives is taken as it is";
    EXPECT_EQ(UnknownDisc::distinct(unknown, QString()).title, u"Unknown Album"_s);
}
