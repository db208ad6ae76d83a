#pragma once

#include "Track.h"

#include <QString>
#include <QUrl>

#include <stdexcept>

// The one rule of the library's layout, root/Artist/Album/NN Title.ext, and the one
// name-cleaning rule; folder import, the rip pipeline, "Organize Files" and the podcast
// folders all go through here.
namespace LibraryOrganizer {

class OrganizerError : public std::runtime_error {
public:
    enum class Kind { sourceNotFound, destinationExists, nameTooLong, fileSystem };

    OrganizerError(Kind kind, const QString& path, const QString& detail = {});

    Kind kind() const { return m_kind; }
    const QString& path() const { return m_path; }
    QString message() const;

private:
    Kind m_kind;
    QString m_path;
};

// Replaces / \ : * ? " < > | with "-", removes control characters (a newline or an escape
// from a tag has no place in a file name), and strips dots and blanks from both ends. A name
// of dots alone comes out empty.
QString sanitizePathComponent(const QString& text);

// The longest name most file systems take, in bytes of UTF-8.
inline constexpr qsizetype longestNameBytes = 255;

// `name` shortened to `longestNameBytes` at the end of a whole character, a file name before
// its extension, which it keeps. A name that fits comes back as it is.
QString fittedName(const QString& name, bool isFileName);

// Where the track's file belongs under `root`. Pure: touches nothing on disk. A name that
// cleans to nothing falls back as an empty one does ("Unknown Artist", the file's own name
// without the number this rule put before it, so that organising twice moves nothing the
// second time): a file named ".flac" would be hidden and pass unseen by every scan. Names too
// long are shortened.
QUrl canonicalURL(const Track& track, const QUrl& root);

// Moves the file to its canonical place and returns the track with its new url; a track
// already there is returned unchanged. Blocking; throws OrganizerError.
Track move(const Track& track, const QUrl& root, bool overwrite);

// Throws OrganizerError (nameTooLong) when a folder or file name in the path is longer than
// its file system takes, 255 bytes on most: such a path cannot be made.
void checkNameLengths(const QString& path);

} // namespace LibraryOrganizer
