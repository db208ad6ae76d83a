#pragma once

// Readable failure messages for the Qt types the tests compare. Included into every test.
#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QUuid>

#include <optional>
#include <ostream>

inline void PrintTo(const QString& value, std::ostream* os) { *os << '"' << value.toStdString() << '"'; }
inline void PrintTo(const QByteArray& value, std::ostream* os) { *os << '"' << value.toStdString() << '"'; }
inline void PrintTo(const QUrl& value, std::ostream* os) { *os << value.toString().toStdString(); }
inline void PrintTo(const QUuid& value, std::ostream* os) { *os << value.toString().toStdString(); }
inline void PrintTo(const QStringList& value, std::ostream* os)
{
    *os << '[' << value.join(QStringLiteral(", ")).toStdString() << ']';
}
