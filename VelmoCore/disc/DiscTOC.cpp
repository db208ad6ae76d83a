#include "DiscTOC.h"

#include "CueSheet.h"
#include "metadata/MusicBrainzDiscLookup.h"
#include "platform/CdioTOC.h"
#include "platform/DrivePath.h"
#include "platform/ScsiFullTOC.h"

#include <QCryptographicHash>
#include <QFileInfo>

#include <algorithm>
#include <map>

using namespace Qt::StringLiterals;

namespace FullTOC {

int headerLength(const QByteArray& data)
{
    return (quint8(data.at(0)) << 8) | quint8(data.at(1));
}

QList<Descriptor> descriptors(const QByteArray& data)
{
    QList<Descriptor> result;
    if (data.size() < 4)
        return result;
    const int count = std::max(headerLength(data) - 2, 0) / 11;
    for (int i = 0; i < count; ++i) {
        const qsizetype o = 11 * qsizetype(i);
        if (data.size() < o + 15)
            break;
        const auto byte = [&data](qsizetype at) { return int(quint8(data.at(at))); };
        result.append({.session = byte(o + 4),
                       .control = byte(o + 5) & 0x0F,
                       .point = byte(o + 7),
                       .minute = byte(o + 12),
                       .second = byte(o + 13),
                       .frame = byte(o + 14)});
    }
    return result;
}

Tracks tracks(const QByteArray& data)
{
    Tracks result;
    for (const Descriptor& descriptor : descriptors(data)) {
        if (descriptor.isTrack())
            result.byNumber.emplace(descriptor.point, descriptor);
        else if (descriptor.point == leadOutPoint)
            result.leadOut = std::max(result.leadOut, descriptor.address());
    }
    return result;
}

} // namespace FullTOC

namespace MusicBrainzDiscLookup {

bool isDiscImage(const QString& source)
{
    return source.endsWith(u".cue"_s, Qt::CaseInsensitive) || QFileInfo(source).isFile();
}

QByteArray rawTOCData(const QString& source)
{
    if (isDiscImage(source))
        return CueSheet::load(source).fullTOC();
    const QString device = drivePath(source);
    // A drive that refuses the full TOC still tells its tracks through libcdio.
    std::optional<QByteArray> toc = ScsiFullTOC::read(device);
    if (!toc)
        toc = CdioTOC::read(device);
    if (!toc)
        throw LookupError::tocReadFailed();
    return *toc;
}

DiscTOC readDiscTOC(const QString& source)
{
    return parseDiscTOC(rawTOCData(source));
}

DiscTOC parseDiscTOC(const QByteArray& data)
{
    if (data.size() < 4)
        throw LookupError::tocReadFailed();
    const int length = FullTOC::headerLength(data);
    if (length < 2 || data.size() < qsizetype(length) + 2)
        throw LookupError::tocReadFailed();

    struct AudioTrack {
        qint64 frame;
        int session;
    };
    QList<AudioTrack> audio;
    std::map<int, qint64> leadOuts;
    for (const FullTOC::Descriptor& descriptor : FullTOC::descriptors(data)) {
        if (descriptor.point == FullTOC::leadOutPoint)
            leadOuts[descriptor.session] = descriptor.address();
        else if (descriptor.isTrack() && !descriptor.isData())
            audio.append({descriptor.address(), descriptor.session});
    }
    std::stable_sort(audio.begin(), audio.end(),
                     [](const AudioTrack& a, const AudioTrack& b) { return a.frame < b.frame; });

    // An Enhanced CD's audio ends at its own session's lead-out: the data session behind it
    // is neither ripped nor part of the disc ID.
    const int lastSession = audio.isEmpty() ? 1 : audio.constLast().session;
    qint64 leadOut = 0;
    if (const auto found = leadOuts.find(lastSession); found != leadOuts.end()) {
        leadOut = found->second;
    } else if (!leadOuts.empty()) {
        leadOut = std::min_element(leadOuts.begin(), leadOuts.end(), [](const auto& a, const auto& b) {
                      return a.second < b.second;
                  })->second;
    }
    // Points repeated across descriptors can list more tracks than a disc holds.
    if (audio.isEmpty() || audio.size() > 99 || leadOut <= 0)
        throw LookupError::tocReadFailed();

    DiscTOC toc;
    for (const AudioTrack& track : std::as_const(audio))
        toc.trackOffsets.append(track.frame);
    toc.trackCount = toc.trackOffsets.size();
    toc.leadOutOffset = leadOut;
    toc.discID = computeDiscID(toc.trackOffsets, leadOut);
    return toc;
}

QString computeDiscID(const QList<qint64>& trackOffsets, qint64 leadOutOffset)
{
    // Only a corrupt TOC repeating point numbers gets here with more: not a disc at all.
    if (trackOffsets.size() > 99)
        qFatal("computeDiscID: %lld track offsets, at most 99 fit a disc ID", qint64(trackOffsets.size()));
    QByteArray text = QByteArray::number(1, 16).rightJustified(2, '0');
    text += QByteArray::number(trackOffsets.size(), 16).rightJustified(2, '0');
    text += QByteArray::number(leadOutOffset, 16).rightJustified(8, '0');
    for (qint64 offset : trackOffsets)
        text += QByteArray::number(offset, 16).rightJustified(8, '0');
    text += QByteArray(8 * (99 - trackOffsets.size()), '0');
    const QByteArray hash = QCryptographicHash::hash(text.toUpper(), QCryptographicHash::Sha1);
    QByteArray id = hash.toBase64();
    id.replace('+', '.').replace('/', '_').replace('=', '-');
    return QString::fromLatin1(id);
}

} // namespace MusicBrainzDiscLookup
