#include "playlists/SmartRuleEngine.h"
#include "support/TrackFactory.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

Track track(const QString& title, const QString& artist, const QString& albumArtist, const QString& genre,
            std::optional<qint64> year)
{
    Track t = makeTrack(title, artist);
    t.albumArtist = albumArtist;
    t.genre = genre;
    t.year = year;
    return t;
}

QStringList titles(const QList<Track>& tracks)
{
    QStringList result;
    for (const Track& t : tracks)
        result.append(t.title);
    return result;
}

SmartPlaylist rule(QSet<QString> artists, QSet<QString> genres, QSet<qint64> decades)
{
    return {.id = QUuid::createUuid(), .filterArtists = artists, .filterGenres = genres, .filterDecades = decades};
}

} // namespace

TEST(SmartRuleEngine, DecadesTruncateTowardsZero)
{
    EXPECT_EQ(SmartRuleEngine::decade(1999), 1990);
    EXPECT_EQ(SmartRuleEngine::decade(2000), 2000);
    EXPECT_EQ(SmartRuleEngine::decade(7), 0);
    EXPECT_EQ(SmartRuleEngine::decade(-7), 0) << "towards zero, not towards minus infinity";
    EXPECT_EQ(SmartRuleEngine::decade(-15), -10);
}

class SmartRuleEngineLibrary : public ::testing::Test {
protected:
    const QList<Track> tracks{
        track(u"one"_s, u"A"_s, u"B"_s, u"Rock"_s, 1999),
        track(u"two"_s, u"C"_s, u"C"_s, u"Jazz"_s, 2000),
        track(u"three"_s, u"A"_s, u"A"_s, u"Jazz"_s, std::nullopt),
        track(u"four"_s, u"a"_s, u""_s, u"rock"_s, 1991),
        track(u"five"_s, u"Émile"_s, u"Emile"_s, u"Rock "_s, 1985),
        track(u"six"_s, u""_s, u"C"_s, u""_s, 1990),
    };

    QStringList resolve(const SmartPlaylist& smart) const
    {
        return titles(SmartRuleEngine::resolve(smart, tracks));
    }
};

TEST_F(SmartRuleEngineLibrary, ArtistsAndGenresMatchExactly)
{
    EXPECT_EQ(resolve(rule({}, {}, {})), (QStringList{u"one"_s, u"two"_s, u"three"_s, u"four"_s, u"five"_s, u"six"_s}))
        << "no filter matches the whole library in order";
    EXPECT_EQ(resolve(rule({u"B"_s}, {}, {})), QStringList{u"one"_s}) << "album artist alone suffices";
    EXPECT_EQ(resolve(rule({u"A"_s}, {}, {})), (QStringList{u"one"_s, u"three"_s})) << "case counts";
    EXPECT_EQ(resolve(rule({u"Emile"_s}, {}, {})), QStringList{u"five"_s}) << "accents count";
    EXPECT_EQ(resolve(rule({u"C"_s, u"a"_s}, {}, {})), (QStringList{u"two"_s, u"four"_s, u"six"_s}))
        << "values within a filter are alternatives";
    EXPECT_TRUE(resolve(rule({u""_s}, {}, {})).contains(u"four"_s)) << "an empty string is a value like any other";
    EXPECT_EQ(resolve(rule({}, {u"Rock"_s}, {})), QStringList{u"one"_s}) << "neither \"rock\" nor \"Rock \"";
    EXPECT_TRUE(resolve(rule({}, {u"Polka"_s}, {})).isEmpty()) << "a genre no track has matches nothing";
}

TEST_F(SmartRuleEngineLibrary, FiltersJoinByAndAndDecadesDropTracksWithoutAYear)
{
    EXPECT_EQ(resolve(rule({}, {}, {2000, 1980})), (QStringList{u"two"_s, u"five"_s}));
    EXPECT_EQ(resolve(rule({u"A"_s}, {u"Jazz"_s}, {})), QStringList{u"three"_s});
    EXPECT_TRUE(resolve(rule({u"A"_s}, {u"Jazz"_s}, {1990, 2000})).isEmpty());
    EXPECT_EQ(resolve(rule({u"A"_s, u"C"_s}, {u"Jazz"_s, u"Rock"_s}, {1990})), QStringList{u"one"_s});
    EXPECT_EQ(resolve(rule({u"C"_s}, {u"Jazz"_s}, {2000})), QStringList{u"two"_s});
    EXPECT_TRUE(resolve(rule({u"C"_s}, {u"Rock"_s}, {})).isEmpty());
}

TEST_F(SmartRuleEngineLibrary, OptionsAreDistinctNonEmptyAndSorted)
{
    EXPECT_EQ(SmartRuleEngine::availableArtists(tracks),
              (QStringList{u"A"_s, u"B"_s, u"C"_s, u"Emile"_s, u"a"_s, u"Émile"_s}));
    EXPECT_EQ(SmartRuleEngine::availableGenres(tracks),
              (QStringList{u"Jazz"_s, u"Rock"_s, u"Rock "_s, u"rock"_s}));
    EXPECT_EQ(SmartRuleEngine::availableDecades(tracks), (QList<qint64>{1980, 1990, 2000}));
    EXPECT_TRUE(SmartRuleEngine::availableDecades({track(u"x"_s, u""_s, u""_s, u""_s, std::nullopt)}).isEmpty());
}

TEST(SmartRuleEngine, OptionsSortByCodePointsBeyondTheBasicPlane)
{
    // U+1F3B7 (saxophone) is above U+FF21 (fullwidth A) as a code point, below it as UTF-16.
    const QString saxophone = QString::fromUcs4(U"\U0001F3B7 Quartet");
    const QString fullwidth = u"\uFF21rtist"_s;
    const QList<Track> tracks{track(u"1"_s, saxophone, saxophone, saxophone, 1),
                              track(u"2"_s, fullwidth, fullwidth, fullwidth, 2),
                              track(u"3"_s, u"Zed"_s, u"Zed"_s, u"Zed"_s, -2)};
    EXPECT_EQ(SmartRuleEngine::availableArtists(tracks), (QStringList{u"Zed"_s, fullwidth, saxophone}));
}
