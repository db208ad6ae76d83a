#pragma once

#include <QCoro/QCoroTask>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>
#include <stdexcept>

// One hit of the podcast directory.
struct PodcastSearchResult {
    qint64 id = 0; // the directory's own
    QString title;
    QString author;
    QUrl feedURL;
    std::optional<QUrl> artworkURL;
    qint64 episodeCount = 0;
    QStringList genres;

    bool operator==(const PodcastSearchResult&) const = default;
};

// Finds podcasts by free text in the iTunes Search API, whose address is an installation's
// setting.
namespace PodcastSearchClient {

class SearchError : public std::runtime_error {
public:
    enum class Kind { networkError, invalidResponse };

    explicit SearchError(Kind kind, const QString& detail = {});

    Kind kind() const { return m_kind; }
    const QString& detail() const { return m_detail; }
    QString message() const;

private:
    Kind m_kind;
    QString m_detail;
};

// The answer's hits in its order, up to 25; a query of blanks asks nothing and finds nothing.
// A hit without an integer id or a feed address is left out. Throws SearchError.
QCoro::Task<QList<PodcastSearchResult>> search(QString query);

// The directory's answer to hits; throws SearchError::invalidResponse.
QList<PodcastSearchResult> parseResults(const QByteArray& answer);

} // namespace PodcastSearchClient
