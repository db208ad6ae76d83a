#pragma once

#include <QString>

// Names as FAT32 and exFAT take them, which most players use. Their own rules, stricter
// than the library's cleaning: applied after it, to each component of a path on such a device.
namespace FatNames {

// The longest name FAT keeps, in UTF-16 units.
inline constexpr qsizetype maximumLength = 255;

// The characters FAT forbids and control characters become "-"; trailing blanks and full
// stops go; a name too long is shortened before its extension (for a file) or at its end (for
// a folder), never inside a character. Never empty.
QString safeComponent(const QString& name, bool isFileName);

// "Song.mp3" with n = 2 gives "Song (2).mp3", shortened as needed to stay within the limit.
QString numbered(const QString& fileName, int n);

} // namespace FatNames
