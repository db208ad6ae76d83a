#include "VelmoTest.h"
#include "disc/AccurateRipID.h"
#include "disc/DiscTOC.h"
#include "disc/TrackChecksums.h"
#include "facade/LibraryStores.h"
#include "library/Settings.h"
#include "support/DiscImages.h"
#include "support/EncodedAudio.h"
#include "support/FakeServices.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtEndian>

#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 trackFrames = 500;

QString hex(quint32 value)
{
    return u"%1"_s.arg(value, 8, 16, QChar(u'0'));
}

// A plain three-track image, its release on a fake MusicBrainz and its entry on a fake
// AccurateRip.
class AccurateRipCommandTest : public VelmoTest {
protected:
    QString image(const QByteArray& samples)
    {
        writeFile(folder.filePath(u"disc.bin"_s), samples);
        const QString sheet = folder.filePath(u"disc.cue"_s);
        writeFile(sheet,
                  "FILE \"disc.bin\" BINARY\n"
                  "  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
                  "  TRACK 02 AUDIO\n    INDEX 01 00:06:50\n"
                  "  TRACK 03 AUDIO\n    INDEX 01 00:13:25\n");
        return sheet;
    }

    TrackChecksums sumsOf(qint64 index) const
    {
        const qint64 pairs = trackFrames * 588;
        TrackChecksummer checksummer(pairs, index == 0, index == 2);
        checksummer.add(pcm.constData() + index * pairs * 4, pairs);
        return checksummer.result();
    }

    // The release on MusicBrainz and one pressing of it on AccurateRip, whose track 2 is
    // `trackTwo` (the image's own checksum unless given).
    AccurateRipID serve(const QString& sheet, std::optional<quint32> trackTwo = std::nullopt)
    {
        const QString discID = MusicBrainzDiscLookup::readDiscTOC(sheet).discID;
        const QJsonArray releases{DiscImages::musicBrainzRelease(u"release-1"_s, u"Plates"_s, discID, 3)};
        services.musicBrainz.route(
            u"/ws/2/discid/"_s + discID,
            FakeResponse::ok(QJsonDocument(QJsonObject{{"releases"_L1, releases}}).toJson(), "application/json"));
        const AccurateRipID id = AccurateRipID::fromFullTOC(MusicBrainzDiscLookup::rawTOCData(sheet));
        const AccurateRip::Pressing pressing{
            3,
            id.id1,
            id.id2,
            id.cddb,
            {{11, sumsOf(0).v2, 0}, {11, trackTwo.value_or(sumsOf(1).v2), 0}, {11, sumsOf(2).v2, 0}}};
        services.accurateRip.route(u"/"_s + id.path(), FakeResponse::ok(DiscImages::accurateRipAnswer({pressing})));
        return id;
    }

    QTemporaryDir folder;
    FakeServices services;
    const QByteArray pcm = DiscImages::pcm(3 * trackFrames, 9);
};

} // namespace

TEST_F(AccurateRipCommandTest, IdOfAnImageAndOfRawTOCBytes)
{
    const VelmoResult result = velmo({u"accuraterip"_s, u"id"_s, image(pcm)});
    ASSERT_EQ(result.status, 0) << result.err.toStdString();
    const AccurateRipID id =
        AccurateRipID::fromFullTOC(MusicBrainzDiscLookup::rawTOCData(folder.filePath(u"disc.cue"_s)));
    EXPECT_EQ(result.out, id.text() + u'\n' + services.accurateRip.url(u"/"_s + id.path()).toString() + u'\n');
    EXPECT_TRUE(id.text().startsWith(u"003-"_s));

    const QString raw = folder.filePath(u"toc.bin"_s);
    writeFile(raw, DiscImages::audioTOC({150, 1150}, 2150));
    const VelmoResult rawResult = velmo({u"accuraterip"_s, u"id"_s, u"--raw-toc"_s, raw, u"--json"_s});
    ASSERT_EQ(rawResult.status, 0) << rawResult.err.toStdString();
    const QJsonObject object = QJsonDocument::fromJson(rawResult.out.toUtf8()).object();
    EXPECT_EQ(object.value("id"_L1).toString(), u"002-00000bb8-00001f41-08001a02"_s);
    EXPECT_EQ(object.value("id2"_L1).toInteger(), 8001);
    EXPECT_EQ(velmo({u"accuraterip"_s, u"id"_s}).status, 2);
}

TEST_F(AccurateRipCommandTest, ChecksumOfAFileAsTrackOfADisc)
{
    const QString file = folder.filePath(u"piece.wav"_s);
    writeFile(file, DiscImages::wave(pcm.left(trackFrames * 2352)));
    const VelmoResult first =
        velmo({u"accuraterip"_s, u"checksum"_s, file, u"--track"_s, u"1"_s, u"--tracks"_s, u"3"_s, u"--json"_s});
    ASSERT_EQ(first.status, 0) << first.err.toStdString();
    const QJsonObject sums = QJsonDocument::fromJson(first.out.toUtf8()).object();
    EXPECT_EQ(sums.value("v1"_L1).toString(), hex(sumsOf(0).v1));
    EXPECT_EQ(sums.value("v2"_L1).toString(), hex(sumsOf(0).v2));
    EXPECT_EQ(sums.value("crc32"_L1).toString(), hex(sumsOf(0).crc32));
    EXPECT_EQ(sums.value("crc32WithoutSilence"_L1).toString(), hex(sumsOf(0).crc32WithoutSilence));

    const VelmoResult middle =
        velmo({u"accuraterip"_s, u"checksum"_s, file, u"--track"_s, u"2"_s, u"--tracks"_s, u"3"_s});
    ASSERT_EQ(middle.status, 0) << middle.err.toStdString();
    TrackChecksummer whole(trackFrames * 588, false, false);
    whole.add(pcm.constData(), trackFrames * 588);
    EXPECT_TRUE(middle.out.startsWith(u"v1:                "_s + hex(whole.result().v1) + u'\n'))
        << middle.out.toStdString();
    EXPECT_NE(whole.result().v1, sumsOf(0).v1) << "the first track's skip shows";

    EXPECT_EQ(velmo({u"accuraterip"_s, u"checksum"_s, file, u"--tracks"_s, u"3"_s}).status, 2);
    EXPECT_EQ(velmo({u"accuraterip"_s, u"checksum"_s, file, u"--track"_s, u"4"_s, u"--tracks"_s, u"3"_s}).status, 1);
    const VelmoResult missing = velmo({u"accuraterip"_s, u"checksum"_s, folder.filePath(u"none.flac"_s), u"--track"_s,
                                       u"1"_s, u"--tracks"_s, u"1"_s});
    EXPECT_EQ(missing.status, 1);
}

TEST_F(AccurateRipCommandTest, ChecksumOfAFileWithACorruptFrameIsRefusedAsDamaged)
{
    const QString file = EncodedAudio::write(EncodedAudio::music(4, 12.0), folder.filePath(u"damaged.flac"_s));
    const VelmoResult whole =
        velmo({u"accuraterip"_s, u"checksum"_s, file, u"--track"_s, u"2"_s, u"--tracks"_s, u"3"_s});
    ASSERT_EQ(whole.status, 0) << whole.err.toStdString();

    EncodedAudio::damageMiddleFrame(file);
    const VelmoResult damaged =
        velmo({u"accuraterip"_s, u"checksum"_s, file, u"--track"_s, u"2"_s, u"--tracks"_s, u"3"_s});
    EXPECT_EQ(damaged.status, 1);
    EXPECT_TRUE(damaged.out.isEmpty()) << "no sums over what is left: " << damaged.out.toStdString();
    EXPECT_TRUE(damaged.err.contains(u"Track 2: damaged: cannot be verified"_s)) << damaged.err.toStdString();
    EXPECT_TRUE(damaged.err.contains(file)) << damaged.err.toStdString();
    EXPECT_TRUE(damaged.err.contains(QRegularExpression(u"00:0\\d"_s))) << damaged.err.toStdString();
}

TEST_F(AccurateRipCommandTest, ParseGivesTheEntriesAsNumbers)
{
    const QString file = folder.filePath(u"dBAR-002.bin"_s);
    writeFile(file,
              DiscImages::accurateRipAnswer({{2, 3000, 8001, 0x08001a02, {{12, 0xdeadbeef, 7}, {0, 0, 0}}},
                                             {2, 3000, 8001, 0x08001a02, {{1, 2, 3}, {4, 5, 6}}}}));
    const VelmoResult result = velmo({u"accuraterip"_s, u"parse"_s, file, u"--json"_s});
    ASSERT_EQ(result.status, 0) << result.err.toStdString();
    const QJsonArray entries = QJsonDocument::fromJson(result.out.toUtf8()).array();
    ASSERT_EQ(entries.size(), 2);
    const QJsonObject first = entries.at(0).toObject();
    EXPECT_EQ(first.value("trackCount"_L1).toInteger(), 2);
    EXPECT_EQ(first.value("id1"_L1).toInteger(), 3000);
    EXPECT_EQ(first.value("cddb"_L1).toInteger(), 0x08001a02);
    const QJsonObject track = first.value("tracks"_L1).toArray().at(0).toObject();
    EXPECT_EQ(track.value("confidence"_L1).toInteger(), 12);
    EXPECT_EQ(track.value("crc"_L1).toInteger(), qint64(0xdeadbeef)) << "unsigned, not negative";
    EXPECT_EQ(track.value("crc450"_L1).toInteger(), 7);
    EXPECT_EQ(entries.at(1).toObject().value("tracks"_L1).toArray().at(1).toObject().value("crc450"_L1).toInteger(), 6);

    writeFile(
        file,
        DiscImages::accurateRipAnswer({{2, 3000, 8001, 0x08001a02, {{12, 0xdeadbeef, 7}, {0, 0, 0}}}}).chopped(2));
    const VelmoResult truncated = velmo({u"accuraterip"_s, u"parse"_s, file, u"--json"_s});
    EXPECT_EQ(truncated.status, 1);
    EXPECT_EQ(truncated.err, u"The AccurateRip answer ends in the middle of an entry.\n"_s);
}

TEST_F(AccurateRipCommandTest, ImportSaysEachMatchingTrackIsAccurateAndVerifyChecksTheFilesAgain)
{
    initLibrary();
    const QString sheet = image(pcm);
    serve(sheet);
    const VelmoResult result = velmo({u"disc"_s, u"import"_s, sheet, u"--offset"_s, u"0"_s});
    ASSERT_EQ(result.status, 0) << result.err.toStdString();
    EXPECT_EQ(result.out.count(u" — accurately ripped (confidence 11, v2)\n"_s), 3) << result.out.toStdString();
    EXPECT_TRUE(result.out.endsWith(u"3 of 3 tracks verified by AccurateRip.\n"_s));
    const QString log = QString::fromUtf8(readFile(root() + u"/Band/Plates/Plates.log"_s));
    EXPECT_EQ(log.count(u"accurately ripped (confidence 11, v2)"_s), 3) << log.toStdString();
    EXPECT_TRUE(log.startsWith(QStringLiteral("Sonorelle " SONORELLE_VERSION " rip log\n")));
    EXPECT_TRUE(QFileInfo::exists(root() + u"/Band/Plates/Plates.cue"_s));
    ASSERT_EQ(velmo({u"library"_s, u"scan"_s}).status, 0);
    EXPECT_EQ(LibraryStores::readTracks().value.size(), 3) << "the log and the cue sheet are no tracks";

    const VelmoResult verified = velmo({u"disc"_s, u"verify"_s, sheet});
    ASSERT_EQ(verified.status, 0) << verified.err.toStdString();
    EXPECT_TRUE(verified.out.contains(u"Track 2: "_s + root() + u"/Band/Plates/02 Song 2.flac — accurately ripped"_s))
        << verified.out.toStdString();
    EXPECT_TRUE(verified.out.endsWith(u"3 of 3 tracks verified by AccurateRip.\n"_s));

    serve(sheet, sumsOf(1).v2 + 1);
    const VelmoResult changed = velmo({u"disc"_s, u"verify"_s, sheet});
    EXPECT_EQ(changed.status, 1);
    EXPECT_TRUE(changed.out.contains(u"Track 2: "_s + root()
                                     + u"/Band/Plates/02 Song 2.flac — does not match (1 pressing known)"_s))
        << changed.out.toStdString();
    EXPECT_TRUE(changed.out.endsWith(u"2 of 3 tracks verified by AccurateRip.\n"_s));

    serve(sheet);
    const QString third = root() + u"/Band/Plates/03 Song 3.flac"_s;
    ASSERT_TRUE(QFileInfo::exists(third));
    EncodedAudio::damageMiddleFrame(third);
    const VelmoResult damaged = velmo({u"disc"_s, u"verify"_s, sheet});
    EXPECT_EQ(damaged.status, 1);
    EXPECT_TRUE(damaged.out.contains(u"Track 3: "_s + third + u" — damaged: cannot be verified (“"_s + third))
        << damaged.out.toStdString();
    EXPECT_TRUE(damaged.out.endsWith(u"2 of 3 tracks verified by AccurateRip.\n"_s)) << damaged.out.toStdString();
}

TEST_F(AccurateRipCommandTest, FindOffsetFromTheDatabasesFrame450Checksums)
{
    const QString sheet = image(pcm);
    const AccurateRipID id = serve(sheet);
    // The database's rippers read this disc 48 samples further on than the image holds it.
    AccurateRip::Pressing pressing{3, id.id1, id.id2, id.cddb, {}};
    for (qint64 index = 0; index < 3; ++index) {
        std::vector<quint32> words(588);
        for (qint64 i = 0; i < 588; ++i)
            words[size_t(i)] =
                qFromLittleEndian<quint32>(pcm.constData() + ((index * trackFrames + 450) * 588 + 48 + i) * 4);
        pressing.tracks.append({5, 1, TrackChecksummer::frameChecksum(words.data())});
    }
    services.accurateRip.route(u"/"_s + id.path(), FakeResponse::ok(DiscImages::accurateRipAnswer({pressing})));
    const VelmoResult result = velmo({u"disc"_s, u"find-offset"_s, sheet});
    ASSERT_EQ(result.status, 0) << result.err.toStdString();
    EXPECT_EQ(result.out, u"Read offset: +48 samples (found on 3 of 3 tracks)\n"_s);

    const VelmoResult save = velmo({u"disc"_s, u"find-offset"_s, sheet, u"--save"_s});
    EXPECT_EQ(save.status, 1);
    EXPECT_TRUE(save.err.contains(u"A disc image has no drive to keep an offset for."_s));

    services.accurateRip.route(u"/"_s + id.path(), FakeResponse::withStatus(404));
    const VelmoResult unknown = velmo({u"disc"_s, u"find-offset"_s, sheet});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_TRUE(unknown.err.contains(u"not in the AccurateRip database"_s)) << unknown.err.toStdString();
}

TEST_F(AccurateRipCommandTest, RipWithAnOffsetShiftsTheSamples)
{
    const QByteArray numbered = DiscImages::numberedPCM(3 * trackFrames);
    const QString sheet = image(numbered);
    const QString out = folder.filePath(u"out"_s);
    const VelmoResult result = velmo({u"disc"_s, u"rip"_s, sheet, out, u"--tracks"_s, u"2"_s, u"--offset"_s, u"-30"_s});
    ASSERT_EQ(result.status, 0) << result.err.toStdString();
    const auto decoded = FlacFiles::decode(out + u"/track02.flac"_s);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->pcm, numbered.mid((trackFrames * 588 - 30) * 4, trackFrames * 2352));
    EXPECT_EQ(velmo({u"disc"_s, u"rip"_s, sheet, out, u"--offset"_s, u"six"_s}).status, 2);
}

TEST_F(AccurateRipCommandTest, TheRipLogIsASettingOfItsOwn)
{
    EXPECT_EQ(velmo({u"settings"_s, u"get"_s, u"keepRipLog"_s}).out, u"true\n"_s);
    ASSERT_EQ(velmo({u"settings"_s, u"set"_s, u"keepRipLog"_s, u"false"_s}).status, 0);
    EXPECT_FALSE(Settings::value(Settings::keepRipLog));
}
