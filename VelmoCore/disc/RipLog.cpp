#include "RipLog.h"

#include <QDir>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace RipLog {

namespace {

QString hex(quint32 value)
{
    return u"%1"_s.arg(value, 8, 16, QChar(u'0')).toUpper();
}

QString msf(qint64 frames)
{
    return u"%1:%2:%3"_s.arg(frames / (60 * 75), 2, 10, QChar(u'0'))
        .arg(frames / 75 % 60, 2, 10, QChar(u'0'))
        .arg(frames % 75, 2, 10, QChar(u'0'));
}

QString program(const Record& record)
{
    return record.programVersion.isEmpty() ? u"Sonorelle"_s : u"Sonorelle "_s + record.programVersion;
}

QString quoted(QString text)
{
    return u'"' + text.replace(u'"', u'\'') + u'"';
}

} // namespace

namespace {

// The database's section in the layout the logs of other rippers give it, so that tools that
// read those logs find it: the disc's TOCID and whether it was found, then a row per track.
QStringList ctdbSection(const Record& record)
{
    const CTDBLookup& ctdb = *record.ctdb;
    const QString tocID = ctdb.tocID.isEmpty() ? u"unknown"_s : ctdb.tocID;
    if (!ctdb.failure.isEmpty())
        return {u"[CTDB TOCID: %1] could not be asked: %2"_s.arg(tocID, ctdb.failure)};
    if (!ctdb.found)
        return {u"[CTDB TOCID: %1] disk not present in database."_s.arg(tocID)};
    QStringList lines{u"[CTDB TOCID: %1] found."_s.arg(tocID), u"Track | CTDB Status"_s};
    for (const TrackRecord& track : record.tracks) {
        if (!track.ctdbVerdict)
            continue;
        const CTDB::Verdict& verdict = *track.ctdbVerdict;
        const int width = int(QString::number(verdict.total).size());
        QString status;
        if (verdict.status == CTDB::Verdict::Status::accurate)
            status = u"(%1/%2) Accurately ripped"_s.arg(verdict.confidence, width).arg(verdict.total);
        else if (verdict.status == CTDB::Verdict::Status::differs)
            status = u"(%1/%2) No match"_s.arg(0, width).arg(verdict.total);
        else
            status = verdict.text();
        lines << u" %1   | %2"_s.arg(track.number, 2).arg(status);
    }
    return lines;
}

} // namespace

QString logText(const Record& record)
{
    QStringList lines;
    lines << program(record) + u" rip log"_s << QString();
    lines << u"Album:           %1 — %2"_s.arg(record.artist, record.album);
    lines << u"Drive:           %1"_s.arg(record.drive);
    lines << u"Read offset:     %1 samples"_s.arg(record.readOffset);
    lines << u"Strategy:        %1"_s.arg(record.strategy);
    lines << u"Disc ID:         %1"_s.arg(record.discID);
    lines << u"AccurateRip ID:  %1"_s.arg(record.accurateRipID.isEmpty() ? u"unknown"_s : record.accurateRipID);
    QList<AccurateRip::Verdict> verdicts;
    for (const TrackRecord& track : record.tracks) {
        lines << QString() << u"Track %1: %2"_s.arg(track.number, 2, 10, QChar(u'0')).arg(track.title);
        if (!track.file.isEmpty())
            lines << u"  File:            %1"_s.arg(track.file);
        if (!track.failure.isEmpty())
            lines << u"  Failed:          %1"_s.arg(track.failure);
        if (track.checksums) {
            lines << u"  CRC32:           %1"_s.arg(hex(track.checksums->crc32));
            lines << u"  CRC32 w/o nulls: %1"_s.arg(hex(track.checksums->crc32WithoutSilence));
            lines << u"  AccurateRip:     v1 %1, v2 %2"_s.arg(hex(track.checksums->v1), hex(track.checksums->v2));
        }
        if (track.verdict) {
            verdicts.append(*track.verdict);
            lines << u"  Result:          %1%2"_s.arg(
                track.verdict->text(), track.verdict->reread ? u" after a paranoia re-read"_s : QString());
        }
        if (!track.readCRCs.isEmpty()) {
            QStringList crcs;
            for (const quint32 crc : track.readCRCs)
                crcs << hex(crc);
            lines << u"  Reads:           %1 (CRC32 %2)"_s.arg(track.readCRCs.size()).arg(crcs.join(u", "_s));
        }
        if (track.ctdbVerdict) {
            QString line = u"  CTDB:            "_s + track.ctdbVerdict->text();
            if (track.ctdbVerdict->offset && *track.ctdbVerdict->offset != 0)
                line += u", at offset "_s + CTDB::signedOffset(*track.ctdbVerdict->offset);
            lines << line;
        }
        if (track.recoveredReads > 0)
            lines << u"  Read errors:     %1 frames read only when tried again"_s.arg(track.recoveredReads);
        else if (track.failure.isEmpty())
            lines << u"  Read errors:     none"_s;
    }
    if (record.ctdb)
        lines << QString() << ctdbSection(record);
    if (const QString summary = AccurateRip::summary(verdicts); !summary.isEmpty())
        lines << QString() << summary + u'.';
    QList<CTDB::Verdict> ctdbVerdicts;
    for (const TrackRecord& track : record.tracks) {
        if (track.ctdbVerdict)
            ctdbVerdicts.append(*track.ctdbVerdict);
    }
    if (const QString summary = CTDB::summary(ctdbVerdicts); !summary.isEmpty())
        lines << (verdicts.isEmpty() ? QStringList{QString(), summary + u'.'} : QStringList{summary + u'.'});
    return lines.join(u'\n') + u'\n';
}

QString cueSheet(const Record& record, const QString& folder)
{
    QStringList lines;
    lines << u"REM COMMENT "_s + quoted(program(record));
    if (!record.discID.isEmpty())
        lines << u"REM MUSICBRAINZ_DISCID "_s + record.discID;
    lines << u"PERFORMER "_s + quoted(record.artist) << u"TITLE "_s + quoted(record.album);
    const QDir dir(folder);
    for (const TrackRecord& track : record.tracks) {
        if (track.file.isEmpty())
            continue;
        lines << u"FILE "_s + quoted(dir.relativeFilePath(track.file)) + u" WAVE"_s;
        lines << u"  TRACK %1 AUDIO"_s.arg(track.number, 2, 10, QChar(u'0'));
        lines << u"    TITLE "_s + quoted(track.title) << u"    PERFORMER "_s + quoted(track.performer);
        if (track.pregapFrames > 0)
            lines << u"    PREGAP "_s + msf(track.pregapFrames);
        lines << u"    INDEX 01 00:00:00"_s;
    }
    return lines.join(u'\n') + u'\n';
}

} // namespace RipLog
