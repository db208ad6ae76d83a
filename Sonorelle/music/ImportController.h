#pragma once

#include "facade/FolderImport.h"
#include "library/Track.h"
#include "widgets/FolderPicker.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QUrl>

#include <optional>

class Library;

struct ImportCandidate {
    Track track; // from the scan, with a fresh id
    ImportStatus status = ImportStatus::new_;
    bool isSelected = false; // at the start exactly when new
};

// Brings a folder of music into the library: reads it, judges each file against the
// catalogue, and copies or moves the chosen files into the canonical layout, stamping our
// id into files that have no durable id of their own. Main thread only.
class ImportController : public QObject {
    Q_OBJECT

public:
    // The review sheet's grouping: "Album Artist — Album".
    struct AlbumGroup {
        QString key;
        QList<qsizetype> candidates; // indices into candidates(), in disc and track order
    };

    explicit ImportController(FolderPicker folderPicker = chooseFolderWithDialog, QObject* parent = nullptr);

    bool isPresented() const { return m_isPresented; }
    bool isScanning() const { return m_isScanning; }
    bool isImporting() const { return m_isImporting; }
    const QList<ImportCandidate>& candidates() const { return m_candidates; }
    bool copyFiles() const { return m_copyFiles; }
    bool importComplete() const { return m_importComplete; }
    qsizetype importedCount() const { return m_importedCount; }
    // While importing: how many of the selected candidates have been handled.
    qsizetype importProgress() const { return m_importProgress; }
    const std::optional<QString>& importError() const { return m_importError; }
    // Why the files of the last import that could not be placed were not, one sentence each.
    const QStringList& importFailures() const { return m_importFailures; }

    static QList<AlbumGroup> group(const QList<ImportCandidate>& candidates);

    // Asks for a folder, then reads it. Nothing happens when the user cancels.
    QCoro::Task<> chooseFolder(Library& library);
    QCoro::Task<> scan(Library& library, QUrl folder);

    void setSelected(qsizetype index, bool selected);
    // Ticks or clears every candidate but those already in the library, which only the
    // user's own hand ticks.
    void selectAll(bool selected);
    qsizetype selectedCount() const;
    void setCopyFiles(bool copy);

    // Imports the selected candidates one at a time.
    QCoro::Task<> importSelected();

    void dismiss();
    void clearImportComplete();
    void clearImportError();

signals:
    void changed();
    void selectionChanged();
    void progressChanged();

private:
    FolderPicker m_folderPicker;
    QPointer<Library> m_library;
    bool m_isPresented = false;
    bool m_isScanning = false;
    bool m_isImporting = false;
    QList<ImportCandidate> m_candidates;
    bool m_copyFiles = false;
    bool m_importComplete = false;
    qsizetype m_importedCount = 0;
    qsizetype m_importProgress = 0;
    std::optional<QString> m_importError;
    QStringList m_importFailures;
};
