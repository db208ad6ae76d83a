#include "AudioContent.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace AudioContent {

namespace {

constexpr qsizetype id3HeaderSize = 10;
// Some taggers add a tag in front of one already there rather than replace it.
constexpr int maximumLeadingTags = 16;

quint8 byteAt(const QByteArray& bytes, qsizetype index)
{
    return quint8(bytes.at(index));
}

// The size of the ID3v2 tag that `header` begins, footer included; 0 when it begins none.
qint64 id3TagSize(const QByteArray& header)
{
    if (header.size() < id3HeaderSize || !header.startsWith("ID3") || byteAt(header, 3) == 0xFF
        || byteAt(header, 4) == 0xFF)
        return 0;
    qint64 size = 0;
    for (qsizetype i = 6; i < 10; ++i) {
        // The size is "synchsafe": seven bits to a byte.
        if (byteAt(header, i) & 0x80)
            return 0;
        size = size << 7 | byteAt(header, i);
    }
    const bool hasFooter = byteAt(header, 5) & 0x10;
    return id3HeaderSize + size + (hasFooter ? id3HeaderSize : 0);
}

// Where the stream begins: past the ID3v2 tags at the start of the file.
qint64 streamStart(QFile& file)
{
    qint64 offset = 0;
    for (int tags = 0; tags < maximumLeadingTags; ++tags) {
        if (!file.seek(offset))
            break;
        const qint64 size = id3TagSize(file.read(id3HeaderSize));
        if (size == 0)
            break;
        offset += size;
    }
    return offset;
}

// An MPEG audio frame header whose fields are all allowed values, or an ADTS (AAC) one.
bool isFrameHeader(const QByteArray& bytes, qsizetype at)
{
    const quint8 first = byteAt(bytes, at);
    const quint8 second = byteAt(bytes, at + 1);
    const quint8 third = byteAt(bytes, at + 2);
    if (first != 0xFF || (second & 0xE0) != 0xE0)
        return false;
    const int version = (second >> 3) & 3;
    const int layer = (second >> 1) & 3;
    if (layer == 0) {
        // ADTS: twelve bits of sync, and a sampling rate from its table.
        return (second & 0xF6) == 0xF0 && ((third >> 2) & 0xF) < 13;
    }
    const int bitrate = third >> 4;
    const int sampleRate = (third >> 2) & 3;
    return version != 1 && bitrate != 15 && sampleRate != 3;
}

bool hasFrameHeader(const QByteArray& window)
{
    for (qsizetype i = 0; i + 2 < window.size(); ++i) {
        if (isFrameHeader(window, i))
            return true;
    }
    return false;
}

// A box of an MP4 file: a size that can be one (0 for "to the end", 1 for a 64-bit size
// that follows, else at least its own header) and a type of four printable characters.
bool isMP4Box(const QByteArray& start)
{
    if (start.size() < 8)
        return false;
    const quint32 size = quint32(byteAt(start, 0)) << 24 | quint32(byteAt(start, 1)) << 16
                       | quint32(byteAt(start, 2)) << 8 | byteAt(start, 3);
    if (size > 1 && size < 8)
        return false;
    return std::all_of(start.cbegin() + 4, start.cbegin() + 8, [](char c) { return c >= 0x20 && c < 0x7F; });
}

bool isRiffWave(const QByteArray& start)
{
    return (start.startsWith("RIFF") || start.startsWith("RIFX")) && start.mid(8, 4) == "WAVE";
}

// The window from `offset` on, and whether the file ends within it.
std::pair<QByteArray, bool> windowAt(QFile& file, qint64 offset)
{
    if (!file.seek(offset))
        return {QByteArray(), true};
    QByteArray window = file.read(searchWindow);
    return {window, window.size() < searchWindow};
}

} // namespace

bool startsLikeAudio(const QString& path)
{
    const QString extension = QFileInfo(path).suffix().toLower();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray start = file.read(12);
    if (extension == "ogg"_L1 || extension == "opus"_L1)
        return start.startsWith("OggS");
    if (extension == "aiff"_L1 || extension == "aif"_L1)
        return start.startsWith("FORM") && (start.mid(8, 4) == "AIFF" || start.mid(8, 4) == "AIFC");
    if (extension == "wav"_L1)
        return isRiffWave(start);
    if (extension == "m4a"_L1)
        return isMP4Box(start);

    const qint64 offset = streamStart(file);
    const auto [window, endsWithin] = windowAt(file, offset);
    if (extension == "flac"_L1)
        return window.contains("fLaC");
    if (extension == "mp3"_L1)
        return hasFrameHeader(window) || (endsWithin && offset > 0);
    if (extension == "aac"_L1)
        return isMP4Box(start) || hasFrameHeader(window);
    return false;
}

} // namespace AudioContent
