#include "podcasts/PodcastEpisodes.h"
#include "podcasts/RSSParser.h"

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace {

// A feed as long-running shows publish them: CDATA show notes with HTML of about a kilobyte,
// an RFC 822 date, a duration, a guid and one enclosure per item.
QByteArray generateFeed(int items)
{
    const QString notes = u"<p>In this episode we talk about <b>music</b>, <a href=\"https://example.org\">links</a> "
                          "and more.</p>"_s.repeated(8);
    QString xml = uR"(<?xml version="1.0" encoding="UTF-8"?>
<rss version="2.0" xmlns:itunes="http://www.itunes.com/dtds/podcast-1.0.dtd" xmlns:atom="http://www.w3.org/2005/Atom">
<channel><title>Benchmark Radio</title><description><![CDATA[<p>A show</p>]]></description>
<itunes:image href="https://example.org/art.jpg"/><language>en</language>
)"_s;
    xml.reserve(items * 1800);
    for (int i = 0; i < items; ++i) {
        xml += u"<item><title>Episode %1: a conversation</title>"
               "<description><![CDATA["_s.arg(i)
               + notes
               + u"]]></description><guid isPermaLink=\"false\">urn:uuid:bench-%1</guid>"
                 "<pubDate>Mon, 15 Jan 2024 10:%2:00 +0000</pubDate><itunes:duration>1:%2:03</itunes:duration>"
                 "<itunes:explicit>false</itunes:explicit>"
                 "<enclosure url=\"https://cdn.example.org/shows/bench/episode-%1.mp3?source=rss\" "
                 "type=\"audio/mpeg\" length=\"48000000\"/></item>\n"_s.arg(i)
                     .arg(i % 60, 2, 10, QChar(u'0'));
    }
    xml += u"</channel></rss>\n"_s;
    return xml.toUtf8();
}

void parseFeed(benchmark::State& state)
{
    const QByteArray feed = generateFeed(int(state.range(0)));
    const QUuid id = QUuid::createUuid();
    const QUrl url(u"https://example.org/feed.xml"_s);
    for (auto _ : state) {
        const RSSParser::Feed parsed = RSSParser::parse(feed, id, url);
        benchmark::DoNotOptimize(parsed.episodes.size());
    }
    state.counters["feedMiB"] = double(feed.size()) / (1024.0 * 1024.0);
}

// A refresh of a long feed: every fetched episode matches a stored one, by guid or, in a feed
// without guids, by enclosure address. The stored list is copied on write, as in the library.
void mergeEpisodes(benchmark::State& state)
{
    const bool withGUIDs = state.range(1) != 0;
    const QUuid podcastID = QUuid::createUuid();
    const RSSParser::Feed first = RSSParser::parse(generateFeed(int(state.range(0))), podcastID, {});
    const RSSParser::Feed again = RSSParser::parse(generateFeed(int(state.range(0))), podcastID, {});
    QList<Episode> stored = first.episodes;
    QList<Episode> fetched = again.episodes;
    if (!withGUIDs) {
        for (Episode& e : stored)
            e.guid.reset();
        for (Episode& e : fetched)
            e.guid.reset();
    }
    for (auto _ : state) {
        QList<Episode> episodes = stored;
        PodcastEpisodes::merge(episodes, fetched, podcastID);
        benchmark::DoNotOptimize(episodes.size());
    }
}

} // namespace

BENCHMARK(parseFeed)->Arg(5'000)->Unit(benchmark::kMillisecond);
BENCHMARK(mergeEpisodes)->Args({5'000, 1})->Args({5'000, 0})->Unit(benchmark::kMillisecond);
