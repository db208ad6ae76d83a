#include "TagWriter.h"

#include "JsonCoding.h"
#include "NumberParsing.h"
#include "TagFile.h"
#include "TagPictures.h"
#include "TagProperties.h"
#include "Uuid.h"

#include <QFileInfo>

#include <taglib/tag.h>

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace TagWriter {

namespace {

QString sentence(WriteError::Kind kind, const QString& path)
{
    switch (kind) {
    case WriteError::Kind::fileNotFound: return u"The file “%1” could not be found."_s.arg(path);
    case WriteError::Kind::invalidFile:
        return u"The tags of “%1” cannot be written: it is not an audio file Sonorelle can tag."_s.arg(path);
    case WriteError::Kind::saveFailed:
        return u"The tags could not be saved to “%1”. Check that the file can be written."_s.arg(path);
    }
    Q_UNREACHABLE();
}

} // namespace

WriteError::WriteError(Kind kind, const QString& path)
    : std::runtime_error(sentence(kind, path).toStdString())
    , m_kind(kind)
    , m_path(path)
{
}

QString WriteError::message() const
{
    return QString::fromUtf8(what());
}

namespace {

void checkExists(const QString& path)
{
    if (!QFileInfo(path).isFile())
        throw WriteError(WriteError::Kind::fileNotFound, path);
}

void checkValid(const TagFile& file, const QString& path)
{
    if (!file.isValid())
        throw WriteError(WriteError::Kind::invalidFile, path);
}

// The tag interface stores years and track numbers unsigned; anything else is no number.
unsigned int tagNumber(const std::optional<qint64>& value)
{
    if (!value || *value < 0 || *value > std::numeric_limits<unsigned int>::max())
        return 0;
    return static_cast<unsigned int>(*value);
}

void setOrRemove(TagLib::PropertyMap& properties, const TagLib::String& name, const std::optional<QString>& value)
{
    if (value && !value->isEmpty())
        properties.replace(name, TagLib::StringList(TagProperties::toTagLib(*value)));
    else
        properties.erase(name);
}

// The count another program wrote after a number, as in "5/7"; none without one.
std::optional<QString> totalOf(const std::optional<QString>& text)
{
    if (!text)
        return std::nullopt;
    const qsizetype slash = text->indexOf(u'/');
    if (slash < 0)
        return std::nullopt;
    const QString total = text->mid(slash + 1).trimmed();
    if (total.isEmpty())
        return std::nullopt;
    return total;
}

QString withTotal(qint64 number, const std::optional<QString>& total)
{
    return total ? QString::number(number) + u'/' + *total : QString::number(number);
}

const TagLib::String trackNumberProperty = "TRACKNUMBER";

// A disc number is removed only when the file held one the reader understood: "1/2" reads as
// no disc number, and writing that none back would drop what the file said.
void writeDiscNumber(TagLib::PropertyMap& properties, const std::optional<QString>& before,
                     const std::optional<qint64>& discNumber)
{
    if (discNumber)
        properties.replace(TagProperties::discNumber,
                           TagLib::StringList(TagProperties::toTagLib(withTotal(*discNumber, totalOf(before)))));
    else if (before && NumberParsing::strictInteger(*before))
        properties.erase(TagProperties::discNumber);
}

} // namespace

void write(const Track& track)
{
    using namespace TagProperties;
    const QString path = track.path();
    checkExists(path);
    TagFile file(path, TagFile::Access::write);
    checkValid(file, path);

    // Totals ride beside the numbers ("5/7"); setting a number through the tag interface
    // drops them, so they are taken first and put back.
    const TagLib::PropertyMap before = file.properties();
    TagLib::Tag& tag = file.tag();
    tag.setTitle(toTagLib(track.title));
    tag.setArtist(toTagLib(track.artist));
    tag.setAlbum(toTagLib(track.album));
    tag.setGenre(toTagLib(track.genre));
    tag.setYear(tagNumber(track.year));
    tag.setTrack(tagNumber(track.trackNumber));

    TagLib::PropertyMap properties = file.properties();
    setOrRemove(properties, albumArtist, track.albumArtist);
    if (const unsigned int number = tagNumber(track.trackNumber); number > 0) {
        if (const auto total = totalOf(first(before, trackNumberProperty)))
            properties.replace(trackNumberProperty, TagLib::StringList(toTagLib(withTotal(number, total))));
    }
    writeDiscNumber(properties, first(before, discNumber), track.discNumber);
    const QString idText = Uuid::text(track.id);
    setOrRemove(properties, velmoTrackID, idText);
    // Our own id comes back through externalID too; it must never pose as a MusicBrainz id.
    if (track.externalID && *track.externalID != idText && !track.externalID->isEmpty())
        setOrRemove(properties, musicBrainzTrackID, track.externalID);
    if (track.releaseMBID && !track.releaseMBID->isEmpty())
        setOrRemove(properties, musicBrainzAlbumID, track.releaseMBID);
    if (track.releaseGroupMBID && !track.releaseGroupMBID->isEmpty())
        setOrRemove(properties, musicBrainzReleaseGroupID, track.releaseGroupMBID);
    setOrRemove(properties, bpm, track.bpm ? std::optional<QString>(QString::number(*track.bpm)) : std::nullopt);

    for (const QString& oldKey : splitKeys(first(properties, customKeys).value_or(QString()))) {
        if (!track.customTags.contains(oldKey))
            properties.erase(customPropertyName(oldKey));
    }
    for (auto it = track.customTags.cbegin(); it != track.customTags.cend(); ++it)
        properties.replace(customPropertyName(it.key()), TagLib::StringList(toTagLib(it.value())));
    QStringList keys = track.customTags.keys();
    std::sort(keys.begin(), keys.end());
    setOrRemove(properties, customKeys, keys.join(u','));

    file.setProperties(properties);
    if (!file.save())
        throw WriteError(WriteError::Kind::saveFailed, path);
}

void writeReplayGain(const QString& path, const ReplayGain::Values& values)
{
    using namespace TagProperties;
    checkExists(path);
    TagFile file(path, TagFile::Access::write);
    checkValid(file, path);
    TagLib::PropertyMap properties = file.properties();
    const auto number = [](double value) { return std::optional<QString>(QString::number(value)); };
    if (file.isOpus()) {
        setOrRemove(properties, r128TrackGain, number(ReplayGain::opusGain(values.trackLoudness)));
        setOrRemove(properties, r128AlbumGain,
                    values.albumLoudness ? number(ReplayGain::opusGain(*values.albumLoudness)) : std::nullopt);
    } else {
        const auto gain = [](std::optional<double> value) {
            return value ? std::optional<QString>(ReplayGain::gainText(*value)) : std::nullopt;
        };
        const auto peak = [](std::optional<double> value) {
            return value ? std::optional<QString>(ReplayGain::peakText(*value)) : std::nullopt;
        };
        setOrRemove(properties, replayGainTrackGain, gain(values.trackGain()));
        setOrRemove(properties, replayGainTrackPeak, peak(values.trackPeak));
        setOrRemove(properties, replayGainAlbumGain, gain(values.albumGain()));
        setOrRemove(properties, replayGainAlbumPeak, peak(values.albumPeak));
    }
    file.setProperties(properties);
    if (!file.save())
        throw WriteError(WriteError::Kind::saveFailed, path);
}

void writeArtwork(const QUrl& url, const QByteArray& data, const QString& mimeType)
{
    const QString path = url.toLocalFile();
    checkExists(path);
    if (data.isEmpty())
        return;
    TagFile file(path, TagFile::Access::write);
    checkValid(file, path);
    if (!TagPictures::replaceAll(file.file(), data, mimeType) || !file.save())
        throw WriteError(WriteError::Kind::saveFailed, path);
}

void removeArtwork(const QUrl& url)
{
    const QString path = url.toLocalFile();
    checkExists(path);
    TagFile file(path, TagFile::Access::write);
    checkValid(file, path);
    if (!TagPictures::removeAll(file.file()) || !file.save())
        throw WriteError(WriteError::Kind::saveFailed, path);
}

} // namespace TagWriter
