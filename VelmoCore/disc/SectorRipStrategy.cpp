#include "SectorRipStrategy.h"

#include "FlacTrackEncoder.h"
#include "OffsetSectorSource.h"
#include "ReadOffset.h"
#include "library/Background.h"

#include <QDir>

#include <array>
#include <thread>

namespace {

// Closes the source on every way out of a track.
struct OpenSource {
    SectorSource& source;
    ~OpenSource() { source.close(); }
};

} // namespace

SectorRipStrategy::SectorRipStrategy(SectorSourceFactory sources, RetryRule retryRule, std::optional<qint64> readOffset,
                                     RipStrategyKind kind)
    : m_sources(std::move(sources))
    , m_retryRule(retryRule)
    , m_readOffset(readOffset)
    , m_kind(kind)
{
}

QString SectorRipStrategy::name() const
{
    return displayName(m_kind);
}

QCoro::Task<QList<QUrl>> SectorRipStrategy::rip(QString source, DiscTOC toc, QUrl outputDirectory,
                                                CDRipper::ProgressHandler onProgress)
{
    if (toc.trackCount < 1)
        throw CDRipper::RipError::noAudioTracks();
    const QString folder = outputDirectory.toLocalFile();
    const auto prepare = [this, source, folder] {
        QDir().mkpath(folder);
        probe(source);
    };
    co_await Background::run(prepare);
    QList<QUrl> files;
    for (qint64 index = 0; index < toc.trackCount; ++index) {
        const auto ripOne = [this, source, toc, index, folder, onProgress] {
            return ripTrackNow(source, toc, index, folder, onProgress).file;
        };
        files.append(co_await Background::run(ripOne));
    }
    co_return files;
}

QCoro::Task<DiscRipStrategy::RippedTrack> SectorRipStrategy::ripTrackChecked(QString source, DiscTOC toc,
                                                                             qint64 trackIndex, QUrl outputDirectory,
                                                                             CDRipper::ProgressHandler onProgress)
{
    if (toc.trackCount < 1 || trackIndex < 0 || trackIndex >= toc.trackCount)
        throw CDRipper::RipError::noAudioTracks();
    const QString folder = outputDirectory.toLocalFile();
    const auto ripOne = [this, source, toc, trackIndex, folder, onProgress] {
        probe(source);
        QDir().mkpath(folder);
        return ripTrackNow(source, toc, trackIndex, folder, onProgress);
    };
    co_return co_await Background::run(ripOne);
}

void SectorRipStrategy::probe(const QString& source) const
{
    const std::unique_ptr<SectorSource> device = m_sources(source);
    if (const int error = device->open())
        throw CDRipper::RipError::deviceOpenFailed(error);
    device->close();
}

DiscRipStrategy::RippedTrack SectorRipStrategy::ripTrackNow(const QString& source, const DiscTOC& toc,
                                                            qint64 trackIndex, const QString& folder,
                                                            const CDRipper::ProgressHandler& onProgress) const
{
    const qint64 start = toc.trackStart(trackIndex);
    const qint64 count = toc.trackEnd(trackIndex) - start;
    // The parser gives ascending offsets and a lead-out behind them; anything else is a bug.
    if (count < 0)
        qFatal("Track %lld of the TOC ends before it starts", trackIndex + 1);
    // An image's sheet is read before the file is made, so that a sheet gone wrong leaves none.
    std::unique_ptr<SectorSource> device = m_sources(source);
    RippedTrack ripped;
    ripped.readOffset = m_readOffset ? *m_readOffset : ReadOffset::forSource(source);
    if (ripped.readOffset != 0)
        device = std::make_unique<OffsetSectorSource>(std::move(device), ripped.readOffset, toc.leadOutOffset);
    const QString path = QDir(folder).filePath(CDRipper::trackFileName(trackIndex + 1));
    FlacTrackEncoder encoder(path, count * 588);
    TrackChecksummer checksummer(count * 588, trackIndex == 0, trackIndex == toc.trackCount - 1);
    CTDB::TrackSummer ctdbSummer(count * 588);

    if (const int error = device->open())
        throw CDRipper::RipError::deviceOpenFailed(error);
    OpenSource openSource{*device};
    std::array<char, SectorSource::frameBytes> frame;
    for (qint64 sector = start; sector < start + count; ++sector) {
        int error = device->read(sector, frame.data());
        for (int retry = 0; error != 0 && retry < m_retryRule.retries; ++retry) {
            std::this_thread::sleep_for(m_retryRule.pause);
            device->close();
            if (const int openError = device->open())
                throw CDRipper::RipError::deviceOpenFailed(openError);
            error = device->read(sector, frame.data());
            ripped.recoveredReads += error == 0;
        }
        if (error != 0)
            throw CDRipper::RipError::readFailed(error, sector);
        encoder.writeFrame(frame.data());
        checksummer.add(frame.data(), 588);
        ctdbSummer.add(frame.data(), 588);
        if (onProgress)
            onProgress({trackIndex + 1, toc.trackCount, double(sector - start + 1) / double(count)});
    }
    device->close();
    encoder.finish();
    ripped.file = QUrl::fromLocalFile(path);
    ripped.checksums = checksummer.result();
    ripped.ctdbSamples = ctdbSummer.result();
    return ripped;
}
