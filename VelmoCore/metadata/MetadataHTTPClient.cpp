#include "MetadataHTTPClient.h"

#include "ServiceSettings.h"
#include "library/DisplayText.h"

#include <QCoro/QCoroNetworkReply>
#include <QCoro/QCoroTimer>
#include <QLocale>
#include <QNetworkRequest>
#include <QRegularExpression>
#include <QTimer>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

class SystemClock final : public MetadataHTTPClient::Clock {
public:
    TimePoint now() const override { return std::chrono::steady_clock::now(); }

    QCoro::Task<> sleep(MetadataHTTPClient::Duration duration) override
    {
        if (duration <= MetadataHTTPClient::Duration::zero())
            co_return;
        QTimer timer;
        // A coarse timer may fire a little early, and the rate limit is a promise to the service.
        timer.setTimerType(Qt::PreciseTimer);
        timer.setSingleShot(true);
        timer.start(duration);
        co_await timer;
    }
};

// The coroutine resumes inside the reply's own "finished" signal, so the reply must outlive
// that emission.
struct DeleteLater {
    void operator()(QObject* object) const { object->deleteLater(); }
};

QString hostKey(const QUrl& url)
{
    const int defaultPort = url.scheme() == "https"_L1 ? 443 : 80;
    return url.scheme() + u"://"_s + url.host() + u':' + QString::number(url.port(defaultPort));
}

std::optional<QString> mimeTypeOf(const QVariant& contentType)
{
    const QString type = contentType.toString().section(u';', 0, 0).trimmed().toLower();
    return type.isEmpty() ? std::nullopt : std::optional(type);
}

// Errors of the connection rather than of an HTTP answer: network, proxy and protocol failures.
bool isTransportError(QNetworkReply::NetworkError error)
{
    return error != QNetworkReply::NoError && (error < 200 || (error >= 300 && error < 400));
}

} // namespace

// ---- HTTPError

MetadataHTTPClient::HTTPError::HTTPError(Kind kind, const QString& message, qint64 statusCode,
                                         QNetworkReply::NetworkError networkError)
    : std::runtime_error(message.toStdString())
    , m_kind(kind)
    , m_message(message)
    , m_statusCode(statusCode)
    , m_networkError(networkError)
{
}

MetadataHTTPClient::HTTPError MetadataHTTPClient::HTTPError::serverError(qint64 statusCode)
{
    return {Kind::serverError, u"The service returned an error (HTTP %1)."_s.arg(statusCode), statusCode};
}

MetadataHTTPClient::HTTPError MetadataHTTPClient::HTTPError::network(QNetworkReply::NetworkError error,
                                                                     const QString& description)
{
    return {Kind::network, description, 0, error};
}

MetadataHTTPClient::HTTPError MetadataHTTPClient::HTTPError::notFound()
{
    return {Kind::notFound, u"Not found."_s};
}

MetadataHTTPClient::HTTPError MetadataHTTPClient::HTTPError::rateLimited()
{
    return {Kind::rateLimited, u"The service is busy (rate limited). Try again in a moment."_s};
}

MetadataHTTPClient::HTTPError MetadataHTTPClient::HTTPError::tooLarge(qint64 limitBytes)
{
    HTTPError error(Kind::tooLarge, tooLargeSentence(u"The service"_s, limitBytes));
    error.m_limitBytes = limitBytes;
    return error;
}

QString MetadataHTTPClient::HTTPError::tooLargeSentence(const QString& sender, qint64 limitBytes)
{
    const QString limit = QLocale::c().formattedDataSize(limitBytes, 0, QLocale::DataSizeIecFormat);
    return u"%1 sent an answer larger than %2, which was refused."_s.arg(sender, limit);
}

MetadataHTTPClient::HTTPError MetadataHTTPClient::HTTPError::tooSlow(Duration deadline)
{
    return {Kind::tooSlow,
            u"The service had not sent its whole answer after %1, so the request was given up."_s.arg(
                DisplayText::spanOfTime(deadline))};
}

// ---- Connections per host

// Holds one of a host's connections; gives it to the next waiting request when it goes.
class MetadataHTTPClient::ConnectionPermit {
public:
    ConnectionPermit(MetadataHTTPClient& client, QString host)
        : m_client(&client)
        , m_host(std::move(host))
    {
    }
    ConnectionPermit(ConnectionPermit&& other) noexcept
        : m_client(std::exchange(other.m_client, nullptr))
        , m_host(std::move(other.m_host))
    {
    }
    ConnectionPermit(const ConnectionPermit&) = delete;
    ConnectionPermit& operator=(const ConnectionPermit&) = delete;
    ConnectionPermit& operator=(ConnectionPermit&&) = delete;
    ~ConnectionPermit()
    {
        if (m_client)
            m_client->releaseConnection(m_host);
    }

private:
    MetadataHTTPClient* m_client;
    QString m_host;
};

struct MetadataHTTPClient::ConnectionWait {
    MetadataHTTPClient& client;
    QString host;

    bool await_ready()
    {
        HostConnections& connections = client.m_connections[host];
        if (connections.active >= connectionsPerHost)
            return false;
        ++connections.active;
        return true;
    }
    void await_suspend(std::coroutine_handle<> waiting) { client.m_connections[host].waiting.push_back(waiting); }
    ConnectionPermit await_resume() { return {client, host}; }
};

MetadataHTTPClient::ConnectionWait MetadataHTTPClient::waitForConnection(const QString& host)
{
    return {*this, host};
}

void MetadataHTTPClient::releaseConnection(const QString& host)
{
    const auto connections = m_connections.find(host);
    Q_ASSERT(connections != m_connections.end());
    if (!connections->waiting.empty()) {
        // The connection passes straight to the first in line, which resumes from the event
        // loop once the request that held it has finished its own work.
        const std::coroutine_handle<> next = connections->waiting.front();
        connections->waiting.pop_front();
        QTimer::singleShot(0, this, [next] { next.resume(); });
        return;
    }
    if (--connections->active == 0)
        m_connections.erase(connections);
}

// ---- The client

struct MetadataHTTPClient::Attempt {
    std::optional<HTTPError> failure; // the transport failed; nothing else is set
    std::optional<int> status;        // absent for an answer that isn't HTTP
    std::optional<QByteArray> retryAfter;
    Response response;
};

MetadataHTTPClient& MetadataHTTPClient::shared()
{
    // Never destroyed: requests may still be finishing while the program ends.
    static auto* const instance = new MetadataHTTPClient();
    return *instance;
}

MetadataHTTPClient::MetadataHTTPClient(QObject* parent)
    : MetadataHTTPClient(Options{}, parent)
{
}

MetadataHTTPClient::MetadataHTTPClient(Options options, QObject* parent)
    : QObject(parent)
    , m_options(std::move(options))
{
    if (!m_options.clock)
        m_options.clock = std::make_shared<SystemClock>();
    m_network.setRedirectPolicy(QNetworkRequest::NoLessSafeRedirectPolicy);
}

MetadataHTTPClient::~MetadataHTTPClient() = default;

bool MetadataHTTPClient::isRateLimited(const QUrl& url, const QUrl& musicBrainz)
{
    const auto hostOf = [](const QUrl& address) {
        QString host = address.host().toLower();
        if (host.endsWith(u'.'))
            host.chop(1);
        return host;
    };
    const QString host = hostOf(url);
    const QString domain = hostOf(musicBrainz);
    if (host.isEmpty() || domain.isEmpty())
        return false;
    if (host != domain && !host.endsWith(u'.' + domain))
        return false;
    return musicBrainz.port() == -1 || url.port(url.scheme() == "https"_L1 ? 443 : 80) == musicBrainz.port();
}

MetadataHTTPClient::Duration MetadataHTTPClient::retryAfterDelay(const std::optional<QByteArray>& header)
{
    constexpr std::chrono::duration<double> fallback(2.0);
    constexpr std::chrono::duration<double> ceiling(15.0);
    // Only delay-seconds count; the date form of the header gets the fallback.
    static const QRegularExpression decimal(u"^[+-]?(?:[0-9]+(?:\\.[0-9]*)?|\\.[0-9]+)(?:[eE][+-]?[0-9]+)?$"_s);
    std::chrono::duration<double> delay = fallback;
    if (header) {
        const QString text = QString::fromLatin1(*header);
        if (decimal.match(text).hasMatch()) {
            bool ok = false;
            const double seconds = text.toDouble(&ok);
            // Out of the range of a double: as far beyond the ceiling as it can be.
            delay = std::chrono::duration<double>(ok ? seconds : (text.startsWith(u'-') ? 0.0 : ceiling.count()));
        }
    }
    delay = std::clamp(delay, std::chrono::duration<double>::zero(), ceiling);
    return std::chrono::ceil<Duration>(delay);
}

bool MetadataHTTPClient::isTransient(QNetworkReply::NetworkError error)
{
    switch (error) {
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::SslHandshakeFailedError:
    case QNetworkReply::TimeoutError:
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::TemporaryNetworkFailureError:
        return true;
    default:
        return false;
    }
}

QCoro::Task<> MetadataHTTPClient::takeMusicBrainzSlot()
{
    const Clock::TimePoint now = m_options.clock->now();
    const Clock::TimePoint slot = std::max(m_nextAllowedMBRequest, now);
    // Written before the wait, so that callers arriving meanwhile line up behind this one.
    m_nextAllowedMBRequest = slot + musicBrainzInterval;
    if (slot > now)
        co_await m_options.clock->sleep(std::chrono::ceil<Duration>(slot - now));
}

QCoro::Task<MetadataHTTPClient::Response> MetadataHTTPClient::getResponse(QUrl url)
{
    const ServiceSettings services = ServiceSettings::load();
    const bool rateLimited = isRateLimited(url, services.musicBrainz);
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::UserAgentHeader, services.userAgent());
    const QString host = hostKey(url);

    for (int attempt = 0;; ++attempt) {
        std::optional<Attempt> result;
        {
            const ConnectionPermit permit = co_await waitForConnection(host);
            if (rateLimited)
                co_await takeMusicBrainzSlot();
            result = co_await send(request);
        }
        const bool mayRetry = attempt < maximumSends - 1;

        if (result->failure) {
            if (mayRetry && isTransient(result->failure->networkError())) {
                co_await m_options.clock->sleep(std::chrono::seconds(attempt + 1));
                continue;
            }
            if (result->failure->kind() == HTTPError::Kind::network)
                emit unreachable(result->failure->message());
            throw *result->failure;
        }
        if (!result->status)
            co_return result->response;

        const int status = *result->status;
        if (status >= 200 && status <= 299)
            co_return result->response;
        if (status == 503 || status == 429) {
            if (!mayRetry)
                throw HTTPError::rateLimited();
            co_await m_options.clock->sleep(retryAfterDelay(result->retryAfter));
            continue;
        }
        if (status == 404)
            throw HTTPError::notFound();
        throw HTTPError::serverError(status);
    }
}

QCoro::Task<QByteArray> MetadataHTTPClient::get(QUrl url)
{
    co_return (co_await getResponse(std::move(url))).data;
}

QCoro::Task<MetadataHTTPClient::Attempt> MetadataHTTPClient::send(QNetworkRequest request)
{
    const std::unique_ptr<QNetworkReply, DeleteLater> reply(m_network.get(request));
    const qint64 limit = m_options.maximumBodySize;
    bool timedOut = false;
    bool tooLarge = false;
    bool late = false;
    // Aborting emits "finished" at once; from inside one of the reply's own signals that
    // would resume this coroutine in the middle of the emission. By the time the abort runs
    // the reply may have finished on its own.
    const auto abortSoon = [raw = reply.get()] {
        QMetaObject::invokeMethod(
            raw,
            [raw] {
                if (!raw->isFinished())
                    raw->abort();
            },
            Qt::QueuedConnection);
    };
    QTimer idle;
    idle.setSingleShot(true);
    connect(&idle, &QTimer::timeout, reply.get(), [&] {
        timedOut = true;
        abortSoon();
    });
    const auto progressed = [&](qint64 received, qint64 total) {
        if (timedOut || tooLarge || late)
            return;
        if (received > limit || total > limit) {
            tooLarge = true;
            idle.stop();
            abortSoon();
            return;
        }
        idle.start();
    };
    connect(reply.get(), &QNetworkReply::metaDataChanged, &idle, [&] {
        progressed(0, reply->header(QNetworkRequest::ContentLengthHeader).toLongLong());
    });
    connect(reply.get(), &QNetworkReply::downloadProgress, &idle, progressed);
    connect(reply.get(), &QNetworkReply::uploadProgress, &idle, [&] { progressed(0, 0); });
    idle.start(m_options.requestTimeout);
    QTimer deadline;
    deadline.setSingleShot(true);
    connect(&deadline, &QTimer::timeout, reply.get(), [&] {
        if (timedOut || tooLarge)
            return;
        late = true;
        idle.stop();
        abortSoon();
    });
    deadline.start(m_options.answerDeadline);

    co_await reply.get();

    Attempt attempt;
    if (tooLarge) {
        attempt.failure = HTTPError::tooLarge(limit);
        co_return attempt;
    }
    if (late) {
        attempt.failure = HTTPError::tooSlow(m_options.answerDeadline);
        co_return attempt;
    }
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    const QNetworkReply::NetworkError error = timedOut ? QNetworkReply::TimeoutError : reply->error();
    if (timedOut || (error != QNetworkReply::NoError && (!status.isValid() || isTransportError(error)))) {
        attempt.failure = HTTPError::network(error, timedOut ? u"The request timed out."_s : reply->errorString());
        co_return attempt;
    }
    attempt.response.data = reply->readAll();
    if (attempt.response.data.size() > limit) {
        attempt.failure = HTTPError::tooLarge(limit);
        co_return attempt;
    }
    if (status.isValid())
        attempt.status = status.toInt();
    if (reply->hasRawHeader("Retry-After"))
        attempt.retryAfter = reply->rawHeader("Retry-After");
    attempt.response.mimeType = mimeTypeOf(reply->header(QNetworkRequest::ContentTypeHeader));
    co_return attempt;
}
