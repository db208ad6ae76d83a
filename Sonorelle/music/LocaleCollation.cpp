#include "LocaleCollation.h"

namespace LocaleCollation {

QLocale locale()
{
    const QLocale system = QLocale::system();
    return system.language() == QLocale::C ? QLocale(QLocale::English, QLocale::UnitedStates) : system;
}

QCollator collator(const QLocale& locale)
{
    QCollator collator(locale);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

} // namespace LocaleCollation
