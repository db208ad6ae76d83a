#pragma once

#include <QString>
#include <QUuid>

// The one text form of a record's id, as the stores, the tags and `velmo` print it:
// upper case, without braces.
namespace Uuid {

QString text(const QUuid& uuid);

} // namespace Uuid
