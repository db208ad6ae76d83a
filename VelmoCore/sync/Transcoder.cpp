#include "Transcoder.h"

#include "TranscodeCache.h"
#include "library/Background.h"
#include "library/FilePaths.h"
#include "library/ImageType.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"
#include "platform/AtomicFile.h"
#include "platform/ImageScaling.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QScopeGuard>

#include <cerrno>
#include <vector>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace Transcoder {

namespace {

QString sentence(TranscodeError::Kind kind, const QString& source, const QString& detail)
{
    using Kind = TranscodeError::Kind;
    switch (kind) {
    case Kind::noAudioTrack: return u"“%1” holds no audio, so it was not put on the device."_s.arg(source);
    case Kind::readFailed: return u"“%1” could not be read: %2."_s.arg(source, detail);
    case Kind::writeFailed: return u"“%1” could not be converted onto the device: %2."_s.arg(source, detail);
    }
    Q_UNREACHABLE();
}

// The start and end of the hidden names a transcode to `destination` writes under: hidden,
// so that no diff and no player takes one for a track, and with the destination's extension,
// by which the tag writer knows the container. A long name is stood for by its digest, to
// stay within any file system's limit.
std::pair<QString, QString> partialAffixes(const QString& destination)
{
    const QFileInfo info(destination);
    QString stem = info.completeBaseName();
    if (stem.toUtf8().size() > 64)
        stem = QString::fromLatin1(QCryptographicHash::hash(stem.toUtf8(), QCryptographicHash::Sha1).toHex().left(16));
    return {u"."_s + stem + u'.', u".partial."_s + FilePaths::pathExtension(destination)};
}

QString partialPath(const QString& destination)
{
    const auto [prefix, suffix] = partialAffixes(destination);
    return QFileInfo(destination).path() + u'/' + prefix + QString::number(QRandomGenerator::global()->generate(), 16)
           + suffix;
}

// What a killed transcode to the same destination left behind: nothing else writes there.
void removeLeftovers(const QString& destination)
{
    const auto [prefix, suffix] = partialAffixes(destination);
    const QDir folder = QFileInfo(destination).dir();
    for (const QString& name : folder.entryList(QDir::Files | QDir::Hidden | QDir::System)) {
        if (name.startsWith(prefix) && name.endsWith(suffix))
            QFile::remove(folder.filePath(name));
    }
}

// The data on the disk before the name: a crash after the rename must not leave an empty file.
std::optional<int> syncToDisk(const QString& path)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    const int result = ::fsync(fd);
    const int error = errno;
    ::close(fd);
    if (result != 0 && error != EINVAL)
        return error;
    return std::nullopt;
}

// The file's pictures replaced by the one front cover, fitted when a size is given. A cover
// that does not decode could not be fitted, and a player could not show it either: it goes.
void writeCover(const QString& path, std::optional<QByteArray> cover, std::optional<int> coverPixels)
{
    if (!cover)
        return;
    const QUrl url = QUrl::fromLocalFile(path);
    if (coverPixels)
        cover = ImageScaling::fittedJpeg(*cover, *coverPixels);
    if (cover)
        TagWriter::writeArtwork(url, *cover, ImageType::mimeType(*cover));
    else
        TagWriter::removeArtwork(url);
}

void writeTags(const Track& track, const QUrl& source, const QString& path, std::optional<int> coverPixels)
{
    Track tagged = track;
    tagged.url = QUrl::fromLocalFile(path);
    TagWriter::write(tagged);
    Track original = track;
    original.url = source;
    writeCover(path, frontCover(original), coverPixels);
}

// The key of a transcode's result in the cache: none when the source cannot be looked at,
// which the encoder then reports.
std::optional<QString> cacheKey(const Track& track, const QString& source, const Settings& settings)
{
    struct stat status {};
    if (::stat(QFile::encodeName(source).constData(), &status) != 0)
        return std::nullopt;
    const qint64 modified = qint64(status.st_mtim.tv_sec) * 1'000'000'000 + status.st_mtim.tv_nsec;
    return TranscodeCache::key(track.id.toString(QUuid::WithoutBraces), qint64(status.st_size), modified,
                               settings.cacheText());
}

// A plain copy into the part file: it is hidden and named for its destination already, so a
// kill leaves nothing that the next transcode or copy to that destination does not remove.
std::optional<int> copyInto(const QString& source, const QString& partial)
{
    const int in = ::open(QFile::encodeName(source).constData(), O_RDONLY | O_CLOEXEC);
    if (in < 0)
        return errno;
    const int out = ::open(QFile::encodeName(partial).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (out < 0) {
        const int error = errno;
        ::close(in);
        return error;
    }
    std::optional<int> failure;
    std::vector<char> buffer(1 << 20);
    for (;;) {
        const ssize_t got = ::read(in, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0) {
            if (got < 0)
                failure = errno;
            break;
        }
        for (ssize_t written = 0; written < got && !failure;) {
            const ssize_t put = ::write(out, buffer.data() + written, size_t(got - written));
            if (put < 0 && errno != EINTR)
                failure = errno;
            written += std::max<ssize_t>(put, 0);
        }
        if (failure)
            break;
    }
    ::close(in);
    if (::close(out) != 0 && !failure)
        failure = errno;
    return failure;
}

// The file at `partial` made durable and renamed into place.
void moveIntoPlace(const QString& partial, const QString& destination, const QString& source)
{
    using Kind = TranscodeError::Kind;
    if (const std::optional<int> error = syncToDisk(partial))
        throw TranscodeError(Kind::writeFailed, source, AtomicFile::describe(*error));
    if (::rename(QFile::encodeName(partial).constData(), QFile::encodeName(destination).constData()) != 0)
        throw TranscodeError(Kind::writeFailed, source, AtomicFile::describe(errno));
}

} // namespace

TranscodeError::TranscodeError(Kind kind, const QString& source, const QString& detail)
    : std::runtime_error(sentence(kind, source, detail).toStdString())
    , m_kind(kind)
    , m_source(source)
    , m_detail(detail)
{
}

QString TranscodeError::message() const
{
    return QString::fromUtf8(what());
}

std::optional<QByteArray> frontCover(const Track& track)
{
    if (track.artworkData && !track.artworkData->isEmpty())
        return track.artworkData;
    if (const std::optional<TrackMetadata> metadata = TagReader::read(track.url)) {
        if (metadata->artworkData && !metadata->artworkData->isEmpty())
            return metadata->artworkData;
    }
    return std::nullopt;
}

QString Settings::cacheText() const
{
    const AudioTranscoding::Target target = encoderSettings(format, bitrateKbps);
    return u"%1 %2 %3 Hz %4 ch %5 bit/s cover %6"_s.arg(target.container, target.encoder)
        .arg(target.sampleRate)
        .arg(target.channels)
        .arg(target.bitRate)
        .arg(coverPixels ? QString::number(*coverPixels) : u"original"_s);
}

AudioTranscoding::Target encoderSettings(OutputFormat format, qint64 bitrateKbps)
{
    AudioTranscoding::Target target;
    switch (format) {
    case OutputFormat::keepSource: qFatal("Transcoder.encoderSettings: called with .keepSource");
    case OutputFormat::mp3:
        target.container = u"mp3"_s;
        target.encoder = u"libmp3lame"_s;
        break;
    case OutputFormat::aac:
        target.container = u"ipod"_s;
        target.encoder = u"aac"_s;
        break;
    }
    if (qMulOverflow(bitrateKbps, qint64(1000), &target.bitRate))
        qFatal("Transcoder.encoderSettings: bit rate %lld kbit/s overflows", static_cast<long long>(bitrateKbps));
    return target;
}

void transcodeFile(const QUrl& from, const QUrl& to, const Settings& settings, const std::optional<Track>& tags,
                   const Means& means)
{
    using Kind = TranscodeError::Kind;
    const QString source = from.toLocalFile();
    const QString destination = to.toLocalFile();
    const AudioTranscoding::Target target = encoderSettings(settings.format, settings.bitrateKbps);
    removeLeftovers(destination);
    const QString partial = partialPath(destination);
    auto removePartial = qScopeGuard([&partial] { QFile::remove(partial); });

    const QString extension = FilePaths::pathExtension(destination).toLower();
    const std::optional<QString> key = means.cache && tags ? cacheKey(*tags, source, settings) : std::nullopt;
    const auto fromCache = [&]() -> bool {
        const std::optional<QString> kept = key ? means.cache->find(*key, extension) : std::nullopt;
        if (kept && !copyInto(*kept, partial))
            return true;
        QFile::remove(partial);
        return false;
    };
    if (!fromCache()) {
        try {
            if (means.encoder)
                means.encoder(source, partial, target);
            else
                AudioTranscoding::transcode(source, partial, target);
        } catch (const AudioTranscoding::Failure& failure) {
            switch (failure.stage()) {
            case AudioTranscoding::Failure::Stage::noAudio: throw TranscodeError(Kind::noAudioTrack, source);
            case AudioTranscoding::Failure::Stage::read: throw TranscodeError(Kind::readFailed, source, failure.detail());
            case AudioTranscoding::Failure::Stage::write: throw TranscodeError(Kind::writeFailed, source, failure.detail());
            }
        }
        if (tags) {
            try {
                writeTags(*tags, from, partial, settings.coverPixels);
            } catch (const TagWriter::WriteError&) {
                throw TranscodeError(Kind::writeFailed, source, u"its tags could not be written"_s);
            }
        }
        if (key)
            means.cache->store(*key, partial, extension);
    }
    moveIntoPlace(partial, destination, source);
    removePartial.dismiss();
}

QCoro::Task<> transcode(QUrl from, QUrl to, Settings settings, std::optional<Track> tags)
{
    const auto job = [from, to, settings, tags] { transcodeFile(from, to, settings, tags); };
    co_await Background::run(job);
}

void copyWithFittedCover(const QUrl& from, const QUrl& to, int coverPixels, const Track& track)
{
    using Kind = TranscodeError::Kind;
    const QString source = from.toLocalFile();
    const QString destination = to.toLocalFile();
    struct stat status {};
    if (::stat(QFile::encodeName(source).constData(), &status) != 0)
        throw TranscodeError(Kind::readFailed, source, AtomicFile::describe(errno));
    removeLeftovers(destination);
    const QString partial = partialPath(destination);
    auto removePartial = qScopeGuard([&partial] { QFile::remove(partial); });
    if (const std::optional<int> error = copyInto(source, partial))
        throw TranscodeError(Kind::writeFailed, source, AtomicFile::describe(*error));
    try {
        Track original = track;
        original.url = from;
        writeCover(partial, frontCover(original), coverPixels);
    } catch (const TagWriter::WriteError&) {
        throw TranscodeError(Kind::writeFailed, source, u"its cover could not be written"_s);
    }
    const struct timespec times[2] = {status.st_atim, status.st_mtim};
    if (::utimensat(AT_FDCWD, QFile::encodeName(partial).constData(), times, 0) != 0)
        throw TranscodeError(Kind::writeFailed, source, AtomicFile::describe(errno));
    moveIntoPlace(partial, destination, source);
    removePartial.dismiss();
}

} // namespace Transcoder
