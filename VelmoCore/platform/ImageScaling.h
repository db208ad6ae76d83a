#pragma once

#include <QByteArray>

#include <optional>

// Pictures made to fit a player's screen, through FFmpeg's image codecs and scaler.
namespace ImageScaling {

// `image` (JPEG, PNG, GIF or WebP) as a JPEG whose longer side is at most `maxPixels`, scaled
// down with its proportions kept and never enlarged, at about quality 90. A JPEG that fits
// already comes back as it is, since encoding it again only loses detail. None for bytes that
// do not decode as a picture.
std::optional<QByteArray> fittedJpeg(const QByteArray& image, int maxPixels);

// The width and height of a picture, or none when it does not decode.
std::optional<std::pair<int, int>> dimensions(const QByteArray& image);

} // namespace ImageScaling
