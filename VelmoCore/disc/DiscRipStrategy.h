#pragma once

#include "CDRipper.h"
#include "CTDBChecksum.h"
#include "TrackChecksums.h"
#include "library/RipStrategyKind.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QUrl>

#include <memory>
#include <optional>

// How tracks get from a disc into FLAC files named "track%02d.flac" in a folder, made with its
// parents if missing. `source` is a drive name or a CUE sheet. Both operations throw
// CDRipper::RipError; an image whose sheet is wrong throws CueSheet::LoadError.
class DiscRipStrategy {
public:
    // A track's file with what was learnt while reading it.
    struct RippedTrack {
        QUrl file;
        std::optional<TrackChecksums> checksums; // none from a strategy that cannot sum as it reads
        std::optional<CTDB::TrackSamples> ctdbSamples; // what the CUETools database's check needs of it
        qint64 readOffset = 0; // samples the reads were shifted by
        qint64 recoveredReads = 0; // frames that read only when tried again
        QList<quint32> readCRCs; // each whole read's CRC32 in order, from a strategy that reads more than once
    };

    virtual ~DiscRipStrategy() = default;

    // A strategy overrides ripTrack or ripTrackChecked (each defaults to the other) and may
    // override rip, which by default rips the tracks one after another.

    // Every track in order; the files' URLs in track order.
    virtual QCoro::Task<QList<QUrl>> rip(QString source, DiscTOC toc, QUrl outputDirectory,
                                         CDRipper::ProgressHandler onProgress);
    // One track, `trackIndex` from 0.
    virtual QCoro::Task<QUrl> ripTrack(QString source, DiscTOC toc, qint64 trackIndex, QUrl outputDirectory,
                                       CDRipper::ProgressHandler onProgress);
    // ripTrack with its checksums, summed while reading.
    virtual QCoro::Task<RippedTrack> ripTrackChecked(QString source, DiscTOC toc, qint64 trackIndex,
                                                     QUrl outputDirectory, CDRipper::ProgressHandler onProgress);
    // The words the preferences use for it, for the rip log.
    virtual QString name() const { return {}; }
};

// With no read offset, a drive's reads are shifted by its own from the settings; an image is
// read as it is.
std::unique_ptr<DiscRipStrategy> makeStrategy(RipStrategyKind kind, std::optional<qint64> readOffset = std::nullopt);

// "Direct (raw sector reads)", "Paranoia (error-correcting)", "Secure (read twice)".
QString displayName(RipStrategyKind kind);
