#include "VelmoTest.h"
#include "disc/DiscTOC.h"
#include "facade/LibraryStores.h"
#include "library/TagReader.h"
#include "support/CTDBImages.h"
#include "support/DiscImages.h"
#include "support/FakeServices.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

class DiscCommandTest : public VelmoTest {
protected:
    // An Enhanced CD: three audio tracks in session 1, a data track in session 2.
    QString enhancedImage()
    {
        writeFile(folder.filePath(u"audio.bin"_s), audio);
        writeFile(folder.filePath(u"data.bin"_s), QByteArray(300 * 2352, '\x5A'));
        const QString sheet = folder.filePath(u"Enhanced.cue"_s);
        writeFile(sheet, "REM SESSION 01\nFILE \"audio.bin\" BINARY\n"
                         "  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
                         "  TRACK 02 AUDIO\n    INDEX 01 00:04:00\n"
                         "  TRACK 03 AUDIO\n    INDEX 00 00:06:00\n    INDEX 01 00:06:50\n"
                         "REM SESSION 02\nFILE \"data.bin\" BINARY\n  TRACK 04 MODE1/2352\n    INDEX 01 00:00:00\n");
        return sheet;
    }

    QTemporaryDir folder;
    const QByteArray audio = DiscImages::pcm(700, 3);
};

} // namespace

TEST_F(DiscCommandTest, TocOfAnEnhancedCDImage)
{
    const VelmoResult result = velmo({u"disc"_s, u"toc"_s, enhancedImage(), u"--json"_s});
    ASSERT_EQ(result.status, 0) << result.err.toStdString();
    const QJsonObject toc = QJsonDocument::fromJson(result.out.toUtf8()).object();
    EXPECT_EQ(toc.value("trackCount"_L1).toInt(), 3);
    EXPECT_EQ(toc.value("trackOffsets"_L1).toArray(), (QJsonArray{150, 450, 650}));
    EXPECT_EQ(toc.value("leadOutOffset"_L1).toInt(), 850) << "the first session's lead-out";
    EXPECT_EQ(toc.value("discID"_L1).toString(), MusicBrainzDiscLookup::computeDiscID({150, 450, 650}, 850));

    const VelmoResult text = velmo({u"disc"_s, u"toc"_s, enhancedImage()});
    EXPECT_EQ(toc.value("accurateRipID"_L1).toString().left(4), u"003-"_s) << "the data track is not counted";
    EXPECT_EQ(text.out, u"Tracks:   3\n   1  150\n   2  450\n   3  650\nLead-out: 850\nDisc ID:  "_s
                            + toc.value("discID"_L1).toString() + u"\nAccurateRip ID: "_s
                            + toc.value("accurateRipID"_L1).toString() + u"\nCTDB TOCID: "_s
                            + toc.value("ctdbTocID"_L1).toString() + u"\n"_s);
    EXPECT_EQ(toc.value("ctdbTocID"_L1).toString(), CTDBImages::audioDisc({0, 300, 500}, 700).tocID())
        << "the audio ends where the first session's lead-out is, the data track left out";
}

// pornophonique, "8-bit lagerfeuer", as whipper's log gives its TOC and MusicBrainz disc ID, with
// a data session behind it as on an Enhanced CD. The files are sparse: only their lengths count.
TEST_F(DiscCommandTest, AnEnhancedCDImageHasTheIDTheDatabaseHolds)
{
    const QList<qint64> offsets{150, 25064, 43611, 60890, 83090, 100000, 115057, 135558};
    QFile audioFile(folder.filePath(u"audio.bin"_s));
    ASSERT_TRUE(audioFile.open(QIODevice::WriteOnly) && audioFile.resize((149323 - 150) * 2352));
    QFile dataFile(folder.filePath(u"data.bin"_s));
    ASSERT_TRUE(dataFile.open(QIODevice::WriteOnly) && dataFile.resize(5000 * 2352));
    QString cue = u"REM SESSION 01\nFILE \"audio.bin\" BINARY\n"_s;
    for (qsizetype i = 0; i < offsets.size(); ++i) {
        const qint64 at = offsets[i] - 150;
        cue += u"  TRACK %1 AUDIO\n    INDEX 01 %2:%3:%4\n"_s.arg(i + 1)
                   .arg(at / 4500, 2, 10, '0'_L1)
                   .arg(at / 75 % 60, 2, 10, '0'_L1)
                   .arg(at % 75, 2, 10, '0'_L1);
    }
    cue += u"REM SESSION 02\nFILE \"data.bin\" BINARY\n  TRACK 09 MODE1/2352\n    INDEX 01 00:00:00\n"_s;
    const QString sheet = folder.filePath(u"lagerfeuer.cue"_s);
    writeFile(sheet, cue.toUtf8());

    const VelmoResult result = velmo({u"disc"_s, u"toc"_s, sheet});
    ASSERT_EQ(result.status, 0) << result.err.toStdString();
    EXPECT_TRUE(result.out.contains(u"Lead-out: 149323\nDisc ID:  C2svSeTdtJVtN7VQR__XwmEScU8-\nAccurateRip ID: 008-"_s))
        << result.out.toStdString();
}

TEST_F(DiscCommandTest, ListGivesTheDrivesAsDiscRecords)
{
    // What udev reports depends on the machine; the form does not.
    const VelmoResult result = velmo({u"disc"_s, u"list"_s, u"--json"_s});
    ASSERT_EQ(result.status, 0);
    const QJsonDocument drives = QJsonDocument::fromJson(result.out.toUtf8());
    ASSERT_TRUE(drives.isArray()) << result.out.toStdString();
    for (const QJsonValue& drive : drives.array())
        EXPECT_TRUE(drive.toObject().value("bsdName"_L1).isString());
}

TEST_F(DiscCommandTest, RawTOCFromAFile)
{
    const QString raw = folder.filePath(u"toc.bin"_s);
    writeFile(raw, DiscImages::audioTOC({150, 25064, 43611, 60890, 83090, 100000, 115057, 135558}, 149323));
    const VelmoResult toc = velmo({u"disc"_s, u"toc"_s, u"--raw-toc"_s, raw, u"--json"_s});
    ASSERT_EQ(toc.status, 0) << toc.err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(toc.out.toUtf8()).object().value("discID"_L1).toString(),
              u"C2svSeTdtJVtN7VQR__XwmEScU8-"_s);

    const VelmoResult report = velmo({u"disc"_s, u"diagnose"_s, u"--raw-toc"_s, raw});
    EXPECT_EQ(report.status, 0);
    EXPECT_TRUE(report.out.startsWith(u"Raw TOC: 125 bytes, header length=123, sessions 1–1\n"_s)) << report.out.toStdString();
    EXPECT_TRUE(report.out.endsWith(u"  • Single session, no data tracks — standard audio CD.\n"_s));

    writeFile(raw, QByteArray("\x00\x02\x01\x01", 4));
    const VelmoResult rejected = velmo({u"disc"_s, u"toc"_s, u"--raw-toc"_s, raw});
    EXPECT_EQ(rejected.status, 1);
    EXPECT_TRUE(rejected.err.contains(u"Couldn't read the disc."_s)) << rejected.err.toStdString();

    EXPECT_EQ(velmo({u"disc"_s, u"toc"_s}).status, 2);
    // A node that is no CD drive refuses the command.
    EXPECT_TRUE(velmo({u"disc"_s, u"toc"_s, u"/dev/null"_s}).err.contains(u"Couldn't read the disc."_s));
    EXPECT_EQ(velmo({u"disc"_s, u"diagnose"_s, u"sr0"_s, u"--raw-toc"_s, raw}).status, 2);
}

TEST_F(DiscCommandTest, DiagnoseAnImageAndABadSheet)
{
    const VelmoResult report = velmo({u"disc"_s, u"diagnose"_s, enhancedImage()});
    ASSERT_EQ(report.status, 0) << report.err.toStdString();
    EXPECT_TRUE(report.out.contains(u"  • 1 data track(s) detected (point [4]) and excluded from audio ripping. ✅\n"_s))
        << report.out.toStdString();

    const QString broken = folder.filePath(u"broken.cue"_s);
    writeFile(broken, "FILE \"missing.bin\" BINARY\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n");
    const VelmoResult failed = velmo({u"disc"_s, u"toc"_s, broken});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(failed.err.contains(u"broken.cue, line 1: the file \"missing.bin\" is missing"_s))
        << failed.err.toStdString();
}

TEST_F(DiscCommandTest, RipAnImage)
{
    const QString sheet = enhancedImage();
    const QString out = folder.filePath(u"out"_s);
    const VelmoResult result = velmo({u"disc"_s, u"rip"_s, sheet, out, u"--tracks"_s, u"3,1-2"_s});
    ASSERT_EQ(result.status, 0) << result.err.toStdString();
    EXPECT_EQ(result.out.count(u'\n'), 3);
    EXPECT_TRUE(result.out.startsWith(u"Track 3/3: "_s + out + u"/track03.flac\n"_s)) << result.out.toStdString();
    const QList<qint64> starts{0, 300, 500, 700};
    for (int track = 1; track <= 3; ++track) {
        const auto decoded = FlacFiles::decode(u"%1/track%2.flac"_s.arg(out).arg(track, 2, 10, '0'_L1));
        ASSERT_TRUE(decoded);
        EXPECT_EQ(decoded->pcm, audio.mid(starts[track - 1] * 2352, (starts[track] - starts[track - 1]) * 2352))
            << "track " << track;
    }

    const VelmoResult paranoia = velmo({u"disc"_s, u"rip"_s, sheet, out + u"2"_s, u"--tracks"_s, u"2"_s,
                                        u"--strategy"_s, u"paranoia"_s});
    ASSERT_EQ(paranoia.status, 0) << paranoia.err.toStdString();
    EXPECT_EQ(QDir(out + u"2"_s).entryList(QDir::Files), QStringList{u"track02.flac"_s});

    const VelmoResult secure = velmo({u"disc"_s, u"rip"_s, sheet, out + u"3"_s, u"--tracks"_s, u"2"_s,
                                      u"--strategy"_s, u"secure"_s});
    ASSERT_EQ(secure.status, 0) << secure.err.toStdString();
    EXPECT_EQ(QDir(out + u"3"_s).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{u"track02.flac"_s})
        << "the reads' own files are gone";
    EXPECT_EQ(FlacFiles::decode(out + u"3/track02.flac"_s)->pcm, audio.mid(300 * 2352, 200 * 2352));

    const VelmoResult outside = velmo({u"disc"_s, u"rip"_s, sheet, out, u"--tracks"_s, u"2-4"_s});
    EXPECT_EQ(outside.status, 1);
    EXPECT_EQ(outside.err, u"Track 4 is not on the disc, which has 3 tracks.\n"_s);
    const VelmoResult unknown = velmo({u"disc"_s, u"rip"_s, sheet, out, u"--strategy"_s, u"aiff"_s});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_EQ(unknown.err, u"velmo: the strategy is \"direct\", \"paranoia\" or \"secure\".\n"_s);
}

TEST_F(DiscCommandTest, ImportLooksTheDiscUpRipsItAndEntersItsTracks)
{
    initLibrary();
    FakeServices services;
    const QString sheet = enhancedImage();
    const QString discID = MusicBrainzDiscLookup::computeDiscID({150, 450, 650}, 850);
    const auto trackOf = [](int n, const QString& title) {
        return QJsonObject{{"number"_L1, QString::number(n)}, {"position"_L1, n}, {"title"_L1, title},
                           {"length"_L1, 4000}, {"recording"_L1, QJsonObject{{"id"_L1, u"recording-%1"_s.arg(n)}}}};
    };
    const QJsonObject medium{{"position"_L1, 1},
                             {"discs"_L1, QJsonArray{QJsonObject{{"id"_L1, discID}}}},
                             {"tracks"_L1, QJsonArray{trackOf(1, u"Dawn"_s), trackOf(2, u"Noon"_s)}}};
    const QJsonObject release{{"id"_L1, u"release-1"_s},
                              {"title"_L1, u"Day"_s},
                              {"date"_L1, u"2001-05-01"_s},
                              {"artist-credit"_L1, QJsonArray{QJsonObject{{"artist"_L1, QJsonObject{{"name"_L1, u"Tester"_s}}}}}},
                              {"media"_L1, QJsonArray{medium}}};
    services.musicBrainz.route(u"/ws/2/discid/"_s + discID,
                               FakeResponse::ok(QJsonDocument(QJsonObject{{"releases"_L1, QJsonArray{release}}}).toJson(),
                                                "application/json"));

    const VelmoResult result = velmo({u"disc"_s, u"import"_s, sheet});
    ASSERT_EQ(result.status, 0) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(u"Imported 3 of 3 tracks."_s)) << result.err.toStdString();
    const QList<Track> tracks = LibraryStores::readTracks().value;
    ASSERT_EQ(tracks.size(), 3);
    EXPECT_EQ(tracks.at(0).path(), root() + u"/Tester/Day/01 Dawn.flac"_s);
    EXPECT_EQ(tracks.at(2).title, u"Track 3"_s) << "the release lacks the third track";
    EXPECT_EQ(TagReader::read(tracks.at(1).url)->externalID, u"recording-2"_s);
    const auto decoded = FlacFiles::decode(tracks.at(1).path());
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->pcm, audio.mid(300 * 2352, 200 * 2352)) << "the disc's own samples";

    // The same disc again: the file at the track's place is this disc's own, and is taken over.
    const VelmoResult again = velmo({u"disc"_s, u"import"_s, sheet, u"--tracks"_s, u"1"_s});
    EXPECT_EQ(again.status, 0) << again.err.toStdString();
    EXPECT_EQ(LibraryStores::readTracks().value.size(), 3) << "a re-rip keeps its entry";
    // Another file in a track's place stays unless --overwrite says otherwise.
    writeFile(tracks.at(1).path(), "someone else's");
    const VelmoResult taken = velmo({u"disc"_s, u"import"_s, sheet, u"--tracks"_s, u"2"_s});
    EXPECT_EQ(taken.status, 1);
    EXPECT_TRUE(taken.err.contains(u"A file already exists at"_s)) << taken.err.toStdString();
    EXPECT_EQ(readFile(tracks.at(1).path()), "someone else's");
    ASSERT_EQ(velmo({u"disc"_s, u"import"_s, sheet, u"--tracks"_s, u"2"_s, u"--overwrite"_s}).status, 0);
    EXPECT_EQ(LibraryStores::readTracks().value.size(), 3);
}

TEST_F(DiscCommandTest, ImportChoosesTheReleaseAsTheScreenWouldOrAsksForOne)
{
    initLibrary();
    FakeServices services;
    const DiscImages::WrittenImage image = DiscImages::writeImage(folder.path(), 2, 40);
    const QString discID = MusicBrainzDiscLookup::readDiscTOC(image.sheet).discID;
    const auto answer = [&](const QString& secondStatus) {
        const QJsonArray releases{DiscImages::musicBrainzRelease(u"first"_s, u"Bootleg Day"_s, discID, 2, u"Bootleg"_s),
                                  DiscImages::musicBrainzRelease(u"second"_s, u"Day"_s, discID, 2, secondStatus)};
        services.musicBrainz.route(u"/ws/2/discid/"_s + discID,
                                   FakeResponse::ok(QJsonDocument(QJsonObject{{"releases"_L1, releases}}).toJson(),
                                                    "application/json"));
    };

    answer(u"Promotion"_s);
    const VelmoResult undecided = velmo({u"disc"_s, u"import"_s, image.sheet});
    EXPECT_EQ(undecided.status, 1);
    EXPECT_TRUE(undecided.err.contains(u"choose one with --release"_s)) << undecided.err.toStdString();
    EXPECT_TRUE(undecided.err.contains(u"2. Band — Day"_s)) << undecided.err.toStdString();
    EXPECT_TRUE(LibraryStores::readTracks().value.isEmpty()) << "nothing is ripped without a choice";

    answer(u"Official"_s);
    const VelmoResult chosen = velmo({u"disc"_s, u"import"_s, image.sheet});
    ASSERT_EQ(chosen.status, 0) << chosen.err.toStdString();
    EXPECT_TRUE(chosen.err.contains(u"Chose release 2 of 2"_s)) << chosen.err.toStdString();
    const QList<Track> tracks = LibraryStores::readTracks().value;
    ASSERT_EQ(tracks.size(), 2);
    EXPECT_EQ(tracks.at(0).releaseMBID, u"second"_s) << "the Official release";
}

TEST_F(DiscCommandTest, ImportWithoutMetadataNamesTracksByNumberAndKeepsTheDiscID)
{
    initLibrary();
    FakeServices services;
    const DiscImages::WrittenImage image = DiscImages::writeImage(folder.path(), 2, 40);
    const QString discID = MusicBrainzDiscLookup::readDiscTOC(image.sheet).discID;

    const VelmoResult unknown = velmo({u"disc"_s, u"import"_s, image.sheet});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_TRUE(unknown.err.contains(u"This disc isn't in the MusicBrainz database yet. Rip it with --no-metadata."_s))
        << unknown.err.toStdString();

    const VelmoResult result = velmo({u"disc"_s, u"import"_s, image.sheet, u"--no-metadata"_s});
    ASSERT_EQ(result.status, 0) << result.err.toStdString();
    EXPECT_EQ(services.musicBrainz.requestCount(u"/ws/2/discid/"_s + discID), 1) << "no lookup the second time";
    const QList<Track> tracks = LibraryStores::readTracks().value;
    ASSERT_EQ(tracks.size(), 2);
    EXPECT_EQ(tracks.at(1).path(),
              root() + u"/Unknown Artist/Unknown Album ("_s + discID.left(8) + u")/02 Track 2.flac"_s);
    EXPECT_EQ(tracks.at(1).customTags.value(u"MUSICBRAINZ_DISCID"_s), discID);
    const auto decoded = FlacFiles::decode(tracks.at(1).path());
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->pcm, image.trackAudio(1, 40));
}

TEST_F(DiscCommandTest, OfflineTheImportSaysWhyAndRipsWithNamesFromTheOptionsTheCDTextAndTheDefaults)
{
    initLibrary();
    FakeServices services;
    FakeServices::configure(FakeServices::vacantAddress(), FakeServices::vacantAddress(),
                            FakeServices::vacantAddress());
    QTemporaryDir first;
    const DiscImages::WrittenImage named = DiscImages::writeImage(first.path(), 3, 40, 5);
    writeFile(named.sheet, "PERFORMER \"Sheet Band\"\nTITLE \"Sheet Album\"\nFILE \"disc.bin\" BINARY\n"
                           "  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
                           "  TRACK 02 AUDIO\n    INDEX 01 00:00:40\n"
                           "  TRACK 03 AUDIO\n    TITLE \"From The Sheet\"\n    INDEX 01 00:01:05\n");

    const VelmoResult offline = velmo({u"disc"_s, u"import"_s, named.sheet});
    EXPECT_EQ(offline.status, 1);
    EXPECT_TRUE(offline.err.contains(
        u"Couldn't reach MusicBrainz. Check your internet connection and try again. Rip it with --no-metadata."_s))
        << offline.err.toStdString();
    const VelmoResult misplaced = velmo({u"disc"_s, u"import"_s, named.sheet, u"--album"_s, u"X"_s});
    EXPECT_EQ(misplaced.status, 2);
    EXPECT_TRUE(misplaced.err.contains(u"--no-metadata"_s)) << misplaced.err.toStdString();

    const QString titles = first.filePath(u"titles.txt"_s);
    writeFile(titles, "Typed One\n\n");
    const VelmoResult result = velmo({u"disc"_s, u"import"_s, named.sheet, u"--no-metadata"_s, u"--album"_s,
                                      u"Typed Album"_s, u"--year"_s, u"2011"_s, u"--genre"_s, u"Dub"_s, u"--titles"_s,
                                      titles});
    ASSERT_EQ(result.status, 0) << result.err.toStdString();
    QList<Track> tracks = LibraryStores::readTracks().value;
    ASSERT_EQ(tracks.size(), 3);
    EXPECT_EQ(tracks.at(0).path(), root() + u"/Sheet Band/Typed Album/01 Typed One.flac"_s)
        << "the album artist from the sheet, the album and title typed";
    EXPECT_EQ(tracks.at(1).title, u"Track 2"_s) << "a blank line and no CD-Text";
    EXPECT_EQ(tracks.at(2).title, u"From The Sheet"_s);
    EXPECT_EQ(tracks.at(0).year, 2011);
    EXPECT_EQ(tracks.at(0).genre, u"Dub"_s);

    // A second disc without any names goes into a folder of its own.
    QTemporaryDir second;
    const DiscImages::WrittenImage bare = DiscImages::writeImage(second.path(), 2, 50, 6);
    const QString bareID = MusicBrainzDiscLookup::readDiscTOC(bare.sheet).discID;
    ASSERT_EQ(velmo({u"disc"_s, u"import"_s, bare.sheet, u"--no-metadata"_s}).status, 0);
    tracks = LibraryStores::readTracks().value;
    ASSERT_EQ(tracks.size(), 5);
    EXPECT_EQ(tracks.at(4).path(), root() + u"/Unknown Artist/Unknown Album ("_s + bareID.left(8) + u")/02 Track 2.flac"_s);

    writeFile(titles, "1\n2\n3\n4\n");
    const VelmoResult tooMany =
        velmo({u"disc"_s, u"import"_s, bare.sheet, u"--no-metadata"_s, u"--titles"_s, titles});
    EXPECT_EQ(tooMany.status, 2);
    EXPECT_TRUE(tooMany.err.contains(u"holds 4 titles, but the disc has 2 tracks."_s)) << tooMany.err.toStdString();
    const VelmoResult badYear = velmo({u"disc"_s, u"import"_s, bare.sheet, u"--no-metadata"_s, u"--year"_s, u"soon"_s});
    EXPECT_EQ(badYear.status, 2);
}

TEST_F(DiscCommandTest, SubmitURLPrintsTheAddressThatAttachesTheDiscOnTheConfiguredSite)
{
    FakeServices services;
    const DiscImages::WrittenImage image = DiscImages::writeImage(folder.path(), 2, 40);
    const DiscTOC toc = MusicBrainzDiscLookup::readDiscTOC(image.sheet);
    const VelmoResult result = velmo({u"disc"_s, u"submit-url"_s, image.sheet});
    ASSERT_EQ(result.status, 0) << result.err.toStdString();
    const QUrl printed(result.out.trimmed());
    EXPECT_EQ(printed.adjusted(QUrl::RemoveQuery), services.musicBrainz.url(u"/cdtoc/attach"_s));
    EXPECT_EQ(printed.query(QUrl::FullyEncoded),
              u"toc=1+2+%1+150+%2&tracks=2&id=%3"_s.arg(toc.leadOutOffset).arg(toc.trackOffsets.at(1)).arg(toc.discID));
}

TEST_F(DiscCommandTest, AnAlbumRippedWithoutMetadataIsLookedUpAgainByItsDiscID)
{
    initLibrary();
    FakeServices services;
    const DiscImages::WrittenImage image = DiscImages::writeImage(folder.path(), 2, 75);
    const QString discID = MusicBrainzDiscLookup::readDiscTOC(image.sheet).discID;
    ASSERT_EQ(velmo({u"disc"_s, u"import"_s, image.sheet, u"--no-metadata"_s}).status, 0);
    const QStringList album{u"album"_s, u"refetch"_s, u"--artist"_s, u"Unknown Artist"_s, u"--album"_s,
                            u"Unknown Album ("_s + discID.left(8) + u')', u"--disc-id"_s};

    const VelmoResult unknown = velmo(album);
    EXPECT_EQ(unknown.status, 1);
    EXPECT_TRUE(unknown.err.contains(u"Look-up failed: No matching release found on MusicBrainz."_s))
        << unknown.err.toStdString();

    // One-second tracks, as long as the disc's.
    QJsonObject release = DiscImages::musicBrainzRelease(u"rel-4"_s, u"Late Album"_s, discID, 2);
    QJsonObject medium = release.value("media"_L1).toArray().at(0).toObject();
    QJsonArray tracks;
    for (const QJsonValue& value : medium.value("tracks"_L1).toArray()) {
        QJsonObject track = value.toObject();
        QJsonObject recording = track.value("recording"_L1).toObject();
        recording.insert("length"_L1, 1000);
        track.insert("recording"_L1, recording);
        tracks.append(track);
    }
    medium.insert("tracks"_L1, tracks);
    release.insert("media"_L1, QJsonArray{medium});
    services.musicBrainz.route(u"/ws/2/discid/"_s + discID,
                               FakeResponse::ok(QJsonDocument(QJsonObject{{"releases"_L1, QJsonArray{release}}}).toJson(),
                                                "application/json"));
    services.musicBrainz.route(u"/ws/2/release/rel-4"_s,
                               FakeResponse::ok(QJsonDocument(release).toJson(), "application/json"));
    const VelmoResult found = velmo(album);
    ASSERT_EQ(found.status, 0) << found.err.toStdString();
    EXPECT_TRUE(found.out.contains(u"Updated 2 tracks"_s)) << found.out.toStdString();
    const QList<Track> named = LibraryStores::readTracks().value;
    ASSERT_EQ(named.size(), 2);
    EXPECT_EQ(named.at(1).path(), root() + u"/Band/Late Album/02 Song 2.flac"_s);
    EXPECT_EQ(TagReader::read(named.at(1).url)->title, u"Song 2"_s);
}
