#pragma once

#include <QCoro/QCoroTask>
#include <QWidget>

#include <atomic>
#include <memory>

class Library;
class QCheckBox;
class QLabel;
class QProgressBar;
class QPushButton;

// "Analyse Loudness…" on the Maintenance screen: every track's ReplayGain tags, album by
// album, with progress, a way to stop, and a summary naming the files that did not decode.
class LoudnessPanel : public QWidget {
    Q_OBJECT

public:
    explicit LoudnessPanel(Library& library, QWidget* parent = nullptr);

    QCoro::Task<> analyse();
    void cancel();

    bool isRunning() const { return m_cancelled != nullptr; }
    QString status() const;
    QCheckBox* force() const { return m_force; }

private:
    void setRunning(bool running);

    Library& m_library;
    std::shared_ptr<std::atomic_bool> m_cancelled;

    QCheckBox* m_force;
    QPushButton* m_analyse;
    QPushButton* m_cancel;
    QProgressBar* m_progress;
    QLabel* m_status;
};
