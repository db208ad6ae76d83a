#pragma once

#include "DiscTOC.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QString>
#include <QUrl>

#include <functional>
#include <stdexcept>

class DiscRipStrategy;

// Ripping a disc's audio tracks to FLAC, whatever the strategy.
namespace CDRipper {

struct Progress {
    qint64 trackNumber = 0; // 1-based
    qint64 totalTracks = 0;
    double fractionComplete = 0.0; // within this track

    bool operator==(const Progress&) const = default;
};

// May run on any thread: the receiver hops to its own.
using ProgressHandler = std::function<void(const Progress&)>;

class RipError : public std::runtime_error {
public:
    enum class Kind {
        deviceOpenFailed,
        readFailed,
        noAudioTracks,
        encoderInitFailed,
        encoderWriteFailed,
        readsDisagree,
    };

    static RipError deviceOpenFailed(int errorNumber);
    // `sector` on the table of contents' scale, lead-in included.
    static RipError readFailed(int errorNumber, qint64 sector);
    static RipError noAudioTracks();
    static RipError encoderInitFailed();
    // With the system's reason, such as a full disk, when it is known (`errorNumber` not 0).
    static RipError encoderWriteFailed(int errorNumber = 0);
    // A secure rip whose reads of a track never gave the same audio twice.
    static RipError readsDisagree(qint64 trackNumber, int reads);

    Kind kind() const { return m_kind; }
    int errorNumber() const { return m_errorNumber; }
    qint64 sector() const { return m_sector; }
    // The sentence the user reads.
    QString message() const { return m_message; }

private:
    RipError(Kind kind, const QString& message, int errorNumber = 0, qint64 sector = 0);

    Kind m_kind;
    QString m_message;
    int m_errorNumber;
    qint64 m_sector;
};

// "track%02d.flac" of the 1-based track number.
QString trackFileName(qint64 trackNumber);

// Every audio track of `toc` from `source` (a drive name or a CUE sheet) into `outputDirectory`,
// in track order. Throws RipError; the first track that fails ends the rip and leaves its
// partial file for the caller to remove.
QCoro::Task<QList<QUrl>> rip(QString source, DiscTOC toc, QUrl outputDirectory, DiscRipStrategy& strategy,
                             ProgressHandler onProgress);

} // namespace CDRipper
