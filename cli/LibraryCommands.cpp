#include "LibraryCommands.h"

#include "CommandLine.h"
#include "library/Library.h"
#include "library/LibraryStores.h"
#include "library/Settings.h"

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
    const QString path = QFileInfo(invocation.arguments().constFirst()).absoluteFilePath();
    const bool copyFiles = invocation.isSet(u"copy"_s);
    Settings::setLibraryRootPath(path);
    Settings::setValue(Settings::copyImportedFiles, copyFiles);
    Settings::setValue(Settings::isOnboarded, true);
    if (!QDir().mkpath(path))
        invocation.err() << u"Warning: the folder "_s << path << u" could not be created."_s << Qt::endl;
    invocation.out() << u"Library set up at "_s << path << u"; imported files will be "_s
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
    const bool anyCorrupt = std::any_of(inspections.cbegin(), inspections.cend(),
                                        [](const auto& i) { return i.state == StoreState::corrupt; });
    if (invocation.json()) {
        QJsonArray array;
        for (const auto& inspection : inspections) {
            QJsonObject object{
                {u"store"_s, StoreLocations::fileName(inspection.kind)},
                {u"path"_s, inspection.path},
                {u"state"_s, stateName(inspection.state)},
            };
            if (inspection.state == StoreState::sound)
                object.insert(u"records"_s, inspection.records);
            if (inspection.state == StoreState::corrupt)
                object.insert(u"problem"_s, inspection.problem);
            array.append(object);
        }
        printJson(invocation, QJsonDocument(array));
    } else {
        for (const auto& inspection : inspections) {
            QTextStream& out = invocation.out();
            out << StoreLocations::fileName(inspection.kind).leftJustified(22) << stateName(inspection.state).leftJustified(9);
            switch (inspection.state) {
            case StoreState::missing: out << u"(not written yet) "_s << inspection.path; break;
            case StoreState::sound: out << inspection.records << (inspection.records == 1 ? u" record"_s : u" records"_s); break;
            case StoreState::corrupt:
                out << inspection.path << u"\n    "_s << inspection.problem
                    << u"\n    The program reads it as empty; the next change overwrites it."_s;
                break;
            }
            out << u'\n';
        }
    }
    co_return anyCorrupt ? int(exitFailure) : int(exitSuccess);
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
        .path = {u"library"_s, u"check"_s},
        .summary = u"Read each store and say whether it is missing, sound or corrupt, and why."_s,
        .hasJsonOutput = true,
        .run = check,
    });
}
