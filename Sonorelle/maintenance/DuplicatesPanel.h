#pragma once

#include "library/DuplicateFinder.h"
#include "widgets/Confirmation.h"

#include <QCoro/QCoroTask>
#include <QWidget>

class Library;
class QLabel;
class QProgressBar;
class QPushButton;
class QSlider;
class QTreeWidget;

// "Find Duplicates…" on the Maintenance screen: a threshold, the progress of the search, then
// the groups of tracks that sound alike, each track with a way to it and a way out, and the
// files it passed over with the reason.
class DuplicatesPanel : public QWidget {
    Q_OBJECT

public:
    DuplicatesPanel(Library& library, Confirmation confirm, QWidget* parent = nullptr);

    // Hundredths: 90 is a threshold of 0.90. Remembered between runs.
    int thresholdPercent() const;
    void setThresholdPercent(int percent);

    QCoro::Task<> findDuplicates();
    void cancel();
    // Asks first, naming the file.
    QCoro::Task<> moveToTrash(QUuid trackID);

    bool isRunning() const { return m_cancelled != nullptr; }
    const QList<DuplicateFinder::Group>& groups() const { return m_groups; }
    // The files the last search could not listen to, each with the reason in words.
    struct PassedOver {
        Track track;
        QString reason;
    };
    const QList<PassedOver>& passedOver() const { return m_passedOver; }
    QString status() const;
    QTreeWidget* results() const { return m_results; }

signals:
    void showInSongs(const Track& track);

private:
    void setRunning(bool running);
    void showGroups();

    Library& m_library;
    Confirmation m_confirm;
    std::shared_ptr<std::atomic_bool> m_cancelled;
    QList<DuplicateFinder::Group> m_groups;
    QList<PassedOver> m_passedOver;

    QSlider* m_threshold;
    QLabel* m_thresholdValue;
    QPushButton* m_find;
    QPushButton* m_cancel;
    QProgressBar* m_progress;
    QLabel* m_status;
    QTreeWidget* m_results;
};
