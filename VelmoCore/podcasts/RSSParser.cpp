#include "RSSParser.h"

#include "PodcastHttp.h"
#include "library/DisplayText.h"
#include "metadata/ServiceSettings.h"

#include <QCoro/QCoroFuture>
#include <QFile>
#include <QFileInfo>
#include <QVarLengthArray>
#include <QXmlStreamReader>
#include <QtConcurrent/QtConcurrentRun>

#include <array>
#include <cmath>
#include <variant>

using namespace Qt::StringLiterals;

namespace RSSParser {

ParseError::ParseError(Kind kind, const QString& detail)
    : std::runtime_error(detail.toStdString())
    , m_kind(kind)
    , m_detail(PodcastHttp::clause(detail))
{
}

ParseError ParseError::httpError(int status, const QString& statusText)
{
    ParseError error(Kind::httpError, statusText);
    error.m_httpStatus = status;
    return error;
}

QString ParseError::message() const
{
    switch (m_kind) {
    case Kind::networkError: return u"The feed could not be loaded: %1."_s.arg(m_detail);
    case Kind::invalidFeed:
        return m_detail.isEmpty() ? u"This is not a podcast feed that can be read."_s
                                  : u"This is not a podcast feed that can be read: %1."_s.arg(m_detail);
    case Kind::noEnclosures: return u"The feed has no episodes."_s;
    case Kind::tooLarge: return u"The feed is larger than %1, so it was not read."_s.arg(m_detail);
    case Kind::httpError: return u"The server has no feed at this address."_s;
    }
    Q_UNREACHABLE();
}

namespace {

// The address in a feed's attribute or text, when it parses as one.
std::optional<QUrl> parsedURL(const QString& text)
{
    const QUrl url(text, QUrl::TolerantMode);
    if (text.isEmpty() || !url.isValid() || url.isEmpty())
        return std::nullopt;
    return url;
}

// The state of one parse. Element names are compared as written, prefix included: there is
// no namespace processing.
class FeedReader {
public:
    FeedReader(const QUuid& podcastID, const QUrl& feedURL)
        : m_podcastID(podcastID)
        , m_feedURL(feedURL)
    {
    }

    Feed read(const QByteArray& document)
    {
        QXmlStreamReader reader(document);
        reader.setNamespaceProcessing(false);
        int depth = 0;
        while (!reader.atEnd()) {
            switch (reader.readNext()) {
            case QXmlStreamReader::DTD:
                // Entities of the document's own are never expanded: only the five that XML
                // predefines are read, so a "billion laughs" costs nothing.
                if (!reader.entityDeclarations().isEmpty() || reader.text().contains("<!ENTITY"_L1))
                    throw ParseError(ParseError::Kind::invalidFeed, u"it declares entities of its own"_s);
                break;
            case QXmlStreamReader::StartElement:
                // The reader keeps every open element; unbounded, a few megabytes of unclosed
                // elements would take gigabytes.
                if (++depth > maximumElementDepth) {
                    throw ParseError(ParseError::Kind::invalidFeed,
                                     u"its elements are nested more than %1 deep"_s.arg(maximumElementDepth));
                }
                startElement(reader);
                break;
            // CDATA arrives here too, so titles and descriptions written as CDATA are kept.
            case QXmlStreamReader::Characters: m_currentText += reader.text(); break;
            case QXmlStreamReader::EndElement:
                --depth;
                endElement(reader.qualifiedName());
                break;
            default: break;
            }
        }
        if (reader.hasError()) {
            throw ParseError(ParseError::Kind::invalidFeed, u"line %1, column %2: %3"_s.arg(reader.lineNumber())
                                                                  .arg(reader.columnNumber())
                                                                  .arg(reader.errorString()));
        }
        if (!m_podcast)
            throw ParseError(ParseError::Kind::invalidFeed, u"it has no channel"_s);
        return {*m_podcast, std::move(m_episodes)};
    }

private:
    void startElement(const QXmlStreamReader& reader)
    {
        const QStringView name = reader.qualifiedName();
        m_currentText.clear();
        if (name == u"channel") {
            m_inChannel = true;
        } else if (name == u"item") {
            m_inItem = true;
            m_itemTitle.clear();
            m_itemDescription.clear();
            m_itemPubDate.reset();
            m_itemEnclosureURL.reset();
            m_itemGUID.reset();
            m_itemDuration = 0;
        } else if (name == u"enclosure" && m_inItem) {
            // The last enclosure of an item whose address parses wins; its type is not looked at.
            if (const auto url = parsedURL(reader.attributes().value("url"_L1).toString()))
                m_itemEnclosureURL = url;
        } else if (name == u"itunes:image" && !m_inItem) {
            if (const auto url = parsedURL(reader.attributes().value("href"_L1).toString()))
                m_channelArtworkURL = url;
        }
    }

    void endElement(QStringView name)
    {
        const QString text = m_currentText.trimmed();
        m_currentText.clear();
        if (m_inItem)
            endItemElement(name, text);
        else if (m_inChannel)
            endChannelElement(name, text);
    }

    void endItemElement(QStringView name, const QString& text)
    {
        if (name == u"title") {
            m_itemTitle = text;
        } else if (name == u"description") {
            m_itemDescription = text;
        } else if (name == u"pubDate") {
            m_itemPubDate = parsePubDate(text);
        } else if (name == u"itunes:duration") {
            m_itemDuration = parseDuration(text);
        } else if (name == u"guid") {
            m_itemGUID = text.isEmpty() ? std::nullopt : std::optional(text);
        } else if (name == u"item") {
            finishItem();
            m_inItem = false;
        }
    }

    // By the element's own name, not its place: a title nested in the channel's image
    // overwrites the channel's title when it comes later.
    void endChannelElement(QStringView name, const QString& text)
    {
        if (name == u"title") {
            m_channelTitle = text;
        } else if (name == u"description") {
            m_channelDescription = text;
        } else if (name == u"url") {
            // The classic image/url only fills a gap; itunes:image always wins.
            if (!m_channelArtworkURL)
                m_channelArtworkURL = parsedURL(text);
        } else if (name == u"channel") {
            m_podcast = Podcast{
                .id = m_podcastID,
                .title = m_channelTitle,
                .feedURL = m_feedURL,
                .description = m_channelDescription,
                .artworkURL = m_channelArtworkURL,
                .lastFetched = Date::now(),
                .autoDownloadRule = PodcastAutoDownloadRule::none(),
            };
            m_inChannel = false;
        }
    }

    void finishItem()
    {
        if (!m_itemEnclosureURL)
            return;
        m_episodes.append(Episode{
            .id = QUuid::createUuid(),
            .podcastID = m_podcastID,
            .title = m_itemTitle,
            .episodeDescription = m_itemDescription,
            .publishDate = m_itemPubDate.value_or(Date::now()),
            .duration = m_itemDuration,
            .remoteURL = *m_itemEnclosureURL,
            .guid = m_itemGUID,
        });
    }

    const QUuid m_podcastID;
    const QUrl m_feedURL;
    std::optional<Podcast> m_podcast;
    QList<Episode> m_episodes;
    QString m_channelTitle;
    QString m_channelDescription;
    std::optional<QUrl> m_channelArtworkURL;
    bool m_inItem = false;
    bool m_inChannel = false;
    QString m_currentText;
    QString m_itemTitle;
    QString m_itemDescription;
    std::optional<Date> m_itemPubDate;
    double m_itemDuration = 0;
    std::optional<QUrl> m_itemEnclosureURL;
    std::optional<QString> m_itemGUID;
};

// Reads the fixed fields of a pubDate from left to right.
class DateScanner {
public:
    explicit DateScanner(QStringView text)
        : m_text(text)
    {
    }

    bool atEnd() const { return m_position == m_text.size(); }
    QChar peek() const { return atEnd() ? QChar() : m_text.at(m_position); }

    bool consume(QChar c)
    {
        if (peek() != c)
            return false;
        ++m_position;
        return true;
    }

    // At least one blank.
    bool blanks()
    {
        const qsizetype start = m_position;
        while (!atEnd() && (peek() == u' ' || peek() == u'\t'))
            ++m_position;
        return m_position > start;
    }

    QStringView letters()
    {
        const qsizetype start = m_position;
        while (!atEnd() && peek().isLetter() && peek().unicode() < 128)
            ++m_position;
        return m_text.mid(start, m_position - start);
    }

    // A decimal number of between `minimum` and `maximum` digits.
    std::optional<int> number(int minimum, int maximum)
    {
        int value = 0;
        int digits = 0;
        while (digits < maximum && !atEnd() && peek().unicode() >= '0' && peek().unicode() <= '9') {
            value = value * 10 + (peek().unicode() - '0');
            ++digits;
            ++m_position;
        }
        if (digits < minimum)
            return std::nullopt;
        return value;
    }

private:
    QStringView m_text;
    qsizetype m_position = 0;
};

// The index in `names` of an English abbreviation, any case.
template <std::size_t N>
std::optional<int> indexOfName(QStringView word, const std::array<QLatin1StringView, N>& names)
{
    for (std::size_t i = 0; i < N; ++i) {
        if (word.compare(names[i], Qt::CaseInsensitive) == 0)
            return int(i);
    }
    return std::nullopt;
}

constexpr std::array weekdays{"Mon"_L1, "Tue"_L1, "Wed"_L1, "Thu"_L1, "Fri"_L1, "Sat"_L1, "Sun"_L1};
constexpr std::array months{"Jan"_L1, "Feb"_L1, "Mar"_L1, "Apr"_L1, "May"_L1, "Jun"_L1,
                            "Jul"_L1, "Aug"_L1, "Sep"_L1, "Oct"_L1, "Nov"_L1, "Dec"_L1};

// +0000, -0500 or -05:00, in seconds east of UTC.
std::optional<int> numericOffset(DateScanner& scanner)
{
    const int sign = scanner.consume(u'-') ? -1 : (scanner.consume(u'+') ? 1 : 0);
    if (sign == 0)
        return std::nullopt;
    const auto hours = scanner.number(2, 2);
    scanner.consume(u':');
    const auto minutes = scanner.number(2, 2);
    if (!hours || !minutes || *hours > 23 || *minutes > 59)
        return std::nullopt;
    return sign * (*hours * 3600 + *minutes * 60);
}

std::optional<int> zoneOffset(DateScanner& scanner)
{
    if (scanner.peek() == u'+' || scanner.peek() == u'-')
        return numericOffset(scanner);
    static const QList<std::pair<QLatin1StringView, int>> zones{
        {"GMT"_L1, 0},  {"UT"_L1, 0},   {"UTC"_L1, 0},  {"Z"_L1, 0},    {"EST"_L1, -5}, {"EDT"_L1, -4},
        {"CST"_L1, -6}, {"CDT"_L1, -5}, {"MST"_L1, -7}, {"MDT"_L1, -6}, {"PST"_L1, -8}, {"PDT"_L1, -7},
    };
    const QStringView name = scanner.letters();
    for (const auto& [zone, hours] : zones) {
        if (name.compare(zone, Qt::CaseInsensitive) != 0)
            continue;
        // "GMT+0100" names its offset from GMT.
        if (hours == 0 && (scanner.peek() == u'+' || scanner.peek() == u'-'))
            return numericOffset(scanner);
        return hours * 3600;
    }
    return std::nullopt;
}

} // namespace

Feed parse(const QByteArray& document, const QUuid& podcastID, const QUrl& feedURL)
{
    return FeedReader(podcastID, feedURL).read(document);
}

Feed parseFile(const QString& path, const QUuid& podcastID, qint64 maximumBytes)
{
    using Kind = ParseError::Kind;
    const QFileInfo info(path);
    // A device or a pipe may never end, or never begin: opening a pipe with no writer waits
    // for ever.
    if (info.exists() && !info.isFile())
        throw ParseError(Kind::networkError, u"“%1” is not a regular file"_s.arg(path));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw ParseError(Kind::networkError, u"“%1” cannot be read: %2"_s.arg(path, file.errorString()));
    // The size a file claims is not trusted: files under /proc claim none.
    const QByteArray document = file.read(maximumBytes + 1);
    if (document.size() > maximumBytes)
        throw ParseError(Kind::tooLarge, DisplayText::dataSize(maximumBytes));
    return parse(document, podcastID, QUrl::fromLocalFile(info.absoluteFilePath()));
}

QCoro::Task<Feed> fetch(QUuid podcastID, QUrl url, FetchLimits limits)
{
    const PodcastHttp::Body body =
        co_await PodcastHttp::get(url, ServiceSettings::load().userAgent(), limits.maximumBytes, limits.deadline);
    if (body.tooLarge)
        throw ParseError(ParseError::Kind::tooLarge, DisplayText::dataSize(limits.maximumBytes));
    if (body.failure)
        throw ParseError(ParseError::Kind::networkError, *body.failure);
    if (body.status && *body.status >= 400)
        throw ParseError::httpError(*body.status, body.statusText);

    // A large feed takes a while to read; the main thread goes on meanwhile. Exceptions do not
    // cross the thread as themselves, so the error comes back as a value.
    using Outcome = std::variant<Feed, ParseError>;
    // Named before the co_await: g++ 12 destroys a lambda written inside one twice.
    QFuture<Outcome> parsing = QtConcurrent::run([data = body.data, podcastID, url]() -> Outcome {
        try {
            return parse(data, podcastID, url);
        } catch (const ParseError& error) {
            return error;
        }
    });
    Outcome outcome = co_await parsing;
    if (auto* error = std::get_if<ParseError>(&outcome))
        throw *error;
    co_return std::get<Feed>(std::move(outcome));
}

double parseDuration(QStringView text)
{
    QVarLengthArray<double, 4> values;
    for (QStringView part : text.split(u':', Qt::SkipEmptyParts)) {
        if (part.front().isSpace() || part.back().isSpace())
            continue;
        bool ok = false;
        const double value = part.toDouble(&ok);
        if (ok && std::isfinite(value))
            values.append(value);
    }
    switch (values.size()) {
    case 1: return values[0];
    case 2: return values[0] * 60 + values[1];
    case 3: return values[0] * 3600 + values[1] * 60 + values[2];
    default: return 0;
    }
}

std::optional<Date> parsePubDate(QStringView text)
{
    DateScanner scanner(text.trimmed());
    if (!indexOfName(scanner.letters(), weekdays) || !scanner.consume(u',') || !scanner.blanks())
        return std::nullopt;
    const auto day = scanner.number(1, 2);
    if (!day || !scanner.blanks())
        return std::nullopt;
    const auto month = indexOfName(scanner.letters(), months);
    if (!month || !scanner.blanks())
        return std::nullopt;
    const auto year = scanner.number(4, 4);
    if (!year || !scanner.blanks())
        return std::nullopt;
    const auto hour = scanner.number(1, 2);
    if (!hour || !scanner.consume(u':'))
        return std::nullopt;
    const auto minute = scanner.number(2, 2);
    if (!minute || !scanner.consume(u':'))
        return std::nullopt;
    const auto second = scanner.number(2, 2);
    if (!second || !scanner.blanks())
        return std::nullopt;
    const auto offset = zoneOffset(scanner);
    if (!offset || !scanner.atEnd())
        return std::nullopt;

    const QDate date(*year, *month + 1, *day);
    if (!date.isValid() || *hour > 23 || *minute > 59 || *second > 59)
        return std::nullopt;
    constexpr qint64 unixEpochJulianDay = 2440588;
    const qint64 unixSeconds = (date.toJulianDay() - unixEpochJulianDay) * 86400 + *hour * 3600 + *minute * 60
                               + *second - *offset;
    return Date{double(unixSeconds - Date::referenceDateUnixSeconds)};
}

} // namespace RSSParser
