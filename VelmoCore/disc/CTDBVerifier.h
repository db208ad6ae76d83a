#pragma once

#include "CTDBChecksum.h"
#include "CTDBDatabase.h"
#include "CTDBTOC.h"

#include <QList>
#include <QMap>
#include <QString>

#include <optional>

// What the CUETools database says of a rip. A track counts as accurate when an entry's whole
// disc matches at some offset within ±5,879 samples, or the entry's CRC of that track matches
// at the offset the disc was found at or within ±2,939 samples; the database's other rips of
// the disc then only add to the total.
namespace CTDB {

struct Verdict {
    // damaged: the file has a frame that does not decode or ends short, so no sum over it is true.
    enum class Status { accurate, differs, notInDatabase, damaged, unchecked };

    Status status = Status::unchecked;
    qint64 confidence = 0; // of the entries that confirm the track
    qint64 total = 0; // every submission the database holds for the disc
    // Where it matched: our sample n holds the database's sample n + offset.
    std::optional<qint64> offset;
    QString reason; // why it could not be checked, or where it is damaged

    bool matched() const { return status == Status::accurate; }
    // "accurately ripped (confidence 5 of 12)", "differs from the database (12 submissions)",
    // "not in the database", "damaged: cannot be verified (…)", "not checked: …".
    QString text() const;
    // "accurate", "differs", "notInDatabase", "damaged", "unchecked".
    QString statusName() const;

    bool operator==(const Verdict&) const = default;
};

struct Verification {
    QString tocID;
    std::optional<qint64> offset; // of the most confident entry whose whole disc matched
    QList<Verdict> tracks; // one per audio track

    bool operator==(const Verification&) const = default;
};

// `tracks` holds one per audio track of `toc`; a track given none (not ripped, or damaged)
// counts as silence, is left unchecked, and keeps the whole disc from being checked.
Verification verify(const CTDBTOC& toc, const QList<std::optional<TrackSamples>>& tracks, const QList<Entry>& entries);

// verify() over audio files: `files` maps a track (from 0) to its file. A file that does not
// decode is "damaged" or unchecked, as is one whose length is not its track's. Blocking.
Verification verifyFiles(const CTDBTOC& toc, const QMap<qsizetype, QString>& files, const QList<Entry>& entries);

// "11 of 12 tracks verified by CTDB"; empty when none could be checked.
QString summary(const QList<Verdict>& verdicts);

// "+667", "0", "-12".
QString signedOffset(qint64 offset);

} // namespace CTDB
