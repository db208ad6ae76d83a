#include "VelmoTest.h"
#include "facade/LibraryStores.h"
#include "support/EncodedAudio.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// One song in three formats and another song, imported into a fresh library.
class VelmoDuplicatesTest : public VelmoTest {
protected:
    void SetUp() override
    {
        VelmoTest::SetUp();
        initLibrary();
        const QString incoming = stores.folder() + u"/Incoming/"_s;
        const std::vector<float> song = EncodedAudio::music(7, 30.0);
        EncodedAudio::write(song, incoming + u"one.flac"_s);
        EncodedAudio::write(song, incoming + u"two.mp3"_s, 128000);
        EncodedAudio::write(song, incoming + u"three.ogg"_s, 112000);
        EncodedAudio::write(EncodedAudio::music(8, 30.0), incoming + u"other.flac"_s);
        ASSERT_EQ(velmo({u"import"_s, incoming}).status, 0);
        ASSERT_EQ(LibraryStores::readTracks().value.size(), 4);
    }
};

} // namespace

TEST_F(VelmoDuplicatesTest, PrintsOneGroupOfTheThreeFormatsWithAndWithoutTheCache)
{
    for (const QStringList& options : {QStringList{}, QStringList{u"--exact"_s}, QStringList{}}) {
        const VelmoResult result = velmo(QStringList{u"library"_s, u"duplicates"_s} + options);
        ASSERT_EQ(result.status, 0) << qPrintable(result.err);
        EXPECT_TRUE(result.out.contains(u"one — 3 tracks"_s)) << qPrintable(result.out);
        EXPECT_TRUE(result.out.endsWith(u"1 group of tracks that sound alike.\n"_s)) << qPrintable(result.out);
        EXPECT_FALSE(result.out.contains(u"other"_s));
    }

    const VelmoResult json = velmo({u"library"_s, u"duplicates"_s, u"--json"_s, u"--threshold"_s, u"0.85"_s});
    ASSERT_EQ(json.status, 0);
    const QJsonArray groups = QJsonDocument::fromJson(json.out.toUtf8()).array();
    ASSERT_EQ(groups.size(), 1) << qPrintable(json.out);
    QStringList formats;
    for (const QJsonValue& member : groups.at(0).toArray()) {
        const QJsonObject track = member.toObject();
        formats.append(track.value(u"format"_s).toString());
        EXPECT_TRUE(QFileInfo::exists(track.value(u"path"_s).toString()));
        EXPECT_EQ(track.value(u"id"_s).toString().size(), 36);
        EXPECT_FALSE(track.value(u"title"_s).toString().isEmpty());
        EXPECT_TRUE(track.contains(u"artist"_s));
    }
    formats.sort();
    EXPECT_EQ(formats, (QStringList{u"flac"_s, u"mp3"_s, u"ogg"_s}));
}

TEST_F(VelmoDuplicatesTest, AThresholdOutsideZeroToOneIsAUsageError)
{
    for (const QString& threshold : {u"1.5"_s, u"-0.1"_s, u"high"_s, u"nan"_s}) {
        const VelmoResult result = velmo({u"library"_s, u"duplicates"_s, u"--threshold"_s, threshold});
        EXPECT_EQ(result.status, 2) << qPrintable(threshold);
        EXPECT_TRUE(result.err.contains(u"The threshold is a number from 0 to 1"_s));
    }
    const VelmoResult identical = velmo({u"library"_s, u"duplicates"_s, u"--threshold"_s, u"1"_s});
    EXPECT_EQ(identical.status, 0);
    EXPECT_TRUE(identical.out.contains(u"No tracks sound alike."_s)) << qPrintable(identical.out);
}
