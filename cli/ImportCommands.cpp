#include "ImportCommands.h"

#include "CommandLine.h"
#include "facade/FolderImport.h"
#include "facade/Library.h"
#include "library/Background.h"
#include "library/DisplayText.h"
#include "library/FileKinds.h"
#include "library/JsonCoding.h"
#include "library/Settings.h"

#include <QFileInfo>
#include <QSet>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace {

QString statusName(ImportStatus status)
{
    switch (status) {
    case ImportStatus::new_: return u"new"_s;
    case ImportStatus::alreadyInLibrary: return u"alreadyInLibrary"_s;
    case ImportStatus::possibleDuplicate: return u"possibleDuplicate"_s;
    }
    Q_UNREACHABLE();
}

QCoro::Task<int> import(Invocation& invocation)
{
    if (invocation.isSet(u"copy"_s) && invocation.isSet(u"move"_s))
        co_return invocation.fail(u"Choose either --copy or --move, not both."_s);
    const QString folder = QFileInfo(invocation.arguments().constFirst()).absoluteFilePath();
    if (const auto kind = FileKinds::kindOf(folder); kind != FileKinds::Kind::folder) {
        co_return invocation.fail(kind == FileKinds::Kind::missing
                                      ? u"There is no folder at "_s + folder + u'.'
                                      : u"“%1” cannot be imported: %2."_s.arg(folder, FileKinds::describe(kind)));
    }
    const bool copy = invocation.isSet(u"copy"_s) || (!invocation.isSet(u"move"_s) && Settings::value(Settings::copyImportedFiles));

    Library& library = invocation.library();
    invocation.err() << u"Reading "_s << folder << u"…"_s << Qt::endl;
    const auto scan = [folder] {
        QStringList unreadable;
        QList<Track> tracks = Library::readTracks(Library::audioFilesBelow(QUrl::fromLocalFile(folder)), &unreadable);
        return std::pair(tracks, unreadable);
    };
    const auto [scanned, unreadable] = co_await Background::run(scan);
    for (const QString& path : unreadable)
        invocation.err() << u"not read: "_s << path << u": "_s << FileKinds::unreadableReason(path) << Qt::endl;

    const FolderImport::Judge judge(library.tracks());
    QList<std::pair<Track, ImportStatus>> plan;
    for (const Track& track : scanned)
        plan.append({track, judge.classify(track)});
    if (invocation.json()) {
        JsonWriter json;
        json.beginArray();
        for (const auto& [track, status] : std::as_const(plan)) {
            json.beginObject();
            json.field("status"_L1, statusName(status));
            json.key("track"_L1);
            track.writeJson(json);
            json.endObject();
        }
        json.endArray();
        invocation.out() << QJsonDocument::fromJson(json.bytes()).toJson(QJsonDocument::Indented);
    } else {
        for (const auto& [track, status] : std::as_const(plan))
            invocation.out() << statusName(status).leftJustified(18) << track.path() << u'\n';
        invocation.out().flush();
    }

    const bool all = invocation.isSet(u"all"_s);
    QList<Track> chosen;
    for (const auto& [track, status] : std::as_const(plan)) {
        if (all || status == ImportStatus::new_)
            chosen.append(track);
    }
    if (chosen.isEmpty()) {
        if (plan.isEmpty() && !unreadable.isEmpty()) {
            co_return invocation.fail(u"None of the %1 in the folder could be read; each is named above with the "
                                      "reason."_s.arg(DisplayText::counted(unreadable.size(), u"audio file"_s)));
        }
        invocation.err() << (plan.isEmpty() ? u"There are no audio files in the folder."_s
                                            : u"Nothing new to import; --all imports the other files too."_s)
                         << Qt::endl;
        co_return unreadable.isEmpty() ? int(exitSuccess) : int(exitFailure);
    }
    if (invocation.isSet(u"dry-run"_s)) {
        invocation.err() << DisplayText::counted(chosen.size(), u"file"_s) << u" would be"_s
                         << (copy ? u" copied"_s : u" moved"_s) << u" into "_s << library.rootURL().toLocalFile()
                         << u'.' << Qt::endl;
        co_return int(exitSuccess);
    }

    qsizetype imported = 0;
    qsizetype done = 0;
    QStringList failures;
    QSet<QUuid> importedIDs;
    for (const Track& track : std::as_const(chosen)) {
        QString failure;
        try {
            co_await FolderImport::importTrack(library, track, copy);
            ++imported;
            importedIDs.insert(track.id);
        } catch (const FolderImport::ImportError& error) {
            failure = error.message();
            failures.append(failure);
        }
        ++done;
        invocation.err() << u"["_s << done << u'/' << chosen.size() << u"] "_s;
        if (failure.isEmpty())
            invocation.err() << track.path() << Qt::endl;
        else
            invocation.err() << u"not imported: "_s << failure << Qt::endl;
    }
    if (imported < 1) {
        // The window's sentence guesses; here each failure said why, so the reasons are summed up.
        failures.removeDuplicates();
        co_return invocation.fail(failures.size() == 1 ? u"Nothing was imported: "_s + failures.constFirst()
                                                       : u"Nothing was imported; the lines above say why for each "
                                                         "file."_s);
    }
    if (Settings::value(Settings::analyseLoudnessAfterImport)) {
        QList<Track> tracks;
        for (const Track& track : library.tracks()) {
            if (importedIDs.contains(track.id))
                tracks.append(track);
        }
        const Library::LoudnessOptions options;
        const Library::LoudnessSummary loudness = co_await library.analyseLoudness(tracks, options);
        invocation.err() << u"Loudness: "_s << loudness.message() << Qt::endl;
    }
    library.flush();
    if (!library.saveFailures().isEmpty()) {
        invocation.err() << DisplayText::counted(imported, u"file"_s)
                         << u" went into the library folder, but the catalogue could not be updated; once it can "
                            "be saved, \"velmo library scan\" brings them in."_s
                         << Qt::endl;
        co_return int(exitFailure);
    }
    invocation.err() << u"Imported "_s << imported << u" of "_s << DisplayText::counted(chosen.size(), u"file"_s)
                     << u"."_s << Qt::endl;
    // A script must not take a partial import for a whole one.
    const qsizetype notImported = failures.size() + unreadable.size();
    if (notImported > 0) {
        co_return invocation.fail(u"%1 %2 not imported; each is named above with the reason."_s.arg(
            DisplayText::counted(notImported, u"file"_s), notImported == 1 ? u"was"_s : u"were"_s));
    }
    co_return int(exitSuccess);
}

} // namespace

void addImportCommands(CommandLine& commandLine)
{
    commandLine.addGroup(u"import"_s, u"Bringing music in"_s);
    commandLine.add({
        .path = {u"import"_s},
        .arguments = u"DIR"_s,
        .summary = u"Read a folder, print what is new, already in the library or a possible duplicate, and import "
                   "the new files (with --all, every file) into the library's layout."_s,
        .options = {QCommandLineOption(u"copy"_s, u"Copy the files, whatever the setting says"_s),
                    QCommandLineOption(u"move"_s, u"Move the files, whatever the setting says"_s),
                    QCommandLineOption(u"all"_s, u"Also import files already in the library or possibly duplicates"_s),
                    QCommandLineOption(u"dry-run"_s, u"Print the plan and stop"_s)},
        .minimumArguments = 1,
        .maximumArguments = 1,
        .hasJsonOutput = true,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::library},
        .run = import,
    });
}
