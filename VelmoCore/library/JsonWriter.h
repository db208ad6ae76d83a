#pragma once

#include <QByteArray>
#include <QLatin1StringView>
#include <QString>
#include <QVarLengthArray>

// Compact JSON straight into bytes, for the stores: writing 100,000 tracks through Qt's
// document tree takes seconds; this takes a fraction of one.
class JsonWriter {
public:
    void beginObject();
    void endObject();
    void beginArray();
    void endArray();

    void key(QLatin1StringView key);
    void key(const QString& key);

    void value(const QString& text);
    void value(QLatin1StringView text);
    // JSON has no NaN or infinity; they are written as 0 so that a store always reads back.
    void value(double number);
    void value(qint64 number);
    void value(int number) { value(qint64(number)); }
    void value(bool flag);
    // A string literal would otherwise silently become a boolean.
    void value(const char*) = delete;

    template <typename T>
    void field(QLatin1StringView name, const T& v)
    {
        key(name);
        value(v);
    }

    const QByteArray& bytes() const { return m_out; }
    QByteArray take() { return std::move(m_out); }

    // For callers that know roughly how much they will write.
    void reserve(qsizetype bytes) { m_out.reserve(bytes); }

private:
    void separate();
    void writeString(QStringView text);

    QByteArray m_out;
    // Per open container: whether something was written in it yet.
    QVarLengthArray<bool, 8> m_hasElements;
    bool m_afterKey = false;
};
