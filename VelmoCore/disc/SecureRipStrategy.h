#pragma once

#include "SectorRipStrategy.h"

#include <memory>

// Test and copy: every track read twice with raw reads and the two reads' CRC32s compared.
// A track whose reads differ is read again with paranoia until any two reads agree, five
// reads at most; the kept file is one of the two that agree. A track that never gives the
// same audio twice fails rather than pass as read.
class SecureRipStrategy : public DiscRipStrategy {
public:
    static constexpr int mostReads = 5;

    explicit SecureRipStrategy(std::optional<qint64> readOffset = std::nullopt);
    // Tests give scripted strategies: `reader` for the first two reads, `confirmer` for the rest.
    SecureRipStrategy(std::unique_ptr<SectorRipStrategy> reader, std::unique_ptr<SectorRipStrategy> confirmer);

    QCoro::Task<RippedTrack> ripTrackChecked(QString source, DiscTOC toc, qint64 trackIndex, QUrl outputDirectory,
                                             CDRipper::ProgressHandler onProgress) override;
    QString name() const override;

private:
    std::unique_ptr<SectorRipStrategy> m_reader;
    std::unique_ptr<SectorRipStrategy> m_confirmer;
};
