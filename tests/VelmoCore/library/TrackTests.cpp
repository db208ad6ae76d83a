#include "library/AudioFormat.h"
#include "library/JsonCoding.h"
#include "library/Track.h"
#include "library/TrackSignature.h"
#include "metadata/ReleaseMetadata.h"
#include "support/JsonHelpers.h"
#include "support/TrackFactory.h"

#include <QJsonDocument>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QUrl file(const QString& path) { return QUrl::fromLocalFile(path); }

} // namespace

TEST(AudioFormat, ExtensionsInAnyCaseButNotAlacAndExactRawValues)
{
    for (const QString& path : {u"/m/a.flac"_s, u"/m/a.M4A"_s, u"/m/a.Mp3"_s, u"/m/a.opus"_s, u"/m/a.AIF"_s, u"/m/a.aiff"_s})
        EXPECT_TRUE(isAudioFile(file(path))) << qPrintable(path);
    // A leading dot starts no extension, and a folder's dot is not the file's.
    for (const QString& path : {u"/m/a.aifc"_s, u"/m/a.alac"_s, u"/m/.mp3"_s, u"/m/x.mp3/readme"_s})
        EXPECT_FALSE(isAudioFile(file(path))) << qPrintable(path);
    EXPECT_EQ(audioFormatFromURL(file(u"/m/a.M4A"_s)), AudioFormat::aac);
    EXPECT_EQ(audioFormatFromURL(file(u"/m/a.aac"_s)), AudioFormat::aac);
    EXPECT_EQ(audioFormatFromURL(file(u"/m/a.WAV"_s)), AudioFormat::wav);
    EXPECT_EQ(audioFormatFromURL(file(u"/m/a.alac"_s)), std::nullopt);
    EXPECT_EQ(enumFromRawValue<AudioFormat>(u"alac"), AudioFormat::alac);
    EXPECT_EQ(enumFromRawValue<AudioFormat>(u"FLAC"), std::nullopt);
    EXPECT_EQ(enumFromRawValue<AudioFormat>(u"m4a"), std::nullopt);
    EXPECT_EQ(enumFromRawValue<AudioFormat>(u"aif"), std::nullopt);
    EXPECT_EQ(rawValue(AudioFormat::opus), u"opus"_s);
}

TEST(TrackFromFile, FallsBackToTheFileNameOnlyWhenTheTitleIsEmpty)
{
    TrackMetadata metadata;
    metadata.artist = u"Nina Simone"_s;
    metadata.artworkData = QByteArray("\x89PNG", 4);
    const Track untitled = Track::fromFile(file(u"/m/Sinnerman.live.mp3"_s), metadata);
    EXPECT_EQ(untitled.title, u"Sinnerman.live"_s);
    EXPECT_EQ(untitled.artist, u"Nina Simone"_s);
    EXPECT_EQ(untitled.artworkData, metadata.artworkData);
    EXPECT_FALSE(untitled.id.isNull());

    metadata.title = u"Sinnerman"_s;
    const Track titled = Track::fromFile(file(u"/m/other.mp3"_s), metadata);
    EXPECT_EQ(titled.title, u"Sinnerman"_s);
    EXPECT_NE(titled.id, untitled.id);
}

TEST(TrackIdentity, PreservingIdentityKeepsIdDateAndCustomTagsOfTheOldRecord)
{
    Track old = makeFullTrack();
    Track fresh = makeTrack(u"Blue in Green (remastered)"_s);
    fresh.url = file(u"/elsewhere/x.flac"_s);
    fresh.dateAdded = Date{old.dateAdded.secondsSinceReferenceDate + 1000};
    fresh.customTags = {{u"MOOD"_s, u"file says otherwise"_s}};
    fresh.artworkData = QByteArray("new art");

    Track expected = fresh;
    expected.id = old.id;
    expected.dateAdded = old.dateAdded;
    expected.customTags = old.customTags;
    EXPECT_EQ(fresh.preservingIdentity(old), expected) << "everything else comes from the file";
}

TEST(TrackJson, RoundTripEqualsTheOriginalExceptArtworkWhichEqualityCounts)
{
    Track track = makeFullTrack();
    track.artworkData = QByteArray("picture bytes");
    const QByteArray json = Json::encode(track);
    EXPECT_FALSE(json.contains("artworkData"));

    const Track decoded = Json::decode<Track>(json);
    EXPECT_NE(decoded, track);
    track.artworkData = QByteArray();
    EXPECT_NE(decoded, track) << "empty artwork is not the same as none";
    track.artworkData = std::nullopt;
    EXPECT_EQ(decoded, track);

    Track other = decoded;
    other.dateAdded = decoded.dateAdded.addingSeconds(0.001);
    EXPECT_NE(other, decoded);
}

TEST(TrackJson, WritesTheStoreForm)
{
    Track track = makeTrack(u"Song"_s);
    track.id = QUuid::fromString(u"0ac22a2a-8c4d-4d6e-9b3b-8a1e6e7c2f10"_s);
    track.url = file(u"/Music/Ärzte & Co/A B.flac"_s);
    track.dateAdded = Date{123.5};
    const QJsonObject o = toQt(track);
    EXPECT_EQ(o.value("id"_L1).toString(), u"0AC22A2A-8C4D-4D6E-9B3B-8A1E6E7C2F10"_s);
    EXPECT_EQ(o.value("url"_L1).toString(), u"file:///Music/%C3%84rzte%20&%20Co/A%20B.flac"_s);
    EXPECT_EQ(o.value("dateAdded"_L1).toDouble(), 123.5);
    EXPECT_EQ(o.value("format"_L1).toString(), u"flac"_s);
    EXPECT_TRUE(o.value("customTags"_L1).isObject());
    EXPECT_EQ(o.keys().size(), 11) << "absent optionals leave their keys out";
    EXPECT_FALSE(o.contains("year"_L1));
}

TEST(TrackJson, ReadsStoresFromEarlierVersions)
{
    QJsonObject o = toQt(makeFullTrack());
    o.remove("customTags"_L1);
    o.insert("year"_L1, QJsonValue::Null);
    const Track track = fromQt<Track>(o);
    EXPECT_TRUE(track.customTags.isEmpty());
    EXPECT_EQ(track.year, std::nullopt);
    // Lower-case UUIDs, as other writers produce them, read the same.
    o.insert("id"_L1, u"0ac22a2a-8c4d-4d6e-9b3b-8a1e6e7c2f10"_s);
    EXPECT_EQ(fromQt<Track>(o).id, QUuid::fromString(u"0AC22A2A-8C4D-4D6E-9B3B-8A1E6E7C2F10"_s));
}

TEST(TrackJson, RejectsMissingRequiredKeysAndBadValues)
{
    const QJsonObject good = toQt(makeFullTrack());
    for (const char* key : {"id", "url", "title", "artist", "albumArtist", "album", "genre", "duration",
                            "format", "dateAdded"}) {
        QJsonObject o = good;
        o.remove(QLatin1StringView(key));
        EXPECT_THROW(fromQt<Track>(o), DecodingError) << key;
    }
    const auto withValue = [&](const char* key, const QJsonValue& value) {
        QJsonObject o = good;
        o.insert(QLatin1StringView(key), value);
        return o;
    };
    const std::pair<const char*, QJsonValue> bad[] = {{"format", u"aif"_s}, {"id", u"not-a-uuid"_s}, {"year", 1959.5},
        {"year", u"1959"_s}, {"title", 5}, {"customTags", QJsonObject{{u"k"_s, 1}}}, {"genre", QJsonValue::Null}};
    for (const auto& [key, value] : bad)
        EXPECT_THROW(fromQt<Track>(withValue(key, value)), DecodingError) << key;
    try {
        fromQt<Track>(withValue("duration", u"long"_s));
        FAIL() << "expected a decoding error";
    } catch (const DecodingError& error) {
        EXPECT_EQ(error.message(), u"\"duration\" is not a number"_s);
    }
}

TEST(TrackSignature, NormalisesOnlyOuterWhiteSpaceAndCaseAndUntaggedFilesMatchOnTitle)
{
    const TrackSignature a(u"  The Beatles\n"_s, u"Abbey Road"_s, u"Something"_s, 182.0);
    const TrackSignature b(u"the beatles"_s, u"ABBEY ROAD\t"_s, u"\u00a0something"_s, 182.0);
    EXPECT_EQ(a.key(), b.key());
    EXPECT_EQ(qHash(a.key()), qHash(b.key()));
    const auto key = [](const QString& artist) { return TrackSignature(artist, u""_s, u"x"_s, 0).key(); };
    EXPECT_NE(key(u"Beyonce"_s), key(u"Beyoncé"_s));
    EXPECT_NE(key(u"The Band"_s), key(u"Band"_s));
    EXPECT_NE(key(u"A  B"_s), key(u"A B"_s));

    const Track first = makeTrack(u"Track 01"_s, QString(), QString(), 0);
    Track second = makeTrack(u"track 01 "_s, QString(), QString(), 61);
    second.albumArtist = u"Someone"_s;
    EXPECT_TRUE(TrackSignature(first).matches(TrackSignature(second))) << "albumArtist takes no part";
}

TEST(TrackSignature, DurationsMatchWithinTwoSecondsOrWhenEitherIsUnknown)
{
    const auto sig = [](double duration) { return TrackSignature(u"a"_s, u"b"_s, u"c"_s, duration); };
    EXPECT_TRUE(sig(180.0).matches(sig(182.0), 2.0));
    EXPECT_FALSE(sig(180.0).matches(sig(182.1), 2.0));
    EXPECT_TRUE(sig(0).matches(sig(999), 2.0));
    EXPECT_TRUE(sig(999).matches(sig(0), 2.0));
    EXPECT_TRUE(sig(180.0).conflicts(sig(182.1), 2.0));
    EXPECT_FALSE(sig(180.0).conflicts(sig(181), 2.0));
    EXPECT_FALSE(sig(180.0).conflicts(TrackSignature(u"a"_s, u"b"_s, u"other"_s, 500), 2.0))
        << "different text is no conflict";
}

TEST(TrackSignature, AReleaseTrackUnderItsAlbumMatchesTheLibrarysCopy)
{
    const TrackMetadataStub stub{.number = 6, .title = u"Money "_s, .artist = u"pink floyd"_s, .duration = 382.7};
    const TrackSignature fromDisc(u"The Dark Side of the Moon"_s, stub);
    EXPECT_TRUE(fromDisc.matches(TrackSignature(makeTrack(u"Money"_s, u"Pink Floyd"_s, u"The Dark Side of the Moon"_s, 381.0))));
    EXPECT_FALSE(fromDisc.matches(TrackSignature(makeTrack(u"Money"_s, u"Pink Floyd"_s, u"Wish You Were Here"_s, 382.7))));
}
