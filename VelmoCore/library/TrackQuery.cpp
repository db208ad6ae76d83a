#include "TrackQuery.h"

#include "JsonCoding.h"
#include "Uuid.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// Splits on blanks outside double quotes and drops the quotes. Throws for an unclosed quote.
QStringList tokens(const QString& text)
{
    QStringList result;
    QString current;
    bool quoted = false;
    bool inToken = false;
    for (const QChar c : text) {
        if (c == u'"') {
            quoted = !quoted;
            inToken = true;
        } else if (c.isSpace() && !quoted) {
            if (inToken)
                result.append(current);
            current.clear();
            inToken = false;
        } else {
            current += c;
            inToken = true;
        }
    }
    if (quoted)
        throw TrackQuery::QueryError(text, u"“%1” has a quotation mark that is not closed."_s.arg(text));
    if (inToken)
        result.append(current);
    return result;
}

std::optional<double> number(const QString& text, bool& ok)
{
    if (text.isEmpty())
        return std::nullopt;
    const double value = text.toDouble(&ok);
    return ok ? std::optional(value) : std::nullopt;
}

std::optional<double> numberOf(const QString& field, const Track& track)
{
    const auto asDouble = [](const std::optional<qint64>& value) {
        return value ? std::optional(double(*value)) : std::nullopt;
    };
    if (field == u"year")
        return asDouble(track.year);
    if (field == u"track")
        return asDouble(track.trackNumber);
    if (field == u"disc")
        return asDouble(track.discNumber);
    if (field == u"bpm")
        return asDouble(track.bpm);
    return track.duration;
}

QString textOf(const QString& field, const Track& track)
{
    if (field == u"title")
        return track.title;
    if (field == u"artist")
        return track.artist;
    if (field == u"albumartist")
        return track.albumArtist;
    if (field == u"album")
        return track.album;
    if (field == u"genre")
        return track.genre;
    if (field == u"format")
        return rawValue(track.format);
    if (field == u"path")
        return track.path();
    return Uuid::text(track.id);
}

} // namespace

TrackQuery::QueryError::QueryError(const QString& term, const QString& sentence)
    : std::runtime_error(sentence.toStdString())
    , m_term(term)
    , m_message(sentence)
{
}

const QStringList& TrackQuery::textFields()
{
    static const QStringList fields{u"title"_s, u"artist"_s, u"albumartist"_s, u"album"_s,
                                    u"genre"_s, u"format"_s, u"path"_s,        u"id"_s};
    return fields;
}

const QStringList& TrackQuery::numberFields()
{
    static const QStringList fields{u"year"_s, u"track"_s, u"disc"_s, u"bpm"_s, u"duration"_s};
    return fields;
}

TrackQuery::Term TrackQuery::parseTerm(const QString& text)
{
    Term term;
    QString body = text;
    if (body.size() > 1 && body.startsWith(u'-')) {
        term.negated = true;
        body = body.mid(1);
    }
    const qsizetype colon = body.indexOf(u':');
    const QString name = colon > 0 ? body.left(colon) : QString();
    const bool isField = !name.isEmpty() && std::all_of(name.cbegin(), name.cend(), [](QChar c) { return c.isLetter(); });
    if (!isField) {
        term.needle = body.toLower();
        return term;
    }
    term.field = name.toLower();
    const QString value = body.mid(colon + 1);
    if (value.isEmpty())
        throw QueryError(text, u"“%1” has no value after the colon."_s.arg(text));
    if (textFields().contains(term.field)) {
        term.needle = value.toLower();
        return term;
    }
    if (!numberFields().contains(term.field)) {
        const QStringList all = textFields() + numberFields();
        throw QueryError(text, u"“%1” names no field; the fields are %2 and %3."_s.arg(
                                   text, all.mid(0, all.size() - 1).join(u", "_s), all.last()));
    }
    term.isNumber = true;
    bool minimumOK = true;
    bool maximumOK = true;
    const qsizetype dots = value.indexOf(u".."_s);
    if (dots < 0) {
        term.minimum = term.maximum = number(value, minimumOK);
    } else {
        term.minimum = number(value.left(dots), minimumOK);
        term.maximum = number(value.mid(dots + 2), maximumOK);
    }
    if (!minimumOK || !maximumOK || (!term.minimum && !term.maximum)) {
        throw QueryError(text, u"“%1” is not a number or a range such as 1990, 1990..1999, ..60 or 120..."_s.arg(text));
    }
    return term;
}

TrackQuery TrackQuery::parse(const QStringList& words)
{
    TrackQuery query;
    for (const QString& word : words) {
        for (const QString& token : tokens(word))
            query.m_terms.append(parseTerm(token));
    }
    return query;
}

bool TrackQuery::matches(const Term& term, const Track& track)
{
    bool found = false;
    if (term.isNumber) {
        const std::optional<double> value = numberOf(term.field, track);
        found = value && (!term.minimum || *value >= *term.minimum) && (!term.maximum || *value <= *term.maximum);
    } else if (term.field.isEmpty()) {
        found = track.title.toLower().contains(term.needle) || track.artist.toLower().contains(term.needle)
             || track.album.toLower().contains(term.needle);
    } else {
        found = textOf(term.field, track).toLower().contains(term.needle);
    }
    return found != term.negated;
}

bool TrackQuery::matches(const Track& track) const
{
    return std::all_of(m_terms.cbegin(), m_terms.cend(), [&](const Term& term) { return matches(term, track); });
}

QList<Track> TrackQuery::select(const QList<Track>& tracks) const
{
    QList<Track> selected;
    for (const Track& track : tracks) {
        if (matches(track))
            selected.append(track);
    }
    return selected;
}
