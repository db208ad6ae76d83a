#include "SecureRipStrategy.h"

#include "DirectRipStrategy.h"
#include "ParanoiaRipStrategy.h"

#include <QDir>
#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// The first two reads share the progress bar; each further read fills it anew.
CDRipper::ProgressHandler readProgress(const CDRipper::ProgressHandler& onProgress, int read)
{
    if (!onProgress)
        return {};
    return [onProgress, read](const CDRipper::Progress& progress) {
        CDRipper::Progress shown = progress;
        if (read < 2)
            shown.fractionComplete = (read + progress.fractionComplete) / 2.0;
        onProgress(shown);
    };
}

} // namespace

SecureRipStrategy::SecureRipStrategy(std::optional<qint64> readOffset)
    : SecureRipStrategy(std::make_unique<DirectRipStrategy>(readOffset),
                        std::make_unique<ParanoiaRipStrategy>(readOffset))
{
}

SecureRipStrategy::SecureRipStrategy(std::unique_ptr<SectorRipStrategy> reader,
                                     std::unique_ptr<SectorRipStrategy> confirmer)
    : m_reader(std::move(reader))
    , m_confirmer(std::move(confirmer))
{
}

QString SecureRipStrategy::name() const
{
    return displayName(RipStrategyKind::secure);
}

QCoro::Task<DiscRipStrategy::RippedTrack> SecureRipStrategy::ripTrackChecked(QString source, DiscTOC toc,
                                                                             qint64 trackIndex, QUrl outputDirectory,
                                                                             CDRipper::ProgressHandler onProgress)
{
    if (toc.trackCount < 1 || trackIndex < 0 || trackIndex >= toc.trackCount)
        throw CDRipper::RipError::noAudioTracks();
    const QDir folder(outputDirectory.toLocalFile());
    // Each read keeps its own file until one of an agreeing pair is chosen.
    QDir reads(folder.filePath(u"reads-%1"_s.arg(trackIndex + 1, 2, 10, QChar(u'0'))));
    reads.removeRecursively();
    // A read that fails ends the track; its reads go with it, as a failed read's file would
    // be the caller's to remove.
    try {
        QList<RippedTrack> done;
        for (int read = 0; read < mostReads; ++read) {
            SectorRipStrategy& strategy = read < 2 ? *m_reader : *m_confirmer;
            const QUrl readFolder = QUrl::fromLocalFile(reads.filePath(QString::number(read + 1)));
            const CDRipper::ProgressHandler progress = readProgress(onProgress, read);
            const RippedTrack ripped = co_await strategy.ripTrackChecked(source, toc, trackIndex, readFolder, progress);
            const quint32 crc = ripped.checksums->crc32;
            const bool agreed = std::any_of(done.cbegin(), done.cend(), [crc](const RippedTrack& earlier) {
                return earlier.checksums->crc32 == crc;
            });
            done.append(ripped);
            if (!agreed)
                continue;
            RippedTrack kept = ripped;
            for (const RippedTrack& each : std::as_const(done))
                kept.readCRCs.append(each.checksums->crc32);
            const QString path = folder.filePath(CDRipper::trackFileName(trackIndex + 1));
            QFile::remove(path);
            if (!QFile::rename(ripped.file.toLocalFile(), path))
                throw CDRipper::RipError::encoderWriteFailed();
            reads.removeRecursively();
            kept.file = QUrl::fromLocalFile(path);
            co_return kept;
        }
        throw CDRipper::RipError::readsDisagree(trackIndex + 1, mostReads);
    } catch (...) {
        reads.removeRecursively();
        throw;
    }
}
