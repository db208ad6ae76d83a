#include "CTDBVerifier.h"

#include "library/DisplayText.h"
#include "platform/AudioDecoder.h"

#include <QHash>

#include <cstdlib>

using namespace Qt::StringLiterals;

namespace CTDB {

namespace {

// The offset nearest to none at which `crcs` (from −range up) holds `wanted`, as the
// database's offset: the negation of how far the window moved.
std::optional<qint64> nearestMatch(const QList<quint32>& crcs, qint64 range, quint32 wanted)
{
    std::optional<qint64> best;
    for (qsizetype i = 0; i < crcs.size(); ++i) {
        const qint64 moved = qint64(i) - range;
        if (crcs.at(i) == wanted && (!best || std::abs(moved) < std::abs(*best)))
            best = moved;
    }
    if (best)
        return -*best;
    return std::nullopt;
}

} // namespace

QString Verdict::text() const
{
    switch (status) {
    case Status::accurate: return u"accurately ripped (confidence %1 of %2)"_s.arg(confidence).arg(total);
    case Status::differs: return u"differs from the database (%1)"_s.arg(DisplayText::counted(total, u"submission"_s));
    case Status::notInDatabase: return u"not in the database"_s;
    case Status::damaged: return u"damaged: cannot be verified (%1)"_s.arg(reason);
    case Status::unchecked: break;
    }
    return u"not checked: "_s + reason;
}

QString Verdict::statusName() const
{
    switch (status) {
    case Status::accurate: return u"accurate"_s;
    case Status::differs: return u"differs"_s;
    case Status::notInDatabase: return u"notInDatabase"_s;
    case Status::damaged: return u"damaged"_s;
    case Status::unchecked: break;
    }
    return u"unchecked"_s;
}

Verification verify(const CTDBTOC& toc, const QList<std::optional<TrackSamples>>& tracks, const QList<Entry>& entries)
{
    const QList<qint64> boundaries = toc.audioBoundaries();
    const qsizetype count = boundaries.size() - 1;
    Verification result{.tocID = toc.tocID()};
    qint64 total = 0;
    for (const Entry& entry : entries)
        total += entry.confidence;

    QList<TrackSamples> samples;
    bool whole = true;
    for (qsizetype i = 0; i < count; ++i) {
        const std::optional<TrackSamples> track = i < tracks.size() ? tracks.at(i) : std::nullopt;
        Verdict verdict{.status = total > 0 ? Verdict::Status::differs : Verdict::Status::notInDatabase,
                        .total = total};
        if (track) {
            samples.append(*track);
        } else {
            samples.append(TrackSamples::silence((boundaries.at(i + 1) - boundaries.at(i)) * samplesPerSector));
            verdict = {.reason = u"not ripped"_s};
            whole = false;
        }
        result.tracks.append(verdict);
    }
    const DiscChecksums sums(toc, samples);

    QList<qint64> creditedBy(count, 0); // the confidence of the entry whose offset a track shows
    const auto credit = [&](qsizetype track, const Entry& entry, qint64 offset) {
        Verdict& verdict = result.tracks[track];
        verdict.status = Verdict::Status::accurate;
        verdict.confidence += entry.confidence;
        if (entry.confidence > creditedBy.at(track)) {
            creditedBy[track] = entry.confidence;
            verdict.offset = offset;
        }
    };

    // The whole disc first: an entry it matches confirms every track, and its offset is where
    // the tracks of the other entries are tried first.
    QList<bool> discMatched(entries.size(), false);
    const QList<quint32> discCRCs = whole ? sums.discCRCs() : QList<quint32>();
    qint64 discConfidence = 0;
    for (qsizetype e = 0; e < entries.size(); ++e) {
        const Entry& entry = entries.at(e);
        const std::optional<CTDBTOC> theirs = CTDBTOC::fromText(entry.toc);
        if (discCRCs.isEmpty() || !theirs || theirs->audioSectors() != toc.audioSectors() || entry.stride != stride)
            continue;
        const std::optional<qint64> offset = nearestMatch(discCRCs, discOffsetRange, entry.crc32);
        if (!offset)
            continue;
        discMatched[e] = true;
        for (qsizetype track = 0; track < count; ++track)
            credit(track, entry, *offset);
        if (entry.confidence > discConfidence) {
            discConfidence = entry.confidence;
            result.offset = offset;
        }
    }

    QHash<qsizetype, QList<quint32>> trackScans;
    for (qsizetype e = 0; e < entries.size(); ++e) {
        const Entry& entry = entries.at(e);
        const std::optional<CTDBTOC> theirs = CTDBTOC::fromText(entry.toc);
        if (discMatched.at(e) || entry.trackCRCs.size() != count || !theirs || theirs->audioTrackCount() != count)
            continue;
        for (qsizetype track = 0; track < count; ++track) {
            if (track >= tracks.size() || !tracks.at(track))
                continue;
            const quint32 wanted = entry.trackCRCs.at(track);
            const qint64 first = result.offset.value_or(0);
            if (sums.trackCRC(track, -first) == wanted) {
                credit(track, entry, first);
                continue;
            }
            if (!trackScans.contains(track))
                trackScans.insert(track, sums.trackCRCs(track));
            if (const auto offset = nearestMatch(trackScans.value(track), trackOffsetRange, wanted))
                credit(track, entry, *offset);
        }
    }
    return result;
}

Verification verifyFiles(const CTDBTOC& toc, const QMap<qsizetype, QString>& files, const QList<Entry>& entries)
{
    const QList<qint64> boundaries = toc.audioBoundaries();
    QList<std::optional<TrackSamples>> tracks(boundaries.size() - 1);
    QHash<qsizetype, Verdict> failures;
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        const qsizetype track = file.key();
        if (track < 0 || track >= tracks.size())
            continue;
        const qint64 length = (boundaries.at(track + 1) - boundaries.at(track)) * samplesPerSector;
        try {
            TrackSamples samples = samplesOfFile(file.value());
            if (samples.length == length)
                tracks[track] = std::move(samples);
            else
                failures.insert(
                    track, {.reason = u"the file holds %1 samples, the track %2"_s.arg(samples.length).arg(length)});
        } catch (const AudioDecoder::DecodeError& error) {
            const bool damaged = error.kind() == AudioDecoder::DecodeError::Kind::damaged;
            failures.insert(track,
                            {.status = damaged ? Verdict::Status::damaged : Verdict::Status::unchecked,
                             .reason = QString::fromUtf8(error.what())});
        }
    }
    Verification verification = verify(toc, tracks, entries);
    for (auto failure = failures.cbegin(); failure != failures.cend(); ++failure)
        verification.tracks[failure.key()] = failure.value();
    return verification;
}

QString summary(const QList<Verdict>& verdicts)
{
    qsizetype checked = 0;
    qsizetype accurate = 0;
    for (const Verdict& verdict : verdicts) {
        checked += verdict.status != Verdict::Status::unchecked;
        accurate += verdict.matched();
    }
    if (checked == 0)
        return {};
    return u"%1 of %2 verified by CTDB"_s.arg(accurate).arg(DisplayText::counted(verdicts.size(), u"track"_s));
}

QString signedOffset(qint64 offset)
{
    return (offset > 0 ? u"+"_s : QString()) + QString::number(offset);
}

} // namespace CTDB
