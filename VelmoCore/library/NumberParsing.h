#pragma once

#include <QString>

#include <optional>

// Numbers typed by people or found in tags, parsed strictly: the whole text or nothing.
namespace NumberParsing {

// An optionally signed decimal integer: "2" and "+2", not "2/3", " 2" or "2.0".
std::optional<qint64> strictInteger(const QString& text);

// A decimal floating-point number rounded half away from zero: "120.6" gives 121; no
// blanks, "nan" or "inf".
std::optional<qint64> roundedNumber(const QString& text);

} // namespace NumberParsing
