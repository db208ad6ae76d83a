#include "ArtworkFetcher.h"

#include "MusicBrainzJson.h"
#include "ServiceSettings.h"
#include "ServiceURL.h"
#include "library/ImageType.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace ArtworkFetcher {

namespace {

using HTTPError = MetadataHTTPClient::HTTPError;

constexpr qint64 minimumMusicBrainzScore = 80;

QString comparable(const QString& name)
{
    return name.trimmed().toLower();
}

QUrl coverArtURL(const QString& kind, const QString& id)
{
    return ServiceURL::make(ServiceSettings::load().coverArtArchive,
                            u'/' + kind + u'/' + ServiceURL::pathSegment(id) + u"/front"_s);
}

bool present(const std::optional<QString>& id)
{
    return id && !id->isEmpty();
}

} // namespace

FetchError FetchError::networkError(const MetadataHTTPClient::HTTPError& error)
{
    if (error.kind() == HTTPError::Kind::tooLarge)
        return {Kind::networkError, HTTPError::tooLargeSentence(u"The artwork service"_s, error.limitBytes()), error};
    return {Kind::networkError, u"Couldn't reach the artwork service: "_s + error.message(), error};
}

FetchError FetchError::noMatchFound()
{
    return {Kind::noMatchFound, u"No matching album was found for the artwork."_s};
}

FetchError FetchError::artworkUnavailable()
{
    return {Kind::artworkUnavailable, u"No artwork is available for this album."_s};
}

QCoro::Task<ArtworkResult> fetch(QString artist, QString album, MetadataHTTPClient& client)
{
    std::optional<ReleaseIDs> release;
    try {
        release = co_await searchMusicBrainz(artist, album, client);
    } catch (const FetchError&) {
        // Not found by name: only iTunes is left.
    }
    if (release) {
        try {
            co_return co_await fetchCoverArt(release->mbid, release->releaseGroupID, client);
        } catch (const FetchError&) {
            // The release has no cover in the archive; iTunes may have one.
        }
    }
    co_return co_await searchITunes(artist, album, client);
}

QCoro::Task<ArtworkResult> fetchArtwork(QString artist, QString album, std::optional<QString> mbid,
                                        std::optional<QString> releaseGroupID, MetadataHTTPClient& client)
{
    if (present(mbid) || present(releaseGroupID)) {
        try {
            co_return co_await fetchCoverArt(mbid, releaseGroupID, client);
        } catch (const FetchError&) {
            // Any failure, a busy archive included, leaves iTunes to try.
        }
    }
    co_return co_await searchITunes(artist, album, client);
}

QCoro::Task<ArtworkResult> fetchCoverArt(std::optional<QString> mbid, std::optional<QString> releaseGroupID,
                                         MetadataHTTPClient& client)
{
    std::optional<FetchError> releaseFailure;
    if (present(mbid)) {
        try {
            co_return co_await fetchImage(coverArtURL(u"release"_s, *mbid), client);
        } catch (const FetchError& error) {
            releaseFailure = error;
        }
    }
    if (present(releaseGroupID))
        co_return co_await fetchImage(coverArtURL(u"release-group"_s, *releaseGroupID), client);
    if (releaseFailure)
        throw *releaseFailure;
    throw FetchError::artworkUnavailable();
}

QCoro::Task<ArtworkResult> searchITunes(QString artist, QString album, MetadataHTTPClient& client)
{
    QByteArray answer;
    try {
        answer = co_await client.get(iTunesSearchURL(ServiceSettings::load().iTunes, artist, album));
    } catch (const HTTPError& error) {
        if (error.kind() == HTTPError::Kind::notFound)
            throw FetchError::noMatchFound();
        throw FetchError::networkError(error);
    }
    co_return co_await fetchImage(verifiedArtworkURL(answer, artist, album), client);
}

QCoro::Task<ReleaseIDs> searchMusicBrainz(QString artist, QString album, MetadataHTTPClient& client)
{
    QByteArray answer;
    try {
        answer = co_await client.get(musicBrainzSearchURL(ServiceSettings::load().musicBrainz, artist, album));
    } catch (const HTTPError& error) {
        if (error.kind() == HTTPError::Kind::notFound)
            throw FetchError::noMatchFound();
        throw FetchError::networkError(error);
    }
    co_return parseMusicBrainzMatch(answer);
}

QCoro::Task<ArtworkResult> fetchImage(QUrl url, MetadataHTTPClient& client)
{
    // Addresses come from service answers: only the web is asked, never a local file.
    if (!url.isValid() || (url.scheme() != "https"_L1 && url.scheme() != "http"_L1) || url.host().isEmpty())
        throw FetchError::artworkUnavailable();
    MetadataHTTPClient::Response response;
    try {
        response = co_await client.getResponse(url);
    } catch (const HTTPError& error) {
        if (error.kind() == HTTPError::Kind::notFound || error.kind() == HTTPError::Kind::serverError)
            throw FetchError::artworkUnavailable();
        throw FetchError::networkError(error);
    }
    // An error page or a redirect to text must never be written into audio files as a cover.
    if (!ImageType::isImage(response.data))
        throw FetchError::artworkUnavailable();
    const bool declaresImage = response.mimeType && response.mimeType->startsWith("image/"_L1);
    co_return ArtworkResult{response.data, declaresImage ? *response.mimeType : ImageType::mimeType(response.data)};
}

QUrl iTunesSearchURL(const QUrl& iTunes, const QString& artist, const QString& album)
{
    return ServiceURL::make(iTunes, u"/search"_s,
                            {{u"term"_s, artist + u' ' + album}, {u"entity"_s, u"album"_s}, {u"limit"_s, u"5"_s}});
}

QUrl musicBrainzSearchURL(const QUrl& musicBrainz, const QString& artist, const QString& album)
{
    return ServiceURL::make(musicBrainz, u"/ws/2/release"_s,
                            {{u"query"_s, u"artist:\""_s + artist + u"\" AND release:\""_s + album + u'"'},
                             {u"fmt"_s, u"json"_s},
                             {u"limit"_s, u"1"_s}});
}

QUrl verifiedArtworkURL(const QByteArray& iTunesAnswer, const QString& artist, const QString& album)
{
    const std::optional<QJsonObject> answer = MusicBrainzJson::parseObject(iTunesAnswer);
    if (!answer)
        throw FetchError::noMatchFound();
    const QString wantedArtist = comparable(artist);
    const QString wantedAlbum = comparable(album);
    for (const QJsonValue& element : answer->value("results"_L1).toArray()) {
        const QJsonObject result = element.toObject();
        const QJsonValue artistName = result.value("artistName"_L1);
        const QJsonValue collectionName = result.value("collectionName"_L1);
        if (!artistName.isString() || !collectionName.isString())
            continue;
        if (comparable(artistName.toString()) != wantedArtist || comparable(collectionName.toString()) != wantedAlbum)
            continue;
        const QJsonValue artwork = result.value("artworkUrl100"_L1);
        if (!artwork.isString())
            throw FetchError::noMatchFound();
        return QUrl(artwork.toString().replace("100x100bb"_L1, "1200x1200bb"_L1));
    }
    throw FetchError::noMatchFound();
}

ReleaseIDs parseMusicBrainzMatch(const QByteArray& musicBrainzAnswer)
{
    const std::optional<QJsonObject> answer = MusicBrainzJson::parseObject(musicBrainzAnswer);
    if (!answer)
        throw FetchError::noMatchFound();
    const QJsonObject best = answer->value("releases"_L1).toArray().at(0).toObject();
    const std::optional<qint64> score = MusicBrainzJson::integer(best.value("score"_L1));
    const std::optional<QString> mbid = MusicBrainzJson::nonEmptyString(best.value("id"_L1));
    if (!score || *score < minimumMusicBrainzScore || !mbid)
        throw FetchError::noMatchFound();
    return {*mbid, MusicBrainzJson::nonEmptyString(best.value("release-group"_L1).toObject().value("id"_L1))};
}

} // namespace ArtworkFetcher
