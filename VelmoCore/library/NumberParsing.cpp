#include "NumberParsing.h"

#include <cmath>

namespace NumberParsing {

std::optional<qint64> strictInteger(const QString& text)
{
    QStringView digits(text);
    if (digits.startsWith(u'+') || digits.startsWith(u'-'))
        digits = digits.mid(1);
    if (digits.isEmpty())
        return std::nullopt;
    for (QChar c : digits) {
        if (c < u'0' || c > u'9')
            return std::nullopt;
    }
    bool ok = false;
    const qint64 value = text.toLongLong(&ok);
    return ok ? std::optional<qint64>(value) : std::nullopt;
}

std::optional<qint64> roundedNumber(const QString& text)
{
    for (QChar c : text) {
        if (!(c.isDigit() || c == u'.' || c == u'-' || c == u'+' || c == u'e' || c == u'E'))
            return std::nullopt;
    }
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || !std::isfinite(value) || std::abs(value) > 9.0e18)
        return std::nullopt;
    return static_cast<qint64>(std::round(value));
}

} // namespace NumberParsing
