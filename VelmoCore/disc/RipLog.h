#pragma once

#include "AccurateRipDatabase.h"
#include "CTDBVerifier.h"
#include "TrackChecksums.h"

#include <QList>
#include <QString>

#include <optional>

// What a rip leaves beside the album's tracks: a plain-text log that says how the disc was
// read and whether each track can be trusted, and a cue sheet of the ripped files from which
// the disc can be burnt again.
namespace RipLog {

struct TrackRecord {
    qint64 number = 0; // 1-based, as the files are numbered
    QString title;
    QString performer;
    QString file; // where it ended up; empty when the track did not arrive
    qint64 pregapFrames = 0; // silence before the track's first frame on the disc
    std::optional<TrackChecksums> checksums;
    std::optional<AccurateRip::Verdict> verdict;
    std::optional<CTDB::Verdict> ctdbVerdict;
    qint64 recoveredReads = 0;
    QList<quint32> readCRCs; // each whole read's CRC32, when the track was read more than once
    QString failure; // why the track did not arrive
};

// What became of asking the CUETools database.
struct CTDBLookup {
    QString tocID; // empty when the disc's table of contents could not be read
    bool found = false; // it holds rips of the disc
    QString failure; // why it could not be asked

    bool operator==(const CTDBLookup&) const = default;
};

struct Record {
    QString programVersion;
    QString drive; // its model, or the image's sheet
    qint64 readOffset = 0;
    QString strategy;
    QString discID;
    QString accurateRipID; // empty when it could not be worked out
    QString artist;
    QString album;
    QList<TrackRecord> tracks;
    std::optional<CTDBLookup> ctdb; // none when the setting left it out
};

QString logText(const Record& record);

// One FILE per ripped track, named relative to `folder`, each with its INDEX 01 at the file's
// start; the disc's silence before its first track as a PREGAP. Tracks that did not arrive
// are left out.
QString cueSheet(const Record& record, const QString& folder);

} // namespace RipLog
