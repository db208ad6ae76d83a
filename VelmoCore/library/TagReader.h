#pragma once

#include "TrackMetadata.h"

#include <QUrl>

#include <optional>

// Reads a file's tags, audio properties and front picture. Blocking: callers run it off the
// main thread. It never fails loudly: a file that cannot be read gives no value, and
// callers pass it over.
namespace TagReader {

std::optional<TrackMetadata> read(const QUrl& url);

} // namespace TagReader
