#pragma once

#include <QByteArray>
#include <QString>

// A report that tells in words how a raw table of contents is read: every descriptor, what the
// parser makes of it, and why sessions and data tracks are left out.
namespace CDTOCDiagnostics {

// Never throws: bytes the parser rejects are a line of the report.
QString analyze(const QByteArray& data);

// The report of a drive or a disc image; throws what MusicBrainzDiscLookup::rawTOCData throws.
QString dump(const QString& source);

} // namespace CDTOCDiagnostics
