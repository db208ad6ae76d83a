#pragma once

#include "Episode.h"
#include "Podcast.h"

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QList>
#include <QStringView>
#include <QUrl>
#include <QUuid>

#include <chrono>
#include <optional>
#include <stdexcept>

// Turns a podcast feed, RSS 2.0 with the itunes: elements, into a Podcast and its episodes in
// one tolerant pass. It knows nothing of the store: the records carry the id it is given, and
// merging them with what is stored is the library's business.
namespace RSSParser {

class ParseError : public std::runtime_error {
public:
    // noEnclosures is never raised: a feed without a single enclosure is a podcast with no
    // episodes. tooLarge guards against a document that never ends; its detail is the limit.
    // httpError: the server answered with an error status instead of a feed.
    enum class Kind { networkError, invalidFeed, noEnclosures, tooLarge, httpError };

    explicit ParseError(Kind kind, const QString& detail = {});
    static ParseError httpError(int status, const QString& statusText);

    Kind kind() const { return m_kind; }
    // The cause of a network error; for an invalid feed, what was wrong with it, when known;
    // for an HTTP error, the status in words ("not found").
    const QString& detail() const { return m_detail; }
    std::optional<int> httpStatus() const { return m_httpStatus; }
    // For the screens, which never show a status code.
    QString message() const;

private:
    Kind m_kind;
    QString m_detail;
    std::optional<int> m_httpStatus;
};

struct Feed {
    Podcast podcast;
    QList<Episode> episodes; // in document order
};

// Beyond this a feed is refused unread.
inline constexpr qint64 maximumFeedBytes = 64 * 1024 * 1024;
// Far deeper than any real feed goes; past it a document is refused rather than followed, so
// that a feed of endless unclosed elements costs no more memory than its size.
inline constexpr int maximumElementDepth = 256;

struct FetchLimits {
    qint64 maximumBytes = maximumFeedBytes;
    std::chrono::milliseconds deadline = std::chrono::minutes(2);
};

// Loads the feed (with the program's User-Agent) and parses it. An answer with an HTTP error
// status is httpError, whatever its body. Throws ParseError.
QCoro::Task<Feed> fetch(QUuid podcastID, QUrl url, FetchLimits limits = {});

// A feed in a local file, read as an answer would be: only a regular file, never more than
// `maximumBytes` of it, whatever size it claims. Throws ParseError: networkError when the
// file cannot be read.
Feed parseFile(const QString& path, const QUuid& podcastID, qint64 maximumBytes = maximumFeedBytes);

// Throws ParseError::invalidFeed when the document is not well-formed XML, declares entities
// of its own, nests elements deeper than maximumElementDepth, or has no channel that ends;
// everything parsed so far is then dropped.
Feed parse(const QByteArray& document, const QUuid& podcastID, const QUrl& feedURL);

// itunes:duration: "1:02:03", "02:03", "45" or "90.5" to seconds; 0 when it cannot be read.
double parseDuration(QStringView text);

// pubDate in the one form "EEE, dd MMM yyyy HH:mm:ss Z", with a numeric offset or a zone
// name (GMT, UT, UTC, Z, EST, EDT, CST, CDT, MST, MDT, PST, PDT). No other form is tried.
std::optional<Date> parsePubDate(QStringView text);

} // namespace RSSParser
