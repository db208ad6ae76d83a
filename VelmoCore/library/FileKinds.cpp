#include "FileKinds.h"

#include "AudioContent.h"
#include "AudioFormat.h"
#include "DisplayText.h"

#include <QFile>
#include <QUrl>

#include <cerrno>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace FileKinds {

Kind kindOf(const QString& path)
{
    struct stat status {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return errno == ELOOP ? Kind::loop : Kind::missing;
    if (S_ISREG(status.st_mode))
        return Kind::regularFile;
    return S_ISDIR(status.st_mode) ? Kind::folder : Kind::other;
}

QString describe(Kind kind)
{
    switch (kind) {
    case Kind::missing: return u"there is nothing at that path"_s;
    case Kind::loop: return u"it is a symbolic link that leads back to itself (a loop)"_s;
    case Kind::regularFile: return {};
    case Kind::folder: return u"it is a folder, not a file"_s;
    case Kind::other: return u"it is not a regular file but a device, a pipe or a socket"_s;
    }
    Q_UNREACHABLE();
}

QString unreadableReason(const QString& path)
{
    const Kind kind = kindOf(path);
    if (kind != Kind::regularFile)
        return describe(kind);
    if (!isAudioFilePath(path))
        return u"not an audio file: the extension is not one of flac, mp3, aac, m4a, ogg, opus, wav, aiff, aif"_s;
    if (!AudioContent::startsLikeAudio(path)) {
        const auto format = audioFormatFromURL(QUrl::fromLocalFile(path));
        return u"not an audio file: its first %1 hold no %2 audio"_s.arg(DisplayText::dataSize(AudioContent::searchWindow),
                                                                         DisplayText::formatText(*format));
    }
    return u"the file cannot be read as audio: it is damaged, empty or of another kind"_s;
}

} // namespace FileKinds
