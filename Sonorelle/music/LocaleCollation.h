#pragma once

#include <QCollator>
#include <QLocale>

// The order in which names are listed: the user's language, numbers by value ("Disc 2"
// before "Disc 10") and case not counting, so that "Élodie" sorts among the E's.
namespace LocaleCollation {

// The user's locale; the "C" locale, which bare sessions have, collates by code point and
// gives way to English.
QLocale locale();

// A collator for the locale. Not to be shared between threads: each makes its own.
QCollator collator(const QLocale& locale = LocaleCollation::locale());

} // namespace LocaleCollation
