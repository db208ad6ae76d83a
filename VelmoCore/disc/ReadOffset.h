#pragma once

#include "AccurateRipDatabase.h"
#include "DiscTOC.h"
#include "platform/SectorSource.h"

#include <QList>
#include <QString>

#include <memory>

// Drives read a few samples early or late, each model by its own constant offset; the rip
// corrects it. The offset is kept per drive model, and a disc image has none.
namespace ReadOffset {

// The model of the drive behind a source ("VENDOR MODEL" from udev), or empty for an image or
// a drive udev does not describe.
QString driveOf(const QString& source);

// The offset the settings hold for the source's drive; 0 for an image.
qint64 forSource(const QString& source);

// The frames of a source as they are, with no offset: a drive or an image.
std::unique_ptr<SectorSource> rawFrames(const QString& source);

struct Candidate {
    qint64 offset = 0;
    qint64 tracks = 0; // whose frame-450 checksum it finds in the database
};

constexpr qint64 searchedSamples = 5 * 588;

// Finds the offset by sliding a window over the samples around each audio track's frame 450
// and comparing its checksum with the pressings'. Offsets of ±`searchedSamples`; the candidates found by the most tracks first. Blocking;
// throws CDRipper::RipError when the source cannot be read.
QList<Candidate> find(std::unique_ptr<SectorSource> frames, const DiscTOC& toc,
                      const QList<AccurateRip::Pressing>& pressings);

} // namespace ReadOffset
