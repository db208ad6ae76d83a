#include "library/AudioContent.h"
#include "library/AudioFormat.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"
#include "support/AudioFixtures.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <taglib/audioproperties.h>
#include <taglib/fileref.h>
#include <taglib/tag.h>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QStringList acceptedExtensions{u"mp3"_s, u"flac"_s, u"ogg"_s, u"wav"_s, u"m4a"_s, u"aac"_s};

// A file of `size` zeros that takes no room: a hole, as truncate(1) makes.
QString zeros(const QString& path, qint64 size)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || !file.resize(size))
        ADD_FAILURE() << "cannot make " << path.toStdString();
    return path;
}

QString withZerosBefore(const QString& path, qint64 count, const QString& sample)
{
    writeFile(path, QByteArray(count, '\0') + readFile(AudioFixtures::samplePath(sample)));
    return path;
}

} // namespace

TEST(AudioContent, AGigabyteOfZerosIsNoAudioWhateverItsName)
{
    QTemporaryDir folder;
    for (const QString& extension : acceptedExtensions) {
        const QString path = zeros(folder.filePath(u"zeros."_s + extension), qint64(1) << 30);
        EXPECT_FALSE(AudioContent::startsLikeAudio(path)) << extension.toStdString();
        EXPECT_EQ(TagReader::read(QUrl::fromLocalFile(path)), std::nullopt) << extension.toStdString();
        Track track = makeTrack(u"Zeros"_s);
        track.url = QUrl::fromLocalFile(path);
        try {
            TagWriter::write(track);
            ADD_FAILURE() << "tags were written into " << extension.toStdString();
        } catch (const TagWriter::WriteError& error) {
            EXPECT_EQ(error.kind(), TagWriter::WriteError::Kind::invalidFile);
        }
        QFile::remove(path);
    }
}

TEST(AudioContent, TheStreamMustShowItselfWithinTheFirstBytes)
{
    QTemporaryDir folder;
    // TagLib would find these streams past a megabyte of zeros, and a gigabyte only slower.
    for (const QString& sample : {u"taglib/xing.mp3"_s, u"taglib/sinewave.flac"_s}) {
        const QString extension = QFileInfo(sample).suffix();
        const QString far = withZerosBefore(folder.filePath(u"far."_s + extension), 1024 * 1024, sample);
        EXPECT_EQ(TagReader::read(QUrl::fromLocalFile(far)), std::nullopt) << sample.toStdString();
        const QString near = withZerosBefore(folder.filePath(u"near."_s + extension), 1000, sample);
        EXPECT_TRUE(AudioContent::startsLikeAudio(near)) << sample.toStdString();
    }

    // An ID3v2 tag is skipped however large, and then the window starts; a file of tags alone
    // is one.
    const QByteArray tag = QByteArray("ID3\x04\x00\x00\x00\x02\x00\x00", 10) + QByteArray(0x8000, '\0');
    writeFile(folder.filePath(u"tag then frame.mp3"_s),
              tag + QByteArray(40'000, '\0') + readFile(AudioFixtures::samplePath(u"taglib/xing.mp3"_s)));
    EXPECT_TRUE(AudioContent::startsLikeAudio(folder.filePath(u"tag then frame.mp3"_s)));
    writeFile(folder.filePath(u"tag alone.mp3"_s), tag);
    EXPECT_TRUE(AudioContent::startsLikeAudio(folder.filePath(u"tag alone.mp3"_s)));
    writeFile(folder.filePath(u"tag then zeros.mp3"_s), tag + QByteArray(200'000, '\0'));
    EXPECT_FALSE(AudioContent::startsLikeAudio(folder.filePath(u"tag then zeros.mp3"_s)));

    writeFile(folder.filePath(u"text.mp3"_s), "plain text, with no frame in it");
    EXPECT_FALSE(AudioContent::startsLikeAudio(folder.filePath(u"text.mp3"_s)));
    EXPECT_FALSE(AudioContent::startsLikeAudio(folder.filePath(u"missing.mp3"_s)));
}

TEST(AudioContent, EveryRealSampleThatTagLibOpensBeginsAsAudio)
{
    int checked = 0;
    QDirIterator files(AudioFixtures::samplePath(QString()), QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        if (!isAudioFilePath(path))
            continue;
        // Whatever TagLib finds audio or tags in, however long it searches.
        const TagLib::FileRef file(QFile::encodeName(path).constData());
        if (file.isNull() || !file.file()->isValid())
            continue;
        const TagLib::AudioProperties* audio = file.audioProperties();
        if ((!audio || audio->sampleRate() <= 0) && (!file.tag() || file.tag()->isEmpty()))
            continue;
        ++checked;
        EXPECT_TRUE(AudioContent::startsLikeAudio(path)) << path.toStdString();
    }
    EXPECT_GT(checked, 40);
}
