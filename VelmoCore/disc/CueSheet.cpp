#include "CueSheet.h"

#include "platform/BoundedFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 frameBytes = 2352;
constexpr qint64 firstFrame = 150;
constexpr qint64 sessionGap = 6750 + 4500 + 150;
// A full TOC gives a minute one byte.
constexpr qint64 longestDiscMinutes = 255;

QString timeText(qint64 frames)
{
    return u"%1:%2:%3"_s.arg(frames / 4500, 2, 10, '0'_L1)
        .arg(frames / 75 % 60, 2, 10, '0'_L1)
        .arg(frames % 75, 2, 10, '0'_L1);
}

std::optional<qint64> parseTime(const QString& text)
{
    const QStringList parts = text.split(u':');
    if (parts.size() != 3)
        return std::nullopt;
    bool ok[3];
    const qint64 minutes = parts[0].toLongLong(&ok[0]);
    const qint64 seconds = parts[1].toLongLong(&ok[1]);
    const qint64 frames = parts[2].toLongLong(&ok[2]);
    // A time past the longest disc is no time on one, and would overflow the frame count.
    if (!ok[0] || !ok[1] || !ok[2] || minutes < 0 || minutes > longestDiscMinutes || seconds < 0 || seconds > 59
        || frames < 0 || frames > 74)
        return std::nullopt;
    return (minutes * 60 + seconds) * 75 + frames;
}

// Words of a line, with double quotes around words that hold blanks.
QStringList splitWords(const QString& line)
{
    QStringList words;
    QString word;
    bool quoted = false;
    bool inWord = false;
    for (const QChar c : line) {
        if (c == u'"') {
            quoted = !quoted;
            inWord = true;
        } else if (c.isSpace() && !quoted) {
            if (inWord)
                words.append(word);
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord)
        words.append(word);
    return words;
}

std::optional<CueSheet::DataFile> waveData(QFile& file)
{
    const auto le16 = [](const QByteArray& b, int at) { return quint16(quint8(b[at]) | quint8(b[at + 1]) << 8); };
    const auto le32 = [](const QByteArray& b, int at) {
        return quint32(quint8(b[at])) | quint32(quint8(b[at + 1])) << 8 | quint32(quint8(b[at + 2])) << 16
             | quint32(quint8(b[at + 3])) << 24;
    };
    const QByteArray riff = file.read(12);
    if (riff.size() < 12 || !riff.startsWith("RIFF") || riff.mid(8, 4) != "WAVE")
        return std::nullopt;
    bool formatFits = false;
    while (true) {
        const QByteArray header = file.read(8);
        if (header.size() < 8)
            return std::nullopt;
        const qint64 size = le32(header, 4);
        if (header.startsWith("fmt ")) {
            const QByteArray format = file.read(size);
            if (format.size() < 16)
                return std::nullopt;
            formatFits = le16(format, 0) == 1 && le16(format, 2) == 2 && le32(format, 4) == 44100
                      && le16(format, 14) == 16;
            if (size % 2)
                file.skip(1);
        } else if (header.startsWith("data")) {
            if (!formatFits)
                return std::nullopt;
            const qint64 offset = file.pos();
            return CueSheet::DataFile{.path = file.fileName(),
                                      .order = CueSheet::SampleOrder::littleEndian,
                                      .dataOffset = offset,
                                      .dataLength = std::min(size, file.size() - offset)};
        } else if (!file.skip(size + size % 2)) {
            return std::nullopt;
        }
    }
}

} // namespace

CueSheet::LoadError::LoadError(const QString& message)
    : std::runtime_error(message.toStdString())
    , m_message(message)
{
}

// One pass over the sheet, placing each file's frames on the disc as its indexes come.
class CueSheetReader {
public:
    explicit CueSheetReader(const QString& sheetPath)
        : m_sheetName(QFileInfo(sheetPath).fileName())
        , m_folder(QFileInfo(sheetPath).absoluteDir())
    {
    }

    CueSheet read(const QByteArray& bytes)
    {
        if (bytes.contains('\0'))
            throw CueSheet::LoadError(u"%1 is not a CUE sheet: it is not text."_s.arg(m_sheetName));
        // Older ripping programs wrote sheets in the Windows code page rather than UTF-8.
        QStringDecoder decoder(QStringDecoder::Utf8);
        QString text = decoder.decode(bytes);
        if (decoder.hasError())
            text = QString::fromLatin1(bytes);
        const QStringList lines = text.split(u'\n');
        for (qsizetype i = 0; i < lines.size(); ++i) {
            m_line = int(i) + 1;
            readLine(splitWords(lines[i]));
        }
        if (m_trackCount == 0)
            throw CueSheet::LoadError(u"%1 is not a CUE sheet: it names no track."_s.arg(m_sheetName));
        endTrack();
        placeFileUpTo(m_fileFrames);
        m_sheet.m_sessions.last().leadOut = m_next;
        if (m_next / 4500 > longestDiscMinutes)
            throw CueSheet::LoadError(u"%1 is longer than a disc's %2 minutes."_s.arg(m_sheetName).arg(longestDiscMinutes));
        return m_sheet;
    }

private:
    [[noreturn]] void fail(const QString& problem) const
    {
        throw CueSheet::LoadError(u"%1, line %2: %3"_s.arg(m_sheetName).arg(m_line).arg(problem));
    }

    void readLine(const QStringList& words)
    {
        if (words.isEmpty())
            return;
        const QString command = words[0].toUpper();
        if (command == "FILE"_L1)
            readFile(words);
        else if (command == "TRACK"_L1)
            readTrack(words);
        else if (command == "INDEX"_L1)
            readIndex(words);
        else if (command == "PREGAP"_L1)
            readPregap(words);
        else if (command == "FLAGS"_L1)
            readFlags(words);
        else if (command == "REM"_L1)
            readRemark(words);
        else if (command == "TITLE"_L1 || command == "PERFORMER"_L1)
            readText(command, words);
        else if (command == "POSTGAP"_L1)
            fail(u"POSTGAP is not supported."_s);
        else if (!ignoredCommands().contains(command))
            throw CueSheet::LoadError(u"%1 is not a CUE sheet: line %2 begins with \"%3\", which is no CUE command."_s
                                          .arg(m_sheetName)
                                          .arg(m_line)
                                          .arg(words[0]));
    }

    static const QStringList& ignoredCommands()
    {
        static const QStringList commands{u"CATALOG"_s,   u"CDTEXTFILE"_s, u"ISRC"_s,
                                          u"SONGWRITER"_s, u"ARRANGER"_s,
                                          u"COMPOSER"_s,  u"MESSAGE"_s,    u"GENRE"_s,  u"UPC_EAN"_s,
                                          u"DISC_ID"_s,   u"SIZE_INFO"_s,  u"TOC_INFO1"_s, u"TOC_INFO2"_s};
        return commands;
    }

    void readFile(const QStringList& words)
    {
        if (words.size() < 3)
            fail(u"FILE needs a file name and a type."_s);
        const QString type = words[2].toUpper();
        if (type != "BINARY"_L1 && type != "MOTOROLA"_L1 && type != "WAVE"_L1)
            fail(u"the file type \"%1\" is not supported; BINARY, MOTOROLA and WAVE are."_s.arg(words[2]));
        endTrackFile();
        const QString path = m_folder.absoluteFilePath(words[1]);
        // A pipe or a device in the file's place would hold the open or never end.
        try {
            BoundedFile::requireRegular(path);
        } catch (const BoundedFile::ReadError& error) {
            if (error.kind() == BoundedFile::ReadError::Kind::notRegular)
                fail(u"\"%1\" is not a regular file."_s.arg(words[1]));
            fail(u"the file \"%1\" is missing or can't be read."_s.arg(words[1]));
        }
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            fail(u"the file \"%1\" is missing or can't be read."_s.arg(words[1]));
        CueSheet::DataFile data{.path = path, .dataLength = file.size()};
        if (type == "MOTOROLA"_L1) {
            data.order = CueSheet::SampleOrder::bigEndian;
        } else if (type == "WAVE"_L1) {
            const std::optional<CueSheet::DataFile> wave = waveData(file);
            if (!wave)
                fail(u"\"%1\" is not a WAVE file of 44.1 kHz 16-bit stereo PCM."_s.arg(words[1]));
            data = *wave;
        }
        m_sheet.m_files.append(data);
        m_fileName = words[1];
        m_fileFrames = (data.dataLength + frameBytes - 1) / frameBytes;
        m_filePosition = 0;
        m_lastIndexTime = 0;
    }

    void readTrack(const QStringList& words)
    {
        if (m_sheet.m_files.isEmpty())
            fail(u"TRACK comes before any FILE."_s);
        if (words.size() < 3)
            fail(u"TRACK needs a number and a type."_s);
        endTrack();
        if (m_trackCount == 99)
            fail(u"a disc holds at most 99 tracks."_s);
        bool ok = false;
        const int number = words[1].toInt(&ok);
        if (!ok || number < 1 || number > 99)
            fail(u"\"%1\" is no track number; they run from 1 to 99."_s.arg(words[1]));
        if (number <= m_trackNumber)
            fail(u"track %1 follows track %2; track numbers must increase."_s.arg(number).arg(m_trackNumber));
        const QString type = words[2].toUpper();
        int control = 0;
        if (type == "MODE1/2352"_L1 || type == "MODE2/2352"_L1)
            control = 0x04;
        else if (type != "AUDIO"_L1)
            fail(u"the track type \"%1\" is not supported; AUDIO, MODE1/2352 and MODE2/2352 are."_s.arg(words[2]));
        ++m_trackCount;
        m_trackNumber = number;
        m_trackLine = m_line;
        m_track = CueSheet::Track{.number = number, .session = m_session, .control = control};
        m_trackHasIndex = false;
        m_trackStarted = false;
        m_pregap = 0;
    }

    void readIndex(const QStringList& words)
    {
        if (m_trackCount == 0)
            fail(u"INDEX comes before any TRACK."_s);
        if (words.size() < 3)
            fail(u"INDEX needs a number and a time."_s);
        bool ok = false;
        const int number = words[1].toInt(&ok);
        if (!ok || number < 0 || number > 99)
            fail(u"\"%1\" is no index number; they run from 0 to 99."_s.arg(words[1]));
        const std::optional<qint64> time = parseTime(words[2]);
        if (!time)
            fail(u"\"%1\" is no time of the form mm:ss:ff."_s.arg(words[2]));
        if (*time < m_lastIndexTime)
            fail(u"the time %1 comes before the INDEX before it in this file (%2)."_s.arg(words[2],
                                                                                        timeText(m_lastIndexTime)));
        if (*time > m_fileFrames)
            fail(u"INDEX %1 %2 lies past the end of \"%3\", which is %4 long."_s.arg(words[1], words[2], m_fileName,
                                                                                     timeText(m_fileFrames)));
        m_lastIndexTime = *time;
        placeFileUpTo(*time);
        if (!m_trackStarted) {
            startTrack();
            m_trackStarted = true;
        }
        if (number == 1) {
            m_track.start = m_next;
            m_trackHasIndex = true;
        }
    }

    void readPregap(const QStringList& words)
    {
        if (m_trackCount == 0 || m_trackStarted)
            fail(u"PREGAP belongs after TRACK and before the track's first INDEX."_s);
        const std::optional<qint64> time = words.size() > 1 ? parseTime(words[1]) : std::nullopt;
        if (!time)
            fail(u"PREGAP needs a time of the form mm:ss:ff."_s);
        m_pregap = *time;
    }

    void readFlags(const QStringList& words)
    {
        if (m_trackCount == 0)
            fail(u"FLAGS comes before any TRACK."_s);
        for (const QString& flag : words.mid(1)) {
            const QString upper = flag.toUpper();
            if (upper == "PRE"_L1)
                m_track.control |= 0x01;
            else if (upper == "DCP"_L1)
                m_track.control |= 0x02;
            else if (upper == "4CH"_L1)
                m_track.control |= 0x08;
        }
    }

    // The text of a line after its command, as written: quoted or as its words.
    static QString textAfterCommand(const QStringList& words, qsizetype first)
    {
        return words.mid(first).join(u' ').trimmed();
    }

    void readText(const QString& command, const QStringList& words)
    {
        const QString text = textAfterCommand(words, 1);
        const bool ofTrack = m_trackCount > 0;
        if (command == "TITLE"_L1)
            (ofTrack ? m_track.title : m_sheet.m_title) = text;
        else
            (ofTrack ? m_track.performer : m_sheet.m_performer) = text;
    }

    void readRemark(const QStringList& words)
    {
        const QString kind = words.value(1).toUpper();
        if (kind == "GENRE"_L1 && m_trackCount == 0)
            m_sheet.m_genre = textAfterCommand(words, 2);
        if (kind == "DATE"_L1 && m_trackCount == 0) {
            bool ok = false;
            const qint64 year = words.value(2).left(4).toLongLong(&ok);
            if (ok && year > 0)
                m_sheet.m_year = year;
        }
        if (words.size() < 3 || kind != "SESSION"_L1)
            return;
        bool ok = false;
        const int session = words[2].toInt(&ok);
        if (!ok || session < 1 || session > 99)
            fail(u"\"%1\" is no session number."_s.arg(words[2]));
        if (session < m_session || (session == m_session && m_trackCount > 0))
            fail(u"session %1 follows session %2; session numbers must increase."_s.arg(session).arg(m_session));
        if (m_trackCount > 0 && !m_trackStarted)
            fail(u"REM SESSION comes between a TRACK and its first INDEX."_s);
        m_session = session;
    }

    // Puts the file's frames up to `time` on the disc after whatever came before.
    void placeFileUpTo(qint64 time)
    {
        if (time > m_filePosition) {
            m_sheet.m_extents.append({.start = m_next,
                                      .count = time - m_filePosition,
                                      .file = int(m_sheet.m_files.size()) - 1,
                                      .byteOffset = m_sheet.m_files.constLast().dataOffset + m_filePosition * frameBytes});
            m_next += time - m_filePosition;
            m_filePosition = time;
        }
    }

    // At a track's first index: the gap before a new session, then the track's own PREGAP.
    void startTrack()
    {
        QList<CueSheet::Session>& sessions = m_sheet.m_sessions;
        if (sessions.isEmpty()) {
            sessions.append(CueSheet::Session{.number = m_track.session});
        } else if (sessions.constLast().number != m_track.session) {
            sessions.last().leadOut = m_next;
            m_next += sessionGap;
            sessions.append(CueSheet::Session{.number = m_track.session});
        }
        m_next += m_pregap;
    }

    void endTrackFile()
    {
        if (!m_sheet.m_files.isEmpty())
            placeFileUpTo(m_fileFrames);
    }

    void endTrack()
    {
        if (m_trackCount == 0)
            return;
        if (!m_trackHasIndex) {
            m_line = m_trackLine;
            fail(u"track %1 has no INDEX 01."_s.arg(m_track.number));
        }
        m_sheet.m_sessions.last().tracks.append(m_track);
        m_trackHasIndex = false;
    }

    QString m_sheetName;
    QDir m_folder;
    CueSheet m_sheet;
    int m_line = 0;
    qint64 m_next = firstFrame;
    QString m_fileName;
    qint64 m_fileFrames = 0;
    qint64 m_filePosition = 0;
    qint64 m_lastIndexTime = 0;
    int m_session = 1;
    int m_trackCount = 0;
    int m_trackNumber = 0;
    int m_trackLine = 0;
    CueSheet::Track m_track;
    bool m_trackStarted = false;
    bool m_trackHasIndex = false;
    qint64 m_pregap = 0;
};

CueSheet CueSheet::load(const QString& sheetPath)
{
    // A sheet is a page of text; a big file is an image named by mistake.
    constexpr qint64 largestSheet = 1024 * 1024;
    QByteArray text;
    try {
        text = BoundedFile::read(sheetPath, largestSheet);
    } catch (const BoundedFile::ReadError& error) {
        if (error.kind() == BoundedFile::ReadError::Kind::tooLarge)
            throw LoadError(u"%1 is not a CUE sheet: it is not text."_s.arg(QFileInfo(sheetPath).fileName()));
        throw LoadError(error.message());
    }
    CueSheetReader reader(sheetPath);
    return reader.read(text);
}

CDText CueSheet::cdText() const
{
    CDText text{.albumTitle = m_title, .albumPerformer = m_performer, .genre = m_genre};
    for (const Session& session : m_sessions) {
        for (const Track& track : session.tracks) {
            if (track.control & 0x04)
                continue;
            text.trackTitles.append(track.title);
            text.trackPerformers.append(track.performer);
        }
    }
    return text;
}

QByteArray CueSheet::fullTOC() const
{
    QByteArray toc;
    const auto descriptor = [&toc](int session, int control, int point, qint64 frame) {
        const char bytes[11] = {char(session), char(0x10 | control), 0, char(point), 0, 0, 0, 0,
                                char(frame / 4500), char(frame / 75 % 60), char(frame % 75)};
        toc.append(bytes, 11);
    };
    for (const Session& session : m_sessions) {
        const Track& first = session.tracks.constFirst();
        const Track& last = session.tracks.constLast();
        // 0xA0 carries the first track in PMIN and the disc type in PSEC: 0x20 when any track is
        // in mode 2 is the drive's business, so data sessions read as CD-ROM.
        const char a0[11] = {char(session.number), char(0x10 | first.control), 0, char(0xA0), 0, 0, 0, 0,
                             char(first.number), 0, 0};
        toc.append(a0, 11);
        const char a1[11] = {char(session.number), char(0x10 | last.control), 0, char(0xA1), 0, 0, 0, 0,
                             char(last.number), 0, 0};
        toc.append(a1, 11);
        descriptor(session.number, last.control, 0xA2, session.leadOut);
        for (const Track& track : session.tracks)
            descriptor(session.number, track.control, track.number, track.start);
    }
    const qsizetype length = toc.size() + 2;
    const char header[4] = {char(length >> 8), char(length & 0xFF), char(m_sessions.constFirst().number),
                            char(m_sessions.constLast().number)};
    return QByteArray(header, 4) + toc;
}
