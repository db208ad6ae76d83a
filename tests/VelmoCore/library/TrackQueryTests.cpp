#include "library/TrackQuery.h"
#include "support/TrackFactory.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QList<Track> shelf()
{
    Track a = makeTrack(u"Teardrop"_s, u"Massive Attack"_s, u"Mezzanine"_s, 330);
    a.year = 1998;
    a.genre = u"Trip Hop"_s;
    a.trackNumber = 3;
    a.bpm = 77;
    a.url = QUrl::fromLocalFile(u"/music/Massive Attack/Mezzanine/03 Teardrop.flac"_s);
    Track b = makeTrack(u"Ágætis byrjun"_s, u"Sigur Rós"_s, u"Ágætis byrjun"_s, 475);
    b.year = 1999;
    b.format = AudioFormat::mp3;
    b.discNumber = 2;
    b.albumArtist = u"Sigur Rós"_s;
    Track c = makeTrack(u"Intro"_s, u"The xx"_s, u"xx"_s, 58);
    c.year = 2009;
    c.genre = u"Indie"_s;
    return {a, b, c};
}

QStringList titlesOf(const QString& query)
{
    QStringList titles;
    for (const Track& track : TrackQuery::parse({query}).select(shelf()))
        titles.append(track.title);
    return titles;
}

} // namespace

TEST(TrackQuery, EachKindOfTermSelectsAsTheTableSays)
{
    const QList<std::pair<QString, QStringList>> table{
        {u""_s, {u"Teardrop"_s, u"Ágætis byrjun"_s, u"Intro"_s}},
        {u"MASSIVE"_s, {u"Teardrop"_s}},                         // free words: any case
        {u"ágætis"_s, {u"Ágætis byrjun"_s}},                     // lower-cased, accents kept
        {u"agaetis"_s, {}},                                      // no accent folding, as the search field
        {u"xx"_s, {u"Intro"_s}},                                 // title, artist or album
        {u"genre:hop"_s, {u"Teardrop"_s}},
        {u"albumartist:sigur"_s, {u"Ágætis byrjun"_s}},
        {u"format:mp3"_s, {u"Ágætis byrjun"_s}},
        {u"path:/music/massive"_s, {u"Teardrop"_s}},
        {u"year:1998..1999"_s, {u"Teardrop"_s, u"Ágætis byrjun"_s}},
        {u"year:2000.."_s, {u"Intro"_s}},
        {u"year:..1998"_s, {u"Teardrop"_s}},
        {u"year:1999"_s, {u"Ágætis byrjun"_s}},
        {u"track:3"_s, {u"Teardrop"_s}},
        {u"disc:2"_s, {u"Ágætis byrjun"_s}},
        {u"bpm:70..80"_s, {u"Teardrop"_s}},
        {u"duration:..60"_s, {u"Intro"_s}},
        {u"-year:1999"_s, {u"Teardrop"_s, u"Intro"_s}},         // absent or other values
        {u"-bpm:77"_s, {u"Ágætis byrjun"_s, u"Intro"_s}},       // a track without a bpm is not 77
        {u"year:1990..1999 -massive"_s, {u"Ágætis byrjun"_s}},   // terms join by "and"
        {u"album:\"Ágætis byrjun\""_s, {u"Ágætis byrjun"_s}},    // quoted blanks
        {u"\"the xx\""_s, {u"Intro"_s}},
        {u"12:30"_s, {}},                                        // a colon after digits is a word
        {u"-"_s, {}},                                            // a lone dash is a word
    };
    for (const auto& [query, titles] : table)
        EXPECT_EQ(titlesOf(query), titles) << qPrintable(query);

    EXPECT_EQ(TrackQuery::parse({u"artist:massive"_s, u"year:1998"_s}).select(shelf()).size(), 1)
        << "words from the shell add up";
    EXPECT_TRUE(TrackQuery::parse({}).isEmpty());
}

TEST(TrackQuery, ABadTermIsRefusedNamingIt)
{
    const QList<std::pair<QString, QString>> table{
        {u"colour:red"_s, u"“colour:red” names no field; the fields are title, artist, albumartist, album, genre, "
                          "format, path, id, year, track, disc, bpm and duration."_s},
        {u"year:19x0"_s, u"“year:19x0” is not a number or a range such as 1990, 1990..1999, ..60 or 120..."_s},
        {u"year:.."_s, u"“year:..” is not a number or a range such as 1990, 1990..1999, ..60 or 120..."_s},
        {u"artist:"_s, u"“artist:” has no value after the colon."_s},
        {u"album:\"Open"_s, u"“album:\"Open” has a quotation mark that is not closed."_s},
    };
    for (const auto& [query, sentence] : table) {
        try {
            TrackQuery::parse({query});
            ADD_FAILURE() << "accepted " << qPrintable(query);
        } catch (const TrackQuery::QueryError& error) {
            EXPECT_EQ(error.message(), sentence);
        }
    }
}
