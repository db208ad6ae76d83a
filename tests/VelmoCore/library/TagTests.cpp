#include "library/DisplayText.h"
#include "library/JsonCoding.h"
#include "library/TagFile.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"
#include "library/Uuid.h"
#include "support/AudioFixtures.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>

#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using TagWriter::WriteError;

namespace {

// What is really in the file, property by property.
TagLib::PropertyMap propertiesOf(const QString& path)
{
    const TagFile file(path, TagFile::Access::read);
    return file.isValid() ? file.properties() : TagLib::PropertyMap();
}

std::string firstValue(const QString& path, const char* name)
{
    const TagLib::StringList values = propertiesOf(path)[name];
    return values.isEmpty() ? std::string() : values.front().to8Bit(true);
}

bool hasProperty(const QString& path, const char* name)
{
    return propertiesOf(path).contains(name);
}

void setProperty(const QString& path, const char* name, const QString& value)
{
    TagFile file(path, TagFile::Access::write);
    TagLib::PropertyMap properties = file.properties();
    properties.replace(name, TagLib::StringList(TagLib::String(value.toUtf8().constData(), TagLib::String::UTF8)));
    file.setProperties(properties);
    ASSERT_TRUE(file.save());
}

// The error writing the track fails with, if it fails.
std::optional<WriteError> writeError(const Track& track)
{
    try {
        TagWriter::write(track);
    } catch (const WriteError& error) {
        return error;
    }
    return std::nullopt;
}

class TagFileTest : public ::testing::TestWithParam<QString> {
protected:
    QTemporaryDir folder;

    // A fresh copy of the clean sample of the parameter's container.
    QString sample()
    {
        const QString extension = GetParam();
        // An Opus stream also travels in a ".ogg" file, and is found by its content there.
        if (extension == u"opus-in-ogg")
            return AudioFixtures::copySample(AudioFixtures::cleanSample(u"opus"_s), folder.filePath(u"sample.ogg"_s));
        const QString path = folder.filePath(u"sample."_s + extension);
        if (extension == u"wav")
            return AudioFixtures::writeSilentWav(path, 1.5);
        if (extension == u"aiff" || extension == u"aif")
            return AudioFixtures::writeSilentAiff(path, 1.5);
        return AudioFixtures::copySample(AudioFixtures::cleanSample(extension), path);
    }

    static Track fullTrack(const QString& path)
    {
        Track track = makeFullTrack();
        track.url = QUrl::fromLocalFile(path);
        track.title = u"Ünïcödé Title, with “quotes”"_s;
        track.customTags = {{u"MOOD"_s, u"late night"_s},
                            {u"Überschrift"_s, u"ja"_s},
                            {u"a=b%c"_s, u"odd key"_s},
                            {u"empty"_s, u"x"_s}};
        return track;
    }
};

} // namespace

TEST_P(TagFileTest, EveryFieldSurvivesARoundTripAndAbsentOnesAndCustomTagsGoButNeverTheMusicBrainzIds)
{
    const QString path = sample();
    Track track = fullTrack(path);
    TagWriter::write(track);

    const auto read = TagReader::read(QUrl::fromLocalFile(path));
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->title, track.title);
    EXPECT_EQ(read->artist, track.artist);
    EXPECT_EQ(read->albumArtist, track.albumArtist);
    EXPECT_EQ(read->album, track.album);
    EXPECT_EQ(read->genre, track.genre);
    EXPECT_EQ(read->year, track.year);
    EXPECT_EQ(read->trackNumber, track.trackNumber);
    EXPECT_EQ(read->discNumber, track.discNumber);
    EXPECT_EQ(read->externalID, track.externalID) << "the MusicBrainz id comes first";
    EXPECT_EQ(read->releaseMBID, track.releaseMBID);
    EXPECT_EQ(read->releaseGroupMBID, track.releaseGroupMBID);
    EXPECT_EQ(read->bpm, track.bpm);
    EXPECT_EQ(read->customTags, track.customTags);
    EXPECT_GT(read->duration, 0);
    EXPECT_EQ(read->format, audioFormatFromURL(QUrl::fromLocalFile(path)));
    EXPECT_EQ(firstValue(path, "VELMO_TRACK_ID"), Uuid::text(track.id).toStdString());

    const QByteArray before = readFile(path);
    TagWriter::write(track);
    EXPECT_EQ(readFile(path), before) << "writing the same tags again leaves the file as it was";

    track.discNumber = std::nullopt;
    track.bpm = std::nullopt;
    track.releaseMBID = std::nullopt;
    track.releaseGroupMBID = std::nullopt;
    track.externalID = std::nullopt;
    track.albumArtist.clear();
    track.year = std::nullopt;
    track.customTags.remove(u"Überschrift"_s);
    track.customTags.remove(u"empty"_s);
    TagWriter::write(track);
    const auto cleared = TagReader::read(track.url);
    EXPECT_EQ(cleared->customTags, track.customTags);
    EXPECT_EQ(firstValue(path, "VELMO_CUSTOM_KEYS"), "MOOD,a=b%c") << "custom tags that went leave the key list";
    EXPECT_FALSE(hasProperty(path, "VELMO_CUSTOM_EMPTY"));
    EXPECT_FALSE(hasProperty(path, "VELMO_CUSTOM_%C3%9CBERSCHRIFT"));
    EXPECT_EQ(cleared->discNumber, std::nullopt);
    EXPECT_EQ(cleared->bpm, std::nullopt);
    EXPECT_EQ(cleared->year, std::nullopt);
    EXPECT_EQ(cleared->albumArtist, track.artist) << "no album artist reads as the artist";
    EXPECT_EQ(cleared->releaseMBID, u"release-mbid"_s);
    EXPECT_EQ(cleared->releaseGroupMBID, u"release-group-mbid"_s);
    EXPECT_EQ(cleared->externalID, u"0ac22a2a-8c4d-4d6e-9b3b-8a1e6e7c2f10"_s);

    track.customTags.clear();
    TagWriter::write(track);
    EXPECT_FALSE(hasProperty(path, "VELMO_CUSTOM_KEYS"));
    EXPECT_FALSE(hasProperty(path, "VELMO_CUSTOM_MOOD"));
}

TEST_P(TagFileTest, OurOwnIdIsNoMusicBrainzIdAndArtworkReplacesEveryPicture)
{
    const QString path = sample();
    const QUrl url = QUrl::fromLocalFile(path);
    Track track = makeTrack(u"Song"_s);
    track.url = url;
    track.externalID = Uuid::text(track.id);
    TagWriter::write(track);
    EXPECT_FALSE(hasProperty(path, "MUSICBRAINZ_TRACKID"));
    EXPECT_EQ(TagReader::read(url)->externalID, Uuid::text(track.id));

    TagWriter::writeArtwork(url, AudioFixtures::pngBytes(), u"image/png"_s);
    EXPECT_EQ(TagReader::read(url)->artworkData, AudioFixtures::pngBytes());
    const QByteArray jpeg = QByteArray("\xFF\xD8\xFF\xE0", 4) + QByteArray(200, 'j');
    TagWriter::writeArtwork(url, jpeg, u"image/jpeg"_s);
    EXPECT_EQ(TagReader::read(url)->artworkData, jpeg);
    TagWriter::writeArtwork(url, QByteArray(), u"image/png"_s);
    EXPECT_EQ(TagReader::read(url)->artworkData, jpeg) << "empty bytes delete nothing";

    // Tags and pictures are written separately and must not undo each other.
    TagWriter::write(fullTrack(path));
    EXPECT_EQ(TagReader::read(url)->artworkData, jpeg);
}

TEST_P(TagFileTest, TotalsBesideTrackAndDiscNumbersOutliveEveryWrite)
{
    const QString path = sample();
    setProperty(path, "TRACKNUMBER", u"5/7"_s);
    setProperty(path, "DISCNUMBER", u"1/2"_s);
    if (firstValue(path, "TRACKNUMBER") != "5/7" || firstValue(path, "DISCNUMBER") != "1/2")
        GTEST_SKIP() << "this container's tag holds no totals";
    const auto read = TagReader::read(QUrl::fromLocalFile(path));
    ASSERT_TRUE(read.has_value());
    Track track = Track::fromFile(QUrl::fromLocalFile(path), *read);
    ASSERT_EQ(track.trackNumber, 5);
    ASSERT_EQ(track.discNumber, std::nullopt) << "\"1/2\" is no disc number to the reader";

    track.title = u"Retitled"_s;
    TagWriter::write(track);
    EXPECT_EQ(firstValue(path, "TRACKNUMBER"), "5/7");
    EXPECT_EQ(firstValue(path, "DISCNUMBER"), "1/2") << "a disc number the reader did not take stays";

    track.trackNumber = 6;
    track.discNumber = 2;
    TagWriter::write(track);
    EXPECT_EQ(firstValue(path, "TRACKNUMBER"), "6/7");
    EXPECT_EQ(firstValue(path, "DISCNUMBER"), "2/2");
    EXPECT_EQ(TagReader::read(track.url)->trackNumber, 6);

    track.trackNumber = std::nullopt;
    track.discNumber = std::nullopt;
    TagWriter::write(track);
    EXPECT_FALSE(hasProperty(path, "TRACKNUMBER")) << "a number the user cleared goes, total and all";
    EXPECT_EQ(firstValue(path, "DISCNUMBER"), "2/2") << "the reader still takes no disc number from it";
}

INSTANTIATE_TEST_SUITE_P(Containers, TagFileTest,
                         ::testing::Values(u"flac"_s, u"mp3"_s, u"m4a"_s, u"ogg"_s, u"opus"_s, u"opus-in-ogg"_s,
                                           u"wav"_s, u"aiff"_s, u"aif"_s),
                         [](const ::testing::TestParamInfo<QString>& param) {
                             return QString(param.param).remove(u'-').toStdString();
                         });

TEST(TagReader, ParsesNumbersStrictlyFallsBackToOurOwnIdAndReadsWhatOtherProgramsWrote)
{
    QTemporaryDir folder;
    const QString path = AudioFixtures::copySample(u"taglib/sinewave.flac"_s, folder.filePath(u"a.flac"_s));
    const QUrl url = QUrl::fromLocalFile(path);
    const std::vector<std::pair<QString, std::optional<qint64>>> discs{
        {u"2"_s, 2}, {u"2/3"_s, std::nullopt}, {u"+2"_s, 2}, {u"-1"_s, -1}, {u" 2"_s, std::nullopt}, {u"two"_s, std::nullopt}};
    for (const auto& [text, expected] : discs) {
        setProperty(path, "DISCNUMBER", text);
        EXPECT_EQ(TagReader::read(url)->discNumber, expected) << qPrintable(text);
    }
    const std::vector<std::pair<QString, std::optional<qint64>>> tempos{
        {u"120.6"_s, 121}, {u"120.5"_s, 121}, {u"98"_s, 98}, {u"fast"_s, std::nullopt}, {u"nan"_s, std::nullopt}, {u"1e400"_s, std::nullopt}};
    for (const auto& [text, expected] : tempos) {
        setProperty(path, "BPM", text);
        EXPECT_EQ(TagReader::read(url)->bpm, expected) << qPrintable(text);
    }
    setProperty(path, "VELMO_TRACK_ID", u"8A2B7C1D-0000-4000-8000-000000000001"_s);
    EXPECT_EQ(TagReader::read(url)->externalID, u"8A2B7C1D-0000-4000-8000-000000000001"_s);

    const auto itunes = TagReader::read(QUrl::fromLocalFile(AudioFixtures::samplePath(u"taglib/itunes10.mp3"_s)));
    ASSERT_TRUE(itunes.has_value());
    EXPECT_EQ(itunes->albumArtist, u"Album Artist"_s);
    EXPECT_EQ(itunes->bpm, 180);
    EXPECT_EQ(itunes->trackNumber, 1);
    EXPECT_TRUE(itunes->artworkData.has_value());

    const auto flac = TagReader::read(QUrl::fromLocalFile(AudioFixtures::samplePath(u"taglib/silence-44-s.flac"_s)));
    ASSERT_TRUE(flac.has_value());
    EXPECT_EQ(flac->artworkData->size(), 150);
    EXPECT_EQ(flac->format, AudioFormat::flac);
}

TEST(TagReader, ReadsOpusAndAiffFilesOtherProgramsWroteAsTheirOwnFormats)
{
    const auto opus = TagReader::read(QUrl::fromLocalFile(AudioFixtures::samplePath(u"mutagen/example.opus"_s)));
    ASSERT_TRUE(opus.has_value());
    EXPECT_EQ(opus->format, AudioFormat::opus);
    EXPECT_EQ(opus->sampleRate, 48000) << "Opus decodes at 48 kHz whatever the source was";
    EXPECT_GT(opus->duration, 0);
    const auto aif = TagReader::read(QUrl::fromLocalFile(AudioFixtures::samplePath(u"mutagen/with-id3.aif"_s)));
    ASSERT_TRUE(aif.has_value());
    EXPECT_EQ(aif->format, AudioFormat::aiff);
    EXPECT_GT(aif->sampleRate.value_or(0), 0);
    EXPECT_EQ(audioFormatFromURL(QUrl::fromLocalFile(u"/m/a.AIF"_s)), AudioFormat::aiff) << "extensions in any case";
    EXPECT_EQ(DisplayText::formatText(AudioFormat::opus), u"OPUS"_s);
}

TEST(TagReader, LeavesFilesWithOtherExtensionsUnopened)
{
    QTemporaryDir folder;
    const QString other = AudioFixtures::copySample(u"taglib/empty.aiff"_s, folder.filePath(u"a.aifc"_s));
    EXPECT_EQ(TagReader::read(QUrl::fromLocalFile(other)), std::nullopt);
    writeFile(folder.filePath(u"not audio.mp3"_s), "this is plain text, not an MPEG stream at all");
    EXPECT_EQ(TagReader::read(QUrl::fromLocalFile(folder.filePath(u"not audio.mp3"_s))), std::nullopt);
    EXPECT_EQ(TagReader::read(QUrl::fromLocalFile(folder.filePath(u"missing.flac"_s))), std::nullopt);
}

TEST(TagReader, NeverCrashesOnDamagedOrFuzzedFiles)
{
    QTemporaryDir folder;
    int read = 0;
    QDirIterator files(AudioFixtures::samplePath(QString()), QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString source = files.next();
        // Each sample under each accepted extension: the reader must not trust the name.
        for (const QString& extension : {u"flac"_s, u"mp3"_s, u"m4a"_s, u"ogg"_s, u"opus"_s, u"wav"_s, u"aiff"_s}) {
            const QString copy = folder.filePath(u"probe."_s + extension);
            QFile::remove(copy);
            QFile::copy(source, copy);
            if (TagReader::read(QUrl::fromLocalFile(copy)))
                ++read;
        }
    }
    EXPECT_GT(read, 50);
}

TEST(TagWriter, ReportsEachFailureInWordsAndLeavesTheFileAlone)
{
    QTemporaryDir folder;
    Track track = makeTrack(u"Song"_s);
    track.url = QUrl::fromLocalFile(folder.filePath(u"gone.flac"_s));
    const auto missing = writeError(track);
    ASSERT_TRUE(missing.has_value());
    EXPECT_EQ(missing->kind(), WriteError::Kind::fileNotFound);
    EXPECT_TRUE(missing->message().contains(u"could not be found"_s));
    EXPECT_THROW(TagWriter::writeArtwork(track.url, AudioFixtures::pngBytes(), u"image/png"_s), WriteError);

    writeFile(folder.filePath(u"text.flac"_s), "plain text");
    track.url = QUrl::fromLocalFile(folder.filePath(u"text.flac"_s));
    const auto invalid = writeError(track);
    ASSERT_TRUE(invalid.has_value());
    EXPECT_EQ(invalid->kind(), WriteError::Kind::invalidFile);
    EXPECT_EQ(readFile(folder.filePath(u"text.flac"_s)), "plain text");

    if (::geteuid() == 0)
        return; // file permissions do not bind the super-user
    track.url = QUrl::fromLocalFile(AudioFixtures::copySample(u"taglib/sinewave.flac"_s, folder.filePath(u"locked.flac"_s)));
    QFile::setPermissions(track.path(), QFile::ReadOwner);
    const auto locked = writeError(track);
    ASSERT_TRUE(locked.has_value());
    EXPECT_EQ(locked->kind(), WriteError::Kind::saveFailed);
}

TEST(TagWriter, KeepsWhatElseTheFileHolds)
{
    QTemporaryDir folder;
    const QString path = AudioFixtures::copySample(u"taglib/itunes10.mp3"_s, folder.filePath(u"i.mp3"_s));
    const auto before = TagReader::read(QUrl::fromLocalFile(path));
    Track track = Track::fromFile(QUrl::fromLocalFile(path), *before);
    track.title = u"Renamed"_s;
    TagWriter::write(track);
    EXPECT_EQ(firstValue(path, "COMPOSER"), "Composer");
    EXPECT_EQ(firstValue(path, "LYRICS"), "Lyrics");
    EXPECT_EQ(TagReader::read(track.url)->artworkData, before->artworkData);
    EXPECT_EQ(TagReader::read(track.url)->title, u"Renamed"_s);
}

TEST(TagWriter, AnId3TagKeepsItsVersionAndTextBeyondLatin1)
{
    QTemporaryDir folder;
    const auto id3Version = [](const QString& path) {
        TagLib::MPEG::File file(QFile::encodeName(path).constData(), false);
        return file.hasID3v2Tag() ? int(file.ID3v2Tag()->header()->majorVersion()) : 0;
    };
    const QString older = AudioFixtures::copySample(u"mutagen/silence-44-s.mp3"_s, folder.filePath(u"23.mp3"_s));
    const QString untagged = AudioFixtures::copySample(u"taglib/xing.mp3"_s, folder.filePath(u"none.mp3"_s));
    ASSERT_EQ(id3Version(older), 3);
    // Decomposed accents, an ideograph, an emoji: 2.3 stores them as UTF-16, 2.4 as UTF-8.
    const QString title = u"Cafe\u0301 \u6771\u4eac \U0001F3B5"_s;
    for (const QString& path : {older, untagged}) {
        Track track = Track::fromFile(QUrl::fromLocalFile(path), *TagReader::read(QUrl::fromLocalFile(path)));
        track.title = title;
        track.customTags = {{u"Stimmung"_s, u"gru\u0308n"_s}};
        TagWriter::write(track);
        const auto read = TagReader::read(track.url);
        EXPECT_EQ(read->title, title) << path.toStdString();
        EXPECT_EQ(read->customTags, track.customTags) << path.toStdString();
    }
    EXPECT_EQ(id3Version(older), 3) << "many players read 2.3 alone";
    EXPECT_EQ(id3Version(untagged), 4) << "a new tag is 2.4";
}

TEST(TagReader, PassesOverWhatIsNotARegularFile)
{
    QTemporaryDir folder;
    const QString pipe = folder.filePath(u"pipe.mp3"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    EXPECT_EQ(TagReader::read(QUrl::fromLocalFile(pipe)), std::nullopt) << "opening it would wait for a writer";
    ASSERT_TRUE(QDir().mkpath(folder.filePath(u"folder.flac"_s)));
    EXPECT_EQ(TagReader::read(QUrl::fromLocalFile(folder.filePath(u"folder.flac"_s))), std::nullopt);
}
