#include "DeviceCommands.h"

#include "CommandLine.h"
#include "DeviceLookup.h"
#include "facade/Library.h"
#include "facade/LibraryStores.h"
#include "library/DisplayText.h"
#include "library/JsonCoding.h"
#include "library/Uuid.h"
#include "platform/MountVolumeSource.h"
#include "sync/SyncEngine.h"
#include "sync/VelmoDeviceFile.h"
#include "sync/VolumeEjector.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <unistd.h>
#include <variant>

using namespace Qt::StringLiterals;

namespace {

void printJson(Invocation& invocation, const QByteArray& json)
{
    invocation.out() << QString::fromUtf8(json) << u'\n';
}

QString quoted(const QString& text)
{
    return u'"' + text + u'"';
}

bool isConnected(const DeviceProfile& profile)
{
    return QFileInfo::exists(profile.rootPath);
}

QCoro::Task<int> volumes(Invocation& invocation)
{
    const QList<DeviceProfile> profiles = LibraryStores::readDeviceProfiles().value;
    const auto profileNamedBy = [&profiles](const QString& mountPoint) -> std::optional<DeviceProfile> {
        const std::optional<VelmoDeviceFile> file = VelmoDeviceFile::read(mountPoint);
        if (!file)
            return std::nullopt;
        const auto it = std::find_if(profiles.cbegin(), profiles.cend(),
                                     [&file](const DeviceProfile& p) { return p.id == file->id; });
        return it == profiles.cend() ? std::nullopt : std::optional(*it);
    };

    QList<VolumeSource::Volume> removable;
    for (const VolumeSource::Volume& volume : MountVolumeSource().mountedVolumes()) {
        if (volume.removable)
            removable.append(volume);
    }

    if (invocation.json()) {
        QJsonArray array;
        for (const VolumeSource::Volume& volume : removable) {
            QJsonObject object{{u"name"_s, volume.name},
                               {u"mountPoint"_s, volume.path},
                               {u"fileSystem"_s, volume.fileSystemType}};
            if (const auto profile = profileNamedBy(volume.path))
                object.insert(u"profile"_s, QJsonObject{{u"id"_s, Uuid::text(profile->id)}, {u"name"_s, profile->name}});
            array.append(object);
        }
        invocation.out() << QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact)) << u'\n';
        co_return int(exitSuccess);
    }
    QTextStream& out = invocation.out();
    if (removable.isEmpty()) {
        out << u"No removable volume is mounted.\n"_s;
        co_return int(exitSuccess);
    }
    for (const VolumeSource::Volume& volume : removable) {
        out << volume.name << u"\n  Mounted at "_s << volume.path << u" ("_s << volume.fileSystemType << u")\n"_s;
        if (const auto profile = profileNamedBy(volume.path))
            out << u"  Last synced with "_s << quoted(profile->name) << u' ' << Uuid::text(profile->id) << u'\n';
    }
    co_return int(exitSuccess);
}

QCoro::Task<int> list(Invocation& invocation)
{
    const QList<DeviceProfile>& profiles = invocation.library().deviceProfiles();
    if (invocation.json()) {
        JsonWriter writer;
        Json::writeArray(writer, profiles);
        printJson(invocation, writer.take());
        co_return int(exitSuccess);
    }
    QTextStream& out = invocation.out();
    if (profiles.isEmpty()) {
        out << u"No device profiles yet. Add one with \"velmo device add NAME ROOT\".\n"_s;
        co_return int(exitSuccess);
    }
    for (const DeviceProfile& profile : profiles) {
        out << profile.name << u"  "_s << Uuid::text(profile.id) << u"\n  "_s << profile.rootPath
            << (isConnected(profile) ? u" (connected)"_s : u" (not connected)"_s) << u"\n  "_s
            << profile.contentSummary() << u" · "_s << profile.formatSummary() << u'\n';
        if (const std::optional<DeviceProfile::Problem> problem = profile.problem())
            out << u"  Needs repair: "_s << problem->message() << u'\n';
    }
    co_return int(exitSuccess);
}

void printProfile(QTextStream& out, const DeviceProfile& profile, const Library& library)
{
    const auto names = [](const auto& records, const QList<QUuid>& ids) {
        QStringList result;
        for (const QUuid& id : ids) {
            const auto it = std::find_if(records.cbegin(), records.cend(), [&id](const auto& r) { return r.id == id; });
            result.append(it == records.cend() ? Uuid::text(id) + u" (gone)"_s : quoted(it->name));
        }
        return result.isEmpty() ? u"none"_s : result.join(u", "_s);
    };
    const auto yesNo = [](bool value) { return value ? u"yes"_s : u"no"_s; };
    out << profile.name << u"  "_s << Uuid::text(profile.id) << u'\n'
        << u"Root:             "_s << profile.rootPath << (isConnected(profile) ? u" (connected)"_s : u" (not connected)"_s) << u'\n'
        << u"Content:          "_s << profile.contentSummary() << u'\n'
        << u"Format:           "_s << profile.formatSummary() << u'\n'
        << u"Folder structure: "_s << rawValue(profile.folderStructure) << u'\n'
        << u"Folders:          "_s << profile.musicFolder << u", "_s << profile.podcastsFolder << u", "_s
        << profile.playlistsFolder << u'\n'
        << u"Cover size:       "_s << rawValue(profile.effectiveCoverSize())
        << (profile.coverSize ? QString() : u" (the format's default)"_s) << u'\n'
        << u"Cover files:      "_s << yesNo(profile.writeCoverFiles) << u'\n'
        << u"Sync playlists:   "_s << yesNo(profile.syncPlaylists) << u'\n'
        << u"Sync podcasts:    "_s << yesNo(profile.syncPodcasts) << u'\n';
    if (const std::optional<DeviceProfile::Problem> problem = profile.problem())
        out << u"Needs repair:     "_s << problem->message() << u'\n';
    if (profile.syncScope == SyncScope::selectedPlaylists) {
        out << u"Playlists:        "_s << names(library.playlists(), profile.playlistIDs) << u'\n'
            << u"Smart playlists:  "_s << names(library.smartPlaylists(), profile.smartPlaylistIDs) << u'\n'
            << u"Tracks:           "_s << DisplayText::counted(profile.manualTrackIDs.size(), u"track"_s) << u'\n';
    }
}

QCoro::Task<int> show(Invocation& invocation)
{
    const std::optional<DeviceProfile> profile = findDeviceProfile(invocation, invocation.arguments().constFirst());
    if (!profile)
        co_return int(exitFailure);
    if (invocation.json())
        printJson(invocation, Json::encode(*profile));
    else
        printProfile(invocation.out(), *profile, invocation.library());
    co_return int(exitSuccess);
}

QCoro::Task<int> add(Invocation& invocation)
{
    const QString name = invocation.arguments().at(0);
    const QString root = QFileInfo(invocation.arguments().at(1)).absoluteFilePath();
    const DeviceProfile profile = invocation.library().createDeviceProfile(name, root);
    invocation.out() << u"Added the device profile "_s << quoted(name) << u' ' << Uuid::text(profile.id)
                     << u" for "_s << root << u": "_s << profile.contentSummary() << u", "_s
                     << profile.formatSummary().toLower() << u".\n"_s;
    co_return int(exitSuccess);
}

// Names or ids, separated by commas, of records that have both.
template <typename T>
std::variant<QJsonArray, QString> idsOf(const QList<T>& records, const QString& text, const QString& what)
{
    QJsonArray ids;
    for (const QString& part : text.split(u',', Qt::SkipEmptyParts)) {
        const QString wanted = part.trimmed();
        QList<QUuid> matches;
        for (const T& record : records) {
            if (record.name == wanted)
                matches.append(record.id);
        }
        if (matches.size() > 1)
            return u"%1 %2s are named %3; give its id."_s.arg(matches.size()).arg(what, quoted(wanted));
        const QUuid id = QUuid::fromString(wanted);
        if (matches.isEmpty() && std::any_of(records.cbegin(), records.cend(), [&id](const T& r) { return !id.isNull() && r.id == id; }))
            matches.append(id);
        if (matches.isEmpty())
            return u"No %1 is named %2."_s.arg(what, quoted(wanted));
        ids.append(Uuid::text(matches.constFirst()));
    }
    return ids;
}

// One key=value of `velmo device set`, written into the profile's JSON form.
std::optional<QString> applySetting(QJsonObject& object, const QString& assignment, const Library& library)
{
    const qsizetype equals = assignment.indexOf(u'=');
    if (equals <= 0)
        return u"%1 is not of the form key=value."_s.arg(quoted(assignment));
    const QString key = assignment.left(equals);
    const QString value = assignment.mid(equals + 1);
    static const QStringList textKeys{u"name"_s, u"rootPath"_s, u"syncScope"_s, u"outputFormat"_s,
                                      u"folderStructure"_s, u"musicFolder"_s, u"podcastsFolder"_s, u"playlistsFolder"_s,
                                      u"coverSize"_s};
    static const QStringList rawKeys{u"transcodeBitrate"_s, u"syncPlaylists"_s, u"syncPodcasts"_s, u"podcastConfigs"_s,
                                     u"writeCoverFiles"_s};

    if (textKeys.contains(key)) {
        object.insert(key, value);
    } else if (rawKeys.contains(key)) {
        const QJsonDocument parsed = QJsonDocument::fromJson(u"[%1]"_s.arg(value).toUtf8());
        if (!parsed.isArray() || parsed.array().size() != 1)
            return u"The value of %1 is not JSON: %2."_s.arg(key, quoted(value));
        object.insert(key, parsed.array().first());
    } else if (key == u"playlistIDs"_s || key == u"smartPlaylistIDs"_s) {
        const auto ids = key == u"playlistIDs"_s ? idsOf(library.playlists(), value, u"playlist"_s)
                                                 : idsOf(library.smartPlaylists(), value, u"smart playlist"_s);
        if (const QString* problem = std::get_if<QString>(&ids))
            return *problem;
        object.insert(key, std::get<QJsonArray>(ids));
    } else if (key == u"manualTrackIDs"_s) {
        QJsonArray ids;
        for (const QString& part : value.split(u',', Qt::SkipEmptyParts)) {
            const QUuid id = QUuid::fromString(part.trimmed());
            if (id.isNull())
                return u"%1 is not a track id."_s.arg(quoted(part.trimmed()));
            ids.append(Uuid::text(id));
        }
        object.insert(key, ids);
    } else if (key == u"id"_s) {
        return u"A profile's id never changes."_s;
    } else {
        return u"A device profile has no setting %1. The settings are: %2, playlistIDs, smartPlaylistIDs, manualTrackIDs."_s
            .arg(quoted(key), (textKeys + rawKeys).join(u", "_s));
    }
    return std::nullopt;
}

QCoro::Task<int> set(Invocation& invocation)
{
    Library& library = invocation.library();
    const QStringList arguments = invocation.arguments();
    const std::optional<DeviceProfile> profile = findDeviceProfile(invocation, arguments.constFirst());
    if (!profile)
        co_return int(exitFailure);
    QJsonObject object = QJsonDocument::fromJson(Json::encode(*profile)).object();
    for (const QString& assignment : arguments.mid(1)) {
        if (const std::optional<QString> problem = applySetting(object, assignment, library))
            co_return invocation.fail(*problem);
    }
    DeviceProfile changed;
    try {
        changed = Json::decode<DeviceProfile>(QJsonDocument(object).toJson(QJsonDocument::Compact));
    } catch (const DecodingError& error) {
        co_return invocation.fail(u"The profile was left as it was: "_s + error.message() + u'.');
    }
    if (const std::optional<DeviceProfile::Problem> problem = changed.problem())
        co_return invocation.fail(u"The profile was left as it was: "_s + problem->message());
    library.updateDeviceProfile(changed);
    printProfile(invocation.out(), changed, library);
    co_return int(exitSuccess);
}

QCoro::Task<int> removeProfile(Invocation& invocation)
{
    const std::optional<DeviceProfile> profile = findDeviceProfile(invocation, invocation.arguments().constFirst());
    if (!profile)
        co_return int(exitFailure);
    invocation.library().deleteDeviceProfile(profile->id);
    invocation.out() << u"Removed the device profile "_s << quoted(profile->name)
                     << u". Nothing on the device was touched.\n"_s;
    co_return int(exitSuccess);
}

void writeDiffJson(JsonWriter& w, const SyncDiff& diff, const DeviceProfile& profile)
{
    w.beginObject();
    w.key("toAdd"_L1);
    w.beginArray();
    for (const SyncDiff::AddItem& item : diff.toAdd) {
        w.beginObject();
        Json::writeUuid(w, "trackID"_L1, item.track.id);
        w.field("destination"_L1, item.destinationURL.toLocalFile());
        w.field("needsTranscode"_L1, item.needsTranscode());
        w.field("action"_L1, item.needsTranscode() ? u"transcode"_s : u"copy"_s);
        if (item.needsTranscode())
            w.field("bitrate"_L1, item.action.bitrateKbps);
        w.endObject();
    }
    w.endArray();
    const auto writePaths = [&w](QLatin1StringView key, const QList<QUrl>& urls) {
        w.key(key);
        w.beginArray();
        for (const QUrl& url : urls)
            w.value(url.toLocalFile());
        w.endArray();
    };
    writePaths("toRemove"_L1, diff.toRemove);
    w.field("unchanged"_L1, diff.unchanged);
    writePaths("passedOver"_L1, diff.passedOver);
    if (diff.podcastChanges) {
        const SyncDiff::PodcastChanges& changes = *diff.podcastChanges;
        w.key("podcastChanges"_L1);
        w.beginObject();
        const SyncDiff::NameRules rules = SyncDiff::nameRulesAt(profile.rootPath);
        w.key("toAdd"_L1);
        w.beginArray();
        for (const auto& [podcast, episode] : changes.toAdd) {
            w.beginObject();
            Json::writeUuid(w, "podcastID"_L1, podcast.id);
            Json::writeUuid(w, "episodeID"_L1, episode.id);
            w.field("destination"_L1, SyncDiff::episodeDestinationURL(podcast, episode, profile, rules).toLocalFile());
            w.endObject();
        }
        w.endArray();
        writePaths("toRemove"_L1, changes.toRemove);
        w.field("unchanged"_L1, changes.unchanged);
        w.endObject();
    }
    w.endObject();
}

void printPassedOver(QTextStream& out, const SyncDiff& diff)
{
    if (diff.passedOver.isEmpty())
        return;
    out << u"Passed over, symbolic links that a sync never follows, writes through or removes ("_s
        << diff.passedOver.size() << u"):\n"_s;
    for (const QUrl& url : diff.passedOver)
        out << u"  "_s << url.toLocalFile() << u'\n';
}

// A sentence for a profile that no sync may act on, with what to do about it.
std::optional<QString> repairNeeded(const DeviceProfile& profile)
{
    const std::optional<DeviceProfile::Problem> problem = profile.problem();
    if (!problem)
        return std::nullopt;
    return u"The device profile %1 needs repair: %2 Change it with \"velmo device set\". Nothing was synced."_s.arg(
        quoted(profile.name), problem->message());
}

void printDiff(QTextStream& out, const SyncDiff& result, const DeviceProfile& profile)
{
    if (!isConnected(profile))
        out << profile.rootPath << u" is not there: the device is not connected, so everything is to add.\n"_s;
    out << u"To add ("_s << result.toAdd.size() << u"):\n"_s;
    for (const SyncDiff::AddItem& item : result.toAdd)
        out << u"  "_s << item.destinationURL.toLocalFile() << u"  ("_s << item.action.description() << u")\n"_s;
    out << u"To remove ("_s << result.toRemove.size() << u"):\n"_s;
    for (const QUrl& url : result.toRemove)
        out << u"  "_s << url.toLocalFile() << u'\n';
    out << u"Unchanged: "_s << DisplayText::counted(result.unchanged, u"track"_s) << u'\n';
    printPassedOver(out, result);
    if (result.podcastChanges) {
        const SyncDiff::PodcastChanges& changes = *result.podcastChanges;
        out << u"Podcast episodes to add ("_s << changes.toAdd.size() << u"):\n"_s;
        for (const auto& [podcast, episode] : changes.toAdd)
            out << u"  "_s << podcast.title << u": "_s << episode.title << u'\n';
        out << u"Podcast files to remove ("_s << changes.toRemove.size() << u"):\n"_s;
        for (const QUrl& url : changes.toRemove)
            out << u"  "_s << url.toLocalFile() << u'\n';
        out << u"Podcast episodes unchanged: "_s << changes.unchanged << u'\n';
    }
}

QCoro::Task<int> diff(Invocation& invocation)
{
    const Library& library = invocation.library();
    const std::optional<DeviceProfile> profile = findDeviceProfile(invocation, invocation.arguments().constFirst());
    if (!profile)
        co_return int(exitFailure);
    if (const std::optional<QString> repair = repairNeeded(*profile))
        co_return invocation.fail(*repair);
    const SyncDiff result = library.syncDiff(*profile, library.podcastsToSync(*profile));
    if (invocation.json()) {
        JsonWriter writer;
        writeDiffJson(writer, result, *profile);
        printJson(invocation, writer.take());
    } else {
        printDiff(invocation.out(), result, *profile);
    }
    co_return int(exitSuccess);
}

// A bar redrawn in place on a terminal; a line per item in a log.
class SyncReporter {
public:
    explicit SyncReporter(QTextStream& err)
        : m_err(err)
        , m_terminal(::isatty(STDERR_FILENO) == 1)
    {
    }

    void report(qint64 total, qint64 completed, const QString& item)
    {
        if (!m_terminal) {
            m_err << u"["_s << completed << u'/' << total << u"] "_s << item << Qt::endl;
            return;
        }
        constexpr int width = 30;
        const int filled = total > 0 ? int(completed * width / total) : width;
        QString name = item;
        if (name.size() > 40)
            name = name.left(39) + u'…';
        m_err << u"\r\x1b[K["_s << QString(filled, u'#') << QString(width - filled, u'.') << u"] "_s << completed
              << u'/' << total << u' ' << name << Qt::flush;
        m_drawn = true;
    }

    void finish()
    {
        if (m_drawn)
            m_err << u"\r\x1b[K"_s << Qt::flush;
        m_drawn = false;
    }

private:
    QTextStream& m_err;
    bool m_terminal;
    bool m_drawn = false;
};

qsizetype countPresent(const QList<SyncDiff::AddItem>& adds)
{
    return std::count_if(adds.cbegin(), adds.cend(),
                         [](const SyncDiff::AddItem& item) { return QFileInfo::exists(item.destinationURL.toLocalFile()); });
}

QCoro::Task<int> syncDevice(Invocation& invocation)
{
    Library& library = invocation.library();
    const std::optional<DeviceProfile> profile = findDeviceProfile(invocation, invocation.arguments().constFirst());
    if (!profile)
        co_return int(exitFailure);
    if (const std::optional<QString> repair = repairNeeded(*profile))
        co_return invocation.fail(*repair);
    const SyncDiff plan = library.syncDiff(*profile, library.podcastsToSync(*profile));
    QTextStream& out = invocation.out();
    if (invocation.isSet(u"dry-run"_s)) {
        printDiff(out, plan, *profile);
        co_return int(exitSuccess);
    }
    if (!isConnected(*profile))
        co_return invocation.fail(u"The device is not connected: %1 is not there. Nothing was synced."_s.arg(profile->rootPath));

    SyncReporter reporter(invocation.err());
    const SyncEngine::ProgressHandler onProgress = [&reporter](qint64 total, qint64 completed, const QString& item) {
        reporter.report(total, completed, item);
    };
    std::optional<QString> failure;
    try {
        QCoro::Task<> run = SyncEngine::shared().sync(plan, *profile, library.playlists(), library.smartPlaylists(),
                                                      library.tracks(), library.rootURL(), onProgress);
        co_await std::move(run);
    } catch (const std::exception& error) {
        failure = QString::fromUtf8(error.what());
    }
    reporter.finish();
    const qsizetype added = countPresent(plan.toAdd);
    const qsizetype transcoded = std::count_if(plan.toAdd.cbegin(), plan.toAdd.cend(), [](const SyncDiff::AddItem& item) {
        return item.needsTranscode() && QFileInfo::exists(item.destinationURL.toLocalFile());
    });
    const qsizetype removed = std::count_if(plan.toRemove.cbegin(), plan.toRemove.cend(),
                                            [](const QUrl& url) { return !QFileInfo::exists(url.toLocalFile()); });
    out << u"Added "_s << DisplayText::counted(added, u"track"_s) << u" ("_s << transcoded << u" transcoded), removed "_s
        << DisplayText::counted(removed, u"file"_s) << u'.';
    if (added < plan.toAdd.size())
        out << u' ' << DisplayText::counted(plan.toAdd.size() - added, u"track"_s) << u" not added."_s;
    if (removed < plan.toRemove.size())
        out << u' ' << DisplayText::counted(plan.toRemove.size() - removed, u"file"_s) << u" could not be removed."_s;
    out << u'\n';
    printPassedOver(out, plan);
    if (failure)
        co_return invocation.fail(*failure);

    if (profile->syncPodcasts && plan.podcastChanges) {
        try {
            QCoro::Task<> episodes = library.syncPodcastsToDevice(profile->rootPath, *profile);
            co_await std::move(episodes);
        } catch (const std::exception& error) {
            co_return invocation.fail(QString::fromUtf8(error.what()) + u" The music on the device is synced."_s);
        }
        out << u"Podcast episodes: "_s << plan.podcastChanges->toAdd.size() << u" added, "_s
            << plan.podcastChanges->toRemove.size() << u" removed, "_s << plan.podcastChanges->unchanged
            << u" unchanged.\n"_s;
    }
    co_return int(exitSuccess);
}

QCoro::Task<int> eject(Invocation& invocation)
{
    const std::optional<DeviceProfile> profile = findDeviceProfile(invocation, invocation.arguments().constFirst());
    if (!profile)
        co_return int(exitFailure);
    try {
        co_await VolumeEjector::ejectWithSystemService(profile->rootPath, profile->name);
    } catch (const VolumeEjector::EjectError& error) {
        co_return invocation.fail(error.message());
    }
    invocation.out() << quoted(profile->name) << u" was ejected and can be removed.\n"_s;
    co_return int(exitSuccess);
}

} // namespace

void addDeviceCommands(CommandLine& commandLine)
{
    commandLine.addGroup(u"device"_s, u"Devices: profiles, mounted volumes and syncing"_s);
    commandLine.add({
        .path = {u"device"_s, u"volumes"_s},
        .summary = u"List the removable volumes mounted now, with the profile their identity file names."_s,
        .hasJsonOutput = true,
        .run = volumes,
    });
    commandLine.add({
        .path = {u"device"_s, u"list"_s},
        .summary = u"List the device profiles."_s,
        .hasJsonOutput = true,
        .access = Command::Access::library,
        .run = list,
    });
    commandLine.add({
        .path = {u"device"_s, u"add"_s},
        .arguments = u"NAME ROOT"_s,
        .summary = u"Add a device profile for the folder ROOT, with the defaults of the preferences."_s,
        .minimumArguments = 2,
        .maximumArguments = 2,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::deviceProfiles},
        .run = add,
    });
    commandLine.add({
        .path = {u"device"_s, u"show"_s},
        .arguments = u"NAME|ID"_s,
        .summary = u"Show a device profile."_s,
        .minimumArguments = 1,
        .maximumArguments = 1,
        .hasJsonOutput = true,
        .access = Command::Access::library,
        .run = show,
    });
    commandLine.add({
        .path = {u"device"_s, u"set"_s},
        .arguments = u"NAME|ID KEY=VALUE..."_s,
        .summary = u"Change a profile's settings by their JSON names, e.g. outputFormat=mp3 transcodeBitrate=256 "
                   "syncPlaylists=false; playlistIDs and smartPlaylistIDs take names or ids separated by commas."_s,
        .minimumArguments = 2,
        .maximumArguments = 64,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::deviceProfiles},
        .run = set,
    });
    commandLine.add({
        .path = {u"device"_s, u"remove"_s},
        .arguments = u"NAME|ID"_s,
        .summary = u"Remove a device profile; nothing on the device is touched."_s,
        .minimumArguments = 1,
        .maximumArguments = 1,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::deviceProfiles},
        .run = removeProfile,
    });
    commandLine.add({
        .path = {u"device"_s, u"diff"_s},
        .arguments = u"NAME|ID"_s,
        .summary = u"Say what a sync would add, remove and leave on the device, touching nothing."_s,
        .minimumArguments = 1,
        .maximumArguments = 1,
        .hasJsonOutput = true,
        .access = Command::Access::library,
        .run = diff,
    });
    commandLine.add({
        .path = {u"device"_s, u"sync"_s},
        .arguments = u"NAME|ID"_s,
        .summary = u"Bring the device into line with its profile: remove, copy or transcode, write the playlists "
                   "and copy the podcast episodes. With --dry-run, only say what would change."_s,
        .options = {QCommandLineOption(u"dry-run"_s, u"Print what would change and touch nothing."_s)},
        .minimumArguments = 1,
        .maximumArguments = 1,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::deviceProfiles},
        .run = syncDevice,
    });
    commandLine.add({
        .path = {u"device"_s, u"eject"_s},
        .arguments = u"NAME|ID"_s,
        .summary = u"Unmount the volume that holds the device's folder and eject or switch off its drive."_s,
        .minimumArguments = 1,
        .maximumArguments = 1,
        .access = Command::Access::library,
        .run = eject,
    });
}
