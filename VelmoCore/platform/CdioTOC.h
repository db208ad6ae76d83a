#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

// A disc's table of contents as libcdio gives it, for drives that refuse the SG_IO full TOC and
// for the disc images libcdio opens as drives (cue/bin, cdrdao .toc). libcdio knows tracks but
// not sessions, so it is turned into the full TOC bytes the parser takes.
namespace CdioTOC {

struct Track {
    int number = 0;
    bool data = false;
    qint64 address = 0; // on the table of contents' scale: the disc's first frame is 150
};

// Frames from a session's lead-out to the next session's first track: lead-out, lead-in, pregap.
constexpr qint64 sessionGap = 6750 + 4500 + 150;

// Full TOC bytes of the tracks and the disc's lead-out. A data track behind audio tracks is an
// Enhanced CD's second session, which starts one `sessionGap` after the first session's lead-out.
QByteArray fullTOC(const QList<Track>& tracks, qint64 leadOut);

// Blocking. None when libcdio can't open `path` or finds no tracks there.
std::optional<QByteArray> read(const QString& path);

} // namespace CdioTOC
