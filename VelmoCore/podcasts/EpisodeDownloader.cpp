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

QCoro::Task<QUrl> EpisodeDownloader::download(Episode episode, QUrl folder, std::function<void(double)> onProgress)
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
    const QString target = folderPath + u'/' + PodcastFiles::episodeFileName(episode);

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
