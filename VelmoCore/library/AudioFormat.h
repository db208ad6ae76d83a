#pragma once

#include "RawValueEnum.h"

#include <QSet>
#include <QString>
#include <QUrl>

#include <optional>

// The raw value is the only name a format has; screens show it upper-cased. Opus and AIFF
// come after the six first ones, so that stored raw values keep their meaning.
enum class AudioFormat { flac, mp3, aac, alac, ogg, wav, opus, aiff };

template <>
struct EnumRawValues<AudioFormat> {
    static constexpr std::array values{
        std::pair{AudioFormat::flac, "flac"}, std::pair{AudioFormat::mp3, "mp3"},
        std::pair{AudioFormat::aac, "aac"},   std::pair{AudioFormat::alac, "alac"},
        std::pair{AudioFormat::ogg, "ogg"},   std::pair{AudioFormat::wav, "wav"},
        std::pair{AudioFormat::opus, "opus"}, std::pair{AudioFormat::aiff, "aiff"},
    };
};

// "m4a" is always aac, even when it holds Apple Lossless: alac only ever comes from a stored value.
std::optional<AudioFormat> audioFormatFromURL(const QUrl& url);

// The accepted extensions and the formats are two different lists: "m4a" and "aif" are no
// format's raw value, and "alac" is no accepted extension.
const QSet<QString>& acceptedAudioExtensions();
bool isAudioFilePath(const QString& path);
inline bool isAudioFile(const QUrl& url) { return isAudioFilePath(url.path()); }
