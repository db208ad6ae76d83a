#include "ImportController.h"

#include "library/Background.h"
#include "library/JsonCoding.h"
#include "library/Library.h"
#include "library/LibraryOrganizer.h"
#include "library/Settings.h"
#include "library/TagWriter.h"
#include "library/TrackSignature.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// Puts the file at its place in the library. An occupied place counts as done: the file
// already there is the one the entry will name.
bool placeFile(const QString& source, const QString& destination, bool copy)
{
    if (!QDir().mkpath(QFileInfo(destination).absolutePath()))
        return false;
    if (QFileInfo::exists(destination))
        return true;
    return copy ? QFile::copy(source, destination) : QFile::rename(source, destination);
}

} // namespace

ImportController::ImportController(FolderPicker folderPicker, QObject* parent)
    : QObject(parent)
    , m_folderPicker(std::move(folderPicker))
    , m_copyFiles(Settings::value(Settings::copyImportedFiles))
{
}

ImportStatus ImportController::classify(const Track& track, const QList<Track>& libraryTracks)
{
    const TrackSignature signature(track);
    for (const Track& existing : libraryTracks) {
        const TrackSignature other(existing);
        if (other.key() == signature.key())
            return other.matches(signature) ? ImportStatus::alreadyInLibrary : ImportStatus::possibleDuplicate;
    }
    return ImportStatus::new_;
}

QList<ImportController::AlbumGroup> ImportController::group(const QList<ImportCandidate>& candidates)
{
    QMap<QString, QList<qsizetype>> byKey;
    for (qsizetype i = 0; i < candidates.size(); ++i) {
        const Track& track = candidates.at(i).track;
        const QString artist = track.albumArtist.isEmpty() ? track.artist : track.albumArtist;
        const QString album = track.album.isEmpty() ? u"Unknown Album"_s : track.album;
        byKey[artist + u" — "_s + album].append(i);
    }
    QList<AlbumGroup> groups;
    // QMap keeps its keys in plain text order.
    for (auto it = byKey.begin(); it != byKey.end(); ++it) {
        QList<qsizetype> members = it.value();
        std::stable_sort(members.begin(), members.end(), [&candidates](qsizetype a, qsizetype b) {
            const Track& x = candidates.at(a).track;
            const Track& y = candidates.at(b).track;
            return std::pair(x.discNumber.value_or(0), x.trackNumber.value_or(0))
                 < std::pair(y.discNumber.value_or(0), y.trackNumber.value_or(0));
        });
        groups.append({it.key(), members});
    }
    return groups;
}

QCoro::Task<> ImportController::chooseFolder(Library& library)
{
    const FolderPickerRequest request{
        .message = u"Choose a folder to import music from"_s,
        .prompt = u"Import"_s,
        .startFolder = QDir::homePath(),
        .canCreateFolders = false,
    };
    const auto folder = m_folderPicker(nullptr, request);
    if (!folder)
        co_return;
    co_await scan(library, QUrl::fromLocalFile(*folder));
}

QCoro::Task<> ImportController::scan(Library& library, QUrl folder)
{
    m_library = &library;
    m_isPresented = true;
    m_isScanning = true;
    m_candidates.clear();
    m_importError.reset();
    emit changed();

    QPointer<ImportController> self(this);
    const QList<Track> libraryTracks = library.tracks();
    const auto read = [folder] { return Library::scanFolder(folder); };
    const QList<Track> scanned = co_await Background::run(read);
    if (!self)
        co_return;
    for (const Track& track : scanned) {
        const ImportStatus status = classify(track, libraryTracks);
        m_candidates.append({track, status, status == ImportStatus::new_});
    }
    m_isScanning = false;
    emit changed();
}

void ImportController::setSelected(qsizetype index, bool selected)
{
    if (index < 0 || index >= m_candidates.size() || m_candidates[index].isSelected == selected)
        return;
    m_candidates[index].isSelected = selected;
    emit selectionChanged();
}

void ImportController::selectAll(bool selected)
{
    for (ImportCandidate& candidate : m_candidates) {
        if (candidate.status != ImportStatus::alreadyInLibrary)
            candidate.isSelected = selected;
    }
    emit selectionChanged();
}

qsizetype ImportController::selectedCount() const
{
    return std::count_if(m_candidates.cbegin(), m_candidates.cend(),
                         [](const ImportCandidate& c) { return c.isSelected; });
}

void ImportController::setCopyFiles(bool copy)
{
    m_copyFiles = copy;
    emit changed();
}

QCoro::Task<> ImportController::importSelected()
{
    if (!m_library || m_isImporting || selectedCount() == 0)
        co_return;
    QPointer<ImportController> self(this);
    QPointer<Library> library = m_library;
    const QUrl root = library->rootURL();
    const bool copy = m_copyFiles;
    QList<Track> selected;
    for (const ImportCandidate& candidate : std::as_const(m_candidates)) {
        if (candidate.isSelected)
            selected.append(candidate.track);
    }
    m_isImporting = true;
    m_importProgress = 0;
    m_importError.reset();
    emit changed();

    qsizetype imported = 0;
    for (Track track : selected) {
        const QUrl destination = LibraryOrganizer::canonicalURL(track, root);
        const auto place = [source = track.path(), target = destination.toLocalFile(), copy] {
            return placeFile(source, target, copy);
        };
        const bool placed = co_await Background::run(place);
        if (!self || !library)
            co_return;
        ++m_importProgress;
        emit progressChanged();
        if (!placed)
            continue;
        track.url = destination;
        // Our own id goes into files without a durable one, so that a later move outside the
        // program is recognised. WAV files are left as they came.
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
            if (!self || !library)
                co_return;
        }
        library->add(track);
        ++imported;
    }

    m_isImporting = false;
    if (imported < 1) {
        m_importError = u"No tracks could be imported. The files may already exist at the destination, or the app "
                        u"may lack permission to write to "_s
                      + root.toLocalFile() + u"."_s;
    } else {
        m_importedCount = imported;
        m_isPresented = false;
        m_importComplete = true;
    }
    emit changed();
}

void ImportController::dismiss()
{
    m_isPresented = false;
    emit changed();
}

void ImportController::clearImportComplete()
{
    m_importComplete = false;
    emit changed();
}

void ImportController::clearImportError()
{
    m_importError.reset();
    emit changed();
}
