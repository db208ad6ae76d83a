#pragma once

#include "RawValueEnum.h"

// How a rip reads the disc: raw sector reads, or the error-correcting paranoia reader.
enum class RipStrategyKind { direct, paranoia };

template <>
struct EnumRawValues<RipStrategyKind> {
    static constexpr std::array values{std::pair{RipStrategyKind::direct, "direct"},
                                       std::pair{RipStrategyKind::paranoia, "paranoia"}};
};
