#include "FakeHttpServer.h"

#include <QPointer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>

FakeResponse FakeResponse::ok(const QByteArray& body, const QByteArray& contentType)
{
    FakeResponse response;
    response.body = body;
    response.headers.append({"Content-Type", contentType});
    return response;
}

FakeResponse FakeResponse::withStatus(int code, const QByteArray& body)
{
    FakeResponse response;
    response.status = code;
    response.body = body;
    return response;
}

FakeResponse FakeResponse::redirect(const QUrl& location, int code)
{
    FakeResponse response;
    response.status = code;
    response.headers.append({"Location", location.toEncoded()});
    return response;
}

FakeResponse FakeResponse::slow(const QByteArray& body, qsizetype chunkSize, std::chrono::milliseconds interval)
{
    FakeResponse response = ok(body);
    response.chunkSize = chunkSize;
    response.chunkInterval = interval;
    return response;
}

FakeResponse FakeResponse::cutAfter(const QByteArray& body, qsizetype bytes)
{
    FakeResponse response = ok(body);
    response.dropAfter = bytes;
    return response;
}

FakeHttpServer::FakeHttpServer()
{
    if (!m_server.listen(QHostAddress::LocalHost, 0))
        qFatal("The fake HTTP server cannot listen: %s", qPrintable(m_server.errorString()));
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket* socket = m_server.nextPendingConnection())
            serve(socket);
    });
}

QUrl FakeHttpServer::url(const QString& pathAndQuery) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_server.serverPort()).arg(pathAndQuery));
}

void FakeHttpServer::route(const QString& path, const FakeResponse& response)
{
    route(path, [response](const FakeRequest&) { return response; });
}

void FakeHttpServer::route(const QString& path, Handler handler)
{
    m_routes.insert(path, std::move(handler));
}

void FakeHttpServer::routeSequence(const QString& path, const QList<FakeResponse>& responses)
{
    Q_ASSERT(!responses.isEmpty());
    auto next = std::make_shared<qsizetype>(0);
    route(path, [responses, next](const FakeRequest&) {
        return responses.at(std::min((*next)++, responses.size() - 1));
    });
}

qsizetype FakeHttpServer::requestCount(const QString& path) const
{
    return std::count_if(m_requests.cbegin(), m_requests.cend(),
                         [&path](const FakeRequest& request) { return request.path() == path; });
}

void FakeHttpServer::serve(QTcpSocket* socket)
{
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    auto buffer = std::make_shared<QByteArray>();
    connect(socket, &QTcpSocket::readyRead, this, [this, socket, buffer] {
        buffer->append(socket->readAll());
        const qsizetype headerEnd = buffer->indexOf("\r\n\r\n");
        if (headerEnd < 0)
            return;
        FakeRequest request;
        const QList<QByteArray> lines = buffer->left(headerEnd).split('\n');
        const QList<QByteArray> requestLine = lines.constFirst().trimmed().split(' ');
        if (requestLine.size() < 2)
            return;
        request.method = requestLine.at(0);
        request.target = requestLine.at(1);
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const qsizetype colon = lines.at(i).indexOf(':');
            if (colon > 0)
                request.headers.insert(lines.at(i).left(colon).trimmed().toLower(), lines.at(i).mid(colon + 1).trimmed());
        }
        const qsizetype length = request.headers.value("content-length", "0").toLongLong();
        if (buffer->size() < headerEnd + 4 + length)
            return;
        request.body = buffer->mid(headerEnd + 4, length);
        request.receivedAt = std::chrono::steady_clock::now();
        buffer->clear();
        disconnect(socket, &QTcpSocket::readyRead, this, nullptr);
        m_requests.append(request);
        respond(socket, request);
    });
}

void FakeHttpServer::respond(QTcpSocket* socket, const FakeRequest& request)
{
    const auto handler = m_routes.constFind(request.path());
    const FakeResponse response = handler == m_routes.cend() ? FakeResponse::withStatus(404, "not found")
                                                             : (*handler)(request);
    QPointer<QTcpSocket> guarded(socket);
    const auto send = [guarded, response] {
        if (!guarded)
            return;
        QByteArray head = "HTTP/1.1 " + QByteArray::number(response.status) + " Fake\r\nConnection: close\r\n";
        for (const auto& [name, value] : response.headers)
            head += name + ": " + value + "\r\n";
        if (response.sendContentLength && !response.endless)
            head += "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n";
        guarded->write(head + "\r\n");

        QByteArray body = response.dropAfter ? response.body.left(*response.dropAfter) : response.body;
        const qsizetype chunk = response.chunkSize > 0 ? response.chunkSize : qMax<qsizetype>(body.size(), 1);
        auto offset = std::make_shared<qsizetype>(0);
        auto timer = new QTimer(guarded);
        timer->setInterval(response.chunkInterval);
        QObject::connect(timer, &QTimer::timeout, guarded, [guarded, timer, body, chunk, offset, response] {
            if (*offset >= body.size()) {
                if (response.endless && !body.isEmpty()) {
                    *offset = 0;
                } else {
                    timer->stop();
                    // An abrupt close when the transfer is to fail midway.
                    if (response.dropAfter)
                        guarded->abort();
                    else
                        guarded->disconnectFromHost();
                    return;
                }
            }
            guarded->write(body.mid(*offset, chunk));
            *offset += chunk;
        });
        timer->start();
    };
    QTimer::singleShot(response.delay, socket, send);
}
