#include "TrackEditor.h"

#include "library/NumberParsing.h"

using namespace Qt::StringLiterals;

namespace {

QString numberText(const std::optional<qint64>& number)
{
    return number ? QString::number(*number) : QString();
}

std::optional<qint64> parseNumber(const QString& text)
{
    return text.isEmpty() ? std::nullopt : NumberParsing::strictInteger(text);
}

// Blanks, not newlines: a key typed with a trailing space is the same key.
QString trimBlanks(const QString& text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    const auto isBlank = [](QChar c) { return c == u' ' || c == u'\t' || c.category() == QChar::Separator_Space; };
    while (begin < end && isBlank(text.at(begin)))
        ++begin;
    while (end > begin && isBlank(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin);
}

} // namespace

TrackEditor TrackEditor::from(const Track& snapshot)
{
    TrackEditor editor;
    editor.title = snapshot.title;
    editor.artist = snapshot.artist;
    editor.albumArtist = snapshot.albumArtist;
    editor.album = snapshot.album;
    editor.year = numberText(snapshot.year);
    editor.genre = snapshot.genre;
    editor.trackNumber = numberText(snapshot.trackNumber);
    editor.discNumber = numberText(snapshot.discNumber);
    editor.artworkData = snapshot.artworkData;
    for (auto it = snapshot.customTags.cbegin(); it != snapshot.customTags.cend(); ++it)
        editor.customTags.append({QUuid::createUuid(), it.key(), it.value()});
    return editor;
}

std::variant<QMap<QString, QString>, QString> TrackEditor::tagMap() const
{
    QMap<QString, QString> tags;
    for (const TagEntry& entry : customTags) {
        const QString key = trimBlanks(entry.key);
        if (key.isEmpty())
            continue;
        if (tags.contains(key))
            return u"Duplicate values for key: '"_s + key + u"'"_s;
        tags.insert(key, entry.value);
    }
    return tags;
}

bool TrackEditor::hasUnsavedChanges(const Track& snapshot) const
{
    if (title != snapshot.title || artist != snapshot.artist || albumArtist != snapshot.albumArtist
        || album != snapshot.album || genre != snapshot.genre || year != numberText(snapshot.year)
        || trackNumber != numberText(snapshot.trackNumber) || discNumber != numberText(snapshot.discNumber)
        || artworkChanged)
        return true;
    const auto tags = tagMap();
    // Two rows with one key cannot be what was saved, so they count as a change to report.
    return !std::holds_alternative<QMap<QString, QString>>(tags)
        || std::get<QMap<QString, QString>>(tags) != snapshot.customTags;
}

std::variant<Track, QString> TrackEditor::makeRecord(const Track& snapshot) const
{
    auto tags = tagMap();
    if (const auto* refusal = std::get_if<QString>(&tags))
        return *refusal;
    Track record = snapshot;
    record.title = title;
    record.artist = artist;
    record.albumArtist = albumArtist;
    record.album = album;
    record.genre = genre;
    record.year = parseNumber(year);
    record.trackNumber = parseNumber(trackNumber);
    record.discNumber = parseNumber(discNumber);
    record.artworkData = artworkData;
    record.customTags = std::get<QMap<QString, QString>>(std::move(tags));
    return record;
}
