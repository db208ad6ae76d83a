#include "Settings.h"

#include <QSettings>

using namespace Qt::StringLiterals;

namespace Settings {

namespace {

QSettings store()
{
    return QSettings(u"Sonorelle"_s, u"Sonorelle"_s);
}

QVariant stored(const char* key)
{
    return store().value(QLatin1StringView(key));
}

} // namespace

bool value(const Key<bool>& key)
{
    const QVariant v = stored(key.name);
    if (v.typeId() == QMetaType::Bool)
        return v.toBool();
    // The settings file holds text; anything but these two words is of the wrong type.
    if (v.typeId() == QMetaType::QString) {
        if (v.toString() == u"true")
            return true;
        if (v.toString() == u"false")
            return false;
    }
    return key.defaultValue;
}

qint64 value(const Key<qint64>& key)
{
    const QVariant v = stored(key.name);
    if (v.typeId() == QMetaType::QString || v.typeId() == QMetaType::Int || v.typeId() == QMetaType::LongLong) {
        bool ok = false;
        const qint64 number = v.toLongLong(&ok);
        if (ok)
            return number;
    }
    return key.defaultValue;
}

void setValue(const Key<bool>& key, bool value)
{
    store().setValue(QLatin1StringView(key.name), value);
}

void setValue(const Key<qint64>& key, qint64 value)
{
    store().setValue(QLatin1StringView(key.name), value);
}

namespace {

QString readOffsetKey(const QString& drive)
{
    // A slash would open a group of its own.
    return u"readOffsets/"_s + QString(drive).replace(u'/', u'_');
}

} // namespace

qint64 readOffset(const QString& drive)
{
    bool ok = false;
    const qint64 samples = store().value(readOffsetKey(drive)).toLongLong(&ok);
    return ok ? samples : 0;
}

void setReadOffset(const QString& drive, qint64 samples)
{
    if (samples == 0)
        store().remove(readOffsetKey(drive));
    else
        store().setValue(readOffsetKey(drive), samples);
}

QStringList drivesWithReadOffset()
{
    QSettings settings = store();
    settings.beginGroup(u"readOffsets"_s);
    return settings.childKeys();
}

QString rawString(const char* key)
{
    const QVariant v = stored(key);
    return v.typeId() == QMetaType::QString ? v.toString() : QString();
}

void setRawString(const char* key, const QString& value)
{
    store().setValue(QLatin1StringView(key), value);
}

std::optional<QString> libraryRootPath()
{
    const QVariant v = stored(libraryRootPathKey);
    if (v.typeId() != QMetaType::QString || v.toString().isEmpty())
        return std::nullopt;
    return v.toString();
}

void setLibraryRootPath(const QString& path)
{
    setRawString(libraryRootPathKey, path);
}

std::optional<QUrl> libraryRootURL()
{
    if (const auto path = libraryRootPath())
        return QUrl::fromLocalFile(*path);
    return std::nullopt;
}

} // namespace Settings
