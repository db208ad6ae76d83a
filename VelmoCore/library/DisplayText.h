#pragma once

#include "AudioFormat.h"

#include <QList>
#include <QString>

#include <chrono>

struct Track;

// The texts every list of the program shows a track with, in one place for the screens
// and the command line.
namespace DisplayText {

// Whole seconds, truncated: "3:07", and from an hour "1:02:03". Nothing sensible is
// negative or not finite; such a value reads as "0:00".
QString formatDuration(double seconds);

// "1 track", "2 tracks": the count and the noun, with an "s" unless the count is 1.
QString counted(qsizetype count, const QString& noun);

// A span of time as a sentence gives it: "a minute", "2 minutes", "a second", "90 seconds",
// "250 ms"; the largest unit that divides it.
QString spanOfTime(std::chrono::milliseconds span);

// An amount of bytes in binary units: "16 KiB", "1 GiB", "410.5 KiB".
QString dataSize(qint64 bytes);

// The raw name in capitals: "FLAC".
QString formatText(AudioFormat format);

// Whether the tracks of a list carry more than one distinct disc number.
bool hasSeveralDiscs(const QList<Track>& tracks);

// "–" without a number; "2-5" when the list has several discs and the track a disc
// number; else the plain number.
QString trackNumberText(const Track& track, bool severalDiscs);

} // namespace DisplayText
