#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

// RSS documents for the podcast tests, in the shape real feeds have: an itunes namespace,
// CDATA descriptions with HTML, items with and without enclosures.
struct FeedItem {
    QString title;
    std::optional<QString> guid;
    std::optional<QString> enclosure; // url attribute; none for an item without one
    std::optional<QString> pubDate;
    std::optional<QString> duration;
    QString description = QStringLiteral("<p>Show notes with <a href=\"https://example.org\">links</a></p>");
};

QByteArray rssFeed(const QString& title, const QList<FeedItem>& items, const QString& moreChannelXml = {});

// "Mon, 15 Jan 2024 10:00:00 +0000", the form feeds date their items in.
QString rfc822(const QDateTime& dateTime);
