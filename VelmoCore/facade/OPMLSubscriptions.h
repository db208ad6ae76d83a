#pragma once

#include "podcasts/OPML.h"

#include <QCoro/QCoroTask>
#include <QList>

class Library;

// The library side of an OPML import: the file is read by the podcast side, the feeds are
// subscribed to here.
namespace OPML {

// Subscribes to each feed not yet subscribed, one after the other, through Library::addPodcast;
// a feed that fails is reported and the next goes on.
QCoro::Task<ImportReport> subscribeAll(Library& library, QList<Feed> feeds);

} // namespace OPML
