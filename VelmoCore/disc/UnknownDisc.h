#pragma once

#include "DiscTOC.h"
#include "metadata/ReleaseMetadata.h"
#include "platform/CDText.h"

#include <QString>

#include <optional>

// A disc MusicBrainz has no release for, or can't be asked about: the release it is ripped as,
// named by what the disc says of itself and by the user, and kept apart from every other such
// disc. Each of its files carries the disc ID, so that a later lookup can name it.
namespace UnknownDisc {

inline const QString unknownArtist = QStringLiteral("Unknown Artist");
inline const QString unknownAlbum = QStringLiteral("Unknown Album");

// What a disc says of itself: the CD-Text, and for an image the year of its sheet.
struct Names {
    CDText text;
    std::optional<qint64> year;
};

// The names of a drive's disc (its CD-Text) or of an image (its sheet's CD-Text and remarks).
// Blocking; never throws: a source that can't be read has no names.
Names read(const QString& source);

// The release to start from: the names where the disc gives them, else "Unknown Artist",
// "Unknown Album" and "Track N"; lengths come from the table of contents.
ReleaseMetadata release(const DiscTOC& toc, const Names& names = {});

// The release as it is ripped: while one that MusicBrainz didn't give is still called
// "Unknown Album", its title takes the first eight characters of the disc ID ("Unknown Album
// (KnpGsLhv)"), so that no two unknown discs share a folder, an album or a file.
ReleaseMetadata distinct(ReleaseMetadata release, const QString& discID);

} // namespace UnknownDisc
