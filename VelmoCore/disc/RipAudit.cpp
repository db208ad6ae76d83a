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
    QByteArray fullTOC;
    try {
        const QString source = m_source;
        const auto read = [source] { return MusicBrainzDiscLookup::rawTOCData(source); };
        fullTOC = co_await Background::run(read);
        m_id = AccurateRipID::fromFullTOC(fullTOC);
        m_pressings = co_await AccurateRip::fetch(*m_id);
    } catch (const AccurateRip::Error& error) {
        m_lookupFailure = error.message();
    } catch (const MusicBrainzDiscLookup::LookupError& error) {
        m_lookupFailure = error.message();
    } catch (const CueSheet::LoadError& error) {
        m_lookupFailure = error.message();
    }
    if (Settings::value(Settings::verifyWithCTDB))
        co_await lookUpCTDB(fullTOC);
}

QCoro::Task<> RipAudit::lookUpCTDB(QByteArray fullTOC)
{
    m_ctdbAsked = true;
    try {
        m_ctdbTOC = CTDBTOC::fromFullTOC(fullTOC);
        m_ctdbEntries = co_await CTDB::fetch(*m_ctdbTOC);
    } catch (const CTDB::Error& error) {
        m_ctdbFailure = error.message();
    } catch (const MusicBrainzDiscLookup::LookupError& error) {
        m_ctdbFailure = error.message();
    }
}

QList<std::optional<CTDB::TrackSamples>> RipAudit::ctdbTracks() const
{
    const QList<qint64> boundaries = m_ctdbTOC ? m_ctdbTOC->audioBoundaries() : QList<qint64>();
    QList<std::optional<CTDB::TrackSamples>> tracks(std::max<qsizetype>(boundaries.size() - 1, 0));
    for (auto ripped = m_ripped.cbegin(); ripped != m_ripped.cend(); ++ripped) {
        const qint64 index = ripped.key();
        if (index < 0 || index >= tracks.size() || !ripped->ctdbSamples)
            continue;
        if (ripped->ctdbSamples->length == (boundaries.at(index + 1) - boundaries.at(index)) * CTDB::samplesPerSector)
            tracks[index] = ripped->ctdbSamples;
    }
    return tracks;
}

std::optional<CTDB::Verdict> RipAudit::checkCTDB(qint64 trackIndex, const DiscRipStrategy::RippedTrack& ripped) const
{
    if (!m_ctdbAsked || !ripped.ctdbSamples)
        return std::nullopt;
    if (!m_ctdbFailure.isEmpty())
        return CTDB::Verdict{.reason = m_ctdbFailure};
    // The track alone, so that each check costs the same however many tracks are in: the
    // whole disc, at every offset, is checked once they all are.
    const QList<qint64> boundaries = m_ctdbTOC->audioBoundaries();
    QList<std::optional<CTDB::TrackSamples>> tracks(boundaries.size() - 1);
    if (trackIndex >= tracks.size()
        || ripped.ctdbSamples->length
               != (boundaries.at(trackIndex + 1) - boundaries.at(trackIndex)) * CTDB::samplesPerSector)
        return CTDB::Verdict{.reason = u"the database counts the disc's audio otherwise"_s};
    tracks[trackIndex] = ripped.ctdbSamples;
    return CTDB::verify(*m_ctdbTOC, tracks, m_ctdbEntries).tracks.at(trackIndex);
}

QCoro::Task<DiscRipStrategy::RippedTrack> RipAudit::check(qint64 trackIndex, DiscRipStrategy::RippedTrack ripped,
                                                          QString folder, CDRipper::ProgressHandler onProgress)
{
    m_ripped.insert(trackIndex, ripped);
    if (!ripped.checksums)
        co_return ripped;
    if (!m_lookedUp)
        co_await lookUp();
    const auto accurateRip = [this, trackIndex](const TrackChecksums& checksums) {
        if (!m_lookupFailure.isEmpty())
            return AccurateRip::Verdict{.reason = m_lookupFailure};
        return AccurateRip::verify(checksums, m_pressings, trackIndex);
    };
    AccurateRip::Verdict verdict = accurateRip(*ripped.checksums);
    std::optional<CTDB::Verdict> ctdb = checkCTDB(trackIndex, ripped);
    // A track that a database knows and none confirms may have been misread: read it once more.
    const bool confirmed = verdict.matched() || (ctdb && ctdb->matched());
    const bool contradicted = verdict.outcome == AccurateRip::Verdict::Outcome::mismatch
                              || (ctdb && ctdb->status == CTDB::Verdict::Status::differs);
    if (contradicted && !confirmed) {
        const std::unique_ptr<DiscRipStrategy> paranoia = makeStrategy(RipStrategyKind::paranoia, ripped.readOffset);
        const QUrl again = QUrl::fromLocalFile(QDir(folder).filePath(u"reread"_s));
        verdict.reread = true;
        try {
            DiscRipStrategy::RippedTrack second =
                co_await paranoia->ripTrackChecked(m_source, m_toc, trackIndex, again, onProgress);
            AccurateRip::Verdict secondVerdict = accurateRip(*second.checksums);
            const std::optional<CTDB::Verdict> secondCTDB = checkCTDB(trackIndex, second);
            if (secondVerdict.matched() || (secondCTDB && secondCTDB->matched())) {
                secondVerdict.reread = true;
                // The log still lists the reads that came before the one kept.
                if (!ripped.readCRCs.isEmpty()) {
                    second.readCRCs = ripped.readCRCs;
                    second.readCRCs.append(second.checksums->crc32);
                }
                verdict = secondVerdict;
                ctdb = secondCTDB;
                ripped = second;
                m_ripped.insert(trackIndex, ripped);
            }
        } catch (const CDRipper::RipError&) {
            // The first read stands, with its mismatch.
        }
    }
    m_verdicts.insert(trackIndex, verdict);
    if (ctdb)
        m_ctdbVerdicts.insert(trackIndex, *ctdb);
    co_return ripped;
}

std::optional<CTDB::Verdict> RipAudit::ctdbVerdict(qint64 trackIndex) const
{
    if (const auto found = m_ctdbVerdicts.constFind(trackIndex); found != m_ctdbVerdicts.constEnd())
        return *found;
    return std::nullopt;
}

QCoro::Task<> RipAudit::concludeCTDB()
{
    if (!m_ctdbTOC || !m_ctdbFailure.isEmpty() || m_ctdbVerdicts.isEmpty())
        co_return;
    const CTDBTOC toc = *m_ctdbTOC;
    const QList<std::optional<CTDB::TrackSamples>> tracks = ctdbTracks();
    const QList<CTDB::Entry> entries = m_ctdbEntries;
    const auto verifyDisc = [toc, tracks, entries] { return CTDB::verify(toc, tracks, entries); };
    const CTDB::Verification verification = co_await Background::run(verifyDisc);
    for (auto verdict = m_ctdbVerdicts.begin(); verdict != m_ctdbVerdicts.end(); ++verdict) {
        if (verdict.key() < tracks.size() && tracks.at(verdict.key()))
            verdict.value() = verification.tracks.at(verdict.key());
    }
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
    if (m_ctdbAsked) {
        record.ctdb = RipLog::CTDBLookup{.tocID = m_ctdbTOC ? m_ctdbTOC->tocID() : QString(),
                                         .found = !m_ctdbEntries.isEmpty(),
                                         .failure = m_ctdbFailure};
    }
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
        track.ctdbVerdict = ctdbVerdict(result.trackIndex);
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
