#pragma once

#include "platform/CDText.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>
#include <stdexcept>

// A disc image: a CUE sheet and the data files it names, laid out on the frames of a disc as a
// drive would show it. The first frame of the image is frame 150; a later session starts
// 11,400 frames after the lead-out of the one before (lead-out, lead-in and the first pregap),
// and neither that gap nor a PREGAP is in any file.
class CueSheet {
public:
    class LoadError : public std::runtime_error {
    public:
        explicit LoadError(const QString& message);
        // The sentence the user reads; it names the sheet and, where there is one, its line.
        QString message() const { return m_message; }

    private:
        QString m_message;
    };

    enum class SampleOrder { littleEndian, bigEndian };

    struct DataFile {
        QString path;
        SampleOrder order = SampleOrder::littleEndian;
        qint64 dataOffset = 0; // where the samples begin: past the RIFF header of a WAVE file
        qint64 dataLength = 0;
    };

    // A run of frames taken from one file, from `byteOffset` on. Frames of the disc that no
    // extent covers are silence.
    struct Extent {
        qint64 start = 0;
        qint64 count = 0;
        int file = 0;
        qint64 byteOffset = 0;
    };

    struct Track {
        int number = 0;
        int session = 1;
        int control = 0; // 0x04 for data
        qint64 start = 0; // INDEX 01
        QString title;     // its TITLE line
        QString performer; // its PERFORMER line
    };

    struct Session {
        int number = 1;
        QList<Track> tracks;
        qint64 leadOut = 0;
    };

    // Reads the sheet and looks at the files it names. Throws LoadError.
    static CueSheet load(const QString& sheetPath);

    const QList<DataFile>& files() const { return m_files; }
    const QList<Extent>& extents() const { return m_extents; }
    const QList<Session>& sessions() const { return m_sessions; }
    // The frame after the last one of the image.
    qint64 endFrame() const { return m_sessions.constLast().leadOut; }

    // The disc's full TOC in the layout a drive gives, with 0xA0, 0xA1 and 0xA2 per session.
    QByteArray fullTOC() const;

    // The sheet's CD-Text: TITLE and PERFORMER before the first track name the disc, after a
    // TRACK that track; "REM GENRE" gives the genre. Data tracks are left out.
    CDText cdText() const;
    // The year of "REM DATE", which ripping programs write beside the CD-Text.
    std::optional<qint64> year() const { return m_year; }

private:
    friend class CueSheetReader;

    QList<DataFile> m_files;
    QList<Extent> m_extents;
    QList<Session> m_sessions;
    QString m_title;
    QString m_performer;
    QString m_genre;
    std::optional<qint64> m_year;
};
