#include "PlaylistEditCommands.h"

#include "CommandLine.h"
#include "PlaylistLookup.h"
#include "TrackSelection.h"
#include "facade/Library.h"
#include "library/DisplayText.h"
#include "library/JsonCoding.h"
#include "library/NumberParsing.h"
#include "library/Uuid.h"

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace PlaylistLookup;

namespace {

// The playlist a command edits: a plain one, not a smart one, whose entries are computed.
std::optional<Playlist> findPlainPlaylist(Invocation& invocation, const QString& name)
{
    const std::optional<AnyPlaylist> found = findPlaylist(invocation, name);
    if (!found)
        return std::nullopt;
    if (const auto* playlist = std::get_if<Playlist>(&*found))
        return *playlist;
    invocation.fail(u"“%1” is a smart playlist: its tracks follow its filters. Change them with \"velmo smart "
                    "edit\"."_s.arg(name));
    return std::nullopt;
}

std::optional<SmartPlaylist> findSmartPlaylist(Invocation& invocation, const QString& name)
{
    const std::optional<AnyPlaylist> found = findPlaylist(invocation, name);
    if (!found)
        return std::nullopt;
    if (const auto* smart = std::get_if<SmartPlaylist>(&*found))
        return *smart;
    invocation.fail(u"“%1” is a playlist, not a smart playlist."_s.arg(name));
    return std::nullopt;
}

QString entries(qsizetype count)
{
    return count == 1 ? u"1 entry"_s : QString::number(count) + u" entries"_s;
}

// 1-based positions as "playlist show" numbers them, to 0-based; nothing for a bad one.
std::optional<QList<qsizetype>> positions(Invocation& invocation, const QStringList& words, qsizetype count)
{
    QList<qsizetype> result;
    for (const QString& word : words) {
        const std::optional<qint64> number = NumberParsing::strictInteger(word);
        if (!number || *number < 1 || *number > count) {
            invocation.fail(u"“%1” is no position in the playlist; it has %2."_s.arg(
                word, entries(count)));
            return std::nullopt;
        }
        result.append(*number - 1);
    }
    return result;
}

QCoro::Task<int> createPlaylist(Invocation& invocation)
{
    const Playlist playlist = invocation.library().createPlaylist(invocation.arguments().constFirst());
    invocation.out() << u"Created the playlist “%1” (%2)."_s.arg(playlist.name, Uuid::text(playlist.id)) << Qt::endl;
    co_return int(exitSuccess);
}

QCoro::Task<int> renamePlaylist(Invocation& invocation)
{
    std::optional<AnyPlaylist> found = findPlaylist(invocation, invocation.arguments().at(0));
    if (!found)
        co_return int(exitFailure);
    const QString name = invocation.arguments().at(1);
    Library& library = invocation.library();
    if (auto playlist = std::get_if<Playlist>(&*found)) {
        playlist->name = name;
        library.updatePlaylist(*playlist);
    } else {
        SmartPlaylist smart = std::get<SmartPlaylist>(*found);
        smart.name = name;
        library.updateSmartPlaylist(smart);
    }
    invocation.out() << u"Renamed “%1” to “%2”."_s.arg(nameOf(*found), name) << Qt::endl;
    co_return int(exitSuccess);
}

QCoro::Task<int> deletePlaylist(Invocation& invocation)
{
    const std::optional<AnyPlaylist> found = findPlaylist(invocation, invocation.arguments().constFirst());
    if (!found)
        co_return int(exitFailure);
    Library& library = invocation.library();
    if (const auto* playlist = std::get_if<Playlist>(&*found)) {
        if (!playlist->trackIDs.isEmpty() && !invocation.isSet(u"yes"_s)) {
            co_return invocation.fail(u"“%1” holds %2; add --yes to delete it. The tracks stay in the library."_s.arg(
                playlist->name, DisplayText::counted(playlist->trackIDs.size(), u"track"_s)));
        }
        library.deletePlaylist(playlist->id);
    } else {
        library.deleteSmartPlaylist(idOf(*found));
    }
    invocation.out() << u"Deleted the "_s << kindName(*found) << u" “"_s << nameOf(*found)
                     << u"”; the tracks stay in the library."_s << Qt::endl;
    co_return int(exitSuccess);
}

QCoro::Task<int> addTracks(Invocation& invocation)
{
    const std::optional<Playlist> playlist = findPlainPlaylist(invocation, invocation.arguments().constFirst());
    if (!playlist)
        co_return int(exitFailure);
    const auto selection = TrackSelection::select(invocation, invocation.arguments().mid(1));
    if (!selection)
        co_return TrackSelection::usageStatus;
    Library& library = invocation.library();
    qsizetype added = 0;
    for (const Track& track : *selection) {
        if (playlist->trackIDs.contains(track.id))
            continue;
        library.addTrack(track.id, playlist->id);
        invocation.out() << u"added  "_s << TrackSelection::line(track) << u'\n';
        ++added;
    }
    invocation.out() << u"Added "_s << DisplayText::counted(added, u"track"_s) << u" to “"_s << playlist->name
                     << u"”; "_s << selection->size() - added << u" of those matching were there already."_s << Qt::endl;
    co_return int(exitSuccess);
}

QCoro::Task<int> removeTracks(Invocation& invocation)
{
    const std::optional<Playlist> playlist = findPlainPlaylist(invocation, invocation.arguments().constFirst());
    if (!playlist)
        co_return int(exitFailure);
    const QStringList rest = invocation.arguments().mid(1);
    QList<qsizetype> doomed;
    if (invocation.isSet(u"query"_s)) {
        const auto selection = TrackSelection::select(invocation, {invocation.value(u"query"_s)});
        if (!selection)
            co_return TrackSelection::usageStatus;
        for (qsizetype i = 0; i < playlist->trackIDs.size(); ++i) {
            const QUuid& id = playlist->trackIDs.at(i);
            if (std::any_of(selection->cbegin(), selection->cend(), [&id](const Track& t) { return t.id == id; }))
                doomed.append(i);
        }
    } else if (rest.isEmpty()) {
        invocation.err() << u"velmo: give the positions to remove, or --query QUERY"_s << Qt::endl;
        co_return int(exitUsage);
    } else {
        const auto given = positions(invocation, rest, playlist->trackIDs.size());
        if (!given)
            co_return int(exitFailure);
        doomed = *given;
    }
    // From the back, so that each position still means the entry it meant.
    std::sort(doomed.begin(), doomed.end(), std::greater<>());
    doomed.erase(std::unique(doomed.begin(), doomed.end()), doomed.end());
    for (const qsizetype at : std::as_const(doomed))
        invocation.library().removeTrack(at, playlist->id);
    invocation.out() << u"Removed "_s << entries(doomed.size())
                     << u" from “"_s << playlist->name << u"”."_s << Qt::endl;
    co_return int(exitSuccess);
}

QCoro::Task<int> moveEntries(Invocation& invocation)
{
    const std::optional<Playlist> playlist = findPlainPlaylist(invocation, invocation.arguments().constFirst());
    if (!playlist)
        co_return int(exitFailure);
    const QStringList words = invocation.arguments().mid(1);
    const auto from = positions(invocation, words.mid(0, words.size() - 1), playlist->trackIDs.size());
    if (!from)
        co_return int(exitFailure);
    const std::optional<qint64> to = NumberParsing::strictInteger(words.constLast());
    if (!to || *to < 1)
        co_return invocation.fail(u"“%1” is no position to move to."_s.arg(words.constLast()));
    invocation.library().moveTrack(playlist->id, QSet<qsizetype>(from->cbegin(), from->cend()), *to - 1);
    invocation.out() << u"Moved "_s << entries(from->size())
                     << u" of “"_s << playlist->name << u"” to position "_s << *to << u"."_s << Qt::endl;
    co_return int(exitSuccess);
}

// Decades by their first year; nothing, after saying why, for one that is not.
std::optional<QSet<qint64>> decades(Invocation& invocation, const QString& option)
{
    QSet<qint64> result;
    for (const QString& text : invocation.values(option)) {
        const std::optional<qint64> decade = NumberParsing::strictInteger(text);
        if (!decade || *decade % 10 != 0) {
            invocation.fail(u"“%1” is no decade; give its first year, such as 1990."_s.arg(text));
            return std::nullopt;
        }
        result.insert(*decade);
    }
    return result;
}

QSet<QString> valueSet(Invocation& invocation, const QString& option)
{
    const QStringList values = invocation.values(option);
    return QSet<QString>(values.cbegin(), values.cend());
}

// create takes --artist and the like; edit takes --add-artist and --remove-artist.
bool applyFilters(Invocation& invocation, SmartPlaylist& smart, bool editing)
{
    const QString add = editing ? u"add-"_s : QString();
    const auto added = decades(invocation, add + u"decade"_s);
    if (!added)
        return false;
    smart.filterDecades.unite(*added);
    smart.filterArtists.unite(valueSet(invocation, add + u"artist"_s));
    smart.filterGenres.unite(valueSet(invocation, add + u"genre"_s));
    if (!editing)
        return true;
    const auto removed = decades(invocation, u"remove-decade"_s);
    if (!removed)
        return false;
    smart.filterDecades.subtract(*removed);
    smart.filterArtists.subtract(valueSet(invocation, u"remove-artist"_s));
    smart.filterGenres.subtract(valueSet(invocation, u"remove-genre"_s));
    return true;
}

void printSmart(Invocation& invocation, const SmartPlaylist& smart, const QString& verb)
{
    const qsizetype matches = invocation.library().resolve(smart).size();
    invocation.out() << verb << u" the smart playlist “"_s << smart.name << u"” ("_s << Uuid::text(smart.id)
                     << u"): "_s << DisplayText::counted(matches, u"track"_s) << u" match."_s << Qt::endl;
}

QCoro::Task<int> smartCreate(Invocation& invocation)
{
    SmartPlaylist smart = invocation.library().createSmartPlaylist(invocation.arguments().constFirst());
    if (!applyFilters(invocation, smart, false)) {
        invocation.library().deleteSmartPlaylist(smart.id);
        co_return int(exitFailure);
    }
    invocation.library().updateSmartPlaylist(smart);
    printSmart(invocation, smart, u"Created"_s);
    co_return int(exitSuccess);
}

QCoro::Task<int> smartEdit(Invocation& invocation)
{
    std::optional<SmartPlaylist> smart = findSmartPlaylist(invocation, invocation.arguments().constFirst());
    if (!smart)
        co_return int(exitFailure);
    if (!applyFilters(invocation, *smart, true))
        co_return int(exitFailure);
    invocation.library().updateSmartPlaylist(*smart);
    printSmart(invocation, *smart, u"Changed"_s);
    co_return int(exitSuccess);
}

QCoro::Task<int> smartDelete(Invocation& invocation)
{
    const std::optional<SmartPlaylist> smart = findSmartPlaylist(invocation, invocation.arguments().constFirst());
    if (!smart)
        co_return int(exitFailure);
    invocation.library().deleteSmartPlaylist(smart->id);
    invocation.out() << u"Deleted the smart playlist “"_s << smart->name << u"”."_s << Qt::endl;
    co_return int(exitSuccess);
}

QCommandLineOption repeated(const QString& name, const QString& description, const QString& value)
{
    return QCommandLineOption(name, description + u"; may be given more than once"_s, value);
}

} // namespace

void addPlaylistEditCommands(CommandLine& commandLine)
{
    const auto changing = [](Command command, StoreKind store) {
        command.access = Command::Access::changesLibrary;
        command.writes = {store};
        return command;
    };
    commandLine.add(changing({.path = {u"playlist"_s, u"create"_s}, .arguments = u"NAME"_s,
                              .summary = u"Make an empty playlist."_s, .minimumArguments = 1, .maximumArguments = 1,
                              .run = createPlaylist},
                             StoreKind::playlists));
    commandLine.add(changing({.path = {u"playlist"_s, u"rename"_s}, .arguments = u"NAME NEW"_s,
                              .summary = u"Rename a playlist or smart playlist."_s, .minimumArguments = 2,
                              .maximumArguments = 2, .run = renamePlaylist},
                             StoreKind::playlists));
    commandLine.add(changing({.path = {u"playlist"_s, u"delete"_s}, .arguments = u"NAME"_s,
                              .summary = u"Delete a playlist or smart playlist; the tracks stay in the library."_s,
                              .options = {QCommandLineOption(u"yes"_s, u"Delete a playlist that holds tracks"_s)},
                              .minimumArguments = 1, .maximumArguments = 1, .run = deletePlaylist},
                             StoreKind::playlists));
    commandLine.add(changing({.path = {u"playlist"_s, u"add"_s}, .arguments = u"NAME QUERY"_s,
                              .summary = u"Append the tracks a query matches, in the order \"velmo track list\" shows, "
                                         "leaving out those already there."_s,
                              .minimumArguments = 1, .maximumArguments = 64, .run = addTracks},
                             StoreKind::playlists));
    commandLine.add(changing({.path = {u"playlist"_s, u"remove"_s}, .arguments = u"NAME [POSITION...]"_s,
                              .summary = u"Remove entries by their positions, as \"velmo playlist show\" numbers them, "
                                         "or those a query matches."_s,
                              .options = {QCommandLineOption(u"query"_s, u"Remove the entries of the matching tracks"_s,
                                                             u"QUERY"_s)},
                              .minimumArguments = 1, .maximumArguments = 1000, .run = removeTracks},
                             StoreKind::playlists));
    commandLine.add(changing({.path = {u"playlist"_s, u"move"_s}, .arguments = u"NAME FROM... TO"_s,
                              .summary = u"Move entries as a block to a position counted after they were taken out, as "
                                         "a drag in the playlist screen does."_s,
                              .minimumArguments = 3, .maximumArguments = 1000, .run = moveEntries},
                             StoreKind::playlists));

    commandLine.addGroup(u"smart"_s, u"Smart playlists"_s);
    commandLine.add(changing({.path = {u"smart"_s, u"create"_s}, .arguments = u"NAME"_s,
                              .summary = u"Make a smart playlist of the tracks by any of the artists, in any of the "
                                         "genres and from any of the decades given."_s,
                              .options = {repeated(u"artist"_s, u"An artist (or album artist)"_s, u"A"_s),
                                          repeated(u"genre"_s, u"A genre"_s, u"G"_s),
                                          repeated(u"decade"_s, u"A decade by its first year"_s, u"1990"_s)},
                              .minimumArguments = 1, .maximumArguments = 1, .run = smartCreate},
                             StoreKind::smartPlaylists));
    commandLine.add(changing({.path = {u"smart"_s, u"edit"_s}, .arguments = u"NAME"_s,
                              .summary = u"Add filters to a smart playlist or take them away."_s,
                              .options = {repeated(u"add-artist"_s, u"Add an artist"_s, u"A"_s),
                                          repeated(u"remove-artist"_s, u"Remove an artist"_s, u"A"_s),
                                          repeated(u"add-genre"_s, u"Add a genre"_s, u"G"_s),
                                          repeated(u"remove-genre"_s, u"Remove a genre"_s, u"G"_s),
                                          repeated(u"add-decade"_s, u"Add a decade"_s, u"1990"_s),
                                          repeated(u"remove-decade"_s, u"Remove a decade"_s, u"1990"_s)},
                              .minimumArguments = 1, .maximumArguments = 1, .run = smartEdit},
                             StoreKind::smartPlaylists));
    commandLine.add(changing({.path = {u"smart"_s, u"delete"_s}, .arguments = u"NAME"_s,
                              .summary = u"Delete a smart playlist."_s, .minimumArguments = 1, .maximumArguments = 1,
                              .run = smartDelete},
                             StoreKind::smartPlaylists));
}
