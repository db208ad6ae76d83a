#include "ScsiFullTOC.h"

#include <QFile>

#include <algorithm>
#include <fcntl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace ScsiFullTOC {

std::array<unsigned char, 10> command(int allocation)
{
    return {0x43, // READ TOC/PMA/ATIP
            0x02, // MSF
            0x02, // format 0010b: full TOC
            0,
            0,
            0,
            1, // from session 1
            static_cast<unsigned char>(allocation >> 8),
            static_cast<unsigned char>(allocation & 0xFF),
            0};
}

std::optional<QByteArray> answer(const unsigned char* bytes, int received)
{
    if (received < 4)
        return std::nullopt;
    const int length = std::min((bytes[0] << 8 | bytes[1]) + 2, received);
    return QByteArray(reinterpret_cast<const char*>(bytes), length);
}

std::optional<QByteArray> read(const QString& devicePath)
{
    const int fd = ::open(QFile::encodeName(devicePath).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    std::array<unsigned char, largestAnswer> received{};
    std::array<unsigned char, 10> block = command(largestAnswer);
    std::array<unsigned char, 32> sense{};
    sg_io_hdr_t io{};
    io.interface_id = 'S';
    io.dxfer_direction = SG_DXFER_FROM_DEV;
    io.cmd_len = block.size();
    io.cmdp = block.data();
    io.dxfer_len = received.size();
    io.dxferp = received.data();
    io.mx_sb_len = sense.size();
    io.sbp = sense.data();
    io.timeout = 30000;
    const bool sent = ::ioctl(fd, SG_IO, &io) == 0;
    ::close(fd);
    if (!sent || (io.info & SG_INFO_OK_MASK) != SG_INFO_OK)
        return std::nullopt;
    return answer(received.data(), largestAnswer - io.resid);
}

} // namespace ScsiFullTOC
