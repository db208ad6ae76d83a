#pragma once

#include "Episode.h"
#include "Podcast.h"

#include "library/StoreFile.h"

#include <QList>

// podcasts.json: one object holding both lists; episodes of all podcasts in one flat array,
// linked by podcastID.
namespace PodcastStore {

struct Contents {
    QList<Podcast> podcasts;
    QList<Episode> episodes;

    bool operator==(const Contents&) const = default;
};

// Throws DecodingError; both keys are required.
Contents decode(const JsonDocument& document);
QByteArray encode(const QList<Podcast>& podcasts, const QList<Episode>& episodes);

// "Velmo/podcasts.json" in the data folder, or its override.
QString storePath();

// Missing, sound or corrupt; the library takes anything but sound as empty lists.
StoreRead<Contents> load();

// Whole and atomic. The library saves through its own coalesced writer; this is for whoever
// prepares a store without one. Returns the reason for a failure, or nothing.
std::optional<QString> save(const QList<Podcast>& podcasts, const QList<Episode>& episodes);

} // namespace PodcastStore
