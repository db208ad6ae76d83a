#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <map>

// The audio of a disc as the rest of the ripping path sees it. Offsets keep the table of
// contents' own scale: the first frame of a disc is 150, and a reader of device sectors
// subtracts that.
struct DiscTOC {
    QString discID;
    qint64 trackCount = 0;
    QList<qint64> trackOffsets;
    qint64 leadOutOffset = 0;

    // The frames of track `index` (0-based): up to the next audio track, or to the lead-out.
    qint64 trackStart(qint64 index) const { return trackOffsets.at(index); }
    qint64 trackEnd(qint64 index) const
    {
        return index + 1 < trackCount ? trackOffsets.at(index + 1) : leadOutOffset;
    }

    bool operator==(const DiscTOC&) const = default;
};

// The bytes of a CD full TOC: a two-byte big-endian length, the first and last session, then
// 11-byte descriptors whose PMIN, PSEC and PFRAME are plain binary.
namespace FullTOC {

struct Descriptor {
    int session = 0;
    int control = 0; // the low four bits; 0x04 marks data
    int point = 0;   // 1 to 99 a track, 0xA0 first track, 0xA1 last track, 0xA2 lead-out
    int minute = 0;
    int second = 0;
    int frame = 0;

    qint64 address() const { return (qint64(minute) * 60 + second) * 75 + frame; }
    bool isTrack() const { return point >= 1 && point <= 99; }
    bool isData() const { return (control & 0x04) != 0; }
};

constexpr int leadOutPoint = 0xA2;

// The most a full TOC file can sensibly be: the header and a descriptor for each of 100
// points, with room for the session entries of a disc of several sessions.
constexpr qsizetype largestSize = 4 + (100 + 50) * 11;

// The `length` field; the data must hold at least the four header bytes.
int headerLength(const QByteArray& data);

// The whole descriptors that `length` announces, as far as the data holds them.
QList<Descriptor> descriptors(const QByteArray& data);

// The track descriptors in track order, a repeated point once, and the last session's lead-out.
struct Tracks {
    std::map<int, Descriptor> byNumber;
    qint64 leadOut = 0;
};
Tracks tracks(const QByteArray& data);

} // namespace FullTOC

// The disc side of MusicBrainzDiscLookup: reading and parsing a table of contents and the
// disc ID made from it. Nothing here touches the network.
namespace MusicBrainzDiscLookup {

// A source names a drive (`sr0` or `/dev/sr0`) or a disc image (the path of a CUE sheet).
bool isDiscImage(const QString& source);

// The full TOC bytes of a drive (read from the device through SG_IO, else through libcdio) or
// of an image (made from its sheet).
// Blocking. Throws LookupError tocReadFailed for a drive that can't give one, and
// CueSheet::LoadError, with its own sentence, for an image whose sheet is wrong.
QByteArray rawTOCData(const QString& source);

// rawTOCData followed by parseDiscTOC.
DiscTOC readDiscTOC(const QString& source);

// Only the audio tracks count, renumbered from 1; the last one ends at the lead-out of its own
// session. Throws LookupError tocReadFailed for bytes that hold no usable audio or more than 99
// audio tracks.
DiscTOC parseDiscTOC(const QByteArray& data);

// The published MusicBrainz calculation. At most 99 offsets.
QString computeDiscID(const QList<qint64>& trackOffsets, qint64 leadOutOffset);

} // namespace MusicBrainzDiscLookup
