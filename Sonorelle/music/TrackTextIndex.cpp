#include "TrackTextIndex.h"

#include "LocaleCollation.h"
#include "SearchText.h"

#include <QCollator>
#include <QHash>
#include <QtConcurrent/QtConcurrentMap>

namespace {

// Work is handed to the thread pool in runs of this many tracks, each with its own collator:
// a collator is not to be shared between threads.
constexpr qsizetype runLength = 2048;

QList<std::pair<qsizetype, qsizetype>> runs(qsizetype count)
{
    QList<std::pair<qsizetype, qsizetype>> result;
    for (qsizetype start = 0; start < count; start += runLength)
        result.append({start, std::min(count, start + runLength)});
    return result;
}

} // namespace

TrackTextIndex::TrackTextIndex()
    : m_locale(LocaleCollation::locale())
{
}

void TrackTextIndex::update(const QList<Track>& tracks)
{
    QHash<QUuid, qsizetype> previous;
    previous.reserve(m_tracks.size());
    for (qsizetype i = 0; i < m_tracks.size(); ++i)
        previous.insert(m_tracks.at(i).id, i);

    // New entries get the keys that the old ones have, so that every entry can be compared.
    bool keysMade[3] = {false, false, false};
    for (int field = 0; field < 3; ++field)
        keysMade[field] = !m_entries.isEmpty() && m_entries.constFirst().keys[field].has_value();

    QList<Entry> entries(tracks.size());
    QList<qsizetype> fresh;
    for (qsizetype i = 0; i < tracks.size(); ++i) {
        const Track& track = tracks.at(i);
        const auto old = previous.constFind(track.id);
        if (old != previous.cend()) {
            const Entry& entry = m_entries.at(*old);
            if (entry.title == track.title && entry.artist == track.artist && entry.album == track.album
                && entry.albumArtist == track.albumArtist) {
                entries[i] = entry;
                continue;
            }
        }
        fresh.append(i);
    }

    Entry* prepared = entries.data();
    const auto prepare = [&](const std::pair<qsizetype, qsizetype>& run) {
        const QCollator collator = LocaleCollation::collator(m_locale);
        for (qsizetype n = run.first; n < run.second; ++n) {
            const qsizetype i = fresh.at(n);
            const Track& track = tracks.at(i);
            Entry& entry = prepared[i];
            entry = {track.title,
                     track.artist,
                     track.album,
                     track.albumArtist,
                     SearchText::fold(track.title),
                     SearchText::fold(track.artist),
                     SearchText::fold(track.album),
                     SearchText::fold(track.albumArtist),
                     {}};
            const QString* texts[3] = {&track.title, &track.artist, &track.album};
            for (int field = 0; field < 3; ++field) {
                if (keysMade[field])
                    entry.keys[field] = collator.sortKey(*texts[field]);
            }
        }
    };
    QtConcurrent::blockingMap(runs(fresh.size()), prepare);
    m_tracks = tracks;
    m_entries = std::move(entries);
}

QList<qsizetype> TrackTextIndex::filter(const QString& searchText) const
{
    QList<qsizetype> matches;
    matches.reserve(m_entries.size());
    if (searchText.isEmpty()) {
        for (qsizetype i = 0; i < m_entries.size(); ++i)
            matches.append(i);
        return matches;
    }
    const QString needle = SearchText::fold(searchText);
    for (qsizetype i = 0; i < m_entries.size(); ++i) {
        const Entry& entry = m_entries.at(i);
        if (entry.searchTitle.contains(needle) || entry.searchArtist.contains(needle) || entry.searchAlbum.contains(needle)
            || entry.searchAlbumArtist.contains(needle))
            matches.append(i);
    }
    return matches;
}

void TrackTextIndex::prepareSort(Field field)
{
    const int f = int(field);
    if (m_entries.isEmpty() || m_entries.constFirst().keys[f])
        return;
    Entry* entries = m_entries.data();
    const auto prepare = [this, f, entries](const std::pair<qsizetype, qsizetype>& run) {
        const QCollator collator = LocaleCollation::collator(m_locale);
        for (qsizetype i = run.first; i < run.second; ++i) {
            Entry& entry = entries[i];
            const QString& text = f == 0 ? entry.title : f == 1 ? entry.artist : entry.album;
            entry.keys[f] = collator.sortKey(text);
        }
    };
    QtConcurrent::blockingMap(runs(m_entries.size()), prepare);
}

int TrackTextIndex::compare(qsizetype a, qsizetype b, Field field) const
{
    const int f = int(field);
    return m_entries.at(a).keys[f]->compare(*m_entries.at(b).keys[f]);
}
