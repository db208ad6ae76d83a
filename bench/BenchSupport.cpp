#include "BenchSupport.h"

#include "library/Library.h"
#include "library/StoreLocations.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QRandomGenerator>

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
