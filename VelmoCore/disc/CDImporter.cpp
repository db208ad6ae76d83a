#include "CDImporter.h"

#include "CueSheet.h"
#include "RipAudit.h"
#include "UnknownDisc.h"
#include "library/Background.h"
#include "library/Date.h"
#include "library/JsonCoding.h"
#include "library/LibraryOrganizer.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"
#include "library/Uuid.h"
#include "platform/AtomicFile.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
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
    track.externalID = stub.recordingMBID ? *stub.recordingMBID : Uuid::text(track.id);
    if (!release.mbid.isEmpty())
        track.releaseMBID = release.mbid;
    track.releaseGroupMBID = release.releaseGroupID;
    if (artwork)
        track.artworkData = artwork->data;
    return track;
}

QString ctdbSummary(const QList<TrackImportResult>& results)
{
    QList<CTDB::Verdict> verdicts;
    for (const TrackImportResult& result : results) {
        if (result.ctdbVerdict)
            verdicts.append(*result.ctdbVerdict);
    }
    return CTDB::summary(verdicts);
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

namespace {

constexpr auto ripFolderPrefix = "velmo_rip_"_L1;
constexpr auto ripFolderLock = ".lock"_L1;

// The rip's own temporary folder, locked while the rip runs and gone with it on every way out
// of the rip: its end, an exception, or the coroutine destroyed while it waits.
class RipFolder {
public:
    RipFolder()
        : m_path(QDir::temp().filePath(QString(ripFolderPrefix)
                                       + Uuid::text(QUuid::createUuid())))
    {
        QDir().mkpath(m_path);
        m_lock.emplace(QDir(m_path).filePath(ripFolderLock));
        m_lock->tryLock(0);
    }
    ~RipFolder()
    {
        m_lock.reset();
        QDir(m_path).removeRecursively();
    }
    RipFolder(const RipFolder&) = delete;
    RipFolder& operator=(const RipFolder&) = delete;

    const QString& path() const { return m_path; }

private:
    QString m_path;
    std::optional<QLockFile> m_lock;
};

// The file at `path` is this disc's track at this position, from an earlier rip of ours that
// did not reach the catalogue: it is taken over rather than refused as something in the way.
bool isEarlierRip(const QString& path, const Track& track)
{
    const QString discID = track.customTags.value(Track::discIDTag());
    if (discID.isEmpty())
        return false;
    const std::optional<TrackMetadata> tags = TagReader::read(QUrl::fromLocalFile(path));
    return tags && tags->customTags.value(Track::discIDTag()) == discID
        && tags->trackNumber == track.trackNumber && tags->discNumber.value_or(1) == track.discNumber.value_or(1);
}

// Puts the ripped file at its place whole or not at all: the bytes go to a hidden name beside
// the destination, reach the disk, and only then take its name. A full library disk leaves
// no short file there, and the failure in words. Blocking; throws OrganizerError.
Track place(const Track& ripped, const QUrl& root, bool overwriteExisting)
{
    using LibraryOrganizer::OrganizerError;
    const QString destination = LibraryOrganizer::canonicalURL(ripped, root).toLocalFile();
    LibraryOrganizer::checkNameLengths(destination);
    // Under the library's lock no one else writes here: what a killed rip left beside the
    // destination is only garbage.
    AtomicFile::removeLeftovers(destination);
    const bool replace =
        overwriteExisting || (QFileInfo::exists(destination) && isEarlierRip(destination, ripped));
    if (QFileInfo::exists(destination) && !replace)
        throw OrganizerError(OrganizerError::Kind::destinationExists, destination);
    if (!QDir().mkpath(QFileInfo(destination).absolutePath()))
        throw OrganizerError(OrganizerError::Kind::fileSystem, destination, u"the folder could not be created"_s);
    const std::optional<QString> failure = AtomicFile::copy(
        ripped.path(), destination, replace ? AtomicFile::Existing::replace : AtomicFile::Existing::keep);
    if (failure)
        throw OrganizerError(OrganizerError::Kind::fileSystem, destination, *failure);
    QFile::remove(ripped.path());
    Track placed = ripped;
    placed.url = QUrl::fromLocalFile(destination);
    return placed;
}

} // namespace

void removeStaleRipFolders()
{
    const QDateTime dayAgo = QDateTime::currentDateTime().addDays(-1);
    const QFileInfoList folders = QDir::temp().entryInfoList({QString(ripFolderPrefix) + u'*'},
                                                             QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden);
    for (const QFileInfo& folder : folders) {
        if (folder.isSymLink() || folder.lastModified() > dayAgo)
            continue;
        // A lock whose process is gone is taken over; one a running rip holds is not.
        QLockFile lock(QDir(folder.filePath()).filePath(ripFolderLock));
        lock.setStaleLockTime(0);
        if (!lock.tryLock(0))
            continue;
        lock.unlock();
        QDir(folder.filePath()).removeRecursively();
    }
}

QCoro::Task<QList<TrackImportResult>> importDisc(QString source, DiscTOC toc, ReleaseMetadata release,
                                                 std::optional<ArtworkFetcher::ArtworkResult> artwork, QUrl into,
                                                 std::optional<QList<qint64>> trackIndices, bool overwriteExisting,
                                                 DiscRipStrategy& strategy, TrackProgressHandler onTrackProgress,
                                                 TrackCompleteHandler onTrackComplete)
{
    removeStaleRipFolders();
    release = UnknownDisc::distinct(std::move(release), toc.discID);
    const RipFolder folder;
    const QString temporary = folder.path();
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
            result.ctdbVerdict = audit.ctdbVerdict(index);
        } catch (const CDRipper::RipError& error) {
            result.error = TrackError{TrackError::Kind::ripFailed, error.message()};
        } catch (const CueSheet::LoadError& error) {
            result.error = TrackError{TrackError::Kind::ripFailed, error.message()};
        }
        if (ripped) {
            Track made = makeTrack(*ripped, stub, release, artwork);
            if (!toc.discID.isEmpty())
                made.customTags.insert(Track::discIDTag(), toc.discID);
            // Tags and cover are a courtesy: a file that refuses them still counts as ripped.
            const auto tagAndPlace = [made, artwork, into, overwriteExisting] {
                try {
                    TagWriter::write(made);
                    if (artwork)
                        TagWriter::writeArtwork(made.url, artwork->data, artwork->mimeType);
                } catch (const TagWriter::WriteError&) {
                }
                return place(made, into, overwriteExisting);
            };
            try {
                result.track = co_await Background::run(tagAndPlace);
            } catch (const LibraryOrganizer::OrganizerError& error) {
                result.error = TrackError{TrackError::Kind::placeFailed, error.message()};
            }
        }
        results.append(result);
        if (onTrackComplete)
            onTrackComplete(result);
    }
    co_await audit.concludeCTDB();
    for (TrackImportResult& result : results)
        result.ctdbVerdict = audit.ctdbVerdict(result.trackIndex);
    co_await audit.finish(release, results);
    co_return results;
}

} // namespace CDImporter
