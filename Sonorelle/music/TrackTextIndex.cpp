#include "TrackTextIndex.h"

namespace {

// The "C" locale collates by code point, without natural numbers or case folding; a system
// set to it (as bare sessions are) still gets the natural order of English.
QLocale collationLocale()
{
    const QLocale system = QLocale::system();
    return system.language() == QLocale::C ? QLocale(QLocale::English, QLocale::UnitedStates) : system;
}

} // namespace

TrackTextIndex::TrackTextIndex()
    : m_collator(collationLocale())
{
    m_collator.setNumericMode(true);
    m_collator.setCaseSensitivity(Qt::CaseInsensitive);
}

TrackTextIndex::Entry TrackTextIndex::make(const Track& track) const
{
    return {track.title,
            track.artist,
            track.album,
            track.title.toLower(),
            track.artist.toLower(),
            track.album.toLower(),
            m_collator.sortKey(track.title),
            m_collator.sortKey(track.artist),
            m_collator.sortKey(track.album)};
}

void TrackTextIndex::update(const QList<Track>& tracks)
{
    QHash<QUuid, qsizetype> previous;
    previous.reserve(m_tracks.size());
    for (qsizetype i = 0; i < m_tracks.size(); ++i)
        previous.insert(m_tracks.at(i).id, i);

    QList<Entry> entries;
    entries.reserve(tracks.size());
    for (const Track& track : tracks) {
        const auto old = previous.constFind(track.id);
        if (old != previous.cend()) {
            const Entry& entry = m_entries.at(*old);
            if (entry.title == track.title && entry.artist == track.artist && entry.album == track.album) {
                entries.append(entry);
                continue;
            }
        }
        entries.append(make(track));
    }
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
    const QString needle = searchText.toLower();
    for (qsizetype i = 0; i < m_entries.size(); ++i) {
        const Entry& entry = m_entries.at(i);
        if (entry.searchTitle.contains(needle) || entry.searchArtist.contains(needle) || entry.searchAlbum.contains(needle))
            matches.append(i);
    }
    return matches;
}

int TrackTextIndex::compare(qsizetype a, qsizetype b, Field field) const
{
    const Entry& x = m_entries.at(a);
    const Entry& y = m_entries.at(b);
    switch (field) {
    case Field::title: return x.titleKey.compare(y.titleKey);
    case Field::artist: return x.artistKey.compare(y.artistKey);
    case Field::album: return x.albumKey.compare(y.albumKey);
    }
    Q_UNREACHABLE();
}
