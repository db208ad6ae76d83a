#include "RipAudit.h"

#include "CDImporter.h"
#include "CueSheet.h"
#include "ReadOffset.h"
#include "RipLog.h"
#include "library/Background.h"
#include "library/LibraryOrganizer.h"
#include "library/Settings.h"
#include "metadata/MusicBrainzDiscLookup.h"
#include "platform/AtomicFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

RipAudit::RipAudit(QString source, DiscTOC toc, const DiscRipStrategy& strategy)
    : m_source(std::move(source))
    , m_toc(std::move(toc))
    , m_strategyName(strategy.name())
{
}

QCoro::Task<> RipAudit::lookUp()
{
    m_lookedUp = true;
    try {
        const QString source = m_source;
        const auto identify = [source] {
            return AccurateRipID::fromFullTOC(MusicBrainzDiscLookup::rawTOCData(source));
        };
        m_id = co_await Background::run(identify);
        m_pressings = co_await AccurateRip::fetch(*m_id);
    } catch (const AccurateRip::Error& error) {
        m_lookupFailure = error.message();
    } catch (const MusicBrainzDiscLookup::LookupError& error) {
        m_lookupFailure = error.message();
    } catch (const CueSheet::LoadError& error) {
        m_lookupFailure = error.message();
    }
}

QCoro::Task<DiscRipStrategy::RippedTrack> RipAudit::check(qint64 trackIndex, DiscRipStrategy::RippedTrack ripped,
                                                          QString folder, CDRipper::ProgressHandler onProgress)
{
    m_ripped.insert(trackIndex, ripped);
    if (!ripped.checksums)
        co_return ripped;
    if (!m_lookedUp)
        co_await lookUp();
    if (!m_lookupFailure.isEmpty()) {
        m_verdicts.insert(trackIndex, {.reason = m_lookupFailure});
        co_return ripped;
    }
    AccurateRip::Verdict verdict = AccurateRip::verify(*ripped.checksums, m_pressings, trackIndex);
    if (verdict.outcome == AccurateRip::Verdict::Outcome::mismatch) {
        const std::unique_ptr<DiscRipStrategy> paranoia = makeStrategy(RipStrategyKind::paranoia, ripped.readOffset);
        const QUrl again = QUrl::fromLocalFile(QDir(folder).filePath(u"reread"_s));
        verdict.reread = true;
        try {
            const DiscRipStrategy::RippedTrack second =
                co_await paranoia->ripTrackChecked(m_source, m_toc, trackIndex, again, onProgress);
            AccurateRip::Verdict secondVerdict = AccurateRip::verify(*second.checksums, m_pressings, trackIndex);
            if (secondVerdict.matched()) {
                secondVerdict.reread = true;
                verdict = secondVerdict;
                ripped = second;
                m_ripped.insert(trackIndex, ripped);
            }
        } catch (const CDRipper::RipError&) {
            // The first read stands, with its mismatch.
        }
    }
    m_verdicts.insert(trackIndex, verdict);
    co_return ripped;
}

std::optional<AccurateRip::Verdict> RipAudit::verdict(qint64 trackIndex) const
{
    if (const auto found = m_verdicts.constFind(trackIndex); found != m_verdicts.constEnd())
        return *found;
    return std::nullopt;
}

QCoro::Task<> RipAudit::finish(ReleaseMetadata release, QList<CDImporter::TrackImportResult> results)
{
    if (!Settings::value(Settings::keepRipLog))
        co_return;
    QString folder;
    for (const CDImporter::TrackImportResult& result : std::as_const(results)) {
        if (result.track) {
            folder = QFileInfo(result.track->url.toLocalFile()).absolutePath();
            break;
        }
    }
    if (folder.isEmpty())
        co_return;

    QString drive = ReadOffset::driveOf(m_source);
    if (drive.isEmpty())
        drive = MusicBrainzDiscLookup::isDiscImage(m_source) ? u"disc image "_s + m_source : m_source;
    RipLog::Record record{.programVersion = QCoreApplication::applicationVersion(),
                          .drive = drive,
                          .strategy = m_strategyName,
                          .discID = m_toc.discID,
                          .accurateRipID = m_id ? m_id->text() : QString(),
                          .artist = release.artist,
                          .album = release.title};
    for (const CDImporter::TrackImportResult& result : std::as_const(results)) {
        const TrackMetadataStub stub = CDImporter::stubFor(release, result.trackIndex);
        RipLog::TrackRecord track{.number = result.trackIndex + 1, .title = stub.title, .performer = stub.artist};
        if (result.trackIndex == 0)
            track.pregapFrames = m_toc.trackStart(0) - 150;
        if (result.track)
            track.file = result.track->url.toLocalFile();
        if (result.error)
            track.failure = result.error->message;
        if (const auto ripped = m_ripped.constFind(result.trackIndex); ripped != m_ripped.constEnd()) {
            track.checksums = ripped->checksums;
            track.recoveredReads = ripped->recoveredReads;
            track.readCRCs = ripped->readCRCs;
            record.readOffset = ripped->readOffset;
        }
        track.verdict = verdict(result.trackIndex);
        record.tracks.append(track);
    }
    QString name = LibraryOrganizer::sanitizePathComponent(release.title);
    if (name.isEmpty())
        name = u"rip"_s;
    const QString base = QDir(folder).filePath(name);
    const QByteArray log = RipLog::logText(record).toUtf8();
    const QByteArray cue = RipLog::cueSheet(record, folder).toUtf8();
    const auto write = [base, log, cue] {
        AtomicFile::save(base + u".log"_s, log);
        AtomicFile::save(base + u".cue"_s, cue);
    };
    co_await Background::run(write);
}
