#include "ReadOffset.h"

#include "CDRipper.h"
#include "DiscImageSource.h"
#include "OffsetSectorSource.h"
#include "TrackChecksums.h"
#include "library/Settings.h"
#include "platform/CdromAudioSource.h"
#include "platform/UdevDiscEvents.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <array>
#include <vector>

namespace ReadOffset {

QString driveOf(const QString& source)
{
    if (MusicBrainzDiscLookup::isDiscImage(source))
        return {};
    return UdevDiscEvents::driveModel(source);
}

qint64 forSource(const QString& source)
{
    const QString drive = driveOf(source);
    return drive.isEmpty() ? 0 : Settings::readOffset(drive);
}

std::unique_ptr<SectorSource> rawFrames(const QString& source)
{
    if (MusicBrainzDiscLookup::isDiscImage(source))
        return std::make_unique<DiscImageSource>(CueSheet::load(source));
    return std::make_unique<CdromAudioSource>(source);
}

QList<Candidate> find(std::unique_ptr<SectorSource> frames, const DiscTOC& toc,
                      const QList<AccurateRip::Pressing>& pressings)
{
    constexpr qint64 pairs = TrackChecksummer::samplesPerFrame;
    constexpr qint64 margin = (searchedSamples + pairs - 1) / pairs; // frames either side
    // Silence stands in for frames outside the audio, as the rip itself reads them.
    OffsetSectorSource source(std::move(frames), 0, toc.leadOutOffset);
    if (const int error = source.open())
        throw CDRipper::RipError::deviceOpenFailed(error);
    QHash<qint64, qint64> votes;
    std::array<char, SectorSource::frameBytes> frame;
    for (qint64 index = 0; index < toc.trackCount; ++index) {
        QSet<quint32> known;
        for (const AccurateRip::Pressing& pressing : pressings) {
            if (index < pressing.tracks.size() && pressing.tracks.at(index).crc450 != 0)
                known.insert(pressing.tracks.at(index).crc450);
        }
        if (known.isEmpty() || toc.trackEnd(index) - toc.trackStart(index) <= 451)
            continue;
        std::vector<quint32> words;
        const qint64 first = toc.trackStart(index) + 450 - margin;
        for (qint64 sector = first; sector <= first + 2 * margin; ++sector) {
            if (const int error = source.read(sector, frame.data()))
                throw CDRipper::RipError::readFailed(error, sector);
            for (qint64 i = 0; i < pairs; ++i)
                words.push_back(TrackChecksummer::word(frame.data() + 4 * i));
        }
        for (qint64 offset = -searchedSamples; offset <= searchedSamples; ++offset) {
            if (known.contains(TrackChecksummer::frameChecksum(words.data() + margin * pairs + offset)))
                ++votes[offset];
        }
    }
    source.close();
    QList<Candidate> candidates;
    for (auto vote = votes.cbegin(); vote != votes.cend(); ++vote)
        candidates.append({vote.key(), vote.value()});
    std::sort(candidates.begin(), candidates.end(), [](const Candidate& a, const Candidate& b) {
        return a.tracks != b.tracks ? a.tracks > b.tracks : std::abs(a.offset) < std::abs(b.offset);
    });
    return candidates;
}

} // namespace ReadOffset
