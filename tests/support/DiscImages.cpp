#include "DiscImages.h"

#include "TestEnvironment.h"
#include "disc/CueSheet.h"
#include "disc/DirectRipStrategy.h"
#include "disc/DiscImageSource.h"

#include <QCoro/QCoroTimer>

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QtEndian>

#include <FLAC/stream_decoder.h>

#include <cerrno>
#include <cmath>

namespace DiscImages {

QByteArray pcm(qint64 frames, int seed)
{
    QByteArray bytes(frames * 2352, Qt::Uninitialized);
    quint32 noise = 2463534242u + quint32(seed) * 7919u;
    for (qint64 i = 0; i < frames * 588; ++i) {
        noise ^= noise << 13;
        noise ^= noise >> 17;
        noise ^= noise << 5;
        const double tone = std::sin(double(i) * (0.01 + 0.003 * seed)) * 12000.0;
        const qint16 left = qint16(tone + double(noise % 2000) - 1000.0);
        const qint16 right = qint16(-tone / 2 + double((noise >> 16) % 500));
        qToLittleEndian(left, bytes.data() + i * 4);
        qToLittleEndian(right, bytes.data() + i * 4 + 2);
    }
    return bytes;
}

QByteArray numberedPCM(qint64 frames)
{
    QByteArray bytes(frames * 2352, Qt::Uninitialized);
    for (qint64 i = 0; i < frames * 588; ++i)
        qToLittleEndian(quint32(i), bytes.data() + i * 4);
    return bytes;
}

WrittenImage writeImage(const QString& folder, qint64 trackCount, qint64 framesPerTrack, int seed)
{
    using namespace Qt::StringLiterals;
    WrittenImage image{QDir(folder).filePath(u"disc.cue"_s), pcm(trackCount * framesPerTrack, seed)};
    writeFile(QDir(folder).filePath(u"disc.bin"_s), image.audio);
    QString cue = u"FILE \"disc.bin\" BINARY\n"_s;
    for (qint64 i = 0; i < trackCount; ++i) {
        const qint64 at = i * framesPerTrack;
        cue += u"  TRACK %1 AUDIO\n    INDEX 01 %2:%3:%4\n"_s.arg(i + 1, 2, 10, '0'_L1)
                   .arg(at / 4500, 2, 10, '0'_L1)
                   .arg(at / 75 % 60, 2, 10, '0'_L1)
                   .arg(at % 75, 2, 10, '0'_L1);
    }
    writeFile(image.sheet, cue.toUtf8());
    return image;
}

QJsonObject musicBrainzRelease(const QString& id, const QString& title, const QString& discID, qint64 trackCount,
                               const QString& status, const QString& group)
{
    using namespace Qt::StringLiterals;
    QJsonArray tracks;
    for (qint64 n = 1; n <= trackCount; ++n) {
        tracks.append(QJsonObject{{"number"_L1, QString::number(n)},
                                  {"title"_L1, u"Song %1"_s.arg(n)},
                                  {"recording"_L1, QJsonObject{{"id"_L1, u"%1-recording-%2"_s.arg(id).arg(n)},
                                                               {"title"_L1, u"Song %1"_s.arg(n)},
                                                               {"length"_L1, 200000}}}});
    }
    const QJsonObject medium{{"position"_L1, 1},
                             {"discs"_L1, QJsonArray{QJsonObject{{"id"_L1, discID}}}},
                             {"tracks"_L1, tracks}};
    QJsonObject release{{"id"_L1, id},
                        {"title"_L1, title},
                        {"date"_L1, u"1999-03-01"_s},
                        {"status"_L1, status},
                        {"artist-credit"_L1,
                         QJsonArray{QJsonObject{{"artist"_L1, QJsonObject{{"name"_L1, u"Band"_s}}}}}},
                        {"media"_L1, QJsonArray{medium}}};
    if (!group.isEmpty())
        release.insert("release-group"_L1, QJsonObject{{"id"_L1, group}});
    return release;
}

namespace {

class ScriptedImageSource : public SectorSource {
public:
    ScriptedImageSource(const QString& sheet, std::shared_ptr<ScriptedDrive> drive)
        : m_image(CueSheet::load(sheet))
        , m_drive(std::move(drive))
    {
    }

    int open() override
    {
        {
            std::lock_guard lock(m_drive->mutex);
            if (m_drive->removed)
                return ENOMEDIUM;
        }
        return m_image.open();
    }
    void close() override { m_image.close(); }
    int read(qint64 sector, char* buffer) override
    {
        {
            std::lock_guard lock(m_drive->mutex);
            if (m_drive->removed)
                return ENOMEDIUM;
            if (m_drive->badSectors.contains(sector))
                return EIO;
        }
        return m_image.read(sector, buffer);
    }

private:
    DiscImageSource m_image;
    std::shared_ptr<ScriptedDrive> m_drive;
};

class ScriptedStrategy : public DiscRipStrategy {
public:
    explicit ScriptedStrategy(std::shared_ptr<ScriptedDrive> drive)
        : m_drive(drive)
    {
        const auto sources = [drive](const QString& sheet) -> std::unique_ptr<SectorSource> {
            return std::make_unique<ScriptedImageSource>(sheet, drive);
        };
        m_direct = std::make_unique<DirectRipStrategy>(sources, std::chrono::milliseconds(1));
    }

    QCoro::Task<QList<QUrl>> rip(QString source, DiscTOC toc, QUrl outputDirectory,
                                 CDRipper::ProgressHandler onProgress) override
    {
        co_return co_await m_direct->rip(source, toc, outputDirectory, onProgress);
    }
    QCoro::Task<QUrl> ripTrack(QString source, DiscTOC toc, qint64 trackIndex, QUrl outputDirectory,
                               CDRipper::ProgressHandler onProgress) override
    {
        const RippedTrack ripped = co_await ripTrackChecked(source, toc, trackIndex, outputDirectory, onProgress);
        co_return ripped.file;
    }
    QCoro::Task<RippedTrack> ripTrackChecked(QString source, DiscTOC toc, qint64 trackIndex, QUrl outputDirectory,
                                             CDRipper::ProgressHandler onProgress) override
    {
        while (trackIndex >= m_drive->allowedTracks)
            co_await QCoro::sleepFor(std::chrono::milliseconds(5));
        co_return co_await m_direct->ripTrackChecked(source, toc, trackIndex, outputDirectory, onProgress);
    }

private:
    std::shared_ptr<ScriptedDrive> m_drive;
    std::unique_ptr<DiscRipStrategy> m_direct;
};

} // namespace

std::unique_ptr<DiscRipStrategy> scriptedStrategy(std::shared_ptr<ScriptedDrive> drive)
{
    return std::make_unique<ScriptedStrategy>(std::move(drive));
}

QByteArray bigEndian(const QByteArray& pcm)
{
    QByteArray swapped = pcm;
    for (qsizetype i = 0; i + 1 < swapped.size(); i += 2)
        std::swap(swapped[i], swapped[i + 1]);
    return swapped;
}

QByteArray wave(const QByteArray& pcm)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setByteOrder(QDataStream::LittleEndian);
    out.writeRawData("RIFF", 4);
    // A LIST chunk before "fmt ", as ripping programs write, so that chunks are walked.
    out << quint32(4 + 8 + 4 + 8 + 16 + 8 + pcm.size());
    out.writeRawData("WAVELIST", 8);
    out << quint32(4);
    out.writeRawData("INFO", 4);
    out.writeRawData("fmt ", 4);
    out << quint32(16) << quint16(1) << quint16(2) << quint32(44100) << quint32(44100 * 4) << quint16(4)
        << quint16(16);
    out.writeRawData("data", 4);
    out << quint32(pcm.size());
    bytes.append(pcm);
    return bytes;
}

QByteArray fullTOC(const QList<Descriptor>& descriptors, int firstSession, int lastSession, std::optional<int> length)
{
    QByteArray bytes;
    const int announced = length.value_or(int(descriptors.size()) * 11 + 2);
    bytes.append(char(announced >> 8)).append(char(announced & 0xFF));
    bytes.append(char(firstSession)).append(char(lastSession));
    for (const Descriptor& d : descriptors) {
        const char descriptor[11] = {char(d.session), char(0x10 | d.control), 0, char(d.point), 0, 0, 0, 0,
                                     char(d.frame / 4500), char(d.frame / 75 % 60), char(d.frame % 75)};
        bytes.append(descriptor, 11);
    }
    return bytes;
}

QByteArray audioTOC(const QList<qint64>& offsets, qint64 leadOut)
{
    QList<Descriptor> descriptors{{1, 0, 0xA0, 4500}, {1, 0, 0xA1, int(offsets.size()) * 4500}, {1, 0, 0xA2, leadOut}};
    for (qsizetype i = 0; i < offsets.size(); ++i)
        descriptors.append({1, 0, int(i) + 1, offsets[i]});
    return fullTOC(descriptors);
}

QByteArray accurateRipAnswer(const QList<AccurateRip::Pressing>& pressings)
{
    QByteArray bytes;
    const auto append32 = [&bytes](quint32 value) {
        char le[4];
        qToLittleEndian(value, le);
        bytes.append(le, 4);
    };
    for (const AccurateRip::Pressing& pressing : pressings) {
        bytes.append(char(pressing.trackCount));
        append32(pressing.id1);
        append32(pressing.id2);
        append32(pressing.cddb);
        for (const AccurateRip::TrackEntry& track : pressing.tracks) {
            bytes.append(char(track.confidence));
            append32(track.crc);
            append32(track.crc450);
        }
    }
    return bytes;
}

} // namespace DiscImages

namespace FlacFiles {

namespace {

FLAC__StreamDecoderWriteStatus onWrite(const FLAC__StreamDecoder*, const FLAC__Frame* frame,
                                       const FLAC__int32* const buffer[], void* context)
{
    auto* decoded = static_cast<Decoded*>(context);
    for (unsigned i = 0; i < frame->header.blocksize; ++i) {
        for (unsigned channel = 0; channel < frame->header.channels; ++channel) {
            char sample[2];
            qToLittleEndian(qint16(buffer[channel][i]), sample);
            decoded->pcm.append(sample, 2);
        }
    }
    return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
}

void onMetadata(const FLAC__StreamDecoder*, const FLAC__StreamMetadata* metadata, void* context)
{
    auto* decoded = static_cast<Decoded*>(context);
    if (metadata->type == FLAC__METADATA_TYPE_STREAMINFO) {
        decoded->totalSamples = qint64(metadata->data.stream_info.total_samples);
        decoded->channels = metadata->data.stream_info.channels;
        decoded->bitsPerSample = metadata->data.stream_info.bits_per_sample;
        decoded->sampleRate = metadata->data.stream_info.sample_rate;
    }
}

void onError(const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus, void* context)
{
    static_cast<Decoded*>(context)->channels = 0;
}

} // namespace

std::optional<Decoded> decode(const QString& path)
{
    FLAC__StreamDecoder* decoder = FLAC__stream_decoder_new();
    Decoded decoded;
    bool ok = FLAC__stream_decoder_init_file(decoder, QFile::encodeName(path).constData(), onWrite, onMetadata,
                                             onError, &decoded)
           == FLAC__STREAM_DECODER_INIT_STATUS_OK;
    ok = ok && FLAC__stream_decoder_process_until_end_of_stream(decoder);
    FLAC__stream_decoder_delete(decoder);
    if (!ok || decoded.channels == 0)
        return std::nullopt;
    return decoded;
}

} // namespace FlacFiles
