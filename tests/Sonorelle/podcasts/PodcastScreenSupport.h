#pragma once

#include "facade/Library.h"
#include "library/BlockingWait.h"
#include "support/FakeHttpServer.h"
#include "support/PodcastFeeds.h"
#include "support/TestEnvironment.h"

#include <QBuffer>
#include <QImage>
#include <QTest>

// A library of its own with shows served by a local fake server: feeds, covers and
// enclosures, so that nothing reaches the internet.
struct PodcastScreenFixture {
    TemporaryStores stores;
    FakeHttpServer server;
    Library library{QUrl::fromLocalFile(stores.folder() + QStringLiteral("/Music"))};

    static QByteArray coverPNG()
    {
        QImage image(32, 32, QImage::Format_RGB32);
        image.fill(Qt::darkCyan);
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        return buffer.data();
    }

    // Items dated `daysAgo` back, newest last in the argument list's order of age.
    QByteArray feed(const QString& title, const QList<std::pair<QString, int>>& items)
    {
        const QString slug = QString(title).replace(u' ', u'-');
        server.route(QStringLiteral("/art/") + slug + QStringLiteral(".png"), FakeResponse::ok(coverPNG(), "image/png"));
        QString xml = QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                     "<rss version=\"2.0\" xmlns:itunes=\"http://www.itunes.com/dtds/podcast-1.0.dtd\">"
                                     "<channel><title>")
                      + title.toHtmlEscaped() + QStringLiteral("</title><itunes:image href=\"")
                      + server.url(QStringLiteral("/art/") + slug + QStringLiteral(".png")).toString()
                      + QStringLiteral("\"/>");
        for (const auto& [name, daysAgo] : items) {
            const QString media = QStringLiteral("/media/") + name + QStringLiteral(".mp3");
            server.route(media, FakeResponse::ok("audio of " + name.toUtf8(), "audio/mpeg"));
            xml += QStringLiteral("<item><title>") + name + QStringLiteral("</title><guid>") + name
                   + QStringLiteral("</guid><pubDate>")
                   + rfc822(QDateTime::currentDateTimeUtc().addDays(-daysAgo))
                   + QStringLiteral("</pubDate><itunes:duration>1:05</itunes:duration>"
                                    "<description><![CDATA[<p>Notes of ")
                   + name + QStringLiteral(" with <a href=\"https://example.org/")
                   + name + QStringLiteral("\">a link</a> &amp; more</p>]]></description><enclosure url=\"")
                   + server.url(media).toString() + QStringLiteral("\" type=\"audio/mpeg\" length=\"10\"/></item>");
        }
        return (xml + QStringLiteral("</channel></rss>")).toUtf8();
    }

    Podcast subscribe(const QString& title, const QList<std::pair<QString, int>>& items)
    {
        const QString path = QStringLiteral("/feeds/") + QString::number(++m_feeds) + QStringLiteral(".xml");
        server.route(path, FakeResponse::ok(feed(title, items), "application/rss+xml"));
        return BlockingWait::wait(library.addPodcast(server.url(path)));
    }

    const Episode& episodeTitled(const QString& title) const
    {
        for (const Episode& e : library.episodes()) {
            if (e.title == title)
                return e;
        }
        throw std::runtime_error("no such episode");
    }

private:
    int m_feeds = 0;
};
