#include "DiscCommands.h"

#include "CommandLine.h"
#include "disc/AccurateRipID.h"
#include "disc/CDImporter.h"
#include "disc/CDTOCDiagnostics.h"
#include "disc/CTDBTOC.h"
#include "disc/CTDBVerifier.h"
#include "disc/DiscRipStrategy.h"
#include "disc/DiscTOC.h"
#include "disc/UnknownDisc.h"
#include "facade/CDRipController.h"
#include "facade/Library.h"
#include "library/Background.h"
#include "library/DisplayText.h"
#include "library/RawValueEnum.h"
#include "library/Settings.h"
#include "metadata/ArtworkFetcher.h"
#include "metadata/MusicBrainzDiscLookup.h"
#include "metadata/ServiceSettings.h"
#include "platform/BoundedFile.h"
#include "platform/UdevDiscEvents.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <optional>

using namespace Qt::StringLiterals;

const QString rawTOCOption = u"raw-toc"_s;

QCoro::Task<std::optional<QByteArray>> discTOCBytes(Invocation& invocation, QString usage)
{
    const bool raw = invocation.isSet(rawTOCOption);
    if (raw == (invocation.arguments().size() == 1)) {
        invocation.err() << u"velmo: give either SOURCE or --raw-toc FILE.\nUsage: "_s << usage << Qt::endl;
        co_return std::nullopt;
    }
    if (raw)
        co_return BoundedFile::read(invocation.value(rawTOCOption), FullTOC::largestSize);
    const QString source = invocation.arguments().constFirst();
    const auto read = [source] { return MusicBrainzDiscLookup::rawTOCData(source); };
    co_return co_await Background::run(read);
}

namespace {

QCoro::Task<int> listDiscs(Invocation& invocation)
{
    const QStringList drives = UdevDiscEvents::presentDiscs();
    if (invocation.json()) {
        QJsonArray discs;
        for (const QString& drive : drives)
            discs.append(QJsonObject{{u"bsdName"_s, drive}, {u"trackCount"_s, 0}});
        invocation.out() << QJsonDocument(discs).toJson(QJsonDocument::Indented);
    } else if (drives.isEmpty()) {
        invocation.out() << u"No drive holds an audio CD.\n"_s;
    } else {
        for (const QString& drive : drives)
            invocation.out() << drive << u'\n';
    }
    co_return int(exitSuccess);
}

QCoro::Task<int> showTOC(Invocation& invocation)
{
    const std::optional<QByteArray> bytes =
        co_await discTOCBytes(invocation, u"velmo disc toc (SOURCE | --raw-toc FILE) [--json]"_s);
    if (!bytes)
        co_return int(exitUsage);
    const DiscTOC toc = MusicBrainzDiscLookup::parseDiscTOC(*bytes);
    const QString accurateRipID = AccurateRipID::fromFullTOC(*bytes).text();
    const QString ctdbTocID = CTDBTOC::fromFullTOC(*bytes).tocID();
    if (invocation.json()) {
        QJsonArray offsets;
        for (qint64 offset : toc.trackOffsets)
            offsets.append(offset);
        const QJsonObject object{{u"discID"_s, toc.discID},
                                 {u"trackCount"_s, toc.trackCount},
                                 {u"trackOffsets"_s, offsets},
                                 {u"leadOutOffset"_s, toc.leadOutOffset},
                                 {u"accurateRipID"_s, accurateRipID},
                                 {u"ctdbTocID"_s, ctdbTocID}};
        invocation.out() << QJsonDocument(object).toJson(QJsonDocument::Indented);
        co_return int(exitSuccess);
    }
    QTextStream& out = invocation.out();
    out << u"Tracks:   "_s << toc.trackCount << u'\n';
    for (qint64 i = 0; i < toc.trackCount; ++i)
        out << u"  "_s << QString::number(i + 1).rightJustified(2) << u"  "_s << toc.trackOffsets[i] << u'\n';
    out << u"Lead-out: "_s << toc.leadOutOffset << u'\n' << u"Disc ID:  "_s << toc.discID << u'\n'
        << u"AccurateRip ID: "_s << accurateRipID << u'\n' << u"CTDB TOCID: "_s << ctdbTocID << u'\n';
    co_return int(exitSuccess);
}

QCoro::Task<int> diagnose(Invocation& invocation)
{
    const std::optional<QByteArray> bytes =
        co_await discTOCBytes(invocation, u"velmo disc diagnose (SOURCE | --raw-toc FILE)"_s);
    if (!bytes)
        co_return int(exitUsage);
    invocation.out() << CDTOCDiagnostics::analyze(*bytes);
    co_return int(exitSuccess);
}

// "1,3-5" as 0-based indexes in the order given; none when a part isn't a track of the disc.
std::optional<QList<qint64>> parseTracks(const QString& text, qint64 trackCount, QString& problem)
{
    QList<qint64> indexes;
    for (const QString& part : text.split(u',')) {
        const QStringList ends = part.trimmed().split(u'-');
        bool ok[2] = {false, true};
        const qint64 first = ends.value(0).toLongLong(&ok[0]);
        const qint64 last = ends.size() == 2 ? ends[1].toLongLong(&ok[1]) : first;
        if (ends.size() > 2 || !ok[0] || !ok[1] || first < 1 || last < first) {
            problem = u"\"%1\" is not a track number or a range like 3-5."_s.arg(part);
            return std::nullopt;
        }
        if (last > trackCount) {
            problem = u"Track %1 is not on the disc, which has %2."_s.arg(last).arg(
                DisplayText::counted(trackCount, u"track"_s));
            return std::nullopt;
        }
        for (qint64 track = first; track <= last; ++track) {
            if (!indexes.contains(track - 1))
                indexes.append(track - 1);
        }
    }
    return indexes;
}

// --strategy, else the preference; none after saying the name is wrong.
std::optional<RipStrategyKind> strategyKind(Invocation& invocation)
{
    if (!invocation.isSet(u"strategy"_s))
        return Settings::value(Settings::ripStrategy);
    const std::optional<RipStrategyKind> chosen = enumFromRawValue<RipStrategyKind>(invocation.value(u"strategy"_s));
    if (!chosen)
        invocation.err() << u"velmo: the strategy is \"direct\", \"paranoia\" or \"secure\"."_s << Qt::endl;
    return chosen;
}

// --offset, else none: each drive's own from the settings. False after saying it is wrong.
bool readOffset(Invocation& invocation, std::optional<qint64>& offset)
{
    if (!invocation.isSet(u"offset"_s))
        return true;
    bool ok = false;
    offset = invocation.value(u"offset"_s).toLongLong(&ok);
    if (!ok)
        invocation.err() << u"velmo: the read offset is a whole number of samples, such as 6 or -1164."_s << Qt::endl;
    return ok;
}

// A read offset shifts by samples within the disc; one beyond its length reads nothing of it
// and overflows the arithmetic of positions. False after saying so.
bool offsetFitsDisc(Invocation& invocation, const std::optional<qint64>& offset, const DiscTOC& toc)
{
    const qint64 samples = (toc.leadOutOffset - toc.trackOffsets.constFirst()) * 588;
    if (!offset || (*offset >= -samples && *offset <= samples))
        return true;
    invocation.err() << u"velmo: a read offset of %1 samples is beyond the disc, which is %2 samples long."_s.arg(
                            *offset).arg(samples)
                     << Qt::endl;
    return false;
}

// --tracks as 0-based indexes, else every track; none after saying why.
std::optional<QList<qint64>> trackIndexes(Invocation& invocation, const DiscTOC& toc)
{
    QList<qint64> indexes;
    for (qint64 i = 0; i < toc.trackCount; ++i)
        indexes.append(i);
    if (!invocation.isSet(u"tracks"_s))
        return indexes;
    QString problem;
    const std::optional<QList<qint64>> chosen = parseTracks(invocation.value(u"tracks"_s), toc.trackCount, problem);
    if (!chosen)
        invocation.fail(problem);
    return chosen;
}

QCoro::Task<int> rip(Invocation& invocation)
{
    const QString source = invocation.arguments().at(0);
    const QString folder = QFileInfo(invocation.arguments().at(1)).absoluteFilePath();
    const std::optional<RipStrategyKind> chosenKind = strategyKind(invocation);
    if (!chosenKind)
        co_return int(exitUsage);
    const RipStrategyKind kind = *chosenKind;
    std::optional<qint64> offset;
    if (!readOffset(invocation, offset))
        co_return int(exitUsage);
    const auto read = [source] { return MusicBrainzDiscLookup::readDiscTOC(source); };
    const DiscTOC toc = co_await Background::run(read);
    if (!offsetFitsDisc(invocation, offset, toc))
        co_return int(exitUsage);
    const std::optional<QList<qint64>> chosenIndexes = trackIndexes(invocation, toc);
    if (!chosenIndexes)
        co_return int(exitFailure);
    const QList<qint64> indexes = *chosenIndexes;

    const std::unique_ptr<DiscRipStrategy> strategy = makeStrategy(kind, offset);
    const QUrl output = QUrl::fromLocalFile(folder);
    invocation.err() << u"Ripping "_s << indexes.size() << u" of "_s << toc.trackCount << u" tracks ("_s
                     << displayName(kind) << u") into "_s << folder << Qt::endl;
    const CDRipper::ProgressHandler noProgress;
    for (qint64 index : std::as_const(indexes)) {
        try {
            const QUrl file = co_await strategy->ripTrack(source, toc, index, output, noProgress);
            invocation.out() << u"Track "_s << index + 1 << u'/' << toc.trackCount << u": "_s << file.toLocalFile()
                             << Qt::endl;
        } catch (const CDRipper::RipError& error) {
            // A failed track leaves its partial file behind; nothing half-written stays.
            QFile::remove(QDir(folder).filePath(CDRipper::trackFileName(index + 1)));
            co_return invocation.fail(u"Track %1 failed: %2"_s.arg(index + 1).arg(error.message()));
        }
    }
    co_return int(exitSuccess);
}

// The release the user means: the one --release names by its number in the list or its id,
// else the one MusicBrainz knows alone, else the one the disc screen would preselect. None
// after listing the choices.
std::optional<ReleaseMetadata> chooseRelease(Invocation& invocation, const QList<ReleaseMetadata>& releases)
{
    const QString wanted = invocation.value(u"release"_s);
    for (qsizetype i = 0; i < releases.size(); ++i) {
        if (wanted == QString::number(i + 1) || (!wanted.isEmpty() && releases.at(i).mbid == wanted))
            return releases.at(i);
    }
    if (wanted.isEmpty() && releases.size() == 1)
        return releases.constFirst();
    if (wanted.isEmpty()) {
        if (const auto preferred = CDRipController::preferredRelease(releases, invocation.library().tracks())) {
            const ReleaseMetadata& chosen = releases.at(*preferred);
            invocation.err() << u"Chose release "_s << *preferred + 1 << u" of "_s << releases.size() << u": "_s
                             << chosen.title << u"  "_s << chosen.mbid << u" (another with --release)"_s << Qt::endl;
            return chosen;
        }
    }
    invocation.err() << (wanted.isEmpty() ? u"MusicBrainz knows %1 for this disc; choose one with --release:"_s.arg(
                                                DisplayText::counted(releases.size(), u"release"_s))
                                          : u"No release of this disc is “%1”. They are:"_s.arg(wanted))
                     << Qt::endl;
    for (qsizetype i = 0; i < releases.size(); ++i) {
        const ReleaseMetadata& r = releases.at(i);
        invocation.err() << u"  "_s << i + 1 << u". "_s << r.artist << u" — "_s << r.title
                         << (r.year ? u" ("_s + QString::number(*r.year) + u')' : QString()) << u"  "_s << r.mbid
                         << Qt::endl;
    }
    return std::nullopt;
}

const QStringList namingOptions{u"artist"_s, u"album"_s, u"year"_s, u"genre"_s, u"titles"_s};

// The names of a disc ripped without a lookup: those the options give, else those the disc
// gives of itself, else "Unknown …". None after saying which option is wrong.
std::optional<ReleaseMetadata> namedRelease(Invocation& invocation, const QString& source, const DiscTOC& toc)
{
    UnknownDisc::Names names = UnknownDisc::read(source);
    CDText& text = names.text;
    if (invocation.isSet(u"artist"_s))
        text.albumPerformer = invocation.value(u"artist"_s).trimmed();
    if (invocation.isSet(u"album"_s))
        text.albumTitle = invocation.value(u"album"_s).trimmed();
    if (invocation.isSet(u"genre"_s))
        text.genre = invocation.value(u"genre"_s).trimmed();
    if (invocation.isSet(u"year"_s)) {
        bool ok = false;
        const qint64 year = invocation.value(u"year"_s).toLongLong(&ok);
        if (!ok || year < 1 || year > 9999) {
            invocation.err() << u"velmo: the year is a number such as 1999."_s << Qt::endl;
            return std::nullopt;
        }
        names.year = year;
    }
    if (invocation.isSet(u"titles"_s)) {
        const QString file = invocation.value(u"titles"_s);
        constexpr qint64 largestTitles = 64 * 1024;
        QStringList titles;
        try {
            titles = QString::fromUtf8(BoundedFile::read(file, largestTitles)).split(u'\n');
        } catch (const BoundedFile::ReadError& error) {
            invocation.err() << u"velmo: "_s << error.message() << Qt::endl;
            return std::nullopt;
        }
        if (!titles.isEmpty() && titles.constLast().trimmed().isEmpty())
            titles.removeLast();
        if (titles.size() > toc.trackCount) {
            invocation.err() << u"velmo: %1 holds %2, but the disc has %3."_s.arg(
                                    file, DisplayText::counted(titles.size(), u"title"_s),
                                    DisplayText::counted(toc.trackCount, u"track"_s))
                             << Qt::endl;
            return std::nullopt;
        }
        // A blank line keeps what the disc says of that track.
        for (qsizetype i = 0; i < titles.size(); ++i) {
            if (const QString title = titles.at(i).trimmed(); !title.isEmpty()) {
                while (text.trackTitles.size() <= i)
                    text.trackTitles.append(QString());
                text.trackTitles[i] = title;
            }
        }
    }
    return UnknownDisc::release(toc, names);
}

QCoro::Task<int> importDisc(Invocation& invocation)
{
    const QString source = invocation.arguments().constFirst();
    const std::optional<RipStrategyKind> kind = strategyKind(invocation);
    if (!kind)
        co_return int(exitUsage);
    std::optional<qint64> offset;
    if (!readOffset(invocation, offset))
        co_return int(exitUsage);
    const auto read = [source] { return MusicBrainzDiscLookup::readDiscTOC(source); };
    const DiscTOC toc = co_await Background::run(read);
    if (!offsetFitsDisc(invocation, offset, toc))
        co_return int(exitUsage);
    const std::optional<QList<qint64>> indexes = trackIndexes(invocation, toc);
    if (!indexes)
        co_return int(exitFailure);

    const bool withoutMetadata = invocation.isSet(u"no-metadata"_s);
    std::optional<ReleaseMetadata> release;
    if (withoutMetadata) {
        release = namedRelease(invocation, source, toc);
        if (!release)
            co_return int(exitUsage);
    } else if (std::ranges::any_of(namingOptions, [&](const QString& name) { return invocation.isSet(name); })) {
        invocation.err() << u"velmo: --artist, --album, --year, --genre and --titles name a disc ripped with "
                            "--no-metadata; MusicBrainz names the others."_s
                         << Qt::endl;
        co_return int(exitUsage);
    } else {
        invocation.err() << u"Looking up disc "_s << toc.discID << u" on MusicBrainz…"_s << Qt::endl;
        QList<ReleaseMetadata> releases;
        try {
            releases = co_await MusicBrainzDiscLookup::fetchReleases(toc.discID, toc.trackOffsets, toc.leadOutOffset);
        } catch (const MusicBrainzDiscLookup::LookupError& error) {
            // Whatever kept the names away, the disc can go in without them.
            co_return invocation.fail(error.message() + u" Rip it with --no-metadata."_s);
        }
        release = chooseRelease(invocation, releases);
        if (!release)
            co_return int(exitFailure);
    }
    std::optional<ArtworkFetcher::ArtworkResult> artwork;
    if (!withoutMetadata) {
        try {
            artwork = co_await ArtworkFetcher::fetchArtwork(release->artist, release->title, release->mbid,
                                                            release->releaseGroupID);
        } catch (const ArtworkFetcher::FetchError&) {
            invocation.err() << u"No cover was found; the files go in without one."_s << Qt::endl;
        }
    }

    Library& library = invocation.library();
    invocation.err() << u"Ripping "_s << release->artist << u" — "_s << release->title << u" ("_s
                     << DisplayText::counted(indexes->size(), u"track"_s) << u", "_s << displayName(*kind) << u")"_s
                     << Qt::endl;
    const std::unique_ptr<DiscRipStrategy> strategy = makeStrategy(*kind, offset);
    qsizetype failed = 0;
    QSet<QUuid> enteredThisRip;
    const CDImporter::TrackCompleteHandler entered = [&](const CDImporter::TrackImportResult& result) {
        if (result.track) {
            const Track stored = library.upsertRippedTrack(*result.track, enteredThisRip);
            enteredThisRip.insert(stored.id);
            invocation.out() << u"Track "_s << result.trackIndex + 1 << u": "_s << stored.path();
            if (result.verdict)
                invocation.out() << u" — "_s << result.verdict->text();
            invocation.out() << Qt::endl;
        } else {
            ++failed;
            invocation.err() << u"Track "_s << result.trackIndex + 1 << u" failed: "_s << result.error->message
                             << Qt::endl;
        }
    };
    const CDImporter::TrackProgressHandler noProgress;
    const QList<CDImporter::TrackImportResult> results =
        co_await CDImporter::importDisc(source, toc, *release, artwork, library.rootURL(), *indexes,
                                        invocation.isSet(u"overwrite"_s), *strategy, noProgress, entered);
    // The whole disc's check at every offset comes once all its tracks are in.
    for (const CDImporter::TrackImportResult& result : results) {
        if (!result.track || !result.ctdbVerdict)
            continue;
        invocation.out() << u"Track "_s << result.trackIndex + 1 << u": CTDB — "_s << result.ctdbVerdict->text();
        if (result.ctdbVerdict->offset && *result.ctdbVerdict->offset != 0)
            invocation.out() << u", at offset "_s << CTDB::signedOffset(*result.ctdbVerdict->offset);
        invocation.out() << Qt::endl;
    }
    if (const QString verified = CDImporter::ctdbSummary(results); !verified.isEmpty())
        invocation.out() << verified << u'.' << Qt::endl;
    if (const QString verified = CDImporter::verdictSummary(results); !verified.isEmpty())
        invocation.out() << verified << u'.' << Qt::endl;
    invocation.err() << u"Imported "_s << indexes->size() - failed << u" of "_s
                     << DisplayText::counted(indexes->size(), u"track"_s) << u"."_s << Qt::endl;
    if (Settings::value(Settings::analyseLoudnessAfterRipping) && !enteredThisRip.isEmpty()) {
        QList<Track> ripped;
        for (const Track& track : library.tracks()) {
            if (enteredThisRip.contains(track.id))
                ripped.append(track);
        }
        const Library::LoudnessOptions options;
        const Library::LoudnessSummary loudness = co_await library.analyseLoudness(ripped, options);
        invocation.err() << u"Loudness: "_s << loudness.message() << Qt::endl;
    }
    co_return failed > 0 ? int(exitFailure) : int(exitSuccess);
}

QCoro::Task<int> submitURL(Invocation& invocation)
{
    const QString source = invocation.arguments().constFirst();
    const auto read = [source] { return MusicBrainzDiscLookup::readDiscTOC(source); };
    const DiscTOC toc = co_await Background::run(read);
    invocation.out() << MusicBrainzDiscLookup::submitURL(ServiceSettings::load().musicBrainz, toc.discID,
                                                         toc.trackOffsets, toc.leadOutOffset)
                            .toString(QUrl::FullyEncoded)
                     << u'\n';
    co_return int(exitSuccess);
}

} // namespace

void addDiscCommands(CommandLine& commandLine)
{
    const QCommandLineOption rawTOC(rawTOCOption, u"Read full-TOC bytes from FILE instead of a disc"_s, u"FILE"_s);
    commandLine.addGroup(u"disc"_s, u"Audio CDs and disc images"_s);
    commandLine.add({
        .path = {u"disc"_s, u"list"_s},
        .summary = u"The drives that hold an audio CD."_s,
        .hasJsonOutput = true,
        .run = listDiscs,
    });
    commandLine.add({
        .path = {u"disc"_s, u"toc"_s},
        .arguments = u"[SOURCE]"_s,
        .summary = u"The disc's audio tracks, their offsets, the lead-out and the MusicBrainz disc ID. SOURCE is a "
                   "drive (sr0, /dev/sr0) or a CUE sheet."_s,
        .options = {rawTOC},
        .maximumArguments = 1,
        .hasJsonOutput = true,
        .run = showTOC,
    });
    commandLine.add({
        .path = {u"disc"_s, u"diagnose"_s},
        .arguments = u"[SOURCE]"_s,
        .summary = u"A report of how the table of contents is read: every descriptor, the parser's result, "
                   "sessions and data tracks."_s,
        .options = {rawTOC},
        .maximumArguments = 1,
        .run = diagnose,
    });
    commandLine.add({
        .path = {u"disc"_s, u"rip"_s},
        .arguments = u"SOURCE DIR"_s,
        .summary = u"Rip the disc's audio tracks to FLAC files track01.flac, track02.flac, ... in DIR."_s,
        .options = {QCommandLineOption(u"tracks"_s, u"Only these tracks, as 1,3-5"_s, u"LIST"_s),
                    QCommandLineOption(u"strategy"_s,
                                       u"direct (raw sector reads), paranoia (error-correcting) or secure (read twice); by "
                                       "default the preference"_s,
                                       u"NAME"_s),
                    QCommandLineOption(u"offset"_s,
                                       u"Shift reads by N samples, the drive's read offset; by default the one set "
                                       "for the drive"_s,
                                       u"N"_s)},
        .minimumArguments = 2,
        .maximumArguments = 2,
        .run = rip,
    });
    commandLine.add({
        .path = {u"disc"_s, u"import"_s},
        .arguments = u"SOURCE"_s,
        .summary = u"Look the disc up on MusicBrainz, rip its tracks to FLAC with tags and cover, check them against "
                   "AccurateRip, and put them into the library's Artist/Album/Track layout."_s,
        .options = {QCommandLineOption(u"release"_s, u"The release, by its number in the list or its id"_s, u"WHICH"_s),
                    QCommandLineOption(u"tracks"_s, u"Only these tracks, as 1,3-5"_s, u"LIST"_s),
                    QCommandLineOption(u"strategy"_s, u"direct, paranoia or secure; by default the preference"_s, u"NAME"_s),
                    QCommandLineOption(u"overwrite"_s, u"Replace files already at the tracks' places"_s),
                    QCommandLineOption(u"offset"_s,
                                       u"Shift reads by N samples, the drive's read offset; by default the one set "
                                       "for the drive"_s,
                                       u"N"_s),
                    QCommandLineOption(u"no-metadata"_s,
                                       u"No lookup: the names given below, else the disc's CD-Text or sheet, else "
                                       "\"Unknown Artist\", \"Unknown Album\", \"Track N\"; the disc ID is kept for "
                                       "a later look-up"_s),
                    QCommandLineOption(u"artist"_s, u"With --no-metadata: the album artist"_s, u"NAME"_s),
                    QCommandLineOption(u"album"_s, u"With --no-metadata: the album"_s, u"TITLE"_s),
                    QCommandLineOption(u"year"_s, u"With --no-metadata: the year"_s, u"YEAR"_s),
                    QCommandLineOption(u"genre"_s, u"With --no-metadata: the genre"_s, u"GENRE"_s),
                    QCommandLineOption(u"titles"_s, u"With --no-metadata: the track titles, one a line"_s,
                                       u"FILE"_s)},
        .minimumArguments = 1,
        .maximumArguments = 1,
        .access = Command::Access::changesLibrary,
        .writes = {StoreKind::library},
        .run = importDisc,
    });
    commandLine.add({
        .path = {u"disc"_s, u"submit-url"_s},
        .arguments = u"SOURCE"_s,
        .summary = u"The address on the MusicBrainz site at which the disc's ID is attached to a release, so that "
                   "the next lookup finds it."_s,
        .minimumArguments = 1,
        .maximumArguments = 1,
        .run = submitURL,
    });
}
