#pragma once


#include <QtGlobal>

#include <variant>

class JsonObject;
class JsonWriter;

// What a refresh downloads by itself.
struct PodcastAutoDownloadRule {
    struct None {
        bool operator==(const None&) const = default;
    };
    struct LatestN {
        qint64 count = 0;
        bool operator==(const LatestN&) const = default;
    };
    struct NewerThan {
        qint64 days = 0;
        bool operator==(const NewerThan&) const = default;
    };

    std::variant<None, LatestN, NewerThan> value;

    static PodcastAutoDownloadRule none() { return {None{}}; }
    static PodcastAutoDownloadRule latestN(qint64 count) { return {LatestN{count}}; }
    static PodcastAutoDownloadRule newerThan(qint64 days) { return {NewerThan{days}}; }

    // {"none":{}}, {"latestN":{"_0":5}}, {"newerThan":{"days":30}}: one key naming the case.
    void writeJson(JsonWriter& writer) const;
    static PodcastAutoDownloadRule fromJson(const JsonObject& object);

    bool operator==(const PodcastAutoDownloadRule&) const = default;
};
