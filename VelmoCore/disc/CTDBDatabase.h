#pragma once

#include "CTDBTOC.h"
#include "metadata/MetadataHTTPClient.h"
#include "metadata/MetadataServiceError.h"

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QList>
#include <QString>
#include <QUrl>

// The CUETools database's answer for a disc: the rips submitted for it, each with the CRC of
// the whole disc and, for newer ones, of each track. Sonorelle only asks; it submits nothing.
namespace CTDB {

// One rip of the disc as the database keeps it.
struct Entry {
    qint64 id = 0;
    quint32 crc32 = 0; // of the whole disc
    qint64 confidence = 0; // submissions that agree with it
    QList<quint32> trackCRCs; // one per audio track of `toc`, or none
    QString toc; // the entry's own disc, in the form of the lookup's `toc=`
    qint64 stride = 0; // samples
    qint64 npar = 0; // parity symbols of its recovery record

    bool operator==(const Entry&) const = default;
};

enum class ErrorKind { malformed, tooLarge, networkError };

class Error : public MetadataServiceError<ErrorKind> {
public:
    using Kind = ErrorKind;

    static Error malformed(const QString& detail);
    static Error tooLarge();
    static Error networkError(const MetadataHTTPClient::HTTPError& error);

private:
    using MetadataServiceError::MetadataServiceError;
};

// Far more than the database's answer for any disc, with its metadata.
constexpr qsizetype largestAnswer = 1024 * 1024;

// The entries of an answer that have a `toc`, in its order; an answer with none, as for a disc
// known only by its metadata, gives none. Throws Error malformed for what is not such an
// answer, and tooLarge past `largestAnswer`.
QList<Entry> parse(const QByteArray& xml);

// "lookup2.php?version=3&ctdb=1&fuzzy=1&metadata=none&toc=…" below the service's address.
QUrl lookupURL(const CTDBTOC& toc, const QUrl& service);

// Asks the service configured as "ctdb" in services.conf. A disc the database does not know
// (404) gives no entries; other failures throw Error.
QCoro::Task<QList<Entry>> fetch(CTDBTOC toc, MetadataHTTPClient& client = MetadataHTTPClient::shared());

} // namespace CTDB
