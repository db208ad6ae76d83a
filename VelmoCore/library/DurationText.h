#pragma once

#include <QString>

// The one duration text of the screens and of velmo: whole seconds, truncated; "4:05" below
// an hour, "1:02:03" from an hour on. Nothing sensible is negative or not finite; such a
// value reads as "0:00".
QString formatDuration(double seconds);
