#include "VelmoDeviceFile.h"

#include "DeviceFiles.h"
#include "library/JsonCoding.h"
#include "library/JsonReader.h"
#include "library/StoreFile.h"

#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

QString filePath(const QString& rootPath)
{
    return rootPath + u'/' + QLatin1StringView(VelmoDeviceFile::fileName);
}

} // namespace

std::optional<VelmoDeviceFile> VelmoDeviceFile::read(const QString& rootPath)
{
    QFile file(filePath(rootPath));
    // Far more than the file ever holds; a device could put anything there.
    constexpr qint64 limit = 4096;
    if (!file.open(QIODevice::ReadOnly) || file.size() > limit)
        return std::nullopt;
    try {
        const JsonDocument document = JsonDocument::parse(file.read(limit));
        const auto object = document.root().toObject();
        if (!object)
            return std::nullopt;
        return VelmoDeviceFile{Json::requireUuid(*object, "id"_L1)};
    } catch (const JsonParseError&) {
        return std::nullopt;
    } catch (const DecodingError&) {
        return std::nullopt;
    }
}

void VelmoDeviceFile::write(const QUuid& id, const QString& rootPath)
{
    // Writing into a missing root would make the folder, where a device used to be; a file
    // that is a link would have its target overwritten.
    if (!QFileInfo(rootPath).isDir() || DeviceFiles::prepareWrite(rootPath, filePath(rootPath)))
        return;
    JsonWriter writer;
    writer.beginObject();
    Json::writeUuid(writer, "id"_L1, id);
    writer.endObject();
    StoreFile::writeAtomically(filePath(rootPath), writer.take());
}
