#pragma once

#include "PodcastAutoDownloadRule.h"
#include "library/Date.h"

#include <QString>
#include <QUrl>
#include <QUuid>

#include <optional>

class JsonObject;
class JsonWriter;

// One subscription. Its id is chosen by whoever fetched the feed, never by the feed.
struct Podcast {
    QUuid id;
    QString title;
    QUrl feedURL;
    QString description; // raw, as the feed gave it
    std::optional<QUrl> artworkURL;
    std::optional<Date> lastFetched;
    PodcastAutoDownloadRule autoDownloadRule;

    void writeJson(JsonWriter& writer) const;
    static Podcast fromJson(const JsonObject& object);

    bool operator==(const Podcast&) const = default;
};
