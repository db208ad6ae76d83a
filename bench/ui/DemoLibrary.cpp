#include "DemoLibrary.h"

#include "library/JsonCoding.h"
#include "library/LibraryOrganizer.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"
#include "library/Uuid.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QRandomGenerator>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

QByteArray paintCover(const QString& album, const QString& artist, QRandomGenerator& random)
{
    QImage image(600, 600, QImage::Format_RGB32);
    QPainter painter(&image);
    const QColor top = QColor::fromHsv(random.bounded(360), 90 + random.bounded(120), 120 + random.bounded(110));
    const QColor bottom = top.darker(180 + random.bounded(120));
    QLinearGradient gradient(0, 0, random.bounded(600), 600);
    gradient.setColorAt(0, top);
    gradient.setColorAt(1, bottom);
    painter.fillRect(image.rect(), gradient);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 255, 255, 40));
    painter.drawEllipse(QPoint(random.bounded(600), random.bounded(600)), 120 + random.bounded(200), 120 + random.bounded(200));
    QFont font(u"DejaVu Sans"_s, 40, QFont::Bold);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(QRect(40, 300, 520, 200), Qt::AlignLeft | Qt::AlignBottom | Qt::TextWordWrap, album);
    font.setPointSize(24);
    font.setBold(false);
    painter.setFont(font);
    painter.drawText(QRect(40, 500, 520, 60), Qt::AlignLeft | Qt::AlignVCenter, artist);
    painter.end();
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "JPEG", 85);
    return jpeg;
}

} // namespace

int writeDemoLibrary(const QString& folder, int albums)
{
    static const QStringList words{u"Velvet"_s, u"Harbour"_s, u"Static"_s, u"Morning"_s, u"Golden"_s, u"River"_s,
                                   u"Echoes"_s, u"Paper"_s, u"Silence"_s, u"Neon"_s, u"Winter"_s, u"Glass"_s,
                                   u"Orchard"_s, u"Signal"_s, u"Lanterns"_s, u"Atlas"_s, u"Tides"_s, u"Ember"_s};
    static const QStringList genres{u"Rock"_s, u"Jazz"_s, u"Electronic"_s, u"Folk"_s, u"Ambient"_s, u"Soul"_s};
    QRandomGenerator random(7);
    const auto phrase = [&](int count) {
        QStringList parts;
        for (int i = 0; i < count; ++i)
            parts.append(words.at(random.bounded(words.size())));
        return parts.join(u' ');
    };
    const QUrl root = QUrl::fromLocalFile(QFileInfo(folder).absoluteFilePath());
    const auto sample = TagReader::read(QUrl::fromLocalFile(QStringLiteral(SONORELLE_SAMPLE_FLAC)));
    if (!sample) {
        std::fprintf(stderr, "The sample FLAC file cannot be read.\n");
        return 1;
    }
    int written = 0;
    for (int a = 0; a < albums; ++a) {
        const QString artist = u"The "_s + phrase(1) + u's';
        const QString album = phrase(1 + random.bounded(2));
        const QByteArray cover = paintCover(album, artist, random);
        const int trackCount = 8 + random.bounded(7);
        const qint64 year = 1968 + random.bounded(56);
        const QString genre = genres.at(random.bounded(genres.size()));
        for (int t = 1; t <= trackCount; ++t) {
            Track track = Track::fromFile(QUrl::fromLocalFile(folder + u"/incoming.flac"_s), *sample);
            track.title = phrase(1 + random.bounded(3));
            track.artist = artist;
            track.albumArtist = artist;
            track.album = album;
            track.genre = genre;
            track.year = year;
            track.trackNumber = t;
            track.externalID = Uuid::text(track.id);
            track.url = LibraryOrganizer::canonicalURL(track, root);
            QDir().mkpath(QFileInfo(track.path()).absolutePath());
            QFile::remove(track.path());
            if (!QFile::copy(QStringLiteral(SONORELLE_SAMPLE_FLAC), track.path()))
                return 1;
            QFile::setPermissions(track.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
            try {
                TagWriter::write(track);
                TagWriter::writeArtwork(track.url, cover, u"image/jpeg"_s);
            } catch (const TagWriter::WriteError& error) {
                std::fprintf(stderr, "%s\n", qPrintable(error.message()));
                return 1;
            }
            ++written;
        }
    }
    std::printf("%d tracks in %d albums written below %s\n", written, albums, qPrintable(folder));
    return 0;
}
