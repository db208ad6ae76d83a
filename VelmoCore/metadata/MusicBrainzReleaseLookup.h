#pragma once

#include "MetadataHTTPClient.h"
#include "MetadataServiceError.h"
#include "ReleaseCandidate.h"
#include "ReleaseMetadata.h"

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QList>
#include <QString>
#include <QUrl>

#include <optional>

// Finding the release an album in the library belongs to, and reading it whole.
namespace MusicBrainzReleaseLookup {

enum class LookupErrorKind { networkError, noMatchFound, parseError };

class LookupError : public MetadataServiceError<LookupErrorKind> {
public:
    using Kind = LookupErrorKind;

    static LookupError networkError(const MetadataHTTPClient::HTTPError& error);
    static LookupError noMatchFound();
    static LookupError parseError();

private:
    using MetadataServiceError::MetadataServiceError;
};

// "/ws/2/release?query=artist:A AND release:B": the names as separate terms, with every
// double quote removed from them.
QUrl searchURL(const QUrl& musicBrainz, const QString& artist, const QString& album, qint64 limit);
// The releases of one release group.
QUrl browseURL(const QUrl& musicBrainz, const QString& releaseGroupID);
// One release with its artists, recordings and genres.
QUrl releaseURL(const QUrl& musicBrainz, const QString& releaseID);

// The releases of a search or browse answer; those without an ID are left out. Throws
// LookupError::parseError for an answer that isn't an object with a list "releases".
QList<ReleaseCandidate> parseCandidates(const QByteArray& body);

// A release with the tracks of all its media, in order of position, each track carrying its
// medium's position as its disc number. Throws LookupError::parseError, also for an answer
// whose release or any track has no title or no artist credit.
ReleaseMetadata parseFullRelease(const QByteArray& body);

// Each throws LookupError: a 404 is noMatchFound, other failures of the request networkError.
QCoro::Task<QList<ReleaseCandidate>> searchByName(QString artist, QString album, qint64 limit,
                                                  MetadataHTTPClient& client = MetadataHTTPClient::shared());
QCoro::Task<QList<ReleaseCandidate>> browseReleaseGroup(QString releaseGroupID,
                                                        MetadataHTTPClient& client = MetadataHTTPClient::shared());

// The releases of the known release group first, then those the name search finds, each
// once. A failed browse doesn't end the search; a failure is thrown only when nothing was found.
QCoro::Task<QList<ReleaseCandidate>> searchCandidates(QString artist, QString album,
                                                      std::optional<QString> releaseGroupID, qint64 limit,
                                                      MetadataHTTPClient& client = MetadataHTTPClient::shared());

QCoro::Task<ReleaseMetadata> fetchRelease(QString releaseID, MetadataHTTPClient& client = MetadataHTTPClient::shared());

} // namespace MusicBrainzReleaseLookup
