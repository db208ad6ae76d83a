#include "PodcastHttp.h"

#include "library/DisplayText.h"

#include <QCoro/QCoroNetworkReply>
#include <QHash>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>

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

void abortSoon(QNetworkReply* reply)
{
    QMetaObject::invokeMethod(
        reply,
        [reply] {
            if (!reply->isFinished())
                reply->abort();
        },
        Qt::QueuedConnection);
}

QString statusText(int status, const QString& serverPhrase)
{
    static const QHash<int, QString> words{
        {400, u"bad request"_s},
        {401, u"unauthorized"_s},
        {403, u"forbidden"_s},
        {404, u"not found"_s},
        {405, u"method not allowed"_s},
        {406, u"not acceptable"_s},
        {408, u"request timeout"_s},
        {410, u"gone"_s},
        {429, u"too many requests"_s},
        {451, u"unavailable for legal reasons"_s},
        {500, u"internal server error"_s},
        {501, u"not implemented"_s},
        {502, u"bad gateway"_s},
        {503, u"service unavailable"_s},
        {504, u"gateway timeout"_s},
    };
    return words.value(status, serverPhrase.trimmed().toLower());
}

QString clause(const QString& cause)
{
    QString text = cause.trimmed();
    while (text.endsWith(u'.'))
        text.chop(1);
    return text;
}

QCoro::Task<Body> get(QUrl url, QString userAgent, qint64 maximumBytes, std::chrono::milliseconds deadline)
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
    bool late = false;
    QTimer timer;
    timer.setSingleShot(true);
    QObject::connect(&timer, &QTimer::timeout, reply.get(), [&late, &reply] {
        late = true;
        abortSoon(reply.get());
    });
    timer.start(deadline);
    co_await qCoro(reply.get()).waitForFinished();
    if (body.tooLarge)
        co_return body;
    if (late) {
        body.failure = u"the server had not sent the whole answer after %1"_s.arg(DisplayText::spanOfTime(deadline));
        co_return body;
    }
    body.failure = transportFailure(*reply);
    if (body.failure)
        co_return body;
    body.data = reply->readAll();
    if (const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute); status.isValid()) {
        body.status = status.toInt();
        body.statusText = statusText(*body.status,
                                     reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString());
    }
    co_return body;
}

} // namespace PodcastHttp
