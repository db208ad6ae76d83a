#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <taglib/tbytevector.h>
#include <taglib/tpropertymap.h>
#include <taglib/tstring.h>

#include <optional>

// The property vocabulary by which a Track's fields live in a file's tags, shared by the
// reader and the writer, with the conversions between Qt's and TagLib's strings.
namespace TagProperties {

// Made once: a scan looks each of them up in every file. Upper-case, as property names are
// kept in a PropertyMap.
inline const TagLib::String albumArtist = "ALBUMARTIST";
inline const TagLib::String discNumber = "DISCNUMBER";
inline const TagLib::String musicBrainzTrackID = "MUSICBRAINZ_TRACKID";
inline const TagLib::String velmoTrackID = "VELMO_TRACK_ID";
inline const TagLib::String musicBrainzAlbumID = "MUSICBRAINZ_ALBUMID";
inline const TagLib::String musicBrainzReleaseGroupID = "MUSICBRAINZ_RELEASEGROUPID";
inline const TagLib::String bpm = "BPM";
inline const TagLib::String customKeys = "VELMO_CUSTOM_KEYS";
// ReplayGain 2.0, and in Opus files the R128 gains in its stead.
inline const TagLib::String replayGainTrackGain = "REPLAYGAIN_TRACK_GAIN";
inline const TagLib::String replayGainTrackPeak = "REPLAYGAIN_TRACK_PEAK";
inline const TagLib::String replayGainAlbumGain = "REPLAYGAIN_ALBUM_GAIN";
inline const TagLib::String replayGainAlbumPeak = "REPLAYGAIN_ALBUM_PEAK";
inline const TagLib::String r128TrackGain = "R128_TRACK_GAIN";
inline const TagLib::String r128AlbumGain = "R128_ALBUM_GAIN";

// "VELMO_CUSTOM_" + key, upper-cased. Vorbis comment names allow only printable ASCII
// without "=", so any other character (and "%" itself) is written as %XX of its UTF-8
// bytes. Names are compared without regard to case in every container, so keys that differ
// only in case share one property.
TagLib::String customPropertyName(const QString& key);

// The key list as stored: split on ",", empty pieces dropped, no trimming.
QStringList splitKeys(const QString& list);

// The first value of a property; none when missing or empty. `name` is upper-case, as all
// of the above are.
std::optional<QString> first(const TagLib::PropertyMap& properties, const TagLib::String& name);

QString toQString(const TagLib::String& string);
TagLib::String toTagLib(const QString& string);
QByteArray toQByteArray(const TagLib::ByteVector& vector);
TagLib::ByteVector toTagLib(const QByteArray& bytes);

} // namespace TagProperties
