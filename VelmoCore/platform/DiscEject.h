#pragma once

#include <QString>

namespace DiscEject {

// Starts `eject` on a drive's device node (`/dev/sr0`) and does not wait for it: its failure
// isn't shown. True when the program was started.
bool eject(const QString& devicePath);

} // namespace DiscEject
