#include "TrackSelection.h"

#include "facade/Library.h"
#include "library/DisplayText.h"
#include "library/JsonCoding.h"
#include "library/TrackQuery.h"
#include "library/Uuid.h"

#include <QCollator>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace TrackSelection {

QString numberText(const std::optional<qint64>& number)
{
    return number ? QString::number(*number) : QString();
}

namespace {

// Negative, zero or positive, as the field orders the two tracks.
int compareBy(const QString& field, const Track& a, const Track& b, const QCollator& collator)
{
    const auto numbers = [](qint64 x, qint64 y) { return x < y ? -1 : (x > y ? 1 : 0); };
    if (field == u"title")
        return collator.compare(a.title, b.title);
    if (field == u"artist")
        return collator.compare(a.artist, b.artist);
    if (field == u"album")
        return collator.compare(a.album, b.album);
    if (field == u"albumartist")
        return collator.compare(a.albumArtist, b.albumArtist);
    if (field == u"genre")
        return collator.compare(a.genre, b.genre);
    if (field == u"year")
        return numbers(a.year.value_or(0), b.year.value_or(0));
    if (field == u"track") {
        // As the songs screen's "#" column: disc first, then track.
        return numbers(a.discNumber.value_or(0) * 10000 + a.trackNumber.value_or(0),
                       b.discNumber.value_or(0) * 10000 + b.trackNumber.value_or(0));
    }
    if (field == u"duration")
        return a.duration < b.duration ? -1 : (a.duration > b.duration ? 1 : 0);
    if (field == u"format")
        return collator.compare(rawValue(a.format), rawValue(b.format));
    if (field == u"path")
        return collator.compare(a.path(), b.path());
    const double x = a.dateAdded.secondsSinceReferenceDate;
    const double y = b.dateAdded.secondsSinceReferenceDate;
    return x < y ? -1 : (x > y ? 1 : 0);
}

const QStringList sortFields{u"title"_s, u"artist"_s,   u"album"_s,    u"albumartist"_s, u"genre"_s, u"year"_s,
                             u"track"_s, u"duration"_s, u"format"_s, u"path"_s,        u"added"_s};

QCollator naturalCollator()
{
    QCollator collator;
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

} // namespace

std::optional<QList<Track>> select(Invocation& invocation, const QStringList& words)
{
    try {
        const TrackQuery query = TrackQuery::parse(words);
        QList<Track> tracks = query.select(invocation.library().tracks());
        sort(tracks, u"title"_s);
        return tracks;
    } catch (const TrackQuery::QueryError& error) {
        invocation.err() << u"velmo: "_s << error.message() << Qt::endl;
        return std::nullopt;
    }
}

bool confirmed(Invocation& invocation, const QList<Track>& tracks, const QString& verb)
{
    if (tracks.isEmpty()) {
        invocation.err() << u"No track matches the query."_s << Qt::endl;
        return false;
    }
    if (tracks.size() > 1 && !invocation.isSet(u"yes"_s)) {
        for (const Track& track : tracks)
            invocation.out() << line(track) << u'\n';
        invocation.err() << u"The query matches %1; add --yes to %2 them all."_s.arg(
                                DisplayText::counted(tracks.size(), u"track"_s), verb)
                         << Qt::endl;
        return false;
    }
    return true;
}

std::optional<QString> sort(QList<Track>& tracks, const QString& fields)
{
    const QStringList names = fields.isEmpty() ? QStringList{u"title"_s} : fields.split(u',', Qt::SkipEmptyParts);
    for (const QString& name : names) {
        if (!sortFields.contains(name))
            return u"“%1” is no field to sort by; the fields are %2."_s.arg(name, sortFields.join(u", "_s));
    }
    const QCollator collator = naturalCollator();
    std::stable_sort(tracks.begin(), tracks.end(), [&](const Track& a, const Track& b) {
        for (const QString& name : names) {
            if (const int order = compareBy(name, a, b, collator))
                return order < 0;
        }
        return false;
    });
    return std::nullopt;
}

QString line(const Track& track)
{
    const QString number = track.trackNumber ? QString::number(*track.trackNumber).rightJustified(2, u'0') + u' ' : QString();
    return u"%1 — %2 — %3%4 (%5) %6"_s.arg(track.artist, track.album, number, track.title,
                                          DisplayText::formatDuration(track.duration),
                                          DisplayText::formatText(track.format));
}

QString format(const Track& track, QString pattern)
{
    const QList<std::pair<QString, QString>> values{
        {u"title"_s, track.title},
        {u"artist"_s, track.artist},
        {u"albumartist"_s, track.albumArtist},
        {u"album"_s, track.album},
        {u"genre"_s, track.genre},
        {u"year"_s, numberText(track.year)},
        {u"track"_s, numberText(track.trackNumber)},
        {u"disc"_s, numberText(track.discNumber)},
        {u"bpm"_s, numberText(track.bpm)},
        {u"duration"_s, DisplayText::formatDuration(track.duration)},
        {u"format"_s, rawValue(track.format)},
        {u"path"_s, track.path()},
        {u"id"_s, Uuid::text(track.id)},
    };
    for (const auto& [name, value] : values)
        pattern.replace(u'{' + name + u'}', value);
    return pattern;
}

} // namespace TrackSelection
