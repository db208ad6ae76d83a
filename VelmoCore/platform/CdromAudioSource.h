#pragma once

#include "SectorSource.h"

// A drive's frames through the CDROMREADAUDIO ioctl, one frame per call, no correction.
class CdromAudioSource : public SectorSource {
public:
    // `drive` is a kernel name (`sr0`) or a device path.
    explicit CdromAudioSource(const QString& drive);
    ~CdromAudioSource() override;

    int open() override;
    void close() override;
    int read(qint64 sector, char* buffer) override;

private:
    QString m_path;
    int m_fd = -1;
};
