#pragma once

#include <QString>
#include <QStringList>

// The names a disc carries in its CD-Text, as far as it carries them: text it lacks is empty.
// Tracks are the disc's audio tracks in order, as the table of contents numbers them.
struct CDText {
    QString albumTitle;
    QString albumPerformer;
    QString genre;
    QStringList trackTitles;
    QStringList trackPerformers;

    bool isEmpty() const;

    // The CD-Text of the disc in a drive (`sr0` or `/dev/sr0`), read with libcdio. Blocking;
    // empty for a drive that can't be opened or a disc without CD-Text.
    static CDText readDrive(const QString& drive);

    bool operator==(const CDText&) const = default;
};
