#pragma once

#include "DiscTOC.h"
#include "metadata/MusicBrainzDiscLookup.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QString>

// Where the disc side and the network side of MusicBrainzDiscLookup meet: the TOC is read
// here, the releases are asked for by its numbers alone.
namespace MusicBrainzDiscLookup {

// A disc and the releases that hold it.
struct DiscLookup {
    DiscTOC toc;
    QList<ReleaseMetadata> releases; // never empty
};

// The TOC of a drive or image, read off the main thread, then the releases that hold it.
// Throws LookupError, and CueSheet::LoadError for an image whose sheet is wrong.
QCoro::Task<DiscLookup> lookup(QString source, MetadataHTTPClient& client = MetadataHTTPClient::shared());

} // namespace MusicBrainzDiscLookup
