#pragma once

#include <QString>
#include <QTemporaryDir>

#include <memory>

// Every test process gets its own home, data and configuration folders, so that settings
// and stores never leak between tests running side by side, nor into the user's own.
namespace TestEnvironment {

void isolate();
QString home();
QString dataHome();
QString configHome();

// Removes every settings key.
void clearSettings();

} // namespace TestEnvironment

// Points the five stores at files in a fresh folder for the life of the object.
class TemporaryStores {
public:
    TemporaryStores();
    ~TemporaryStores();

    QString folder() const { return m_folder.path(); }
    QString path(const QString& fileName) const { return m_folder.filePath(fileName); }

private:
    QTemporaryDir m_folder;
};

// Writes bytes to a file, creating its folder.
void writeFile(const QString& path, const QByteArray& bytes);
QByteArray readFile(const QString& path);
