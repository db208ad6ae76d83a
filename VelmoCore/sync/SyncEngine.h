#pragma once

#include "DeviceProfile.h"
#include "SyncDiff.h"
#include "TranscodeCache.h"
#include "Transcoder.h"
#include "library/Track.h"
#include "playlists/Playlist.h"
#include "playlists/SmartPlaylist.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QObject>
#include <QThreadPool>
#include <QString>
#include <QUrl>

#include <algorithm>
#include <functional>
#include <optional>
#include <stdexcept>

// Carries out a diff on a device: the identity file, the removals, the adds (copies and
// transcodes) and the playlist files, in that order. It decides nothing about what belongs
// there; that is the diff's work. A serial service on the main thread: one run at a time.
//
// A failed add ends the run and its error is thrown as it is: a SyncError for a folder, a
// removal or a copy, a Transcoder::TranscodeError for a transcode. Both have message(), the
// sentence the user reads, and what() holds the same sentence in UTF-8.
class SyncEngine : public QObject {
    Q_OBJECT

public:
    struct Progress {
        qint64 total = 0;
        qint64 completed = 0;
        QString currentItem;

        bool operator==(const Progress&) const = default;
    };

    class SyncError : public std::runtime_error {
    public:
        // needsRepair: the profile holds a setting no sync acts on (`detail` says which).
        // folderFailed: the destination's folder could not be made, or is reached through a
        // link. writeRefused: the destination is a link or not a file. removeFailed: the old
        // file at a destination could not be deleted. copyFailed: the copy did not complete.
        enum class Kind { alreadySyncing, needsRepair, folderFailed, writeRefused, removeFailed, copyFailed };

        // `detail` is the system's reason in words, `path` the file or folder concerned.
        explicit SyncError(Kind kind, const QString& path = {}, const QString& detail = {});

        Kind kind() const { return m_kind; }
        const QString& path() const { return m_path; }
        const QString& detail() const { return m_detail; }
        QString message() const;

    private:
        Kind m_kind;
        QString m_path;
        QString m_detail;
    };

    // Called on the engine's thread (the main thread); it must not block.
    using ProgressHandler = std::function<void(qint64 total, qint64 completed, const QString& currentItem)>;

    explicit SyncEngine(QObject* parent = nullptr);

    // The one the library and the screens use, made on first use.
    static SyncEngine& shared();

    bool isSyncing() const { return m_isSyncing; }

    // How many transcodes run at once; the machine's cores unless set.
    int transcodeWorkers() const { return m_transcodes.maxThreadCount(); }
    void setTranscodeWorkers(int count) { m_transcodes.setMaxThreadCount(std::max(count, 1)); }

    // Removals report after their work (completed 1...n), adds before theirs (completed n+j),
    // so no report reads total. Nothing is written, removed or entered through a symbolic
    // link below the root. Throws SyncError::needsRepair for a profile with a problem() and
    // SyncError::alreadySyncing while a run is under way, both before anything happens,
    // and the first failed add's error after the transcodes then running have finished.
    // Where transcodes are kept for the next device, with the limit of the settings read at
    // each run; none keeps nothing. The shared engine uses the user's cache folder.
    void setTranscodeCacheFolder(std::optional<QString> folder) { m_cacheFolder = std::move(folder); }
    // What encodes: FFmpeg unless set, for tests that count or fail encoder runs.
    void setEncoder(Transcoder::Encoder encoder) { m_encoder = std::move(encoder); }

    QCoro::Task<> sync(SyncDiff diff, DeviceProfile profile, QList<Playlist> playlists,
                       QList<SmartPlaylist> smartPlaylists, QList<Track> allTracks, QUrl libraryRoot,
                       ProgressHandler onProgress);

private:
    bool m_isSyncing = false;
    QThreadPool m_transcodes; // its own, so that copies and other work never wait behind them
    std::optional<QString> m_cacheFolder;
    Transcoder::Encoder m_encoder;
};
