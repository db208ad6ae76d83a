#pragma once

#include "library/ReconcileReport.h"
#include "library/Track.h"
#include "widgets/Confirmation.h"

#include <QCoro/QCoroTask>
#include <QWidget>

#include <optional>

class DuplicatesPanel;
class LoudnessPanel;
class Library;
class QLabel;
class QPushButton;
class QVBoxLayout;

// The Maintenance screen: scan and reconcile, organise files, fetch artwork, prune playlists,
// find duplicates and analyse loudness, with the report of the last scan and the
// confirmations before missing tracks are removed and before every cover is replaced.
class LibraryMaintenanceView : public QWidget {
    Q_OBJECT

public:
    LibraryMaintenanceView(Library& library, Confirmation confirm = confirmWithDialog, QWidget* parent = nullptr);

    QCoro::Task<> scanAndReconcile();
    QCoro::Task<> organizeFiles();
    QCoro::Task<> fetchMissingArtwork();
    // Asks first: it overwrites every track's picture.
    QCoro::Task<> refetchAllArtwork();
    void prunePlaylistGaps();
    QCoro::Task<> removeMissingTracks();

    const std::optional<ReconcileReport>& report() const { return m_report; }
    bool isRunning() const { return m_isRunning; }
    QString status() const;
    // The lines of the report as shown.
    QStringList reportLines() const;
    DuplicatesPanel* duplicates() const { return m_duplicates; }
    LoudnessPanel* loudness() const { return m_loudness; }

signals:
    void showInSongs(const Track& track);

private:
    QPushButton* addAction(const QString& title, const QString& description, const QString& button);
    void setRunning(bool running);
    void setStatus(const QString& status);
    void showReport();
    // Fetches covers for the tracks without one, or for every track.
    QCoro::Task<> runArtworkPass(bool everyTrack);
    void showArtworkProgress(qsizetype albumsDone, qsizetype albumCount);

    Library& m_library;
    Confirmation m_confirm;
    std::optional<ReconcileReport> m_report;
    bool m_isRunning = false;

    QVBoxLayout* m_sections;
    QPushButton* m_scan;
    QPushButton* m_organize;
    QPushButton* m_fetchArtwork;
    QPushButton* m_refetchArtwork;
    QPushButton* m_prune;
    QPushButton* m_remove;
    QWidget* m_reportBox;
    QVBoxLayout* m_reportLines;
    QLabel* m_status;
    DuplicatesPanel* m_duplicates;
    LoudnessPanel* m_loudness;
};
