#include "PodcastSearchClient.h"

#include "PodcastHttp.h"
#include "metadata/ServiceSettings.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

using namespace Qt::StringLiterals;

namespace PodcastSearchClient {

namespace {

// Directory answers are a few kilobytes per hit.
constexpr qint64 maximumAnswerBytes = 16 * 1024 * 1024;

std::optional<qint64> integer(const QJsonValue& value)
{
    if (!value.isDouble())
        return std::nullopt;
    const double number = value.toDouble();
    if (std::trunc(number) != number || std::abs(number) > 9.0e15)
        return std::nullopt;
    return qint64(number);
}

std::optional<QUrl> address(const QJsonValue& value)
{
    if (!value.isString())
        return std::nullopt;
    const QUrl url(value.toString(), QUrl::StrictMode);
    if (value.toString().isEmpty() || !url.isValid())
        return std::nullopt;
    return url;
}

std::optional<PodcastSearchResult> result(const QJsonObject& hit)
{
    const auto id = integer(hit.value("trackId"_L1));
    const auto feedURL = address(hit.value("feedUrl"_L1));
    if (!id || !feedURL)
        return std::nullopt;
    QStringList genres;
    const QJsonArray genreArray = hit.value("genres"_L1).toArray();
    const bool allText = std::all_of(genreArray.begin(), genreArray.end(), [](const QJsonValue& v) { return v.isString(); });
    if (allText) {
        for (const QJsonValue& genre : genreArray)
            genres.append(genre.toString());
    }
    const QJsonValue title = hit.value("trackName"_L1);
    return PodcastSearchResult{
        .id = *id,
        .title = title.isString() ? title.toString() : u"Unknown Podcast"_s,
        .author = hit.value("artistName"_L1).toString(),
        .feedURL = *feedURL,
        .artworkURL = address(hit.value("artworkUrl600"_L1)),
        .episodeCount = integer(hit.value("trackCount"_L1)).value_or(0),
        .genres = genres,
    };
}

// term, media and limit in that order. Everything but unreserved characters is escaped, so
// that a "+" in the query is not read as a blank.
QUrl searchAddress(const QUrl& base, const QString& term)
{
    QUrl url = base;
    QString path = url.path();
    while (path.endsWith(u'/'))
        path.chop(1);
    url.setPath(path + u"/search"_s);
    url.setQuery(u"term="_s + QString::fromLatin1(QUrl::toPercentEncoding(term)) + u"&media=podcast&limit=25"_s,
                 QUrl::StrictMode);
    return url;
}

} // namespace

SearchError::SearchError(Kind kind, const QString& detail)
    : std::runtime_error(detail.toStdString())
    , m_kind(kind)
    , m_detail(PodcastHttp::clause(detail))
{
}

QString SearchError::message() const
{
    switch (m_kind) {
    case Kind::networkError: return u"The podcast directory could not be reached: %1."_s.arg(m_detail);
    case Kind::invalidResponse:
        return m_detail.isEmpty() ? u"The podcast directory gave an answer that cannot be read."_s
                                  : u"The podcast directory gave an answer that cannot be read: %1."_s.arg(m_detail);
    }
    Q_UNREACHABLE();
}

QList<PodcastSearchResult> parseResults(const QByteArray& answer)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(answer, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        throw SearchError(SearchError::Kind::invalidResponse, parseError.errorString());
    const QJsonValue results = document.object().value("results"_L1);
    if (!document.isObject() || !results.isArray())
        throw SearchError(SearchError::Kind::invalidResponse, u"it has no list of results"_s);
    const QJsonArray hits = results.toArray();
    if (!std::all_of(hits.begin(), hits.end(), [](const QJsonValue& hit) { return hit.isObject(); }))
        throw SearchError(SearchError::Kind::invalidResponse, u"a result is not an object"_s);

    QList<PodcastSearchResult> parsed;
    for (const QJsonValue& hit : hits) {
        if (auto found = result(hit.toObject()))
            parsed.append(std::move(*found));
    }
    return parsed;
}

QCoro::Task<QList<PodcastSearchResult>> search(QString query)
{
    if (query.trimmed().isEmpty())
        co_return QList<PodcastSearchResult>();
    const QUrl url = searchAddress(ServiceSettings::load().iTunes, query);
    if (!url.isValid())
        throw SearchError(SearchError::Kind::invalidResponse, u"no search address can be made"_s);
    // The directory is asked without the contact address that feeds get.
    const PodcastHttp::Body body = co_await PodcastHttp::get(url, u"Velmo/1.0"_s, maximumAnswerBytes);
    if (body.tooLarge)
        throw SearchError(SearchError::Kind::invalidResponse, u"it is too large"_s);
    if (body.failure)
        throw SearchError(SearchError::Kind::networkError, *body.failure);
    co_return parseResults(body.data);
}

} // namespace PodcastSearchClient
