#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

// A disc as the CUETools database (CTDB) names it: the address of every track's INDEX 01 in
// sectors from LBA 0, which tracks hold data, and the disc's last lead-out. The audio that
// the database's checksums cover runs from the first audio track's INDEX 01 to the end of the
// last audio track; on an Enhanced CD that end lies 11,400 sectors before the data track.
struct CTDBTOC {
    QList<qint64> starts;
    QList<bool> data;
    qint64 leadOut = 0;

    // Every track of a full TOC, data tracks included; the lead-out is the last session's.
    // Throws MusicBrainzDiscLookup::LookupError tocReadFailed for bytes without audio tracks.
    static CTDBTOC fromFullTOC(const QByteArray& fullTOC);
    // The form of the lookup's `toc=` and of an answer's `toc` attribute; none when it is not
    // one, or names no audio track.
    static std::optional<CTDBTOC> fromText(const QString& text);

    // "0:11413:25024:45713:55220": the starts, a data track's with a leading '-', then the lead-out.
    QString text() const;
    // Base64 of the SHA-1 of the audio tracks' starts and end relative to the first one, with
    // '.', '_' and '-' for '+', '/' and '='. Pregap and data tracks leave it as it is.
    QString tocID() const;

    qint64 audioTrackCount() const;
    // The first audio track's hidden pregap, in sectors; none on a disc whose data comes first.
    qint64 pregap() const;
    // Sectors from the first audio track's INDEX 01 to the end of the audio.
    qint64 audioSectors() const;
    // The audio tracks' starts in sectors from the first one's INDEX 01, then the audio's end.
    QList<qint64> audioBoundaries() const;

    bool operator==(const CTDBTOC&) const = default;

private:
    qint64 firstAudio() const;
    qint64 lastAudio() const;
};
