#include "DiscRipStrategy.h"

#include "DirectRipStrategy.h"
#include "ParanoiaRipStrategy.h"
#include "SecureRipStrategy.h"

using namespace Qt::StringLiterals;

QCoro::Task<QList<QUrl>> DiscRipStrategy::rip(QString source, DiscTOC toc, QUrl outputDirectory,
                                              CDRipper::ProgressHandler onProgress)
{
    if (toc.trackCount < 1)
        throw CDRipper::RipError::noAudioTracks();
    QList<QUrl> files;
    for (qint64 index = 0; index < toc.trackCount; ++index) {
        const RippedTrack ripped = co_await ripTrackChecked(source, toc, index, outputDirectory, onProgress);
        files.append(ripped.file);
    }
    co_return files;
}

QCoro::Task<QUrl> DiscRipStrategy::ripTrack(QString source, DiscTOC toc, qint64 trackIndex, QUrl outputDirectory,
                                            CDRipper::ProgressHandler onProgress)
{
    const RippedTrack ripped = co_await ripTrackChecked(source, toc, trackIndex, outputDirectory, onProgress);
    co_return ripped.file;
}

QCoro::Task<DiscRipStrategy::RippedTrack> DiscRipStrategy::ripTrackChecked(QString source, DiscTOC toc,
                                                                           qint64 trackIndex, QUrl outputDirectory,
                                                                           CDRipper::ProgressHandler onProgress)
{
    const QUrl file = co_await ripTrack(source, toc, trackIndex, outputDirectory, onProgress);
    RippedTrack ripped;
    ripped.file = file;
    co_return ripped;
}

std::unique_ptr<DiscRipStrategy> makeStrategy(RipStrategyKind kind, std::optional<qint64> readOffset)
{
    switch (kind) {
    case RipStrategyKind::paranoia:
        return std::make_unique<ParanoiaRipStrategy>(readOffset);
    case RipStrategyKind::secure:
        return std::make_unique<SecureRipStrategy>(readOffset);
    case RipStrategyKind::direct:
        break;
    }
    return std::make_unique<DirectRipStrategy>(readOffset);
}

QString displayName(RipStrategyKind kind)
{
    switch (kind) {
    case RipStrategyKind::paranoia:
        return u"Paranoia (error-correcting)"_s;
    case RipStrategyKind::secure:
        return u"Secure (read twice)"_s;
    case RipStrategyKind::direct:
        break;
    }
    return u"Direct (raw sector reads)"_s;
}
