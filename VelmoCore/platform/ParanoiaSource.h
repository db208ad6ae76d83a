#pragma once

#include "SectorSource.h"

struct cdrom_drive_s;
struct cdrom_paranoia_s;

// A drive's frames through libcdio-paranoia: overlapping re-reads with verification and jitter
// correction, read forward from the last seek.
class ParanoiaSource : public SectorSource {
public:
    explicit ParanoiaSource(const QString& drive);
    ~ParanoiaSource() override;

    int open() override;
    void close() override;
    int read(qint64 sector, char* buffer) override;

private:
    QString m_path;
    cdrom_drive_s* m_drive = nullptr;
    cdrom_paranoia_s* m_paranoia = nullptr;
    qint64 m_nextSector = -1;
};
