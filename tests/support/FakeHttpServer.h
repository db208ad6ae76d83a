#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QTcpServer>
#include <QUrl>

#include <chrono>
#include <functional>
#include <optional>

// A real HTTP/1.1 server on 127.0.0.1 for tests: no test reaches the internet. Each route
// answers with a canned response, or one made from the request; every request is recorded.
struct FakeRequest {
    QByteArray method;
    QByteArray target; // path with query, as sent
    QHash<QByteArray, QByteArray> headers; // names lower-cased
    QByteArray body;
    std::chrono::steady_clock::time_point receivedAt;

    QString path() const { return QUrl(QString::fromUtf8(target)).path(); }
    QByteArray header(const QByteArray& name) const { return headers.value(name.toLower()); }
};

struct FakeResponse {
    int status = 200;
    QByteArray body;
    QList<std::pair<QByteArray, QByteArray>> headers;
    bool sendContentLength = true;
    std::chrono::milliseconds delay{0}; // before anything is sent
    // The body in pieces of this size with a pause between them: a slow server.
    qsizetype chunkSize = 0;
    std::chrono::milliseconds chunkInterval{0};
    // Close the connection after this many body bytes: a transfer that fails midway.
    std::optional<qsizetype> dropAfter;
    // Keep sending `body` again and again until the client goes: a document that never ends.
    bool endless = false;

    static FakeResponse ok(const QByteArray& body, const QByteArray& contentType = "application/octet-stream");
    static FakeResponse withStatus(int code, const QByteArray& body = {});
    static FakeResponse redirect(const QUrl& location, int code = 302);
    static FakeResponse slow(const QByteArray& body, qsizetype chunkSize, std::chrono::milliseconds interval);
    static FakeResponse cutAfter(const QByteArray& body, qsizetype bytes);
};

class FakeHttpServer : public QObject {
    Q_OBJECT

public:
    using Handler = std::function<FakeResponse(const FakeRequest&)>;

    FakeHttpServer();

    // The address of a path on this server, e.g. url("/ws/2/discid/x").
    QUrl url(const QString& pathAndQuery = QStringLiteral("/")) const;

    // Routes match the request's path without its query. Unknown paths answer 404.
    void route(const QString& path, const FakeResponse& response);
    void route(const QString& path, Handler handler);
    // A script for one path: each request takes the next answer, and the last one repeats.
    void routeSequence(const QString& path, const QList<FakeResponse>& responses);

    QList<FakeRequest> requests() const { return m_requests; }
    qsizetype requestCount(const QString& path) const;

private:
    void serve(QTcpSocket* socket);
    void respond(QTcpSocket* socket, const FakeRequest& request);

    QTcpServer m_server;
    QHash<QString, Handler> m_routes;
    QList<FakeRequest> m_requests;
};
