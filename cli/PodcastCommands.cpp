#include "PodcastCommands.h"

#include "CommandLine.h"
#include "facade/Library.h"
#include "facade/OPMLSubscriptions.h"
#include "library/DisplayText.h"
#include "library/JsonCoding.h"
#include "platform/AtomicFile.h"
#include "podcasts/EpisodeDownloader.h"
#include "podcasts/PodcastSearchClient.h"
#include "podcasts/RSSParser.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QScopeGuard>

#include <variant>

using namespace Qt::StringLiterals;

namespace {

QString quoted(const QString& text)
{
    return u"“"_s + text + u"”"_s;
}

QString formatDate(const Date& date)
{
    return date.toDateTime().toLocalTime().toString(u"yyyy-MM-dd"_s);
}

QString stateName(DownloadState state)
{
    return rawValue(state);
}

QString ruleText(const PodcastAutoDownloadRule& rule)
{
    if (const auto* latest = std::get_if<PodcastAutoDownloadRule::LatestN>(&rule.value))
        return u"latest %1"_s.arg(latest->count);
    if (const auto* newer = std::get_if<PodcastAutoDownloadRule::NewerThan>(&rule.value))
        return u"newer than %1 days"_s.arg(newer->days);
    return u"none"_s;
}

void printEpisodeLines(QTextStream& out, const QList<Episode>& episodes)
{
    for (const Episode& episode : episodes) {
        out << formatDate(episode.publishDate) << u"  "_s << (episode.duration > 0 ? DisplayText::formatDuration(episode.duration) : u"–"_s).rightJustified(8)
            << u"  "_s << stateName(episode.downloadState).leftJustified(13) << (episode.isPlayed ? u"played  "_s : u"        "_s)
            << episode.title << u'\n';
    }
}

template <typename T>
void printRecords(Invocation& invocation, const QList<T>& records)
{
    JsonWriter writer;
    Json::writeArray(writer, records);
    invocation.out() << QString::fromUtf8(writer.take()) << u'\n';
}

// A record by id, exact title (any case) or a part of the title that only it has.
template <typename T>
std::variant<T, QString> findRecord(const QList<T>& records, const QString& name, const QString& what,
                                    const std::function<std::optional<QString>(const T&)>& otherKey = {})
{
    const QUuid id = QUuid::fromString(name);
    QList<T> partial;
    for (const T& record : records) {
        if ((!id.isNull() && record.id == id) || record.title.compare(name, Qt::CaseInsensitive) == 0
            || (otherKey && otherKey(record) == name))
            return record;
        if (record.title.contains(name, Qt::CaseInsensitive))
            partial.append(record);
    }
    if (partial.size() == 1)
        return partial.constFirst();
    if (partial.isEmpty())
        return u"No %1 is called %2."_s.arg(what, quoted(name));
    QStringList titles;
    for (const T& record : partial.mid(0, 5))
        titles.append(quoted(record.title));
    return u"%1 matches %2 %3s: %4%5. Give more of the title."_s.arg(quoted(name)).arg(partial.size()).arg(what,
                                                                    titles.join(u", "_s),
                                                                    partial.size() > 5 ? u", …"_s : QString());
}

// Prints the progress of each transfer in steps of a tenth, so that a log stays readable.
class DownloadReporter {
public:
    DownloadReporter(Library& library, QTextStream& err)
    {
        m_connection = QObject::connect(&library, &Library::downloadProgressChanged, &library, [&library, &err, this] {
            for (auto it = library.downloadProgress().cbegin(); it != library.downloadProgress().cend(); ++it) {
                const int tenths = int(it.value() * 10);
                if (m_reported.value(it.key(), -1) >= tenths)
                    continue;
                m_reported.insert(it.key(), tenths);
                const auto episode = std::find_if(library.episodes().cbegin(), library.episodes().cend(),
                                                  [&it](const Episode& e) { return e.id == it.key(); });
                if (episode != library.episodes().cend())
                    err << u"  "_s << episode->title << u": "_s << tenths * 10 << u"%"_s << Qt::endl;
            }
        });
    }
    ~DownloadReporter() { QObject::disconnect(m_connection); }

    DownloadReporter(const DownloadReporter&) = delete;
    DownloadReporter& operator=(const DownloadReporter&) = delete;

private:
    QMetaObject::Connection m_connection;
    QHash<QUuid, int> m_reported;
};

// The screens' sentence, but with the status: the command line is where a user can make use
// of the number.
QString feedFailure(const RSSParser::ParseError& error)
{
    if (const auto status = error.httpStatus()) {
        const QString words = error.detail().isEmpty() ? QString() : u": "_s + error.detail();
        return u"The feed could not be loaded: the server answered %1%2."_s.arg(*status).arg(words);
    }
    return error.message();
}

qsizetype downloadedCount(const QList<Episode>& episodes)
{
    return std::count_if(episodes.cbegin(), episodes.cend(),
                         [](const Episode& e) { return e.downloadState == DownloadState::downloaded; });
}

QCoro::Task<int> add(Invocation& invocation)
{
    const QUrl url = QUrl::fromUserInput(invocation.arguments().constFirst());
    Library& library = invocation.library();
    try {
        const Podcast podcast = co_await library.addPodcast(url);
        if (invocation.json()) {
            invocation.out() << QString::fromUtf8(Json::encode(podcast)) << u'\n';
        } else {
            invocation.out() << u"Subscribed to "_s << quoted(podcast.title) << u": "_s
                             << DisplayText::counted(library.episodes(podcast.id).size(), u"episode"_s) << u"."_s << Qt::endl;
        }
    } catch (const RSSParser::ParseError& error) {
        co_return invocation.fail(feedFailure(error));
    }
    co_return int(exitSuccess);
}

QCoro::Task<int> list(Invocation& invocation)
{
    const Library& library = invocation.library();
    if (invocation.json()) {
        printRecords(invocation, library.podcasts());
        co_return int(exitSuccess);
    }
    if (library.podcasts().isEmpty())
        invocation.out() << u"No podcasts yet. Subscribe with \"velmo podcast add URL\".\n"_s;
    for (const Podcast& podcast : library.podcasts()) {
        const QList<Episode> episodes = library.episodes(podcast.id);
        invocation.out() << podcast.title << u"\n    "_s << DisplayText::counted(episodes.size(), u"episode"_s) << u", "_s
                         << downloadedCount(episodes) << u" downloaded; auto-download: "_s
                         << ruleText(podcast.autoDownloadRule) << u"\n    "_s << podcast.feedURL.toDisplayString() << u'\n';
    }
    co_return int(exitSuccess);
}

QCoro::Task<int> refresh(Invocation& invocation)
{
    Library& library = invocation.library();
    QList<Podcast> podcasts = library.podcasts();
    if (!invocation.arguments().isEmpty()) {
        auto found = findRecord(podcasts, invocation.arguments().constFirst(), u"podcast"_s);
        if (const auto* problem = std::get_if<QString>(&found))
            co_return invocation.fail(*problem);
        podcasts = {std::get<Podcast>(found)};
    }
    DownloadReporter reporter(library, invocation.err());
    int failures = 0;
    for (const Podcast& podcast : podcasts) {
        const QList<Episode> before = library.episodes(podcast.id);
        invocation.out() << u"Refreshing "_s << quoted(podcast.title) << u"…"_s << Qt::endl;
        try {
            co_await library.refreshPodcast(podcast.id);
        } catch (const RSSParser::ParseError& error) {
            invocation.err() << u"  "_s << feedFailure(error) << Qt::endl;
            ++failures;
            continue;
        }
        const QList<Episode> after = library.episodes(podcast.id);
        invocation.out() << u"  "_s << DisplayText::counted(after.size() - before.size(), u"new episode"_s) << u", "_s
                         << downloadedCount(after) - downloadedCount(before) << u" downloaded."_s << Qt::endl;
    }
    co_return failures == 0 ? int(exitSuccess) : int(exitFailure);
}

QCoro::Task<int> episodes(Invocation& invocation)
{
    const Library& library = invocation.library();
    const auto found = findRecord(library.podcasts(), invocation.arguments().constFirst(), u"podcast"_s);
    if (const auto* problem = std::get_if<QString>(&found))
        co_return invocation.fail(*problem);
    const QList<Episode> episodes = library.episodes(std::get<Podcast>(found).id);
    if (invocation.json())
        printRecords(invocation, episodes);
    else
        printEpisodeLines(invocation.out(), episodes);
    co_return int(exitSuccess);
}

QCoro::Task<int> download(Invocation& invocation)
{
    Library& library = invocation.library();
    const auto podcast = findRecord(library.podcasts(), invocation.arguments().at(0), u"podcast"_s);
    if (const auto* problem = std::get_if<QString>(&podcast))
        co_return invocation.fail(*problem);
    const auto episode = findRecord<Episode>(library.episodes(std::get<Podcast>(podcast).id), invocation.arguments().at(1),
                                             u"episode"_s, [](const Episode& e) { return e.guid; });
    if (const auto* problem = std::get_if<QString>(&episode))
        co_return invocation.fail(*problem);

    const QUuid id = std::get<Episode>(episode).id;
    DownloadReporter reporter(library, invocation.err());
    try {
        co_await library.downloadEpisode(id);
    } catch (const EpisodeDownloader::DownloadError& error) {
        co_return invocation.fail(error.message());
    }
    const auto stored = findRecord(library.episodes(), id.toString(), u"episode"_s);
    if (const auto* done = std::get_if<Episode>(&stored); done && done->localURL)
        invocation.out() << u"Downloaded to "_s << done->localURL->toLocalFile() << Qt::endl;
    co_return int(exitSuccess);
}

// "none", "latest N" or "newer-than DAYS"; nothing for anything else.
std::optional<PodcastAutoDownloadRule> parseRule(const QStringList& words)
{
    if (words == QStringList{u"none"_s})
        return PodcastAutoDownloadRule::none();
    if (words.size() != 2)
        return std::nullopt;
    bool ok = false;
    const qint64 number = words.at(1).toLongLong(&ok);
    if (!ok || number < 1)
        return std::nullopt;
    if (words.at(0) == "latest"_L1)
        return PodcastAutoDownloadRule::latestN(number);
    if (words.at(0) == "newer-than"_L1)
        return PodcastAutoDownloadRule::newerThan(number);
    return std::nullopt;
}

QCoro::Task<int> setAutoDownload(Invocation& invocation)
{
    Library& library = invocation.library();
    const auto found = findRecord(library.podcasts(), invocation.arguments().constFirst(), u"podcast"_s);
    if (const auto* problem = std::get_if<QString>(&found))
        co_return invocation.fail(*problem);
    const auto rule = parseRule(invocation.arguments().mid(1));
    if (!rule) {
        invocation.err() << u"velmo: the rule is \"none\", \"latest N\" or \"newer-than DAYS\", with N and DAYS "
                            u"from 1.\nUsage: velmo podcast auto-download NAME none|latest N|newer-than DAYS"_s
                         << Qt::endl;
        co_return int(exitUsage);
    }
    const Podcast& podcast = std::get<Podcast>(found);
    library.updatePodcastAutoDownload(podcast.id, *rule);
    invocation.out() << u"Auto-download for "_s << quoted(podcast.title) << u": "_s << ruleText(*rule)
                     << u". It applies from the next refresh."_s << Qt::endl;
    co_return int(exitSuccess);
}

QCoro::Task<int> search(Invocation& invocation)
{
    QList<PodcastSearchResult> results;
    try {
        results = co_await PodcastSearchClient::search(invocation.arguments().join(u' '));
    } catch (const PodcastSearchClient::SearchError& error) {
        co_return invocation.fail(error.message());
    }
    if (invocation.json()) {
        QJsonArray array;
        for (const PodcastSearchResult& result : results) {
            QJsonObject object{{u"id"_s, result.id},
                               {u"title"_s, result.title},
                               {u"author"_s, result.author},
                               {u"feedURL"_s, result.feedURL.toString(QUrl::FullyEncoded)},
                               {u"episodeCount"_s, result.episodeCount},
                               {u"genres"_s, QJsonArray::fromStringList(result.genres)}};
            if (result.artworkURL)
                object.insert(u"artworkURL"_s, result.artworkURL->toString(QUrl::FullyEncoded));
            array.append(object);
        }
        invocation.out() << QJsonDocument(array).toJson(QJsonDocument::Indented);
        co_return int(exitSuccess);
    }
    if (results.isEmpty())
        invocation.out() << u"No podcasts found.\n"_s;
    for (const PodcastSearchResult& result : results) {
        invocation.out() << result.title;
        if (!result.author.isEmpty())
            invocation.out() << u" — "_s << result.author;
        if (result.episodeCount > 0)
            invocation.out() << u" ("_s << DisplayText::counted(result.episodeCount, u"episode"_s) << u")"_s;
        invocation.out() << u"\n    "_s << result.feedURL.toDisplayString() << u'\n';
    }
    co_return int(exitSuccess);
}

// A regular file is read as it stands; an http or https address is fetched as a subscription
// would. Both stop at the same size.
QCoro::Task<int> parseFeed(Invocation& invocation)
{
    const QString argument = invocation.arguments().constFirst();
    const QUrl url(argument, QUrl::StrictMode);
    const bool isWeb = url.scheme() == "http"_L1 || url.scheme() == "https"_L1;
    RSSParser::Feed feed;
    try {
        if (isWeb)
            feed = co_await RSSParser::fetch(QUuid::createUuid(), url);
        else
            feed = RSSParser::parseFile(argument, QUuid::createUuid());
    } catch (const RSSParser::ParseError& error) {
        co_return invocation.fail(feedFailure(error));
    }

    if (invocation.json()) {
        JsonWriter writer;
        writer.beginObject();
        writer.key("podcast"_L1);
        feed.podcast.writeJson(writer);
        writer.key("episodes"_L1);
        Json::writeArray(writer, feed.episodes);
        writer.endObject();
        invocation.out() << QString::fromUtf8(writer.take()) << u'\n';
        co_return int(exitSuccess);
    }
    QTextStream& out = invocation.out();
    out << feed.podcast.title << u'\n';
    if (feed.podcast.artworkURL)
        out << u"Artwork: "_s << feed.podcast.artworkURL->toDisplayString() << u'\n';
    out << DisplayText::counted(feed.episodes.size(), u"episode"_s) << u'\n';
    printEpisodeLines(out, feed.episodes);
    co_return int(exitSuccess);
}

// The podcast and episode of a command's first two arguments; the sentence when either is not found.
std::variant<std::pair<Podcast, Episode>, QString> findEpisode(const Library& library, const QString& podcastName,
                                                               const QString& episodeName)
{
    const auto podcast = findRecord(library.podcasts(), podcastName, u"podcast"_s);
    if (const auto* problem = std::get_if<QString>(&podcast))
        return *problem;
    const auto episode = findRecord<Episode>(library.episodes(std::get<Podcast>(podcast).id), episodeName,
                                             u"episode"_s, [](const Episode& e) { return e.guid; });
    if (const auto* problem = std::get_if<QString>(&episode))
        return *problem;
    return std::pair(std::get<Podcast>(podcast), std::get<Episode>(episode));
}

QCoro::Task<int> unsubscribe(Invocation& invocation)
{
    Library& library = invocation.library();
    const auto podcast = findRecord(library.podcasts(), invocation.arguments().constFirst(), u"podcast"_s);
    if (const auto* problem = std::get_if<QString>(&podcast))
        co_return invocation.fail(*problem);
    const Podcast& found = std::get<Podcast>(podcast);
    const qsizetype files = downloadedCount(library.episodes(found.id));
    if (!invocation.isSet(u"yes"_s)) {
        co_return invocation.fail(u"Unsubscribing from %1 removes its %2; add --yes to go ahead."_s.arg(
            quoted(found.title), DisplayText::counted(files, u"downloaded episode"_s)));
    }
    library.deletePodcast(found.id);
    invocation.out() << u"Unsubscribed from "_s << quoted(found.title) << u"; "_s
                     << DisplayText::counted(files, u"downloaded file"_s) << u" removed."_s << Qt::endl;
    co_return int(exitSuccess);
}

QCoro::Task<int> mark(Invocation& invocation)
{
    const QString state = invocation.arguments().at(2);
    if (state != u"played" && state != u"unplayed") {
        invocation.err() << u"velmo: say played or unplayed, not "_s << quoted(state) << Qt::endl;
        co_return int(exitUsage);
    }
    Library& library = invocation.library();
    const auto found = findEpisode(library, invocation.arguments().at(0), invocation.arguments().at(1));
    if (const auto* problem = std::get_if<QString>(&found))
        co_return invocation.fail(*problem);
    const Episode& episode = std::get<0>(found).second;
    const bool hadFile = episode.downloadState == DownloadState::downloaded;
    library.markPlayed(episode.id, state == u"played");
    invocation.out() << u"Marked "_s << quoted(episode.title) << u' ' << state << u'.';
    if (state == u"played" && hadFile)
        invocation.out() << u" Its downloaded file was removed to free the space."_s;
    invocation.out() << Qt::endl;
    co_return int(exitSuccess);
}

QCoro::Task<int> deleteFile(Invocation& invocation)
{
    Library& library = invocation.library();
    const auto found = findEpisode(library, invocation.arguments().at(0), invocation.arguments().at(1));
    if (const auto* problem = std::get_if<QString>(&found))
        co_return invocation.fail(*problem);
    const Episode& episode = std::get<0>(found).second;
    if (episode.downloadState != DownloadState::downloaded)
        co_return invocation.fail(quoted(episode.title) + u" has no downloaded file."_s);
    library.deleteLocalFile(episode.id);
    invocation.out() << u"Removed the file of "_s << quoted(episode.title) << u"."_s << Qt::endl;
    co_return int(exitSuccess);
}

QCoro::Task<int> importOPML(Invocation& invocation)
{
    QList<OPML::Feed> feeds;
    try {
        feeds = OPML::parseFile(invocation.arguments().constFirst());
    } catch (const OPML::ParseError& error) {
        co_return invocation.fail(error.message());
    }
    const OPML::ImportReport report = co_await OPML::subscribeAll(invocation.library(), feeds);
    for (const Podcast& podcast : report.subscribed)
        invocation.out() << u"Subscribed to "_s << quoted(podcast.title) << Qt::endl;
    for (const auto& [feed, error] : report.failed) {
        invocation.err() << u"Not subscribed to "_s << quoted(feed.title.isEmpty() ? feed.url.toString() : feed.title)
                         << u": "_s << feedFailure(error) << Qt::endl;
    }
    invocation.out() << u"Subscribed to "_s << DisplayText::counted(report.subscribed.size(), u"podcast"_s) << u"; "_s
                     << report.alreadySubscribed << u" already subscribed, "_s << report.failed.size()
                     << u" could not be read."_s << Qt::endl;
    co_return report.failed.isEmpty() ? int(exitSuccess) : int(exitFailure);
}

QCoro::Task<int> exportOPML(Invocation& invocation)
{
    const QString path = QFileInfo(invocation.arguments().constFirst()).absoluteFilePath();
    if (const auto failure = AtomicFile::save(path, OPML::write(invocation.library().podcasts())))
        co_return invocation.fail(u"The subscriptions could not be written to “%1”: %2."_s.arg(path, *failure));
    invocation.out() << u"Wrote "_s << DisplayText::counted(invocation.library().podcasts().size(), u"subscription"_s)
                     << u" to "_s << path << Qt::endl;
    co_return int(exitSuccess);
}

} // namespace

void addPodcastCommands(CommandLine& commandLine)
{
    commandLine.addGroup(u"podcast"_s, u"Podcast subscriptions and episodes"_s);
    commandLine.add({
        .path = {u"podcast"_s, u"add"_s},
        .arguments = u"URL"_s,
        .summary = u"Subscribe to the podcast whose RSS feed is at URL."_s,
        .minimumArguments = 1,
        .maximumArguments = 1,
        .hasJsonOutput = true,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::podcasts},
        .run = add,
    });
    commandLine.add({
        .path = {u"podcast"_s, u"list"_s},
        .summary = u"List the subscriptions with their episode counts and auto-download rules."_s,
        .hasJsonOutput = true,
        .access = Command::Access::library,
        .run = list,
    });
    commandLine.add({
        .path = {u"podcast"_s, u"refresh"_s},
        .arguments = u"[NAME]"_s,
        .summary = u"Read the feed of one podcast, or of all, and download what their rules ask for."_s,
        .maximumArguments = 1,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::podcasts},
        .run = refresh,
    });
    commandLine.add({
        .path = {u"podcast"_s, u"episodes"_s},
        .arguments = u"NAME"_s,
        .summary = u"List a podcast's episodes, newest first."_s,
        .minimumArguments = 1,
        .maximumArguments = 1,
        .hasJsonOutput = true,
        .access = Command::Access::library,
        .run = episodes,
    });
    commandLine.add({
        .path = {u"podcast"_s, u"download"_s},
        .arguments = u"NAME EPISODE"_s,
        .summary = u"Download an episode (by title, part of it, guid or id) into the library's Podcasts folder."_s,
        .minimumArguments = 2,
        .maximumArguments = 2,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::podcasts},
        .run = download,
    });
    commandLine.add({
        .path = {u"podcast"_s, u"auto-download"_s},
        .arguments = u"NAME none|latest N|newer-than DAYS"_s,
        .summary = u"Set what a refresh of the podcast downloads by itself."_s,
        .minimumArguments = 2,
        .maximumArguments = 3,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::podcasts},
        .run = setAutoDownload,
    });
    commandLine.add({
        .path = {u"podcast"_s, u"search"_s},
        .arguments = u"TERMS..."_s,
        .summary = u"Search the podcast directory."_s,
        .minimumArguments = 1,
        .maximumArguments = 100,
        .hasJsonOutput = true,
        .run = search,
    });

    commandLine.add({
        .path = {u"podcast"_s, u"remove"_s},
        .arguments = u"NAME"_s,
        .summary = u"Unsubscribe, removing the downloaded episodes' files."_s,
        .options = {QCommandLineOption(u"yes"_s, u"Go ahead"_s)},
        .minimumArguments = 1,
        .maximumArguments = 1,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::podcasts},
        .run = unsubscribe,
    });
    commandLine.add({
        .path = {u"podcast"_s, u"mark"_s},
        .arguments = u"NAME EPISODE played|unplayed"_s,
        .summary = u"Mark an episode played, which removes its downloaded file, or unplayed."_s,
        .minimumArguments = 3,
        .maximumArguments = 3,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::podcasts},
        .run = mark,
    });
    commandLine.add({
        .path = {u"podcast"_s, u"delete-file"_s},
        .arguments = u"NAME EPISODE"_s,
        .summary = u"Remove an episode's downloaded file; it can be downloaded again."_s,
        .minimumArguments = 2,
        .maximumArguments = 2,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::podcasts},
        .run = deleteFile,
    });

    commandLine.add({
        .path = {u"podcast"_s, u"import-opml"_s},
        .arguments = u"FILE"_s,
        .summary = u"Subscribe to each feed of an OPML file from another podcast app; those already here are "
                   "skipped."_s,
        .minimumArguments = 1,
        .maximumArguments = 1,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::podcasts},
        .run = importOPML,
    });
    commandLine.add({
        .path = {u"podcast"_s, u"export-opml"_s},
        .arguments = u"FILE"_s,
        .summary = u"Write the subscriptions as an OPML file for another podcast app."_s,
        .minimumArguments = 1,
        .maximumArguments = 1,
        .access = Command::Access::library,
        .run = exportOPML,
    });

    commandLine.addGroup(u"feed"_s, u"RSS feeds"_s);
    commandLine.add({
        .path = {u"feed"_s, u"parse"_s},
        .arguments = u"FILE|URL"_s,
        .summary = u"Parse a feed as a subscription would, without subscribing; --json gives the records."_s,
        .minimumArguments = 1,
        .maximumArguments = 1,
        .hasJsonOutput = true,
        .run = parseFeed,
    });
}
