#include "ImageType.h"

using namespace Qt::StringLiterals;

namespace ImageType {

namespace {

bool isGIF(const QByteArray& data)
{
    return data.startsWith("GIF87a") || data.startsWith("GIF89a");
}

bool isWebP(const QByteArray& data)
{
    return data.size() >= 12 && data.startsWith("RIFF") && data.mid(8, 4) == "WEBP";
}

} // namespace

QString mimeType(const QByteArray& data)
{
    if (data.startsWith("\x89PNG"))
        return u"image/png"_s;
    if (isGIF(data))
        return u"image/gif"_s;
    if (isWebP(data))
        return u"image/webp"_s;
    return u"image/jpeg"_s;
}

bool isImage(const QByteArray& data)
{
    return data.startsWith("\xFF\xD8\xFF") || data.startsWith("\x89PNG\r\n\x1A\n") || isGIF(data) || isWebP(data);
}

} // namespace ImageType
