#include "PodcastFeeds.h"

#include <QLocale>

using namespace Qt::StringLiterals;

namespace {

QString escaped(const QString& text)
{
    return text.toHtmlEscaped();
}

} // namespace

QByteArray rssFeed(const QString& title, const QList<FeedItem>& items, const QString& moreChannelXml)
{
    QString xml = uR"(<?xml version="1.0" encoding="UTF-8"?>
<rss version="2.0" xmlns:itunes="http://www.itunes.com/dtds/podcast-1.0.dtd">
<channel>
  <title>)"_s + escaped(title) + uR"(</title>
  <description><![CDATA[<p>About the show</p>]]></description>
  <itunes:image href="https://example.org/art.jpg"/>
)"_s + moreChannelXml;
    for (const FeedItem& item : items) {
        xml += u"  <item>\n    <title>"_s + escaped(item.title) + u"</title>\n"_s;
        xml += u"    <description><![CDATA["_s + item.description + u"]]></description>\n"_s;
        if (item.guid)
            xml += u"    <guid isPermaLink=\"false\">"_s + escaped(*item.guid) + u"</guid>\n"_s;
        if (item.pubDate)
            xml += u"    <pubDate>"_s + escaped(*item.pubDate) + u"</pubDate>\n"_s;
        if (item.duration)
            xml += u"    <itunes:duration>"_s + escaped(*item.duration) + u"</itunes:duration>\n"_s;
        if (item.enclosure)
            xml += u"    <enclosure url=\""_s + escaped(*item.enclosure) + u"\" type=\"audio/mpeg\" length=\"1000\"/>\n"_s;
        xml += u"  </item>\n"_s;
    }
    xml += u"</channel>\n</rss>\n"_s;
    return xml.toUtf8();
}

QString rfc822(const QDateTime& dateTime)
{
    return QLocale::c().toString(dateTime.toUTC(), u"ddd, dd MMM yyyy HH:mm:ss"_s) + u" +0000"_s;
}
