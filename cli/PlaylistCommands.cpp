#include "PlaylistCommands.h"

#include "CommandLine.h"
#include "PlaylistLookup.h"
#include "facade/Library.h"
#include "library/CodePointOrder.h"
#include "library/DisplayText.h"
#include "library/JsonCoding.h"
#include "library/Uuid.h"
#include "playlists/PlaylistExporter.h"
#include "playlists/TrackListSummary.h"
#include "playlists/TrackLookup.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <variant>

using namespace Qt::StringLiterals;

namespace {

using namespace PlaylistLookup;

void printJson(Invocation& invocation, const QByteArray& json)
{
    invocation.out() << QString::fromUtf8(json) << u'\n';
}

QCoro::Task<int> list(Invocation& invocation)
{
    const Library& library = invocation.library();
    if (invocation.json()) {
        JsonWriter writer;
        writer.beginObject();
        writer.key("playlists"_L1);
        Json::writeArray(writer, library.playlists());
        writer.key("smartPlaylists"_L1);
        Json::writeArray(writer, library.smartPlaylists());
        writer.endObject();
        printJson(invocation, writer.take());
        co_return int(exitSuccess);
    }

    QTextStream& out = invocation.out();
    if (library.playlists().isEmpty() && library.smartPlaylists().isEmpty()) {
        out << u"No playlists yet.\n"_s;
        co_return int(exitSuccess);
    }
    qsizetype width = 0;
    for (const Playlist& playlist : library.playlists())
        width = std::max(width, playlist.name.size());
    for (const SmartPlaylist& smartPlaylist : library.smartPlaylists())
        width = std::max(width, smartPlaylist.name.size());
    width = std::min<qsizetype>(width, 40);

    const auto row = [&](const QString& name, qsizetype count, const QUuid& id) {
        out << u"  "_s << name.leftJustified(width) << u"  "_s << TrackListSummary::countText(count).leftJustified(12)
            << u"  "_s << Uuid::text(id) << u'\n';
    };
    // One lookup for all playlists rather than one per playlist.
    const TrackLookup lookup(library.tracks());
    out << u"Playlists\n"_s;
    for (const Playlist& playlist : library.playlists())
        row(playlist.name, lookup.resolve(playlist.trackIDs).size(), playlist.id);
    if (library.playlists().isEmpty())
        out << u"  (none)\n"_s;
    if (!library.smartPlaylists().isEmpty()) {
        out << u"Smart Playlists\n"_s;
        for (const SmartPlaylist& smartPlaylist : library.smartPlaylists())
            row(smartPlaylist.name, library.resolve(smartPlaylist).size(), smartPlaylist.id);
    }
    co_return int(exitSuccess);
}

QString filterText(QStringList values)
{
    return values.isEmpty() ? u"any"_s : values.join(u", "_s);
}

QCoro::Task<int> show(Invocation& invocation)
{
    const Library& library = invocation.library();
    const std::optional<AnyPlaylist> found = findPlaylist(invocation, invocation.arguments().constFirst());
    if (!found)
        co_return int(exitFailure);
    const QList<Track> tracks = tracksOf(library, *found);

    if (invocation.json()) {
        JsonWriter writer;
        writer.beginObject();
        std::visit(
            [&writer](const auto& p) {
                writer.key(std::is_same_v<std::decay_t<decltype(p)>, Playlist> ? "playlist"_L1 : "smartPlaylist"_L1);
                p.writeJson(writer);
            },
            *found);
        writer.key("tracks"_L1);
        Json::writeArray(writer, tracks);
        writer.endObject();
        printJson(invocation, writer.take());
        co_return int(exitSuccess);
    }

    QTextStream& out = invocation.out();
    out << nameOf(*found) << u" ("_s << kindName(*found) << u' ' << Uuid::text(idOf(*found)) << u")\n"_s;
    if (const auto* smart = std::get_if<SmartPlaylist>(&*found)) {
        QStringList decades;
        QList<qint64> sortedDecades(smart->filterDecades.cbegin(), smart->filterDecades.cend());
        std::sort(sortedDecades.begin(), sortedDecades.end());
        for (qint64 decade : sortedDecades)
            decades.append(QString::number(decade) + u's');
        QStringList artists(smart->filterArtists.cbegin(), smart->filterArtists.cend());
        QStringList genres(smart->filterGenres.cbegin(), smart->filterGenres.cend());
        CodePointOrder::sort(artists);
        CodePointOrder::sort(genres);
        out << u"Artists: "_s << filterText(artists) << u"\nGenres: "_s << filterText(genres) << u"\nDecades: "_s
            << filterText(decades) << u'\n';
    }
    out << TrackListSummary::of(tracks).text() << u'\n';
    const int digits = int(QString::number(tracks.size()).size());
    for (qsizetype i = 0; i < tracks.size(); ++i) {
        const Track& track = tracks.at(i);
        const QString label = track.artist.isEmpty() ? track.title : track.artist + u" - "_s + track.title;
        out << QString::number(i + 1).rightJustified(digits + 2) << u". "_s << label << u"  "_s
            << DisplayText::formatDuration(track.duration) << u'\n';
    }
    if (const auto* playlist = std::get_if<Playlist>(&*found)) {
        const qsizetype dangling = playlist->trackIDs.size() - tracks.size();
        if (dangling > 0) {
            out << dangling << (dangling == 1 ? u" entry names a track"_s : u" entries name tracks"_s)
                << u" no longer in the library.\n"_s;
        }
    }
    co_return int(exitSuccess);
}

QCoro::Task<int> exportPlaylist(Invocation& invocation)
{
    Library& library = invocation.library();
    const std::optional<AnyPlaylist> found = findPlaylist(invocation, invocation.arguments().at(0));
    if (!found)
        co_return int(exitFailure);
    const QString argument = invocation.arguments().at(1);
    const QFileInfo destination(argument);
    // "x/" names a folder: the file inside it, never a file called x in its place.
    if (argument.endsWith(u'/') && !destination.isDir())
        co_return invocation.fail(u"“%1” is not a folder."_s.arg(QDir::cleanPath(destination.absoluteFilePath())));
    const bool relativePaths = !invocation.isSet(u"absolute"_s);
    QUrl target;
    try {
        // A folder receives the file by the playlist's name; the name is checked, so that
        // a name like "../x" cannot put the file anywhere but in that folder.
        target = destination.isDir()
            ? PlaylistExporter::fileURL(nameOf(*found), QUrl::fromLocalFile(destination.absoluteFilePath()))
            : QUrl::fromLocalFile(destination.absoluteFilePath());
        if (std::holds_alternative<Playlist>(*found))
            library.exportPlaylist(idOf(*found), target, relativePaths);
        else
            library.exportSmartPlaylist(idOf(*found), target, relativePaths);
    } catch (const PlaylistExporter::ExportError& error) {
        co_return invocation.fail(error.message());
    }

    const QList<Track> tracks = tracksOf(library, *found);
    invocation.out() << u"Wrote \""_s << nameOf(*found) << u"\" ("_s << TrackListSummary::countText(tracks.size())
                     << u") to "_s << target.toLocalFile() << u'\n';
    if (const auto* playlist = std::get_if<Playlist>(&*found)) {
        const qsizetype dangling = playlist->trackIDs.size() - tracks.size();
        if (dangling > 0) {
            invocation.out() << dangling
                             << (dangling == 1 ? u" entry was left out: its track is"_s
                                               : u" entries were left out: their tracks are"_s)
                             << u" no longer in the library.\n"_s;
        }
    }
    co_return int(exitSuccess);
}

} // namespace

void addPlaylistCommands(CommandLine& commandLine)
{
    commandLine.addGroup(u"playlist"_s, u"Playlists and smart playlists"_s);
    commandLine.add({
        .path = {u"playlist"_s, u"list"_s},
        .summary = u"List the playlists and smart playlists with their track counts and ids."_s,
        .hasJsonOutput = true,
        .access = Command::Access::library,
        .run = list,
    });
    commandLine.add({
        .path = {u"playlist"_s, u"show"_s},
        .arguments = u"NAME"_s,
        .summary = u"Show the tracks of a playlist or smart playlist, named exactly or by its id."_s,
        .minimumArguments = 1,
        .maximumArguments = 1,
        .hasJsonOutput = true,
        .access = Command::Access::library,
        .run = show,
    });
    commandLine.add({
        .path = {u"playlist"_s, u"export"_s},
        .arguments = u"NAME FILE"_s,
        .summary = u"Write a playlist or smart playlist as an M3U8 file; FILE may be a folder, which receives "
                   "NAME.m3u8. Paths are relative to the file's folder unless --absolute."_s,
        .options = {QCommandLineOption(u"absolute"_s, u"Write absolute paths instead of paths relative to the file's folder"_s)},
        .minimumArguments = 2,
        .maximumArguments = 2,
        .access = Command::Access::library,
        .run = exportPlaylist,
    });
}
