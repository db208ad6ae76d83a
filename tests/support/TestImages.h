#pragma once

#include <QByteArray>

// Pictures made in the test with FFmpeg's PNG encoder, of any size: covers as large as the
// ones stores sell.
namespace TestImages {

// A width × height PNG of a colour gradient. A failure ends the test run.
QByteArray png(int width, int height);

} // namespace TestImages
