#include "OPMLSubscriptions.h"

#include "Library.h"

#include <QPointer>

#include <algorithm>

namespace OPML {

QCoro::Task<ImportReport> subscribeAll(Library& library, QList<Feed> feeds)
{
    QPointer<Library> guarded(&library);
    ImportReport report;
    for (const Feed& feed : std::as_const(feeds)) {
        if (!guarded)
            break;
        const QList<Podcast>& podcasts = guarded->podcasts();
        if (std::any_of(podcasts.cbegin(), podcasts.cend(), [&feed](const Podcast& p) { return p.feedURL == feed.url; })) {
            ++report.alreadySubscribed;
            continue;
        }
        try {
            report.subscribed.append(co_await guarded->addPodcast(feed.url));
        } catch (const RSSParser::ParseError& error) {
            report.failed.append({feed, error});
        }
    }
    co_return report;
}

} // namespace OPML
