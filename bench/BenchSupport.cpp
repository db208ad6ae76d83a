#include "BenchSupport.h"

#include "facade/Library.h"
#include "library/JsonCoding.h"
#include "library/LibraryOrganizer.h"
#include "library/StoreLocations.h"
#include "library/TagFile.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <array>
#include <ctime>

using namespace Qt::StringLiterals;

QList<Track> generateTracks(qsizetype count)
{
    static const QStringList words{u"Blue"_s, u"Night"_s, u"River"_s, u"Echoes"_s, u"Golden"_s, u"Silence"_s,
                                   u"Paper"_s, u"Morning"_s, u"Static"_s, u"Velvet"_s, u"Harbour"_s, u"Ghost"_s};
    static const QStringList genres{u"Rock"_s, u"Jazz"_s, u"Electronic"_s, u"Classical"_s, u"Hip-Hop"_s, u"Folk"_s};
    QRandomGenerator random(42);
    const auto phrase = [](QRandomGenerator& source, int wordCount) {
        QStringList parts;
        for (int i = 0; i < wordCount; ++i)
            parts.append(words.at(source.bounded(words.size())));
        return parts.join(u' ');
    };

    // Twelve tracks an album and ten albums an artist, as in a real collection.
    QList<Track> tracks;
    tracks.reserve(count);
    QString artist;
    QString album;
    qint64 year = 0;
    for (qsizetype i = 0; i < count; ++i) {
        if (i % 120 == 0)
            artist = phrase(random, 2) + u' ' + QString::number(i / 120);
        if (i % 12 == 0) {
            album = phrase(random, 3) + u' ' + QString::number(i / 12);
            year = 1960 + random.bounded(60);
        }
        Track track;
        track.id = QUuid::createUuid();
        track.artist = artist;
        track.albumArtist = artist;
        track.album = album;
        track.title = phrase(random, 3);
        track.genre = genres.at(random.bounded(genres.size()));
        track.year = year;
        track.trackNumber = i % 12 + 1;
        track.discNumber = 1;
        track.duration = 120 + random.bounded(300.0);
        track.format = AudioFormat::flac;
        track.bitrate = 900 + random.bounded(400);
        track.sampleRate = 44100;
        track.dateAdded = Date{700000000.0 + double(i)};
        track.url = QUrl::fromLocalFile(u"/home/someone/Music/Sonorelle/"_s + track.artist + u'/' + track.album
                                        + u'/' + QString::asprintf("%02d ", int(i % 12 + 1)) + track.title
                                        + u".flac"_s);
        if (i % 3 == 0) {
            track.externalID = QUuid::createUuid().toString(QUuid::WithoutBraces);
            track.releaseMBID = QUuid::createUuid().toString(QUuid::WithoutBraces);
            track.releaseGroupMBID = QUuid::createUuid().toString(QUuid::WithoutBraces);
        } else {
            track.externalID = track.id.toString(QUuid::WithoutBraces).toUpper();
        }
        if (i % 10 == 0)
            track.customTags = {{u"MOOD"_s, phrase(random, 2)}, {u"SOURCE"_s, u"vinyl rip"_s}};
        tracks.append(track);
    }
    return tracks;
}

double peakMemoryMiB()
{
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').constFirst().toDouble() / 1024.0;
    }
    return 0;
}

int runMeasuredChild(const QString& argument, const QString& path)
{
    qsizetype tracks = 0;
    if (argument == QLatin1StringView(scanFolderArgument)) {
        tracks = Library::scanFolder(QUrl::fromLocalFile(path)).size();
    } else {
        QTemporaryDir emptyStores;
        for (StoreKind kind : allStoreKinds)
            StoreLocations::setOverride(kind, emptyStores.filePath(StoreLocations::relativePath(kind)));
        StoreLocations::setOverride(StoreKind::library, path);
        const Library library(QUrl::fromLocalFile(emptyStores.path()));
        tracks = library.tracks().size();
    }
    printf("%lld %.1f\n", static_cast<long long>(tracks), peakMemoryMiB());
    return 0;
}

double measureInChild(const char* argument, const QString& path)
{
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(), {QString::fromLatin1(argument), path});
    if (!child.waitForFinished(600000))
        return -1;
    const QList<QByteArray> fields = child.readAllStandardOutput().trimmed().split(' ');
    return fields.size() == 2 ? fields.at(1).toDouble() : -1;
}

void writeFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        qFatal("Cannot write %s", qPrintable(path));
}

namespace {

struct FixtureSample {
    const char* path; // below tests/data/audio
    QString extension;
};

// Clean files of each container; an Opus stream travels in a ".ogg" file.
const std::array fixtureSamples{
    FixtureSample{"taglib/sinewave.flac", u"flac"_s},  FixtureSample{"taglib/xing.mp3", u"mp3"_s},
    FixtureSample{"taglib/no-tags.m4a", u"m4a"_s},     FixtureSample{"taglib/empty.ogg", u"ogg"_s},
    FixtureSample{"mutagen/example.opus", u"ogg"_s},   FixtureSample{"taglib/duplicate_tags.wav", u"wav"_s},
};

void removeDurableID(const QString& path)
{
    TagFile file(path, TagFile::Access::write);
    TagLib::PropertyMap properties = file.properties();
    properties.erase("VELMO_TRACK_ID");
    file.setProperties(properties);
    if (!file.save())
        qFatal("Cannot save %s", qPrintable(path));
}

} // namespace

QString mixedFormatFixture(int count)
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)
                         + u"/sonorelle-bench/mixed-"_s + QString::number(count);
    if (QFile::exists(folder + u"/complete"_s))
        return folder;
    QDir(folder).removeRecursively();
    QDir().mkpath(folder);

    const QList<Track> texts = generateTracks(count);
    QRandomGenerator random(5);
    QByteArray cover;
    for (int i = 0; i < count; ++i) {
        if (i % 12 == 0) {
            cover = QByteArray("\xFF\xD8\xFF\xE0", 4);
            for (int b = 0; b < 40'000; ++b)
                cover.append(char(random.bounded(256)));
        }
        const FixtureSample& sample = fixtureSamples.at(size_t(i) % fixtureSamples.size());
        const QString incoming = folder + u"/incoming."_s + sample.extension;
        QFile::remove(incoming);
        if (!QFile::copy(QStringLiteral(SONORELLE_AUDIO_SAMPLES "/") + QLatin1StringView(sample.path), incoming))
            qFatal("Cannot write %s", qPrintable(incoming));
        QFile::setPermissions(incoming, QFile::ReadOwner | QFile::WriteOwner);
        const auto metadata = TagReader::read(QUrl::fromLocalFile(incoming));
        if (!metadata)
            qFatal("The sample %s cannot be read", sample.path);
        Track track = Track::fromFile(QUrl::fromLocalFile(incoming), *metadata);
        const Track& text = texts.at(i);
        track.title = text.title;
        track.artist = track.albumArtist = text.artist;
        track.album = text.album;
        track.genre = text.genre;
        track.year = text.year;
        track.trackNumber = text.trackNumber;
        track.discNumber = text.discNumber;
        track.customTags = text.customTags;
        if (text.releaseMBID) {
            track.externalID = text.externalID;
            track.releaseMBID = text.releaseMBID;
            track.releaseGroupMBID = text.releaseGroupMBID;
        }
        track.url = LibraryOrganizer::canonicalURL(track, QUrl::fromLocalFile(folder));
        QDir().mkpath(QFileInfo(track.path()).absolutePath());
        if (!QFile::rename(incoming, track.path()))
            qFatal("Cannot write %s", qPrintable(track.path()));
        try {
            TagWriter::write(track);
            TagWriter::writeArtwork(track.url, cover, u"image/jpeg"_s);
        } catch (const TagWriter::WriteError& error) {
            qFatal("%s", qPrintable(error.message()));
        }
        removeDurableID(track.path());
    }
    writeFile(folder + u"/complete"_s);
    return folder;
}

double processCpuSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}
