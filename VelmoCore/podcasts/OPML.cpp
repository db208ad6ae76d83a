#include "OPML.h"

#include "PodcastHttp.h"
#include "library/DisplayText.h"

#include <QFile>
#include <QFileInfo>

#include <QSet>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

using namespace Qt::StringLiterals;

namespace OPML {

ParseError::ParseError(const QString& sentence)
    : std::runtime_error(sentence.toStdString())
    , m_message(sentence)
{
}

QList<Feed> parse(const QByteArray& xml)
{
    QXmlStreamReader reader(xml);
    QList<Feed> feeds;
    QSet<QUrl> seen;
    bool sawOPML = false;
    while (!reader.atEnd()) {
        reader.readNext();
        if (!reader.isStartElement())
            continue;
        if (!sawOPML) {
            if (reader.name() != u"opml")
                break;
            sawOPML = true;
            continue;
        }
        if (reader.name() == u"outline") {
            const QUrl url(reader.attributes().value(u"xmlUrl"_s).toString().trimmed());
            if (url.isValid() && !url.scheme().isEmpty() && !seen.contains(url)) {
                seen.insert(url);
                QString title = reader.attributes().value(u"title"_s).toString();
                if (title.isEmpty())
                    title = reader.attributes().value(u"text"_s).toString();
                feeds.append({title, url});
            }
        }
    }
    if (!sawOPML)
        throw ParseError(u"The file is not an OPML subscription list."_s);
    if (reader.hasError() && reader.error() != QXmlStreamReader::PrematureEndOfDocumentError)
        throw ParseError(u"The OPML file is damaged: %1 (line %2)."_s.arg(reader.errorString()).arg(reader.lineNumber()));
    return feeds;
}

QList<Feed> parseFile(const QString& path, qint64 maximumBytes)
{
    const QFileInfo info(path);
    if (info.exists() && !info.isFile())
        throw ParseError(u"“%1” is not a regular file."_s.arg(path));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw ParseError(u"“%1” cannot be read: %2."_s.arg(path, PodcastHttp::clause(file.errorString())));
    // The size a file claims is not trusted: files under /proc claim none.
    const QByteArray document = file.read(maximumBytes + 1);
    if (document.size() > maximumBytes) {
        throw ParseError(u"“%1” is larger than %2, too large for a subscription list; nothing was imported."_s.arg(
            path, DisplayText::dataSize(maximumBytes)));
    }
    return parse(document);
}

QByteArray write(const QList<Podcast>& podcasts)
{
    QByteArray bytes;
    QXmlStreamWriter writer(&bytes);
    writer.setAutoFormatting(true);
    writer.writeStartDocument();
    writer.writeStartElement(u"opml"_s);
    writer.writeAttribute(u"version"_s, u"2.0"_s);
    writer.writeStartElement(u"head"_s);
    writer.writeTextElement(u"title"_s, u"Sonorelle subscriptions"_s);
    writer.writeEndElement();
    writer.writeStartElement(u"body"_s);
    for (const Podcast& podcast : podcasts) {
        writer.writeEmptyElement(u"outline"_s);
        writer.writeAttribute(u"type"_s, u"rss"_s);
        writer.writeAttribute(u"text"_s, podcast.title);
        writer.writeAttribute(u"title"_s, podcast.title);
        writer.writeAttribute(u"xmlUrl"_s, podcast.feedURL.toString(QUrl::FullyEncoded));
    }
    writer.writeEndElement();
    writer.writeEndElement();
    writer.writeEndDocument();
    return bytes;
}

} // namespace OPML
