#include "podcasts/RSSParser.h"
#include "support/PodcastFeeds.h"
#include "support/TestEnvironment.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using RSSParser::ParseError;

namespace {

const QUuid podcastID = QUuid::fromString(u"6F1B3C2A-0000-4000-8000-000000000001"_s);
const QUrl feedURL(u"https://example.org/feed.xml"_s);

RSSParser::Feed parse(const QByteArray& xml)
{
    return RSSParser::parse(xml, podcastID, feedURL);
}

RSSParser::Feed parseFixture(const QString& name)
{
    return parse(readFile(QStringLiteral(SONORELLE_TESTDATA) + u"/podcasts/"_s + name));
}

QByteArray channel(const QString& content)
{
    return (u"<rss version=\"2.0\"><channel>"_s + content + u"</channel></rss>"_s).toUtf8();
}

QString item(const QString& content)
{
    return u"<item>"_s + content + u"</item>"_s;
}

ParseError::Kind failureOf(const QByteArray& xml)
{
    try {
        parse(xml);
    } catch (const ParseError& error) {
        return error.kind();
    }
    ADD_FAILURE() << "the document was accepted: " << xml.left(200).constData();
    return ParseError::Kind::noEnclosures;
}

std::optional<double> secondsSince1970(const QString& pubDate)
{
    const auto date = RSSParser::parsePubDate(pubDate);
    if (!date)
        return std::nullopt;
    return date->secondsSinceReferenceDate + double(Date::referenceDateUnixSeconds);
}

bool isAboutNow(const Date& date)
{
    return std::abs(date.secondsSinceReferenceDate - Date::now().secondsSinceReferenceDate) < 60;
}

} // namespace

TEST(RSSParser, ReadsTheChannelAndEveryItemOfARealFeed)
{
    const RSSParser::Feed feed = parseFixture(u"feed-rss-testRss2Basic.xml"_s);
    EXPECT_EQ(feed.podcast.id, podcastID);
    EXPECT_EQ(feed.podcast.feedURL, feedURL);
    EXPECT_EQ(feed.podcast.title, u"title"_s);
    EXPECT_EQ(feed.podcast.description, u"This is the description"_s);
    EXPECT_EQ(feed.podcast.artworkURL, QUrl(u"http://example.com/picture"_s)) << "image/url fills the gap";
    ASSERT_TRUE(feed.podcast.lastFetched);
    EXPECT_TRUE(isAboutNow(*feed.podcast.lastFetched));
    EXPECT_EQ(feed.podcast.autoDownloadRule, PodcastAutoDownloadRule::none());

    ASSERT_EQ(feed.episodes.size(), 10);
    QSet<QUuid> ids;
    for (qsizetype i = 0; i < feed.episodes.size(); ++i) {
        const Episode& episode = feed.episodes.at(i);
        EXPECT_EQ(episode.title, u"item-%1"_s.arg(i));
        EXPECT_EQ(episode.remoteURL, QUrl(u"http://example.com/media-%1"_s.arg(i)));
        EXPECT_EQ(episode.guid, u"http://example.com/item-%1"_s.arg(i));
        EXPECT_EQ(episode.podcastID, podcastID);
        // "01 Jan 70 01:00:00 +0100" has no weekday and a two-digit year: not the one form.
        EXPECT_TRUE(isAboutNow(episode.publishDate));
        ids.insert(episode.id);
    }
    EXPECT_EQ(ids.size(), 10) << "each episode gets an id of its own";
}

TEST(RSSParser, KeepsCDATAAndMarkupAsTheFeedGaveThem)
{
    const RSSParser::Feed mixed = parseFixture(u"rss_channel_item_description_mixed_cdata.xml"_s);
    EXPECT_EQ(mixed.podcast.title, u"t"_s);
    EXPECT_TRUE(mixed.episodes.isEmpty()) << "an item without an enclosure is dropped";

    const RSSParser::Feed feed = parse(channel(
        u"<title><![CDATA[Tech & Talk]]></title>"
        "<description>&lt;p&gt;Escaped &amp; <![CDATA[<b>raw</b>]]>&#233;&lt;/p&gt;</description>"_s
        + item(u"<title>  <![CDATA[ Episode <1> ]]>\n  </title>"
               "<description><![CDATA[Breaking: <b>Big</b>]]> news</description>"
               "<enclosure url=\"https://example.org/1.mp3\"/>"_s)));
    EXPECT_EQ(feed.podcast.title, u"Tech & Talk"_s);
    EXPECT_EQ(feed.podcast.description, u"<p>Escaped & <b>raw</b>é</p>"_s);
    ASSERT_EQ(feed.episodes.size(), 1);
    EXPECT_EQ(feed.episodes[0].title, u"Episode <1>"_s) << "trimmed, CDATA merged";
    EXPECT_EQ(feed.episodes[0].episodeDescription, u"Breaking: <b>Big</b> news"_s);
}

TEST(RSSParser, ChannelTextIsTakenByNameWhereverItStands)
{
    // A title nested in the channel's image comes later and wins; so does its description.
    const RSSParser::Feed feed = parse(channel(
        u"<title>The Show</title><description>About it</description>"
        "<image><url>https://example.org/classic.png</url><title>Show logo</title>"
        "<description>The logo</description></image>"_s));
    EXPECT_EQ(feed.podcast.title, u"Show logo"_s);
    EXPECT_EQ(feed.podcast.description, u"The logo"_s);
    EXPECT_TRUE(feed.episodes.isEmpty());

    // Elements after an item count as channel level again; those inside it do not.
    const RSSParser::Feed after = parse(channel(
        u"<title>First</title>"_s + item(u"<title>Item</title><enclosure url=\"https://e.org/a.mp3\"/>"_s)
        + u"<title>Second</title>"_s));
    EXPECT_EQ(after.podcast.title, u"Second"_s);
    EXPECT_EQ(after.episodes.at(0).title, u"Item"_s);

    // Element names are compared as written: TiTlE is not a title.
    EXPECT_EQ(parseFixture(u"itunes_core_element_uppercase.xml"_s).podcast.title, QString());
}

TEST(RSSParser, ItunesImageOutranksImageURL)
{
    const auto artwork = [](const QString& content) { return parse(channel(content)).podcast.artworkURL; };
    const QString itunes = u"<itunes:image href=\"https://example.org/itunes.jpg\"/>"_s;
    const QString classic = u"<image><url>https://example.org/classic.png</url></image>"_s;

    EXPECT_EQ(artwork(classic + itunes), QUrl(u"https://example.org/itunes.jpg"_s));
    EXPECT_EQ(artwork(itunes + classic), QUrl(u"https://example.org/itunes.jpg"_s));
    EXPECT_EQ(artwork(classic), QUrl(u"https://example.org/classic.png"_s));
    EXPECT_EQ(artwork(item(u"<itunes:image href=\"https://example.org/episode.jpg\"/>"_s)), std::nullopt)
        << "an item's image is not the channel's";
    EXPECT_EQ(artwork(classic + u"<itunes:image href=\"\"/>"_s), QUrl(u"https://example.org/classic.png"_s))
        << "an href that does not parse has no effect";
    EXPECT_EQ(parseFixture(u"feed-rss-testImageWithWhitespace.xml"_s).podcast.artworkURL,
              QUrl(u"https://example.com/image.png"_s));
    EXPECT_EQ(artwork(u"<image><title>none</title></image>"_s), std::nullopt);
}

TEST(RSSParser, EnclosuresDecideWhichItemsAreEpisodes)
{
    const RSSParser::Feed feed = parse(channel(
        u"<enclosure url=\"https://example.org/channel.mp3\"/>"_s
        + item(u"<title>two</title><enclosure url=\"https://example.org/first.mp3\"/>"
               "<enclosure url=\"https://example.org/second.m4a\" type=\"video/mp4\"/>"_s)
        + item(u"<title>bad last</title><enclosure url=\"https://example.org/good.mp3\"/>"
               "<enclosure url=\"http://[broken\"/><enclosure url=\"\"/><enclosure/>"_s)
        + item(u"<title>none</title><link>https://example.org/post</link>"_s)
        + item(u"<title>only bad</title><enclosure url=\"http://[broken\"/>"_s)));
    ASSERT_EQ(feed.episodes.size(), 2);
    EXPECT_EQ(feed.episodes[0].remoteURL, QUrl(u"https://example.org/second.m4a"_s)) << "the last one wins";
    EXPECT_EQ(feed.episodes[1].title, u"bad last"_s);
    EXPECT_EQ(feed.episodes[1].remoteURL, QUrl(u"https://example.org/good.mp3"_s)) << "the last valid one";

    // An enclosure with child elements, as some feeds write it.
    const RSSParser::Feed children = parseFixture(u"issue_217_enclosure_children.xml"_s);
    ASSERT_EQ(children.episodes.size(), 1);
    EXPECT_EQ(children.episodes[0].remoteURL, QUrl(u"http://example.org/enclosure.jpg"_s));
}

TEST(RSSParser, GuidsDurationsAndDatesOfItems)
{
    const QByteArray xml = rssFeed(u"Show"_s, {
        {.title = u"a"_s, .guid = u"  tag:example.org,2024:1  "_s, .enclosure = u"https://e.org/1.mp3"_s,
         .pubDate = u"Mon, 15 Jan 2024 10:00:00 +0000"_s, .duration = u"1:02:03"_s},
        {.title = u"b"_s, .guid = u"   "_s, .enclosure = u"https://e.org/2.mp3"_s,
         .pubDate = u"2024-01-15"_s, .duration = u"abc"_s},
        {.title = u"c"_s, .enclosure = u"https://e.org/3.mp3"_s},
    });
    const RSSParser::Feed parsed = parse(xml);
    ASSERT_EQ(parsed.episodes.size(), 3);
    EXPECT_EQ(parsed.episodes[0].guid, u"tag:example.org,2024:1"_s);
    EXPECT_EQ(parsed.episodes[0].duration, 3723);
    EXPECT_EQ(parsed.episodes[0].publishDate.secondsSinceReferenceDate,
              1705312800 - double(Date::referenceDateUnixSeconds));
    EXPECT_EQ(parsed.episodes[1].guid, std::nullopt) << "a guid of blanks is none";
    EXPECT_TRUE(isAboutNow(parsed.episodes[1].publishDate)) << "an unparsable date is the time of the parse";
    EXPECT_TRUE(isAboutNow(parsed.episodes[2].publishDate));
}

TEST(RSSParser, DurationsInEveryShapeFeedsUse)
{
    const QList<std::pair<QString, double>> cases{
        {u"1:02:03"_s, 3723}, {u"02:03"_s, 123},   {u"45"_s, 45},         {u"1::30"_s, 90},
        {u"90.5"_s, 90.5},    {u""_s, 0},          {u"1:2:3:4"_s, 0},     {u"abc"_s, 0},
        {u"1:xx:30"_s, 90},   {u"0:00:00"_s, 0},   {u"100:00"_s, 6000},   {u"::"_s, 0},
        {u"1:30.25"_s, 90.25}, {u"nan"_s, 0},      {u"1: 30"_s, 1},       {u"3:00"_s, 180},
    };
    for (const auto& [text, seconds] : cases)
        EXPECT_EQ(RSSParser::parseDuration(text), seconds) << text.toStdString();
}

TEST(RSSParser, PubDatesInTheOneFormWithOffsetsAndZoneNames)
{
    const double jan15 = 1705312800; // 2024-01-15 10:00:00 UTC
    const QList<std::pair<QString, std::optional<double>>> cases{
        {u"Mon, 15 Jan 2024 10:00:00 GMT"_s, jan15},
        {u"Mon, 15 Jan 2024 10:00:00 Z"_s, jan15},
        {u"Mon, 15 Jan 2024 05:00:00 EST"_s, jan15},
        {u"Mon, 15 Jan 2024 06:00:00 EDT"_s, jan15},
        {u"Mon, 15 Jan 2024 05:00:00 -0500"_s, jan15},
        {u"Mon, 15 Jan 2024 15:30:00 +05:30"_s, jan15},
        {u"Tue, 16 Jan 2024 00:00:00 +1400"_s, jan15},
        {u"Mon, 15 Jan 2024 11:00:00 GMT+0100"_s, jan15},
        {u"  Mon, 15 Jan 2024 10:00:00 +0000\n"_s, jan15},
        {u"Mon, 5 Feb 2024 10:00:00 +0000"_s, jan15 + 21 * 86400},
        {u"Thu, 29 Feb 2024 00:00:00 GMT"_s, 1709164800},
        {u"Mon, 02 May 1960 09:05:01 +0100"_s, -305049299},
        // The weekday is read, not checked: feeds get it wrong.
        {u"Thu, 8 Oct 2014 09:00:00 GMT"_s, 1412758800},
        {u"2024-01-15"_s, std::nullopt},
        {u"15 Jan 2024 10:00:00 +0000"_s, std::nullopt},
        {u"Mon 15 Jan 2024 10:00:00 +0000"_s, std::nullopt},
        {u"Mon, 15 Jan 2024 10:00 +0000"_s, std::nullopt},
        {u"Mon, 15 Jan 24 10:00:00 +0000"_s, std::nullopt},
        {u"Mon, 15 Jan 2024 10:00:00"_s, std::nullopt},
        {u"Mon, 15 Jan 2024 10:00:00 CEST"_s, std::nullopt},
        {u"Fri, 30 Feb 2024 10:00:00 +0000"_s, std::nullopt},
        {u"Mon, 15 Jan 2024 24:00:00 +0000"_s, std::nullopt},
        {u"Mon, 15 Jan 2024 10:00:00 +2500"_s, std::nullopt},
        {u"Mon, 15 Foo 2024 10:00:00 +0000"_s, std::nullopt},
        {u"Xyz, 15 Jan 2024 10:00:00 +0000"_s, std::nullopt},
        {u""_s, std::nullopt},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(secondsSince1970(text), expected) << text.toStdString();
}

TEST(RSSParser, DocumentsThatAreNotFeedsFailAsInvalid)
{
    using Kind = ParseError::Kind;
    EXPECT_EQ(failureOf({}), Kind::invalidFeed);
    EXPECT_EQ(failureOf("<rss version=\"2.0\"></rss>"), Kind::invalidFeed) << "no channel";
    EXPECT_EQ(failureOf("<?xml version=\"1.0\"?><rss><channel><title>x</title>"), Kind::invalidFeed)
        << "the channel never ends";
    // A channel that ended is no help when the document then goes wrong.
    EXPECT_EQ(failureOf("<rss><channel><title>x</title></channel><oops></rss>"), Kind::invalidFeed);
    EXPECT_EQ(failureOf("<!DOCTYPE html><html><head><title>404 Not Found</title></head>"
                        "<body><h1>Not Found</h1><br></body></html>"),
              Kind::invalidFeed);
    EXPECT_EQ(failureOf(readFile(QStringLiteral(SONORELLE_TESTDATA) + u"/podcasts/issue_305_bare_ampersand.xml"_s)),
              Kind::invalidFeed)
        << "a bare ampersand is not well-formed";
    EXPECT_EQ(failureOf(channel(u"<title>&nbsp;</title>"_s)), Kind::invalidFeed) << "an undeclared entity";

    try {
        parse("<rss><channel>\n<title>x</titel></channel></rss>");
        ADD_FAILURE();
    } catch (const ParseError& error) {
        EXPECT_TRUE(error.message().startsWith(u"This is not a podcast feed that can be read: line 2"_s))
            << error.message().toStdString();
    }
}

TEST(RSSParser, DeclaredEntitiesAreNeverExpanded)
{
    QByteArray laughs = "<?xml version=\"1.0\"?>\n<!DOCTYPE rss [\n<!ENTITY lol \"lol\">\n";
    laughs += "<!ENTITY lol1 \"&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;\">\n";
    for (int i = 2; i <= 9; ++i) {
        QByteArray previous = "&lol" + QByteArray::number(i - 1) + ';';
        laughs += "<!ENTITY lol" + QByteArray::number(i) + " \"" + previous.repeated(10) + "\">\n";
    }
    laughs += "]>\n<rss><channel><title>&lol9;</title></channel></rss>";

    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(failureOf(laughs), ParseError::Kind::invalidFeed);
    EXPECT_LT(timer.elapsed(), 1000) << "refused before anything is expanded";

    EXPECT_EQ(failureOf("<!DOCTYPE rss [<!ENTITY show \"The Show\">]><rss><channel><title>&show;</title>"
                        "</channel></rss>"),
              ParseError::Kind::invalidFeed);

    // An old-style public DTD declares nothing here and is no reason to refuse.
    const RSSParser::Feed netscape = parse(
        "<?xml version=\"1.0\"?><!DOCTYPE rss PUBLIC \"-//Netscape Communications//DTD RSS 0.91//EN\" "
        "\"http://my.netscape.com/publish/formats/rss-0.91.dtd\"><rss version=\"0.91\"><channel>"
        "<title>Old &amp; fine</title></channel></rss>");
    EXPECT_EQ(netscape.podcast.title, u"Old & fine"_s);
}


TEST(RSSParser, ElementsNestedPastTheLimitAreRefusedNotFollowed)
{
    // The channel and rss elements take two levels; the rest is an image's nesting.
    const auto nested = [](int levels, bool closed) -> QByteArray {
        QByteArray inner = QByteArray("<x>").repeated(levels);
        if (closed)
            inner += QByteArray("</x>").repeated(levels);
        return "<rss><channel><title>Deep</title>" + inner + (closed ? "</channel></rss>" : QByteArray());
    };
    EXPECT_EQ(parse(nested(RSSParser::maximumElementDepth - 2, true)).podcast.title, u"Deep"_s);
    EXPECT_EQ(failureOf(nested(RSSParser::maximumElementDepth - 1, true)), ParseError::Kind::invalidFeed);

    // Millions of unclosed elements: refused at the limit rather than each one remembered.
    try {
        parse(nested(3'000'000, false));
        ADD_FAILURE() << "the document was accepted";
    } catch (const ParseError& error) {
        EXPECT_EQ(error.kind(), ParseError::Kind::invalidFeed);
        EXPECT_EQ(error.message(), u"This is not a podcast feed that can be read: its elements are nested more than "
                                   u"256 deep."_s);
    }
}

TEST(RSSParser, AFeedFileIsReadOnlyWhenRegularAndNeverPastTheLimit)
{
    QTemporaryDir folder;
    const auto failure = [](const QString& path, qint64 limit = RSSParser::maximumFeedBytes) {
        try {
            RSSParser::parseFile(path, podcastID, limit);
        } catch (const ParseError& error) {
            return std::pair(error.kind(), error.message());
        }
        ADD_FAILURE() << "read " << path.toStdString();
        return std::pair(ParseError::Kind::noEnclosures, QString());
    };
    const QString feed = folder.filePath(u"feed.xml"_s);
    writeFile(feed, channel(u"<title>On disk</title>"_s));
    const RSSParser::Feed read = RSSParser::parseFile(feed, podcastID);
    EXPECT_EQ(read.podcast.title, u"On disk"_s);
    EXPECT_EQ(read.podcast.feedURL, QUrl::fromLocalFile(feed));

    // Devices that never end and a pipe that never begins are not read at all.
    const QString pipe = folder.filePath(u"pipe.xml"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    const QString link = folder.filePath(u"link.xml"_s);
    ASSERT_TRUE(QFile::link(u"/dev/zero"_s, link));
    for (const QString& path : {u"/dev/zero"_s, u"/dev/urandom"_s, pipe, link, folder.path()}) {
        const auto [kind, message] = failure(path);
        EXPECT_EQ(kind, ParseError::Kind::networkError) << path.toStdString();
        EXPECT_TRUE(message.endsWith(u"is not a regular file."_s)) << message.toStdString();
    }
    EXPECT_EQ(failure(folder.filePath(u"missing.xml"_s)).first, ParseError::Kind::networkError);

    // The size a file claims is not what stops the reading: /proc claims none.
    EXPECT_EQ(failure(feed, 16), std::pair(ParseError::Kind::tooLarge,
                                           u"The feed is larger than 16 bytes, so it was not read."_s));
    EXPECT_EQ(QFileInfo(u"/proc/self/maps"_s).size(), 0);
    EXPECT_EQ(failure(u"/proc/self/maps"_s, 64).first, ParseError::Kind::tooLarge);
}
