#include "PodcastHttp.h"

#include <QCoro/QCoroNetworkReply>
#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <memory>

using namespace Qt::StringLiterals;

namespace PodcastHttp {

namespace {

constexpr int transferTimeoutMs = 60'000;

} // namespace

bool isWebAddress(const QUrl& url)
{
    const QString scheme = url.scheme().toLower();
    return url.isValid() && !url.host().isEmpty() && (scheme == "http"_L1 || scheme == "https"_L1);
}

QNetworkRequest request(const QUrl& url, const QString& userAgent)
{
    QNetworkRequest request(url);
    request.setTransferTimeout(transferTimeoutMs);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    if (!userAgent.isEmpty())
        request.setHeader(QNetworkRequest::UserAgentHeader, userAgent);
    return request;
}

std::optional<QString> transportFailure(const QNetworkReply& reply)
{
    const QNetworkReply::NetworkError error = reply.error();
    if (error == QNetworkReply::NoError)
        return std::nullopt;
    // Qt reports 4xx and 5xx answers as errors from 200 on; the server did answer.
    const bool answered = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
    if (answered && error >= QNetworkReply::ContentAccessDenied)
        return std::nullopt;
    // Nothing here aborts a reply without saying why, so a cancelled one has timed out.
    if (error == QNetworkReply::OperationCanceledError)
        return u"the server did not answer for a minute"_s;
    return reply.errorString();
}

QString clause(const QString& cause)
{
    QString text = cause.trimmed();
    while (text.endsWith(u'.'))
        text.chop(1);
    return text;
}

QCoro::Task<Body> get(QUrl url, QString userAgent, qint64 maximumBytes)
{
    Body body;
    if (!isWebAddress(url)) {
        body.failure = u"only http and https addresses can be fetched"_s;
        co_return body;
    }
    QNetworkAccessManager manager;
    std::unique_ptr<QNetworkReply> reply(manager.get(request(url, userAgent)));
    // At every arrival rather than on Qt's progress reports, which come a tenth of a second apart.
    const auto checkSize = [&] {
        const qint64 announced = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
        if (body.tooLarge || (reply->bytesAvailable() <= maximumBytes && announced <= maximumBytes))
            return;
        body.tooLarge = true;
        reply->abort();
    };
    QObject::connect(reply.get(), &QNetworkReply::metaDataChanged, reply.get(), checkSize);
    QObject::connect(reply.get(), &QNetworkReply::readyRead, reply.get(), checkSize);
    co_await qCoro(reply.get()).waitForFinished();
    if (body.tooLarge)
        co_return body;
    body.failure = transportFailure(*reply);
    if (!body.failure)
        body.data = reply->readAll();
    co_return body;
}

} // namespace PodcastHttp
