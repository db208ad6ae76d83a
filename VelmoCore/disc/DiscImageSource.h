#pragma once

#include "CueSheet.h"
#include "platform/SectorSource.h"

#include <QList>

// The frames of a disc image, as a drive would give them: read from the sheet's files, and
// silence where the image holds none (a PREGAP, the gap between sessions).
class DiscImageSource : public SectorSource {
public:
    explicit DiscImageSource(CueSheet sheet);
    ~DiscImageSource() override;

    int open() override;
    void close() override;
    int read(qint64 sector, char* buffer) override;

private:
    CueSheet m_sheet;
    QList<int> m_descriptors;
};
