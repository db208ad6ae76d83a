#pragma once

#include "MetadataHTTPClient.h"
#include "MetadataServiceError.h"

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QString>
#include <QUrl>

#include <optional>

// Finds an album's cover online: the Cover Art Archive by release and then by release group,
// and last the iTunes Search API, whose answer counts only when artist and album match
// exactly, so that no wrong cover is written into files. No state of its own.
namespace ArtworkFetcher {

struct ArtworkResult {
    QByteArray data;
    QString mimeType; // as the server gave it, or read from the image's first bytes

    bool operator==(const ArtworkResult&) const = default;
};

enum class FetchErrorKind {
    networkError,
    noMatchFound,      // no release, or no verified album
    artworkUnavailable // the service has no image, or no ID was given
};

// Callers pass over these without a word: artwork is best-effort.
class FetchError : public MetadataServiceError<FetchErrorKind> {
public:
    using Kind = FetchErrorKind;

    static FetchError networkError(const MetadataHTTPClient::HTTPError& error);
    static FetchError noMatchFound();
    static FetchError artworkUnavailable();

private:
    using MetadataServiceError::MetadataServiceError;
};

// A release found by name on MusicBrainz.
struct ReleaseIDs {
    QString mbid;
    std::optional<QString> releaseGroupID;

    bool operator==(const ReleaseIDs&) const = default;
};

// Every operation below throws FetchError.

// By name alone: a MusicBrainz search for the release, its cover, and iTunes last.
QCoro::Task<ArtworkResult> fetch(QString artist, QString album,
                                 MetadataHTTPClient& client = MetadataHTTPClient::shared());
// With the IDs known: the Cover Art Archive when there is an ID, then iTunes. Without IDs no
// name search is made.
QCoro::Task<ArtworkResult> fetchArtwork(QString artist, QString album, std::optional<QString> mbid,
                                        std::optional<QString> releaseGroupID,
                                        MetadataHTTPClient& client = MetadataHTTPClient::shared());
// The Cover Art Archive only: the release's front, else its release group's.
QCoro::Task<ArtworkResult> fetchCoverArt(std::optional<QString> mbid, std::optional<QString> releaseGroupID,
                                         MetadataHTTPClient& client = MetadataHTTPClient::shared());
// The iTunes Search API, accepting only a verified match.
QCoro::Task<ArtworkResult> searchITunes(QString artist, QString album,
                                        MetadataHTTPClient& client = MetadataHTTPClient::shared());
// The best MusicBrainz release for the names, if its score is at least 80.
QCoro::Task<ReleaseIDs> searchMusicBrainz(QString artist, QString album,
                                          MetadataHTTPClient& client = MetadataHTTPClient::shared());
// An image over HTTP(S). A body that doesn't start like an image is artworkUnavailable.
QCoro::Task<ArtworkResult> fetchImage(QUrl url, MetadataHTTPClient& client = MetadataHTTPClient::shared());

// Answers, without the network.
QUrl iTunesSearchURL(const QUrl& iTunes, const QString& artist, const QString& album);
QUrl musicBrainzSearchURL(const QUrl& musicBrainz, const QString& artist, const QString& album);
// The large cover of the first result whose artist and album equal the wanted ones, ignoring
// case and outer blanks. Throws noMatchFound.
QUrl verifiedArtworkURL(const QByteArray& iTunesAnswer, const QString& artist, const QString& album);
// Throws noMatchFound.
ReleaseIDs parseMusicBrainzMatch(const QByteArray& musicBrainzAnswer);

} // namespace ArtworkFetcher
