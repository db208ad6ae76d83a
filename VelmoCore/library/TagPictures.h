#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace TagLib {
class File;
}

// The front picture of each container TagLib can hold one in: FLAC picture blocks, ID3v2
// APIC frames (MP3, and the ID3 chunk of WAV and AIFF), MP4 `covr` atoms, and Xiph
// METADATA_BLOCK_PICTURE comments (Ogg Vorbis, Opus, Ogg FLAC). TagLib has no common
// picture interface in this version, so this is the one place that looks at a file's type.
namespace TagPictures {

// The front cover, else the first picture; none when there is no picture or it is empty.
std::optional<QByteArray> front(TagLib::File& file);

// Replaces every picture with one front cover. False when the container holds no pictures.
bool replaceAll(TagLib::File& file, const QByteArray& data, const QString& mimeType);

// Removes every picture. False when the container holds no pictures.
bool removeAll(TagLib::File& file);

} // namespace TagPictures
