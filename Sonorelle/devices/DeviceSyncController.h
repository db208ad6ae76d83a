#pragma once

#include "sync/DeviceProfile.h"
#include "sync/SyncDiff.h"
#include "sync/SyncEngine.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QObject>
#include <QUuid>

#include <optional>
#include <variant>

class Library;

// One line of the list shown while a run goes on.
struct SyncItem {
    QUuid id; // fresh for each item
    QString name;
    bool isRemoval = false;
    bool isDone = false;

    bool operator==(const SyncItem&) const = default;
};

namespace SyncStates {

struct Idle {
    bool operator==(const Idle&) const = default;
};
struct ComputingDiff {
    bool operator==(const ComputingDiff&) const = default;
};
struct Ready {
    SyncDiff diff;
    bool operator==(const Ready&) const = default;
};
struct Syncing {
    SyncEngine::Progress progress;
    QList<SyncItem> items;
    bool operator==(const Syncing&) const = default;
};
struct Finished {
    qint64 added = 0;
    qint64 removed = 0;
    bool operator==(const Finished&) const = default;
};
struct Failed {
    QString message;
    bool operator==(const Failed&) const = default;
};

} // namespace SyncStates

using SyncControllerState = std::variant<SyncStates::Idle, SyncStates::ComputingDiff, SyncStates::Ready,
                                         SyncStates::Syncing, SyncStates::Finished, SyncStates::Failed>;

// The state machine behind the device screens: the diff of the chosen profile, the run that
// carries it out, and its progress. One for the window's life, so that a run goes on while
// the user looks elsewhere.
class DeviceSyncController : public QObject {
    Q_OBJECT

public:
    explicit DeviceSyncController(Library& library, QObject* parent = nullptr);

    const SyncControllerState& state() const { return m_state; }
    // The profile being synced; none outside a run, and none after a reset.
    const std::optional<QUuid>& currentProfileID() const { return m_currentProfileID; }
    // The profile whose run goes on, also after a reset took it off the screen: what must not
    // be ejected now.
    const std::optional<QUuid>& runningProfileID() const { return m_runningProfileID; }
    // The profile of the latest diff request.
    const std::optional<QUuid>& lastProfileID() const { return m_lastProfileID; }

    // Off the main thread. Does nothing while a diff is computed or a run goes on; a result
    // for a profile that is no longer the latest asked for is dropped.
    QCoro::Task<> computeDiff(DeviceProfile profile);
    // Runs the diff on show, as it is, then the podcast half. Does nothing outside `ready`.
    // Never throws: a failure ends in `failed` with its sentence.
    QCoro::Task<> startSync(DeviceProfile profile);
    void reset();
    // completed / total while syncing.
    std::optional<double> progressFraction() const;

signals:
    void stateChanged();
    void currentProfileIDChanged();

private:
    void setState(SyncControllerState state);
    void setCurrentProfileID(const std::optional<QUuid>& id);
    void engineReported(qint64 total, qint64 completed, const QString& currentItem);
    // Marks the first `count` items done and shows `progress`, while a run is on show.
    void showProgress(qsizetype doneCount, const SyncEngine::Progress& progress);

    Library& m_library;
    SyncControllerState m_state;
    std::optional<QUuid> m_currentProfileID;
    std::optional<QUuid> m_lastProfileID;
    std::optional<QUuid> m_runningProfileID;
};
