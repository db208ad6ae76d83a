#include "Library.h"

#include "CDRipController.h"
#include "library/Background.h"
#include "library/DisplayText.h"
#include "library/ImageType.h"
#include "library/LibraryOrganizer.h"
#include "library/TagWriter.h"
#include "metadata/AlbumRefetchPlan.h"
#include "metadata/MusicBrainzDiscLookup.h"
#include "metadata/MusicBrainzReleaseLookup.h"

#include <QPointer>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 candidateLimit = 25;

// The tracks of one album for the artwork passes, keyed as the album grid keys them.
struct AlbumTracks {
    QString artist;
    QString album;
    QList<Track> tracks;
};

QList<AlbumTracks> groupByAlbum(const QList<Track>& tracks)
{
    QList<AlbumTracks> groups;
    QHash<std::pair<QString, QString>, qsizetype> indexOfKey;
    for (const Track& track : tracks) {
        // Without an album name no lookup could find the right cover.
        if (track.album.isEmpty())
            continue;
        const QString artist = track.albumArtist.isEmpty() ? track.artist : track.albumArtist;
        const std::pair key(artist, track.album);
        const auto found = indexOfKey.constFind(key);
        if (found == indexOfKey.cend()) {
            indexOfKey.insert(key, groups.size());
            groups.append(AlbumTracks{artist, track.album, {track}});
        } else {
            groups[*found].tracks.append(track);
        }
    }
    return groups;
}

QSet<QUuid> idsOf(const QList<Track>& tracks)
{
    QSet<QUuid> ids;
    for (const Track& track : tracks)
        ids.insert(track.id);
    return ids;
}

// Into each file in turn; the ids of the tracks whose files took the picture.
QCoro::Task<QSet<QUuid>> writeArtworkInto(QList<Track> tracks, QByteArray data)
{
    const QString mimeType = ImageType::mimeType(data);
    QSet<QUuid> written;
    for (const Track& track : std::as_const(tracks)) {
        const auto write = [url = track.url, data, mimeType] { TagWriter::writeArtwork(url, data, mimeType); };
        try {
            co_await Background::run(write);
            written.insert(track.id);
        } catch (const TagWriter::WriteError&) {
            // That file keeps its picture, and so does its entry.
        }
    }
    co_return written;
}

struct RefetchWrite {
    bool tagsWritten = false;
    bool artworkWritten = false;
};

// The release's tags and then its cover. No cover is tried on a file that refused the tags.
RefetchWrite writeRelease(const Track& track, const std::optional<QByteArray>& cover)
{
    RefetchWrite result;
    try {
        TagWriter::write(track);
        result.tagsWritten = true;
        if (cover) {
            TagWriter::writeArtwork(track.url, *cover, ImageType::mimeType(*cover));
            result.artworkWritten = true;
        }
    } catch (const TagWriter::WriteError&) {
        // Told by the result: the caller keeps the entry in step with what the file took.
    }
    return result;
}

} // namespace

QString Library::AlbumRefetchSummary::message() const
{
    QString text;
    if (matchedCount == totalCount) {
        text = u"Updated "_s + DisplayText::counted(matchedCount, u"track"_s) + u"."_s;
    } else {
        QStringList left;
        const qint64 unmatched = totalCount - matchedCount - unwrittenCount;
        if (unmatched > 0)
            left.append(QString::number(unmatched) + u" unmatched"_s);
        if (unwrittenCount > 0)
            left.append(QString::number(unwrittenCount) + u" couldn't be written"_s);
        text = u"Updated "_s + QString::number(matchedCount) + u" of "_s + QString::number(totalCount) + u" tracks — "_s
             + left.join(u", "_s) + u'.';
    }
    if (!artworkFetched)
        text += u" Artwork wasn't available for this release."_s;
    return text;
}

Library::AlbumRefetchError::AlbumRefetchError(Kind kind, const QString& message)
    : std::runtime_error(message.toStdString())
    , m_kind(kind)
    , m_message(message)
{
}

Library::AlbumRefetchError Library::AlbumRefetchError::networkError(const QString& description)
{
    return {Kind::networkError, u"Couldn't reach MusicBrainz: "_s + description};
}

Library::AlbumRefetchError Library::AlbumRefetchError::invalidAnswer(const QString& description)
{
    return {Kind::invalidAnswer, description + u" No file was changed."_s};
}

Library::AlbumRefetchError Library::AlbumRefetchError::answerRefused(const QString& sentence)
{
    return {Kind::networkError, sentence};
}

Library::AlbumRefetchError Library::AlbumRefetchError::noMatchFound()
{
    return {Kind::noMatchFound, u"No matching release found on MusicBrainz."_s};
}

Library::AlbumRefetchError Library::AlbumRefetchError::noDiscID()
{
    return {Kind::noDiscID, u"This album carries no disc ID to look up; choose its release instead."_s};
}

std::optional<QString> Library::discIDOf(const QList<Track>& tracks)
{
    for (const Track& track : tracks) {
        if (const QString id = track.customTags.value(Track::discIDTag()); !id.isEmpty())
            return id;
    }
    return std::nullopt;
}

QCoro::Task<Library::AlbumRefetchSummary> Library::lookUpAlbumAgain(QList<Track> tracks, MetadataHTTPClient& client)
{
    assertMainThread();
    const std::optional<QString> discID = discIDOf(tracks);
    if (!discID)
        throw AlbumRefetchError::noDiscID();
    // The tracks keep only the disc ID: the lookup goes without a TOC.
    const QList<qint64> noOffsets;
    QList<ReleaseMetadata> releases;
    try {
        releases = co_await MusicBrainzDiscLookup::fetchReleases(*discID, noOffsets, 0, client);
    } catch (const MusicBrainzDiscLookup::LookupError& error) {
        if (error.kind() == MusicBrainzDiscLookup::LookupError::Kind::noMatchFound)
            throw AlbumRefetchError::noMatchFound();
        if (error.kind() == MusicBrainzDiscLookup::LookupError::Kind::parseError)
            throw AlbumRefetchError::invalidAnswer(error.message());
        throw AlbumRefetchError::networkError(error.httpError() ? error.httpError()->message() : error.message());
    }
    QPointer<Library> self(this);
    const ReleaseMetadata& release = releases.at(CDRipController::chooseRelease(releases, m_tracks));
    if (release.mbid.isEmpty())
        throw AlbumRefetchError::invalidAnswer(MusicBrainzDiscLookup::LookupError::parseError().message());
    const AlbumRefetchSummary summary = co_await refetchAlbumInfo(tracks, release.mbid, client);
    if (!self)
        co_return summary;
    // Named now, the files leave the folder of an unknown disc for their own.
    const QSet<QUuid> ids = idsOf(tracks);
    QList<Track> album;
    for (const Track& track : std::as_const(m_tracks)) {
        if (ids.contains(track.id))
            album.append(track);
    }
    for (const Track& track : std::as_const(album)) {
        const auto move = [track, root = m_rootURL] { return LibraryOrganizer::move(track, root, false); };
        try {
            const Track moved = co_await Background::run(move);
            if (!self)
                co_return summary;
            const auto entry = std::find_if(m_tracks.begin(), m_tracks.end(),
                                            [&moved](const Track& t) { return t.id == moved.id; });
            if (entry != m_tracks.end())
                entry->url = moved.url;
        } catch (const LibraryOrganizer::OrganizerError&) {
            // A place already taken keeps this file where it was, under its new tags.
        }
    }
    tracksDidChange();
    co_return summary;
}

QCoro::Task<QList<ReleaseCandidate>> Library::searchAlbumReleaseCandidates(QString artist, QString album,
                                                                           std::optional<QString> releaseGroupID,
                                                                           MetadataHTTPClient& client)
{
    assertMainThread();
    co_return co_await MusicBrainzReleaseLookup::searchCandidates(artist, album, releaseGroupID, candidateLimit, client);
}

QCoro::Task<Library::AlbumRefetchSummary> Library::refetchAlbumInfo(QList<Track> tracks, QString releaseID,
                                                                    MetadataHTTPClient& client)
{
    assertMainThread();
    AlbumRefetchSummary summary;
    summary.totalCount = tracks.size();
    if (tracks.isEmpty())
        co_return summary;

    ReleaseMetadata release;
    try {
        release = co_await MusicBrainzReleaseLookup::fetchRelease(releaseID, client);
    } catch (const MusicBrainzReleaseLookup::LookupError& error) {
        if (error.kind() == MusicBrainzReleaseLookup::LookupError::Kind::noMatchFound)
            throw AlbumRefetchError::noMatchFound();
        if (error.kind() == MusicBrainzReleaseLookup::LookupError::Kind::parseError)
            throw AlbumRefetchError::invalidAnswer(error.message());
        if (error.httpError() && error.httpError()->kind() == MetadataHTTPClient::HTTPError::Kind::tooLarge)
            throw AlbumRefetchError::answerRefused(error.message());
        throw AlbumRefetchError::networkError(error.httpError() ? error.httpError()->message() : error.message());
    }
    QPointer<Library> self(this);

    std::optional<QByteArray> cover;
    try {
        const std::optional<QString> mbid = release.mbid.isEmpty() ? std::nullopt : std::optional(release.mbid);
        const ArtworkFetcher::ArtworkResult found =
            co_await ArtworkFetcher::fetchArtwork(release.artist, release.title, mbid, release.releaseGroupID, client);
        if (ImageType::isImage(found.data))
            cover = found.data;
    } catch (const ArtworkFetcher::FetchError&) {
        // The tags are worth applying without a cover.
    }
    summary.artworkFetched = cover.has_value();
    if (!self)
        co_return summary;

    // The entries as they are now, not as the sheet saw them when it opened.
    QList<Track> current;
    for (const Track& given : std::as_const(tracks)) {
        const auto entry = std::find_if(m_tracks.cbegin(), m_tracks.cend(),
                                        [&given](const Track& t) { return t.id == given.id; });
        if (entry != m_tracks.cend())
            current.append(*entry);
    }
    const AlbumRefetchPlan plan = AlbumRefetchPlan::make(current, release, cover);

    QList<Track> written;
    for (Track track : plan.updatedTracks) {
        const auto write = [track, cover] { return writeRelease(track, cover); };
        const RefetchWrite result = co_await Background::run(write);
        if (!result.tagsWritten) {
            ++summary.unwrittenCount;
            continue;
        }
        if (cover && !result.artworkWritten) {
            const auto entry = std::find_if(current.cbegin(), current.cend(),
                                            [&track](const Track& t) { return t.id == track.id; });
            track.artworkData = entry->artworkData;
        }
        written.append(track);
    }
    summary.matchedCount = written.size();
    if (!self || written.isEmpty())
        co_return summary;

    for (const Track& track : std::as_const(written)) {
        const auto entry =
            std::find_if(m_tracks.begin(), m_tracks.end(), [&track](const Track& t) { return t.id == track.id; });
        if (entry == m_tracks.end())
            continue;
        *entry = track;
        // An entry without bytes says nothing of the file's picture, which the cache may know.
        if (track.artworkData)
            m_artworkCache.warm(track.artworkData, track.id);
    }
    tracksDidChange();
    co_return summary;
}

QCoro::Task<QList<Track>> Library::tracksWithMissingArtwork()
{
    assertMainThread();
    const QList<Track> tracks = m_tracks;
    QPointer<Library> self(this);
    QList<Track> missing;
    for (const Track& track : tracks) {
        if (track.artworkData)
            continue;
        const ArtworkCache::Artwork artwork = co_await m_artworkCache.artwork(track);
        if (!self)
            co_return missing;
        if (!artwork)
            missing.append(track);
    }
    co_return missing;
}

QCoro::Task<Library::MissingArtworkSummary> Library::fetchMissingArtwork(ArtworkProgressHandler onProgress,
                                                                        MetadataHTTPClient& client)
{
    assertMainThread();
    QPointer<Library> self(this);
    QList<Track> missing = co_await tracksWithMissingArtwork();
    if (!self)
        co_return MissingArtworkSummary{0, missing.size()};
    co_return co_await artworkPass(std::move(missing), std::move(onProgress), client);
}

QCoro::Task<Library::MissingArtworkSummary> Library::refreshAllArtwork(ArtworkProgressHandler onProgress,
                                                                      MetadataHTTPClient& client)
{
    assertMainThread();
    co_return co_await artworkPass(m_tracks, std::move(onProgress), client);
}

QCoro::Task<Library::MissingArtworkSummary> Library::artworkPass(QList<Track> tracks,
                                                                ArtworkProgressHandler onProgress,
                                                                MetadataHTTPClient& client)
{
    MissingArtworkSummary summary;
    summary.totalMissing = tracks.size();
    const QList<AlbumTracks> albums = groupByAlbum(tracks);
    QPointer<Library> self(this);
    // One album at a time on the network, so that a large library doesn't flood the services.
    for (qsizetype i = 0; i < albums.size(); ++i) {
        const AlbumTracks& album = albums.at(i);
        const Track& first = album.tracks.constFirst();
        qsizetype taken = 0;
        try {
            const ArtworkFetcher::ArtworkResult cover = co_await ArtworkFetcher::fetchArtwork(
                album.artist, album.album, first.releaseMBID, first.releaseGroupMBID, client);
            if (!self)
                co_return summary;
            taken = co_await applyArtwork(cover, idsOf(album.tracks));
        } catch (const ArtworkFetcher::FetchError&) {
            // An album without a cover is passed over without a word.
        }
        if (!self)
            co_return summary;
        summary.fetchedCount += taken;
        if (onProgress)
            onProgress(ArtworkProgress{i + 1, albums.size(), album.artist, album.album, taken > 0});
    }
    co_return summary;
}

QCoro::Task<qsizetype> Library::applyArtwork(ArtworkFetcher::ArtworkResult artwork, QSet<QUuid> trackIDs)
{
    assertMainThread();
    // A server's error page sent as a picture would spoil every file it went into.
    if (!ImageType::isImage(artwork.data))
        co_return 0;
    QList<Track> targets;
    for (const Track& track : std::as_const(m_tracks)) {
        if (trackIDs.contains(track.id))
            targets.append(track);
    }
    if (targets.isEmpty())
        co_return 0;
    QPointer<Library> self(this);
    const QSet<QUuid> written = co_await writeArtworkInto(targets, artwork.data);
    if (!self)
        co_return 0;
    qsizetype adopted = 0;
    for (Track& track : m_tracks) {
        if (!written.contains(track.id))
            continue;
        track.artworkData = artwork.data;
        m_artworkCache.warm(track.artworkData, track.id);
        ++adopted;
    }
    if (adopted > 0)
        tracksDidChange();
    co_return adopted;
}

QCoro::Task<qsizetype> Library::removeArtwork(QSet<QUuid> trackIDs)
{
    assertMainThread();
    QPointer<Library> self(this);
    qsizetype removed = 0;
    const QList<Track> targets = m_tracks;
    for (const Track& target : targets) {
        if (!trackIDs.contains(target.id))
            continue;
        const auto clear = [url = target.url] { TagWriter::removeArtwork(url); };
        try {
            co_await Background::run(clear);
        } catch (const TagWriter::WriteError&) {
            continue; // that file keeps its picture, and so does its entry
        }
        if (!self)
            co_return removed;
        for (Track& track : m_tracks) {
            if (track.id == target.id) {
                track.artworkData.reset();
                m_artworkCache.warm(track.artworkData, track.id);
                ++removed;
            }
        }
    }
    if (removed > 0)
        tracksDidChange();
    co_return removed;
}
