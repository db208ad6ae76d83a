#pragma once

#include "RawValueEnum.h"

#include <QSet>
#include <QString>
#include <QUrl>

#include <optional>

// The raw value is the only name a format has; screens show it upper-cased.
enum class AudioFormat { flac, mp3, aac, alac, ogg, wav };

template <>
struct EnumRawValues<AudioFormat> {
    static constexpr std::array values{
        std::pair{AudioFormat::flac, "flac"}, std::pair{AudioFormat::mp3, "mp3"},
        std::pair{AudioFormat::aac, "aac"},   std::pair{AudioFormat::alac, "alac"},
        std::pair{AudioFormat::ogg, "ogg"},   std::pair{AudioFormat::wav, "wav"},
    };
};

// "m4a" is always aac, even when it holds Apple Lossless: alac only ever comes from a stored value.
std::optional<AudioFormat> audioFormatFromURL(const QUrl& url);

// The accepted extensions and the formats are two different lists of six: "m4a" is no
// format and "alac" is no accepted extension.
const QSet<QString>& acceptedAudioExtensions();
bool isAudioFilePath(const QString& path);
inline bool isAudioFile(const QUrl& url) { return isAudioFilePath(url.path()); }
