#pragma once

#include "AudioFormat.h"

#include <QByteArray>
#include <QMap>
#include <QString>

#include <optional>

// What a tag read yields for one file.
struct TrackMetadata {
    QString title;
    QString artist;
    QString albumArtist; // equals artist when the file has none
    QString album;
    QString genre;
    std::optional<qint64> year;
    std::optional<qint64> trackNumber;
    std::optional<qint64> discNumber;
    double duration = 0; // 0 when the file reports no audio properties
    AudioFormat format = AudioFormat::flac;
    std::optional<qint64> bitrate; // kbit/s
    std::optional<qint64> sampleRate;
    std::optional<QByteArray> artworkData;
    std::optional<QString> externalID;
    std::optional<QString> releaseMBID;
    std::optional<QString> releaseGroupMBID;
    std::optional<qint64> bpm;
    QMap<QString, QString> customTags;
    // From REPLAYGAIN_TRACK_GAIN and REPLAYGAIN_ALBUM_GAIN, or an Opus file's R128 tags.
    std::optional<double> replayGainTrack;
    std::optional<double> replayGainAlbum;

    bool operator==(const TrackMetadata&) const = default;
};
