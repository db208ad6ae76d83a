#include "facade/Library.h"
#include "library/BlockingWait.h"
#include "library/TagReader.h"
#include "music/TrackDetailView.h"
#include "music/TrackEditor.h"
#include "support/AudioFixtures.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(TrackEditor, OnlyARealDifferenceIsUnsavedAndARecordKeepsWhatTheScreenCannotEdit)
{
    Track snapshot = makeFullTrack();
    TrackEditor editor = TrackEditor::from(snapshot);
    EXPECT_FALSE(editor.hasUnsavedChanges(snapshot));
    EXPECT_EQ(editor.year, u"1959"_s);

    editor.title += u' ';
    EXPECT_TRUE(editor.hasUnsavedChanges(snapshot)) << "no trimming: a blank is a change";
    editor.title = snapshot.title;
    editor.customTags.append({QUuid::createUuid(), u"   "_s, u"ignored"_s});
    EXPECT_FALSE(editor.hasUnsavedChanges(snapshot)) << "a row without a key is no tag";
    editor.customTags.last().key = u" MOOD "_s;
    EXPECT_TRUE(editor.hasUnsavedChanges(snapshot)) << "two rows for one key";
    editor.customTags.removeLast();
    editor.artworkChanged = true;
    EXPECT_TRUE(editor.hasUnsavedChanges(snapshot));

    // A record clears numbers that do not parse, trims tag keys and keeps the rest.
    editor = TrackEditor::from(snapshot);
    editor.year = u"nineteen"_s;
    editor.trackNumber = u"+7"_s;
    editor.discNumber = QString();
    editor.customTags = {{QUuid::createUuid(), u"  Mood "_s, u" calm "_s},
                         {QUuid::createUuid(), u" "_s, u"dropped"_s},
                         {QUuid::createUuid(), u"Empty"_s, QString()}};
    const Track record = std::get<Track>(editor.makeRecord(snapshot));
    EXPECT_EQ(record.year, std::nullopt);
    EXPECT_EQ(record.trackNumber, 7);
    EXPECT_EQ(record.discNumber, std::nullopt);
    EXPECT_EQ(record.customTags, (QMap<QString, QString>{{u"Mood"_s, u" calm "_s}, {u"Empty"_s, QString()}}));
    EXPECT_EQ(record.bpm, snapshot.bpm) << "what the screen cannot edit stays";
    EXPECT_EQ(record.externalID, snapshot.externalID);
    EXPECT_EQ(record.id, snapshot.id);

    snapshot.year = std::nullopt;
    EXPECT_EQ(TrackEditor::from(snapshot).year, QString());
}

namespace {

class TrackDetailViewTest : public ::testing::Test {
protected:
    TemporaryStores stores;
    Library library{QUrl::fromLocalFile(stores.folder())};
    Track track;
    std::optional<QByteArray> pickedImage;

    void SetUp() override
    {
        const QString path = AudioFixtures::copySample(u"taglib/sinewave.flac"_s, stores.folder() + u"/a.flac"_s);
        track = Track::fromFile(QUrl::fromLocalFile(path), *TagReader::read(QUrl::fromLocalFile(path)));
        track.title = u"Sine"_s;
        track.year = 2001;
        track.discNumber = 2;
        track.bpm = 96;
        track.artworkData = std::nullopt;
        library.add(track);
    }

    std::unique_ptr<TrackDetailView> view()
    {
        auto detail = std::make_unique<TrackDetailView>(library, track,
                                                        [this](QWidget*) { return pickedImage; });
        detail->show();
        return detail;
    }

    static QLineEdit* field(TrackDetailView& detail, int index) { return detail.findChildren<QLineEdit*>().at(index); }

    static void type(QLineEdit* edit, const QString& text)
    {
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Delete);
        QTest::keyClicks(edit, text);
    }

    static QPushButton* button(TrackDetailView& detail, const QString& text)
    {
        for (QPushButton* b : detail.findChildren<QPushButton*>())
            if (b->text() == text)
                return b;
        return nullptr;
    }

    static bool showsText(TrackDetailView& detail, const QString& text)
    {
        const QList<QLabel*> labels = detail.findChildren<QLabel*>();
        return std::any_of(labels.cbegin(), labels.cend(), [&](const QLabel* label) {
            return label->isVisibleTo(&detail) && label->text() == text;
        });
    }
};

} // namespace

TEST_F(TrackDetailViewTest, ReadModeShowsTheRecordSaveWaitsForAChangeAndAFailedSaveKeepsTheEdits)
{
    const auto detail = view();
    EXPECT_TRUE(showsText(*detail, u"Sine"_s));
    EXPECT_TRUE(showsText(*detail, u"Disc 2"_s));
    EXPECT_TRUE(showsText(*detail, u"FLAC · 145 kbps · 44100 Hz · 96 BPM · 0:03"_s));
    QPushButton* save = button(*detail, u"Save"_s);
    EXPECT_FALSE(save->isVisible());
    QTest::mouseClick(button(*detail, u"Edit"_s), Qt::LeftButton);
    ASSERT_TRUE(detail->isEditing());
    EXPECT_FALSE(save->isEnabled());
    type(field(*detail, 0), u"Sine!"_s);
    EXPECT_TRUE(save->isEnabled());
    type(field(*detail, 0), u"Sine"_s);
    EXPECT_FALSE(save->isEnabled());

    // A failed save is shown in place and keeps the edits.
    type(field(*detail, 0), u"Renamed"_s);
    QFile::remove(track.path());
    BlockingWait::wait(detail->save());
    EXPECT_TRUE(detail->isEditing());
    ASSERT_TRUE(detail->saveError().has_value());
    EXPECT_TRUE(showsText(*detail, *detail->saveError()));
    EXPECT_EQ(field(*detail, 0)->text(), u"Renamed"_s);
    EXPECT_EQ(library.tracks().constFirst(), track);
}

TEST_F(TrackDetailViewTest, DuplicateKeysAreRefusedAndASavedEditReachesTheRecordAndTheFile)
{
    const auto detail = view();
    detail->beginEditing();
    type(field(*detail, 4), u"soon"_s);
    QTest::mouseClick(button(*detail, u"Add Tag"_s), Qt::LeftButton);
    QTest::mouseClick(button(*detail, u"Add Tag"_s), Qt::LeftButton);
    const QList<QLineEdit*> edits = detail->findChildren<QLineEdit*>();
    type(edits.at(8), u"MOOD"_s);
    type(edits.at(9), u"calm"_s);
    type(edits.at(10), u"MOOD "_s);
    BlockingWait::wait(detail->save());
    EXPECT_EQ(detail->saveError(), u"Duplicate values for key: 'MOOD'"_s);
    EXPECT_TRUE(detail->isEditing());
    EXPECT_EQ(library.tracks().constFirst(), track) << "nothing is saved";

    type(edits.at(10), u"WHEN"_s);
    BlockingWait::wait(detail->save());
    EXPECT_FALSE(detail->isEditing());
    const Track saved = library.tracks().constFirst();
    EXPECT_EQ(saved.year, std::nullopt) << "a word for a year clears it";
    EXPECT_EQ(saved.customTags, (QMap<QString, QString>{{u"MOOD"_s, u"calm"_s}, {u"WHEN"_s, QString()}}));
    const auto inFile = TagReader::read(track.url);
    EXPECT_EQ(inFile->year, std::nullopt);
    EXPECT_EQ(inFile->customTags, (QMap<QString, QString>{{u"MOOD"_s, u"calm"_s}}))
        << "an empty value is kept in the record but has nothing to store in the file";
}

TEST_F(TrackDetailViewTest, ChosenOrPastedArtworkGoesIntoTheFile)
{
    const auto detail = view();
    detail->beginEditing();
    pickedImage = AudioFixtures::pngBytes();
    detail->chooseImage();
    EXPECT_TRUE(button(*detail, u"Save"_s)->isEnabled());
    BlockingWait::wait(detail->save());
    EXPECT_EQ(TagReader::read(track.url)->artworkData, AudioFixtures::pngBytes());

    detail->beginEditing();
    QImage red(4, 4, QImage::Format_RGB32);
    red.fill(Qt::red);
    QGuiApplication::clipboard()->setImage(red);
    detail->pasteImage();
    BlockingWait::wait(detail->save());
    const auto pasted = TagReader::read(track.url)->artworkData;
    ASSERT_TRUE(pasted.has_value());
    EXPECT_TRUE(pasted->startsWith("\x89PNG"));
    EXPECT_EQ(QImage::fromData(*pasted).pixelColor(1, 1), QColor(Qt::red));
}
