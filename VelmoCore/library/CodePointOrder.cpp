#include "CodePointOrder.h"

#include <algorithm>

namespace CodePointOrder {

namespace {

// Moves surrogates above U+E000..U+FFFF, so that unit order becomes code point order. Only
// the first differing unit decides, and there either both are surrogates or the fix-up
// ranks the surrogate (a code point of U+10000 or more) correctly.
char16_t rank(char16_t unit)
{
    if (unit >= 0xE000)
        return char16_t(unit - 0x800);
    if (unit >= 0xD800)
        return char16_t(unit + 0x2000);
    return unit;
}

} // namespace

bool less(QStringView a, QStringView b)
{
    const auto [ai, bi] = std::mismatch(a.cbegin(), a.cend(), b.cbegin(), b.cend());
    if (bi == b.cend())
        return false;
    if (ai == a.cend())
        return true;
    return rank(ai->unicode()) < rank(bi->unicode());
}

void sort(QList<QString>& strings)
{
    std::sort(strings.begin(), strings.end(), [](const QString& a, const QString& b) { return less(a, b); });
}

} // namespace CodePointOrder
