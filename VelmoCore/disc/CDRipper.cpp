#include "CDRipper.h"

#include "DiscRipStrategy.h"
#include "platform/AtomicFile.h"

#include <cstring>

using namespace Qt::StringLiterals;

namespace CDRipper {

namespace {

QString systemText(int errorNumber)
{
    return QString::fromLocal8Bit(std::strerror(errorNumber));
}

} // namespace

RipError::RipError(Kind kind, const QString& message, int errorNumber, qint64 sector)
    : std::runtime_error(message.toStdString())
    , m_kind(kind)
    , m_message(message)
    , m_errorNumber(errorNumber)
    , m_sector(sector)
{
}

RipError RipError::deviceOpenFailed(int errorNumber)
{
    return {Kind::deviceOpenFailed,
            u"Could not open raw device (errno %1: %2)"_s.arg(errorNumber).arg(systemText(errorNumber)), errorNumber};
}

RipError RipError::readFailed(int errorNumber, qint64 sector)
{
    return {Kind::readFailed,
            u"Sector read failed at sector %1 (errno %2: %3)"_s.arg(sector).arg(errorNumber).arg(systemText(errorNumber)),
            errorNumber, sector};
}

RipError RipError::noAudioTracks()
{
    return {Kind::noAudioTracks, u"No audio tracks found on disc"_s};
}

RipError RipError::encoderInitFailed()
{
    return {Kind::encoderInitFailed, u"FLAC encoder init failed"_s};
}

RipError RipError::encoderWriteFailed(int errorNumber)
{
    if (errorNumber == 0)
        return {Kind::encoderWriteFailed, u"FLAC encoder write failed"_s};
    return {Kind::encoderWriteFailed, u"FLAC encoder write failed: "_s + AtomicFile::describe(errorNumber), errorNumber};
}

RipError RipError::readsDisagree(qint64 trackNumber, int reads)
{
    return {Kind::readsDisagree,
            u"Track %1 read differently each of %2 times: no two reads agree"_s.arg(trackNumber).arg(reads)};
}

QString trackFileName(qint64 trackNumber)
{
    return u"track%1.flac"_s.arg(trackNumber, 2, 10, '0'_L1);
}

QCoro::Task<QList<QUrl>> rip(QString source, DiscTOC toc, QUrl outputDirectory, DiscRipStrategy& strategy,
                             ProgressHandler onProgress)
{
    co_return co_await strategy.rip(std::move(source), std::move(toc), std::move(outputDirectory),
                                    std::move(onProgress));
}

} // namespace CDRipper
