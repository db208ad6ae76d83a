#include "PodcastFiles.h"

#include "library/FilePaths.h"
#include "library/LibraryOrganizer.h"
#include "library/Uuid.h"

using namespace Qt::StringLiterals;

namespace PodcastFiles {

namespace {

// Cuts at a character boundary so that the UTF-8 form fits in `maximumBytes`.
QString limitedToBytes(const QString& text, qsizetype maximumBytes)
{
    qsizetype bytes = 0;
    qsizetype end = 0;
    while (end < text.size()) {
        const char16_t unit = text.at(end).unicode();
        const bool pair = QChar::isHighSurrogate(unit) && end + 1 < text.size();
        const qsizetype size = pair ? 4 : (unit < 0x80 ? 1 : (unit < 0x800 ? 2 : 3));
        if (bytes + size > maximumBytes)
            break;
        bytes += size;
        end += pair ? 2 : 1;
    }
    return text.left(end);
}

// A single, bounded path component, or empty.
QString cleanName(const QString& title, qsizetype maximumBytes)
{
    QString text = title;
    for (QChar& c : text) {
        if (c.category() == QChar::Other_Control)
            c = u' ';
    }
    text = LibraryOrganizer::sanitizePathComponent(text.trimmed());
    // Cutting may leave a trailing blank or dot, which the rule strips.
    return LibraryOrganizer::sanitizePathComponent(limitedToBytes(text, maximumBytes));
}

QString extension(const QUrl& remoteURL)
{
    const QString extension = FilePaths::pathExtension(remoteURL.path(QUrl::FullyDecoded)).toLower();
    const bool plain = extension.size() <= 16 && std::all_of(extension.cbegin(), extension.cend(), [](QChar c) {
        return c.unicode() < 128 && c.isLetterOrNumber();
    });
    return extension.isEmpty() || !plain ? u"mp3"_s : extension;
}

} // namespace

QString podcastFolder(const QUrl& root, const QString& podcastTitle)
{
    QString name = cleanName(podcastTitle, maximumNameBytes);
    if (name.isEmpty())
        name = u"Unknown Podcast"_s;
    QString rootPath = root.toLocalFile();
    while (rootPath.size() > 1 && rootPath.endsWith(u'/'))
        rootPath.chop(1);
    return rootPath + u"/Podcasts/"_s + name;
}

QString episodeFileName(const Episode& episode, int copy)
{
    const QString suffix = (copy > 1 ? u" (%1)"_s.arg(copy) : QString()) + u'.' + extension(episode.remoteURL);
    QString base = cleanName(episode.title, maximumNameBytes - suffix.size());
    if (base.isEmpty())
        base = Uuid::text(episode.id);
    return base + suffix;
}

} // namespace PodcastFiles
