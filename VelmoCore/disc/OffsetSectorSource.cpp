#include "OffsetSectorSource.h"

#include <cstring>

namespace {

constexpr qint64 pairBytes = 4;
constexpr qint64 pairsPerFrame = SectorSource::frameBytes / pairBytes;
constexpr qint64 firstFrame = 150;

} // namespace

OffsetSectorSource::OffsetSectorSource(std::unique_ptr<SectorSource> drive, qint64 offsetSamples, qint64 leadOut)
    : m_drive(std::move(drive))
    // Floor division, so that a negative offset reaches back into the frame before.
    , m_sectorShift(offsetSamples >= 0 ? offsetSamples / pairsPerFrame
                                       : -((-offsetSamples + pairsPerFrame - 1) / pairsPerFrame))
    , m_byteShift((offsetSamples - m_sectorShift * pairsPerFrame) * pairBytes)
    , m_leadOut(leadOut)
{
}

int OffsetSectorSource::open()
{
    m_kept = -1;
    return m_drive->open();
}

void OffsetSectorSource::close()
{
    m_kept = -1;
    m_drive->close();
}

int OffsetSectorSource::readRaw(qint64 sector, char* buffer)
{
    if (sector < firstFrame || sector >= m_leadOut) {
        std::memset(buffer, 0, frameBytes);
        return 0;
    }
    if (sector == m_kept) {
        std::memcpy(buffer, m_keptFrame.data(), frameBytes);
        return 0;
    }
    if (const int error = m_drive->read(sector, buffer))
        return error;
    std::memcpy(m_keptFrame.data(), buffer, frameBytes);
    m_kept = sector;
    return 0;
}

int OffsetSectorSource::read(qint64 sector, char* buffer)
{
    const qint64 first = sector + m_sectorShift;
    if (m_byteShift == 0)
        return readRaw(first, buffer);
    std::array<char, frameBytes> frame;
    if (const int error = readRaw(first, frame.data()))
        return error;
    std::memcpy(buffer, frame.data() + m_byteShift, size_t(frameBytes - m_byteShift));
    if (const int error = readRaw(first + 1, frame.data()))
        return error;
    std::memcpy(buffer + frameBytes - m_byteShift, frame.data(), size_t(m_byteShift));
    return 0;
}
