#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

#include <optional>
#include <stdexcept>

// The release feed that tells whether a newer Sonorelle exists: an RSS 2.0 document whose
// items are releases. Reading only; nothing is downloaded or installed from it.
namespace ReleaseFeed {

struct Release {
    QString version;
    QString title;
    QUrl link;     // the page about the release; else the enclosure or a link-like guid
    QString pubDate; // as the feed wrote it
};

class FeedError : public std::runtime_error {
public:
    enum class Kind { notAFeed, noVersions };

    FeedError(Kind kind, const QString& sentence);
    Kind kind() const { return m_kind; }
    const QString& message() const { return m_message; }

private:
    Kind m_kind;
    QString m_message;
};

// Each item with a version: the element `version` under any prefix, else the first dotted
// number of the title. Throws FeedError for what is not RSS, or holds no release at all.
QList<Release> parse(const QByteArray& xml);

// The first dotted number ("1.2", "2.0.1-beta2") in a text.
std::optional<QString> versionIn(const QString& text);

// By numeric parts, missing parts as 0 (1.10 > 1.9, 1.2 == 1.2.0); at equal numbers a
// suffix such as "-beta" sorts before the release. Negative, zero or positive.
int compareVersions(const QString& a, const QString& b);

// The release with the highest version; the first of equals.
Release newest(const QList<Release>& releases);

} // namespace ReleaseFeed
