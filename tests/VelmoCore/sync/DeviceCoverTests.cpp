#include "library/BlockingWait.h"
#include "library/ImageType.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"
#include "platform/ImageScaling.h"
#include "support/EncodedAudio.h"
#include "support/TestEnvironment.h"
#include "support/TestImages.h"
#include "sync/SyncEngine.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray digest(const QString& path)
{
    return QCryptographicHash::hash(readFile(path), QCryptographicHash::Sha256).toHex();
}

// A library of one album as a collector has it: a FLAC and an MP3 of 128 kbps, each with a
// 3000 px PNG cover, as stores sell them.
class DeviceCoverTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        const QByteArray cover = TestImages::png(3000, 3000);
        for (const QString& title : {u"Lossless"_s, u"Lossy"_s}) {
            const QString path = library.filePath(title + (title == u"Lossy"_s ? u".mp3"_s : u".flac"_s));
            EncodedAudio::write(EncodedAudio::music(unsigned(tracks.size()), 1.0), path, 128000);
            const QUrl url = QUrl::fromLocalFile(path);
            TagWriter::writeArtwork(url, cover, u"image/png"_s);
            Track track = Track::fromFile(url, *TagReader::read(url));
            track.title = title;
            track.artist = track.albumArtist = u"Band"_s;
            track.album = u"Album"_s;
            track.artworkData.reset();
            tracks.append(track);
            digests.append(digest(path));
        }
        profile.id = QUuid::createUuid();
        profile.name = u"Player"_s;
        profile.rootPath = device.path();
        profile.folderStructure = FolderStructure::flat;
        profile.syncPlaylists = false;
        engine.setEncoder([this](const QString& source, const QString& destination,
                                 const AudioTranscoding::Target& target) {
            ++encoderRuns;
            AudioTranscoding::transcode(source, destination, target);
        });
    }

    SyncDiff diff() const
    {
        return SyncDiff::compute(tracks, {}, {}, profile, QUrl::fromLocalFile(library.path()), {});
    }

    void sync()
    {
        BlockingWait::wait(engine.sync(diff(), profile, {}, {}, tracks, QUrl::fromLocalFile(library.path()), {}));
    }

    QTemporaryDir library;
    QTemporaryDir device;
    QList<Track> tracks;
    QList<QByteArray> digests;
    DeviceProfile profile;
    SyncEngine engine;
    int encoderRuns = 0;
};

} // namespace

TEST_F(DeviceCoverTest, AnMp3ProfileCopiesTheSmallerMp3TranscodesTheFlacAndFitsBothCovers)
{
    profile.outputFormat = OutputFormat::mp3;
    profile.transcodeBitrate = 320;
    ASSERT_EQ(tracks.at(1).format, AudioFormat::mp3);
    ASSERT_LT(tracks.at(1).bitrate.value_or(999), 160);
    const SyncDiff plan = diff();
    ASSERT_EQ(plan.toAdd.size(), 2);
    EXPECT_EQ(plan.toAdd.at(0).action.description(), u"transcode to MP3 320 kbps"_s);
    EXPECT_EQ(plan.toAdd.at(1).action.description(), u"copy"_s);

    sync();
    EXPECT_EQ(encoderRuns, 1);
    for (const SyncDiff::AddItem& item : plan.toAdd) {
        const std::optional<TrackMetadata> onDevice = TagReader::read(item.destinationURL);
        ASSERT_TRUE(onDevice && onDevice->artworkData) << item.destinationURL.toLocalFile().toStdString();
        EXPECT_EQ(ImageType::mimeType(*onDevice->artworkData), u"image/jpeg"_s);
        EXPECT_EQ(ImageScaling::dimensions(*onDevice->artworkData), (std::pair{500, 500}));
    }
    // The copy keeps its audio and its date, by which the next diff knows it fresh.
    const QString copy = plan.toAdd.at(1).destinationURL.toLocalFile();
    EXPECT_EQ(QFileInfo(copy).lastModified(), QFileInfo(tracks.at(1).path()).lastModified());
    EXPECT_EQ(TagReader::read(QUrl::fromLocalFile(copy))->bitrate, tracks.at(1).bitrate);
    EXPECT_TRUE(diff().toAdd.isEmpty());
    // The library's files are as they were.
    EXPECT_EQ(digest(tracks.at(0).path()), digests.at(0));
    EXPECT_EQ(digest(tracks.at(1).path()), digests.at(1));
}

TEST_F(DeviceCoverTest, TheChosenSizeAppliesAndOriginalLeavesTheCoverAlone)
{
    profile.outputFormat = OutputFormat::mp3;
    profile.coverSize = CoverSize::px300;
    sync();
    EXPECT_TRUE(diff().toAdd.isEmpty());
    const QString transcoded = device.filePath(u"Music/Band - Lossless.mp3"_s);
    EXPECT_EQ(ImageScaling::dimensions(*TagReader::read(QUrl::fromLocalFile(transcoded))->artworkData),
              (std::pair{300, 300}));

    // Keeping the format copies the files byte for byte, cover and all, onto a fresh device.
    ASSERT_TRUE(QDir(device.filePath(u"Music"_s)).removeRecursively());
    profile.outputFormat = OutputFormat::keepSource;
    profile.coverSize.reset();
    sync();
    EXPECT_EQ(digest(device.filePath(u"Music/Band - Lossless.flac"_s)), digests.at(0));
    EXPECT_EQ(digest(device.filePath(u"Music/Band - Lossy.mp3"_s)), digests.at(1));
}

TEST_F(DeviceCoverTest, AlbumFoldersGetACoverFileWhenTheProfileAsksAndKeepTheirOwn)
{
    profile.outputFormat = OutputFormat::aac;
    profile.folderStructure = FolderStructure::artistAlbumTrack;
    sync();
    EXPECT_FALSE(QFileInfo::exists(device.filePath(u"Music/Band/Album/cover.jpg"_s)));

    ASSERT_TRUE(QDir(device.filePath(u"Music"_s)).removeRecursively());
    profile.writeCoverFiles = true;
    sync();
    const QByteArray cover = readFile(device.filePath(u"Music/Band/Album/cover.jpg"_s));
    EXPECT_EQ(ImageType::mimeType(cover), u"image/jpeg"_s);
    EXPECT_EQ(ImageScaling::dimensions(cover), (std::pair{500, 500}));

    // A cover the user put there stays.
    writeFile(device.filePath(u"Music/Band/Album/cover.jpg"_s), "mine");
    QFile::remove(device.filePath(u"Music/Band/Album/Lossy.m4a"_s));
    sync();
    EXPECT_EQ(readFile(device.filePath(u"Music/Band/Album/cover.jpg"_s)), "mine");
}
