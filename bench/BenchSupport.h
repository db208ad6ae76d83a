#pragma once

#include "library/Track.h"

#include <QList>

// Tracks with realistic field lengths, twelve to an album and ten albums to an artist:
// paths of about 90 characters, a third with MusicBrainz ids, one in ten with custom tags.
QList<Track> generateTracks(qsizetype count);

// Peak resident size of this process, in MiB.
double peakMemoryMiB();

// Memory is measured in a fresh process: this one's heap keeps what earlier benchmarks
// freed. The child runs one piece of work named by its argument and prints its peak
// resident size.
inline constexpr char loadStoreArgument[] = "--load-store";   // open a library with this library.json
inline constexpr char scanFolderArgument[] = "--scan-folder"; // scan this folder
int runMeasuredChild(const QString& argument, const QString& path);
double measureInChild(const char* argument, const QString& path);

// Creates an empty file, or exits.
void writeFile(const QString& path);
