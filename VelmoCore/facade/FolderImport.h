#pragma once

#include "library/Track.h"
#include "library/TrackSignature.h"

#include <QCoro/QCoroTask>
#include <QHash>
#include <QList>
#include <QString>
#include <QUrl>

#include <stdexcept>

class Library;

enum class ImportStatus { new_, alreadyInLibrary, possibleDuplicate };

// Bringing files from any folder into the library: the verdict on each file, and the
// placing of one file into the canonical layout. The review sheet and `velmo import` both
// stand on this.
namespace FolderImport {

// The verdict on a file: the first library track with the same text decides, by its
// length; nothing else is consulted. The catalogue is gone through once, so that a whole
// folder is judged against a large one in time linear in both.
class Judge {
public:
    explicit Judge(const QList<Track>& libraryTracks);
    ImportStatus classify(const Track& track) const;

private:
    QHash<TrackSignature::Key, TrackSignature> m_firstOfEachText;
};

// One file alone.
ImportStatus classify(const Track& track, const QList<Track>& libraryTracks);

class ImportError : public std::runtime_error {
public:
    enum class Kind { nameTooLong, folderNotCreated, copyFailed, moveFailed, libraryClosed };

    ImportError(Kind kind, const QString& sentence);

    Kind kind() const { return m_kind; }
    // What the user reads: which file, and why it stayed where it was.
    const QString& message() const { return m_message; }

private:
    Kind m_kind;
    QString m_message;
};

// Copies or moves the file to its canonical place (a place already taken counts as done,
// and the entry then names the file there), stamps our id into the file it placed when that
// has no durable id of its own (WAV files are left as they came, and so is a file that lay
// there already), and adds the track. Throws ImportError when
// the file could not be placed; nothing is added then, and a copy cut short leaves no part.
QCoro::Task<> importTrack(Library& library, Track track, bool copy);

// What the user reads when no file at all could be imported.
QString nothingImportedMessage(const QUrl& root);

} // namespace FolderImport
