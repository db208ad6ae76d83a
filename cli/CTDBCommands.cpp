#include "CTDBCommands.h"

#include "CommandLine.h"
#include "DiscCommands.h"
#include "disc/CTDBDatabase.h"
#include "disc/CTDBTOC.h"
#include "disc/CTDBVerifier.h"
#include "disc/DiscTOC.h"
#include "library/Background.h"
#include "library/DisplayText.h"
#include "metadata/MusicBrainzDiscLookup.h"
#include "metadata/ServiceSettings.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

QString hex(quint32 value)
{
    return u"%1"_s.arg(value, 8, 16, QChar(u'0'));
}

QCoro::Task<CTDBTOC> tocOf(QString source)
{
    const auto read = [source] { return CTDBTOC::fromFullTOC(MusicBrainzDiscLookup::rawTOCData(source)); };
    co_return co_await Background::run(read);
}

QCoro::Task<int> showID(Invocation& invocation)
{
    const std::optional<QByteArray> bytes =
        co_await discTOCBytes(invocation, u"velmo ctdb id (SOURCE | --raw-toc FILE) [--json]"_s);
    if (!bytes)
        co_return int(exitUsage);
    const CTDBTOC toc = CTDBTOC::fromFullTOC(*bytes);
    const QUrl url = CTDB::lookupURL(toc, ServiceSettings::load().ctdb);
    if (invocation.json()) {
        const QJsonObject object{{u"tocid"_s, toc.tocID()}, {u"toc"_s, toc.text()}, {u"url"_s, url.toString()}};
        invocation.out() << QJsonDocument(object).toJson(QJsonDocument::Indented);
    } else {
        invocation.out() << toc.tocID() << u'\n' << toc.text() << u'\n' << url.toString() << u'\n';
    }
    co_return int(exitSuccess);
}

QCoro::Task<int> lookUp(Invocation& invocation)
{
    const CTDBTOC toc = co_await tocOf(invocation.arguments().constFirst());
    invocation.err() << u"Asking CTDB for disc "_s << toc.tocID() << u"…"_s << Qt::endl;
    QList<CTDB::Entry> entries;
    try {
        entries = co_await CTDB::fetch(toc);
    } catch (const CTDB::Error& error) {
        co_return invocation.fail(error.message());
    }
    if (invocation.json()) {
        QJsonArray array;
        for (const CTDB::Entry& entry : std::as_const(entries)) {
            QJsonArray tracks;
            for (quint32 crc : entry.trackCRCs)
                tracks.append(hex(crc));
            array.append(QJsonObject{{u"id"_s, entry.id},
                                     {u"crc32"_s, hex(entry.crc32)},
                                     {u"confidence"_s, entry.confidence},
                                     {u"trackcrcs"_s, tracks},
                                     {u"toc"_s, entry.toc},
                                     {u"stride"_s, entry.stride},
                                     {u"npar"_s, entry.npar}});
        }
        const QJsonObject object{{u"tocid"_s, toc.tocID()}, {u"entries"_s, array}};
        invocation.out() << QJsonDocument(object).toJson(QJsonDocument::Indented);
        co_return int(exitSuccess);
    }
    if (entries.isEmpty()) {
        invocation.out() << u"The disc is not in the database.\n"_s;
        co_return int(exitSuccess);
    }
    for (qsizetype i = 0; i < entries.size(); ++i) {
        const CTDB::Entry& entry = entries.at(i);
        QStringList tracks;
        for (quint32 crc : entry.trackCRCs)
            tracks.append(hex(crc));
        invocation.out() << u"Entry "_s << i + 1 << u": ["_s << hex(entry.crc32) << u"] confidence "_s
                         << entry.confidence << u", toc "_s << entry.toc << u'\n';
        if (!tracks.isEmpty())
            invocation.out() << u"  tracks "_s << tracks.join(u' ') << u'\n';
    }
    co_return int(exitSuccess);
}

QCoro::Task<int> verifyFiles(Invocation& invocation)
{
    QStringList arguments = invocation.arguments();
    const CTDBTOC toc = co_await tocOf(arguments.takeFirst());
    if (arguments.size() > toc.audioTrackCount())
        co_return invocation.fail(
            u"The disc has %1; %2 were given."_s.arg(DisplayText::counted(toc.audioTrackCount(), u"audio track"_s),
                                                     DisplayText::counted(arguments.size(), u"file"_s)));
    invocation.err() << u"Asking CTDB for disc "_s << toc.tocID() << u"…"_s << Qt::endl;
    QList<CTDB::Entry> entries;
    try {
        entries = co_await CTDB::fetch(toc);
    } catch (const CTDB::Error& error) {
        co_return invocation.fail(error.message());
    }
    QMap<qsizetype, QString> files;
    for (qsizetype i = 0; i < arguments.size(); ++i)
        files.insert(i, arguments.at(i));
    const auto check = [toc, files, entries] { return CTDB::verifyFiles(toc, files, entries); };
    const CTDB::Verification verification = co_await Background::run(check);
    const QList<CTDB::Verdict> checked = verification.tracks.mid(0, files.size());
    if (invocation.json()) {
        QJsonArray tracks;
        for (qsizetype i = 0; i < checked.size(); ++i) {
            const CTDB::Verdict& verdict = checked.at(i);
            QJsonObject track{{u"track"_s, i + 1},
                              {u"status"_s, verdict.statusName()},
                              {u"confidence"_s, verdict.confidence},
                              {u"total"_s, verdict.total}};
            if (verdict.offset)
                track.insert(u"offset"_s, *verdict.offset);
            tracks.append(track);
        }
        const QJsonObject object{
            {u"tocid"_s, verification.tocID},
            {u"offset"_s, verification.offset ? QJsonValue(*verification.offset) : QJsonValue(QJsonValue::Null)},
            {u"tracks"_s, tracks}};
        invocation.out() << QJsonDocument(object).toJson(QJsonDocument::Indented);
    } else {
        invocation.out() << u"CTDB TOCID: "_s << verification.tocID << u'\n';
        if (verification.offset)
            invocation.out() << u"Disc found at offset "_s << CTDB::signedOffset(*verification.offset) << u'\n';
        for (qsizetype i = 0; i < checked.size(); ++i) {
            const CTDB::Verdict& verdict = checked.at(i);
            invocation.out() << u"Track "_s << i + 1 << u": "_s << files.value(i) << u" — "_s << verdict.text();
            if (verdict.offset && *verdict.offset != 0)
                invocation.out() << u", offset "_s << CTDB::signedOffset(*verdict.offset);
            invocation.out() << u'\n';
        }
        invocation.out() << CTDB::summary(checked) << u".\n"_s;
    }
    const bool allVerified =
        std::all_of(checked.cbegin(), checked.cend(), [](const CTDB::Verdict& verdict) { return verdict.matched(); });
    co_return allVerified ? int(exitSuccess) : int(exitFailure);
}

} // namespace

void addCTDBCommands(CommandLine& commandLine)
{
    commandLine.addGroup(u"ctdb"_s,
                         u"The CUETools database: disc ids, its rips of a disc, files checked against them"_s);
    commandLine.add({
        .path = {u"ctdb"_s, u"id"_s},
        .arguments = u"[SOURCE]"_s,
        .summary = u"The disc's CTDB TOCID, its table of contents as the database reads it, and the lookup's "
                   "address. SOURCE is a drive or a CUE sheet."_s,
        .options = {QCommandLineOption(rawTOCOption, u"Read full-TOC bytes from FILE instead of a disc"_s, u"FILE"_s)},
        .maximumArguments = 1,
        .hasJsonOutput = true,
        .run = showID,
    });
    commandLine.add({
        .path = {u"ctdb"_s, u"lookup"_s},
        .arguments = u"SOURCE"_s,
        .summary = u"The rips the database holds of the disc: each one's CRC, confidence and track CRCs."_s,
        .minimumArguments = 1,
        .maximumArguments = 1,
        .hasJsonOutput = true,
        .run = lookUp,
    });
    commandLine.add({
        .path = {u"ctdb"_s, u"verify"_s},
        .arguments = u"SOURCE FILE…"_s,
        .summary = u"Check audio files, the disc's tracks in order from track 1, against the database, at any "
                   "offset it allows."_s,
        .minimumArguments = 2,
        .maximumArguments = 100,
        .hasJsonOutput = true,
        .run = verifyFiles,
    });
}
