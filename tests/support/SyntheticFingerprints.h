#pragma once

#include "library/FingerprintReader.h"

#include <QList>

#include <optional>
#include <utility>

// Fingerprints shaped like real ones, for pairing at scale: each word differs from the one
// before in a few bits, as consecutive frames of music do.
namespace SyntheticFingerprints {

struct Set {
    QList<std::optional<Fingerprint>> fingerprints;
    // Each planted copy and the fingerprint it was made from.
    QList<std::pair<qsizetype, qsizetype>> planted;
};

// `count` fingerprints of about `words` words. `planted` of them are copies of an earlier one
// with each bit flipped at a rate between `minNoise` and `maxNoise`, some cut shorter; a few
// of the others are short pieces of under 16 seconds.
Set make(qsizetype count, qsizetype words, qsizetype planted, double minNoise, double maxNoise, unsigned seed);

} // namespace SyntheticFingerprints
