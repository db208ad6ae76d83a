#pragma once

#include "AudioFormat.h"
#include "Date.h"
#include "TrackMetadata.h"

class JsonObject;
class JsonWriter;

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QUrl>
#include <QUuid>

#include <optional>

// One library entry, as library.json holds it.
struct Track {
    QUuid id; // never changes once made; what playlists and device manifests refer to
    QUrl url;
    QString title;
    QString artist;
    QString albumArtist;
    QString album;
    QString genre;
    std::optional<qint64> year;
    std::optional<qint64> trackNumber;
    std::optional<qint64> discNumber;
    double duration = 0;
    AudioFormat format = AudioFormat::flac;
    std::optional<qint64> bitrate;
    std::optional<qint64> sampleRate;
    Date dateAdded;
    // The durable identity carried in the file's tags: how a rescan recognises a moved file.
    std::optional<QString> externalID;
    std::optional<QString> releaseMBID;
    std::optional<QString> releaseGroupMBID;
    std::optional<qint64> bpm;
    QMap<QString, QString> customTags;
    // ReplayGain 2.0 gains in dB as the file's tags carry them; none before an analysis.
    std::optional<double> replayGainTrack;
    std::optional<double> replayGainAlbum;
    // A carrier from a file read, rip or fetch to the artwork cache; never stored. Shared
    // bytes, so arrays of tracks with pictures copy cheaply.
    std::optional<QByteArray> artworkData;

    // A fresh entry for a file: new id, added now, and the file's base name when the tags
    // carry no title. This is the only place a title is invented.
    static Track fromFile(const QUrl& url, const TrackMetadata& metadata);

    // This freshly read record with the id, dateAdded and customTags of `old`: how identity
    // survives a rescan, a re-rip and a rename outside the program.
    Track preservingIdentity(const Track& old) const;

    QString path() const { return url.toLocalFile(); }

    // The custom tag a rip writes into every file it makes. With the track and disc numbers it
    // places the file on its disc, which a title cannot: a disc may have two "Interlude".
    static QString discIDTag() { return QStringLiteral("MUSICBRAINZ_DISCID"); }

    void writeJson(JsonWriter& writer) const;
    static Track fromJson(const JsonObject& object);

    // All 23 fields, artworkData included: a track with its picture loaded differs from its
    // stored copy.
    bool operator==(const Track&) const = default;
};
