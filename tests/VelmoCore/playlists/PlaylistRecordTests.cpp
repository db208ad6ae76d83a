#include "library/CodePointOrder.h"
#include "support/JsonHelpers.h"
#include "playlists/Playlist.h"
#include "playlists/SmartPlaylist.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(PlaylistJson, RoundTripsWithUpperCaseIdsInOrder)
{
    const Playlist playlist{
        .id = QUuid::createUuid(),
        .name = u"Road / Trip"_s,
        .trackIDs = {QUuid::createUuid(), QUuid::createUuid(), QUuid::createUuid()},
        .dateCreated = Date{10.5},
        .dateModified = Date{20.25},
    };
    const QJsonObject o = toQt(playlist);
    EXPECT_EQ(o.keys().size(), 5);
    const QString firstTrack = o.value("trackIDs"_L1).toArray().at(0).toString();
    EXPECT_EQ(firstTrack, firstTrack.toUpper());
    EXPECT_EQ(fromQt<Playlist>(o), playlist);
}

TEST(PlaylistJson, EveryKeyIsRequired)
{
    const QJsonObject good = toQt(Playlist{QUuid::createUuid(), u"n"_s, {}, {}, {}});
    for (const QString& key : good.keys()) {
        QJsonObject o = good;
        o.remove(key);
        EXPECT_THROW(fromQt<Playlist>(o), DecodingError) << qPrintable(key);
    }
    QJsonObject badId = good;
    badId.insert("trackIDs"_L1, QJsonArray{u"nope"_s});
    EXPECT_THROW(fromQt<Playlist>(badId), DecodingError);
}

TEST(SmartPlaylistJson, SetsAreWrittenSortedSoOneSetGivesOneText)
{
    SmartPlaylist smart{
        .id = QUuid::createUuid(),
        .name = u"Old jazz"_s,
        .filterArtists = {u"beta"_s, u"Alpha"_s, u"Émile"_s, u"alpha"_s},
        .filterGenres = {u"Jazz"_s},
        .filterDecades = {2000, -10, 1990},
        .dateCreated = Date{1},
        .dateModified = Date{2},
    };
    QJsonObject o = toQt(smart);
    EXPECT_EQ(o.value("filterArtists"_L1).toArray(), (QJsonArray{u"Alpha"_s, u"alpha"_s, u"beta"_s, u"Émile"_s}));
    EXPECT_EQ(o.value("filterDecades"_L1).toArray(), (QJsonArray{-10, 1990, 2000}));
    EXPECT_EQ(fromQt<SmartPlaylist>(o), smart);

    SmartPlaylist rebuilt = smart;
    rebuilt.filterArtists = {u"Émile"_s, u"alpha"_s, u"beta"_s, u"Alpha"_s};
    EXPECT_EQ(Json::encode(rebuilt), Json::encode(smart));

    o.insert("filterDecades"_L1, QJsonArray{1990.5});
    EXPECT_THROW(fromQt<SmartPlaylist>(o), DecodingError) << "a fractional decade";
    o.remove("filterDecades"_L1);
    EXPECT_THROW(fromQt<SmartPlaylist>(o), DecodingError) << "a missing set";
}

TEST(SmartPlaylistJson, StringsSortByCodePointsNotByUtf16Units)
{
    // U+1F3B7 is above U+FF21 as a code point, but its first UTF-16 unit (0xD83C) is below.
    const QString saxophone = QString::fromUcs4(U"\U0001F3B7");
    const QString fullwidthA = u"\uFF21"_s;
    const SmartPlaylist smart{.id = QUuid::createUuid(), .filterGenres = {saxophone, fullwidthA, u"z"_s}};
    EXPECT_EQ(toQt(smart).value("filterGenres"_L1).toArray(), (QJsonArray{u"z"_s, fullwidthA, saxophone}));

    EXPECT_TRUE(CodePointOrder::less(fullwidthA, saxophone));
    EXPECT_FALSE(CodePointOrder::less(saxophone, fullwidthA));
    EXPECT_FALSE(CodePointOrder::less(u"abc"_s, u"abc"_s));
    EXPECT_TRUE(CodePointOrder::less(u"\uD7FF"_s, fullwidthA)) << "below the surrogates nothing moves";
    EXPECT_TRUE(CodePointOrder::less(QString::fromUcs4(U"\U00010000"), saxophone));
}

