#pragma once

#include <QString>

// The form in which text is compared by the search field: without case and without accents,
// so that "brule" finds "Brûlé" and "royksopp" finds "Röyksopp".
namespace SearchText {

// Compatibility-decomposed, marks dropped, case-folded, and the few Latin letters that carry
// their stroke or ligature in themselves spelled plainly ("ø" as "o", "æ" as "ae", "ß" as "ss").
QString fold(const QString& text);

} // namespace SearchText
