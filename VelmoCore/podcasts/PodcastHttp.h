#pragma once

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QNetworkRequest>
#include <QString>
#include <QUrl>

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

// A cause as a clause of a sentence of ours: Qt's texts end with a full stop of their own.
QString clause(const QString& cause);

struct Body {
    QByteArray data;
    std::optional<QString> failure; // transportFailure, or the refusal of a non-web address
    bool tooLarge = false;          // the answer ran past the limit and was abandoned
};

// The whole answer in memory, abandoned as soon as it announces or reaches more than
// `maximumBytes`: a document that never ends costs a bounded amount.
QCoro::Task<Body> get(QUrl url, QString userAgent, qint64 maximumBytes);

} // namespace PodcastHttp
