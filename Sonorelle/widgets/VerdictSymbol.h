#pragma once

#include "disc/AccurateRipDatabase.h"
#include "disc/CTDBVerifier.h"

#include <QIcon>
#include <QString>

#include <optional>

// Where one item of a rip or a sync stands, as every screen marks it: a check only for what
// was confirmed, a neutral mark for what could not be told, a warning for what was
// contradicted or damaged.
enum class VerdictSymbol {
    confirmed, // accurately ripped, or copied: a green check
    unconfirmed, // not in the database, not checked: a neutral information mark
    warning, // does not match, damaged: a triangle in the warning colour
    waiting, // not yet begun: a hollow neutral circle
    failed, // did not arrive: the error mark
};

namespace VerdictSymbols {

// A track that arrived, by its AccurateRip verdict; without one it is unconfirmed.
VerdictSymbol forVerdict(const std::optional<AccurateRip::Verdict>& verdict);

// The same by the CUETools database's verdict.
VerdictSymbol forVerdict(const std::optional<CTDB::Verdict>& verdict);

// Both databases: a check only where at least one confirms the track and neither contradicts it.
VerdictSymbol forTrack(const std::optional<AccurateRip::Verdict>& accurateRip, const std::optional<CTDB::Verdict>& ctdb);

// The worse of two, for a line that stands for several items: failed, then warning,
// unconfirmed, waiting, confirmed.
VerdictSymbol worse(VerdictSymbol a, VerdictSymbol b);

// The symbol's name, as tests and the symbol property of a label carry it.
QString name(VerdictSymbol symbol);

// Drawn here rather than taken from the theme, whose symbolic icons carry no colour.
QIcon icon(VerdictSymbol symbol);

// The mark in words, for screen readers: "Done", "Not verified", "Warning", "Waiting",
// "Failed". Screens add what the item itself says.
QString words(VerdictSymbol symbol);

} // namespace VerdictSymbols
