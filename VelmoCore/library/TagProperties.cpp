#include "TagProperties.h"

#include <algorithm>

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
    return TagLib::String(name.toUpper().constData(), TagLib::String::UTF8);
}

QStringList splitKeys(const QString& list)
{
    return list.split(u',', Qt::SkipEmptyParts);
}

std::optional<QString> first(const TagLib::PropertyMap& properties, const TagLib::String& name)
{
    // PropertyMap::find would upper-case a copy of the name first.
    const TagLib::SimplePropertyMap& map = properties;
    const auto it = map.find(name);
    if (it == map.end() || it->second.isEmpty())
        return std::nullopt;
    const QString value = toQString(it->second.front());
    if (value.isEmpty())
        return std::nullopt;
    return value;
}

QString toQString(const TagLib::String& string)
{
    // TagLib keeps UTF-16 code units, one to each wchar_t: copied as they are, with no trip
    // through UTF-8.
    QString result(qsizetype(string.size()), Qt::Uninitialized);
    std::transform(string.begin(), string.end(), result.begin(), [](wchar_t unit) { return QChar(char16_t(unit)); });
    return result;
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
