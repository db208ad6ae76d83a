#include "JsonCoding.h"
#include "Uuid.h"

DecodingError::DecodingError(const QString& message)
    : std::runtime_error(message.toStdString())
{
}

DecodingError DecodingError::within(const QString& context) const
{
    return DecodingError(context + QStringLiteral(": ") + message());
}

namespace Json {

namespace {

[[noreturn]] void typeMismatch(QLatin1StringView key, const char* expected)
{
    throw DecodingError(QStringLiteral("\"%1\" is not %2").arg(key, QLatin1StringView(expected)));
}

template <typename T>
T unwrap(const std::optional<T>& value, QLatin1StringView key, const char* expected)
{
    if (!value)
        typeMismatch(key, expected);
    return *value;
}

} // namespace

QString urlString(const QUrl& url)
{
    return url.toString(QUrl::FullyEncoded);
}

JsonValue require(const JsonObject& object, QLatin1StringView key)
{
    const auto value = object.value(key);
    if (!value)
        throw DecodingError(QStringLiteral("key \"%1\" not found").arg(key));
    if (value->isNull())
        throw DecodingError(QStringLiteral("\"%1\" is null").arg(key));
    return *value;
}

std::optional<JsonValue> optional(const JsonObject& object, QLatin1StringView key)
{
    const auto value = object.value(key);
    if (!value || value->isNull())
        return std::nullopt;
    return value;
}

QString toString(const JsonValue& value, QLatin1StringView key)
{
    return unwrap(value.toString(), key, "a string");
}

double toNumber(const JsonValue& value, QLatin1StringView key)
{
    return unwrap(value.toDouble(), key, "a number");
}

qint64 toInteger(const JsonValue& value, QLatin1StringView key)
{
    return unwrap(value.toInteger(), key, "a whole number");
}

bool toBool(const JsonValue& value, QLatin1StringView key)
{
    return unwrap(value.toBool(), key, "a boolean");
}

QUuid toUuid(const JsonValue& value, QLatin1StringView key)
{
    const QString text = toString(value, key);
    // QUuid also takes braces; the stores never write them.
    const QUuid uuid = text.size() == 36 ? QUuid::fromString(text) : QUuid();
    if (uuid.isNull())
        typeMismatch(key, "a UUID");
    return uuid;
}

QUrl toUrl(const JsonValue& value, QLatin1StringView key)
{
    const QString text = toString(value, key);
    const QUrl url(text, QUrl::StrictMode);
    if (text.isEmpty() || !url.isValid())
        typeMismatch(key, "a valid URL");
    return url;
}

JsonObject toObject(const JsonValue& value, QLatin1StringView key)
{
    return unwrap(value.toObject(), key, "an object");
}

JsonArray toArray(const JsonValue& value, QLatin1StringView key)
{
    return unwrap(value.toArray(), key, "an array");
}

std::optional<QString> optionalString(const JsonObject& o, QLatin1StringView key)
{
    if (const auto value = optional(o, key))
        return toString(*value, key);
    return std::nullopt;
}

std::optional<qint64> optionalInteger(const JsonObject& o, QLatin1StringView key)
{
    if (const auto value = optional(o, key))
        return toInteger(*value, key);
    return std::nullopt;
}

std::optional<QUrl> optionalUrl(const JsonObject& o, QLatin1StringView key)
{
    if (const auto value = optional(o, key))
        return toUrl(*value, key);
    return std::nullopt;
}

std::optional<Date> optionalDate(const JsonObject& o, QLatin1StringView key)
{
    if (const auto value = optional(o, key))
        return Date{toNumber(*value, key)};
    return std::nullopt;
}

QList<QUuid> toUuidList(const JsonArray& array, QLatin1StringView key)
{
    QList<QUuid> result;
    result.reserve(array.size());
    for (const JsonValue& element : array)
        result.append(toUuid(element, key));
    return result;
}

QList<QUuid> requireUuidList(const JsonObject& o, QLatin1StringView key)
{
    return toUuidList(requireArray(o, key), key);
}

void writeUuid(JsonWriter& writer, QLatin1StringView key, const QUuid& uuid)
{
    writer.field(key, Uuid::text(uuid));
}

void writeUrl(JsonWriter& writer, QLatin1StringView key, const QUrl& url)
{
    writer.field(key, urlString(url));
}

void writeDate(JsonWriter& writer, QLatin1StringView key, Date date)
{
    writer.field(key, date.secondsSinceReferenceDate);
}

void writeUuidList(JsonWriter& writer, QLatin1StringView key, const QList<QUuid>& uuids)
{
    writer.key(key);
    writer.beginArray();
    for (const QUuid& uuid : uuids)
        writer.value(Uuid::text(uuid));
    writer.endArray();
}

} // namespace Json
