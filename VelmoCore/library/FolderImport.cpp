#include "FolderImport.h"

#include "Background.h"
#include "JsonCoding.h"
#include "Library.h"
#include "LibraryOrganizer.h"
#include "TagWriter.h"
#include "TrackSignature.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>

using namespace Qt::StringLiterals;

namespace FolderImport {

namespace {

bool placeFile(const QString& source, const QString& destination, bool copy)
{
    if (!QDir().mkpath(QFileInfo(destination).absolutePath()))
        return false;
    if (QFileInfo::exists(destination))
        return true;
    return copy ? QFile::copy(source, destination) : QFile::rename(source, destination);
}

} // namespace

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

QCoro::Task<bool> importTrack(Library& library, Track track, bool copy)
{
    QPointer<Library> guarded(&library);
    const QUrl destination = LibraryOrganizer::canonicalURL(track, library.rootURL());
    const auto place = [source = track.path(), target = destination.toLocalFile(), copy] {
        return placeFile(source, target, copy);
    };
    const bool placed = co_await Background::run(place);
    if (!placed || !guarded)
        co_return false;
    track.url = destination;
    // Our own id goes into files without a durable one, so that a later move outside the
    // program is recognised.
    if (!track.externalID && track.format != AudioFormat::wav) {
        track.externalID = Json::uuidString(track.id);
        const auto stamp = [track] {
            try {
                TagWriter::write(track);
            } catch (const TagWriter::WriteError&) {
                // The track is added all the same; its identity then rests on its text.
            }
        };
        co_await Background::run(stamp);
        if (!guarded)
            co_return false;
    }
    guarded->add(track);
    co_return true;
}

QString nothingImportedMessage(const QUrl& root)
{
    return u"No tracks could be imported. The files may already exist at the destination, or the app may lack "
           u"permission to write to "_s
         + root.toLocalFile() + u"."_s;
}

} // namespace FolderImport
