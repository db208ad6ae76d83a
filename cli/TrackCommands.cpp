#include "TrackCommands.h"

#include "CommandLine.h"
#include "TrackSelection.h"
#include "facade/Library.h"
#include "library/Background.h"
#include "library/DisplayText.h"
#include "library/ImageType.h"
#include "library/JsonCoding.h"
#include "library/NumberParsing.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"
#include "library/Uuid.h"
#include "metadata/ArtworkFetcher.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace {

using TrackSelection::numberText;

// The fields `track edit` sets, as `field=value`; `custom.KEY` names a custom tag.
const QStringList editableFields{u"title"_s, u"artist"_s, u"albumartist"_s, u"album"_s, u"genre"_s,
                                 u"year"_s,  u"track"_s,  u"disc"_s,        u"bpm"_s};

bool isAssignment(const QString& word)
{
    const qsizetype equals = word.indexOf(u'=');
    if (equals <= 0)
        return false;
    const QString field = word.left(equals);
    return editableFields.contains(field) || (field.startsWith(u"custom."_s) && field.size() > 7);
}

// Applies one assignment; the sentence that refuses it otherwise.
std::optional<QString> assign(Track& track, const QString& word)
{
    const qsizetype equals = word.indexOf(u'=');
    const QString field = word.left(equals);
    const QString value = word.mid(equals + 1);
    if (field.startsWith(u"custom."_s)) {
        if (value.isEmpty())
            track.customTags.remove(field.mid(7));
        else
            track.customTags.insert(field.mid(7), value);
        return std::nullopt;
    }
    QString* texts[] = {&track.title, &track.artist, &track.albumArtist, &track.album, &track.genre};
    const qsizetype index = editableFields.indexOf(field);
    if (index < 5) {
        *texts[index] = value;
        return std::nullopt;
    }
    std::optional<qint64>* numbers[] = {&track.year, &track.trackNumber, &track.discNumber, &track.bpm};
    const std::optional<qint64> number = NumberParsing::strictInteger(value);
    if (!value.isEmpty() && (!number || *number < 0))
        return u"“%1”: %2 takes a whole number, or nothing to clear it."_s.arg(word, field);
    *numbers[index - 5] = value.isEmpty() ? std::nullopt : number;
    return std::nullopt;
}

// "title: Old → New" for each field that differs.
QStringList changes(const Track& before, const Track& after)
{
    QStringList lines;
    const auto compare = [&lines](const QString& name, const QString& old, const QString& now) {
        if (old != now)
            lines.append(u"    %1: %2 → %3"_s.arg(name, old.isEmpty() ? u"(none)"_s : old, now.isEmpty() ? u"(none)"_s : now));
    };
    compare(u"title"_s, before.title, after.title);
    compare(u"artist"_s, before.artist, after.artist);
    compare(u"albumartist"_s, before.albumArtist, after.albumArtist);
    compare(u"album"_s, before.album, after.album);
    compare(u"genre"_s, before.genre, after.genre);
    compare(u"year"_s, numberText(before.year), numberText(after.year));
    compare(u"track"_s, numberText(before.trackNumber), numberText(after.trackNumber));
    compare(u"disc"_s, numberText(before.discNumber), numberText(after.discNumber));
    compare(u"bpm"_s, numberText(before.bpm), numberText(after.bpm));
    QStringList keys = before.customTags.keys() + after.customTags.keys();
    keys.removeDuplicates();
    for (const QString& key : std::as_const(keys))
        compare(u"custom."_s + key, before.customTags.value(key), after.customTags.value(key));
    return lines;
}

QCoro::Task<int> list(Invocation& invocation)
{
    const auto selection = TrackSelection::select(invocation, invocation.arguments());
    if (!selection)
        co_return TrackSelection::usageStatus;
    QList<Track> tracks = *selection;
    if (const auto problem = TrackSelection::sort(tracks, invocation.value(u"sort"_s)))
        co_return invocation.fail(*problem);
    if (invocation.json()) {
        JsonWriter json;
        json.beginArray();
        for (const Track& track : std::as_const(tracks)) {
            json.beginObject();
            json.field("path"_L1, track.path());
            json.key("track"_L1);
            track.writeJson(json);
            json.endObject();
        }
        json.endArray();
        invocation.out() << QJsonDocument::fromJson(json.bytes()).toJson(QJsonDocument::Indented);
        co_return int(exitSuccess);
    }
    const QString format = invocation.value(u"format"_s);
    for (const Track& track : std::as_const(tracks))
        invocation.out() << (format.isEmpty() ? TrackSelection::line(track) : TrackSelection::format(track, format)) << u'\n';
    invocation.out().flush();
    co_return int(exitSuccess);
}

QCoro::Task<int> show(Invocation& invocation)
{
    const Library& library = invocation.library();
    const QString key = invocation.arguments().constFirst();
    const QUuid id = QUuid::fromString(key);
    const QString path = QFileInfo(key).absoluteFilePath();
    const auto found = std::find_if(library.tracks().cbegin(), library.tracks().cend(), [&](const Track& track) {
        return (!id.isNull() && track.id == id) || track.path() == path;
    });
    if (found == library.tracks().cend())
        co_return invocation.fail(u"No track in the library has the id or path “%1”."_s.arg(key));
    const Track& t = *found;
    QTextStream& out = invocation.out();
    const auto line = [&out](const QString& name, const QString& value) {
        if (!value.isEmpty())
            out << QString(name + u':').leftJustified(14) << value << u'\n';
    };
    line(u"id"_s, Uuid::text(t.id));
    line(u"path"_s, t.path());
    line(u"title"_s, t.title);
    line(u"artist"_s, t.artist);
    line(u"albumArtist"_s, t.albumArtist);
    line(u"album"_s, t.album);
    line(u"genre"_s, t.genre);
    line(u"year"_s, numberText(t.year));
    line(u"trackNumber"_s, numberText(t.trackNumber));
    line(u"discNumber"_s, numberText(t.discNumber));
    line(u"duration"_s, DisplayText::formatDuration(t.duration));
    line(u"format"_s, DisplayText::formatText(t.format));
    line(u"bpm"_s, numberText(t.bpm));
    for (auto it = t.customTags.cbegin(); it != t.customTags.cend(); ++it)
        line(u"custom."_s + it.key(), it.value());
    const auto read = [url = t.url] { return TagReader::read(url); };
    const std::optional<TrackMetadata> metadata = co_await Background::run(read);
    if (!metadata)
        line(u"picture"_s, u"(the file cannot be read)"_s);
    else if (metadata->artworkData)
        line(u"picture"_s, QString::number(metadata->artworkData->size()) + u" bytes, "_s
                               + ImageType::mimeType(*metadata->artworkData));
    out.flush();
    co_return int(exitSuccess);
}

QCoro::Task<int> edit(Invocation& invocation)
{
    QStringList queryWords;
    QStringList assignments;
    for (const QString& word : invocation.arguments())
        (isAssignment(word) ? assignments : queryWords).append(word);
    if (assignments.isEmpty()) {
        invocation.err() << u"velmo: nothing to set; give field=value, with the fields "_s
                         << editableFields.join(u", "_s) << u" and custom.KEY"_s << Qt::endl;
        co_return int(exitUsage);
    }
    const auto selection = TrackSelection::select(invocation, queryWords);
    if (!selection)
        co_return TrackSelection::usageStatus;
    if (!TrackSelection::confirmed(invocation, *selection, u"change"_s))
        co_return int(exitFailure);

    Library& library = invocation.library();
    qsizetype changed = 0;
    qsizetype refused = 0;
    for (const Track& before : *selection) {
        Track after = before;
        for (const QString& assignment : std::as_const(assignments)) {
            if (const auto problem = assign(after, assignment)) {
                invocation.err() << u"velmo: "_s << *problem << Qt::endl;
                co_return int(exitUsage);
            }
        }
        const QStringList lines = changes(before, after);
        if (lines.isEmpty())
            continue;
        invocation.out() << before.path() << u'\n' << lines.join(u'\n') << u'\n';
        if (invocation.isSet(u"dry-run"_s))
            continue;
        try {
            co_await library.update(after);
            ++changed;
        } catch (const TagWriter::WriteError& error) {
            ++refused;
            invocation.err() << u"not changed: "_s << error.message() << Qt::endl;
        }
    }
    if (invocation.isSet(u"dry-run"_s)) {
        invocation.err() << u"Dry run: nothing was changed."_s << Qt::endl;
        co_return int(exitSuccess);
    }
    invocation.err() << u"Changed "_s << DisplayText::counted(changed, u"track"_s) << u", file and catalogue."_s;
    if (refused > 0)
        invocation.err() << u' ' << refused << u" left as they were: their files did not take the change."_s;
    invocation.err() << Qt::endl;
    co_return refused > 0 ? int(exitFailure) : int(exitSuccess);
}

QCoro::Task<int> artwork(Invocation& invocation)
{
    const bool remove = invocation.isSet(u"remove"_s);
    const QString image = invocation.value(u"set"_s);
    if (remove == !image.isEmpty()) {
        invocation.err() << u"velmo: give either --set IMAGE or --remove"_s << Qt::endl;
        co_return int(exitUsage);
    }
    const auto selection = TrackSelection::select(invocation, invocation.arguments());
    if (!selection)
        co_return TrackSelection::usageStatus;
    if (!TrackSelection::confirmed(invocation, *selection, u"change"_s))
        co_return int(exitFailure);
    QSet<QUuid> ids;
    for (const Track& track : *selection)
        ids.insert(track.id);

    Library& library = invocation.library();
    if (remove) {
        const qsizetype done = co_await library.removeArtwork(ids);
        invocation.out() << u"Removed the pictures of "_s << DisplayText::counted(done, u"track"_s) << u" of "_s
                         << selection->size() << u"."_s << Qt::endl;
        co_return done == selection->size() ? int(exitSuccess) : int(exitFailure);
    }
    QFile file(image);
    if (!file.open(QIODevice::ReadOnly))
        co_return invocation.fail(u"“%1” cannot be read: %2."_s.arg(image, file.errorString()));
    const QByteArray data = file.readAll();
    const QString mimeType = ImageType::mimeType(data);
    if (!mimeType.startsWith(u"image/"_s))
        co_return invocation.fail(u"“%1” is not a JPEG, PNG, GIF or WebP image."_s.arg(image));
    const ArtworkFetcher::ArtworkResult picture{data, mimeType};
    const qsizetype done = co_await library.applyArtwork(picture, ids);
    invocation.out() << u"Wrote the picture into "_s << DisplayText::counted(done, u"track"_s) << u" of "_s
                     << selection->size() << u"."_s << Qt::endl;
    co_return done == selection->size() ? int(exitSuccess) : int(exitFailure);
}

QCoro::Task<int> removeTracks(Invocation& invocation)
{
    const auto selection = TrackSelection::select(invocation, invocation.arguments());
    if (!selection)
        co_return TrackSelection::usageStatus;
    if (!TrackSelection::confirmed(invocation, *selection, u"remove"_s))
        co_return int(exitFailure);
    Library& library = invocation.library();
    const bool trash = invocation.isSet(u"delete-files"_s);
    qsizetype removed = 0;
    qsizetype kept = 0;
    for (const Track& track : *selection) {
        if (trash && QFileInfo::exists(track.path()) && !QFile::moveToTrash(track.path())) {
            invocation.err() << u"kept: "_s << track.path() << u" could not be moved to the trash, so its entry stays."_s
                             << Qt::endl;
            ++kept;
            continue;
        }
        library.remove(track.id);
        ++removed;
        invocation.out() << u"removed  "_s << TrackSelection::line(track) << u'\n';
    }
    invocation.out() << u"Removed "_s << DisplayText::counted(removed, u"track"_s) << u" from the library; "_s
                     << (trash ? u"their files are in the trash."_s : u"their files stay where they are."_s)
                     << Qt::endl;
    co_return kept > 0 ? int(exitFailure) : int(exitSuccess);
}

} // namespace

void addTrackCommands(CommandLine& commandLine)
{
    commandLine.addGroup(u"track"_s, u"Tracks, found by a query"_s);
    const QString queryHelp = u" QUERY is free words (title, artist, album), field:value (title, artist, albumartist, "
                              "album, genre, format, path, id), year:1990..1999, track:3, disc:2, bpm:120..130, "
                              "duration:..60; -term negates (after a \"--\" when it comes first); quote values with blanks."_s;
    const QCommandLineOption yes(u"yes"_s, u"Go ahead when the query matches more than one track"_s);
    commandLine.add({
        .path = {u"track"_s, u"list"_s},
        .arguments = u"[QUERY]"_s,
        .summary = u"List the matching tracks, sorted by title as the songs screen is."_s + queryHelp,
        .options = {QCommandLineOption(u"sort"_s,
                                       u"Sort by these fields, in turn: title, artist, album, albumartist, genre, year, "
                                       "track, duration, format, path, added"_s,
                                       u"FIELD[,FIELD]"_s),
                    QCommandLineOption(u"format"_s, u"One line per track from a template such as '{artist} - {title}'"_s,
                                       u"TEMPLATE"_s)},
        .maximumArguments = 64,
        .hasJsonOutput = true,
        .access = Command::Access::library,
        .run = list,
    });
    commandLine.add({
        .path = {u"track"_s, u"show"_s},
        .arguments = u"ID|PATH"_s,
        .summary = u"Show one track with its custom tags and the size of its picture."_s,
        .minimumArguments = 1,
        .maximumArguments = 1,
        .access = Command::Access::library,
        .run = show,
    });
    commandLine.add({
        .path = {u"track"_s, u"edit"_s},
        .arguments = u"QUERY field=value..."_s,
        .summary = u"Set title, artist, albumartist, album, genre, year, track, disc, bpm or custom.KEY (empty clears) "
                   "in the files first, then in the catalogue."_s + queryHelp,
        .options = {QCommandLineOption(u"dry-run"_s, u"Print each change as old → new and change nothing"_s), yes},
        .minimumArguments = 1,
        .maximumArguments = 64,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::library},
        .run = edit,
    });
    commandLine.add({
        .path = {u"track"_s, u"artwork"_s},
        .arguments = u"QUERY"_s,
        .summary = u"Write a picture into the matching tracks' files as their front cover, or remove their pictures."_s,
        .options = {QCommandLineOption(u"set"_s, u"The image to write"_s, u"IMAGE"_s),
                    QCommandLineOption(u"remove"_s, u"Remove the pictures"_s), yes},
        .maximumArguments = 64,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::library},
        .run = artwork,
    });
    commandLine.add({
        .path = {u"track"_s, u"remove"_s},
        .arguments = u"QUERY"_s,
        .summary = u"Take the matching tracks out of the catalogue; their files stay where they are."_s,
        .options = {QCommandLineOption(u"delete-files"_s, u"Also move the files to the trash"_s), yes},
        .minimumArguments = 1,
        .maximumArguments = 64,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::library},
        .run = removeTracks,
    });
}
