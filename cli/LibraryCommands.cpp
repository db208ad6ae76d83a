#include "LibraryCommands.h"

#include "CommandLine.h"
#include "facade/Library.h"
#include "facade/LibraryStores.h"
#include "library/DisplayText.h"
#include "library/JsonCoding.h"
#include "library/LibraryFolder.h"
#include "library/Settings.h"
#include "library/Uuid.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

QString stateName(StoreState state)
{
    switch (state) {
    case StoreState::missing: return u"missing"_s;
    case StoreState::sound: return u"sound"_s;
    case StoreState::corrupt: return u"corrupt"_s;
    }
    Q_UNREACHABLE();
}

void printJson(Invocation& invocation, const QJsonDocument& document)
{
    invocation.out() << document.toJson(QJsonDocument::Indented);
}

QCoro::Task<int> init(Invocation& invocation)
{
    if (Settings::value(Settings::isOnboarded) && Settings::libraryRootPath()) {
        co_return invocation.fail(u"A library is already set up at "_s + *Settings::libraryRootPath()
                                  + u". Its folder is chosen once; clear the settings to choose another."_s);
    }
    LibraryFolder::Choice choice;
    try {
        choice = LibraryFolder::check(invocation.arguments().constFirst());
        if (!choice.foldersToCreate.isEmpty()) {
            invocation.out() << u"Creating "_s
                             << (choice.foldersToCreate.size() == 1 ? u"the folder "_s : u"the folders "_s)
                             << choice.foldersToCreate.join(u", "_s) << u"."_s << Qt::endl;
        }
        LibraryFolder::create(choice);
    } catch (const LibraryFolder::FolderError& error) {
        if (error.kind() == LibraryFolder::FolderError::Kind::emptyPath) {
            invocation.err() << error.message() << u"\nUsage: velmo library init PATH"_s << Qt::endl;
            co_return int(exitUsage);
        }
        co_return invocation.fail(error.message() + u" Nothing was set up."_s);
    }
    const bool copyFiles = invocation.isSet(u"copy"_s);
    Settings::setLibraryRootPath(choice.path);
    Settings::setValue(Settings::copyImportedFiles, copyFiles);
    Settings::setValue(Settings::isOnboarded, true);
    invocation.out() << u"Library set up at "_s << choice.path << u"; imported files will be "_s
                     << (copyFiles ? u"copied"_s : u"moved"_s) << u" into it."_s << Qt::endl;
    co_return int(exitSuccess);
}

QCoro::Task<int> stats(Invocation& invocation)
{
    const Library& library = invocation.library();
    const QList<std::pair<QString, qsizetype>> counts{
        {u"tracks"_s, library.tracks().size()},
        {u"playlists"_s, library.playlists().size()},
        {u"smartPlaylists"_s, library.smartPlaylists().size()},
        {u"deviceProfiles"_s, library.deviceProfiles().size()},
        {u"podcasts"_s, library.podcasts().size()},
        {u"episodes"_s, library.episodes().size()},
    };
    if (invocation.json()) {
        QJsonObject object;
        for (const auto& [name, count] : counts)
            object.insert(name, count);
        printJson(invocation, QJsonDocument(object));
        co_return int(exitSuccess);
    }
    const QStringList labels{u"Tracks"_s, u"Playlists"_s, u"Smart playlists"_s,
                             u"Device profiles"_s, u"Podcasts"_s, u"Episodes"_s};
    invocation.out() << u"Library at "_s << library.rootURL().toLocalFile() << u'\n';
    for (qsizetype i = 0; i < counts.size(); ++i)
        invocation.out() << QString(labels.at(i) + u':').leftJustified(18) << counts.at(i).second << u'\n';
    co_return int(exitSuccess);
}

QCoro::Task<int> check(Invocation& invocation)
{
    const QList<LibraryStores::Inspection> inspections = LibraryStores::inspectAll();
    const bool anyFault = std::any_of(inspections.cbegin(), inspections.cend(), [](const auto& i) {
        return i.state == StoreState::corrupt || !i.repeatedIDs.isEmpty();
    });
    // A store that repeats an id reads, but not as written: it is not called sound.
    const auto state = [](const LibraryStores::Inspection& inspection) {
        return inspection.repeatedIDs.isEmpty() ? stateName(inspection.state) : u"damaged"_s;
    };
    if (invocation.json()) {
        QJsonArray array;
        for (const auto& inspection : inspections) {
            QJsonObject object{
                {u"store"_s, StoreLocations::fileName(inspection.kind)},
                {u"path"_s, inspection.path},
                {u"state"_s, state(inspection)},
            };
            if (inspection.state == StoreState::sound)
                object.insert(u"records"_s, inspection.records);
            if (!inspection.repeatedIDs.isEmpty())
                object.insert(u"repeatedIDs"_s, QJsonArray::fromStringList(inspection.repeatedIDs));
            if (inspection.state == StoreState::corrupt)
                object.insert(u"problem"_s, inspection.problem);
            array.append(object);
        }
        printJson(invocation, QJsonDocument(array));
    } else {
        for (const auto& inspection : inspections) {
            QTextStream& out = invocation.out();
            out << StoreLocations::fileName(inspection.kind).leftJustified(22) << state(inspection).leftJustified(9);
            switch (inspection.state) {
            case StoreState::missing: out << u"(not written yet) "_s << inspection.path; break;
            case StoreState::sound:
                out << DisplayText::counted(inspection.records, u"record"_s);
                if (!inspection.repeatedIDs.isEmpty()) {
                    out << u", "_s << inspection.path << u"\n    More than one record has the id "_s
                        << inspection.repeatedIDs.join(u", "_s)
                        << u".\n    The program uses the first record of each and leaves out the others; the next "
                           "change saves it so."_s;
                }
                break;
            case StoreState::corrupt:
                out << inspection.path << u"\n    "_s << inspection.problem
                    << u"\n    The program reads it as empty; the next change overwrites it."_s;
                break;
            }
            out << u'\n';
        }
    }
    co_return anyFault ? int(exitFailure) : int(exitSuccess);
}

QCoro::Task<int> organize(Invocation& invocation)
{
    Library& library = invocation.library();
    invocation.err() << u"Moving files into "_s << library.rootURL().toLocalFile() << u"…"_s << Qt::endl;
    const Library::OrganizeReport report = co_await library.organizeLibrary();
    QTextStream& out = invocation.out();
    for (const auto& [before, after] : report.moved)
        out << u"moved  "_s << before.path() << u"\n    to "_s << after.path() << u'\n';
    for (const auto& [track, reason] : report.failed)
        out << u"stays  "_s << track.path() << u"\n       "_s << reason << u'\n';
    out << report.moved.size() << u" moved, "_s << report.failed.size() << u" could not move, "_s
        << library.tracks().size() - report.moved.size() - report.failed.size() << u" already in place."_s << Qt::endl;
    co_return int(exitSuccess);
}

void writeTracks(JsonWriter& json, QLatin1StringView key, const QList<Track>& tracks)
{
    json.key(key);
    Json::writeArray(json, tracks);
}

QCoro::Task<int> scan(Invocation& invocation)
{
    Library& library = invocation.library();
    const bool applyRemovals = invocation.isSet(u"apply-removals"_s);
    invocation.err() << u"Scanning "_s << library.rootURL().toLocalFile() << u"…"_s << Qt::endl;
    const ReconcileReport report = co_await library.reconcile(applyRemovals);
    if (invocation.json()) {
        JsonWriter json;
        json.beginObject();
        writeTracks(json, "added"_L1, report.added);
        writeTracks(json, "moved"_L1, report.moved);
        writeTracks(json, "updated"_L1, report.updated);
        writeTracks(json, "removedCandidates"_L1, report.removedCandidates);
        writeTracks(json, "removedReferenced"_L1, report.removedReferenced);
        json.field("removalsApplied"_L1, report.removalsApplied);
        json.endObject();
        invocation.out() << QJsonDocument::fromJson(json.bytes()).toJson(QJsonDocument::Indented);
        co_return int(exitSuccess);
    }
    QTextStream& out = invocation.out();
    if (!report.hasChanges()) {
        out << u"Library is in sync."_s << Qt::endl;
        co_return int(exitSuccess);
    }
    const auto list = [&out](const QList<Track>& tracks, const QString& what) {
        if (tracks.isEmpty())
            return;
        out << tracks.size() << what << u'\n';
        for (const Track& track : tracks)
            out << u"  "_s << track.path() << u'\n';
    };
    list(report.added, u" added"_s);
    list(report.moved, u" moved/renamed"_s);
    list(report.updated, u" metadata updated"_s);
    list(report.removedCandidates, u" missing on disk"_s);
    if (!report.removedReferenced.isEmpty() && !report.removalsApplied)
        out << report.removedReferenced.size()
            << u" of the missing tracks are still used in playlists — removing them will drop them from those playlists."_s
            << u'\n';
    if (report.removalsApplied)
        out << u"Removals applied."_s << u'\n';
    else if (!report.removedCandidates.isEmpty())
        out << u"Run again with --apply-removals to remove the missing tracks no playlist uses."_s << u'\n';
    out.flush();
    co_return int(exitSuccess);
}

QCoro::Task<int> duplicates(Invocation& invocation)
{
    float threshold = 0.9f;
    if (invocation.isSet(u"threshold"_s)) {
        bool isNumber = false;
        threshold = invocation.value(u"threshold"_s).toFloat(&isNumber);
        if (!isNumber || !(threshold >= 0.0f && threshold <= 1.0f)) {
            invocation.err() << u"The threshold is a number from 0 to 1, such as 0.9."_s << Qt::endl;
            co_return int(exitUsage);
        }
    }
    Library& library = invocation.library();
    invocation.err() << u"Listening to "_s << DisplayText::counted(library.tracks().size(), u"track"_s) << u"…"_s
                     << Qt::endl;
    QList<QList<Track>> groups;
    if (invocation.isSet(u"exact"_s)) {
        groups = co_await library.findDuplicates(threshold);
    } else {
        DuplicateFinder::Search search;
        search.threshold = threshold;
        search.onSkipped = [&invocation](const Track&, const QString& reason) {
            invocation.err() << u"Passed over: "_s << reason << Qt::endl;
        };
        std::optional<QList<QList<Track>>> found = co_await library.findDuplicates(std::move(search));
        groups = found.value_or(QList<QList<Track>>());
    }

    if (invocation.json()) {
        QJsonArray array;
        for (const QList<Track>& group : std::as_const(groups)) {
            QJsonArray members;
            for (const Track& track : group) {
                members.append(QJsonObject{
                    {u"id"_s, Uuid::text(track.id)},
                    {u"path"_s, track.path()},
                    {u"title"_s, track.title},
                    {u"artist"_s, track.artist},
                    {u"format"_s, rawValue(track.format)},
                });
            }
            array.append(members);
        }
        printJson(invocation, QJsonDocument(array));
        co_return int(exitSuccess);
    }
    QTextStream& out = invocation.out();
    if (groups.isEmpty()) {
        out << u"No tracks sound alike."_s << Qt::endl;
        co_return int(exitSuccess);
    }
    for (const QList<Track>& group : std::as_const(groups)) {
        out << group.first().title << u" — "_s << DisplayText::counted(group.size(), u"track"_s) << u'\n';
        for (const Track& track : group)
            out << u"  "_s << track.path() << u'\n';
    }
    out << DisplayText::counted(groups.size(), u"group"_s) << u" of tracks that sound alike."_s << Qt::endl;
    co_return int(exitSuccess);
}

} // namespace

void addLibraryCommands(CommandLine& commandLine)
{
    commandLine.addGroup(u"library"_s, u"The library and its stores"_s);
    commandLine.add({
        .path = {u"library"_s, u"init"_s},
        .arguments = u"PATH"_s,
        .summary = u"Choose the music folder without the window, as the first-run screen does."_s,
        .options = {QCommandLineOption(u"copy"_s, u"Copy imported files into the library instead of moving them"_s)},
        .minimumArguments = 1,
        .maximumArguments = 1,
        .access = Command::Access::changesLibrary,
        .opensLibrary = false,
        .run = init,
    });
    commandLine.add({
        .path = {u"library"_s, u"stats"_s},
        .summary = u"Count the tracks, playlists, smart playlists, device profiles, podcasts and episodes."_s,
        .hasJsonOutput = true,
        .access = Command::Access::library,
        .run = stats,
    });
    commandLine.add({
        .path = {u"library"_s, u"organize"_s},
        .summary = u"Move every track's file into the Artist/Album/Track layout; print what moved and what could "
                   "not, and why."_s,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::library},
        .run = organize,
    });
    commandLine.add({
        .path = {u"library"_s, u"scan"_s},
        .summary = u"Scan the music folder and merge what changed into the library, keeping each track's identity."_s,
        .options = {QCommandLineOption(u"apply-removals"_s,
                                       u"Remove the tracks whose files are missing, unless a playlist uses them"_s)},
        .hasJsonOutput = true,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::library},
        .run = scan,
    });
    commandLine.add({
        .path = {u"library"_s, u"duplicates"_s},
        .summary = u"List the groups of tracks that sound alike, whatever their tags say."_s,
        .options = {QCommandLineOption(u"threshold"_s, u"How alike, from 0 to 1 (default 0.9)"_s, u"SIMILARITY"_s),
                    QCommandLineOption(u"exact"_s, u"Decode every file and compare every pair, without the cache"_s)},
        .hasJsonOutput = true,
        .access = Command::Access::library,
        .run = duplicates,
    });
    commandLine.add({
        .path = {u"library"_s, u"check"_s},
        .summary = u"Read each store and say whether it is missing, sound, damaged (an id held by more than one record) or corrupt, and why."_s,
        .hasJsonOutput = true,
        .run = check,
    });
}
