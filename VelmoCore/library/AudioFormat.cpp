#include "AudioFormat.h"

#include "FilePaths.h"

std::optional<AudioFormat> audioFormatFromURL(const QUrl& url)
{
    const QString extension = FilePaths::pathExtension(url.path()).toLower();
    if (extension == u"m4a")
        return AudioFormat::aac;
    if (extension == u"aif")
        return AudioFormat::aiff;
    if (extension == u"alac")
        return std::nullopt;
    return enumFromRawValue<AudioFormat>(extension);
}

const QSet<QString>& acceptedAudioExtensions()
{
    static const QSet<QString> extensions{
        QStringLiteral("flac"), QStringLiteral("mp3"), QStringLiteral("aac"),
        QStringLiteral("m4a"),  QStringLiteral("ogg"), QStringLiteral("wav"),
        QStringLiteral("opus"), QStringLiteral("aiff"), QStringLiteral("aif"),
    };
    return extensions;
}

bool isAudioFilePath(const QString& path)
{
    return acceptedAudioExtensions().contains(FilePaths::pathExtension(path).toLower());
}
