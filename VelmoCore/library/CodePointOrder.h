#pragma once

#include <QList>
#include <QString>
#include <QStringView>

// Plain ascending order by Unicode code points, the same on every machine and in every
// locale. QString's own operator< compares UTF-16 units, which puts characters beyond the
// Basic Multilingual Plane (emoji, many CJK names) before U+E000..U+FFFF.
namespace CodePointOrder {

bool less(QStringView a, QStringView b);

void sort(QList<QString>& strings);

} // namespace CodePointOrder
