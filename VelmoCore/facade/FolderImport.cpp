#include "FolderImport.h"

#include "Library.h"
#include "library/Background.h"
#include "library/JsonCoding.h"
#include "library/LibraryOrganizer.h"
#include "library/TagWriter.h"
#include "library/TrackSignature.h"
#include "library/Uuid.h"
#include "platform/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>

using namespace Qt::StringLiterals;

namespace FolderImport {

namespace {

// An occupied place counts as done, and false says the file there was not put there now.
// A copy is written whole under a temporary name and never over a file that appeared
// meanwhile, so a failed copy (a full disk) leaves nothing behind.
bool placeFile(const QString& source, const QString& destination, bool copy)
{
    try {
        LibraryOrganizer::checkNameLengths(destination);
    } catch (const LibraryOrganizer::OrganizerError& error) {
        throw ImportError(ImportError::Kind::nameTooLong, error.message());
    }
    const QString folder = QFileInfo(destination).absolutePath();
    if (!QDir().mkpath(folder))
        throw ImportError(ImportError::Kind::folderNotCreated, u"The folder “%1” could not be created."_s.arg(folder));
    if (QFileInfo::exists(destination))
        return false;
    if (copy) {
        if (const auto failure = AtomicFile::copy(source, destination, AtomicFile::Existing::keep)) {
            throw ImportError(ImportError::Kind::copyFailed,
                              u"“%1” could not be copied to “%2”: %3"_s.arg(source, destination, *failure));
        }
        return true;
    }
    QFile file(source);
    if (!file.rename(destination)) {
        throw ImportError(ImportError::Kind::moveFailed,
                          u"“%1” could not be moved to “%2”: %3"_s.arg(source, destination, file.errorString()));
    }
    return true;
}

} // namespace

ImportError::ImportError(Kind kind, const QString& sentence)
    : std::runtime_error(sentence.toStdString())
    , m_kind(kind)
    , m_message(sentence)
{
}

Judge::Judge(const QList<Track>& libraryTracks)
{
    m_firstOfEachText.reserve(libraryTracks.size());
    for (const Track& track : libraryTracks) {
        const TrackSignature signature(track);
        if (!m_firstOfEachText.contains(signature.key()))
            m_firstOfEachText.insert(signature.key(), signature);
    }
}

ImportStatus Judge::classify(const Track& track) const
{
    const TrackSignature signature(track);
    const auto first = m_firstOfEachText.constFind(signature.key());
    if (first == m_firstOfEachText.cend())
        return ImportStatus::new_;
    return first->matches(signature) ? ImportStatus::alreadyInLibrary : ImportStatus::possibleDuplicate;
}

ImportStatus classify(const Track& track, const QList<Track>& libraryTracks)
{
    return Judge(libraryTracks).classify(track);
}

QCoro::Task<> importTrack(Library& library, Track track, bool copy)
{
    QPointer<Library> guarded(&library);
    const QUrl destination = LibraryOrganizer::canonicalURL(track, library.rootURL());
    const auto place = [source = track.path(), target = destination.toLocalFile(), copy] {
        return placeFile(source, target, copy);
    };
    const bool placed = co_await Background::run(place);
    const ImportError closed(ImportError::Kind::libraryClosed, u"The library was closed during the import."_s);
    if (!guarded)
        throw closed;
    track.url = destination;
    // Our own id goes into files without a durable one, so that a later move outside the
    // program is recognised; never into a file that lay there already, which is the user's.
    if (placed && !track.externalID && track.format != AudioFormat::wav) {
        track.externalID = Uuid::text(track.id);
        const auto stamp = [track] {
            try {
                TagWriter::write(track);
            } catch (const TagWriter::WriteError&) {
                // The track is added all the same; its identity then rests on its text.
            }
        };
        co_await Background::run(stamp);
        if (!guarded)
            throw closed;
    }
    guarded->add(track);
}

QString nothingImportedMessage(const QUrl& root)
{
    return u"No tracks could be imported. The files may already exist at the destination, or the app may lack "
           u"permission to write to "_s
         + root.toLocalFile() + u"."_s;
}

} // namespace FolderImport
