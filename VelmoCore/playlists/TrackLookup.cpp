#include "TrackLookup.h"

TrackLookup::TrackLookup(const QList<Track>& tracks)
    : m_tracks(tracks)
{
    m_indexByID.reserve(tracks.size());
    for (qsizetype i = 0; i < m_tracks.size(); ++i) {
        if (!m_indexByID.contains(m_tracks.at(i).id))
            m_indexByID.insert(m_tracks.at(i).id, i);
    }
}

const Track* TrackLookup::find(const QUuid& id) const
{
    const auto it = m_indexByID.constFind(id);
    return it == m_indexByID.cend() ? nullptr : &m_tracks.at(*it);
}

QList<Track> TrackLookup::resolve(const QList<QUuid>& ids) const
{
    QList<Track> result;
    result.reserve(ids.size());
    for (const QUuid& id : ids) {
        if (const Track* track = find(id))
            result.append(*track);
    }
    return result;
}
