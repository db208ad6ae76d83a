#pragma once

#include "library/JsonCoding.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

// Records through Qt's own JSON, which tests use to edit the text a case needs. Going
// through Qt's reader and writer also checks that the stores are plain standard JSON.
template <typename T>
QJsonObject toQt(const T& record)
{
    return QJsonDocument::fromJson(Json::encode(record)).object();
}

template <typename T>
T fromQt(const QJsonObject& object)
{
    return Json::decode<T>(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

inline QByteArray jsonText(const QJsonArray& array)
{
    return QJsonDocument(array).toJson();
}

inline QByteArray jsonText(const QJsonObject& object)
{
    return QJsonDocument(object).toJson();
}
