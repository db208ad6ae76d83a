#include "CdioTOC.h"

#include <QFile>

#include <cdio/cdio.h>

#include <array>

namespace CdioTOC {

namespace {

struct Point {
    int session = 1;
    int control = 0;
    int point = 0;
    qint64 address = 0;
};

void append(QByteArray& bytes, const Point& point)
{
    const auto msf = [](qint64 frames) {
        return std::array{char(frames / 4500), char(frames / 75 % 60), char(frames % 75)};
    };
    const auto at = msf(point.address);
    // Session, ADR 1 and control, TNO, point, ATIME, zero, PMIN/PSEC/PFRAME.
    bytes.append(char(point.session));
    bytes.append(char(0x10 | point.control));
    bytes.append(char(0));
    bytes.append(char(point.point));
    bytes.append(3, char(0));
    bytes.append(char(0));
    bytes.append(at.data(), 3);
}

} // namespace

QByteArray fullTOC(const QList<Track>& tracks, qint64 leadOut)
{
    const bool enhanced = tracks.size() > 1 && tracks.constLast().data && !tracks.constFirst().data;
    QList<Point> points;
    const auto addSession = [&points](int session, const QList<Track>& members, qint64 sessionLeadOut) {
        const int control = members.constFirst().data ? 0x04 : 0;
        points.append({session, control, 0xA0, qint64(members.constFirst().number) * 4500});
        points.append({session, members.constLast().data ? 0x04 : 0, 0xA1, qint64(members.constLast().number) * 4500});
        points.append({session, control, 0xA2, sessionLeadOut});
        for (const Track& track : members)
            points.append({session, track.data ? 0x04 : 0, track.number, track.address});
    };
    if (enhanced) {
        const QList<Track> audio = tracks.first(tracks.size() - 1);
        addSession(1, audio, tracks.constLast().address - sessionGap);
        addSession(2, {tracks.constLast()}, leadOut);
    } else if (!tracks.isEmpty()) {
        addSession(1, tracks, leadOut);
    }
    QByteArray bytes;
    const int length = 2 + 11 * int(points.size());
    bytes.append(char(length >> 8));
    bytes.append(char(length & 0xFF));
    bytes.append(char(1));
    bytes.append(char(enhanced ? 2 : 1));
    for (const Point& point : std::as_const(points))
        append(bytes, point);
    return bytes;
}

std::optional<QByteArray> read(const QString& path)
{
    CdIo_t* cdio = cdio_open(QFile::encodeName(path).constData(), DRIVER_UNKNOWN);
    if (!cdio)
        return std::nullopt;
    const track_t first = cdio_get_first_track_num(cdio);
    const track_t count = cdio_get_num_tracks(cdio);
    QList<Track> tracks;
    if (first != CDIO_INVALID_TRACK && count != CDIO_INVALID_TRACK) {
        for (int number = first; number < first + count; ++number) {
            const lba_t address = cdio_get_track_lba(cdio, track_t(number));
            if (address == CDIO_INVALID_LBA)
                break;
            tracks.append({number, cdio_get_track_format(cdio, track_t(number)) != TRACK_FORMAT_AUDIO, address});
        }
    }
    const lba_t leadOut = cdio_get_track_lba(cdio, CDIO_CDROM_LEADOUT_TRACK);
    cdio_destroy(cdio);
    if (tracks.isEmpty() || tracks.size() != count || leadOut == CDIO_INVALID_LBA)
        return std::nullopt;
    return fullTOC(tracks, leadOut);
}

} // namespace CdioTOC
