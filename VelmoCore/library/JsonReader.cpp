#include "JsonReader.h"

#include <charconv>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

JsonParseError::JsonParseError(const QString& message, qsizetype offset)
    : std::runtime_error(message.toStdString())
    , m_message(message)
    , m_offset(offset)
{
}

// Walks JSON text, checking it as it goes. Every value is checked when the document is
// parsed; the views walk their part again to find members and elements.
class JsonCursor {
public:
    static constexpr int maximumDepth = 256;

    JsonCursor(const char* begin, const char* end, const char* documentStart)
        : p(begin), m_end(end), m_start(documentStart)
    {
    }

    void skipWhitespace()
    {
        while (p < m_end && (*p == ' ' || *p == '\n' || *p == '\r' || *p == '\t'))
            ++p;
    }

    bool atEnd() const { return p >= m_end; }
    char peek() const { return p < m_end ? *p : '\0'; }

    void expect(char c, const char* what)
    {
        skipWhitespace();
        if (peek() != c)
            fail(what);
        ++p;
    }

    [[noreturn]] void fail(const char* message) const
    {
        throw JsonParseError(QString::fromLatin1(message), p - m_start);
    }

    JsonValue parseValue(int depth)
    {
        skipWhitespace();
        if (depth > maximumDepth)
            fail("values nested too deeply");
        const char* begin = p;
        switch (peek()) {
        case '{': parseObject(depth, nullptr); return {JsonValue::Type::object, begin, p};
        case '[': parseArray(depth, nullptr); return {JsonValue::Type::array, begin, p};
        case '"': scanString(); return {JsonValue::Type::string, begin, p};
        case 't': literal("true"); return {JsonValue::Type::boolean, begin, p};
        case 'f': literal("false"); return {JsonValue::Type::boolean, begin, p};
        case 'n': literal("null"); return {JsonValue::Type::null, begin, p};
        default:
            if (peek() == '-' || (peek() >= '0' && peek() <= '9')) {
                scanNumber();
                return {JsonValue::Type::number, begin, p};
            }
            fail(atEnd() ? "unexpected end of the text" : "expected a value");
        }
    }

    void parseObject(int depth, QVarLengthArray<JsonObject::Member, 24>* members)
    {
        ++p; // '{'
        skipWhitespace();
        if (peek() == '}') {
            ++p;
            return;
        }
        for (;;) {
            skipWhitespace();
            if (peek() != '"')
                fail("expected a key in quotes");
            const char* keyBegin = p;
            scanString();
            const QByteArrayView rawKey(keyBegin + 1, p - keyBegin - 2);
            expect(':', "expected ':' after a key");
            const JsonValue value = parseValue(depth + 1);
            if (members)
                members->append({rawKey, value});
            skipWhitespace();
            if (peek() == ',') {
                ++p;
                continue;
            }
            if (peek() == '}') {
                ++p;
                return;
            }
            fail("expected ',' or '}' in an object");
        }
    }

    void parseArray(int depth, QVarLengthArray<JsonValue, 16>* elements)
    {
        ++p; // '['
        skipWhitespace();
        if (peek() == ']') {
            ++p;
            return;
        }
        for (;;) {
            const JsonValue value = parseValue(depth + 1);
            if (elements)
                elements->append(value);
            skipWhitespace();
            if (peek() == ',') {
                ++p;
                continue;
            }
            if (peek() == ']') {
                ++p;
                return;
            }
            fail("expected ',' or ']' in an array");
        }
    }

private:
    static bool isHex(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
    static bool isDigit(char c) { return c >= '0' && c <= '9'; }

    void literal(const char* word)
    {
        for (const char* w = word; *w; ++w, ++p) {
            if (peek() != *w)
                fail("expected true, false or null");
        }
    }

    void scanString()
    {
        ++p; // opening quote
        for (;;) {
            if (atEnd())
                fail("unterminated string");
            const unsigned char c = static_cast<unsigned char>(*p);
            if (c == '"') {
                ++p;
                return;
            }
            if (c < 0x20)
                fail("control character in a string");
            if (c == '\\') {
                ++p;
                switch (peek()) {
                case '"': case '\\': case '/': case 'b': case 'f': case 'n': case 'r': case 't': ++p; break;
                case 'u':
                    ++p;
                    for (int i = 0; i < 4; ++i, ++p) {
                        if (!isHex(peek()))
                            fail("bad \\u escape in a string");
                    }
                    break;
                default: fail("bad escape in a string");
                }
                continue;
            }
            ++p;
        }
    }

    void scanNumber()
    {
        if (peek() == '-')
            ++p;
        if (peek() == '0') {
            ++p;
        } else if (isDigit(peek())) {
            while (isDigit(peek()))
                ++p;
        } else {
            fail("bad number");
        }
        if (peek() == '.') {
            ++p;
            if (!isDigit(peek()))
                fail("bad number");
            while (isDigit(peek()))
                ++p;
        }
        if (peek() == 'e' || peek() == 'E') {
            ++p;
            if (peek() == '+' || peek() == '-')
                ++p;
            if (!isDigit(peek()))
                fail("bad number");
            while (isDigit(peek()))
                ++p;
        }
    }

public:
    const char* p;

private:
    const char* m_end;
    const char* m_start;
};

namespace {

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c - 'A' + 10;
}

void appendUtf8(QByteArray& out, char32_t code)
{
    if (code < 0x80) {
        out.append(char(code));
    } else if (code < 0x800) {
        out.append(char(0xC0 | (code >> 6)));
        out.append(char(0x80 | (code & 0x3F)));
    } else if (code < 0x10000) {
        out.append(char(0xE0 | (code >> 12)));
        out.append(char(0x80 | ((code >> 6) & 0x3F)));
        out.append(char(0x80 | (code & 0x3F)));
    } else {
        out.append(char(0xF0 | (code >> 18)));
        out.append(char(0x80 | ((code >> 12) & 0x3F)));
        out.append(char(0x80 | ((code >> 6) & 0x3F)));
        out.append(char(0x80 | (code & 0x3F)));
    }
}

// The text between the quotes of a string already checked by the cursor.
QString decodeString(QByteArrayView raw)
{
    if (!raw.contains('\\'))
        return QString::fromUtf8(raw);
    QByteArray out;
    out.reserve(raw.size());
    const char* p = raw.begin();
    const char* end = raw.end();
    const auto readHex4 = [&p] {
        char32_t value = 0;
        for (int i = 0; i < 4; ++i)
            value = value * 16 + char32_t(hexValue(*p++));
        return value;
    };
    while (p < end) {
        if (*p != '\\') {
            out.append(*p++);
            continue;
        }
        ++p;
        switch (*p++) {
        case 'b': out.append('\b'); break;
        case 'f': out.append('\f'); break;
        case 'n': out.append('\n'); break;
        case 'r': out.append('\r'); break;
        case 't': out.append('\t'); break;
        case 'u': {
            char32_t code = readHex4();
            if (code >= 0xD800 && code < 0xDC00 && end - p >= 6 && p[0] == '\\' && p[1] == 'u') {
                const char* save = p;
                p += 2;
                const char32_t low = readHex4();
                if (low >= 0xDC00 && low < 0xE000)
                    code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
                else
                    p = save;
            }
            // A lone surrogate cannot be UTF-8.
            appendUtf8(out, (code >= 0xD800 && code < 0xE000) ? char32_t(0xFFFD) : code);
            break;
        }
        default: out.append(p[-1]); break; // '"', '\\' and '/'
        }
    }
    return QString::fromUtf8(out);
}

} // namespace

QString JsonObject::Member::key() const
{
    return decodeString(rawKey);
}

std::optional<QString> JsonValue::toString() const
{
    if (m_type != Type::string)
        return std::nullopt;
    return decodeString(QByteArrayView(m_begin + 1, m_end - m_begin - 2));
}

std::optional<double> JsonValue::toDouble() const
{
    if (m_type != Type::number)
        return std::nullopt;
    double value = 0;
    const auto result = std::from_chars(m_begin, m_end, value);
    if (result.ec == std::errc::result_out_of_range)
        return *m_begin == '-' ? -std::numeric_limits<double>::infinity() : std::numeric_limits<double>::infinity();
    return value;
}

std::optional<qint64> JsonValue::toInteger() const
{
    if (m_type != Type::number)
        return std::nullopt;
    qint64 value = 0;
    const auto result = std::from_chars(m_begin, m_end, value);
    if (result.ec == std::errc() && result.ptr == m_end)
        return value;
    // 3.0 and 3e2 are whole numbers too.
    const double number = *toDouble();
    if (std::trunc(number) != number || number < -9.2e18 || number > 9.2e18)
        return std::nullopt;
    return qint64(number);
}

std::optional<bool> JsonValue::toBool() const
{
    if (m_type != Type::boolean)
        return std::nullopt;
    return *m_begin == 't';
}

std::optional<JsonObject> JsonValue::toObject() const
{
    if (m_type != Type::object)
        return std::nullopt;
    JsonObject object;
    JsonCursor cursor(m_begin, m_end, m_begin);
    cursor.parseObject(0, &object.m_members);
    return object;
}

std::optional<JsonArray> JsonValue::toArray() const
{
    if (m_type != Type::array)
        return std::nullopt;
    JsonArray array;
    JsonCursor cursor(m_begin, m_end, m_begin);
    cursor.parseArray(0, &array.m_elements);
    return array;
}

std::optional<JsonValue> JsonObject::value(QLatin1StringView key) const
{
    // The last of duplicate keys wins, as with Qt's own reader.
    for (auto it = m_members.crbegin(); it != m_members.crend(); ++it) {
        if (it->rawKey == QByteArrayView(key.data(), key.size()))
            return it->value;
        if (it->rawKey.contains('\\') && it->key() == key)
            return it->value;
    }
    return std::nullopt;
}

JsonDocument JsonDocument::parse(QByteArray bytes)
{
    JsonDocument document;
    document.m_bytes = std::move(bytes);
    const char* begin = document.m_bytes.constData();
    const char* end = begin + document.m_bytes.size();
    // A byte-order mark is no JSON, but harmless.
    if (document.m_bytes.startsWith("\xEF\xBB\xBF"))
        begin += 3;
    JsonCursor cursor(begin, end, document.m_bytes.constData());
    document.m_root = cursor.parseValue(0);
    cursor.skipWhitespace();
    if (!cursor.atEnd())
        cursor.fail("text after the end of the value");
    return document;
}
