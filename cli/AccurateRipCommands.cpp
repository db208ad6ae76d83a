#include "AccurateRipCommands.h"

#include "CommandLine.h"
#include "DiscCommands.h"
#include "disc/AccurateRipDatabase.h"
#include "disc/AccurateRipID.h"
#include "disc/CDRipper.h"
#include "disc/CTDBDatabase.h"
#include "disc/CTDBVerifier.h"
#include "disc/CueSheet.h"
#include "disc/DiscTOC.h"
#include "disc/ReadOffset.h"
#include "disc/TrackChecksums.h"
#include "facade/Library.h"
#include "library/Background.h"
#include "library/DisplayText.h"
#include "library/Settings.h"
#include "metadata/MusicBrainzDiscLookup.h"
#include "metadata/ServiceSettings.h"
#include "platform/AudioDecoder.h"
#include "platform/BoundedFile.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QSet>

using namespace Qt::StringLiterals;

namespace {

QString hex(quint32 value)
{
    return u"%1"_s.arg(value, 8, 16, QChar(u'0'));
}

QString signedSamples(qint64 offset)
{
    return (offset > 0 ? u"+"_s : QString()) + QString::number(offset);
}

QCoro::Task<int> showID(Invocation& invocation)
{
    const std::optional<QByteArray> bytes =
        co_await discTOCBytes(invocation, u"velmo accuraterip id (SOURCE | --raw-toc FILE) [--json]"_s);
    if (!bytes)
        co_return int(exitUsage);
    const AccurateRipID id = AccurateRipID::fromFullTOC(*bytes);
    const QUrl url = id.url(ServiceSettings::load().accurateRip);
    if (invocation.json()) {
        const QJsonObject object{{u"id"_s, id.text()},         {u"trackCount"_s, id.trackCount},
                                 {u"id1"_s, qint64(id.id1)},   {u"id2"_s, qint64(id.id2)},
                                 {u"cddb"_s, qint64(id.cddb)}, {u"url"_s, url.toString()}};
        invocation.out() << QJsonDocument(object).toJson(QJsonDocument::Indented);
    } else {
        invocation.out() << id.text() << u'\n' << url.toString() << u'\n';
    }
    co_return int(exitSuccess);
}

// A whole number from 1 up, or none after saying what was wanted.
std::optional<qint64> positiveOption(Invocation& invocation, const QString& name)
{
    bool ok = false;
    const qint64 number = invocation.value(name).toLongLong(&ok);
    if (!invocation.isSet(name) || !ok || number < 1) {
        invocation.err() << u"velmo: --%1 takes a track count or number from 1 up.\nUsage: velmo accuraterip "
                            "checksum FILE --track N --tracks M [--json]"_s.arg(name)
                         << Qt::endl;
        return std::nullopt;
    }
    return number;
}

QCoro::Task<int> checksum(Invocation& invocation)
{
    const std::optional<qint64> track = positiveOption(invocation, u"track"_s);
    const std::optional<qint64> tracks = positiveOption(invocation, u"tracks"_s);
    if (!track || !tracks)
        co_return int(exitUsage);
    if (*track > *tracks)
        co_return invocation.fail(
            u"Track %1 is not on a disc of %2."_s.arg(*track).arg(DisplayText::counted(*tracks, u"track"_s)));
    const QString path = invocation.arguments().constFirst();
    const bool first = *track == 1;
    const bool last = *track == *tracks;
    const auto sum = [path, first, last] { return checksumsOfFile(path, first, last); };
    TrackChecksums sums;
    try {
        sums = co_await Background::run(sum);
    } catch (const AudioDecoder::DecodeError& error) {
        const QString reason = QString::fromUtf8(error.what());
        if (error.kind() == AudioDecoder::DecodeError::Kind::damaged)
            co_return invocation.fail(u"Track %1: damaged: cannot be verified (%2)"_s.arg(*track).arg(reason));
        co_return invocation.fail(u"Could not read %1: %2"_s.arg(path, reason));
    }
    if (invocation.json()) {
        const QJsonObject object{{u"v1"_s, hex(sums.v1)},
                                 {u"v2"_s, hex(sums.v2)},
                                 {u"crc32"_s, hex(sums.crc32)},
                                 {u"crc32WithoutSilence"_s, hex(sums.crc32WithoutSilence)}};
        invocation.out() << QJsonDocument(object).toJson(QJsonDocument::Indented);
    } else {
        invocation.out() << u"v1:                "_s << hex(sums.v1) << u"\nv2:                "_s << hex(sums.v2)
                         << u"\nCRC32:             "_s << hex(sums.crc32) << u"\nCRC32 w/o silence: "_s
                         << hex(sums.crc32WithoutSilence) << u'\n';
    }
    co_return int(exitSuccess);
}

QCoro::Task<int> parseAnswer(Invocation& invocation)
{
    QList<AccurateRip::Pressing> pressings;
    try {
        pressings = AccurateRip::parse(BoundedFile::read(invocation.arguments().constFirst(), AccurateRip::largestAnswer));
    } catch (const BoundedFile::ReadError& error) {
        co_return invocation.fail(error.message());
    } catch (const AccurateRip::Error& error) {
        co_return invocation.fail(error.message());
    }
    if (invocation.json()) {
        QJsonArray entries;
        for (const AccurateRip::Pressing& pressing : std::as_const(pressings)) {
            QJsonArray tracks;
            for (const AccurateRip::TrackEntry& track : pressing.tracks) {
                tracks.append(QJsonObject{{u"confidence"_s, track.confidence},
                                          {u"crc"_s, qint64(track.crc)},
                                          {u"crc450"_s, qint64(track.crc450)}});
            }
            entries.append(QJsonObject{{u"trackCount"_s, pressing.trackCount},
                                       {u"id1"_s, qint64(pressing.id1)},
                                       {u"id2"_s, qint64(pressing.id2)},
                                       {u"cddb"_s, qint64(pressing.cddb)},
                                       {u"tracks"_s, tracks}});
        }
        invocation.out() << QJsonDocument(entries).toJson(QJsonDocument::Indented);
        co_return int(exitSuccess);
    }
    for (qsizetype i = 0; i < pressings.size(); ++i) {
        const AccurateRip::Pressing& pressing = pressings.at(i);
        const AccurateRipID id{pressing.trackCount, pressing.id1, pressing.id2, pressing.cddb};
        invocation.out() << u"Pressing "_s << i + 1 << u": "_s << id.text() << u'\n';
        for (qsizetype t = 0; t < pressing.tracks.size(); ++t) {
            const AccurateRip::TrackEntry& track = pressing.tracks.at(t);
            invocation.out() << u"  "_s << QString::number(t + 1).rightJustified(2) << u"  confidence "_s
                             << QString::number(track.confidence).rightJustified(3) << u"  crc "_s << hex(track.crc)
                             << u"  crc450 "_s << hex(track.crc450) << u'\n';
        }
    }
    co_return int(exitSuccess);
}

// The disc's id and the database's pressings of it; none after saying why.
QCoro::Task<std::optional<std::pair<AccurateRipID, QList<AccurateRip::Pressing>>>> lookUp(Invocation& invocation,
                                                                                          QString source)
{
    const auto identify = [source] { return AccurateRipID::fromFullTOC(MusicBrainzDiscLookup::rawTOCData(source)); };
    const AccurateRipID id = co_await Background::run(identify);
    invocation.err() << u"Asking AccurateRip for disc "_s << id.text() << u"…"_s << Qt::endl;
    try {
        QList<AccurateRip::Pressing> pressings = co_await AccurateRip::fetch(id);
        co_return std::pair{id, pressings};
    } catch (const AccurateRip::Error& error) {
        invocation.fail(error.message());
    }
    co_return std::nullopt;
}

QCoro::Task<int> findOffset(Invocation& invocation)
{
    const QString source = invocation.arguments().constFirst();
    const auto read = [source] { return MusicBrainzDiscLookup::readDiscTOC(source); };
    const DiscTOC toc = co_await Background::run(read);
    const auto found = co_await lookUp(invocation, source);
    if (!found)
        co_return int(exitFailure);
    const auto& [id, pressings] = *found;
    if (pressings.isEmpty())
        co_return invocation.fail(u"The disc is not in the AccurateRip database, so its read offset cannot be found "
                                  "from it."_s);
    const QList<AccurateRip::Pressing> known = pressings;
    const auto search = [source, toc, known] {
        return ReadOffset::find(ReadOffset::rawFrames(source), toc, known);
    };
    QList<ReadOffset::Candidate> candidates;
    try {
        candidates = co_await Background::run(search);
    } catch (const CDRipper::RipError& error) {
        co_return invocation.fail(error.message());
    }
    if (candidates.isEmpty())
        co_return invocation.fail(
            u"No read offset within ±%1 samples matches the database."_s.arg(ReadOffset::searchedSamples));
    const ReadOffset::Candidate best = candidates.constFirst();
    invocation.out() << u"Read offset: "_s << signedSamples(best.offset) << u" samples (found on "_s << best.tracks
                     << u" of "_s << DisplayText::counted(toc.trackCount, u"track"_s) << u")"_s << Qt::endl;
    if (invocation.isSet(u"save"_s)) {
        const QString drive = ReadOffset::driveOf(source);
        if (drive.isEmpty())
            co_return invocation.fail(u"A disc image has no drive to keep an offset for."_s);
        Settings::setReadOffset(drive, best.offset);
        invocation.out() << u"Kept for "_s << drive << u"."_s << Qt::endl;
    }
    co_return int(exitSuccess);
}

// The files against the CUETools database; none, after saying why, when it could not be asked.
QCoro::Task<std::optional<CTDB::Verification>> verifyWithCTDB(Invocation& invocation, QString source,
                                                             QMap<qint64, QString> files)
{
    const auto read = [source] { return CTDBTOC::fromFullTOC(MusicBrainzDiscLookup::rawTOCData(source)); };
    const CTDBTOC toc = co_await Background::run(read);
    invocation.err() << u"Asking CTDB for disc "_s << toc.tocID() << u"…"_s << Qt::endl;
    QList<CTDB::Entry> entries;
    try {
        entries = co_await CTDB::fetch(toc);
    } catch (const CTDB::Error& error) {
        invocation.err() << error.message() << Qt::endl;
        co_return std::nullopt;
    }
    QMap<qsizetype, QString> byIndex;
    for (auto file = files.cbegin(); file != files.cend(); ++file)
        byIndex.insert(file.key() - 1, file.value());
    const auto check = [toc, byIndex, entries] { return CTDB::verifyFiles(toc, byIndex, entries); };
    co_return co_await Background::run(check);
}

QCoro::Task<int> verifyDisc(Invocation& invocation)
{
    const QString source = invocation.arguments().constFirst();
    const auto read = [source] { return MusicBrainzDiscLookup::readDiscTOC(source); };
    const DiscTOC toc = co_await Background::run(read);
    invocation.err() << u"Looking up disc "_s << toc.discID << u" on MusicBrainz…"_s << Qt::endl;
    QSet<QString> releases;
    std::optional<qint64> discNumber;
    try {
        const QList<ReleaseMetadata> found =
            co_await MusicBrainzDiscLookup::fetchReleases(toc.discID, toc.trackOffsets, toc.leadOutOffset);
        for (const ReleaseMetadata& release : found) {
            releases.insert(release.mbid);
            discNumber = release.discNumber;
        }
    } catch (const MusicBrainzDiscLookup::LookupError& error) {
        co_return invocation.fail(error.message());
    }
    // The library's files of this disc, by their track number.
    QMap<qint64, QString> files;
    for (const Track& track : invocation.library().tracks()) {
        if (track.releaseMBID && releases.contains(*track.releaseMBID) && track.trackNumber && *track.trackNumber >= 1
            && *track.trackNumber <= toc.trackCount
            && (!track.discNumber || !discNumber || track.discNumber == discNumber))
            files.insert(*track.trackNumber, track.path());
    }
    if (files.isEmpty())
        co_return invocation.fail(u"The library holds no track of this disc."_s);
    const auto found = co_await lookUp(invocation, source);
    if (!found)
        co_return int(exitFailure);
    const auto& [id, pressings] = *found;
    const std::optional<CTDB::Verification> ctdb = co_await verifyWithCTDB(invocation, source, files);

    QList<AccurateRip::Verdict> verdicts;
    bool allTrusted = true;
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        const qint64 number = file.key();
        const QString path = file.value();
        const qint64 count = toc.trackCount;
        const auto sum = [path, number, count] { return checksumsOfFile(path, number == 1, number == count); };
        AccurateRip::Verdict verdict;
        try {
            const TrackChecksums sums = co_await Background::run(sum);
            verdict = AccurateRip::verify(sums, pressings, number - 1);
        } catch (const AudioDecoder::DecodeError& error) {
            verdict.reason = QString::fromUtf8(error.what());
            if (error.kind() == AudioDecoder::DecodeError::Kind::damaged)
                verdict.outcome = AccurateRip::Verdict::Outcome::damaged;
        }
        verdicts.append(verdict);
        invocation.out() << u"Track "_s << number << u": "_s << path << u" — "_s << verdict.text();
        std::optional<CTDB::Verdict> ctdbVerdict;
        if (ctdb && number - 1 < ctdb->tracks.size()) {
            ctdbVerdict = ctdb->tracks.at(number - 1);
            invocation.out() << u"; CTDB: "_s << ctdbVerdict->text();
            if (ctdbVerdict->offset && *ctdbVerdict->offset != 0)
                invocation.out() << u", at offset "_s << CTDB::signedOffset(*ctdbVerdict->offset);
        }
        invocation.out() << Qt::endl;
        // Trusted: at least one database confirms the file and none contradicts it.
        const bool confirmed = verdict.matched() || (ctdbVerdict && ctdbVerdict->matched());
        const bool contradicted = verdict.outcome == AccurateRip::Verdict::Outcome::mismatch
                                  || verdict.outcome == AccurateRip::Verdict::Outcome::damaged
                                  || (ctdbVerdict && ctdbVerdict->status == CTDB::Verdict::Status::differs);
        allTrusted = allTrusted && confirmed && !contradicted;
    }
    if (ctdb) {
        QList<CTDB::Verdict> checked;
        for (auto file = files.cbegin(); file != files.cend(); ++file) {
            if (file.key() - 1 < ctdb->tracks.size())
                checked.append(ctdb->tracks.at(file.key() - 1));
        }
        invocation.out() << CTDB::summary(checked) << u'.' << Qt::endl;
    }
    invocation.out() << AccurateRip::summary(verdicts) << u'.' << Qt::endl;
    co_return allTrusted ? int(exitSuccess) : int(exitFailure);
}

} // namespace

void addAccurateRipCommands(CommandLine& commandLine)
{
    commandLine.addGroup(u"accuraterip"_s, u"The AccurateRip database: disc ids, checksums and its answers"_s);
    commandLine.add({
        .path = {u"accuraterip"_s, u"id"_s},
        .arguments = u"[SOURCE]"_s,
        .summary = u"The disc's AccurateRip id and the address of its entry. SOURCE is a drive or a CUE sheet."_s,
        .options = {QCommandLineOption(rawTOCOption, u"Read full-TOC bytes from FILE instead of a disc"_s, u"FILE"_s)},
        .maximumArguments = 1,
        .hasJsonOutput = true,
        .run = showID,
    });
    commandLine.add({
        .path = {u"accuraterip"_s, u"checksum"_s},
        .arguments = u"FILE"_s,
        .summary = u"The AccurateRip v1 and v2 checksums and the two CRC32s of an audio file's samples, as track N "
                   "of an M-track disc."_s,
        .options = {QCommandLineOption(u"track"_s, u"The track's number on the disc"_s, u"N"_s),
                    QCommandLineOption(u"tracks"_s, u"The disc's number of tracks"_s, u"M"_s)},
        .minimumArguments = 1,
        .maximumArguments = 1,
        .hasJsonOutput = true,
        .run = checksum,
    });
    commandLine.add({
        .path = {u"accuraterip"_s, u"parse"_s},
        .arguments = u"FILE"_s,
        .summary = u"The entries of a dBAR file: one per pressing, with each track's confidence and checksums."_s,
        .minimumArguments = 1,
        .maximumArguments = 1,
        .hasJsonOutput = true,
        .run = parseAnswer,
    });
    commandLine.add({
        .path = {u"disc"_s, u"verify"_s},
        .arguments = u"SOURCE"_s,
        .summary = u"Check the library's files of the disc against AccurateRip, without ripping again."_s,
        .minimumArguments = 1,
        .maximumArguments = 1,
        .access = Command::Access::library,
        .run = verifyDisc,
    });
    commandLine.add({
        .path = {u"disc"_s, u"find-offset"_s},
        .arguments = u"SOURCE"_s,
        .summary = u"Find the drive's read offset from a disc that AccurateRip knows."_s,
        .options = {QCommandLineOption(u"save"_s, u"Keep the offset found for the drive"_s)},
        .minimumArguments = 1,
        .maximumArguments = 1,
        .run = findOffset,
    });
}
