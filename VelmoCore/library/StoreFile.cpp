#include "StoreFile.h"

#include "platform/AtomicFile.h"

#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace StoreFile {

StoreRead<JsonDocument> readDocument(const QString& path)
{
    StoreRead<JsonDocument> result;
    const QFileInfo info(path);
    if (!info.exists())
        return result;
    result.state = StoreState::corrupt;
    if (info.isDir()) {
        result.problem = u"is a folder, not a file"_s;
        return result;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        result.problem = u"cannot be read: "_s + file.errorString();
        return result;
    }
    try {
        result.value = JsonDocument::parse(file.readAll());
    } catch (const JsonParseError& error) {
        result.problem = u"is not valid JSON: %1 at byte %2"_s.arg(error.message()).arg(error.offset());
        return result;
    }
    result.state = StoreState::sound;
    return result;
}

std::optional<QString> writeAtomically(const QString& path, const QByteArray& bytes)
{
    return AtomicFile::save(path, bytes);
}

} // namespace StoreFile
