#include "VelmoTest.h"
#include "disc/DiscTOC.h"
#include "facade/LibraryStores.h"
#include "library/StoreLocations.h"
#include "library/TagReader.h"
#include "support/DiscImages.h"
#include "support/FakeServices.h"
#include "support/SmallFileSystem.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>
#include <QThread>

#include <functional>

#include <sys/stat.h>
#include <sys/time.h>

using namespace Qt::StringLiterals;

namespace {

struct ProcessResult {
    bool finished = false;
    QProcess::ExitStatus exitStatus = QProcess::CrashExit;
    int status = -1;
    QString err;
};

class RipSafetyTest : public VelmoTest {
protected:
    // The velmo processes keep their stores where the test environment's data folder says, so
    // the test reads them there too; each test starts and ends without any.
    void SetUp() override
    {
        VelmoTest::SetUp();
        for (StoreKind kind : allStoreKinds)
            StoreLocations::setOverride(kind, std::nullopt);
        removeStores();
    }
    void TearDown() override
    {
        removeStores();
        VelmoTest::TearDown();
    }
    static void removeStores()
    {
        for (StoreKind kind : allStoreKinds)
            QDir(QFileInfo(StoreLocations::path(kind)).absolutePath()).removeRecursively();
    }

    // The fake services answer on this thread, so a wait for a velmo process keeps serving
    // them; it ends when `done` holds, or at the deadline.
    static void serveUntil(const QDeadlineTimer& deadline, const std::function<bool()>& done)
    {
        while (!done() && !deadline.hasExpired()) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
            QThread::msleep(2);
        }
    }

    // velmo as a process of its own, so that a crash or a hang shows as one; `temporary` is
    // its temporary folder. A run still going at `timeoutMs` is killed and reported unfinished.
    ProcessResult velmoProcess(const QStringList& arguments, int timeoutMs = 30000)
    {
        QProcess process;
        configure(process);
        process.start(QStringLiteral(VELMO_EXECUTABLE), arguments);
        ProcessResult result;
        serveUntil(QDeadlineTimer(timeoutMs), [&process] { return process.state() == QProcess::NotRunning; });
        result.finished = process.state() == QProcess::NotRunning;
        if (!result.finished) {
            process.kill();
            process.waitForFinished();
        }
        result.exitStatus = process.exitStatus();
        result.status = process.exitCode();
        result.err = QString::fromUtf8(process.readAllStandardError());
        return result;
    }

    void configure(QProcess& process)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"TMPDIR"_s, temporary.path());
        process.setProcessEnvironment(environment);
    }

    // A refusal in words: the process ended by itself with status 1 or 2, and said something.
    static void expectRefusal(const ProcessResult& result, const char* what)
    {
        ASSERT_TRUE(result.finished) << what << ": still running at the time limit";
        EXPECT_EQ(result.exitStatus, QProcess::NormalExit) << what << ": ended by a signal";
        EXPECT_TRUE(result.status == 1 || result.status == 2) << what << ": exit status " << result.status;
        EXPECT_FALSE(result.err.trimmed().isEmpty()) << what << ": said nothing";
    }

    // The fake MusicBrainz answers the disc with one release whose tracks have these titles,
    // each 0.3 s longer than the one before it from `milliseconds` (no length when 0).
    void answerWithTitles(const QString& discID, const QStringList& titles, qint64 milliseconds)
    {
        QJsonObject release = DiscImages::musicBrainzRelease(u"release-1"_s, u"Same Names"_s, discID, titles.size());
        QJsonArray media = release.value("media"_L1).toArray();
        QJsonObject medium = media.at(0).toObject();
        QJsonArray tracks = medium.value("tracks"_L1).toArray();
        for (qsizetype i = 0; i < titles.size(); ++i) {
            QJsonObject track = tracks.at(i).toObject();
            QJsonObject recording = track.value("recording"_L1).toObject();
            track.insert("title"_L1, titles.at(i));
            recording.insert("title"_L1, titles.at(i));
            if (milliseconds > 0)
                recording.insert("length"_L1, milliseconds + 300 * i);
            else
                recording.remove("length"_L1);
            track.insert("recording"_L1, recording);
            tracks.replace(i, track);
        }
        medium.insert("tracks"_L1, tracks);
        media.replace(0, medium);
        release.insert("media"_L1, media);
        services.musicBrainz.route(
            u"/ws/2/discid/"_s + discID,
            FakeResponse::ok(QJsonDocument(QJsonObject{{"releases"_L1, QJsonArray{release}}}).toJson(), "application/json"));
    }

    // Every file below `folder`, hidden ones included, as paths relative to it.
    static QStringList filesBelow(const QString& folder)
    {
        QStringList files;
        QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
        while (it.hasNext())
            files.append(QDir(folder).relativeFilePath(it.next()));
        files.sort();
        return files;
    }

    QStringList ripFolders() const
    {
        return QDir(temporary.path()).entryList({u"velmo_rip_*"_s}, QDir::Dirs | QDir::Hidden);
    }

    static void age(const QString& path, int days)
    {
        const time_t then = time_t(QDateTime::currentSecsSinceEpoch() - qint64(days) * 86400);
        const struct timeval times[2] = {{then, 0}, {then, 0}};
        ASSERT_EQ(::utimes(QFile::encodeName(path).constData(), times), 0);
    }

    FakeServices services;
    QTemporaryDir folder;
    QTemporaryDir temporary;
};

} // namespace

TEST_F(RipSafetyTest, ARipOntoAFullLibraryDiskLeavesNoPartialFileAndSaysWhy)
{
    SmallFileSystem disk(256 * 1024);
    SKIP_UNLESS_MOUNTED(disk);
    const QString library = disk.filePath(u"Music"_s);
    ASSERT_EQ(velmo({u"library"_s, u"init"_s, library}).status, 0);
    const DiscImages::WrittenImage image = DiscImages::writeImage(folder.path(), 2, 300);
    const QString discID = MusicBrainzDiscLookup::readDiscTOC(image.sheet).discID;
    answerWithTitles(discID, {u"One"_s, u"Two"_s}, 4000);
    disk.fill();

    const ProcessResult result = velmoProcess({u"disc"_s, u"import"_s, image.sheet});
    ASSERT_TRUE(result.finished);
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.err.contains(u"there is no space left on the device"_s)) << qPrintable(result.err);
    EXPECT_FALSE(result.err.contains(u"Unknown error"_s)) << qPrintable(result.err);
    EXPECT_TRUE(result.err.contains(u"Imported 0 of 2 tracks."_s)) << qPrintable(result.err);
    EXPECT_EQ(filesBelow(library), QStringList()) << "no short, empty or hidden file is left in the library";
    EXPECT_TRUE(LibraryStores::readTracks().value.isEmpty());
    EXPECT_EQ(ripFolders(), QStringList());
}

TEST_F(RipSafetyTest, TracksOfTheSameTitleAllReachTheCatalogue)
{
    initLibrary();
    const DiscImages::WrittenImage image = DiscImages::writeImage(folder.path(), 3, 40);
    const QString discID = MusicBrainzDiscLookup::readDiscTOC(image.sheet).discID;
    answerWithTitles(discID, {u"Untitled"_s, u"Untitled"_s, u"Untitled"_s}, 0);

    const VelmoResult untitled = velmo({u"disc"_s, u"import"_s, image.sheet});
    ASSERT_EQ(untitled.status, 0) << qPrintable(untitled.err);
    const QList<Track> first = LibraryStores::readTracks().value;
    ASSERT_EQ(first.size(), 3) << "three tracks without a length are three entries";
    QSet<qint64> numbers;
    for (const Track& track : first) {
        numbers.insert(track.trackNumber.value_or(0));
        EXPECT_TRUE(QFileInfo::exists(track.path())) << qPrintable(track.path());
        EXPECT_EQ(TagReader::read(track.url)->customTags.value(u"MUSICBRAINZ_DISCID"_s), discID)
            << "the file carries its disc";
    }
    EXPECT_EQ(numbers, (QSet<qint64>{1, 2, 3}));

    // A re-rip of the middle one takes over its own entry by position, not the first of its title.
    const VelmoResult again = velmo({u"disc"_s, u"import"_s, image.sheet, u"--tracks"_s, u"2"_s, u"--overwrite"_s});
    ASSERT_EQ(again.status, 0) << qPrintable(again.err);
    const QList<Track> second = LibraryStores::readTracks().value;
    ASSERT_EQ(second.size(), 3);
    for (qsizetype i = 0; i < 3; ++i) {
        EXPECT_EQ(second.at(i).id, first.at(i).id);
        EXPECT_EQ(second.at(i).trackNumber, first.at(i).trackNumber);
    }

    // Two "Interlude" of nearly one length, on another disc.
    QTemporaryDir otherFolder;
    const DiscImages::WrittenImage other = DiscImages::writeImage(otherFolder.path(), 3, 45, 9);
    const QString otherID = MusicBrainzDiscLookup::readDiscTOC(other.sheet).discID;
    ASSERT_NE(otherID, discID);
    answerWithTitles(otherID, {u"Interlude"_s, u"Song"_s, u"Interlude"_s}, 200000);
    const VelmoResult interludes = velmo({u"disc"_s, u"import"_s, other.sheet});
    ASSERT_EQ(interludes.status, 0) << qPrintable(interludes.err);
    EXPECT_TRUE(interludes.err.contains(u"Imported 3 of 3 tracks."_s));
    EXPECT_EQ(LibraryStores::readTracks().value.size(), 6) << "both interludes are kept";
}

TEST_F(RipSafetyTest, AKilledRipIsCleanedUpAndARerunTakesItsFilesIn)
{
    initLibrary();
    const qint64 trackCount = 8;
    const DiscImages::WrittenImage image = DiscImages::writeImage(folder.path(), trackCount, 2500);
    const QString discID = MusicBrainzDiscLookup::readDiscTOC(image.sheet).discID;
    answerWithTitles(discID, QStringList(trackCount, u"Part"_s), 33000);

    QProcess killed;
    configure(killed);
    killed.start(QStringLiteral(VELMO_EXECUTABLE), {u"disc"_s, u"import"_s, image.sheet});
    ASSERT_TRUE(killed.waitForStarted());
    const QString album = root() + u"/Band/Same Names"_s;
    serveUntil(QDeadlineTimer(30000), [&killed, &album] {
        return killed.state() != QProcess::Running || !QDir(album).entryList({u"*.flac"_s}, QDir::Files).isEmpty();
    });
    ASSERT_EQ(killed.state(), QProcess::Running) << "the rip ended before a track was placed";
    killed.kill();
    ASSERT_TRUE(killed.waitForFinished());
    const QStringList placed = QDir(album).entryList({u"*.flac"_s}, QDir::Files);
    ASSERT_FALSE(placed.isEmpty());
    ASSERT_LT(placed.size(), trackCount) << "the rip was killed before its end";
    const QStringList left = ripFolders();
    ASSERT_EQ(left.size(), 1) << "a killed rip leaves its folder";

    // Its folder is a day old by the next rip; a young one and one a running rip locks stay.
    age(QDir(temporary.path()).filePath(left.constFirst()), 2);
    const QString young = QDir(temporary.path()).filePath(u"velmo_rip_YOUNG"_s);
    const QString busy = QDir(temporary.path()).filePath(u"velmo_rip_BUSY"_s);
    ASSERT_TRUE(QDir().mkpath(young) && QDir().mkpath(busy));
    QLockFile busyLock(QDir(busy).filePath(u".lock"_s));
    ASSERT_TRUE(busyLock.tryLock(0));
    age(busy, 3);

    const ProcessResult rerun = velmoProcess({u"disc"_s, u"import"_s, image.sheet}, 120000);
    ASSERT_TRUE(rerun.finished);
    ASSERT_EQ(rerun.status, 0) << qPrintable(rerun.err);
    EXPECT_TRUE(rerun.err.contains(u"Imported 8 of 8 tracks."_s)) << qPrintable(rerun.err);
    EXPECT_FALSE(rerun.err.contains(u"already exists"_s)) << qPrintable(rerun.err);
    const QList<Track> tracks = LibraryStores::readTracks().value;
    ASSERT_EQ(tracks.size(), trackCount) << "the files placed before the kill are catalogued";
    for (const Track& track : tracks)
        EXPECT_TRUE(track.path().startsWith(album)) << qPrintable(track.path());
    EXPECT_EQ(QDir(album).entryList({u"*.flac"_s}, QDir::Files).size(), trackCount);
    for (const QString& name : QDir(album).entryList(QDir::Files | QDir::Hidden))
        EXPECT_FALSE(name.startsWith(u'.')) << "nothing half-written is left: " << qPrintable(name);
    EXPECT_EQ(ripFolders(), (QStringList{u"velmo_rip_BUSY"_s, u"velmo_rip_YOUNG"_s}));
}

TEST_F(RipSafetyTest, InputsThatCrashedAreRefusedInWords)
{
    const DiscImages::WrittenImage image = DiscImages::writeImage(folder.path(), 2, 40);
    const QString out = folder.filePath(u"out"_s);
    const ProcessResult offset =
        velmoProcess({u"disc"_s, u"rip"_s, image.sheet, out, u"--offset=-9223372036854775807"_s});
    expectRefusal(offset, "an offset far beyond the disc");
    EXPECT_TRUE(offset.err.contains(u"beyond the disc"_s)) << qPrintable(offset.err);
    EXPECT_EQ(velmoProcess({u"disc"_s, u"rip"_s, image.sheet, out, u"--offset=9223372036854775807"_s}).status, 2);

    // Points repeat, so 120 descriptors list 120 audio tracks.
    QList<DiscImages::Descriptor> descriptors{{.point = 0xA2, .frame = 150 + 120 * 1000}};
    for (int i = 0; i < 120; ++i)
        descriptors.append(DiscImages::Descriptor{.point = i % 99 + 1, .frame = 150 + qint64(i) * 1000});
    const QString manyTracks = folder.filePath(u"many.toc"_s);
    writeFile(manyTracks, DiscImages::fullTOC(descriptors));
    const ProcessResult many = velmoProcess({u"disc"_s, u"toc"_s, u"--raw-toc"_s, manyTracks});
    expectRefusal(many, "120 tracks");
    EXPECT_TRUE(many.err.contains(u"Couldn't read the disc."_s)) << qPrintable(many.err);

    QRandomGenerator random(27);
    QByteArray noise(70 * 1024, Qt::Uninitialized);
    random.fillRange(reinterpret_cast<quint32*>(noise.data()), noise.size() / 4);
    const QString randomTOC = folder.filePath(u"random.toc"_s);
    writeFile(randomTOC, noise);
    const ProcessResult randomBytes = velmoProcess({u"disc"_s, u"toc"_s, u"--raw-toc"_s, randomTOC});
    expectRefusal(randomBytes, "70 KB of random bytes");
    EXPECT_TRUE(randomBytes.err.contains(u"larger than"_s)) << qPrintable(randomBytes.err);
    // Within the size a TOC may have, random descriptors repeat points past 99 tracks.
    writeFile(randomTOC, noise.left(FullTOC::largestSize));
    expectRefusal(velmoProcess({u"disc"_s, u"toc"_s, u"--raw-toc"_s, randomTOC}), "a TOC's size of random bytes");

    const QString pregap = folder.filePath(u"pregap.cue"_s);
    writeFile(pregap, "FILE \"disc.bin\" BINARY\n  TRACK 01 AUDIO\n    PREGAP 99999999999999999:00:00\n"
                      "    INDEX 01 00:00:00\n");
    const ProcessResult overflow = velmoProcess({u"disc"_s, u"rip"_s, pregap, out});
    expectRefusal(overflow, "a PREGAP past any disc");
    EXPECT_TRUE(overflow.err.contains(u"PREGAP needs a time"_s)) << qPrintable(overflow.err);
    writeFile(pregap, "FILE \"disc.bin\" BINARY\n  TRACK 01 AUDIO\n    PREGAP 250:00:00\n    INDEX 01 00:00:00\n"
                      "  TRACK 02 AUDIO\n    PREGAP 250:00:00\n    INDEX 01 00:00:20\n");
    const ProcessResult long_ = velmoProcess({u"disc"_s, u"rip"_s, pregap, out});
    expectRefusal(long_, "pregaps longer than a disc");
    EXPECT_TRUE(long_.err.contains(u"longer than a disc"_s)) << qPrintable(long_.err);
}

TEST_F(RipSafetyTest, EndlessInputsAndPipesAreRefusedInBoundedTime)
{
    constexpr int limitMs = 20000;
    const ProcessResult zeroTOC = velmoProcess({u"disc"_s, u"toc"_s, u"--raw-toc"_s, u"/dev/zero"_s}, limitMs);
    expectRefusal(zeroTOC, "--raw-toc /dev/zero");
    EXPECT_TRUE(zeroTOC.err.contains(u"not a regular file"_s)) << qPrintable(zeroTOC.err);
    expectRefusal(velmoProcess({u"accuraterip"_s, u"parse"_s, u"/dev/zero"_s}, limitMs), "accuraterip parse /dev/zero");

    const QString pipe = folder.filePath(u"pipe"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    expectRefusal(velmoProcess({u"disc"_s, u"toc"_s, u"--raw-toc"_s, pipe}, limitMs), "a FIFO as --raw-toc");
    expectRefusal(velmoProcess({u"accuraterip"_s, u"parse"_s, pipe}, limitMs), "a FIFO as a dBAR file");
    const QString sheet = folder.filePath(u"piped.cue"_s);
    writeFile(sheet, "FILE \"pipe\" BINARY\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n");
    const ProcessResult pipedFile = velmoProcess({u"disc"_s, u"toc"_s, sheet}, limitMs);
    expectRefusal(pipedFile, "a FIFO as a cue sheet's FILE");
    EXPECT_TRUE(pipedFile.err.contains(u"\"pipe\" is not a regular file"_s)) << qPrintable(pipedFile.err);
    const QString pipedSheet = folder.filePath(u"sheet.cue"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipedSheet).constData(), 0600), 0);
    expectRefusal(velmoProcess({u"disc"_s, u"toc"_s, pipedSheet}, limitMs), "a FIFO as the cue sheet");

    // A dBAR file of 60 MB, sparse: refused for its size before it is read.
    const QString huge = folder.filePath(u"huge.bin"_s);
    QFile hugeFile(huge);
    ASSERT_TRUE(hugeFile.open(QIODevice::WriteOnly) && hugeFile.resize(60 * 1024 * 1024));
    hugeFile.close();
    QElapsedTimer timer;
    timer.start();
    const ProcessResult large = velmoProcess({u"accuraterip"_s, u"parse"_s, huge}, limitMs);
    expectRefusal(large, "a 60 MB dBAR file");
    EXPECT_TRUE(large.err.contains(u"larger than"_s)) << qPrintable(large.err);
    EXPECT_LT(timer.elapsed(), 10000);
}
