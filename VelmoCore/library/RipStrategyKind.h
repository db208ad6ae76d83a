#pragma once

#include "RawValueEnum.h"

// How a rip reads the disc: raw sector reads, the error-correcting paranoia reader, or raw
// reads twice over with paranoia re-reads until two agree.
enum class RipStrategyKind { direct, paranoia, secure };

template <>
struct EnumRawValues<RipStrategyKind> {
    static constexpr std::array values{std::pair{RipStrategyKind::direct, "direct"},
                                       std::pair{RipStrategyKind::paranoia, "paranoia"},
                                       std::pair{RipStrategyKind::secure, "secure"}};
};
