#pragma once

#include "CDRipper.h"
#include "RipStrategyKind.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QUrl>

#include <memory>

// How tracks get from a disc into FLAC files named "track%02d.flac" in a folder, made with its
// parents if missing. `source` is a drive name or a CUE sheet. Both operations throw
// CDRipper::RipError; an image whose sheet is wrong throws CueSheet::LoadError.
class DiscRipStrategy {
public:
    virtual ~DiscRipStrategy() = default;

    // Every track in order; the files' URLs in track order.
    virtual QCoro::Task<QList<QUrl>> rip(QString source, DiscTOC toc, QUrl outputDirectory,
                                         CDRipper::ProgressHandler onProgress) = 0;
    // One track, `trackIndex` from 0.
    virtual QCoro::Task<QUrl> ripTrack(QString source, DiscTOC toc, qint64 trackIndex, QUrl outputDirectory,
                                       CDRipper::ProgressHandler onProgress) = 0;
};

std::unique_ptr<DiscRipStrategy> makeStrategy(RipStrategyKind kind);

// "Direct (raw sector reads)", "Paranoia (error-correcting)".
QString displayName(RipStrategyKind kind);
