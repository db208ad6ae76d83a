#include "ParanoiaSource.h"

#include "DrivePath.h"

#include <QFile>

#include <cdio/paranoia/cdda.h>
#include <cdio/paranoia/paranoia.h>

#include <cerrno>
#include <cstring>

namespace {

// Re-reads of one frame before paranoia gives up on it.
constexpr int retriesPerFrame = 20;

} // namespace

ParanoiaSource::ParanoiaSource(const QString& drive)
    : m_path(drivePath(drive))
{
}

ParanoiaSource::~ParanoiaSource()
{
    close();
}

int ParanoiaSource::open()
{
    close();
    m_drive = cdio_cddap_identify(QFile::encodeName(m_path).constData(), CDDA_MESSAGE_FORGETIT, nullptr);
    if (!m_drive)
        return ENODEV;
    if (cdio_cddap_open(m_drive) != 0) {
        close();
        return EIO;
    }
    m_paranoia = cdio_paranoia_init(m_drive);
    if (!m_paranoia) {
        close();
        return ENOMEM;
    }
    cdio_paranoia_modeset(m_paranoia, PARANOIA_MODE_FULL ^ PARANOIA_MODE_NEVERSKIP);
    m_nextSector = -1;
    return 0;
}

void ParanoiaSource::close()
{
    if (m_paranoia)
        cdio_paranoia_free(m_paranoia);
    if (m_drive)
        cdio_cddap_close(m_drive);
    m_paranoia = nullptr;
    m_drive = nullptr;
}

int ParanoiaSource::read(qint64 sector, char* buffer)
{
    if (!m_paranoia)
        return EBADF;
    if (sector != m_nextSector)
        cdio_paranoia_seek(m_paranoia, int32_t(sector - 150), SEEK_SET);
    const int16_t* samples = cdio_paranoia_read_limited(m_paranoia, nullptr, retriesPerFrame);
    if (!samples) {
        m_nextSector = -1;
        return EIO;
    }
    std::memcpy(buffer, samples, frameBytes);
    m_nextSector = sector + 1;
    return 0;
}
