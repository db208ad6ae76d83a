#include "AudioFixtures.h"

#include "TestEnvironment.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace AudioFixtures {

QString samplePath(const QString& relativePath)
{
    return QStringLiteral(SONORELLE_TESTDATA) + u"/audio/"_s + relativePath;
}

QString copySample(const QString& relativePath, const QString& destination)
{
    QDir().mkpath(QFileInfo(destination).absolutePath());
    QFile::remove(destination);
    if (!QFile::copy(samplePath(relativePath), destination))
        qFatal("Cannot copy the sample %s", qPrintable(relativePath));
    QFile::setPermissions(destination, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    return destination;
}

QString writeSilentWav(const QString& destination, double seconds)
{
    const quint32 sampleRate = 44100;
    const quint16 channels = 2;
    const quint16 bitsPerSample = 16;
    const quint32 dataSize = quint32(seconds * sampleRate) * channels * (bitsPerSample / 8);
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setByteOrder(QDataStream::LittleEndian);
    out.writeRawData("RIFF", 4);
    out << quint32(36 + dataSize);
    out.writeRawData("WAVEfmt ", 8);
    out << quint32(16) << quint16(1) << channels << sampleRate
        << quint32(sampleRate * channels * bitsPerSample / 8) << quint16(channels * bitsPerSample / 8) << bitsPerSample;
    out.writeRawData("data", 4);
    out << dataSize;
    bytes.append(QByteArray(dataSize, '\0'));
    writeFile(destination, bytes);
    return destination;
}

QString writeSilentAiff(const QString& destination, double seconds)
{
    const quint32 frames = quint32(seconds * 44100);
    const quint32 dataSize = frames * 4;
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setByteOrder(QDataStream::BigEndian);
    out.writeRawData("FORM", 4);
    out << quint32(4 + 26 + 16 + dataSize);
    out.writeRawData("AIFFCOMM", 8);
    out << quint32(18) << quint16(2) << frames << quint16(16);
    // 44,100 as an 80-bit extended float: exponent 16383 + 15, then the mantissa.
    out.writeRawData("\x40\x0E\xAC\x44\x00\x00\x00\x00\x00\x00", 10);
    out.writeRawData("SSND", 4);
    out << quint32(8 + dataSize) << quint32(0) << quint32(0);
    bytes.append(QByteArray(dataSize, '\0'));
    writeFile(destination, bytes);
    return destination;
}

QString cleanSample(const QString& extension)
{
    if (extension == u"flac")
        return u"taglib/sinewave.flac"_s;
    if (extension == u"mp3")
        return u"taglib/xing.mp3"_s;
    if (extension == u"m4a")
        return u"taglib/no-tags.m4a"_s;
    if (extension == u"ogg")
        return u"taglib/empty.ogg"_s;
    if (extension == u"opus")
        return u"mutagen/example.opus"_s;
    qFatal("No clean sample for %s", qPrintable(extension));
}

QByteArray pngBytes()
{
    return QByteArray::fromBase64(
        "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8BQDwAEhQGAhKmMIQAAAABJRU5ErkJggg==");
}

} // namespace AudioFixtures
