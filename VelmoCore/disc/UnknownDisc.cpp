#include "UnknownDisc.h"

#include "CueSheet.h"

using namespace Qt::StringLiterals;

namespace UnknownDisc {

Names read(const QString& source)
{
    if (!MusicBrainzDiscLookup::isDiscImage(source))
        return {CDText::readDrive(source), std::nullopt};
    try {
        const CueSheet sheet = CueSheet::load(source);
        return {sheet.cdText(), sheet.year()};
    } catch (const CueSheet::LoadError&) {
        return {};
    }
}

ReleaseMetadata release(const DiscTOC& toc, const Names& names)
{
    const CDText& text = names.text;
    ReleaseMetadata made{
        .title = text.albumTitle.isEmpty() ? unknownAlbum : text.albumTitle,
        .artist = text.albumPerformer.isEmpty() ? unknownArtist : text.albumPerformer,
        .year = names.year,
    };
    if (!text.genre.isEmpty())
        made.genre = text.genre;
    for (qint64 i = 0; i < toc.trackCount; ++i) {
        const QString title = text.trackTitles.value(i);
        const QString performer = text.trackPerformers.value(i);
        made.tracks.append({.number = i + 1,
                            .title = title.isEmpty() ? u"Track %1"_s.arg(i + 1) : title,
                            .artist = performer.isEmpty() ? made.artist : performer,
                            .duration = double(toc.trackEnd(i) - toc.trackStart(i)) / 75.0});
    }
    return made;
}

ReleaseMetadata distinct(ReleaseMetadata release, const QString& discID)
{
    if (release.mbid.isEmpty() && release.title == unknownAlbum && !discID.isEmpty())
        release.title = u"%1 (%2)"_s.arg(unknownAlbum, discID.left(8));
    return release;
}

} // namespace UnknownDisc
