#include "../../support/AudioFixtures.h"
#include "../../support/EncodedAudio.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"
#include "library/Uuid.h"

#include <QFile>
#include <QTemporaryDir>

#include <taglib/aifffile.h>
#include <taglib/fileref.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/textidentificationframe.h>
#include <taglib/tpropertymap.h>
#include <taglib/wavfile.h>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// −7.53 dB and −6.00 dB towards −18 LUFS; −3207 and −2816 in Q7.8 towards −23.
const ReplayGain::Values values{-10.474, 0.98855312, -12.0, 1.0};

QString text(const TagLib::String& string)
{
    return QString::fromStdString(string.to8Bit(true));
}

// The fields as a mutagen-style dump names them: "REPLAYGAIN_TRACK_GAIN" in Xiph comments,
// "TXXX:REPLAYGAIN_TRACK_GAIN" in ID3v2, "----:com.apple.iTunes:replaygain_track_gain" in MP4.
QMap<QString, QString> rawFields(const QString& path)
{
    QMap<QString, QString> fields;
    const QByteArray name = QFile::encodeName(path);
    const auto fromID3v2 = [&fields](TagLib::ID3v2::Tag* tag) {
        if (!tag)
            return;
        for (TagLib::ID3v2::Frame* frame : tag->frameList("TXXX")) {
            const auto* user = dynamic_cast<TagLib::ID3v2::UserTextIdentificationFrame*>(frame);
            if (user && user->fieldList().size() > 1)
                fields.insert(u"TXXX:"_s + text(user->description()), text(user->fieldList()[1]));
        }
    };
    if (path.endsWith(u".mp3"_s)) {
        TagLib::MPEG::File file(name.constData());
        EXPECT_FALSE(file.hasAPETag()) << "ReplayGain goes into ID3v2 alone";
        fromID3v2(file.ID3v2Tag());
    } else if (path.endsWith(u".wav"_s)) {
        TagLib::RIFF::WAV::File file(name.constData());
        fromID3v2(file.ID3v2Tag());
    } else if (path.endsWith(u".aiff"_s)) {
        TagLib::RIFF::AIFF::File file(name.constData());
        fromID3v2(file.tag());
    } else if (path.endsWith(u".m4a"_s)) {
        TagLib::MP4::File file(name.constData());
        for (const auto& [atom, item] : file.tag()->itemMap()) {
            if (atom.startsWith("----:"))
                fields.insert(text(atom), text(item.toStringList().toString()));
        }
    } else {
        const TagLib::FileRef file(name.constData());
        for (const auto& [key, list] : file.file()->properties())
            fields.insert(text(key), text(list.toString()));
    }
    return fields;
}

class ReplayGainTagTest : public ::testing::TestWithParam<QString> {
protected:
    QString makeFile()
    {
        const QString extension = GetParam();
        const QString path = folder.filePath(u"song."_s + extension);
        if (extension == u"aiff")
            return AudioFixtures::writeSilentAiff(path, 1.0);
        if (extension == u"opus")
            return EncodedAudio::write(EncodedAudio::music(1, 2.0), 2, 48000, path, 96000);
        return EncodedAudio::write(EncodedAudio::music(1, 2.0), 2, EncodedAudio::sampleRate, path);
    }

    QTemporaryDir folder;
};

} // namespace

TEST_P(ReplayGainTagTest, GainsGoIntoTheContainersUsualFieldsAndReadBack)
{
    const QString path = makeFile();
    Track track;
    track.id = QUuid::createUuid();
    track.url = QUrl::fromLocalFile(path);
    track.title = u"Song"_s;
    track.artist = u"Artist"_s;
    track.album = u"Album"_s;
    track.customTags = {{u"MOOD"_s, u"calm"_s}};
    TagWriter::write(track);

    TagWriter::writeReplayGain(path, values);
    const std::optional<TrackMetadata> read = TagReader::read(track.url);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->replayGainTrack, -7.53);
    EXPECT_EQ(read->replayGainAlbum, -6.0);
    EXPECT_EQ(read->title, u"Song"_s);
    EXPECT_EQ(read->externalID, Uuid::text(track.id)) << "the durable id stays";
    EXPECT_EQ(read->customTags, track.customTags);

    const QMap<QString, QString> fields = rawFields(path);
    const bool opus = GetParam() == u"opus";
    const bool id3 = GetParam() == u"mp3" || GetParam() == u"wav" || GetParam() == u"aiff";
    const auto field = [&](const QString& name) {
        if (id3)
            return fields.value(u"TXXX:"_s + name);
        if (GetParam() == u"m4a")
            return fields.value(u"----:com.apple.iTunes:"_s + name.toLower());
        return fields.value(name);
    };
    if (opus) {
        EXPECT_EQ(field(u"R128_TRACK_GAIN"_s), u"-3207"_s);
        EXPECT_EQ(field(u"R128_ALBUM_GAIN"_s), u"-2816"_s);
        EXPECT_FALSE(fields.contains(u"REPLAYGAIN_TRACK_GAIN"_s)) << "an Opus player would apply both";
    } else {
        EXPECT_EQ(field(u"REPLAYGAIN_TRACK_GAIN"_s), u"-7.53 dB"_s) << qPrintable(QStringList(fields.keys()).join(u' '));
        EXPECT_EQ(field(u"REPLAYGAIN_TRACK_PEAK"_s), u"0.988553"_s);
        EXPECT_EQ(field(u"REPLAYGAIN_ALBUM_GAIN"_s), u"-6.00 dB"_s);
        EXPECT_EQ(field(u"REPLAYGAIN_ALBUM_PEAK"_s), u"1.000000"_s);
    }

    // Measured again as a track of no album: the album's values go, the track's change.
    TagWriter::writeReplayGain(path, ReplayGain::Values{-20.0, 0.5, std::nullopt, std::nullopt});
    const std::optional<TrackMetadata> again = TagReader::read(track.url);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->replayGainTrack, 2.0);
    EXPECT_EQ(again->replayGainAlbum, std::nullopt);
    const QMap<QString, QString> after = rawFields(path);
    for (const QString& name : after.keys())
        EXPECT_FALSE(name.contains(u"album_"_s, Qt::CaseInsensitive)) << qPrintable(name);
    EXPECT_EQ(after.size(), fields.size() - (opus ? 1 : 2)) << "one field per value, no duplicates";
}

INSTANTIATE_TEST_SUITE_P(EveryFormat, ReplayGainTagTest,
                         ::testing::Values(u"flac"_s, u"mp3"_s, u"m4a"_s, u"ogg"_s, u"opus"_s, u"wav"_s, u"aiff"_s),
                         [](const auto& param) { return param.param.toStdString(); });

TEST(ReplayGainTags, AFileThatIsNotAudioIsRefused)
{
    QTemporaryDir folder;
    const QString path = folder.filePath(u"notes.flac"_s);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("not audio");
    file.close();
    try {
        TagWriter::writeReplayGain(path, values);
        FAIL();
    } catch (const TagWriter::WriteError& error) {
        EXPECT_EQ(error.kind(), TagWriter::WriteError::Kind::invalidFile);
    }
}
