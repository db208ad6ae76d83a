#pragma once

#include "Podcast.h"
#include "RSSParser.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

#include <stdexcept>

// Subscription lists as podcast apps exchange them: OPML 1.0 and 2.0, whose `outline`
// elements name feeds by `xmlUrl`, at any depth (some apps group them in folders).
namespace OPML {

struct Feed {
    QString title;
    QUrl url;
};

class ParseError : public std::runtime_error {
public:
    explicit ParseError(const QString& sentence);
    const QString& message() const { return m_message; }

private:
    QString m_message;
};

// Every feed in document order, each address once. Throws ParseError for what is not OPML.
QList<Feed> parse(const QByteArray& xml);

// Far more than any list of subscriptions; a larger file is not one.
inline constexpr qint64 maximumFileBytes = 16 * 1024 * 1024;

// The feeds of the OPML file at `path`. Throws ParseError, also for what is not a regular
// file (a pipe may never end) and for a file larger than `maximumBytes`, which is refused
// rather than read in part.
QList<Feed> parseFile(const QString& path, qint64 maximumBytes = maximumFileBytes);

// An OPML 2.0 document of the subscriptions.
QByteArray write(const QList<Podcast>& podcasts);

struct ImportReport {
    QList<Podcast> subscribed;
    qsizetype alreadySubscribed = 0; // by the exact feed address
    QList<std::pair<Feed, RSSParser::ParseError>> failed;
};

} // namespace OPML
