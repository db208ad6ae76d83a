#include "TagCommands.h"

#include "CommandLine.h"
#include "library/AudioFormat.h"
#include "library/DisplayText.h"
#include "library/FileKinds.h"
#include "library/ImageType.h"
#include "library/JsonCoding.h"
#include "library/TagReader.h"

#include <QFileInfo>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace {

void writeMetadata(JsonWriter& w, const QString& path, const TrackMetadata& m)
{
    w.beginObject();
    w.field("path"_L1, path);
    w.field("title"_L1, m.title);
    w.field("artist"_L1, m.artist);
    w.field("albumArtist"_L1, m.albumArtist);
    w.field("album"_L1, m.album);
    w.field("genre"_L1, m.genre);
    Json::writeIfPresent(w, "year"_L1, m.year);
    Json::writeIfPresent(w, "trackNumber"_L1, m.trackNumber);
    Json::writeIfPresent(w, "discNumber"_L1, m.discNumber);
    w.field("duration"_L1, m.duration);
    w.field("format"_L1, rawValue(m.format));
    Json::writeIfPresent(w, "bitrate"_L1, m.bitrate);
    Json::writeIfPresent(w, "sampleRate"_L1, m.sampleRate);
    Json::writeIfPresent(w, "externalID"_L1, m.externalID);
    Json::writeIfPresent(w, "releaseMBID"_L1, m.releaseMBID);
    Json::writeIfPresent(w, "releaseGroupMBID"_L1, m.releaseGroupMBID);
    Json::writeIfPresent(w, "bpm"_L1, m.bpm);
    w.key("customTags"_L1);
    w.beginObject();
    for (auto it = m.customTags.cbegin(); it != m.customTags.cend(); ++it) {
        w.key(it.key());
        w.value(it.value());
    }
    w.endObject();
    if (m.artworkData) {
        w.field("artworkSize"_L1, qint64(m.artworkData->size()));
        w.field("artworkMimeType"_L1, ImageType::mimeType(*m.artworkData));
    }
    w.endObject();
}

void printMetadata(QTextStream& out, const QString& path, const TrackMetadata& m)
{
    const auto line = [&out](const QString& label, const QString& value) {
        if (!value.isEmpty())
            out << u"  "_s << QString(label + u':').leftJustified(20) << value << u'\n';
    };
    const auto number = [](const std::optional<qint64>& n) { return n ? QString::number(*n) : QString(); };
    out << path << u'\n';
    line(u"title"_s, m.title);
    line(u"artist"_s, m.artist);
    line(u"albumArtist"_s, m.albumArtist);
    line(u"album"_s, m.album);
    line(u"genre"_s, m.genre);
    line(u"year"_s, number(m.year));
    line(u"trackNumber"_s, number(m.trackNumber));
    line(u"discNumber"_s, number(m.discNumber));
    line(u"duration"_s, DisplayText::formatDuration(m.duration));
    line(u"format"_s, rawValue(m.format));
    line(u"bitrate"_s, m.bitrate ? QString::number(*m.bitrate) + u" kbps"_s : QString());
    line(u"sampleRate"_s, m.sampleRate ? QString::number(*m.sampleRate) + u" Hz"_s : QString());
    line(u"externalID"_s, m.externalID.value_or(QString()));
    line(u"releaseMBID"_s, m.releaseMBID.value_or(QString()));
    line(u"releaseGroupMBID"_s, m.releaseGroupMBID.value_or(QString()));
    line(u"bpm"_s, number(m.bpm));
    for (auto it = m.customTags.cbegin(); it != m.customTags.cend(); ++it)
        line(it.key(), it.value());
    if (m.artworkData)
        line(u"picture"_s, QString::number(m.artworkData->size()) + u" bytes, "_s + ImageType::mimeType(*m.artworkData));
}

QCoro::Task<int> readTags(Invocation& invocation)
{
    bool allRead = true;
    JsonWriter json;
    json.beginArray();
    for (const QString& argument : invocation.arguments()) {
        const QString path = QFileInfo(argument).absoluteFilePath();
        const auto metadata = TagReader::read(QUrl::fromLocalFile(path));
        allRead &= metadata.has_value();
        if (invocation.json()) {
            if (metadata) {
                writeMetadata(json, path, *metadata);
            } else {
                json.beginObject();
                json.field("path"_L1, path);
                json.field("error"_L1, FileKinds::unreadableReason(path));
                json.endObject();
            }
        } else if (metadata) {
            printMetadata(invocation.out(), path, *metadata);
        } else {
            invocation.err() << path << u": "_s << FileKinds::unreadableReason(path) << Qt::endl;
        }
    }
    json.endArray();
    if (invocation.json())
        invocation.out() << QJsonDocument::fromJson(json.bytes()).toJson(QJsonDocument::Indented);
    co_return allRead ? int(exitSuccess) : int(exitFailure);
}

} // namespace

void addTagCommands(CommandLine& commandLine)
{
    commandLine.addGroup(u"tags"_s, u"Tags in audio files"_s);
    commandLine.add({
        .path = {u"tags"_s, u"read"_s},
        .arguments = u"FILE..."_s,
        .summary = u"Print what the tag reader finds in each file; the status is 1 when a file gave nothing."_s,
        .minimumArguments = 1,
        .maximumArguments = 100000,
        .hasJsonOutput = true,
        .run = readTags,
    });
}
