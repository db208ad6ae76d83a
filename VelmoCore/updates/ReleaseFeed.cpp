#include "ReleaseFeed.h"

#include <QRegularExpression>
#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

namespace ReleaseFeed {

namespace {

struct Item {
    QString title;
    QString link;
    QString pubDate;
    QString enclosure;
    QString guid;
    QString version;
};

QStringView localName(QStringView qualified)
{
    const qsizetype colon = qualified.lastIndexOf(u':');
    return colon < 0 ? qualified : qualified.mid(colon + 1);
}

// "1.10.2-beta" into its numbers and its suffix.
std::pair<QList<qint64>, QString> split(const QString& version)
{
    const qsizetype dash = version.indexOf(u'-');
    const QString numbers = dash < 0 ? version : version.left(dash);
    QList<qint64> parts;
    for (const QString& part : numbers.split(u'.'))
        parts.append(part.toLongLong());
    return {parts, dash < 0 ? QString() : version.mid(dash + 1)};
}

} // namespace

FeedError::FeedError(Kind kind, const QString& sentence)
    : std::runtime_error(sentence.toStdString())
    , m_kind(kind)
    , m_message(sentence)
{
}

std::optional<QString> versionIn(const QString& text)
{
    static const QRegularExpression dotted(u"\\d+(?:\\.\\d+)+(?:-[0-9A-Za-z.]+)?"_s);
    const QRegularExpressionMatch match = dotted.match(text);
    return match.hasMatch() ? std::optional(match.captured()) : std::nullopt;
}

int compareVersions(const QString& a, const QString& b)
{
    const auto [numbersA, suffixA] = split(a);
    const auto [numbersB, suffixB] = split(b);
    for (qsizetype i = 0; i < std::max(numbersA.size(), numbersB.size()); ++i) {
        const qint64 x = numbersA.value(i, 0);
        const qint64 y = numbersB.value(i, 0);
        if (x != y)
            return x < y ? -1 : 1;
    }
    if (suffixA.isEmpty() != suffixB.isEmpty())
        return suffixA.isEmpty() ? 1 : -1;
    return QString::compare(suffixA, suffixB);
}

QList<Release> parse(const QByteArray& xml)
{
    QXmlStreamReader reader(xml);
    bool sawRSS = false;
    std::optional<Item> item;
    QList<Release> releases;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            const QStringView name = reader.qualifiedName();
            if (!sawRSS) {
                if (name != u"rss")
                    break;
                sawRSS = true;
            } else if (name == u"item") {
                item = Item{};
            } else if (item) {
                const QStringView local = localName(name);
                if (name == u"enclosure")
                    item->enclosure = reader.attributes().value(u"url"_s).toString();
                else if (name == u"title")
                    item->title = reader.readElementText(QXmlStreamReader::IncludeChildElements).trimmed();
                else if (name == u"link")
                    item->link = reader.readElementText(QXmlStreamReader::IncludeChildElements).trimmed();
                else if (name == u"pubDate")
                    item->pubDate = reader.readElementText(QXmlStreamReader::IncludeChildElements).trimmed();
                else if (name == u"guid")
                    item->guid = reader.readElementText(QXmlStreamReader::IncludeChildElements).trimmed();
                else if (local == u"version")
                    item->version = reader.readElementText(QXmlStreamReader::IncludeChildElements).trimmed();
            }
        } else if (reader.isEndElement() && reader.qualifiedName() == u"item" && item) {
            const std::optional<QString> version = !item->version.isEmpty() ? std::optional(item->version)
                                                                            : versionIn(item->title);
            if (version) {
                QUrl link(item->link);
                if (link.isEmpty() || link.scheme().isEmpty())
                    link = QUrl(item->enclosure.isEmpty() ? item->guid : item->enclosure);
                releases.append({*version, item->title, link, item->pubDate});
            }
            item.reset();
        }
    }
    if (!sawRSS || (reader.hasError() && releases.isEmpty())) {
        throw FeedError(FeedError::Kind::notAFeed,
                        u"The update address did not answer with a release feed (RSS) but with something else."_s);
    }
    if (releases.isEmpty())
        throw FeedError(FeedError::Kind::noVersions, u"The release feed names no version of Sonorelle."_s);
    return releases;
}

Release newest(const QList<Release>& releases)
{
    Release best = releases.constFirst();
    for (const Release& release : releases) {
        if (compareVersions(release.version, best.version) > 0)
            best = release;
    }
    return best;
}

} // namespace ReleaseFeed
