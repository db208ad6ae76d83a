#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

// A disc as the AccurateRip database names it, worked out from the full table of contents:
// only the audio tracks count towards the track count, id1 and id2 (each by its number on the
// disc, so from 2 on a mixed-mode disc, whose data comes first), every track towards the
// CDDB-style id, and the lead-out is the disc's last one (behind an Enhanced CD's data session),
// as the database's entries for real discs are named. A pressing's tracks are the audio tracks.
struct AccurateRipID {
    qint64 trackCount = 0; // audio tracks only
    quint32 id1 = 0;
    quint32 id2 = 0;
    quint32 cddb = 0;

    // "NNN-xxxxxxxx-xxxxxxxx-xxxxxxxx": three-digit track count, lower-case hex ids.
    QString text() const;
    // "a/b/c/dBAR-<text>.bin", the folders being id1's last three hex digits, last one first.
    QString path() const;
    // The path below the service's address.
    QUrl url(const QUrl& service) const;

    // Throws MusicBrainzDiscLookup::LookupError tocReadFailed for bytes without audio tracks.
    static AccurateRipID fromFullTOC(const QByteArray& fullTOC);

    bool operator==(const AccurateRipID&) const = default;
};
