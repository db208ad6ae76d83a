#pragma once

#include "ReleaseMetadata.h"
#include "library/TrackSignature.h"

// A release's track, under the album it is on: how the disc screens ask whether a disc's
// tracks are in the library already.
inline TrackSignature releaseTrackSignature(const QString& album, const TrackMetadataStub& stub)
{
    return TrackSignature(stub.artist, album, stub.title, stub.duration);
}
