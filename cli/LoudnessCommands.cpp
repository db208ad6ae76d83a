#include "LoudnessCommands.h"

#include "CommandLine.h"
#include "TerminalProgress.h"
#include "facade/Library.h"
#include "library/ReplayGain.h"
#include "library/TrackQuery.h"
#include "library/Uuid.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

using namespace Qt::StringLiterals;

namespace {

QJsonObject trackObject(const Track& track)
{
    return QJsonObject{{u"id"_s, Uuid::text(track.id)}, {u"path"_s, track.path()}};
}

QJsonObject taggedObject(const Track& track, const ReplayGain::Values& values)
{
    QJsonObject object = trackObject(track);
    object.insert(u"loudness"_s, values.trackLoudness);
    object.insert(u"trackGain"_s, values.trackGain());
    object.insert(u"trackPeak"_s, values.trackPeak);
    if (values.albumLoudness) {
        object.insert(u"albumLoudness"_s, *values.albumLoudness);
        object.insert(u"albumGain"_s, *values.albumGain());
        object.insert(u"albumPeak"_s, values.albumPeak.value_or(0.0));
    }
    return object;
}

void printJson(Invocation& invocation, const Library::LoudnessSummary& summary)
{
    QJsonArray tagged;
    for (const auto& [track, values] : summary.tagged)
        tagged.append(taggedObject(track, values));
    QJsonArray skipped;
    for (const Track& track : summary.skipped)
        skipped.append(trackObject(track));
    QJsonArray failed;
    for (const auto& [track, reason] : summary.failed) {
        QJsonObject object = trackObject(track);
        object.insert(u"reason"_s, reason);
        failed.append(object);
    }
    const QJsonObject document{{u"tagged"_s, tagged}, {u"skipped"_s, skipped}, {u"failed"_s, failed}};
    invocation.out() << QJsonDocument(document).toJson(QJsonDocument::Indented);
}

void printText(Invocation& invocation, const Library::LoudnessSummary& summary)
{
    QTextStream& out = invocation.out();
    for (const auto& [track, values] : summary.tagged) {
        out << ReplayGain::gainText(values.trackGain()).rightJustified(10);
        if (const auto album = values.albumGain())
            out << u"  album "_s << ReplayGain::gainText(*album).rightJustified(10);
        else
            out << QString(18, u' ');
        out << u"  "_s << track.path() << u'\n';
    }
    for (const auto& [track, reason] : summary.failed)
        out << u"not tagged  "_s << track.path() << u"\n    "_s << reason << u'\n';
    out << summary.message() << Qt::endl;
}

QCoro::Task<int> loudness(Invocation& invocation)
{
    Library& library = invocation.library();
    Library::LoudnessOptions options;
    options.force = invocation.isSet(u"force"_s);
    if (invocation.isSet(u"jobs"_s)) {
        bool isNumber = false;
        options.jobs = invocation.value(u"jobs"_s).toInt(&isNumber);
        if (!isNumber || options.jobs < 1) {
            invocation.err() << u"The number of jobs is a whole number from 1, such as 2."_s << Qt::endl;
            co_return int(exitUsage);
        }
    }
    QList<Track> tracks;
    try {
        tracks = TrackQuery::parse(invocation.arguments()).select(library.tracks());
    } catch (const TrackQuery::QueryError& error) {
        invocation.err() << u"velmo: "_s << error.message() << Qt::endl;
        co_return int(exitUsage);
    }
    if (tracks.isEmpty()) {
        invocation.err() << u"No track matches the query."_s << Qt::endl;
        co_return int(exitFailure);
    }

    TerminalProgress progress(invocation.err());
    const Library::LoudnessProgressHandler onProgress = [&progress](const Library::LoudnessProgress& step) {
        progress.show(step.tracksDone, step.trackCount, u"tracks measured"_s);
    };
    const Library::LoudnessSummary summary = co_await library.analyseLoudness(tracks, options, onProgress);
    progress.finish();
    if (invocation.json())
        printJson(invocation, summary);
    else
        printText(invocation, summary);
    co_return summary.failed.isEmpty() ? int(exitSuccess) : int(exitFailure);
}

} // namespace

void addLoudnessCommands(CommandLine& commandLine)
{
    commandLine.add({
        .path = {u"library"_s, u"loudness"_s},
        .arguments = u"[QUERY]"_s,
        .summary = u"Measure the loudness of the tracks the query names (all without one), album by album, and write "
                   "their ReplayGain tags. Tracks whose files carry them already are passed over."_s,
        .options = {QCommandLineOption(u"force"_s, u"Measure and tag again the tracks that carry ReplayGain tags"_s),
                    QCommandLineOption(u"jobs"_s, u"Tracks measured at once (default: one per core)"_s, u"N"_s)},
        .maximumArguments = 64,
        .hasJsonOutput = true,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::library},
        .run = loudness,
    });
}
