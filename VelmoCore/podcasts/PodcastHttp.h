#pragma once

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QNetworkRequest>
#include <QString>
#include <QUrl>

#include <chrono>
#include <optional>

class QNetworkReply;

// The plain requests of the podcast subsystem: feeds, enclosures and the directory search go
// straight to their servers, without the rate limit and retries of the metadata client.
namespace PodcastHttp {

// Feeds and directory answers name addresses that the program then fetches; only web
// addresses are, so that a feed can never make it read or copy local files.
bool isWebAddress(const QUrl& url);

// A minute of silence ends a transfer; redirects are followed unless they lead from https
// to http. An empty user agent leaves Qt's own.
QNetworkRequest request(const QUrl& url, const QString& userAgent = {});

// Why a finished reply brought no answer, in words: refused, unreachable, timed out or cut
// off midway. An HTTP error status is not a failure here: the page is handed on as the body.
std::optional<QString> transportFailure(const QNetworkReply& reply);

// Aborts the reply from the event loop rather than at once: an abort finishes the reply, and
// the coroutine waiting for it must not resume inside a signal of a timer or of the reply.
void abortSoon(QNetworkReply* reply);

// The standard words for an HTTP status, lower-case ("not found"); the server's own reason
// phrase for a status outside the table, and nothing when it gave none.
QString statusText(int status, const QString& serverPhrase = {});

// A cause as a clause of a sentence of ours: Qt's texts end with a full stop of their own.
QString clause(const QString& cause);

struct Body {
    QByteArray data;
    std::optional<QString> failure; // transportFailure, the deadline, or the refusal of a non-web address
    bool tooLarge = false;          // the answer ran past the limit and was abandoned
    std::optional<int> status;      // the HTTP status, when the server answered
    QString statusText;             // its words, see statusText()
};

// Long enough for any answer that is coming at all; a server that trickles a byte at a time
// never runs into the minute of silence.
inline constexpr std::chrono::milliseconds answerDeadline = std::chrono::minutes(2);

// The whole answer in memory, abandoned as soon as it announces or reaches more than
// `maximumBytes`, or when it has not all arrived by `deadline`: a document that never ends
// costs a bounded amount of memory and time.
QCoro::Task<Body> get(QUrl url, QString userAgent, qint64 maximumBytes,
                      std::chrono::milliseconds deadline = answerDeadline);

} // namespace PodcastHttp
