#include "ImportController.h"

#include "facade/Library.h"
#include "library/Background.h"
#include "library/Settings.h"

#include <QDir>
#include <QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

ImportController::ImportController(FolderPicker folderPicker, QObject* parent)
    : QObject(parent)
    , m_folderPicker(std::move(folderPicker))
    , m_copyFiles(Settings::value(Settings::copyImportedFiles))
{
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
    m_importFailures.clear();
    emit changed();

    QPointer<ImportController> self(this);
    // Judged beside the scan, against the catalogue as it was when the scan began.
    const auto read = [folder, libraryTracks = library.tracks()] {
        const FolderImport::Judge judge(libraryTracks);
        QList<ImportCandidate> candidates;
        for (const Track& track : Library::scanFolder(folder)) {
            const ImportStatus status = judge.classify(track);
            candidates.append({track, status, status == ImportStatus::new_});
        }
        return candidates;
    };
    QList<ImportCandidate> candidates = co_await Background::run(read);
    if (!self)
        co_return;
    m_candidates = std::move(candidates);
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
    m_importFailures.clear();
    emit changed();

    qsizetype imported = 0;
    QSet<QUuid> importedIDs;
    for (const Track& track : std::as_const(selected)) {
        std::optional<QString> failure;
        try {
            co_await FolderImport::importTrack(*library, track, copy);
        } catch (const FolderImport::ImportError& error) {
            failure = error.message();
        }
        if (!self || !library)
            co_return;
        ++m_importProgress;
        emit progressChanged();
        if (failure) {
            m_importFailures.append(*failure);
        } else {
            ++imported;
            importedIDs.insert(track.id);
        }
    }

    m_isImporting = false;
    if (imported < 1) {
        m_importError = FolderImport::nothingImportedMessage(root);
    } else {
        m_importedCount = imported;
        m_isPresented = false;
        m_importComplete = true;
    }
    emit changed();
    // After the sheet has closed: the tags follow in the background.
    if (!importedIDs.isEmpty() && Settings::value(Settings::analyseLoudnessAfterImport)) {
        QList<Track> tracks;
        for (const Track& track : library->tracks()) {
            if (importedIDs.contains(track.id))
                tracks.append(track);
        }
        const Library::LoudnessOptions options;
        co_await library->analyseLoudness(tracks, options);
    }
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
