#pragma once

#include "DiscRipStrategy.h"
#include "platform/SectorSource.h"

#include <chrono>

// A strategy that reads a track frame by frame from a sector source and encodes as it reads,
// so that memory stays flat whatever the track's length. The strategies differ in their source
// and in how often a failed read is tried again.
class SectorRipStrategy : public DiscRipStrategy {
public:
    struct RetryRule {
        int retries = 0; // further reads of a frame after the first fails
        std::chrono::milliseconds pause{0}; // before each, and the source is reopened
    };

    SectorRipStrategy(SectorSourceFactory sources, RetryRule retryRule);

    QCoro::Task<QList<QUrl>> rip(QString source, DiscTOC toc, QUrl outputDirectory,
                                 CDRipper::ProgressHandler onProgress) override;
    QCoro::Task<QUrl> ripTrack(QString source, DiscTOC toc, qint64 trackIndex, QUrl outputDirectory,
                               CDRipper::ProgressHandler onProgress) override;

private:
    // Blocking: opens, reads and encodes one track.
    QUrl ripTrackNow(const QString& source, const DiscTOC& toc, qint64 trackIndex, const QString& folder,
                     const CDRipper::ProgressHandler& onProgress) const;
    void probe(const QString& source) const;

    SectorSourceFactory m_sources;
    RetryRule m_retryRule;
};
