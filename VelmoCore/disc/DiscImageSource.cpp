#include "DiscImageSource.h"

#include <QFile>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

DiscImageSource::DiscImageSource(CueSheet sheet)
    : m_sheet(std::move(sheet))
{
}

DiscImageSource::~DiscImageSource()
{
    close();
}

int DiscImageSource::open()
{
    close();
    for (const CueSheet::DataFile& file : m_sheet.files()) {
        const int fd = ::open(QFile::encodeName(file.path).constData(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            const int error = errno;
            close();
            return error;
        }
        m_descriptors.append(fd);
    }
    return 0;
}

void DiscImageSource::close()
{
    for (int fd : std::as_const(m_descriptors))
        ::close(fd);
    m_descriptors.clear();
}

int DiscImageSource::read(qint64 sector, char* buffer)
{
    if (m_descriptors.isEmpty())
        return EBADF;
    if (sector < 150 || sector >= m_sheet.endFrame())
        return EIO;
    const QList<CueSheet::Extent>& extents = m_sheet.extents();
    const auto after = std::upper_bound(extents.begin(), extents.end(), sector,
                                        [](qint64 s, const CueSheet::Extent& extent) { return s < extent.start; });
    std::memset(buffer, 0, frameBytes);
    if (after == extents.begin() || sector >= std::prev(after)->start + std::prev(after)->count)
        return 0;
    const CueSheet::Extent& extent = *std::prev(after);
    const CueSheet::DataFile& file = m_sheet.files().at(extent.file);
    const qint64 offset = extent.byteOffset + (sector - extent.start) * frameBytes;
    // The last frame of a file may be partial; the rest of it is silence.
    const qint64 wanted = std::min<qint64>(frameBytes, file.dataOffset + file.dataLength - offset);
    if (::pread(m_descriptors.at(extent.file), buffer, size_t(wanted), off_t(offset)) != wanted)
        return EIO;
    const bool swap = (file.order == CueSheet::SampleOrder::bigEndian) == (std::endian::native == std::endian::little);
    if (swap) {
        for (qsizetype i = 0; i < frameBytes; i += 2)
            std::swap(buffer[i], buffer[i + 1]);
    }
    return 0;
}
