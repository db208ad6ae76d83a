#pragma once

#include "Date.h"
#include "JsonReader.h"
#include "JsonWriter.h"
#include "RawValueEnum.h"

#include <QList>
#include <QString>
#include <QUrl>
#include <QUuid>

#include <functional>
#include <optional>
#include <stdexcept>

// The one JSON coding of every store: compact, UUIDs upper-case, URLs as their absolute
// string, dates as seconds since 2001, absent optionals left out. Decoding is strict: a
// missing required key, a wrong type or a bad value throws, and one bad record fails the
// whole store.
class DecodingError : public std::runtime_error {
public:
    explicit DecodingError(const QString& message);

    QString message() const { return QString::fromUtf8(what()); }
    // The same error seen from an enclosing container, e.g. "record 12: key \"genre\" not found".
    DecodingError within(const QString& context) const;
};

namespace Json {

QString urlString(const QUrl& url);

JsonValue require(const JsonObject& object, QLatin1StringView key);
// A missing key and an explicit null both count as absent, as for any optional field.
std::optional<JsonValue> optional(const JsonObject& object, QLatin1StringView key);

QString toString(const JsonValue& value, QLatin1StringView key);
double toNumber(const JsonValue& value, QLatin1StringView key);
qint64 toInteger(const JsonValue& value, QLatin1StringView key);
bool toBool(const JsonValue& value, QLatin1StringView key);
QUuid toUuid(const JsonValue& value, QLatin1StringView key);
QUrl toUrl(const JsonValue& value, QLatin1StringView key);
JsonObject toObject(const JsonValue& value, QLatin1StringView key);
JsonArray toArray(const JsonValue& value, QLatin1StringView key);

template <typename E>
E toEnum(const JsonValue& value, QLatin1StringView key)
{
    const QString raw = toString(value, key);
    if (const auto parsed = enumFromRawValue<E>(raw))
        return *parsed;
    throw DecodingError(QStringLiteral("\"%1\" has the unknown value \"%2\"").arg(key, raw));
}

inline QString requireString(const JsonObject& o, QLatin1StringView key) { return toString(require(o, key), key); }
inline double requireNumber(const JsonObject& o, QLatin1StringView key) { return toNumber(require(o, key), key); }
inline qint64 requireInteger(const JsonObject& o, QLatin1StringView key) { return toInteger(require(o, key), key); }
inline bool requireBool(const JsonObject& o, QLatin1StringView key) { return toBool(require(o, key), key); }
inline QUuid requireUuid(const JsonObject& o, QLatin1StringView key) { return toUuid(require(o, key), key); }
inline QUrl requireUrl(const JsonObject& o, QLatin1StringView key) { return toUrl(require(o, key), key); }
inline Date requireDate(const JsonObject& o, QLatin1StringView key) { return {requireNumber(o, key)}; }
inline JsonObject requireObject(const JsonObject& o, QLatin1StringView key) { return toObject(require(o, key), key); }
inline JsonArray requireArray(const JsonObject& o, QLatin1StringView key) { return toArray(require(o, key), key); }

template <typename E>
E requireEnum(const JsonObject& o, QLatin1StringView key)
{
    return toEnum<E>(require(o, key), key);
}

std::optional<QString> optionalString(const JsonObject& o, QLatin1StringView key);
std::optional<qint64> optionalInteger(const JsonObject& o, QLatin1StringView key);
std::optional<QUrl> optionalUrl(const JsonObject& o, QLatin1StringView key);
std::optional<Date> optionalDate(const JsonObject& o, QLatin1StringView key);

QList<QUuid> toUuidList(const JsonArray& array, QLatin1StringView key);
QList<QUuid> requireUuidList(const JsonObject& o, QLatin1StringView key);

void writeUuid(JsonWriter& writer, QLatin1StringView key, const QUuid& uuid);
void writeUrl(JsonWriter& writer, QLatin1StringView key, const QUrl& url);
void writeDate(JsonWriter& writer, QLatin1StringView key, Date date);
void writeUuidList(JsonWriter& writer, QLatin1StringView key, const QList<QUuid>& uuids);

template <typename T>
void writeIfPresent(JsonWriter& writer, QLatin1StringView key, const std::optional<T>& value)
{
    if (value)
        writer.field(key, *value);
}

// Decodes every element of an array with `decode(const JsonObject&)`, naming the failing
// record in the error.
template <typename Decode>
auto decodeArray(const JsonArray& array, Decode decode) -> QList<std::invoke_result_t<Decode, const JsonObject&>>
{
    QList<std::invoke_result_t<Decode, const JsonObject&>> result;
    result.reserve(array.size());
    for (qsizetype i = 0; i < array.size(); ++i) {
        try {
            const auto object = array.at(i).toObject();
            if (!object)
                throw DecodingError(QStringLiteral("expected an object"));
            result.append(std::invoke(decode, *object));
        } catch (const DecodingError& error) {
            throw error.within(QStringLiteral("record %1").arg(i + 1));
        }
    }
    return result;
}

// Writes an array of records with their `writeJson(JsonWriter&)`.
template <typename T>
void writeArray(JsonWriter& writer, const QList<T>& records)
{
    writer.beginArray();
    for (const T& record : records)
        record.writeJson(writer);
    writer.endArray();
}

// One record as the stores write it: how `velmo` prints records with --json, and how
// tests compare them.
template <typename T>
QByteArray encode(const T& record)
{
    JsonWriter writer;
    record.writeJson(writer);
    return writer.take();
}

// The inverse, for a single record's text; throws JsonParseError or DecodingError.
template <typename T>
T decode(const QByteArray& json)
{
    const JsonDocument document = JsonDocument::parse(json);
    const auto object = document.root().toObject();
    if (!object)
        throw DecodingError(QStringLiteral("expected an object"));
    return T::fromJson(*object);
}

} // namespace Json
