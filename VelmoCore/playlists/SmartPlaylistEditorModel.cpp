#include "SmartPlaylistEditorModel.h"

#include "SmartRuleEngine.h"
#include "TrackListSummary.h"

using namespace Qt::StringLiterals;

namespace {

QStringList filtered(const QStringList& options, const QString& search)
{
    QStringList result;
    for (const QString& option : options) {
        if (SmartPlaylistEditorModel::matchesSearch(option, search))
            result.append(option);
    }
    return result;
}

template <typename T>
void toggle(QSet<T>& set, const T& value)
{
    if (!set.remove(value))
        set.insert(value);
}

} // namespace

SmartPlaylist SmartPlaylistEditorModel::newDraft()
{
    const Date now = Date::now();
    return {.id = QUuid::createUuid(), .dateCreated = now, .dateModified = now};
}

SmartPlaylistEditorModel::SmartPlaylistEditorModel(SmartPlaylist draft, const QList<Track>& tracks)
    : m_draft(std::move(draft))
{
    setTracks(tracks);
}

void SmartPlaylistEditorModel::setTracks(const QList<Track>& tracks)
{
    m_tracks = tracks;
    m_artists = SmartRuleEngine::availableArtists(tracks);
    m_genres = SmartRuleEngine::availableGenres(tracks);
    m_decades = SmartRuleEngine::availableDecades(tracks);
}

QStringList SmartPlaylistEditorModel::artistOptions() const
{
    return filtered(m_artists, m_artistSearch);
}

QStringList SmartPlaylistEditorModel::genreOptions() const
{
    return filtered(m_genres, m_genreSearch);
}

void SmartPlaylistEditorModel::toggleArtist(const QString& artist)
{
    toggle(m_draft.filterArtists, artist);
}

void SmartPlaylistEditorModel::toggleGenre(const QString& genre)
{
    toggle(m_draft.filterGenres, genre);
}

void SmartPlaylistEditorModel::toggleDecade(qint64 decade)
{
    toggle(m_draft.filterDecades, decade);
}

QList<Track> SmartPlaylistEditorModel::matches() const
{
    return SmartRuleEngine::resolve(m_draft, m_tracks);
}

std::optional<QString> SmartPlaylistEditorModel::previewText() const
{
    const QList<Track> found = matches();
    if (found.isEmpty())
        return std::nullopt;
    return TrackListSummary::of(found).text();
}

bool SmartPlaylistEditorModel::canSave(const SmartPlaylist& draft)
{
    return !draft.name.trimmed().isEmpty();
}

bool SmartPlaylistEditorModel::matchesSearch(const QString& option, const QString& search)
{
    return search.isEmpty() || option.contains(search, Qt::CaseInsensitive);
}

QString SmartPlaylistEditorModel::decadeLabel(qint64 decade)
{
    return QString::number(decade) + u's';
}
