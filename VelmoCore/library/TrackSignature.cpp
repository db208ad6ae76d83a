#include "TrackSignature.h"

#include "Track.h"
#include "TrackMetadataStub.h"

#include <cmath>

TrackSignature::TrackSignature(const Track& track)
    : TrackSignature(track.artist, track.album, track.title, track.duration)
{
}

TrackSignature::TrackSignature(const QString& artist_, const QString& album_, const QString& title_,
                               double duration_)
    : artist(normalize(artist_))
    , album(normalize(album_))
    , title(normalize(title_))
    , duration(duration_)
{
}

TrackSignature::TrackSignature(const QString& album_, const TrackMetadataStub& stub)
    : TrackSignature(stub.artist, album_, stub.title, stub.duration)
{
}

QString TrackSignature::normalize(const QString& text)
{
    return text.trimmed().toLower();
}

bool TrackSignature::durationsMatch(double a, double b, double toleranceSeconds)
{
    return a == 0 || b == 0 || std::abs(a - b) <= toleranceSeconds;
}

bool TrackSignature::matches(const TrackSignature& other, double toleranceSeconds) const
{
    return key() == other.key() && durationsMatch(duration, other.duration, toleranceSeconds);
}

bool TrackSignature::conflicts(const TrackSignature& other, double toleranceSeconds) const
{
    return key() == other.key() && !matches(other, toleranceSeconds);
}

size_t qHash(const TrackSignature::Key& key, size_t seed) noexcept
{
    return qHashMulti(seed, key.artist, key.album, key.title);
}
