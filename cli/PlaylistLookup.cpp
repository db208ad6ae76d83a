#include "PlaylistLookup.h"

#include "facade/Library.h"
#include "library/JsonCoding.h"
#include "library/Uuid.h"

using namespace Qt::StringLiterals;

namespace PlaylistLookup {

QString kindName(const AnyPlaylist& playlist)
{
    return std::holds_alternative<Playlist>(playlist) ? u"playlist"_s : u"smart playlist"_s;
}

QUuid idOf(const AnyPlaylist& playlist)
{
    return std::visit([](const auto& p) { return p.id; }, playlist);
}

QString nameOf(const AnyPlaylist& playlist)
{
    return std::visit([](const auto& p) { return p.name; }, playlist);
}

std::optional<AnyPlaylist> findPlaylist(Invocation& invocation, const QString& nameOrID)
{
    const Library& library = invocation.library();
    QList<AnyPlaylist> named;
    for (const Playlist& playlist : library.playlists()) {
        if (playlist.name == nameOrID)
            named.append(playlist);
    }
    for (const SmartPlaylist& smartPlaylist : library.smartPlaylists()) {
        if (smartPlaylist.name == nameOrID)
            named.append(smartPlaylist);
    }
    if (named.size() == 1)
        return named.constFirst();
    if (named.size() > 1) {
        QStringList candidates;
        for (const AnyPlaylist& playlist : named)
            candidates.append(u"  "_s + kindName(playlist) + u' ' + Uuid::text(idOf(playlist)));
        invocation.fail(u"%1 playlists are named \"%2\":\n%3\nGive the id of the one you mean in place of the name."_s
                            .arg(named.size())
                            .arg(nameOrID, candidates.join(u'\n')));
        return std::nullopt;
    }

    const QUuid id = QUuid::fromString(nameOrID);
    if (!id.isNull()) {
        for (const Playlist& playlist : library.playlists()) {
            if (playlist.id == id)
                return playlist;
        }
        for (const SmartPlaylist& smartPlaylist : library.smartPlaylists()) {
            if (smartPlaylist.id == id)
                return smartPlaylist;
        }
    }
    invocation.fail(u"No playlist or smart playlist is named \"%1\". Run \"velmo playlist list\" to see them all."_s
                        .arg(nameOrID));
    return std::nullopt;
}

QList<Track> tracksOf(const Library& library, const AnyPlaylist& playlist)
{
    return std::visit([&library](const auto& p) { return library.resolve(p); }, playlist);
}

} // namespace PlaylistLookup
