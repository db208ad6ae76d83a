#include "TestEnvironment.h"

#include "library/StoreLocations.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

using namespace Qt::StringLiterals;

namespace TestEnvironment {

namespace {

QTemporaryDir* root()
{
    static QTemporaryDir* dir = new QTemporaryDir(QDir::tempPath() + u"/sonorelle-test-XXXXXX"_s);
    return dir;
}

} // namespace

void isolate()
{
    const QString base = root()->path();
    for (const char* folder : {"home", "data", "config", "cache", "runtime"})
        QDir().mkpath(base + u'/' + QLatin1StringView(folder));
    QFile::setPermissions(base + u"/runtime"_s, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("HOME", (base + u"/home"_s).toUtf8());
    qputenv("XDG_DATA_HOME", dataHome().toUtf8());
    qputenv("XDG_CONFIG_HOME", configHome().toUtf8());
    qputenv("XDG_CACHE_HOME", (base + u"/cache"_s).toUtf8());
    qputenv("XDG_RUNTIME_DIR", (base + u"/runtime"_s).toUtf8());
    // Every rip asks AccurateRip and CTDB; a test without fake services must not reach the real ones.
    // The system's configuration, which a test's own services.conf overrides, says where.
    qputenv("XDG_CONFIG_DIRS", (base + u"/system-config"_s).toUtf8());
    writeFile(base + u"/system-config/Sonorelle/services.conf"_s,
              "[General]\naccurateRip=http://127.0.0.1:9\nctdb=http://127.0.0.1:9\n");
}

QString home() { return root()->path() + u"/home"_s; }
QString dataHome() { return root()->path() + u"/data"_s; }
QString configHome() { return root()->path() + u"/config"_s; }

void clearSettings()
{
    QSettings(u"Sonorelle"_s, u"Sonorelle"_s).clear();
}

} // namespace TestEnvironment

TemporaryStores::TemporaryStores()
{
    for (StoreKind kind : allStoreKinds)
        StoreLocations::setOverride(kind, m_folder.filePath(StoreLocations::relativePath(kind)));
}

TemporaryStores::~TemporaryStores()
{
    for (StoreKind kind : allStoreKinds)
        StoreLocations::setOverride(kind, std::nullopt);
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("Cannot write the test file %s", qPrintable(path));
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
