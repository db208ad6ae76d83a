#pragma once

#include "SectorRipStrategy.h"

// Whole tracks through libcdio-paranoia, which re-reads, verifies and corrects jitter itself:
// a frame it can't deliver is not tried again here. An image has no jitter and is read as it is.
class ParanoiaRipStrategy : public SectorRipStrategy {
public:
    explicit ParanoiaRipStrategy(std::optional<qint64> readOffset = std::nullopt);
    // Tests give a scripted source.
    explicit ParanoiaRipStrategy(SectorSourceFactory sources, qint64 readOffset = 0);
};
