#include "CDImporter.h"

#include "CueSheet.h"
#include "RipAudit.h"
#include "library/Background.h"
#include "library/Date.h"
#include "library/JsonCoding.h"
#include "library/LibraryOrganizer.h"
#include "library/TagWriter.h"

#include <QDir>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace CDImporter {

TrackMetadataStub stubFor(const ReleaseMetadata& release, qint64 trackIndex)
{
    if (trackIndex < release.tracks.size())
        return release.tracks.at(trackIndex);
    return {.number = trackIndex + 1, .title = u"Track "_s + QString::number(trackIndex + 1), .artist = release.artist};
}

Track makeTrack(const QUrl& file, const TrackMetadataStub& stub, const ReleaseMetadata& release,
                const std::optional<ArtworkFetcher::ArtworkResult>& artwork)
{
    Track track;
    track.id = QUuid::createUuid();
    track.url = file;
    track.title = stub.title;
    track.artist = stub.artist;
    track.albumArtist = release.artist;
    track.album = release.title;
    track.genre = release.genre.value_or(QString());
    track.year = release.year;
    track.trackNumber = stub.number;
    track.discNumber = stub.discNumber ? stub.discNumber : release.discNumber;
    track.duration = stub.duration;
    track.format = AudioFormat::flac;
    track.dateAdded = Date::now();
    track.externalID = stub.recordingMBID ? *stub.recordingMBID : Json::uuidString(track.id);
    if (!release.mbid.isEmpty())
        track.releaseMBID = release.mbid;
    track.releaseGroupMBID = release.releaseGroupID;
    if (artwork)
        track.artworkData = artwork->data;
    return track;
}

QString verdictSummary(const QList<TrackImportResult>& results)
{
    QList<AccurateRip::Verdict> verdicts;
    for (const TrackImportResult& result : results) {
        if (result.verdict)
            verdicts.append(*result.verdict);
    }
    return AccurateRip::summary(verdicts);
}

QCoro::Task<QList<TrackImportResult>> importDisc(QString source, DiscTOC toc, ReleaseMetadata release,
                                                 std::optional<ArtworkFetcher::ArtworkResult> artwork, QUrl into,
                                                 std::optional<QList<qint64>> trackIndices, bool overwriteExisting,
                                                 DiscRipStrategy& strategy, TrackProgressHandler onTrackProgress,
                                                 TrackCompleteHandler onTrackComplete)
{
    const QString temporary =
        QDir::temp().filePath(u"velmo_rip_"_s + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper());
    QList<qint64> indices;
    if (trackIndices) {
        indices = *trackIndices;
    } else {
        for (qint64 i = 0; i < toc.trackCount; ++i)
            indices.append(i);
    }

    RipAudit audit(source, toc, strategy);
    QList<TrackImportResult> results;
    for (const qint64 index : std::as_const(indices)) {
        TrackImportResult result{.trackIndex = index};
        const TrackMetadataStub stub = stubFor(release, index);
        const CDRipper::ProgressHandler forward = [onTrackProgress, index](const CDRipper::Progress& progress) {
            if (onTrackProgress)
                onTrackProgress(index, progress);
        };
        std::optional<QUrl> ripped;
        try {
            const DiscRipStrategy::RippedTrack read =
                co_await strategy.ripTrackChecked(source, toc, index, QUrl::fromLocalFile(temporary), forward);
            const DiscRipStrategy::RippedTrack kept = co_await audit.check(index, read, temporary, forward);
            ripped = kept.file;
            result.verdict = audit.verdict(index);
        } catch (const CDRipper::RipError& error) {
            result.error = TrackError{TrackError::Kind::ripFailed, error.message()};
        } catch (const CueSheet::LoadError& error) {
            result.error = TrackError{TrackError::Kind::ripFailed, error.message()};
        }
        if (ripped) {
            const Track made = makeTrack(*ripped, stub, release, artwork);
            // Tags and cover are a courtesy: a file that refuses them still counts as ripped.
            const auto place = [made, artwork, into, overwriteExisting] {
                try {
                    TagWriter::write(made);
                    if (artwork)
                        TagWriter::writeArtwork(made.url, artwork->data, artwork->mimeType);
                } catch (const TagWriter::WriteError&) {
                }
                return LibraryOrganizer::move(made, into, overwriteExisting);
            };
            try {
                result.track = co_await Background::run(place);
            } catch (const LibraryOrganizer::OrganizerError& error) {
                result.error = TrackError{TrackError::Kind::placeFailed, error.message()};
            }
        }
        results.append(result);
        if (onTrackComplete)
            onTrackComplete(result);
    }
    co_await audit.finish(release, results);
    QDir(temporary).removeRecursively();
    co_return results;
}

} // namespace CDImporter
