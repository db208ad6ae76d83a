#include "library/BlockingWait.h"
#include "library/Library.h"
#include "maintenance/LibraryMaintenanceView.h"
#include "support/AudioFixtures.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QFileInfo>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class MaintenanceTest : public ::testing::Test {
protected:
    TemporaryStores stores;
    QString root = stores.folder() + u"/Music"_s;
    Library library{QUrl::fromLocalFile(root)};
    std::optional<ConfirmationRequest> asked;
    bool answer = true;
    LibraryMaintenanceView view{library, [this](QWidget*, const ConfirmationRequest& request) {
                                    asked = request;
                                    return answer;
                                }};
};

} // namespace

TEST_F(MaintenanceTest, AScanOfAnUnchangedLibrarySaysItIsInSync)
{
    BlockingWait::wait(view.scanAndReconcile());
    EXPECT_EQ(view.status(), u"Scan complete."_s);
    EXPECT_EQ(view.reportLines(), QStringList{u"Library is in sync."_s});
}

TEST_F(MaintenanceTest, TheReportCountsAndOffersRemovalWithTheRightQuestion)
{
    AudioFixtures::copySample(u"taglib/sinewave.flac"_s, root + u"/new.flac"_s);
    const Track used = makeTrack(u"Used"_s);
    library.add(used);
    library.add(makeTrack(u"Unused"_s));
    const Playlist playlist = library.createPlaylist(u"Mix"_s);
    library.addTrack(used.id, playlist.id);

    BlockingWait::wait(view.scanAndReconcile());
    EXPECT_EQ(view.reportLines(),
              (QStringList{u"1 added"_s, u"2 missing on disk"_s,
                           u"1 of the missing tracks are still used in playlists — removing them will drop them from "
                           u"those playlists."_s}));

    answer = false;
    BlockingWait::wait(view.removeMissingTracks());
    ASSERT_TRUE(asked.has_value());
    EXPECT_EQ(asked->title, u"Remove 2 tracks whose files are missing?"_s);
    EXPECT_EQ(asked->message, u"1 are referenced by playlists and will be removed from them too."_s);
    EXPECT_EQ(asked->confirmButton, u"Remove Missing Tracks"_s);
    EXPECT_EQ(library.tracks().size(), 3) << "cancelled: nothing removed";

    answer = true;
    BlockingWait::wait(view.removeMissingTracks());
    EXPECT_EQ(view.status(), u"Reconcile complete."_s);
    EXPECT_TRUE(view.reportLines().contains(u"Removals applied."_s));
    ASSERT_EQ(library.tracks().size(), 2);
    EXPECT_EQ(library.tracks().at(1).id, used.id) << "the track a playlist uses stays, after the found ones";
}

TEST_F(MaintenanceTest, WithoutReferencedTracksTheQuestionWarnsItCannotBeUndone)
{
    library.add(makeTrack(u"Gone"_s));
    BlockingWait::wait(view.scanAndReconcile());
    BlockingWait::wait(view.removeMissingTracks());
    ASSERT_TRUE(asked.has_value());
    EXPECT_EQ(asked->title, u"Remove 1 tracks whose files are missing?"_s);
    EXPECT_EQ(asked->message, u"This cannot be undone."_s);
    EXPECT_TRUE(library.tracks().isEmpty());
}

TEST_F(MaintenanceTest, OrganizeAndPruneReportTheirWork)
{
    const QString path = AudioFixtures::copySample(u"taglib/sinewave.flac"_s, root + u"/loose.flac"_s);
    Track track = Library::scanFolder(QUrl::fromLocalFile(root)).constFirst();
    library.add(track);
    BlockingWait::wait(view.organizeFiles());
    EXPECT_EQ(view.status(), u"Files organized."_s);
    EXPECT_FALSE(QFileInfo::exists(path));

    const Playlist playlist = library.createPlaylist(u"Mix"_s);
    library.addTrack(QUuid::createUuid(), playlist.id);
    view.prunePlaylistGaps();
    EXPECT_EQ(view.status(), u"Removed dangling playlist entries."_s);
    EXPECT_TRUE(library.playlists().constFirst().trackIDs.isEmpty());
}
