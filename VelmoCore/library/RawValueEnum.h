#pragma once

#include <QString>

#include <array>
#include <optional>
#include <string_view>
#include <utility>

// Enumerations whose stored form is a string raw value. Each one specialises
// EnumRawValues with its table, in declaration order:
//
//   template <> struct EnumRawValues<SyncScope> {
//       static constexpr std::array values{std::pair{SyncScope::fullLibrary, "fullLibrary"}, ...};
//   };
template <typename E>
struct EnumRawValues;

template <typename E>
constexpr auto allCases()
{
    constexpr auto& table = EnumRawValues<E>::values;
    std::array<E, table.size()> cases{};
    for (std::size_t i = 0; i < table.size(); ++i)
        cases[i] = table[i].first;
    return cases;
}

template <typename E>
QString rawValue(E value)
{
    for (const auto& [candidate, raw] : EnumRawValues<E>::values) {
        if (candidate == value)
            return QString::fromLatin1(raw);
    }
    return {};
}

// Exact and case-sensitive.
template <typename E>
std::optional<E> enumFromRawValue(QStringView raw)
{
    for (const auto& [candidate, text] : EnumRawValues<E>::values) {
        if (raw == QLatin1StringView(text))
            return candidate;
    }
    return std::nullopt;
}
