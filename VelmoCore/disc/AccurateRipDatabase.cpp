#include "AccurateRipDatabase.h"

#include "library/DisplayText.h"
#include "metadata/ServiceSettings.h"

#include <QLocale>
#include <QtEndian>

using namespace Qt::StringLiterals;

namespace AccurateRip {

Error Error::truncated()
{
    return Error(Kind::truncated, u"The AccurateRip answer ends in the middle of an entry."_s);
}

Error Error::wrongDisc(const QString& expected, const QString& found)
{
    return Error(Kind::wrongDisc, u"The AccurateRip answer is for disc %1, not %2."_s.arg(found, expected));
}

Error Error::tooLarge()
{
    return Error(Kind::tooLarge,
                 u"The AccurateRip answer is larger than %1, more than any disc has; it was not read."_s.arg(
                     QLocale::c().formattedDataSize(largestAnswer)));
}

Error Error::networkError(const MetadataHTTPClient::HTTPError& error)
{
    return Error(Kind::networkError, u"AccurateRip could not be asked: %1"_s.arg(error.message()), error);
}

QList<Pressing> parse(const QByteArray& data, const std::optional<AccurateRipID>& disc)
{
    constexpr qsizetype headerBytes = 13;
    constexpr qsizetype trackBytes = 9;
    if (data.size() > largestAnswer)
        throw Error::tooLarge();
    const auto* bytes = reinterpret_cast<const uchar*>(data.constData());
    QList<Pressing> pressings;
    qsizetype at = 0;
    while (at < data.size()) {
        if (data.size() - at < headerBytes)
            throw Error::truncated();
        Pressing pressing{.trackCount = bytes[at],
                          .id1 = qFromLittleEndian<quint32>(bytes + at + 1),
                          .id2 = qFromLittleEndian<quint32>(bytes + at + 5),
                          .cddb = qFromLittleEndian<quint32>(bytes + at + 9)};
        at += headerBytes;
        if (disc
            && (pressing.trackCount != disc->trackCount || pressing.id1 != disc->id1 || pressing.id2 != disc->id2
                || pressing.cddb != disc->cddb)) {
            const AccurateRipID found{pressing.trackCount, pressing.id1, pressing.id2, pressing.cddb};
            throw Error::wrongDisc(disc->text(), found.text());
        }
        if (data.size() - at < pressing.trackCount * trackBytes)
            throw Error::truncated();
        for (qint64 track = 0; track < pressing.trackCount; ++track, at += trackBytes) {
            pressing.tracks.append({.confidence = bytes[at],
                                    .crc = qFromLittleEndian<quint32>(bytes + at + 1),
                                    .crc450 = qFromLittleEndian<quint32>(bytes + at + 5)});
        }
        pressings.append(pressing);
    }
    return pressings;
}

QCoro::Task<QList<Pressing>> fetch(AccurateRipID disc, MetadataHTTPClient& client)
{
    const QUrl url = disc.url(ServiceSettings::load().accurateRip);
    QByteArray body;
    try {
        body = co_await client.get(url);
    } catch (const MetadataHTTPClient::HTTPError& error) {
        if (error.kind() == MetadataHTTPClient::HTTPError::Kind::notFound)
            co_return QList<Pressing>();
        throw Error::networkError(error);
    }
    co_return parse(body, disc);
}

QString Verdict::text() const
{
    switch (outcome) {
    case Outcome::accurate:
        return u"accurately ripped (confidence %1, v%2)"_s.arg(confidence).arg(version);
    case Outcome::notInDatabase:
        return u"not in the database"_s;
    case Outcome::mismatch:
        return u"does not match (%1 known)"_s.arg(DisplayText::counted(pressings, u"pressing"_s));
    case Outcome::damaged:
        return u"damaged: cannot be verified (%1)"_s.arg(reason);
    case Outcome::unchecked:
        break;
    }
    return u"not checked: "_s + reason;
}

Verdict verify(const TrackChecksums& checksums, const QList<Pressing>& pressings, qint64 discTrack)
{
    Verdict verdict{.outcome = Verdict::Outcome::notInDatabase};
    for (const Pressing& pressing : pressings) {
        if (discTrack < 0 || discTrack >= pressing.tracks.size())
            continue;
        const TrackEntry& entry = pressing.tracks.at(discTrack);
        if (entry.confidence == 0 && entry.crc == 0)
            continue;
        ++verdict.pressings;
        const int version = entry.crc == checksums.v2 ? 2 : entry.crc == checksums.v1 ? 1 : 0;
        if (version != 0 && (verdict.outcome != Verdict::Outcome::accurate || entry.confidence > verdict.confidence)) {
            verdict.outcome = Verdict::Outcome::accurate;
            verdict.confidence = entry.confidence;
            verdict.version = version;
        }
    }
    if (verdict.outcome == Verdict::Outcome::accurate)
        verdict.pressings = 0;
    else if (verdict.pressings > 0)
        verdict.outcome = Verdict::Outcome::mismatch;
    return verdict;
}

QString summary(const QList<Verdict>& verdicts)
{
    qsizetype checked = 0;
    qsizetype accurate = 0;
    for (const Verdict& verdict : verdicts) {
        checked += verdict.outcome != Verdict::Outcome::unchecked;
        accurate += verdict.matched();
    }
    if (checked == 0)
        return {};
    return u"%1 of %2 verified by AccurateRip"_s.arg(accurate).arg(DisplayText::counted(verdicts.size(), u"track"_s));
}

} // namespace AccurateRip
