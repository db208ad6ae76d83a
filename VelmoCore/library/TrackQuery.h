#pragma once

#include "Track.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>
#include <stdexcept>

// A small query over tracks, for the command line. Free words match the title, artist or
// album as the songs screen's search field does (lower-cased containment); `field:value`
// matches one text field the same way; `year:1990..1999`, `track:3`, `duration:..60` match
// numbers, with ranges open at either end; a leading "-" negates; terms join by "and"; a
// value with blanks is quoted. The empty query is every track.
class TrackQuery {
public:
    class QueryError : public std::runtime_error {
    public:
        QueryError(const QString& term, const QString& sentence);
        const QString& term() const { return m_term; }
        const QString& message() const { return m_message; }

    private:
        QString m_term;
        QString m_message;
    };

    // The words as the shell gave them; each may hold several terms separated by blanks.
    // Throws QueryError naming the term that does not parse.
    static TrackQuery parse(const QStringList& words);

    bool isEmpty() const { return m_terms.isEmpty(); }
    bool matches(const Track& track) const;
    // The matching tracks, in the order given.
    QList<Track> select(const QList<Track>& tracks) const;

    static const QStringList& textFields();   // title, artist, albumartist, album, genre, format, path, id
    static const QStringList& numberFields(); // year, track, disc, bpm, duration

private:
    struct Term {
        bool negated = false;
        QString field;  // empty for a free word
        QString needle; // lower-cased, for text terms
        std::optional<double> minimum;
        std::optional<double> maximum;
        bool isNumber = false;
    };

    static Term parseTerm(const QString& text);
    static bool matches(const Term& term, const Track& track);

    QList<Term> m_terms;
};
