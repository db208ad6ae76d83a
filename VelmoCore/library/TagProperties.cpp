#include "TagProperties.h"

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
