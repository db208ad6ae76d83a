#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QVarLengthArray>

#include <optional>
#include <stdexcept>

// A strict JSON reader for the stores. A store of 100,000 tracks is tens of megabytes:
// building Qt's document tree for it costs several times its size in memory and most of a
// second, so records are decoded straight from the bytes through light views instead.
//
// `JsonDocument::parse` checks the whole text once; the views then point into its bytes and
// stay valid as long as the document lives.

class JsonParseError : public std::runtime_error {
public:
    JsonParseError(const QString& message, qsizetype offset);

    QString message() const { return m_message; }
    qsizetype offset() const { return m_offset; }

private:
    QString m_message;
    qsizetype m_offset;
};

class JsonObject;
class JsonArray;

class JsonValue {
public:
    enum class Type { null, boolean, number, string, array, object };

    JsonValue() = default;

    Type type() const { return m_type; }
    bool isNull() const { return m_type == Type::null; }

    // Each returns std::nullopt when the value is of another type.
    std::optional<QString> toString() const;
    std::optional<double> toDouble() const;
    // Whole numbers only: 3 and 3.0 give 3, 3.5 gives none.
    std::optional<qint64> toInteger() const;
    std::optional<bool> toBool() const;
    std::optional<JsonObject> toObject() const;
    std::optional<JsonArray> toArray() const;

private:
    friend class JsonCursor;
    JsonValue(Type type, const char* begin, const char* end) : m_type(type), m_begin(begin), m_end(end) {}

    Type m_type = Type::null;
    const char* m_begin = nullptr;
    const char* m_end = nullptr;
};

class JsonObject {
public:
    struct Member {
        QByteArrayView rawKey; // the key as written between its quotes
        JsonValue value;
        QString key() const;
    };

    std::optional<JsonValue> value(QLatin1StringView key) const;
    bool contains(QLatin1StringView key) const { return value(key).has_value(); }
    qsizetype size() const { return m_members.size(); }
    const Member* begin() const { return m_members.cbegin(); }
    const Member* end() const { return m_members.cend(); }

private:
    friend class JsonValue;
    QVarLengthArray<Member, 24> m_members;
};

class JsonArray {
public:
    qsizetype size() const { return m_elements.size(); }
    const JsonValue& at(qsizetype i) const { return m_elements.at(i); }
    const JsonValue* begin() const { return m_elements.cbegin(); }
    const JsonValue* end() const { return m_elements.cend(); }

private:
    friend class JsonValue;
    QVarLengthArray<JsonValue, 16> m_elements;
};

class JsonDocument {
public:
    // Throws JsonParseError naming the byte where the text stops being JSON.
    static JsonDocument parse(QByteArray bytes);

    const JsonValue& root() const { return m_root; }

private:
    QByteArray m_bytes;
    JsonValue m_root;
};
