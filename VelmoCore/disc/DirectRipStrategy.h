#pragma once

#include "SectorRipStrategy.h"

// Raw frames as the drive returns them, one read per frame and no correction. A failed read
// is tried four more times, 0.2 seconds apart, each time on a freshly opened device: a drive
// that lost its footing often reads the frame after a reopen.
class DirectRipStrategy : public SectorRipStrategy {
public:
    explicit DirectRipStrategy(std::optional<qint64> readOffset = std::nullopt);
    // Tests give a scripted source and a short pause.
    DirectRipStrategy(SectorSourceFactory sources, std::chrono::milliseconds pause, qint64 readOffset = 0);
};
