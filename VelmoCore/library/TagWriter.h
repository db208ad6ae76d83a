#pragma once

#include "ReplayGain.h"
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

// The loudness tags in the container's usual fields: the four ReplayGain ones, or in an Opus
// file R128_TRACK_GAIN and R128_ALBUM_GAIN. Album tags left from before go when the values
// have none. Nothing else in the file changes. Throws WriteError.
void writeReplayGain(const QString& path, const ReplayGain::Values& values);

// Replaces the file's pictures with one front cover. Empty bytes write nothing: an empty
// picture is no way of deleting artwork. Throws WriteError.
void writeArtwork(const QUrl& url, const QByteArray& data, const QString& mimeType);

// Removes every picture from the file. Throws WriteError.
void removeArtwork(const QUrl& url);

} // namespace TagWriter
