#include "MusicBrainzReleaseLookup.h"

#include "MusicBrainzDiscLookup.h"
#include "MusicBrainzJson.h"
#include "ServiceSettings.h"
#include "ServiceURL.h"

#include <QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace MusicBrainzReleaseLookup {

namespace {

QCoro::Task<QByteArray> request(QUrl url, MetadataHTTPClient& client)
{
    try {
        co_return co_await client.get(url);
    } catch (const MetadataHTTPClient::HTTPError& error) {
        if (error.kind() == MetadataHTTPClient::HTTPError::Kind::notFound)
            throw LookupError::noMatchFound();
        throw LookupError::networkError(error);
    }
}

ReleaseCandidate candidateFrom(const QJsonObject& release)
{
    using namespace MusicBrainzJson;
    ReleaseCandidate candidate;
    candidate.id = release.value("id"_L1).toString();
    candidate.title = release.value("title"_L1).toString();
    candidate.artist = firstCreditedArtist(release.value("artist-credit"_L1));
    candidate.year = yearFromDate(release.value("date"_L1));
    candidate.disambiguation = nonEmptyString(release.value("disambiguation"_L1));
    for (const QJsonObject& medium : mediaInPositionOrder(release.value("media"_L1))) {
        if (const std::optional<qint64> count = integer(medium.value("track-count"_L1)))
            candidate.discTrackCounts.append(*count);
    }
    return candidate;
}

} // namespace

LookupError LookupError::networkError(const MetadataHTTPClient::HTTPError& error)
{
    if (error.kind() == MetadataHTTPClient::HTTPError::Kind::tooLarge)
        return {Kind::networkError, MetadataHTTPClient::HTTPError::tooLargeSentence(u"MusicBrainz"_s, error.limitBytes()), error};
    return {Kind::networkError, u"Couldn't reach MusicBrainz: "_s + error.message(), error};
}

LookupError LookupError::noMatchFound()
{
    return {Kind::noMatchFound, u"No matching release found on MusicBrainz."_s};
}

LookupError LookupError::parseError()
{
    return {Kind::parseError, u"MusicBrainz returned data Velmo couldn't understand."_s};
}

QUrl searchURL(const QUrl& musicBrainz, const QString& artist, const QString& album, qint64 limit)
{
    const auto unquoted = [](QString name) { return name.remove(u'"'); };
    return ServiceURL::make(musicBrainz, u"/ws/2/release"_s,
                            {{u"query"_s, u"artist:"_s + unquoted(artist) + u" AND release:"_s + unquoted(album)},
                             {u"fmt"_s, u"json"_s},
                             {u"limit"_s, QString::number(limit)}});
}

QUrl browseURL(const QUrl& musicBrainz, const QString& releaseGroupID)
{
    return ServiceURL::make(musicBrainz, u"/ws/2/release"_s,
                            {{u"release-group"_s, releaseGroupID}, {u"fmt"_s, u"json"_s}, {u"limit"_s, u"100"_s}});
}

QUrl releaseURL(const QUrl& musicBrainz, const QString& releaseID)
{
    return ServiceURL::make(musicBrainz, u"/ws/2/release/"_s + ServiceURL::pathSegment(releaseID),
                            {{u"fmt"_s, u"json"_s}, {u"inc"_s, u"artists+recordings+genres"_s, true}});
}

QList<ReleaseCandidate> parseCandidates(const QByteArray& body)
{
    const std::optional<QJsonObject> answer = MusicBrainzJson::parseObject(body);
    if (!answer || !answer->value("releases"_L1).isArray())
        throw LookupError::parseError();
    QList<ReleaseCandidate> candidates;
    for (const QJsonObject& release : MusicBrainzJson::objects(answer->value("releases"_L1))) {
        ReleaseCandidate candidate = candidateFrom(release);
        if (!candidate.id.isEmpty())
            candidates.append(std::move(candidate));
    }
    return candidates;
}

ReleaseMetadata parseFullRelease(const QByteArray& body)
{
    const std::optional<QJsonObject> answer = MusicBrainzJson::parseObject(body);
    if (!answer)
        throw LookupError::parseError();
    ReleaseMetadata release = MusicBrainzDiscLookup::parseRelease(*answer, QString());
    release.tracks.clear();
    for (const QJsonObject& medium : MusicBrainzJson::mediaInPositionOrder(answer->value("media"_L1))) {
        const std::optional<qint64> position = MusicBrainzJson::integer(medium.value("position"_L1));
        release.tracks.append(MusicBrainzJson::tracksOfMedium(medium, release.artist, position));
    }
    // Tags are written from this answer, so one without a release title or a title for every
    // track is no release. The artist credit is left out of answers that were not asked for
    // it and then the files keep their artists; one that is there must name someone.
    const auto blank = [](const QString& text) { return text.trimmed().isEmpty(); };
    const QJsonValue credit = answer->value("artist-credit"_L1);
    const bool incomplete = blank(release.title) || (!credit.isUndefined() && blank(release.artist))
        || std::ranges::any_of(release.tracks, [&blank](const TrackMetadataStub& track) { return blank(track.title); });
    if (incomplete)
        throw LookupError::parseError();
    return release;
}

QCoro::Task<QList<ReleaseCandidate>> searchByName(QString artist, QString album, qint64 limit,
                                                  MetadataHTTPClient& client)
{
    const QUrl url = searchURL(ServiceSettings::load().musicBrainz, artist, album, limit);
    co_return parseCandidates(co_await request(url, client));
}

QCoro::Task<QList<ReleaseCandidate>> browseReleaseGroup(QString releaseGroupID, MetadataHTTPClient& client)
{
    const QUrl url = browseURL(ServiceSettings::load().musicBrainz, releaseGroupID);
    co_return parseCandidates(co_await request(url, client));
}

QCoro::Task<QList<ReleaseCandidate>> searchCandidates(QString artist, QString album,
                                                      std::optional<QString> releaseGroupID, qint64 limit,
                                                      MetadataHTTPClient& client)
{
    QList<ReleaseCandidate> found;
    QSet<QString> seen;
    std::optional<LookupError> failure;
    const auto appendNew = [&found, &seen](const QList<ReleaseCandidate>& candidates) {
        for (const ReleaseCandidate& candidate : candidates) {
            if (!seen.contains(candidate.id)) {
                seen.insert(candidate.id);
                found.append(candidate);
            }
        }
    };
    if (releaseGroupID && !releaseGroupID->isEmpty()) {
        try {
            appendNew(co_await browseReleaseGroup(*releaseGroupID, client));
        } catch (const LookupError& error) {
            failure = error;
        }
    }
    try {
        appendNew(co_await searchByName(artist, album, limit, client));
    } catch (const LookupError& error) {
        failure = error;
    }
    if (found.isEmpty() && failure)
        throw *failure;
    co_return found;
}

QCoro::Task<ReleaseMetadata> fetchRelease(QString releaseID, MetadataHTTPClient& client)
{
    // Without an ID the path would name the search endpoint instead.
    if (releaseID.isEmpty())
        throw LookupError::noMatchFound();
    const QUrl url = releaseURL(ServiceSettings::load().musicBrainz, releaseID);
    co_return parseFullRelease(co_await request(url, client));
}

} // namespace MusicBrainzReleaseLookup
