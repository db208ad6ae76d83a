#pragma once

#include "library/Date.h"

#include <QSet>
#include <QString>
#include <QUuid>

class JsonObject;
class JsonWriter;

// A stored filter over the library; its matches are worked out at each use, never stored.
struct SmartPlaylist {
    QUuid id;
    QString name;
    QSet<QString> filterArtists; // matched against artist and albumArtist
    QSet<QString> filterGenres;
    QSet<qint64> filterDecades; // by first year: 1990, 2000
    Date dateCreated;
    Date dateModified;

    // The sets are written sorted, so one set always gives the same bytes.
    void writeJson(JsonWriter& writer) const;
    static SmartPlaylist fromJson(const JsonObject& object);

    bool operator==(const SmartPlaylist&) const = default;
};
