#pragma once

#include "DiscRipStrategy.h"
#include "platform/SectorSource.h"

#include <chrono>
#include <optional>

// A strategy that reads a track frame by frame from a sector source and encodes as it reads,
// so that memory stays flat whatever the track's length. The strategies differ in their source
// and in how often a failed read is tried again.
class SectorRipStrategy : public DiscRipStrategy {
public:
    struct RetryRule {
        int retries = 0; // further reads of a frame after the first fails
        std::chrono::milliseconds pause{0}; // before each, and the source is reopened
    };

    // With no read offset, the source's own (ReadOffset::forSource).
    SectorRipStrategy(SectorSourceFactory sources, RetryRule retryRule, std::optional<qint64> readOffset,
                      RipStrategyKind kind);

    QCoro::Task<QList<QUrl>> rip(QString source, DiscTOC toc, QUrl outputDirectory,
                                 CDRipper::ProgressHandler onProgress) override;
    QCoro::Task<RippedTrack> ripTrackChecked(QString source, DiscTOC toc, qint64 trackIndex, QUrl outputDirectory,
                                             CDRipper::ProgressHandler onProgress) override;
    QString name() const override;

private:
    // Blocking: opens, reads, sums and encodes one track.
    RippedTrack ripTrackNow(const QString& source, const DiscTOC& toc, qint64 trackIndex, const QString& folder,
                            const CDRipper::ProgressHandler& onProgress) const;
    void probe(const QString& source) const;

    SectorSourceFactory m_sources;
    RetryRule m_retryRule;
    std::optional<qint64> m_readOffset;
    RipStrategyKind m_kind;
};
