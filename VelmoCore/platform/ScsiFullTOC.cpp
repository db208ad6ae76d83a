#include "ScsiFullTOC.h"

#include <QFile>

#include <array>
#include <fcntl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace ScsiFullTOC {

std::optional<QByteArray> read(const QString& devicePath)
{
    const int fd = ::open(QFile::encodeName(devicePath).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    // The longest answer: 99 tracks and three descriptors for each of up to 99 sessions.
    std::array<unsigned char, 4 + 11 * (99 + 3 * 99)> answer{};
    const unsigned allocation = answer.size();
    std::array<unsigned char, 10> command{0x43, // READ TOC/PMA/ATIP
                                          0x02, // MSF
                                          0x02, // format 0010b: full TOC
                                          0, 0, 0,
                                          1, // from session 1
                                          static_cast<unsigned char>(allocation >> 8),
                                          static_cast<unsigned char>(allocation & 0xFF),
                                          0};
    std::array<unsigned char, 32> sense{};
    sg_io_hdr_t io{};
    io.interface_id = 'S';
    io.dxfer_direction = SG_DXFER_FROM_DEV;
    io.cmd_len = command.size();
    io.cmdp = command.data();
    io.dxfer_len = allocation;
    io.dxferp = answer.data();
    io.mx_sb_len = sense.size();
    io.sbp = sense.data();
    io.timeout = 30000;
    const bool sent = ::ioctl(fd, SG_IO, &io) == 0;
    ::close(fd);
    if (!sent || (io.info & SG_INFO_OK_MASK) != SG_INFO_OK)
        return std::nullopt;
    const int received = int(allocation) - io.resid;
    if (received < 4)
        return std::nullopt;
    const int length = std::min((answer[0] << 8 | answer[1]) + 2, received);
    return QByteArray(reinterpret_cast<const char*>(answer.data()), length);
}

} // namespace ScsiFullTOC
