#pragma once

#include "library/Track.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUuid>

#include <optional>
#include <variant>

// One custom-tag row of the editor; the id only tells rows apart.
struct TagEntry {
    QUuid id = QUuid::createUuid();
    QString key;
    QString value;
};

// The edit buffers of the track detail pane and the rules that turn them into a record:
// what counts as an unsaved change, how numbers parse, which tag rows are kept.
struct TrackEditor {
    QString title;
    QString artist;
    QString albumArtist;
    QString album;
    QString year;
    QString genre;
    QString trackNumber;
    QString discNumber;
    std::optional<QByteArray> artworkData;
    bool artworkChanged = false;
    QList<TagEntry> customTags;

    // Texts as they are, numbers as decimal text (empty when none), one row per tag.
    static TrackEditor from(const Track& snapshot);

    // Whether "Save" has anything to save against the last saved record.
    bool hasUnsavedChanges(const Track& snapshot) const;

    // The edited record, or the sentence that refuses it. Numbers that do not parse as a
    // whole decimal number become none: typing a word clears the field.
    std::variant<Track, QString> makeRecord(const Track& snapshot) const;

    // Keys trimmed of blanks, rows with an empty key dropped; the sentence on a duplicate key.
    std::variant<QMap<QString, QString>, QString> tagMap() const;
};
