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

inline constexpr char albumArtist[] = "ALBUMARTIST";
inline constexpr char discNumber[] = "DISCNUMBER";
inline constexpr char musicBrainzTrackID[] = "MUSICBRAINZ_TRACKID";
inline constexpr char velmoTrackID[] = "VELMO_TRACK_ID";
inline constexpr char musicBrainzAlbumID[] = "MUSICBRAINZ_ALBUMID";
inline constexpr char musicBrainzReleaseGroupID[] = "MUSICBRAINZ_RELEASEGROUPID";
inline constexpr char bpm[] = "BPM";
inline constexpr char customKeys[] = "VELMO_CUSTOM_KEYS";

// "VELMO_CUSTOM_" + key. Vorbis comment names allow only printable ASCII without "=", so
// any other character (and "%" itself) is written as %XX of its UTF-8 bytes; plain ASCII
// keys keep their exact name. Names are compared without regard to case in every
// container, so keys that differ only in case share one property.
TagLib::String customPropertyName(const QString& key);

// The key list as stored: split on ",", empty pieces dropped, no trimming.
QStringList splitKeys(const QString& list);

// The first value of a property; none when missing or empty.
std::optional<QString> first(const TagLib::PropertyMap& properties, const TagLib::String& name);

QString toQString(const TagLib::String& string);
TagLib::String toTagLib(const QString& string);
QByteArray toQByteArray(const TagLib::ByteVector& vector);
TagLib::ByteVector toTagLib(const QByteArray& bytes);

} // namespace TagProperties
