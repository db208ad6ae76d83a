#include "DiscLookup.h"

#include "library/Background.h"

namespace MusicBrainzDiscLookup {

QCoro::Task<DiscLookup> lookup(QString source, MetadataHTTPClient& client)
{
    const auto read = [source] { return readDiscTOC(source); };
    DiscLookup found;
    found.toc = co_await Background::run(read);
    found.releases = co_await fetchReleases(found.toc.discID, found.toc.trackOffsets, found.toc.leadOutOffset, client);
    co_return found;
}

} // namespace MusicBrainzDiscLookup
