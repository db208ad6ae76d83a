#pragma once

#include <QByteArray>
#include <QString>

#include <array>
#include <optional>

// The full table of contents of the disc in a drive: MMC READ TOC/PMA/ATIP, format 0010b, in
// MSF, sent through SG_IO. Its answer is the byte layout the TOC parser takes.
namespace ScsiFullTOC {

// The longest answer: 99 tracks and three descriptors for each of up to 99 sessions.
constexpr int largestAnswer = 4 + 11 * (99 + 3 * 99);

// The command block asking for at most `allocation` bytes from session 1 on.
std::array<unsigned char, 10> command(int allocation);

// The part of what the drive sent that its header announces: no more than it sent, and none
// when it sent less than the header.
std::optional<QByteArray> answer(const unsigned char* bytes, int received);

// Blocking. None when the node can't be opened, isn't a SCSI device, or refuses the command.
std::optional<QByteArray> read(const QString& devicePath);

} // namespace ScsiFullTOC
