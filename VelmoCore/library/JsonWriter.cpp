#include "JsonWriter.h"

#include <charconv>
#include <cmath>

void JsonWriter::separate()
{
    if (m_afterKey) {
        m_afterKey = false;
        return;
    }
    if (!m_hasElements.isEmpty()) {
        if (m_hasElements.last())
            m_out.append(',');
        m_hasElements.last() = true;
    }
}

void JsonWriter::beginObject()
{
    separate();
    m_out.append('{');
    m_hasElements.append(false);
}

void JsonWriter::endObject()
{
    m_hasElements.removeLast();
    m_out.append('}');
}

void JsonWriter::beginArray()
{
    separate();
    m_out.append('[');
    m_hasElements.append(false);
}

void JsonWriter::endArray()
{
    m_hasElements.removeLast();
    m_out.append(']');
}

// Store keys are plain ASCII field names: no escaping needed.
void JsonWriter::key(QLatin1StringView key)
{
    separate();
    m_out.append('"');
    m_out.append(key.data(), key.size());
    m_out.append("\":", 2);
    m_afterKey = true;
}

void JsonWriter::key(const QString& key)
{
    separate();
    writeString(key);
    m_out.append(':');
    m_afterKey = true;
}

void JsonWriter::value(const QString& text)
{
    separate();
    writeString(text);
}

void JsonWriter::value(QLatin1StringView text)
{
    value(QString(text));
}

void JsonWriter::value(double number)
{
    separate();
    if (!std::isfinite(number))
        number = 0;
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
    m_out.append(buffer, result.ptr - buffer);
}

void JsonWriter::value(qint64 number)
{
    separate();
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
    m_out.append(buffer, result.ptr - buffer);
}

void JsonWriter::value(bool flag)
{
    separate();
    m_out.append(flag ? "true" : "false");
}

void JsonWriter::writeString(QStringView text)
{
    static constexpr char hex[] = "0123456789abcdef";
    m_out.append('"');
    const char16_t* p = text.utf16();
    const char16_t* end = p + text.size();
    while (p < end) {
        char32_t c = *p++;
        if (c < 0x80) {
            switch (c) {
            case '"': m_out.append("\\\"", 2); break;
            case '\\': m_out.append("\\\\", 2); break;
            case '\n': m_out.append("\\n", 2); break;
            case '\r': m_out.append("\\r", 2); break;
            case '\t': m_out.append("\\t", 2); break;
            case '\b': m_out.append("\\b", 2); break;
            case '\f': m_out.append("\\f", 2); break;
            default:
                if (c < 0x20) {
                    const char escape[] = {'\\', 'u', '0', '0', hex[c >> 4], hex[c & 0xF]};
                    m_out.append(escape, sizeof escape);
                } else {
                    m_out.append(char(c));
                }
            }
            continue;
        }
        if (c >= 0xD800 && c < 0xDC00 && p < end && *p >= 0xDC00 && *p < 0xE000)
            c = 0x10000 + ((c - 0xD800) << 10) + (*p++ - 0xDC00);
        else if (c >= 0xD800 && c < 0xE000)
            c = 0xFFFD; // a lone surrogate has no UTF-8 form
        if (c < 0x800) {
            const char bytes[] = {char(0xC0 | (c >> 6)), char(0x80 | (c & 0x3F))};
            m_out.append(bytes, 2);
        } else if (c < 0x10000) {
            const char bytes[] = {char(0xE0 | (c >> 12)), char(0x80 | ((c >> 6) & 0x3F)), char(0x80 | (c & 0x3F))};
            m_out.append(bytes, 3);
        } else {
            const char bytes[] = {char(0xF0 | (c >> 18)), char(0x80 | ((c >> 12) & 0x3F)),
                                  char(0x80 | ((c >> 6) & 0x3F)), char(0x80 | (c & 0x3F))};
            m_out.append(bytes, 4);
        }
    }
    m_out.append('"');
}
