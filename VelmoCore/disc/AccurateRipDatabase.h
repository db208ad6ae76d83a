#pragma once

#include "AccurateRipID.h"
#include "TrackChecksums.h"
#include "metadata/MetadataHTTPClient.h"
#include "metadata/MetadataServiceError.h"

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QList>
#include <QString>

#include <optional>

// The AccurateRip database's answer for a disc (a "dBAR" file) and what it says of a rip.
namespace AccurateRip {

// One track of one pressing: how many submitters agree, their checksum (v1 or v2, the entry
// does not say which) and the checksum of the track's frame 450, which finds read offsets.
struct TrackEntry {
    qint64 confidence = 0;
    quint32 crc = 0;
    quint32 crc450 = 0;

    bool operator==(const TrackEntry&) const = default;
};

// One pressing of the disc: a header that names the disc, then one entry per track.
struct Pressing {
    qint64 trackCount = 0;
    quint32 id1 = 0;
    quint32 id2 = 0;
    quint32 cddb = 0;
    QList<TrackEntry> tracks;

    bool operator==(const Pressing&) const = default;
};

enum class ErrorKind { truncated, wrongDisc, tooLarge, networkError };

class Error : public MetadataServiceError<ErrorKind> {
public:
    using Kind = ErrorKind;

    static Error truncated();
    static Error wrongDisc(const QString& expected, const QString& found);
    static Error tooLarge();
    static Error networkError(const MetadataHTTPClient::HTTPError& error);

private:
    using MetadataServiceError::MetadataServiceError;
};

// Far more pressings than the database holds for any disc: a larger answer is no answer.
constexpr qsizetype largestAnswer = 4 * 1024 * 1024;

// The pressings of a dBAR file, in its order; 13 header bytes (track count, then id1, id2
// and the CDDB id, little-endian) and 9 bytes per track (confidence, CRC, frame-450 CRC).
// Throws Error truncated when the bytes end inside a pressing, wrongDisc when `disc` is
// given and a header names another one, and tooLarge past `largestAnswer`.
QList<Pressing> parse(const QByteArray& data, const std::optional<AccurateRipID>& disc = std::nullopt);

// Asks the service configured as "accurateRip" in services.conf. A disc the database does not
// know (404) gives no pressings; other failures throw Error.
QCoro::Task<QList<Pressing>> fetch(AccurateRipID disc, MetadataHTTPClient& client = MetadataHTTPClient::shared());

// What the database says of one ripped track.
struct Verdict {
    // damaged: the file has a frame that does not decode or ends short, so no sum over it is true.
    enum class Outcome { accurate, notInDatabase, mismatch, damaged, unchecked };

    Outcome outcome = Outcome::unchecked;
    qint64 confidence = 0; // of the matching entry
    int version = 0; // 1 or 2: which checksum matched
    qint64 pressings = 0; // that know the track, when none matched
    bool reread = false; // the track was read a second time with the paranoia reader
    QString reason; // why it could not be checked, or where it is damaged

    bool matched() const { return outcome == Outcome::accurate; }
    // "accurately ripped (confidence 12, v2)", "not in the database",
    // "does not match (3 pressings known)", "damaged: cannot be verified (…)", "not checked: …".
    QString text() const;

    bool operator==(const Verdict&) const = default;
};

// `discTrack` counts from 0 over every track of the disc, data tracks included. Of several
// matching entries the most confident wins.
Verdict verify(const TrackChecksums& checksums, const QList<Pressing>& pressings, qint64 discTrack);

// "11 of 12 tracks verified by AccurateRip"; empty when none could be checked.
QString summary(const QList<Verdict>& verdicts);

} // namespace AccurateRip
