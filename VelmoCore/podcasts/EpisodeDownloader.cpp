#include "EpisodeDownloader.h"

#include "PodcastFiles.h"
#include "PodcastHttp.h"
#include "library/DisplayText.h"

#include <QCoro/QCoroNetworkReply>
#include <QDir>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSaveFile>
#include <QScopeGuard>
#include <QTimer>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

EpisodeDownloader::DownloadError::DownloadError(Kind kind, const QString& detail, const QString& path)
    : std::runtime_error(detail.toStdString())
    , m_kind(kind)
    , m_detail(PodcastHttp::clause(detail))
    , m_path(path)
{
}

QString EpisodeDownloader::DownloadError::message() const
{
    switch (m_kind) {
    case Kind::networkError: return u"The episode could not be downloaded: %1."_s.arg(m_detail);
    case Kind::alreadyDownloading: return u"The episode is already being downloaded."_s;
    case Kind::noLocalFile: return u"The episode has no downloaded file."_s;
    case Kind::unsupportedAddress:
        return u"The episode's address “%1” is not a web address, so it was not downloaded."_s.arg(m_detail);
    case Kind::fileError: return u"The episode could not be saved as “%1”: %2."_s.arg(m_path, m_detail);
    case Kind::httpError: return u"The episode could not be downloaded: %1."_s.arg(m_detail);
    }
    Q_UNREACHABLE();
}

namespace {

// Why writing `bytes` more into `folder` would take the reserve of its file system; nothing
// when they fit, or when the file system cannot be asked.
std::optional<QString> reserveShortfall(const EpisodeDownloader::Options& options, const QString& folder, qint64 bytes)
{
    const std::optional<FileSystemSpace> space = options.freeSpace(folder);
    if (!space)
        return std::nullopt;
    const qint64 reserve = std::min(options.reservedBytes, space->total / 20);
    if (space->available - bytes >= reserve)
        return std::nullopt;
    return u"it would leave less than %1 free on its disk"_s.arg(DisplayText::dataSize(reserve));
}

// An answer that is not the episode: an error status, or a redirect that was not followed
// because it leads elsewhere than the web. While the reply runs only an error status counts:
// a redirect Qt is about to follow shows its status on the way.
std::optional<EpisodeDownloader::DownloadError> refusedAnswer(const QNetworkReply& reply)
{
    using Kind = EpisodeDownloader::DownloadError::Kind;
    const QVariant status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute);
    const int code = status.isValid() ? status.toInt() : 0;
    if (reply.isFinished() && code < 400) {
        const QByteArray location = reply.rawHeader("Location");
        const QUrl target = reply.url().resolved(QUrl::fromEncoded(location));
        if (!location.isEmpty() && !PodcastHttp::isWebAddress(target)) {
            return EpisodeDownloader::DownloadError(
                Kind::httpError,
                u"the server sent it on to “%1”, which is not a web address"_s.arg(target.toDisplayString()));
        }
    }
    if (code < (reply.isFinished() ? 300 : 400))
        return std::nullopt;
    const QString words =
        PodcastHttp::statusText(code, reply.attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString());
    return EpisodeDownloader::DownloadError(Kind::httpError, words.isEmpty()
                                                                 ? u"the server answered %1"_s.arg(code)
                                                                 : u"the server answered %1 (%2)"_s.arg(code).arg(words));
}

// The first of the title's names that no other episode's file and no other transfer holds.
QString freeTarget(const QString& folder, const Episode& episode, const QSet<QString>& taken, const QSet<QString>& inFlight)
{
    for (int copy = 1;; ++copy) {
        const QString candidate = QDir::cleanPath(folder + u'/' + PodcastFiles::episodeFileName(episode, copy));
        if (!taken.contains(candidate) && !inFlight.contains(candidate))
            return candidate;
    }
}

} // namespace

EpisodeDownloader::EpisodeDownloader(QObject* parent)
    : EpisodeDownloader(Options{}, parent)
{
}

EpisodeDownloader::EpisodeDownloader(Options options, QObject* parent)
    : QObject(parent)
    , m_options(std::move(options))
{
    if (!m_options.freeSpace)
        m_options.freeSpace = FileSystemSpace::of;
}

EpisodeDownloader& EpisodeDownloader::shared()
{
    static EpisodeDownloader downloader;
    return downloader;
}

QCoro::Task<QUrl> EpisodeDownloader::download(Episode episode, QUrl folder, std::function<void(double)> onProgress,
                                              QSet<QString> takenPaths)
{
    using Kind = DownloadError::Kind;
    if (m_inFlight.contains(episode.id))
        throw DownloadError(Kind::alreadyDownloading);
    if (!PodcastHttp::isWebAddress(episode.remoteURL))
        throw DownloadError(Kind::unsupportedAddress, episode.remoteURL.toDisplayString());
    m_inFlight.insert(episode.id);
    const auto release = qScopeGuard([this, id = episode.id] { m_inFlight.remove(id); });

    const QString folderPath = folder.toLocalFile();
    if (!QDir().mkpath(folderPath))
        throw DownloadError(Kind::fileError, u"the folder could not be created"_s, folderPath);
    QSet<QString> taken;
    for (const QString& path : std::as_const(takenPaths))
        taken.insert(QDir::cleanPath(path));
    // Decided now, so that two episodes of one title in transfer at once never meet.
    const QString target = freeTarget(folderPath, episode, taken, m_inFlightTargets);
    m_inFlightTargets.insert(target);
    const auto releaseTarget = qScopeGuard([this, target] { m_inFlightTargets.remove(target); });

    // The temporary file lies beside the target and replaces it in one step when complete:
    // a failed transfer leaves no partial file behind, and an earlier download stays until then.
    QSaveFile file(target);
    file.setDirectWriteFallback(false);
    if (!file.open(QIODevice::WriteOnly))
        throw DownloadError(Kind::fileError, file.errorString(), target);

    QNetworkAccessManager manager;
    std::unique_ptr<QNetworkReply> reply(manager.get(PodcastHttp::request(episode.remoteURL)));
    // Qt holds back the socket rather than buffer more than this while the main thread is busy.
    reply->setReadBufferSize(1024 * 1024);
    // Why the transfer was ended here rather than by the network.
    std::optional<DownloadError> stopped;
    const auto stop = [&stopped, &reply](DownloadError error) {
        if (stopped)
            return;
        stopped = std::move(error);
        PodcastHttp::abortSoon(reply.get());
    };
    // A length announced beyond the reserve is refused before a byte is written.
    const auto checkAnnounced = [&] {
        if (auto refusal = refusedAnswer(*reply)) {
            stop(std::move(*refusal));
            return;
        }
        const QVariant length = reply->header(QNetworkRequest::ContentLengthHeader);
        if (!length.isValid())
            return;
        if (const auto shortfall = reserveShortfall(m_options, folderPath, length.toLongLong()))
            stop(DownloadError(Kind::fileError, *shortfall, target));
    };
    QObject::connect(reply.get(), &QNetworkReply::metaDataChanged, reply.get(), checkAnnounced);
    qint64 receivedInWindow = 0;
    qint64 written = 0;
    const auto writeAvailable = [&] {
        // Once stopped, what still arrives is not wanted; an aborted reply reads nothing.
        if (stopped || !reply->isOpen())
            return;
        if (auto refusal = refusedAnswer(*reply)) {
            stop(std::move(*refusal));
            return;
        }
        const QByteArray chunk = reply->readAll();
        receivedInWindow += chunk.size();
        if (const auto shortfall = reserveShortfall(m_options, folderPath, chunk.size()))
            stop(DownloadError(Kind::fileError, *shortfall, target));
        else if (file.write(chunk) != chunk.size())
            stop(DownloadError(Kind::fileError, file.errorString(), target));
        written += chunk.size();
    };
    QObject::connect(reply.get(), &QNetworkReply::readyRead, reply.get(), writeAvailable);
    QTimer pace;
    const auto checkPace = [&] {
        if (receivedInWindow < m_options.minimumBytesPerWindow) {
            stop(DownloadError(Kind::networkError, u"the server sent less than %1 in %2"_s.arg(
                                                       DisplayText::dataSize(m_options.minimumBytesPerWindow),
                                                       DisplayText::spanOfTime(m_options.window))));
        }
        receivedInWindow = 0;
    };
    QObject::connect(&pace, &QTimer::timeout, reply.get(), checkPace);
    pace.start(m_options.window);
    // Qt reports the bytes received as the total at the end of a transfer of unknown length;
    // only a length the server announced makes a fraction.
    const auto reportProgress = [&onProgress, &reply](qint64 received, qint64 total) {
        if (total >= 1 && onProgress && reply->header(QNetworkRequest::ContentLengthHeader).isValid())
            onProgress(double(received) / double(total));
    };
    QObject::connect(reply.get(), &QNetworkReply::downloadProgress, reply.get(), reportProgress);
    co_await qCoro(reply.get()).waitForFinished();
    writeAvailable();

    if (stopped)
        throw *stopped;
    if (auto refusal = refusedAnswer(*reply))
        throw std::move(*refusal);
    if (const auto failure = PodcastHttp::transportFailure(*reply))
        throw DownloadError(Kind::networkError, *failure);
    // A connection reset at the wrong moment can end a reply without an error; the announced
    // length is the last word on whether the file is whole. A compressed body has another length.
    const QVariant announced = reply->header(QNetworkRequest::ContentLengthHeader);
    if (announced.isValid() && reply->rawHeader("Content-Encoding").isEmpty() && written != announced.toLongLong()) {
        throw DownloadError(Kind::networkError, u"the server sent %1 of the %2 it announced"_s.arg(
                                                    DisplayText::dataSize(written),
                                                    DisplayText::dataSize(announced.toLongLong())));
    }
    if (!file.commit())
        throw DownloadError(Kind::fileError, file.errorString(), target);
    co_return QUrl::fromLocalFile(target);
}
