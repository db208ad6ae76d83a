#include "AlbumRefetchPlan.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

template <typename Key>
std::optional<TrackMetadataStub> lookup(const QHash<Key, TrackMetadataStub>& stubs, const Key& key)
{
    const auto found = stubs.constFind(key);
    return found == stubs.cend() ? std::nullopt : std::optional(*found);
}

// The first stub under a key stays: a release that numbers two tracks alike keeps its first.
template <typename Key>
void insertFirst(QHash<Key, TrackMetadataStub>& stubs, const Key& key, const TrackMetadataStub& stub)
{
    if (!stubs.contains(key))
        stubs.insert(key, stub);
}

} // namespace

ReleaseTrackIndex::ReleaseTrackIndex(const QList<TrackMetadataStub>& stubs)
{
    QHash<qint64, qint64> discOfNumber;
    for (const TrackMetadataStub& stub : stubs) {
        // A medium without a position is read as disc 1.
        const qint64 disc = stub.discNumber.value_or(1);
        insertFirst(m_byDiscAndNumber, discKey(disc, stub.number), stub);
        insertFirst(m_byNumber, stub.number, stub);
        const auto seen = discOfNumber.constFind(stub.number);
        if (seen == discOfNumber.cend())
            discOfNumber.insert(stub.number, disc);
        else if (*seen != disc)
            m_ambiguousNumbers.insert(stub.number);
    }
}

QString ReleaseTrackIndex::discKey(qint64 disc, qint64 number)
{
    return QString::number(disc) + u"::"_s + QString::number(number);
}

bool ReleaseTrackIndex::lengthsAgree(double trackDuration, double stubDuration)
{
    return !(trackDuration > 0.0) || !(stubDuration > 0.0) || std::abs(trackDuration - stubDuration) <= lengthToleranceSeconds;
}

std::optional<TrackMetadataStub> ReleaseTrackIndex::match(const Track& track) const
{
    if (!track.trackNumber)
        return std::nullopt;
    const qint64 number = *track.trackNumber;
    if (track.discNumber)
        return lookup(m_byDiscAndNumber, discKey(*track.discNumber, number));
    std::optional<TrackMetadataStub> stub = lookup(m_byDiscAndNumber, discKey(1, number));
    if (!stub && !isAmbiguous(number))
        stub = lookup(m_byNumber, number);
    if (stub && !lengthsAgree(track.duration, stub->duration))
        return std::nullopt;
    return stub;
}

AlbumRefetchPlan AlbumRefetchPlan::make(const QList<Track>& albumTracks, const ReleaseMetadata& release,
                                        const std::optional<QByteArray>& artwork)
{
    AlbumRefetchPlan plan;
    plan.totalCount = albumTracks.size();
    if (albumTracks.isEmpty())
        return plan;
    const ReleaseTrackIndex index(release.tracks);
    for (const Track& track : albumTracks) {
        if (const std::optional<TrackMetadataStub> stub = index.match(track))
            plan.updatedTracks.append(applying(track, *stub, release, artwork));
    }
    return plan;
}

Track AlbumRefetchPlan::applying(const Track& track, const TrackMetadataStub& stub, const ReleaseMetadata& release,
                                 const std::optional<QByteArray>& artwork)
{
    // An answer adds and corrects; what it lacks stays as the file has it.
    const auto take = [](QString& field, const QString& given) {
        if (!given.isEmpty())
            field = given;
    };
    Track updated = track;
    take(updated.title, stub.title);
    take(updated.artist, stub.artist);
    take(updated.albumArtist, release.artist);
    take(updated.album, release.title);
    if (release.year)
        updated.year = release.year;
    updated.trackNumber = stub.number;
    if (stub.discNumber)
        updated.discNumber = stub.discNumber;
    if (!release.mbid.isEmpty())
        updated.releaseMBID = release.mbid;
    if (release.releaseGroupID)
        updated.releaseGroupMBID = release.releaseGroupID;
    if (release.genre)
        take(updated.genre, *release.genre);
    if (artwork)
        updated.artworkData = artwork;
    return updated;
}
