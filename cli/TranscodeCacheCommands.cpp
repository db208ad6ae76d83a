#include "TranscodeCacheCommands.h"

#include "CommandLine.h"
#include "library/DisplayText.h"
#include "library/Settings.h"
#include "sync/TranscodeCache.h"

#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

TranscodeCache userCache()
{
    return TranscodeCache(TranscodeCache::defaultFolder(), Settings::value(Settings::transcodeCacheLimit));
}

QCoro::Task<int> stats(Invocation& invocation)
{
    const TranscodeCache cache = userCache();
    const TranscodeCache::Stats stats = cache.stats();
    if (invocation.json()) {
        const QJsonObject object{{u"folder"_s, cache.folder()},
                                 {u"files"_s, stats.files},
                                 {u"bytes"_s, stats.bytes},
                                 {u"limitBytes"_s, cache.limitBytes()}};
        invocation.out() << QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)) << u'\n';
        co_return int(exitSuccess);
    }
    invocation.out() << u"The transcode cache in "_s << cache.folder() << u" holds "_s
                     << DisplayText::counted(stats.files, u"file"_s) << u", "_s << DisplayText::dataSize(stats.bytes)
                     << u" of at most "_s << DisplayText::dataSize(cache.limitBytes()) << u".\n"_s;
    co_return int(exitSuccess);
}

QCoro::Task<int> clear(Invocation& invocation)
{
    const qint64 removed = userCache().clear();
    invocation.out() << u"Removed "_s << DisplayText::counted(removed, u"file"_s)
                     << u" from the transcode cache. The next sync to a device encodes again.\n"_s;
    co_return int(exitSuccess);
}

} // namespace

void addTranscodeCacheCommands(CommandLine& commandLine)
{
    commandLine.add({
        .path = {u"device"_s, u"cache"_s, u"stats"_s},
        .summary = u"Say how many transcoded files the cache keeps for the next device, and their size."_s,
        .hasJsonOutput = true,
        .run = stats,
    });
    commandLine.add({
        .path = {u"device"_s, u"cache"_s, u"clear"_s},
        .summary = u"Remove every file of the transcode cache; devices already synced keep theirs."_s,
        .run = clear,
    });
}
