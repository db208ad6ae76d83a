#pragma once

#include <QString>

namespace DiscEject {

// Starts `eject /dev/srN` and does not wait for it: its failure isn't shown. A disc image is
// never ejected. True when the program was started.
bool eject(const QString& bsdName);

} // namespace DiscEject
