#include "facade/Library.h"
#include "library/BlockingWait.h"
#include "library/Settings.h"
#include "library/TagReader.h"
#include "maintenance/LibraryMaintenanceView.h"
#include "maintenance/LoudnessPanel.h"
#include "music/SongsTableModel.h"
#include "music/SongsView.h"
#include "music/TrackDetailView.h"
#include "preferences/PreferencesView.h"
#include "support/EncodedAudio.h"
#include "support/TestEnvironment.h"

#include <QCheckBox>
#include <QLabel>
#include <QTableView>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Two albums of two tracks each.
class LoudnessScreensTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        TestEnvironment::clearSettings();
        QStringList files;
        for (int i = 0; i < 4; ++i)
            files.append(EncodedAudio::write(EncodedAudio::music(unsigned(i), 6.0), root + u"/%1.flac"_s.arg(i)));
        int i = 0;
        for (Track track : Library::readTracks(files)) {
            track.album = i++ < 2 ? u"First"_s : u"Second"_s;
            library.add(track);
        }
    }
    void TearDown() override { TestEnvironment::clearSettings(); }

    TemporaryStores stores;
    QString root = stores.folder() + u"/Music"_s;
    Library library{QUrl::fromLocalFile(root)};
    Confirmation confirm = [](QWidget*, const ConfirmationRequest&) { return false; };
};

} // namespace

TEST_F(LoudnessScreensTest, AnalyseLoudnessTagsTheLibrarySkipsWhatIsTaggedAndStopsWhenCancelled)
{
    LibraryMaintenanceView view{library, confirm};
    LoudnessPanel& panel = *view.loudness();

    // Cancelled at once: the album under way is measured but left untagged, the next not begun.
    QCoro::Task<> running = panel.analyse();
    EXPECT_TRUE(panel.isRunning());
    panel.cancel();
    BlockingWait::wait(std::move(running));
    EXPECT_FALSE(panel.isRunning());
    EXPECT_EQ(panel.status(), u"Tagged 0 tracks; cancelled."_s);
    EXPECT_EQ(TagReader::read(library.tracks().at(0).url)->replayGainTrack, std::nullopt);

    BlockingWait::wait(panel.analyse());
    EXPECT_EQ(panel.status(), u"Tagged 4 tracks of 2 albums."_s);
    for (const Track& track : library.tracks()) {
        ASSERT_TRUE(track.replayGainTrack);
        EXPECT_EQ(TagReader::read(track.url)->replayGainAlbum, track.replayGainAlbum);
    }
    BlockingWait::wait(panel.analyse());
    EXPECT_EQ(panel.status(), u"Tagged 0 tracks; 4 already tagged."_s);

    panel.force()->setChecked(true);
    BlockingWait::wait(panel.analyse());
    EXPECT_EQ(panel.status(), u"Tagged 4 tracks of 2 albums."_s);
}

TEST_F(LoudnessScreensTest, TheGainsShowInTheDetailAndInAGainColumnHiddenAtFirst)
{
    Track track = library.tracks().at(0);
    track.replayGainTrack = -7.53;
    track.replayGainAlbum = -6.0;

    TrackDetailView detail(library, track, [](QWidget*) { return std::optional<QByteArray>(); });
    const QList<QLabel*> labels = detail.findChildren<QLabel*>();
    EXPECT_TRUE(std::any_of(labels.cbegin(), labels.cend(), [](const QLabel* label) {
        return label->text() == u"Track -7.53 dB   Album -6.00 dB"_s;
    }));

    TrackTextIndex index;
    index.update({track, library.tracks().at(1)});
    SongsTableModel model;
    model.setRows(&index, {0, 1});
    EXPECT_EQ(model.headerData(SongsTableModel::gain, Qt::Horizontal, Qt::DisplayRole).toString(), u"Gain"_s);
    QStringList gains;
    for (int row = 0; row < model.rowCount(); ++row)
        gains.append(model.data(model.index(row, SongsTableModel::gain), Qt::DisplayRole).toString());
    gains.sort();
    EXPECT_EQ(gains, (QStringList{u"-7.53 dB"_s, u"–"_s}));

    SongsView songs(library);
    EXPECT_TRUE(songs.table()->isColumnHidden(SongsTableModel::gain));
    EXPECT_FALSE(songs.table()->isColumnHidden(SongsTableModel::format));
}

TEST(LoudnessPreferences, RipsAreAnalysedByDefaultAndImportsWhenAsked)
{
    TestEnvironment::clearSettings();
    PreferencesView view({});
    auto* afterRipping = view.findChild<QCheckBox*>(u"analyseLoudnessAfterRipping"_s);
    auto* afterImport = view.findChild<QCheckBox*>(u"analyseLoudnessAfterImport"_s);
    ASSERT_TRUE(afterRipping && afterImport);
    EXPECT_EQ(afterRipping->text(), u"Analyse loudness after ripping"_s);
    EXPECT_TRUE(afterRipping->isChecked());
    EXPECT_FALSE(afterImport->isChecked());
    afterRipping->setChecked(false);
    afterImport->setChecked(true);
    EXPECT_FALSE(Settings::value(Settings::analyseLoudnessAfterRipping));
    EXPECT_TRUE(Settings::value(Settings::analyseLoudnessAfterImport));
    TestEnvironment::clearSettings();
}
