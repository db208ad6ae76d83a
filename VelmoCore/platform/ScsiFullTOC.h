#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// The full table of contents of the disc in a drive: MMC READ TOC/PMA/ATIP, format 0010b, in
// MSF, sent through SG_IO. Its answer is the byte layout the TOC parser takes.
namespace ScsiFullTOC {

// Blocking. None when the node can't be opened, isn't a SCSI device, or refuses the command.
std::optional<QByteArray> read(const QString& devicePath);

} // namespace ScsiFullTOC
