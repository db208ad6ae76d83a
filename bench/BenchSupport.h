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
inline constexpr char ripImageArgument[] = "--rip-image";     // rip this disc image to FLAC
int runRipChild(const QString& sheet);
int runMeasuredChild(const QString& argument, const QString& path);
double measureInChild(const char* argument, const QString& path);

// Creates an empty file, or exits.
void writeFile(const QString& path);

// `count` tagged files of the six containers in turn: FLAC, MP3, M4A, Ogg Vorbis, Opus in
// ".ogg" and WAV, made from the committed samples with TagWriter, twelve to an album, each
// album with its own 40 KB cover. Two thirds carry no durable id, as files from elsewhere
// do. Made once and kept in the cache folder.
QString mixedFormatFixture(int count);

// CPU time of the whole process, every thread, in seconds: with the wall time it tells how
// many threads worked at once.
double processCpuSeconds();
