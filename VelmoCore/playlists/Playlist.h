#pragma once

#include "library/Date.h"

#include <QList>
#include <QString>
#include <QUuid>

class JsonObject;
class JsonWriter;

// A named, ordered list of track ids. An id may outlive its track: every reader of
// trackIDs skips ids it cannot find.
struct Playlist {
    QUuid id;
    QString name;
    QList<QUuid> trackIDs;
    Date dateCreated;
    Date dateModified;

    void writeJson(JsonWriter& writer) const;
    static Playlist fromJson(const JsonObject& object);

    bool operator==(const Playlist&) const = default;
};
