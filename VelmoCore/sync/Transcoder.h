#pragma once

#include "DeviceProfile.h"
#include "library/Track.h"
#include "platform/AudioTranscoding.h"

#include <QCoro/QCoroTask>
#include <QString>
#include <QUrl>

#include <optional>
#include <stdexcept>

// One library file into one MP3 or M4A file on a device: decoded, resampled to 44.1 kHz
// stereo and encoded at the bit rate given, then tagged like the track. The file is written
// under a hidden name in the destination's folder and renamed into place only when complete,
// so a failure or a kill never leaves a file that a later diff would take for a good one.
namespace Transcoder {

class TranscodeError : public std::runtime_error {
public:
    // readFailed: the source did not open, decode or ended short. writeFailed: the encoder,
    // the file on the device or its tags.
    enum class Kind { noAudioTrack, readFailed, writeFailed };

    // `source` is the file transcoded, `detail` the reason in words.
    TranscodeError(Kind kind, const QString& source, const QString& detail = {});

    Kind kind() const { return m_kind; }
    const QString& source() const { return m_source; }
    const QString& detail() const { return m_detail; }
    // The sentence the user reads; what() holds it too, in UTF-8.
    QString message() const;

private:
    Kind m_kind;
    QString m_source;
    QString m_detail;
};

// The container, encoder, rate, channels and bit rate for a format. The format must not be
// keepSource, and the bit rate in bit/s must fit: either is a programming error.
AudioTranscoding::Target encoderSettings(OutputFormat format, qint64 bitrateKbps);

// Blocking. With `tags`, the track's fields and identity and its cover (its artworkData, or
// else the source's own picture) are written into the result. An existing destination is
// replaced only on success; what a killed transcode to it left goes first. Throws
// TranscodeError.
void transcodeFile(const QUrl& from, const QUrl& to, OutputFormat format, qint64 bitrateKbps,
                   const std::optional<Track>& tags = std::nullopt);

// transcodeFile on the global thread pool.
QCoro::Task<> transcode(QUrl from, QUrl to, OutputFormat format, qint64 bitrateKbps,
                        std::optional<Track> tags = std::nullopt);

} // namespace Transcoder
