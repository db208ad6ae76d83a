#pragma once

#include "Track.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <stdexcept>

// Writes a track's fields, its identity and its picture into the file itself. Blocking:
// callers run it off the main thread, one write per track at a time. Whatever else the
// file holds is kept.
namespace TagWriter {

class WriteError : public std::runtime_error {
public:
    enum class Kind { fileNotFound, invalidFile, saveFailed };

    WriteError(Kind kind, const QString& path);

    Kind kind() const { return m_kind; }
    const QString& path() const { return m_path; }
    // The sentence the user reads.
    QString message() const;

private:
    Kind m_kind;
    QString m_path;
};

// Every tag field of the track, "VELMO_TRACK_ID" always. The MusicBrainz ids are written
// when present and never removed; the custom tags replace the file's own. Throws WriteError.
void write(const Track& track);

// Replaces the file's pictures with one front cover. Empty bytes write nothing: an empty
// picture is no way of deleting artwork. Throws WriteError.
void writeArtwork(const QUrl& url, const QByteArray& data, const QString& mimeType);

// Removes every picture from the file. Throws WriteError.
void removeArtwork(const QUrl& url);

} // namespace TagWriter
