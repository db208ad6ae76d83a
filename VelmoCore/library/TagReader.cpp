#include "TagReader.h"

#include "NumberParsing.h"
#include "TagFile.h"
#include "TagPictures.h"
#include "TagProperties.h"
#include "ReplayGain.h"

#include <QFileInfo>

#include <taglib/audioproperties.h>
#include <taglib/tag.h>

namespace TagReader {

std::optional<TrackMetadata> read(const QUrl& url)
{
    const auto format = audioFormatFromURL(url);
    if (!format)
        return std::nullopt;
    // Only a regular file: opening a named pipe would wait for a writer for ever.
    const QString path = url.toLocalFile();
    if (!QFileInfo(path).isFile())
        return std::nullopt;
    TagFile file(path, TagFile::Access::read);
    if (!file.isValid())
        return std::nullopt;

    using namespace TagProperties;
    const TagLib::Tag& tag = file.tag();
    const TagLib::PropertyMap properties = file.properties();
    const auto property = [&properties](const TagLib::String& name) { return first(properties, name); };

    TrackMetadata metadata;
    metadata.format = *format;
    metadata.title = toQString(tag.title());
    metadata.artist = toQString(tag.artist());
    metadata.album = toQString(tag.album());
    metadata.genre = toQString(tag.genre());
    metadata.albumArtist = property(albumArtist).value_or(metadata.artist);
    if (const auto disc = property(discNumber))
        metadata.discNumber = NumberParsing::strictInteger(*disc);
    metadata.externalID = property(musicBrainzTrackID);
    if (!metadata.externalID)
        metadata.externalID = property(velmoTrackID);
    metadata.releaseMBID = property(musicBrainzAlbumID);
    metadata.releaseGroupMBID = property(musicBrainzReleaseGroupID);
    if (const auto beats = property(bpm))
        metadata.bpm = NumberParsing::roundedNumber(*beats);

    if (file.isOpus()) {
        metadata.replayGainTrack = ReplayGain::fromOpusGain(property(r128TrackGain).value_or(QString()));
        metadata.replayGainAlbum = ReplayGain::fromOpusGain(property(r128AlbumGain).value_or(QString()));
    } else {
        metadata.replayGainTrack = ReplayGain::parseGain(property(replayGainTrackGain).value_or(QString()));
        metadata.replayGainAlbum = ReplayGain::parseGain(property(replayGainAlbumGain).value_or(QString()));
    }

    for (const QString& key : splitKeys(property(customKeys).value_or(QString()))) {
        if (const auto value = first(properties, customPropertyName(key)))
            metadata.customTags.insert(key, *value);
    }

    if (const TagLib::AudioProperties* audio = file.audioProperties()) {
        metadata.duration = audio->lengthInSeconds();
        if (audio->bitrate() > 0)
            metadata.bitrate = audio->bitrate();
        if (audio->sampleRate() > 0)
            metadata.sampleRate = audio->sampleRate();
    }
    metadata.artworkData = TagPictures::front(file.file());
    if (tag.year() != 0)
        metadata.year = tag.year();
    if (tag.track() != 0)
        metadata.trackNumber = tag.track();
    return metadata;
}

} // namespace TagReader
