#include "MetadataCommands.h"

#include "CommandLine.h"
#include "facade/Library.h"
#include "library/DisplayText.h"
#include "metadata/MetadataHTTPClient.h"
#include "metadata/MusicBrainzReleaseLookup.h"

#include <QScopeGuard>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString albumArtistOf(const Track& track)
{
    return track.albumArtist.isEmpty() ? track.artist : track.albumArtist;
}

// The album's tracks in disc and track order, named as the album grid names albums: by album
// artist (or artist) and album. Exact names first; failing that, names that differ only in
// case, as long as they name one album.
std::optional<QList<Track>> findAlbum(Invocation& invocation, const QString& artist, const QString& album)
{
    const QList<Track>& tracks = invocation.library().tracks();
    QList<Track> found;
    for (const Track& track : tracks) {
        if (albumArtistOf(track) == artist && track.album == album)
            found.append(track);
    }
    if (found.isEmpty()) {
        QStringList spellings;
        for (const Track& track : tracks) {
            if (albumArtistOf(track).compare(artist, Qt::CaseInsensitive) == 0
                && track.album.compare(album, Qt::CaseInsensitive) == 0) {
                const QString spelling = u"  \""_s + track.album + u"\" by "_s + albumArtistOf(track);
                if (!spellings.contains(spelling))
                    spellings.append(spelling);
                found.append(track);
            }
        }
        if (spellings.size() > 1) {
            invocation.fail(u"%1 albums match \"%2\" by %3 when case is ignored:\n%4\nGive the names exactly as one of "
                            u"them is written."_s.arg(spellings.size())
                                .arg(album, artist, spellings.join(u'\n')));
            return std::nullopt;
        }
    }
    if (found.isEmpty()) {
        invocation.fail(u"No album \"%1\" by %2 is in the library."_s.arg(album, artist));
        return std::nullopt;
    }
    std::stable_sort(found.begin(), found.end(), [](const Track& a, const Track& b) {
        return std::pair(a.discNumber.value_or(0), a.trackNumber.value_or(0))
             < std::pair(b.discNumber.value_or(0), b.trackNumber.value_or(0));
    });
    return found;
}

QCoro::Task<int> fetchMissingArtwork(Invocation& invocation)
{
    QTextStream& err = invocation.err();
    err << u"Looking for tracks without artwork…"_s << Qt::endl;
    // The pass drops its failures, as the window does; here an album that could not be
    // looked up is told apart from one that has no cover.
    qsizetype failedRequests = 0;
    qsizetype failedBefore = 0;
    qsizetype unreachableAlbums = 0;
    QString reason;
    MetadataHTTPClient& client = MetadataHTTPClient::shared();
    const QMetaObject::Connection watch =
        QObject::connect(&client, &MetadataHTTPClient::unreachable, &client, [&](const QString& sentence) {
            ++failedRequests;
            reason = sentence;
        });
    const auto unwatch = qScopeGuard([&watch] { QObject::disconnect(watch); });
    const auto progress = [&](const Library::ArtworkProgress& step) {
        const bool unreachable = !step.found && failedRequests > failedBefore;
        failedBefore = failedRequests;
        unreachableAlbums += unreachable ? 1 : 0;
        err << u"  ["_s << step.albumsDone << u'/' << step.albumCount << u"] "_s << step.artist << u" — "_s
            << step.album
            << (step.found ? u": found"_s : (unreachable ? u": the services could not be reached"_s : u": no cover"_s))
            << Qt::endl;
    };
    const Library::MissingArtworkSummary summary =
        co_await invocation.library().fetchMissingArtwork(progress, client);
    if (summary.totalMissing == 0)
        invocation.out() << u"No tracks were missing artwork.\n"_s;
    else
        invocation.out() << u"Found artwork for "_s << summary.fetchedCount << u" of "_s << summary.totalMissing
                         << u" tracks.\n"_s;
    if (unreachableAlbums > 0) {
        while (reason.endsWith(u'.'))
            reason.chop(1);
        co_return invocation.fail(u"The artwork services could not be reached (%1), so %2 could not be looked up."_s.arg(
            reason, DisplayText::counted(unreachableAlbums, u"album"_s)));
    }
    co_return int(exitSuccess);
}

QCoro::Task<int> listCandidates(Invocation& invocation, const QList<Track>& album)
{
    const Track& first = album.constFirst();
    QList<ReleaseCandidate> candidates;
    try {
        candidates = co_await invocation.library().searchAlbumReleaseCandidates(albumArtistOf(first), first.album,
                                                                                first.releaseGroupMBID);
    } catch (const MusicBrainzReleaseLookup::LookupError& error) {
        co_return invocation.fail(error.message());
    }
    QTextStream& out = invocation.out();
    if (candidates.isEmpty()) {
        out << u"No matches found on MusicBrainz.\n"_s;
        co_return int(exitSuccess);
    }
    out << u"Releases that may be \""_s << first.album << u"\" by "_s << albumArtistOf(first) << u" ("_s
        << DisplayText::counted(album.size(), u"track"_s)
        << u" in the library). Apply one with --release ID:\n"_s;
    for (const ReleaseCandidate& candidate : std::as_const(candidates)) {
        out << u"  "_s << candidate.id << u"  "_s << candidate.title << u" — "_s << candidate.artist << u"\n    "_s
            << candidate.detailText() << u'\n';
    }
    co_return int(exitSuccess);
}

QCoro::Task<int> refetchAlbum(Invocation& invocation)
{
    const QString artist = invocation.value(u"artist"_s);
    const QString albumName = invocation.value(u"album"_s);
    if (!invocation.isSet(u"artist"_s) || !invocation.isSet(u"album"_s)) {
        invocation.err() << u"velmo: name the album with --artist and --album.\nUsage: velmo album refetch --artist "
                            u"ARTIST --album ALBUM [--release ID | --disc-id]"_s
                         << Qt::endl;
        co_return int(exitUsage);
    }
    const std::optional<QList<Track>> album = findAlbum(invocation, artist, albumName);
    if (!album)
        co_return int(exitFailure);
    if (invocation.isSet(u"disc-id"_s)) {
        if (invocation.isSet(u"release"_s)) {
            invocation.err() << u"velmo: give either --disc-id or --release."_s << Qt::endl;
            co_return int(exitUsage);
        }
        invocation.err() << u"Looking up the disc of "_s << DisplayText::counted(album->size(), u"track"_s)
                         << u" on MusicBrainz…"_s << Qt::endl;
        try {
            const Library::AlbumRefetchSummary summary = co_await invocation.library().lookUpAlbumAgain(*album);
            invocation.out() << summary.message() << u'\n';
        } catch (const Library::AlbumRefetchError& error) {
            co_return invocation.fail(u"Look-up failed: "_s + error.message());
        }
        co_return int(exitSuccess);
    }
    if (!invocation.isSet(u"release"_s))
        co_return co_await listCandidates(invocation, *album);

    const QString releaseID = invocation.value(u"release"_s);
    invocation.err() << u"Applying release "_s << releaseID << u" to "_s << DisplayText::counted(album->size(), u"track"_s)
                     << u"…"_s << Qt::endl;
    try {
        const Library::AlbumRefetchSummary summary =
            co_await invocation.library().refetchAlbumInfo(*album, releaseID);
        invocation.out() << summary.message() << u'\n';
    } catch (const Library::AlbumRefetchError& error) {
        co_return invocation.fail(u"Re-fetch failed: "_s + error.message());
    }
    co_return int(exitSuccess);
}

} // namespace

void addMetadataCommands(CommandLine& commandLine)
{
    commandLine.addGroup(u"artwork"_s, u"Album covers"_s);
    commandLine.add({
        .path = {u"artwork"_s, u"fetch-missing"_s},
        .summary = u"Look up a cover for every album with tracks that have none, and write it into their files. "
                   "Tracks without an album name are skipped."_s,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::library},
        .run = fetchMissingArtwork,
    });

    commandLine.addGroup(u"album"_s, u"Albums"_s);
    commandLine.add({
        .path = {u"album"_s, u"refetch"_s},
        .summary = u"List the MusicBrainz releases that may be the album; with --release, overwrite the album's "
                   "titles, artists, year, numbers and cover with that release's; with --disc-id, with those of "
                   "the release MusicBrainz now gives for the disc it was ripped from, and move its files to "
                   "their named folder."_s,
        .options = {QCommandLineOption(u"artist"_s, u"The album artist (or artist), as the library has it"_s,
                                       u"ARTIST"_s),
                    QCommandLineOption(u"album"_s, u"The album's name, as the library has it"_s, u"ALBUM"_s),
                    QCommandLineOption(u"release"_s, u"The MusicBrainz release ID to apply"_s, u"ID"_s),
                    QCommandLineOption(u"disc-id"_s, u"Look the album up by the disc ID its tracks carry"_s)},
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::library},
        .run = refetchAlbum,
    });
}
