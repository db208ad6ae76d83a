#pragma once

#include "MetadataHTTPClient.h"
#include "MetadataServiceError.h"
#include "ReleaseMetadata.h"

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUrl>

// Which releases hold a disc, by its MusicBrainz disc ID: the network and JSON side. The
// table of contents behind the ID is read by the disc side, which shares this namespace.
namespace MusicBrainzDiscLookup {

// The sentences are the disc screen's: a failure here is shown where the release list would be.
enum class LookupErrorKind { networkError, tocReadFailed, noMatchFound, parseError };

class LookupError : public MetadataServiceError<LookupErrorKind> {
public:
    using Kind = LookupErrorKind;

    static LookupError networkError(const MetadataHTTPClient::HTTPError& error);
    static LookupError tocReadFailed();
    static LookupError noMatchFound();
    static LookupError parseError();

private:
    using MetadataServiceError::MetadataServiceError;
};

// "/ws/2/discid/<id>" with fmt, inc and the TOC ("1", track count, lead-out, then each
// track's offset, joined by literal plus signs): the same numbers the disc ID is made of.
// Without offsets the TOC is left out, and only the disc ID is asked for.
QUrl lookupURL(const QUrl& musicBrainz, const QString& discID, const QList<qint64>& trackOffsets,
               qint64 leadOutOffset);

// The page of the MusicBrainz site at which a user attaches a disc to a release:
// "/cdtoc/attach" with the TOC as lookupURL writes it, the track count and the disc ID.
QUrl submitURL(const QUrl& site, const QString& discID, const QList<qint64>& trackOffsets, qint64 leadOutOffset);

// The releases of an answer, in the service's order; never empty. Throws LookupError:
// parseError for an answer that isn't a JSON object, noMatchFound for one without releases.
QList<ReleaseMetadata> parseReleases(const QByteArray& body, const QString& discID);

// One release, with the tracks of the medium that holds the disc (the first medium when
// none lists it, or when `discID` is empty). Never fails: holes become defaults.
ReleaseMetadata parseRelease(const QJsonObject& release, const QString& discID);

// Asks the service through `client`. Throws LookupError: a 404 is noMatchFound, any other
// failure of the request networkError.
QCoro::Task<QList<ReleaseMetadata>> fetchReleases(QString discID, QList<qint64> trackOffsets, qint64 leadOutOffset,
                                                  MetadataHTTPClient& client = MetadataHTTPClient::shared());

} // namespace MusicBrainzDiscLookup
