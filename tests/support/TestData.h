#pragma once

#include "TestEnvironment.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

// Committed sample files under tests/data.
inline QByteArray testData(const QString& relativePath)
{
    const QByteArray bytes = readFile(QStringLiteral(SONORELLE_TESTDATA "/") + relativePath);
    if (bytes.isEmpty())
        qFatal("Missing test data %s", qPrintable(relativePath));
    return bytes;
}

inline QJsonObject testDataObject(const QString& relativePath)
{
    return QJsonDocument::fromJson(testData(relativePath)).object();
}
