#pragma once

#include <QList>
#include <QString>
#include <QUrl>

// Addresses on the web services, built from the configured base address. Query values are
// percent-encoded in full (a "+" in a name must not reach a server as a blank), except
// where a service wants a literal "+" as its own separator.
namespace ServiceURL {

struct QueryItem {
    QString name;
    QString value;
    bool literalPlus = false;
};

// `path` is appended to the base address's own path, so a service behind a path prefix works.
QUrl make(const QUrl& base, const QString& path, const QList<QueryItem>& query = {});

// One path segment, with "/", "?" and "#" encoded, for IDs that come from outside.
QString pathSegment(const QString& text);

} // namespace ServiceURL
