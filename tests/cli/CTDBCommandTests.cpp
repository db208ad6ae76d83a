#include "VelmoTest.h"
#include "disc/CTDBTOC.h"
#include "disc/DiscTOC.h"
#include "support/CTDBImages.h"
#include "support/DiscImages.h"
#include "support/EncodedAudio.h"
#include "support/FakeServices.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 trackFrames = 500;

// A three-track image, its release on a fake MusicBrainz and its rips on a fake CTDB.
class CTDBCommandTest : public VelmoTest {
protected:
    void SetUp() override
    {
        writeFile(folder.filePath(u"disc.bin"_s), pcm);
        sheet = folder.filePath(u"disc.cue"_s);
        writeFile(sheet,
                  "FILE \"disc.bin\" BINARY\n"
                  "  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
                  "  TRACK 02 AUDIO\n    INDEX 01 00:06:50\n"
                  "  TRACK 03 AUDIO\n    INDEX 01 00:13:25\n");
        toc = CTDBTOC::fromFullTOC(MusicBrainzDiscLookup::rawTOCData(sheet));
    }

    CTDB::Entry entryOf(const QByteArray& stream, qint64 confidence) const
    {
        QList<CTDB::TrackSamples> tracks;
        for (const auto& track : CTDBImages::tracksOf(toc, stream))
            tracks.append(*track);
        const CTDB::DiscChecksums sums(toc, tracks);
        CTDB::Entry entry{
            .id = 77, .crc32 = sums.discCRC(), .confidence = confidence, .toc = toc.text(), .stride = CTDB::stride};
        for (qsizetype i = 0; i < sums.trackCount(); ++i)
            entry.trackCRCs.append(sums.trackCRC(i));
        return entry;
    }

    void serve(const QList<CTDB::Entry>& entries)
    {
        services.ctdb.route(u"/lookup2.php"_s, FakeResponse::ok(CTDBImages::answer(entries), "text/xml"));
    }

    // The release on MusicBrainz, for an import.
    void serveRelease()
    {
        const QString discID = MusicBrainzDiscLookup::readDiscTOC(sheet).discID;
        const QJsonArray releases{DiscImages::musicBrainzRelease(u"release-1"_s, u"Plates"_s, discID, 3)};
        services.musicBrainz.route(
            u"/ws/2/discid/"_s + discID,
            FakeResponse::ok(QJsonDocument(QJsonObject{{"releases"_L1, releases}}).toJson(), "application/json"));
    }

    // The tracks of `stream` as WAV files, in order.
    QStringList files(const QByteArray& stream, const QString& prefix)
    {
        QStringList paths;
        for (qint64 i = 0; i < 3; ++i) {
            paths.append(folder.filePath(u"%1%2.wav"_s.arg(prefix).arg(i + 1)));
            writeFile(paths.last(), DiscImages::wave(stream.mid(i * trackFrames * 2352, trackFrames * 2352)));
        }
        return paths;
    }

    QTemporaryDir folder;
    FakeServices services;
    const QByteArray pcm = DiscImages::pcm(3 * trackFrames, 9);
    QString sheet;
    CTDBTOC toc;
};

QByteArray shifted(const QByteArray& stream, qint64 by)
{
    QByteArray moved(stream.size(), '\0');
    const qint64 samples = stream.size() / 4;
    for (qint64 n = std::max<qint64>(0, -by); n < std::min(samples, samples - by); ++n)
        std::copy_n(stream.constData() + (n + by) * 4, 4, moved.data() + n * 4);
    return moved;
}

} // namespace

TEST_F(CTDBCommandTest, IdOfAnImageAndOfRawTOCBytesAndTheDiscsTOC)
{
    const VelmoResult result = velmo({u"ctdb"_s, u"id"_s, sheet});
    ASSERT_EQ(result.status, 0) << result.err.toStdString();
    EXPECT_EQ(result.out,
              toc.tocID() + u"\n0:500:1000:1500\n"_s + services.ctdb.url(u"/lookup2.php"_s).toString()
                  + u"?version=3&ctdb=1&fuzzy=1&metadata=none&toc=0:500:1000:1500\n"_s);

    const QString raw = folder.filePath(u"toc.bin"_s);
    writeFile(raw, DiscImages::audioTOC({150, 11563, 25174, 45863}, 55370));
    const VelmoResult rawResult = velmo({u"ctdb"_s, u"id"_s, u"--raw-toc"_s, raw, u"--json"_s});
    ASSERT_EQ(rawResult.status, 0) << rawResult.err.toStdString();
    const QJsonObject object = QJsonDocument::fromJson(rawResult.out.toUtf8()).object();
    EXPECT_EQ(object.value("tocid"_L1).toString(), u"VukMWWItblELRM.CEFpXxw0FlME-"_s);
    EXPECT_EQ(object.value("toc"_L1).toString(), u"0:11413:25024:45713:55220"_s);

    const VelmoResult shown = velmo({u"disc"_s, u"toc"_s, u"--raw-toc"_s, raw, u"--json"_s});
    ASSERT_EQ(shown.status, 0) << shown.err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(shown.out.toUtf8()).object().value("ctdbTocID"_L1).toString(),
              u"VukMWWItblELRM.CEFpXxw0FlME-"_s);
    EXPECT_EQ(velmo({u"ctdb"_s, u"id"_s}).status, 2);
}

TEST_F(CTDBCommandTest, LookupListsTheEntriesOrSaysTheDiscIsUnknown)
{
    const VelmoResult unknown = velmo({u"ctdb"_s, u"lookup"_s, sheet});
    ASSERT_EQ(unknown.status, 0) << unknown.err.toStdString();
    EXPECT_EQ(unknown.out, u"The disc is not in the database.\n"_s);

    serve({entryOf(pcm, 6)});
    const VelmoResult found = velmo({u"ctdb"_s, u"lookup"_s, sheet, u"--json"_s});
    ASSERT_EQ(found.status, 0) << found.err.toStdString();
    const QJsonObject object = QJsonDocument::fromJson(found.out.toUtf8()).object();
    EXPECT_EQ(object.value("tocid"_L1).toString(), toc.tocID());
    const QJsonArray entries = object.value("entries"_L1).toArray();
    ASSERT_EQ(entries.size(), 1);
    EXPECT_EQ(entries.at(0)["confidence"_L1].toInteger(), 6);
    EXPECT_EQ(entries.at(0)["crc32"_L1].toString(), u"%1"_s.arg(entryOf(pcm, 6).crc32, 8, 16, QChar(u'0')));
    EXPECT_EQ(entries.at(0)["trackcrcs"_L1].toArray().size(), 3);

    services.ctdb.route(u"/lookup2.php"_s, FakeResponse::ok("<html>busy</html>", "text/html"));
    const VelmoResult malformed = velmo({u"ctdb"_s, u"lookup"_s, sheet});
    EXPECT_EQ(malformed.status, 1);
    EXPECT_TRUE(malformed.err.contains(u"The CTDB answer could not be read: it is not a CTDB answer."_s))
        << malformed.err.toStdString();
}

TEST_F(CTDBCommandTest, VerifyFindsFilesShiftedByAFewHundredSamplesAndTellsChangedAndDamagedOnes)
{
    serve({entryOf(pcm, 4)});
    const QStringList moved = files(shifted(pcm, 300), u"moved"_s);
    const VelmoResult result = velmo(QStringList{u"ctdb"_s, u"verify"_s, sheet} + moved + QStringList{u"--json"_s});
    ASSERT_EQ(result.status, 0) << result.err.toStdString() << result.out.toStdString();
    const QJsonObject object = QJsonDocument::fromJson(result.out.toUtf8()).object();
    EXPECT_EQ(object.value("tocid"_L1).toString(), toc.tocID());
    EXPECT_EQ(object.value("offset"_L1).toInteger(), 300);
    const QJsonArray tracks = object.value("tracks"_L1).toArray();
    ASSERT_EQ(tracks.size(), 3);
    EXPECT_EQ(
        tracks.at(1).toObject(),
        (QJsonObject{
            {"track"_L1, 2}, {"status"_L1, u"accurate"_s}, {"confidence"_L1, 4}, {"total"_L1, 4}, {"offset"_L1, 300}}));

    QByteArray changed = pcm;
    changed[(2 * trackFrames + 7) * 2352] = char(changed.at((2 * trackFrames + 7) * 2352) ^ 2);
    QStringList paths = files(changed, u"changed"_s);
    paths[1] = EncodedAudio::write(EncodedAudio::music(4, 12.0), folder.filePath(u"damaged.flac"_s));
    EncodedAudio::damageMiddleFrame(paths[1]);
    const VelmoResult text = velmo(QStringList{u"ctdb"_s, u"verify"_s, sheet} + paths);
    EXPECT_EQ(text.status, 1);
    EXPECT_TRUE(text.out.startsWith(u"CTDB TOCID: "_s + toc.tocID() + u'\n')) << text.out.toStdString();
    EXPECT_TRUE(text.out.contains(u"Track 1: "_s + paths[0] + u" — accurately ripped (confidence 4 of 4)\n"_s))
        << text.out.toStdString();
    EXPECT_TRUE(text.out.contains(u"Track 2: "_s + paths[1] + u" — damaged: cannot be verified ("_s))
        << text.out.toStdString();
    EXPECT_TRUE(text.out.contains(u"Track 3: "_s + paths[2] + u" — differs from the database (4 submissions)\n"_s))
        << text.out.toStdString();
    EXPECT_TRUE(text.out.endsWith(u"1 of 3 tracks verified by CTDB.\n"_s));

    const VelmoResult tooMany = velmo(QStringList{u"ctdb"_s, u"verify"_s, sheet} + paths + QStringList{paths[0]});
    EXPECT_EQ(tooMany.status, 1);
    EXPECT_EQ(tooMany.err, u"The disc has 3 audio tracks; 4 files were given.\n"_s);
}

TEST_F(CTDBCommandTest, ImportAndVerifyPrintBothVerdicts)
{
    initLibrary();
    serveRelease();
    serve({entryOf(pcm, 5)});
    const VelmoResult imported = velmo({u"disc"_s, u"import"_s, sheet, u"--offset"_s, u"0"_s});
    ASSERT_EQ(imported.status, 0) << imported.err.toStdString();
    EXPECT_EQ(imported.out.count(u": CTDB — accurately ripped (confidence 5 of 5)\n"_s), 3)
        << imported.out.toStdString();
    EXPECT_TRUE(imported.out.contains(u"3 of 3 tracks verified by CTDB.\n0 of 3 tracks verified by AccurateRip.\n"_s))
        << imported.out.toStdString();
    const QString log = QString::fromUtf8(readFile(root() + u"/Band/Plates/Plates.log"_s));
    EXPECT_TRUE(log.contains(u"[CTDB TOCID: "_s + toc.tocID() + u"] found."_s)) << log.toStdString();

    const VelmoResult verified = velmo({u"disc"_s, u"verify"_s, sheet});
    ASSERT_EQ(verified.status, 0) << verified.err.toStdString() << verified.out.toStdString();
    EXPECT_TRUE(verified.out.contains(u"02 Song 2.flac — not in the database; CTDB: accurately ripped "
                                      "(confidence 5 of 5)\n"_s))
        << verified.out.toStdString();
    EXPECT_TRUE(verified.out.endsWith(u"3 of 3 tracks verified by CTDB.\n0 of 3 tracks verified by AccurateRip.\n"_s))
        << verified.out.toStdString();
}
