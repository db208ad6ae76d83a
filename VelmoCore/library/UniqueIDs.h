#pragma once

#include "Uuid.h"

#include <QList>
#include <QSet>
#include <QStringList>
#include <QUuid>

// The records of a store are found by id everywhere, so a store that holds an id twice (edited
// by hand, or written by another program) would make one record stand for another.
namespace UniqueIDs {

// Keeps the first record of each id, in order, and leaves out the others; returns the ids
// that were repeated, each once, in upper-case text.
template <typename Record>
QStringList keepFirstOfEach(QList<Record>& records)
{
    QSet<QUuid> seen;
    QStringList repeated;
    records.removeIf([&seen, &repeated](const Record& record) {
        if (!seen.contains(record.id)) {
            seen.insert(record.id);
            return false;
        }
        const QString id = Uuid::text(record.id);
        if (!repeated.contains(id))
            repeated.append(id);
        return true;
    });
    return repeated;
}

} // namespace UniqueIDs
