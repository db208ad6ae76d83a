#pragma once

#include "DeviceSyncController.h"

#include <QWidget>

class PlaceholderView;
class QLabel;
class QListWidget;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QToolButton;

// The body of a device's detail: the controller's state in words, its counts, its lists and
// its progress, or the request to connect the device.
class DeviceSyncBody : public QWidget {
    Q_OBJECT

public:
    explicit DeviceSyncBody(QWidget* parent = nullptr);

    // While a run goes on its progress shows whether the device is there or not.
    void showState(const SyncControllerState& state, bool connected, const QString& deviceName);

    // The texts of the page on show, top to bottom, lists left out.
    QStringList texts() const;
    QToolButton* changesToggle() const { return m_toggle; }
    // The open list of changes: section headings and rows, a row as "icon name\ttext".
    QStringList changeRows() const;
    // The items of a run, each as "icon name\tname".
    QStringList itemRows() const;
    QProgressBar* progressBar() const { return m_progress; }
    // "Sync Again" or "Retry".
    QPushButton* againButton() const;

signals:
    // "Sync Again" or "Retry".
    void computeRequested();

private:
    QWidget* makeReadyPage();
    QWidget* makeSyncingPage();
    QWidget* makeEndPage(QLabel*& line, QPushButton*& button, const QString& buttonText);
    void showReady(const SyncDiff& diff);
    void fillChanges();
    void showSyncing(const SyncStates::Syncing& syncing);

    QStackedWidget* m_pages;
    PlaceholderView* m_notConnected;
    QWidget* m_computing;
    QWidget* m_ready;
    QWidget* m_syncing;
    QWidget* m_finished;
    QWidget* m_failed;

    QLabel* m_toAdd = nullptr;
    QLabel* m_toRemove = nullptr;
    QLabel* m_unchanged = nullptr;
    QToolButton* m_toggle = nullptr;
    QListWidget* m_changes = nullptr;
    SyncDiff m_diff;
    bool m_changesFilled = false;

    QLabel* m_syncingLine = nullptr;
    QProgressBar* m_progress = nullptr;
    QLabel* m_currentItem = nullptr;
    QListWidget* m_items = nullptr;
    QList<QUuid> m_shownItems;
    qsizetype m_shownDone = 0;

    QLabel* m_finishedLine = nullptr;
    QPushButton* m_syncAgain = nullptr;
    QLabel* m_failedLine = nullptr;
    QPushButton* m_retry = nullptr;
};
