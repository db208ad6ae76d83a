#include "VelmoTest.h"
#include "facade/Library.h"
#include "facade/LibraryStores.h"
#include "library/JsonCoding.h"
#include "library/TagReader.h"
#include "library/Uuid.h"
#include "support/AudioFixtures.h"
#include "support/TrackFactory.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class VelmoFilesTest : public VelmoTest {
protected:
    void SetUp() override { VelmoTest::SetUp(); initLibrary(); }

    QString incoming() const { return stores.folder() + u"/Incoming"_s; }

    QString sample(const QString& name, const QString& from = u"taglib/sinewave.flac"_s)
    {
        return AudioFixtures::copySample(from, incoming() + u'/' + name);
    }

    QList<Track> stored() const { return LibraryStores::readTracks().value; }
};

} // namespace

TEST_F(VelmoFilesTest, TagsReadGivesTheMetadataFieldsAndSaysWhyAFileGaveNothing)
{
    const QString good = AudioFixtures::samplePath(u"taglib/silence-44-s.flac"_s);
    const VelmoResult result = velmo({u"tags"_s, u"read"_s, u"--json"_s, good, stores.folder() + u"/none.flac"_s});
    EXPECT_EQ(result.status, 1) << "a file gave nothing";
    const QJsonArray files = QJsonDocument::fromJson(result.out.toUtf8()).array();
    ASSERT_EQ(files.size(), 2);
    const QJsonObject first = files.at(0).toObject();
    EXPECT_EQ(first["path"_L1].toString(), good);
    EXPECT_EQ(first["title"_L1].toString(), u"Silence"_s);
    EXPECT_EQ(first["artworkSize"_L1].toInt(), 150);
    EXPECT_EQ(first["artworkMimeType"_L1].toString(), u"image/png"_s);
    EXPECT_FALSE(first.contains("discNumber"_L1)) << "absent values are left out";
    EXPECT_FALSE(first.contains("artworkData"_L1));
    EXPECT_TRUE(first["customTags"_L1].isObject());
    const QJsonObject second = files.at(1).toObject();
    EXPECT_EQ(second["error"_L1].toString(), u"there is nothing at that path"_s);

    const VelmoResult text = velmo({u"tags"_s, u"read"_s, good});
    EXPECT_EQ(text.status, 0);
    EXPECT_TRUE(text.out.contains(u"picture:"_s)) << qPrintable(text.out);

    QFile zeros(stores.folder() + u"/zeros.mp3"_s);
    ASSERT_TRUE(zeros.open(QIODevice::WriteOnly) && zeros.resize(qint64(1) << 30));
    const VelmoResult junk = velmo({u"tags"_s, u"read"_s, zeros.fileName()});
    EXPECT_EQ(junk.status, 1);
    EXPECT_EQ(junk.err, zeros.fileName() + u": not an audio file: its first 64 KiB hold no MP3 audio\n"_s);
}

TEST_F(VelmoFilesTest, ImportPlansThenImportsTheNewFiles)
{
    sample(u"a.flac"_s);
    sample(u"sub/b.flac"_s, u"taglib/silence-44-s.flac"_s);
    const VelmoResult plan = velmo({u"import"_s, incoming(), u"--dry-run"_s, u"--json"_s});
    ASSERT_EQ(plan.status, 0) << qPrintable(plan.err);
    const QJsonArray entries = QJsonDocument::fromJson(plan.out.toUtf8()).array();
    ASSERT_EQ(entries.size(), 2);
    EXPECT_EQ(entries.at(0)["status"_L1].toString(), u"new"_s);
    EXPECT_TRUE(entries.at(0)["track"_L1].toObject().contains("id"_L1)) << "the track in its store form";
    EXPECT_TRUE(stored().isEmpty()) << "a dry run imports nothing";

    const VelmoResult copied = velmo({u"import"_s, incoming(), u"--copy"_s});
    ASSERT_EQ(copied.status, 0) << qPrintable(copied.err);
    EXPECT_EQ(stored().size(), 2);
    EXPECT_TRUE(QFileInfo::exists(incoming() + u"/a.flac"_s)) << "copied, not moved";

    const VelmoResult again = velmo({u"import"_s, incoming(), u"--json"_s});
    EXPECT_EQ(QJsonDocument::fromJson(again.out.toUtf8()).array().at(0)["status"_L1].toString(), u"alreadyInLibrary"_s);
    EXPECT_TRUE(again.err.contains(u"Nothing new to import"_s)) << qPrintable(again.err);
    EXPECT_EQ(stored().size(), 2);

    EXPECT_EQ(velmo({u"import"_s, incoming(), u"--copy"_s, u"--move"_s}).status, 1);
    EXPECT_EQ(velmo({u"import"_s, stores.folder() + u"/nowhere"_s}).status, 1);
}

TEST_F(VelmoFilesTest, ScanReportsInTheStoreFormAndOrganizeSaysWhatMoved)
{
    AudioFixtures::copySample(u"taglib/sinewave.flac"_s, root() + u"/loose.flac"_s);
    AudioFixtures::copySample(u"taglib/sinewave.flac"_s, root() + u"/Unknown Artist/Unknown Album/loose.flac"_s);
    const VelmoResult scan = velmo({u"library"_s, u"scan"_s, u"--json"_s});
    ASSERT_EQ(scan.status, 0) << qPrintable(scan.err);
    const QJsonObject report = QJsonDocument::fromJson(scan.out.toUtf8()).object();
    EXPECT_EQ(report["added"_L1].toArray().size(), 2);
    EXPECT_EQ(report["removalsApplied"_L1].toBool(), false);
    for (const char* key : {"moved", "updated", "removedCandidates", "removedReferenced"})
        EXPECT_TRUE(report[QLatin1StringView(key)].isArray()) << key;

    const VelmoResult organize = velmo({u"library"_s, u"organize"_s});
    EXPECT_EQ(organize.status, 0);
    EXPECT_TRUE(organize.out.contains(u"0 moved, 1 could not move, 1 already in place."_s)) << qPrintable(organize.out);
    EXPECT_TRUE(organize.out.contains(u"A file already exists at"_s)) << "the reason is given";

    QFile::remove(root() + u"/loose.flac"_s);
    const VelmoResult removal = velmo({u"library"_s, u"scan"_s, u"--apply-removals"_s});
    EXPECT_TRUE(removal.out.contains(u"Removals applied."_s)) << qPrintable(removal.out);
    EXPECT_EQ(stored().size(), 1);
    EXPECT_EQ(velmo({u"library"_s, u"scan"_s}).out.trimmed(), u"Library is in sync."_s);
}

TEST_F(VelmoFilesTest, OpusAndAiffFilesAreImportedWithTheirTagsAndOurId)
{
    AudioFixtures::copySample(u"mutagen/example.opus"_s, incoming() + u"/talk.opus"_s);
    AudioFixtures::writeSilentAiff(incoming() + u"/long.aiff"_s, 1.0);
    AudioFixtures::writeSilentAiff(incoming() + u"/short.aif"_s, 0.5);
    const VelmoResult imported = velmo({u"import"_s, incoming(), u"--copy"_s});
    ASSERT_EQ(imported.status, 0) << qPrintable(imported.err);
    const QList<Track> tracks = stored();
    ASSERT_EQ(tracks.size(), 3);
    QStringList formats;
    for (const Track& track : tracks) {
        formats.append(rawValue(track.format));
        const auto read = TagReader::read(track.url);
        ASSERT_TRUE(read.has_value()) << qPrintable(track.path());
        EXPECT_EQ(read->externalID, Uuid::text(track.id)) << "our id is in the file";
        if (track.title == u"short") {
            EXPECT_TRUE(track.path().endsWith(u".aif"_s)) << "the file keeps its extension";
        }
    }
    formats.sort();
    EXPECT_EQ(formats, (QStringList{u"aiff"_s, u"aiff"_s, u"opus"_s}));

    const VelmoResult json = velmo({u"tags"_s, u"read"_s, u"--json"_s, tracks.at(0).path()});
    EXPECT_TRUE(json.out.contains(u"\"format\": \""_s + rawValue(tracks.at(0).format))) << qPrintable(json.out);
}
