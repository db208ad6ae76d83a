#include "Track.h"

#include "FilePaths.h"
#include "JsonCoding.h"

using namespace Qt::StringLiterals;

Track Track::fromFile(const QUrl& url, const TrackMetadata& m)
{
    Track track;
    track.id = QUuid::createUuid();
    track.url = url;
    track.title = m.title.isEmpty() ? FilePaths::baseName(url.path()) : m.title;
    track.artist = m.artist;
    track.albumArtist = m.albumArtist;
    track.album = m.album;
    track.genre = m.genre;
    track.year = m.year;
    track.trackNumber = m.trackNumber;
    track.discNumber = m.discNumber;
    track.duration = m.duration;
    track.format = m.format;
    track.bitrate = m.bitrate;
    track.sampleRate = m.sampleRate;
    track.dateAdded = Date::now();
    track.externalID = m.externalID;
    track.releaseMBID = m.releaseMBID;
    track.releaseGroupMBID = m.releaseGroupMBID;
    track.bpm = m.bpm;
    track.customTags = m.customTags;
    track.replayGainTrack = m.replayGainTrack;
    track.replayGainAlbum = m.replayGainAlbum;
    track.artworkData = m.artworkData;
    return track;
}

Track Track::preservingIdentity(const Track& old) const
{
    Track merged = *this;
    merged.id = old.id;
    merged.dateAdded = old.dateAdded;
    merged.customTags = old.customTags;
    return merged;
}

void Track::writeJson(JsonWriter& w) const
{
    w.beginObject();
    Json::writeUuid(w, "id"_L1, id);
    Json::writeUrl(w, "url"_L1, url);
    w.field("title"_L1, title);
    w.field("artist"_L1, artist);
    w.field("albumArtist"_L1, albumArtist);
    w.field("album"_L1, album);
    w.field("genre"_L1, genre);
    Json::writeIfPresent(w, "year"_L1, year);
    Json::writeIfPresent(w, "trackNumber"_L1, trackNumber);
    Json::writeIfPresent(w, "discNumber"_L1, discNumber);
    w.field("duration"_L1, duration);
    w.field("format"_L1, rawValue(format));
    Json::writeIfPresent(w, "bitrate"_L1, bitrate);
    Json::writeIfPresent(w, "sampleRate"_L1, sampleRate);
    Json::writeDate(w, "dateAdded"_L1, dateAdded);
    Json::writeIfPresent(w, "externalID"_L1, externalID);
    Json::writeIfPresent(w, "releaseMBID"_L1, releaseMBID);
    Json::writeIfPresent(w, "releaseGroupMBID"_L1, releaseGroupMBID);
    Json::writeIfPresent(w, "bpm"_L1, bpm);
    w.key("customTags"_L1);
    w.beginObject();
    for (auto it = customTags.cbegin(); it != customTags.cend(); ++it)
        {
            w.key(it.key());
            w.value(it.value());
        }
    w.endObject();
    Json::writeIfPresent(w, "replayGainTrack"_L1, replayGainTrack);
    Json::writeIfPresent(w, "replayGainAlbum"_L1, replayGainAlbum);
    w.endObject();
}

Track Track::fromJson(const JsonObject& o)
{
    Track track;
    track.id = Json::requireUuid(o, "id"_L1);
    track.url = Json::requireUrl(o, "url"_L1);
    track.title = Json::requireString(o, "title"_L1);
    track.artist = Json::requireString(o, "artist"_L1);
    track.albumArtist = Json::requireString(o, "albumArtist"_L1);
    track.album = Json::requireString(o, "album"_L1);
    track.genre = Json::requireString(o, "genre"_L1);
    track.year = Json::optionalInteger(o, "year"_L1);
    track.trackNumber = Json::optionalInteger(o, "trackNumber"_L1);
    track.discNumber = Json::optionalInteger(o, "discNumber"_L1);
    track.duration = Json::requireNumber(o, "duration"_L1);
    track.format = Json::requireEnum<AudioFormat>(o, "format"_L1);
    track.bitrate = Json::optionalInteger(o, "bitrate"_L1);
    track.sampleRate = Json::optionalInteger(o, "sampleRate"_L1);
    track.dateAdded = Json::requireDate(o, "dateAdded"_L1);
    track.externalID = Json::optionalString(o, "externalID"_L1);
    track.releaseMBID = Json::optionalString(o, "releaseMBID"_L1);
    track.releaseGroupMBID = Json::optionalString(o, "releaseGroupMBID"_L1);
    track.bpm = Json::optionalInteger(o, "bpm"_L1);
    // Files written before custom tags existed have no key: they still load.
    if (const auto tags = Json::optional(o, "customTags"_L1)) {
        for (const JsonObject::Member& tag : Json::toObject(*tags, "customTags"_L1))
            track.customTags.insert(tag.key(), Json::toString(tag.value, "customTags"_L1));
    }
    for (const auto& [key, gain] : {std::pair{"replayGainTrack"_L1, &track.replayGainTrack},
                                    std::pair{"replayGainAlbum"_L1, &track.replayGainAlbum}}) {
        if (const auto value = Json::optional(o, key))
            *gain = Json::toNumber(*value, key);
    }
    return track;
}
