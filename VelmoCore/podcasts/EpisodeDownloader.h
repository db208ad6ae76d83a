#pragma once

#include "Episode.h"
#include "platform/FileSystemSpace.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <QSet>
#include <QUrl>
#include <QUuid>

#include <chrono>
#include <functional>
#include <optional>
#include <stdexcept>

// Brings one episode's enclosure into a folder and names the file. It knows nothing of the
// library: the states and the choice of folder are Library::downloadEpisode's. A serial
// service on the main thread: any number of episodes may be in transfer at once, but never
// the same one twice.
class EpisodeDownloader : public QObject {
    Q_OBJECT

public:
    class DownloadError : public std::runtime_error {
    public:
        // noLocalFile is never raised. unsupportedAddress: an enclosure that is not an http or
        // https address is not fetched, so that a feed cannot make the program copy local files.
        // httpError: the server answered with an error status, or sent the transfer on to an
        // address that is not a web address; its page is not an episode.
        enum class Kind { networkError, alreadyDownloading, noLocalFile, unsupportedAddress, fileError, httpError };

        // The cause of a network or file error; for a file error, its path too.
        DownloadError(Kind kind, const QString& detail = {}, const QString& path = {});

        Kind kind() const { return m_kind; }
        const QString& detail() const { return m_detail; }
        const QString& path() const { return m_path; }
        QString message() const;

    private:
        Kind m_kind;
        QString m_detail;
        QString m_path;
    };

    struct Options {
        // A server that sends less than this in `window` is given up on: one that trickles a
        // byte at a time never falls silent for long enough to time out.
        qint64 minimumBytesPerWindow = 16 * 1024;
        std::chrono::milliseconds window = std::chrono::minutes(1);
        // A download never leaves its file system with less free than this, or than 5 % of the
        // file system where that is less: an enclosure that never ends must not fill the disk.
        qint64 reservedBytes = qint64(1) << 30;
        // Asked before every write; FileSystemSpace::of when empty.
        std::function<std::optional<FileSystemSpace>(const QString& path)> freeSpace;
    };

    explicit EpisodeDownloader(QObject* parent = nullptr);
    explicit EpisodeDownloader(Options options, QObject* parent = nullptr);

    // The one the library uses, made on first use.
    static EpisodeDownloader& shared();

    // Streams the enclosure to a temporary file in `folder` (created when missing) and puts it
    // in place only when complete, replacing an earlier download; returns the file's address.
    // The name is the title's, with " (2)", " (3)", … before the extension when the plain one
    // is among `takenPaths` (the files of other episodes) or is the target of another transfer
    // in progress. A transfer that stops short, is too slow, would take the disk's reserve or
    // is answered with an HTTP error leaves nothing behind. `onProgress` gets fractions in
    // 0...1 on this object's thread, and only when the server gave the length. Throws
    // DownloadError.
    QCoro::Task<QUrl> download(Episode episode, QUrl folder, std::function<void(double)> onProgress,
                               QSet<QString> takenPaths = {});

    bool isDownloading(const QUuid& episodeID) const { return m_inFlight.contains(episodeID); }

private:
    Options m_options;
    QSet<QUuid> m_inFlight;
    QSet<QString> m_inFlightTargets;
};
