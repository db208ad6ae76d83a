#include "TagProperties.h"

#include <cmath>
#include <limits>

namespace TagProperties {

TagLib::String customPropertyName(const QString& key)
{
    QByteArray name = "VELMO_CUSTOM_";
    for (const char byte : key.toUtf8()) {
        const auto c = static_cast<unsigned char>(byte);
        if (c < 0x20 || c > 0x7D || c == '=' || c == '%')
            name += '%' + QByteArray::number(c, 16).toUpper().rightJustified(2, '0');
        else
            name += byte;
    }
    return TagLib::String(name.constData(), TagLib::String::UTF8);
}

QStringList splitKeys(const QString& list)
{
    return list.split(u',', Qt::SkipEmptyParts);
}

std::optional<QString> first(const TagLib::PropertyMap& properties, const TagLib::String& name)
{
    const auto it = properties.find(name);
    if (it == properties.end() || it->second.isEmpty())
        return std::nullopt;
    const QString value = toQString(it->second.front());
    if (value.isEmpty())
        return std::nullopt;
    return value;
}

std::optional<qint64> parseStrictInteger(const QString& text)
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

std::optional<qint64> parseRoundedNumber(const QString& text)
{
    // Only digits, one point, a sign and an exponent: no blanks, "nan" or "inf".
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

QString toQString(const TagLib::String& string)
{
    return QString::fromStdString(string.to8Bit(true));
}

TagLib::String toTagLib(const QString& string)
{
    return TagLib::String(string.toUtf8().constData(), TagLib::String::UTF8);
}

QByteArray toQByteArray(const TagLib::ByteVector& vector)
{
    return QByteArray(vector.data(), vector.size());
}

TagLib::ByteVector toTagLib(const QByteArray& bytes)
{
    return TagLib::ByteVector(bytes.constData(), static_cast<unsigned int>(bytes.size()));
}

} // namespace TagProperties
