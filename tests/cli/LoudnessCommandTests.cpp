#include "VelmoTest.h"
#include "facade/LibraryStores.h"
#include "library/Settings.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"
#include "support/EncodedAudio.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using namespace Qt::StringLiterals;

namespace {

// A 1 kHz sine at `rmsDBFS` in both channels of `rate`.
std::vector<float> sine(double rmsDBFS, double seconds, int rate = EncodedAudio::sampleRate)
{
    const double amplitude = std::pow(10.0, rmsDBFS / 20.0) * std::numbers::sqrt2;
    std::vector<float> samples;
    for (qint64 i = 0; i < qint64(seconds * rate); ++i) {
        const auto value = float(amplitude * std::sin(2.0 * std::numbers::pi * 1000.0 * double(i) / rate));
        samples.insert(samples.end(), {value, value});
    }
    return samples;
}

QJsonObject parse(const QString& text)
{
    return QJsonDocument::fromJson(text.toUtf8()).object();
}

// An album of three formats and two tracks of no album, imported into a fresh library.
class VelmoLoudnessTest : public VelmoTest {
protected:
    void SetUp() override
    {
        VelmoTest::SetUp();
        initLibrary();
        const QString incoming = stores.folder() + u"/Incoming/"_s;
        writeTagged(EncodedAudio::write(sine(-20.0, 8.0), incoming + u"loud.flac"_s), u"Loud"_s, u"Album"_s);
        writeTagged(EncodedAudio::write(sine(-30.0, 8.0), incoming + u"quiet.mp3"_s), u"Quiet"_s, u"Album"_s);
        writeTagged(EncodedAudio::write(EncodedAudio::music(2, 8.0), 2, EncodedAudio::sampleRate,
                                        incoming + u"music.m4a"_s),
                    u"Music"_s, u"Album"_s);
        writeTagged(EncodedAudio::write(sine(-20.0, 8.0, 48000), 2, 48000, incoming + u"talk.opus"_s, 96000),
                    u"Talk"_s, QString());
        writeTagged(EncodedAudio::write(sine(-26.0, 8.0), incoming + u"tone.ogg"_s), u"Tone"_s, QString());
        ASSERT_EQ(velmo({u"import"_s, incoming}).status, 0);
        ASSERT_EQ(LibraryStores::readTracks().value.size(), 5);
    }

    static void writeTagged(const QString& path, const QString& title, const QString& album)
    {
        Track track;
        track.id = QUuid::createUuid();
        track.url = QUrl::fromLocalFile(path);
        track.title = title;
        track.artist = u"Artist"_s;
        track.albumArtist = u"Artist"_s;
        track.album = album;
        TagWriter::write(track);
    }

    static QHash<QString, QJsonObject> byTitle(const QJsonArray& tagged)
    {
        QHash<QString, QJsonObject> result;
        for (const QJsonValue& value : tagged) {
            const QJsonObject object = value.toObject();
            result.insert(QFileInfo(object.value(u"path"_s).toString()).completeBaseName(), object);
        }
        return result;
    }
};

} // namespace

TEST_F(VelmoLoudnessTest, TagsMixedFormatsAlbumByAlbumAndPassesOverTaggedOnesUnlessForced)
{
    const VelmoResult first = velmo({u"library"_s, u"loudness"_s, u"--json"_s, u"--jobs"_s, u"2"_s});
    ASSERT_EQ(first.status, 0) << qPrintable(first.err);
    const QJsonObject report = parse(first.out);
    EXPECT_TRUE(report.value(u"skipped"_s).toArray().isEmpty());
    EXPECT_TRUE(report.value(u"failed"_s).toArray().isEmpty());
    const QHash<QString, QJsonObject> tagged = byTitle(report.value(u"tagged"_s).toArray());
    ASSERT_EQ(tagged.size(), 5) << qPrintable(first.out);

    EXPECT_NEAR(tagged[u"Loud"_s].value(u"trackGain"_s).toDouble(), -1.01, 0.1);
    // MP3: the encoder's delay and padding and its coding move a quiet sine a little.
    EXPECT_NEAR(tagged[u"Quiet"_s].value(u"trackGain"_s).toDouble(), 8.99, 0.35);
    const double albumGain = tagged[u"Loud"_s].value(u"albumGain"_s).toDouble();
    for (const QString& title : {u"Quiet"_s, u"Music"_s})
        EXPECT_EQ(tagged[title].value(u"albumGain"_s).toDouble(), albumGain) << qPrintable(title);
    EXPECT_FALSE(tagged[u"Talk"_s].contains(u"albumGain"_s));
    EXPECT_NEAR(tagged[u"Talk"_s].value(u"trackGain"_s).toDouble(), -1.01, 0.1) << "Opus at 48 kHz";
    EXPECT_NEAR(tagged[u"Tone"_s].value(u"trackGain"_s).toDouble(), 4.99, 0.2);

    // The files and the catalogue carry the same gains.
    for (const Track& track : LibraryStores::readTracks().value) {
        const QJsonObject values = tagged.value(track.title);
        ASSERT_TRUE(track.replayGainTrack) << qPrintable(track.title);
        EXPECT_EQ(*track.replayGainTrack, values.value(u"trackGain"_s).toDouble());
        EXPECT_EQ(track.replayGainAlbum.has_value(), values.contains(u"albumGain"_s));
        const std::optional<TrackMetadata> tags = TagReader::read(track.url);
        ASSERT_TRUE(tags);
        EXPECT_NEAR(*tags->replayGainTrack, *track.replayGainTrack, track.format == AudioFormat::opus ? 0.01 : 0.0);
    }

    const VelmoResult again = velmo({u"library"_s, u"loudness"_s});
    ASSERT_EQ(again.status, 0) << qPrintable(again.err);
    EXPECT_TRUE(again.out.endsWith(u"Tagged 0 tracks; 5 already tagged.\n"_s)) << qPrintable(again.out);

    // One track named brings its whole album with it: the album's value needs them all.
    const VelmoResult forced = velmo({u"library"_s, u"loudness"_s, u"--force"_s, u"title:quiet"_s});
    ASSERT_EQ(forced.status, 0) << qPrintable(forced.err);
    EXPECT_TRUE(forced.out.endsWith(u"Tagged 3 tracks of 1 album.\n"_s)) << qPrintable(forced.out);
    EXPECT_TRUE(forced.out.contains(u"-1.0"_s)) << qPrintable(forced.out);
}

TEST_F(VelmoLoudnessTest, ADamagedFileIsReportedAndLeftUntagged)
{
    QString damaged;
    for (const Track& track : LibraryStores::readTracks().value) {
        if (track.format == AudioFormat::flac)
            damaged = track.path();
    }
    ASSERT_FALSE(damaged.isEmpty());
    EncodedAudio::damageMiddleFrame(damaged);

    const VelmoResult result = velmo({u"library"_s, u"loudness"_s});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.out.contains(u"not tagged  "_s + damaged)) << qPrintable(result.out);
    EXPECT_TRUE(result.out.contains(u"does not decode"_s)) << qPrintable(result.out);
    EXPECT_TRUE(result.out.endsWith(u"Tagged 4 tracks of 3 albums; 1 could not be analysed.\n"_s))
        << qPrintable(result.out);
    EXPECT_EQ(TagReader::read(QUrl::fromLocalFile(damaged))->replayGainTrack, std::nullopt);
}

TEST_F(VelmoLoudnessTest, JobsAreAWholeNumberFromOne)
{
    for (const QString& jobs : {u"0"_s, u"-2"_s, u"many"_s}) {
        const VelmoResult result = velmo({u"library"_s, u"loudness"_s, u"--jobs"_s, jobs});
        EXPECT_EQ(result.status, 2) << qPrintable(jobs);
        EXPECT_TRUE(result.err.contains(u"The number of jobs is a whole number from 1"_s)) << qPrintable(result.err);
    }
    EXPECT_EQ(velmo({u"library"_s, u"loudness"_s, u"nothing-like-this"_s}).status, 1);
}

TEST_F(VelmoLoudnessTest, AnImportAnalysesWhenTheSettingSaysSo)
{
    EXPECT_EQ(velmo({u"settings"_s, u"get"_s, u"analyseLoudnessAfterImport"_s}).out, u"false\n"_s);
    EXPECT_EQ(velmo({u"settings"_s, u"get"_s, u"analyseLoudnessAfterRipping"_s}).out, u"true\n"_s);
    ASSERT_EQ(velmo({u"settings"_s, u"set"_s, u"analyseLoudnessAfterImport"_s, u"true"_s}).status, 0);
    ASSERT_TRUE(Settings::value(Settings::analyseLoudnessAfterImport));

    const QString incoming = stores.folder() + u"/More/"_s;
    writeTagged(EncodedAudio::write(sine(-20.0, 5.0), incoming + u"new.flac"_s), u"New"_s, u"Other"_s);
    const VelmoResult imported = velmo({u"import"_s, incoming});
    ASSERT_EQ(imported.status, 0) << qPrintable(imported.err);
    EXPECT_TRUE(imported.err.contains(u"Loudness: Tagged 1 track of 1 album."_s)) << qPrintable(imported.err);
    for (const Track& track : LibraryStores::readTracks().value)
        EXPECT_EQ(track.replayGainTrack.has_value(), track.title == u"New"_s) << qPrintable(track.title);
}
