#pragma once

#include "platform/SectorSource.h"

#include <array>
#include <memory>

// A drive's frames shifted by its read offset: with an offset of N samples, every sample is
// the one N places further on the disc, so a frame is pieced together from two of the drive's
// frames. Before the disc's first frame and from the lead-out on, where the disc holds no
// audio a drive can read, the samples are silence.
class OffsetSectorSource : public SectorSource {
public:
    OffsetSectorSource(std::unique_ptr<SectorSource> drive, qint64 offsetSamples, qint64 leadOut);

    int open() override;
    void close() override;
    int read(qint64 sector, char* buffer) override;

private:
    // One frame of the drive, or silence outside the audio. 0 or an errno.
    int readRaw(qint64 sector, char* buffer);

    std::unique_ptr<SectorSource> m_drive;
    qint64 m_sectorShift;
    qint64 m_byteShift;
    qint64 m_leadOut;
    // Reading frame after frame needs each of the drive's frames twice: the last is kept.
    qint64 m_kept = -1;
    std::array<char, frameBytes> m_keptFrame{};
};
