#include "CdromAudioSource.h"

#include "DrivePath.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <linux/cdrom.h>
#include <sys/ioctl.h>
#include <unistd.h>

CdromAudioSource::CdromAudioSource(const QString& drive)
    : m_path(drivePath(drive))
{
}

CdromAudioSource::~CdromAudioSource()
{
    close();
}

int CdromAudioSource::open()
{
    close();
    m_fd = ::open(QFile::encodeName(m_path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    return m_fd < 0 ? errno : 0;
}

void CdromAudioSource::close()
{
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
}

int CdromAudioSource::read(qint64 sector, char* buffer)
{
    cdrom_read_audio request{};
    request.addr.lba = int(sector - 150);
    request.addr_format = CDROM_LBA;
    request.nframes = 1;
    request.buf = reinterpret_cast<__u8*>(buffer);
    return ::ioctl(m_fd, CDROMREADAUDIO, &request) == 0 ? 0 : errno;
}
