#include "DeviceTestSupport.h"

#include "devices/DeviceProfileEditorSheet.h"
#include "facade/LibraryStores.h"
#include "sync/VelmoDeviceFile.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QStringList entries(const QComboBox* picker)
{
    QStringList texts;
    for (int i = 0; i < picker->count(); ++i)
        texts.append(picker->itemText(i));
    return texts;
}

class DeviceProfileEditorSheetTest : public ::testing::Test, protected DeviceFixture {
protected:
    void SetUp() override { openLibrary(); }

    void mount(const QList<VolumeSource::Volume>& listing)
    {
        volumes = std::make_unique<VolumeMonitor>(std::make_unique<ListedVolumes>(listing));
    }

    std::unique_ptr<DeviceProfileEditorSheet> sheet(const std::optional<DeviceProfile>& profile = std::nullopt)
    {
        return std::make_unique<DeviceProfileEditorSheet>(*library, volumes.get(), profile,
                                                          [this](QWidget*, const FolderPickerRequest& request) {
                                                              requests.append(request);
                                                              return pickedFolder;
                                                          });
    }

    VolumeSource::Volume volume(const QString& name, bool removable = true)
    {
        return {name, device(name), removable, u"vfat"_s};
    }

    std::unique_ptr<VolumeMonitor> volumes;
    QList<FolderPickerRequest> requests;
    std::optional<QString> pickedFolder;
};

} // namespace

TEST_F(DeviceProfileEditorSheetTest, OffersOnlyRemovableVolumesThatNoProfileHasYet)
{
    const DeviceProfile known = addProfile(u"Phone"_s, device(u"PHONE"_s));
    // A card last synced by a known profile, remounted under another path.
    VelmoDeviceFile::write(known.id, device(u"CARD"_s));
    // A corrupt identity file names nobody.
    writeFile(device(u"OTHER"_s) + u"/.velmo"_s, "not json");
    mount({volume(u"STICK"_s), volume(u"PHONE"_s), volume(u"CARD"_s), volume(u"DISK"_s, false), volume(u"OTHER"_s)});

    const auto editor = sheet();
    EXPECT_EQ(entries(editor->volumePicker()), (QStringList{u"Select a device…"_s, u"STICK"_s, u"OTHER"_s}));
    EXPECT_EQ(editor->volumeNotice(), QString());
    EXPECT_FALSE(editor->confirmButton()->isEnabled());
    EXPECT_EQ(editor->confirmButton()->text(), u"Add Device"_s);
}

TEST_F(DeviceProfileEditorSheetTest, SaysWhyNoVolumeIsOffered)
{
    mount({});
    EXPECT_EQ(sheet()->volumeNotice(), u"No removable volumes connected"_s);

    addProfile(u"Stick"_s, device(u"STICK"_s));
    mount({volume(u"STICK"_s), volume(u"DISK"_s, false)});
    const auto editor = sheet();
    EXPECT_EQ(editor->volumeNotice(), u"All connected devices are already added."_s);
    EXPECT_FALSE(editor->volumePicker()->isEnabled());
}

TEST_F(DeviceProfileEditorSheetTest, AVolumeGivesItsNameAndRootAndASubfolderCanBeChosen)
{
    mount({volume(u"STICK"_s), volume(u"CARD"_s)});
    const auto editor = sheet();
    EXPECT_EQ(editor->syncFolderText(), u"No folder chosen"_s);

    editor->volumePicker()->setCurrentIndex(1);
    EXPECT_EQ(editor->nameField()->text(), u"STICK"_s);
    EXPECT_TRUE(editor->confirmButton()->isEnabled());
    // A name the user typed stays when another volume is picked.
    editor->nameField()->setText(u"My Player"_s);
    editor->volumePicker()->setCurrentIndex(2);
    EXPECT_EQ(editor->nameField()->text(), u"My Player"_s);
    EXPECT_EQ(editor->syncFolderText(), u"No folder chosen"_s);

    pickedFolder = devices.filePath(u"CARD/Music Here"_s);
    editor->chooseFolderButton()->click();
    ASSERT_EQ(requests.size(), 1);
    EXPECT_EQ(requests.constFirst().message, u"Choose the subfolder on CARD to sync music into."_s);
    EXPECT_EQ(requests.constFirst().prompt, u"Choose"_s);
    EXPECT_EQ(requests.constFirst().startFolder, devices.filePath(u"CARD"_s));
    EXPECT_TRUE(requests.constFirst().canCreateFolders);
    EXPECT_EQ(editor->syncFolderText(), *pickedFolder);

    editor->nameField()->setText(u"   "_s);
    EXPECT_FALSE(editor->confirmButton()->isEnabled());
    editor->nameField()->setText(u"  Card Player "_s);
    const DeviceProfile saved = editor->save();
    EXPECT_EQ(saved.name, u"Card Player"_s);
    EXPECT_EQ(saved.rootPath, *pickedFolder);

    // Reset goes back to the volume's own root.
    const auto another = sheet();
    another->volumePicker()->setCurrentIndex(1);
    another->chooseFolderButton()->click();
    another->resetFolderButton()->click();
    EXPECT_EQ(another->syncFolderText(), u"No folder chosen"_s);
    EXPECT_EQ(another->save().rootPath, devices.filePath(u"STICK"_s));
}

TEST_F(DeviceProfileEditorSheetTest, WithoutAVolumeAnyChosenFolderIsTheRoot)
{
    mount({});
    const auto editor = sheet();
    editor->nameField()->setText(u"Test Player"_s);
    EXPECT_FALSE(editor->confirmButton()->isEnabled());
    editor->chooseFolderButton()->click();
    EXPECT_FALSE(editor->confirmButton()->isEnabled());
    pickedFolder = device(u"folder"_s);
    editor->chooseFolderButton()->click();
    ASSERT_EQ(requests.size(), 2);
    EXPECT_EQ(requests.constLast().message, u"Choose the subfolder on the device to sync music into."_s);
    EXPECT_EQ(requests.constLast().startFolder, QDir::homePath());
    EXPECT_TRUE(editor->confirmButton()->isEnabled());
    EXPECT_EQ(editor->save().rootPath, *pickedFolder);
}

TEST_F(DeviceProfileEditorSheetTest, ANewDeviceIsStoredWithTheChosenFieldsAndDefaultFolders)
{
    const Playlist road = library->createPlaylist(u"Road"_s);
    library->createPlaylist(u"Gym"_s);
    const SmartPlaylist recent = library->createSmartPlaylist(u"Recent"_s);
    mount({volume(u"STICK"_s)});
    const auto editor = sheet();
    editor->volumePicker()->setCurrentIndex(1);
    EXPECT_FALSE(editor->playlistBox(u"Road"_s)->isVisibleTo(editor.get()));
    editor->scopePicker()->setCurrentIndex(1);
    EXPECT_EQ(editor->playlistChoices(), (QStringList{u"Road"_s, u"Gym"_s, u"Recent"_s}));
    editor->playlistBox(u"Road"_s)->setChecked(true);
    editor->playlistBox(u"Recent"_s)->setChecked(true);
    EXPECT_FALSE(editor->bitratePicker()->isVisibleTo(editor.get()));
    editor->formatPicker()->setCurrentIndex(editor->formatPicker()->findText(u"AAC"_s));
    EXPECT_TRUE(editor->bitratePicker()->isVisibleTo(editor.get()));
    EXPECT_EQ(entries(editor->bitratePicker()), (QStringList{u"128 kbps"_s, u"192 kbps"_s, u"256 kbps"_s, u"320 kbps"_s}));
    editor->bitratePicker()->setCurrentIndex(0);
    EXPECT_EQ(entries(editor->structurePicker()),
              (QStringList{u"Artist / Album / Track"_s, u"Mirror Library Layout"_s, u"Flat (all files in root)"_s}));
    editor->structurePicker()->setCurrentIndex(2);
    editor->musicFolderField()->setText(u"  "_s);
    editor->podcastsFolderField()->setText(u" Shows "_s);
    editor->syncPodcastsBox()->setChecked(false);

    editor->confirmButton()->click();
    ASSERT_EQ(library->deviceProfiles().size(), 1);
    const DeviceProfile stored = library->deviceProfiles().constFirst();
    EXPECT_EQ(stored.name, u"STICK"_s);
    EXPECT_EQ(stored.syncScope, SyncScope::selectedPlaylists);
    EXPECT_EQ(stored.playlistIDs, QList{road.id});
    EXPECT_EQ(stored.smartPlaylistIDs, QList{recent.id});
    EXPECT_EQ(stored.outputFormat, OutputFormat::aac);
    EXPECT_EQ(stored.transcodeBitrate, 128);
    EXPECT_EQ(stored.folderStructure, FolderStructure::flat);
    EXPECT_EQ(stored.musicFolder, u"Music"_s);
    EXPECT_EQ(stored.podcastsFolder, u"Shows"_s);
    EXPECT_EQ(stored.playlistsFolder, u"Playlists"_s);
    EXPECT_TRUE(stored.syncPlaylists);
    EXPECT_FALSE(stored.syncPodcasts);
}

TEST_F(DeviceProfileEditorSheetTest, AnExistingProfileIsEditedInPlaceKeepingItsTracks)
{
    const Track track = addTrack(u"One"_s);
    const DeviceProfile car = addProfile(u"Car"_s, device(u"CAR"_s), [&](DeviceProfile& p) {
        p.syncScope = SyncScope::selectedPlaylists;
        p.manualTrackIDs = {track.id};
        p.syncPlaylists = false;
        p.transcodeBitrate = 160;
    });
    mount({});
    const auto editor = sheet(car);
    EXPECT_EQ(editor->confirmButton()->text(), u"Save"_s);
    EXPECT_EQ(editor->pathField()->text(), car.rootPath);
    EXPECT_EQ(editor->playlistChoices(), QStringList{u"No playlists in library"_s});
    EXPECT_EQ(editor->bitratePicker()->currentText(), u"160 kbps"_s);

    pickedFolder = device(u"CAR2"_s);
    editor->choosePathButton()->click();
    ASSERT_EQ(requests.size(), 1);
    EXPECT_EQ(requests.constFirst().message, u"Choose the root folder on the device for synced music."_s);
    EXPECT_EQ(editor->pathField()->text(), *pickedFolder);
    editor->nameField()->setText(u"Car Stereo"_s);
    editor->confirmButton()->click();

    ASSERT_EQ(library->deviceProfiles().size(), 1);
    const DeviceProfile stored = library->deviceProfiles().constFirst();
    EXPECT_EQ(stored.id, car.id);
    EXPECT_EQ(stored.name, u"Car Stereo"_s);
    EXPECT_EQ(stored.rootPath, *pickedFolder);
    EXPECT_EQ(stored.manualTrackIDs, QList{track.id});
    EXPECT_TRUE(stored.syncPlaylists);
    EXPECT_EQ(stored.transcodeBitrate, 160);
}

TEST_F(DeviceProfileEditorSheetTest, PodcastSwitchesStartOnAndOnlyOffOnesAreStored)
{
    Podcast on{.id = QUuid::createUuid(), .title = u"Science Weekly"_s, .feedURL = QUrl(u"http://127.0.0.1:9/a"_s)};
    Podcast off{.id = QUuid::createUuid(), .title = u"Late Night"_s, .feedURL = QUrl(u"http://127.0.0.1:9/b"_s)};
    library.reset();
    openLibrary({on, off});
    const DeviceProfile walkman = addProfile(u"Walkman"_s, device(u"WALKMAN"_s), [](DeviceProfile& p) {
        p.syncPodcasts = true;
    });
    mount({});
    const auto editor = sheet(walkman);
    EXPECT_TRUE(editor->podcastBox(u"Science Weekly"_s)->isChecked());
    EXPECT_TRUE(editor->podcastBox(u"Late Night"_s)->isChecked());
    editor->podcastBox(u"Late Night"_s)->setChecked(false);
    editor->syncPodcastsBox()->setChecked(false);
    EXPECT_FALSE(editor->podcastBox(u"Late Night"_s)->isVisibleTo(editor.get()));
    editor->syncPodcastsBox()->setChecked(true);
    const DeviceProfile saved = editor->save();
    EXPECT_EQ(saved.podcastConfigs, (QHash<QUuid, PodcastDeviceConfig>{{off.id, {.enabled = false}}}));
    EXPECT_TRUE(saved.syncPodcasts);
}

TEST_F(DeviceProfileEditorSheetTest, SettingsNoSyncMayActOnAreSaidInWordsAndCannotBeSaved)
{
    const DeviceProfile stick = addProfile(u"Stick"_s, device(u"STICK"_s), [](DeviceProfile& p) {
        p.outputFormat = OutputFormat::mp3;
        p.transcodeBitrate = 9300000000000000;
    });
    mount({});
    const auto editor = sheet(stick);
    // As the store holds it: shown, with what is wrong.
    EXPECT_EQ(editor->bitratePicker()->currentText(), u"9300000000000000 kbps"_s);
    EXPECT_TRUE(editor->problemText().startsWith(u"transcodeBitrate must be one of 32, 40"_s))
        << qPrintable(editor->problemText());
    EXPECT_FALSE(editor->confirmButton()->isEnabled());

    editor->bitratePicker()->setCurrentIndex(editor->bitratePicker()->findData(qint64(256)));
    EXPECT_EQ(editor->problemText(), QString());
    EXPECT_TRUE(editor->confirmButton()->isEnabled());

    for (const QString& folder : {u"../Documents"_s, u"/home"_s, u"Music/.."_s}) {
        editor->podcastsFolderField()->setText(folder);
        EXPECT_EQ(editor->problemText(), u"podcastsFolder must name a folder inside the device, such as “Music” or "
                                         "“Audio/Music”, not “%1”: no empty name, no “..” and no leading “/”."_s.arg(folder));
        EXPECT_FALSE(editor->confirmButton()->isEnabled());
    }
    editor->podcastsFolderField()->setText(u"Audio/Podcasts"_s);
    editor->pathField()->setText(u"relative/stick"_s);
    EXPECT_TRUE(editor->problemText().startsWith(u"rootPath must be an absolute path"_s));
    editor->pathField()->setText(device(u"STICK"_s));
    ASSERT_TRUE(editor->confirmButton()->isEnabled());
    editor->confirmButton()->click();
    EXPECT_EQ(library->deviceProfiles().constFirst().podcastsFolder, u"Audio/Podcasts"_s);
    EXPECT_EQ(library->deviceProfiles().constFirst().transcodeBitrate, 256);
}
