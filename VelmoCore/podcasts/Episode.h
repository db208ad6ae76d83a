#pragma once

#include "library/Date.h"
#include "library/RawValueEnum.h"

#include <QString>
#include <QUrl>
#include <QUuid>

#include <optional>

class JsonObject;
class JsonWriter;

enum class DownloadState { notDownloaded, downloading, downloaded, failed };

template <>
struct EnumRawValues<DownloadState> {
    static constexpr std::array values{std::pair{DownloadState::notDownloaded, "notDownloaded"},
                                       std::pair{DownloadState::downloading, "downloading"},
                                       std::pair{DownloadState::downloaded, "downloaded"},
                                       std::pair{DownloadState::failed, "failed"}};
};

// One feed item with an enclosure.
struct Episode {
    QUuid id; // made at each parse; a re-parsed item keeps the stored id through the merge
    QUuid podcastID;
    QString title;
    QString episodeDescription; // raw, as the feed gave it
    Date publishDate;
    double duration = 0; // 0 when unknown
    QUrl remoteURL;
    std::optional<QUrl> localURL; // none when not on disk
    bool isPlayed = false;
    DownloadState downloadState = DownloadState::notDownloaded;
    std::optional<QString> guid; // none when the item had none or an empty one

    void writeJson(JsonWriter& writer) const;
    static Episode fromJson(const JsonObject& object);

    bool operator==(const Episode&) const = default;
};
