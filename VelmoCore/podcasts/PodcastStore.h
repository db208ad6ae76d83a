#pragma once

#include "Episode.h"
#include "Podcast.h"

#include <QList>

class JsonDocument;

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

} // namespace PodcastStore
