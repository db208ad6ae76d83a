#pragma once

#include <QByteArray>
#include <QString>

// What kind of picture a cover's bytes are, from their first bytes: what a tag's picture
// frame declares, whether the bytes came from a file, a tag or the network.
namespace ImageType {

// PNG, GIF and WebP by their signatures, anything else JPEG.
QString mimeType(const QByteArray& data);
// Starts with the signature of a JPEG, PNG, GIF or WebP image.
bool isImage(const QByteArray& data);

} // namespace ImageType
