#include "playlists/SmartPlaylistEditorModel.h"
#include "playlists/TrackListSummary.h"
#include "support/TrackFactory.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

Track song(const QString& artist, const QString& genre, std::optional<qint64> year, double duration)
{
    Track track = makeTrack(u"Song"_s, artist, u"Album"_s, duration);
    track.genre = genre;
    track.year = year;
    return track;
}

const QList<Track> library{
    song(u"The Beatles"_s, u"Rock"_s, 1965, 150),
    song(u"Beastie Boys"_s, u"Hip-Hop"_s, 1994, 200),
    song(u"Björk"_s, u"Electronic"_s, 1997, 250.9),
    song(u"Miles Davis"_s, u"Jazz"_s, std::nullopt, 3400),
};

} // namespace

TEST(SmartPlaylistEditorModel, ANewDraftCannotBeSavedUntilItIsNamed)
{
    const SmartPlaylist draft = SmartPlaylistEditorModel::newDraft();
    EXPECT_NE(SmartPlaylistEditorModel::newDraft().id, draft.id);
    EXPECT_TRUE(draft.name.isEmpty());
    EXPECT_EQ(draft.dateCreated, draft.dateModified);

    SmartPlaylistEditorModel model(draft, library);
    EXPECT_FALSE(model.canSave());
    for (const QString& blank : {u" "_s, u"\t\n "_s, u"\u00a0\u2003"_s}) {
        model.setName(blank);
        EXPECT_FALSE(model.canSave()) << "white space alone is no name";
    }
    model.setName(u"  Late night  "_s);
    EXPECT_TRUE(model.canSave());
    EXPECT_EQ(model.draft().name, u"  Late night  "_s) << "the name is kept as typed";
}

TEST(SmartPlaylistEditorModel, SearchesFilterOptionsIgnoringCase)
{
    SmartPlaylistEditorModel model(SmartPlaylistEditorModel::newDraft(), library);
    EXPECT_EQ(model.artistOptions(),
              (QStringList{u"Beastie Boys"_s, u"Björk"_s, u"Miles Davis"_s, u"The Beatles"_s}));
    model.setArtistSearch(u"BEA"_s);
    EXPECT_EQ(model.artistOptions(), (QStringList{u"Beastie Boys"_s, u"The Beatles"_s}));
    model.setArtistSearch(u"BJÖ"_s);
    EXPECT_EQ(model.artistOptions(), QStringList{u"Björk"_s});
    model.setArtistSearch(u"nobody"_s);
    EXPECT_TRUE(model.artistOptions().isEmpty());
    EXPECT_TRUE(model.hasArtists()) << "a search that finds nothing is not an empty library";

    model.setGenreSearch(u"ro"_s);
    EXPECT_EQ(model.genreOptions(), (QStringList{u"Electronic"_s, u"Rock"_s}));
    EXPECT_EQ(SmartPlaylistEditorModel::decadeLabel(1990), u"1990s"_s);
    EXPECT_EQ(SmartPlaylistEditorModel::decadeLabel(0), u"0s"_s);

    const SmartPlaylistEditorModel empty(SmartPlaylistEditorModel::newDraft(), {});
    EXPECT_FALSE(empty.hasArtists());
    EXPECT_FALSE(empty.hasDecades());
    EXPECT_EQ(empty.previewText(), std::nullopt) << "an empty library offers nothing";
}

TEST(SmartPlaylistEditorModel, TogglingChangesTheDraftAndThePreview)
{
    SmartPlaylistEditorModel model(SmartPlaylistEditorModel::newDraft(), library);
    EXPECT_EQ(model.previewText(), u"4 tracks · 1:06:40"_s) << "no filter: the whole library";

    model.toggleDecade(1990);
    model.toggleGenre(u"Electronic"_s);
    EXPECT_EQ(model.previewText(), u"1 track · 4:10"_s);
    model.toggleArtist(u"The Beatles"_s);
    EXPECT_EQ(model.previewText(), std::nullopt) << "no match shows the empty state";
    EXPECT_TRUE(model.matches().isEmpty());

    model.toggleArtist(u"The Beatles"_s);
    model.toggleGenre(u"Electronic"_s);
    EXPECT_EQ(model.draft().filterArtists, QSet<QString>{});
    EXPECT_EQ(model.draft().filterGenres, QSet<QString>{});
    EXPECT_EQ(model.draft().filterDecades, QSet<qint64>{1990});
}

TEST(SmartPlaylistEditorModel, FilterValuesThatNoTrackHasStayButAreNotOffered)
{
    SmartPlaylist draft = SmartPlaylistEditorModel::newDraft();
    draft.filterGenres = {u"Polka"_s};
    SmartPlaylistEditorModel model(draft, library);
    EXPECT_FALSE(model.genreOptions().contains(u"Polka"_s));
    EXPECT_EQ(model.previewText(), std::nullopt);

    model.setTracks(library + QList<Track>{song(u"Frankie Yankovic"_s, u"Polka"_s, 1948, 180)});
    EXPECT_TRUE(model.genreOptions().contains(u"Polka"_s));
    EXPECT_EQ(model.previewText(), u"1 track · 3:00"_s);
}

TEST(TrackListSummary, CountsAndSumsTheTracks)
{
    EXPECT_EQ(TrackListSummary::countText(1), u"1 track"_s);
    EXPECT_EQ(TrackListSummary::of({}).text(), u"0 tracks · 0:00"_s);

    Track broken = makeTrack(u"Broken"_s);
    broken.duration = std::nan("");
    const TrackListSummary summary = TrackListSummary::of({makeTrack(u"a"_s, {}, {}, 59.5), broken,
                                                           makeTrack(u"b"_s, {}, {}, 0.6)});
    EXPECT_EQ(summary.count, 3);
    EXPECT_EQ(summary.text(), u"3 tracks · 1:00"_s) << "a broken duration does not blank the rest";
}
