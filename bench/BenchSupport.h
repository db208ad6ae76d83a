#pragma once

#include "library/Track.h"

#include <QList>

// Tracks with realistic field lengths, twelve to an album and ten albums to an artist:
// paths of about 90 characters, a third with MusicBrainz ids, one in ten with custom tags.
QList<Track> generateTracks(qsizetype count);

// Peak resident size of this process, in MiB.
double peakMemoryMiB();

// Memory is measured in a fresh process: this one's heap keeps what earlier benchmarks
// freed. The child opens a library whose library.json is the given file and prints its
// peak resident size.
inline constexpr char loadStoreArgument[] = "--load-store";
int loadStoreAndReportPeakMemory(const QString& libraryJson);
double measureLoadPeakMemoryMiB(const QString& libraryJson);
