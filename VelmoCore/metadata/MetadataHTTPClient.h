#pragma once

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QHash>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QObject>
#include <QString>
#include <QUrl>

#include <chrono>
#include <coroutine>
#include <deque>
#include <memory>
#include <optional>
#include <stdexcept>

// The one road to the metadata services: GET requests with the program's User-Agent, the
// MusicBrainz rate limit, and the retry rules. Callers see a body or a typed error, never an
// HTTP status. A serial object on the main thread: its state is touched only between awaits,
// and it is free while a request runs or a pause lasts, so calls from several tasks overlap
// on the network while MusicBrainz requests stay 1.1 seconds apart.
class MetadataHTTPClient : public QObject {
    Q_OBJECT

public:
    using Duration = std::chrono::milliseconds;

    struct Response {
        QByteArray data;
        std::optional<QString> mimeType; // as declared, without parameters, lower-cased
    };

    class HTTPError : public std::runtime_error {
    public:
        enum class Kind { serverError, network, notFound, rateLimited, tooLarge, tooSlow };

        static HTTPError serverError(qint64 statusCode);
        // `description` is the transport's own sentence for the failure.
        static HTTPError network(QNetworkReply::NetworkError error, const QString& description);
        static HTTPError notFound();
        static HTTPError rateLimited();
        static HTTPError tooLarge(qint64 limitBytes);
        static HTTPError tooSlow(Duration deadline);
        // "<sender> sent an answer larger than <limit>, which was refused.": the service was
        // reached, so words about the connection would send the user looking in the wrong place.
        static QString tooLargeSentence(const QString& sender, qint64 limitBytes);

        Kind kind() const { return m_kind; }
        qint64 statusCode() const { return m_statusCode; }
        QNetworkReply::NetworkError networkError() const { return m_networkError; }
        // For tooLarge: the size that was refused past.
        qint64 limitBytes() const { return m_limitBytes; }
        QString message() const { return m_message; }

    private:
        HTTPError(Kind kind, const QString& message, qint64 statusCode = 0,
                  QNetworkReply::NetworkError networkError = QNetworkReply::NoError);

        Kind m_kind;
        QString m_message;
        qint64 m_statusCode;
        QNetworkReply::NetworkError m_networkError;
        qint64 m_limitBytes = 0;
    };

    // Time as the client sees it. The rate limit and the pauses between attempts go through
    // it, so that tests can run them on a clock they drive.
    class Clock {
    public:
        using TimePoint = std::chrono::steady_clock::time_point;

        virtual ~Clock() = default;
        virtual TimePoint now() const = 0;
        virtual QCoro::Task<> sleep(Duration duration) = 0;
    };

    struct Options {
        std::shared_ptr<Clock> clock; // the system's steady clock when null
        // With no byte moving for this long, a request fails as timed out.
        Duration requestTimeout = std::chrono::seconds(30);
        // A larger answer is refused while it arrives rather than held in memory.
        qint64 maximumBodySize = 32 * 1024 * 1024;
        // An answer not complete by then is given up, and not asked for again: a server that
        // trickles a byte at a time never falls silent for long enough to time out.
        Duration answerDeadline = std::chrono::minutes(2);
    };

    static constexpr Duration musicBrainzInterval{1100};
    static constexpr int maximumSends = 3;
    static constexpr int connectionsPerHost = 2;

    // The instance the whole program shares, so the rate limit holds for the process.
    static MetadataHTTPClient& shared();

    explicit MetadataHTTPClient(QObject* parent = nullptr);
    explicit MetadataHTTPClient(Options options, QObject* parent = nullptr);
    ~MetadataHTTPClient() override;

    // Throws HTTPError.
    QCoro::Task<Response> getResponse(QUrl url);
    QCoro::Task<QByteArray> get(QUrl url);

    // The host is the MusicBrainz host or a dotted subdomain of it. When the configured
    // address names a port, only that port counts: a private mirror, or a test server.
    static bool isRateLimited(const QUrl& url, const QUrl& musicBrainz);
    // The pause a 503 or 429 asks for: "Retry-After" in decimal seconds, else 2 seconds,
    // never more than 15.
    static Duration retryAfterDelay(const std::optional<QByteArray>& header);
    // Failures of the connection itself, which may well not happen again.
    static bool isTransient(QNetworkReply::NetworkError error);

signals:
    // A call ended without an answer from the service, after its retries: the service could
    // not be reached. Lets a long pass that drops its failures tell "no cover" from "could not
    // ask". `reason` is the failure's sentence.
    void unreachable(const QString& reason);

private:
    struct Attempt;
    class ConnectionPermit;
    struct ConnectionWait;
    struct HostConnections {
        int active = 0;
        std::deque<std::coroutine_handle<>> waiting;
    };

    QCoro::Task<> takeMusicBrainzSlot();
    QCoro::Task<Attempt> send(QNetworkRequest request);
    ConnectionWait waitForConnection(const QString& host);
    void releaseConnection(const QString& host);

    Options m_options;
    QNetworkAccessManager m_network;
    Clock::TimePoint m_nextAllowedMBRequest = Clock::TimePoint::min();
    QHash<QString, HostConnections> m_connections;
};
