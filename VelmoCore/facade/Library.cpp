#include "Library.h"

#include "LibraryStores.h"
#include "library/Background.h"
#include "library/LibraryOrganizer.h"
#include "library/StoreWriter.h"
#include "library/TagWriter.h"

#include <QCoreApplication>

#include <algorithm>
#include <tuple>

using namespace Qt::StringLiterals;

Library::Library(const QUrl& rootURL, QObject* parent)
    : QObject(parent)
    , m_rootURL(rootURL)
{
    const auto take = [this](StoreKind kind, auto read) {
        if (read.state == StoreState::corrupt)
            m_unreadableStores.append({kind, StoreLocations::path(kind), read.problem});
        if (!read.repeatedIDs.isEmpty())
            m_storesWithRepeatedIDs.append({kind, StoreLocations::path(kind), read.repeatedIDs});
        return std::move(read.value);
    };
    m_tracks = take(StoreKind::library, LibraryStores::readTracks());
    m_playlists = take(StoreKind::playlists, LibraryStores::readPlaylists());
    m_smartPlaylists = take(StoreKind::smartPlaylists, LibraryStores::readSmartPlaylists());
    m_deviceProfiles = take(StoreKind::deviceProfiles, LibraryStores::readDeviceProfiles());
    const PodcastStore::Contents podcastStore = take(StoreKind::podcasts, LibraryStores::readPodcasts());
    m_podcasts = podcastStore.podcasts;
    m_episodes = podcastStore.episodes;

    // Children as well as owned, so that a benchmark can find them and time their writes.
    const auto writer = [this](StoreKind kind, StoreWriter::Snapshot snapshot) {
        auto made = std::make_unique<StoreWriter>(StoreLocations::path(kind), std::move(snapshot), this);
        connect(made.get(), &StoreWriter::written, this, [this](const std::optional<QString>& failure) {
            if (failure)
                emit saveFailed(*failure);
        });
        return made;
    };
    m_tracksWriter = writer(StoreKind::library, [this] {
        return [tracks = m_tracks] { return LibraryStores::encodeTracks(tracks); };
    });
    m_playlistsWriter = writer(StoreKind::playlists, [this] {
        return [playlists = m_playlists] { return LibraryStores::encodePlaylists(playlists); };
    });
    m_smartPlaylistsWriter = writer(StoreKind::smartPlaylists, [this] {
        return [smartPlaylists = m_smartPlaylists] { return LibraryStores::encodeSmartPlaylists(smartPlaylists); };
    });
    m_deviceProfilesWriter = writer(StoreKind::deviceProfiles, [this] {
        return [profiles = m_deviceProfiles] { return LibraryStores::encodeDeviceProfiles(profiles); };
    });
    m_podcastsWriter = writer(StoreKind::podcasts, [this] {
        return [podcasts = m_podcasts, episodes = m_episodes] { return PodcastStore::encode(podcasts, episodes); };
    });

    if (QCoreApplication* app = QCoreApplication::instance())
        connect(app, &QCoreApplication::aboutToQuit, this, &Library::flush);
}

Library::~Library()
{
    flush();
}

void Library::flush()
{
    assertMainThread();
    for (StoreWriter* writer : writers())
        writer->flush();
}

std::array<StoreWriter*, 5> Library::writers() const
{
    return {m_tracksWriter.get(), m_playlistsWriter.get(), m_smartPlaylistsWriter.get(), m_deviceProfilesWriter.get(),
            m_podcastsWriter.get()};
}

QStringList Library::saveFailures() const
{
    QStringList failures;
    for (const StoreWriter* writer : writers()) {
        if (writer->failure())
            failures.append(*writer->failure());
    }
    return failures;
}

void Library::tracksDidChange()
{
    emit tracksChanged();
    m_tracksWriter->markChanged();
}

void Library::playlistsDidChange()
{
    emit playlistsChanged();
    m_playlistsWriter->markChanged();
}

void Library::smartPlaylistsDidChange()
{
    emit smartPlaylistsChanged();
    m_smartPlaylistsWriter->markChanged();
}

void Library::deviceProfilesDidChange()
{
    emit deviceProfilesChanged();
    m_deviceProfilesWriter->markChanged();
}

// Podcasts and episodes share podcasts.json.
void Library::podcastsDidChange()
{
    emit podcastsChanged();
    m_podcastsWriter->markChanged();
}

void Library::episodesDidChange()
{
    emit episodesChanged();
    m_podcastsWriter->markChanged();
}

void Library::add(const Track& track)
{
    assertMainThread();
    m_tracks.append(track);
    m_artworkCache.warm(track.artworkData, track.id);
    tracksDidChange();
}

namespace {

// The disc and position a ripped file's tags give it; none without a disc id.
std::optional<std::tuple<QString, qint64, qint64>> discPosition(const Track& track)
{
    const QString discID = track.customTags.value(Track::discIDTag());
    if (discID.isEmpty() || !track.trackNumber)
        return std::nullopt;
    return std::tuple(discID, *track.trackNumber, track.discNumber.value_or(1));
}

} // namespace

Track Library::upsertRippedTrack(const Track& track, const QSet<QUuid>& sameRip)
{
    assertMainThread();
    const auto position = discPosition(track);
    const auto ofSameDisc = [&position](const Track& existing) {
        const auto other = discPosition(existing);
        return position && other && std::get<0>(*other) == std::get<0>(*position);
    };
    auto found = m_tracks.end();
    if (position) {
        found = std::ranges::find_if(m_tracks, [&](const Track& existing) {
            return !sameRip.contains(existing.id) && discPosition(existing) == position;
        });
    }
    if (found == m_tracks.end()) {
        // Among entries of the same text, another pressing's track at the same position first.
        const TrackSignature signature(track);
        const auto sameSong = [&](const Track& existing) {
            return !sameRip.contains(existing.id) && !ofSameDisc(existing)
                && TrackSignature(existing).matches(signature);
        };
        found = std::ranges::find_if(m_tracks, [&](const Track& existing) {
            return sameSong(existing) && existing.trackNumber == track.trackNumber
                && existing.discNumber.value_or(1) == track.discNumber.value_or(1);
        });
        if (found == m_tracks.end())
            found = std::ranges::find_if(m_tracks, sameSong);
    }
    if (found == m_tracks.end()) {
        add(track);
        return track;
    }
    Track& existing = *found;
    existing = track.preservingIdentity(existing);
    // The file now carries the disc it came from, and so does its entry.
    if (position)
        existing.customTags.insert(Track::discIDTag(), std::get<0>(*position));
    const Track stored = existing;
    m_artworkCache.warm(stored.artworkData, stored.id);
    tracksDidChange();
    return stored;
}

QList<Track> Library::tracksMatching(const QList<TrackSignature>& signatures) const
{
    assertMainThread();
    QHash<TrackSignature::Key, QList<double>> durationsByKey;
    for (const TrackSignature& signature : signatures)
        durationsByKey[signature.key()].append(signature.duration);

    QList<Track> result;
    for (const Track& track : m_tracks) {
        const TrackSignature signature(track);
        const auto durations = durationsByKey.constFind(signature.key());
        if (durations == durationsByKey.cend())
            continue;
        const bool matches = std::any_of(durations->cbegin(), durations->cend(), [&](double duration) {
            return TrackSignature::durationsMatch(signature.duration, duration);
        });
        if (matches)
            result.append(track);
    }
    return result;
}

void Library::remove(const QUuid& id)
{
    assertMainThread();
    m_tracks.removeIf([&id](const Track& track) { return track.id == id; });
    tracksDidChange();
}

QCoro::Task<> Library::update(Track track)
{
    assertMainThread();
    const auto isTrack = [&track](const Track& t) { return t.id == track.id; };
    if (std::none_of(m_tracks.cbegin(), m_tracks.cend(), isTrack))
        co_return;
    const auto writeTags = [track] { TagWriter::write(track); };
    co_await Background::run(writeTags);
    // Found again after the write: the list may have changed while the file was written.
    const auto entry = std::find_if(m_tracks.begin(), m_tracks.end(), isTrack);
    if (entry == m_tracks.end())
        co_return;
    *entry = track;
    m_artworkCache.warm(track.artworkData, track.id);
    tracksDidChange();
}

QCoro::Task<Library::OrganizeReport> Library::organizeLibrary()
{
    assertMainThread();
    OrganizeReport report;
    QList<Track> organized = m_tracks;
    for (Track& track : organized) {
        const auto move = [track, root = m_rootURL] { return LibraryOrganizer::move(track, root, false); };
        try {
            const Track moved = co_await Background::run(move);
            if (moved.url != track.url)
                report.moved.append({track, moved});
            track = moved;
        } catch (const LibraryOrganizer::OrganizerError& error) {
            // A collision or a missing file leaves this track where it is.
            report.failed.append({track, error.message()});
        }
    }
    m_tracks = organized;
    tracksDidChange();
    co_return report;
}
