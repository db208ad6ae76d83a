#pragma once

#include <QString>

#include <functional>
#include <memory>

// Audio frames of a disc, one 2,352-byte frame at a time: a drive or a disc image. The rip
// strategies read through this, so that their retry rules are tested against a fake.
class SectorSource {
public:
    static constexpr qsizetype frameBytes = 2352;

    virtual ~SectorSource() = default;

    // 0, or the errno of the failure.
    virtual int open() = 0;
    virtual void close() = 0;
    // One frame on the table of contents' scale (the disc's first frame is 150), as 588
    // interleaved stereo pairs of signed 16-bit samples in host byte order. 0 or an errno.
    virtual int read(qint64 sector, char* buffer) = 0;
};

// Makes a closed source for a drive name or an image path.
using SectorSourceFactory = std::function<std::unique_ptr<SectorSource>(const QString& source)>;
