#include "MusicBrainzDiscLookup.h"

#include "MusicBrainzJson.h"
#include "ServiceSettings.h"
#include "ServiceURL.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace MusicBrainzDiscLookup {

LookupError LookupError::networkError(const MetadataHTTPClient::HTTPError& error)
{
    if (error.kind() == MetadataHTTPClient::HTTPError::Kind::tooLarge)
        return {Kind::networkError, MetadataHTTPClient::HTTPError::tooLargeSentence(u"MusicBrainz"_s, error.limitBytes()), error};
    return {Kind::networkError, u"Couldn't reach MusicBrainz. Check your internet connection and try again."_s, error};
}

LookupError LookupError::tocReadFailed()
{
    return {Kind::tocReadFailed, u"Couldn't read the disc. Try ejecting and re-inserting it."_s};
}

LookupError LookupError::noMatchFound()
{
    return {Kind::noMatchFound, u"This disc isn't in the MusicBrainz database yet."_s};
}

LookupError LookupError::parseError()
{
    return {Kind::parseError, u"MusicBrainz returned data Velmo couldn't understand."_s};
}

namespace {

// First track, last track, lead-out, then each track's offset, joined by plus signs.
QString tocText(const QList<qint64>& trackOffsets, qint64 leadOutOffset)
{
    QStringList toc{u"1"_s, QString::number(trackOffsets.size()), QString::number(leadOutOffset)};
    for (qint64 offset : trackOffsets)
        toc.append(QString::number(offset));
    return toc.join(u'+');
}

} // namespace

QUrl lookupURL(const QUrl& musicBrainz, const QString& discID, const QList<qint64>& trackOffsets,
               qint64 leadOutOffset)
{
    QList<ServiceURL::QueryItem> query{{u"fmt"_s, u"json"_s}, {u"inc"_s, u"artists+recordings+genres"_s, true}};
    if (!trackOffsets.isEmpty())
        query.append({u"toc"_s, tocText(trackOffsets, leadOutOffset), true});
    return ServiceURL::make(musicBrainz, u"/ws/2/discid/"_s + ServiceURL::pathSegment(discID), query);
}

QUrl submitURL(const QUrl& site, const QString& discID, const QList<qint64>& trackOffsets, qint64 leadOutOffset)
{
    return ServiceURL::make(site, u"/cdtoc/attach"_s,
                            {{u"toc"_s, tocText(trackOffsets, leadOutOffset), true},
                             {u"tracks"_s, QString::number(trackOffsets.size())},
                             {u"id"_s, discID}});
}

QList<ReleaseMetadata> parseReleases(const QByteArray& body, const QString& discID)
{
    const std::optional<QJsonObject> answer = MusicBrainzJson::parseObject(body);
    if (!answer)
        throw LookupError::parseError();
    // A disc ID answer nests its releases under "disc"; a TOC fuzzy match lists them on top.
    QJsonValue releases = answer->value("releases"_L1);
    if (!releases.isArray())
        releases = answer->value("disc"_L1).toObject().value("releases"_L1);
    const QList<QJsonObject> objects = MusicBrainzJson::objects(releases);
    if (objects.isEmpty())
        throw LookupError::noMatchFound();
    QList<ReleaseMetadata> result;
    result.reserve(objects.size());
    for (const QJsonObject& release : objects)
        result.append(parseRelease(release, discID));
    return result;
}

ReleaseMetadata parseRelease(const QJsonObject& release, const QString& discID)
{
    using namespace MusicBrainzJson;
    ReleaseMetadata metadata;
    metadata.mbid = release.value("id"_L1).toString();
    metadata.title = release.value("title"_L1).toString();
    metadata.artist = firstCreditedArtist(release.value("artist-credit"_L1));
    metadata.year = yearFromDate(release.value("date"_L1));
    metadata.disambiguation = nonEmptyString(release.value("disambiguation"_L1));
    metadata.status = string(release.value("status"_L1));
    metadata.releaseGroupID = nonEmptyString(release.value("release-group"_L1).toObject().value("id"_L1));
    metadata.genre = chooseGenre(release.value("genres"_L1));

    const QJsonArray media = release.value("media"_L1).toArray();
    if (media.isEmpty())
        return metadata;
    QJsonObject chosen = media.first().toObject();
    if (!discID.isEmpty()) {
        const auto holdsDisc = [&discID](const QJsonValue& medium) {
            const QList<QJsonObject> discs = objects(medium.toObject().value("discs"_L1));
            return std::any_of(discs.cbegin(), discs.cend(),
                               [&discID](const QJsonObject& disc) { return disc.value("id"_L1).toString() == discID; });
        };
        const auto holder = std::find_if(media.begin(), media.end(), holdsDisc);
        if (holder != media.end())
            chosen = (*holder).toObject();
    }
    metadata.discNumber = integer(chosen.value("position"_L1));
    if (!metadata.discNumber && media.size() == 1)
        metadata.discNumber = 1;
    metadata.tracks = tracksOfMedium(chosen, metadata.artist);
    return metadata;
}

QCoro::Task<QList<ReleaseMetadata>> fetchReleases(QString discID, QList<qint64> trackOffsets, qint64 leadOutOffset,
                                                  MetadataHTTPClient& client)
{
    const QUrl url = lookupURL(ServiceSettings::load().musicBrainz, discID, trackOffsets, leadOutOffset);
    MetadataHTTPClient::Response response;
    try {
        response = co_await client.getResponse(url);
    } catch (const MetadataHTTPClient::HTTPError& error) {
        if (error.kind() == MetadataHTTPClient::HTTPError::Kind::notFound)
            throw LookupError::noMatchFound();
        throw LookupError::networkError(error);
    }
    co_return parseReleases(response.data, discID);
}

} // namespace MusicBrainzDiscLookup
