#pragma once

#include <QCoro/QCoroTask>
#include <QString>

// Show notes as plain text. Feeds store them raw, often as HTML; they are read through Qt's
// own HTML reader rather than a pattern, so entities resolve and odd mark-up stays readable.
namespace MarkupStripper {

// Unchanged when the text holds no "<"; otherwise the document's plain text.
QString strip(const QString& text);

// The plain text again, as rich text for a label: nothing but its line breaks and its links,
// those of the mark-up and bare web addresses, so that they can be followed.
QString linkedText(const QString& text);

// linkedText, with long notes read on a worker so that a screen never waits for them.
QCoro::Task<QString> linkedTextInBackground(QString text);

} // namespace MarkupStripper
