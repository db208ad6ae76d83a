#pragma once

#include "library/Track.h"

// Tracks for tests: every field filled with something plausible, or only what a case needs.
Track makeTrack(const QString& title, const QString& artist = QStringLiteral("Artist"),
                const QString& album = QStringLiteral("Album"), double duration = 200.0);

// A track with every optional field present and custom tags, for round trips.
Track makeFullTrack();
