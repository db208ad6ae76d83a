#include "DeviceProfileEditorSheet.h"

#include "DeviceDisplay.h"
#include "facade/Library.h"
#include "sync/VelmoDeviceFile.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 offeredBitrates[] = {128, 192, 256, 320};

template <typename Enum>
void addChoice(QComboBox* picker, const QString& label, Enum value)
{
    picker->addItem(label, int(value));
}

template <typename Enum>
Enum chosen(const QComboBox* picker)
{
    return Enum(picker->currentData().toInt());
}

QString trimmedOr(const QLineEdit* field, const QString& fallback)
{
    const QString text = field->text().trimmed();
    return text.isEmpty() ? fallback : text;
}

QCheckBox* boxNamed(const QList<std::pair<QUuid, QCheckBox*>>& boxes, const QString& text)
{
    for (const auto& [id, box] : boxes) {
        if (box->text() == text)
            return box;
    }
    return nullptr;
}

QList<QUuid> checkedIDs(const QList<std::pair<QUuid, QCheckBox*>>& boxes)
{
    QList<QUuid> ids;
    for (const auto& [id, box] : boxes) {
        if (box->isChecked())
            ids.append(id);
    }
    return ids;
}

} // namespace

DeviceProfileEditorSheet::DeviceProfileEditorSheet(Library& library, VolumeMonitor* volumes,
                                                   const std::optional<DeviceProfile>& profile, FolderPicker pickFolder,
                                                   QWidget* parent)
    : QDialog(parent)
    , m_library(library)
    , m_profile(profile)
    , m_pickFolder(std::move(pickFolder))
    , m_volumes(volumes)
{
    setWindowTitle(profile ? u"Edit Device"_s : u"Add Device"_s);
    const DeviceProfile shown = profile.value_or(DeviceProfile());
    m_name = new QLineEdit(shown.name, this);

    auto* content = new QWidget;
    auto* sections = new QVBoxLayout(content);
    sections->addWidget(profile ? makeExistingDeviceSection() : makeNewDeviceSection());
    sections->addWidget(makeScopeSection());

    auto* formatSection = new QGroupBox(u"Output Format"_s, content);
    auto* formatLayout = new QFormLayout(formatSection);
    m_format = new QComboBox(formatSection);
    for (const OutputFormat format : {OutputFormat::keepSource, OutputFormat::mp3, OutputFormat::aac})
        addChoice(m_format, DeviceDisplay::formatLabel(format), format);
    m_format->setCurrentIndex(m_format->findData(int(shown.outputFormat)));
    m_bitrate = new QComboBox(formatSection);
    for (const qint64 rate : offeredBitrates)
        m_bitrate->addItem(u"%1 kbps"_s.arg(rate), rate);
    if (m_bitrate->findData(shown.transcodeBitrate) < 0)
        m_bitrate->addItem(u"%1 kbps"_s.arg(shown.transcodeBitrate), shown.transcodeBitrate);
    m_bitrate->setCurrentIndex(m_bitrate->findData(shown.transcodeBitrate));
    m_coverSize = new QComboBox(formatSection);
    addChoice(m_coverSize, u"Original"_s, CoverSize::original);
    addChoice(m_coverSize, u"500 px"_s, CoverSize::px500);
    addChoice(m_coverSize, u"300 px"_s, CoverSize::px300);
    m_coverSize->setCurrentIndex(m_coverSize->findData(int(shown.effectiveCoverSize())));
    m_coverFiles = new QCheckBox(u"Put cover.jpg in each album folder"_s, formatSection);
    m_coverFiles->setChecked(shown.writeCoverFiles);
    formatLayout->addRow(u"Format"_s, m_format);
    formatLayout->addRow(u"Bitrate"_s, m_bitrate);
    formatLayout->addRow(u"Cover size"_s, m_coverSize);
    formatLayout->addRow(m_coverFiles);
    sections->addWidget(formatSection);

    auto* structureSection = new QGroupBox(u"Folder Structure"_s, content);
    auto* structureLayout = new QFormLayout(structureSection);
    m_structure = new QComboBox(structureSection);
    for (const FolderStructure structure :
         {FolderStructure::artistAlbumTrack, FolderStructure::mirrorLibrary, FolderStructure::flat})
        addChoice(m_structure, DeviceDisplay::structureLabel(structure), structure);
    m_structure->setCurrentIndex(m_structure->findData(int(shown.folderStructure)));
    structureLayout->addRow(u"Structure"_s, m_structure);
    sections->addWidget(structureSection);

    auto* foldersSection = new QGroupBox(u"Folders"_s, content);
    auto* foldersLayout = new QFormLayout(foldersSection);
    m_musicFolder = new QLineEdit(shown.musicFolder, foldersSection);
    m_podcastsFolder = new QLineEdit(shown.podcastsFolder, foldersSection);
    m_playlistsFolder = new QLineEdit(shown.playlistsFolder, foldersSection);
    foldersLayout->addRow(u"Music"_s, m_musicFolder);
    foldersLayout->addRow(u"Podcasts"_s, m_podcastsFolder);
    foldersLayout->addRow(u"Playlists"_s, m_playlistsFolder);
    sections->addWidget(foldersSection);
    sections->addWidget(makePodcastsSection());
    sections->addStretch(1);

    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(content);

    m_problem = new QLabel(this);
    m_problem->setWordWrap(true);
    m_problem->hide();
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    m_confirm = buttons->addButton(profile ? u"Save"_s : u"Add Device"_s, QDialogButtonBox::AcceptRole);
    m_confirm->setDefault(true);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(scroll, 1);
    layout->addWidget(m_problem);
    layout->addWidget(buttons);
    resize(520, 640);

    const auto showBitrate = [this, formatLayout] {
        formatLayout->setRowVisible(m_bitrate, chosen<OutputFormat>(m_format) != OutputFormat::keepSource);
    };
    connect(m_format, &QComboBox::currentIndexChanged, this, showBitrate);
    showBitrate();
    // Until the user picks a cover size, it follows the format's default.
    connect(m_coverSize, &QComboBox::activated, this, [this] { m_coverSizeChosen = true; });
    connect(m_format, &QComboBox::currentIndexChanged, this, [this] {
        if (m_coverSizeChosen)
            return;
        DeviceProfile byDefault;
        byDefault.outputFormat = chosen<OutputFormat>(m_format);
        m_coverSize->setCurrentIndex(m_coverSize->findData(int(byDefault.effectiveCoverSize())));
    });
    connect(m_name, &QLineEdit::textChanged, this, &DeviceProfileEditorSheet::updateConfirm);
    for (QLineEdit* field : {m_musicFolder, m_podcastsFolder, m_playlistsFolder})
        connect(field, &QLineEdit::textChanged, this, &DeviceProfileEditorSheet::updateConfirm);
    connect(m_format, &QComboBox::currentIndexChanged, this, &DeviceProfileEditorSheet::updateConfirm);
    connect(m_bitrate, &QComboBox::currentIndexChanged, this, &DeviceProfileEditorSheet::updateConfirm);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_confirm, &QPushButton::clicked, this, [this] {
        save();
        accept();
    });
    updateConfirm();
}

QGroupBox* DeviceProfileEditorSheet::makeNewDeviceSection()
{
    auto* section = new QGroupBox(u"Device"_s);
    m_volume = new QComboBox(section);
    m_volumeNotice = new QLabel(section);
    m_volumeNotice->setForegroundRole(QPalette::PlaceholderText);
    m_syncFolder = new QLabel(section);
    m_chooseFolder = new QPushButton(u"Choose Subfolder…"_s, section);
    m_resetFolder = new QPushButton(u"Reset"_s, section);
    auto* folderRow = new QHBoxLayout;
    folderRow->addWidget(m_syncFolder, 1);
    folderRow->addWidget(m_chooseFolder);
    folderRow->addWidget(m_resetFolder);
    auto* layout = new QFormLayout(section);
    layout->addRow(u"Volume"_s, m_volume);
    layout->addRow(QString(), m_volumeNotice);
    layout->addRow(u"Name"_s, m_name);
    layout->addRow(u"Sync Folder"_s, folderRow);

    connect(m_volume, &QComboBox::currentIndexChanged, this, &DeviceProfileEditorSheet::volumeChosen);
    connect(m_chooseFolder, &QPushButton::clicked, this, &DeviceProfileEditorSheet::chooseSubfolder);
    connect(m_resetFolder, &QPushButton::clicked, this, [this] {
        m_subfolder.reset();
        volumeChosen();
    });
    if (m_volumes)
        connect(m_volumes, &VolumeMonitor::volumesChanged, this, &DeviceProfileEditorSheet::fillVolumes);
    fillVolumes();
    volumeChosen();
    return section;
}

QGroupBox* DeviceProfileEditorSheet::makeExistingDeviceSection()
{
    auto* section = new QGroupBox(u"Device"_s);
    m_path = new QLineEdit(m_profile->rootPath, section);
    m_choosePath = new QPushButton(u"Choose…"_s, section);
    auto* pathRow = new QHBoxLayout;
    pathRow->addWidget(m_path, 1);
    pathRow->addWidget(m_choosePath);
    auto* layout = new QFormLayout(section);
    layout->addRow(u"Name"_s, m_name);
    layout->addRow(u"Path"_s, pathRow);
    connect(m_choosePath, &QPushButton::clicked, this, &DeviceProfileEditorSheet::choosePath);
    connect(m_path, &QLineEdit::textChanged, this, &DeviceProfileEditorSheet::updateConfirm);
    return section;
}

QGroupBox* DeviceProfileEditorSheet::makeScopeSection()
{
    const DeviceProfile shown = m_profile.value_or(DeviceProfile());
    auto* section = new QGroupBox(u"Scope"_s);
    m_scope = new QComboBox(section);
    addChoice(m_scope, u"Full Library"_s, SyncScope::fullLibrary);
    addChoice(m_scope, u"Selected Playlists & Tracks"_s, SyncScope::selectedPlaylists);
    m_scope->setCurrentIndex(m_scope->findData(int(shown.syncScope)));

    m_playlistChoices = new QWidget(section);
    auto* choices = new QVBoxLayout(m_playlistChoices);
    choices->setContentsMargins(0, 0, 0, 0);
    const auto addBoxes = [this, choices](const QString& title, const auto& lists, const QList<QUuid>& selected,
                                          QList<std::pair<QUuid, QCheckBox*>>& boxes) {
        if (lists.isEmpty())
            return;
        auto* heading = new QLabel(title, m_playlistChoices);
        QFont bold = heading->font();
        bold.setBold(true);
        heading->setFont(bold);
        choices->addWidget(heading);
        for (const auto& list : lists) {
            auto* box = new QCheckBox(list.name, m_playlistChoices);
            box->setChecked(selected.contains(list.id));
            choices->addWidget(box);
            boxes.append({list.id, box});
        }
    };
    addBoxes(u"Playlists"_s, m_library.playlists(), shown.playlistIDs, m_playlistBoxes);
    addBoxes(u"Smart Playlists"_s, m_library.smartPlaylists(), shown.smartPlaylistIDs, m_smartPlaylistBoxes);
    if (m_playlistBoxes.isEmpty() && m_smartPlaylistBoxes.isEmpty()) {
        m_noPlaylists = new QLabel(u"No playlists in library"_s, m_playlistChoices);
        m_noPlaylists->setForegroundRole(QPalette::PlaceholderText);
        choices->addWidget(m_noPlaylists);
    }

    auto* layout = new QVBoxLayout(section);
    layout->addWidget(m_scope);
    layout->addWidget(m_playlistChoices);
    const auto showChoices = [this] {
        m_playlistChoices->setVisible(chosen<SyncScope>(m_scope) == SyncScope::selectedPlaylists);
    };
    connect(m_scope, &QComboBox::currentIndexChanged, this, showChoices);
    showChoices();
    return section;
}

QGroupBox* DeviceProfileEditorSheet::makePodcastsSection()
{
    const DeviceProfile shown = m_profile.value_or(DeviceProfile());
    auto* section = new QGroupBox(u"Podcasts"_s);
    m_syncPodcasts = new QCheckBox(u"Sync Podcast Episodes"_s, section);
    m_syncPodcasts->setChecked(shown.syncPodcasts);
    m_podcastChoices = new QWidget(section);
    auto* choices = new QVBoxLayout(m_podcastChoices);
    choices->setContentsMargins(20, 0, 0, 0);
    for (const Podcast& podcast : m_library.podcasts()) {
        auto* box = new QCheckBox(podcast.title, m_podcastChoices);
        box->setChecked(shown.podcastConfigs.value(podcast.id, {.enabled = true}).enabled);
        choices->addWidget(box);
        m_podcastBoxes.append({podcast.id, box});
    }
    auto* layout = new QVBoxLayout(section);
    layout->addWidget(m_syncPodcasts);
    layout->addWidget(m_podcastChoices);
    connect(m_syncPodcasts, &QCheckBox::toggled, m_podcastChoices, &QWidget::setVisible);
    m_podcastChoices->setVisible(m_syncPodcasts->isChecked());
    return section;
}

QList<MountedVolume> DeviceProfileEditorSheet::availableVolumes(const QList<MountedVolume>& mounted,
                                                                const QList<DeviceProfile>& profiles)
{
    QList<MountedVolume> offered;
    for (const MountedVolume& volume : mounted) {
        const QString path = volume.url.toLocalFile();
        const bool isRoot = std::ranges::any_of(profiles, [&path](const DeviceProfile& p) {
            return QDir::cleanPath(p.rootPath) == QDir::cleanPath(path);
        });
        const std::optional<VelmoDeviceFile> identity = isRoot ? std::nullopt : VelmoDeviceFile::read(path);
        const bool named = identity && std::ranges::any_of(profiles, [&identity](const DeviceProfile& p) {
                               return p.id == identity->id;
                           });
        if (!isRoot && !named)
            offered.append(volume);
    }
    return offered;
}

void DeviceProfileEditorSheet::fillVolumes()
{
    const std::optional<MountedVolume> before = chosenVolume();
    const QList<MountedVolume> mounted = m_volumes ? m_volumes->volumes() : QList<MountedVolume>();
    m_offered = availableVolumes(mounted, m_library.deviceProfiles());
    {
        const QSignalBlocker blocker(m_volume);
        m_volume->clear();
        m_volume->addItem(u"Select a device…"_s);
        for (const MountedVolume& volume : std::as_const(m_offered))
            m_volume->addItem(volume.name, volume.url.toLocalFile());
        if (before) {
            const int index = m_volume->findData(before->url.toLocalFile());
            m_volume->setCurrentIndex(std::max(index, 0));
        }
    }
    m_volume->setEnabled(!m_offered.isEmpty());
    if (mounted.isEmpty())
        m_volumeNotice->setText(u"No removable volumes connected"_s);
    else if (m_offered.isEmpty())
        m_volumeNotice->setText(u"All connected devices are already added."_s);
    else
        m_volumeNotice->clear();
    m_volumeNotice->setVisible(!m_volumeNotice->text().isEmpty());
    if (chosenVolume() != before)
        volumeChosen();
    updateConfirm();
}

std::optional<MountedVolume> DeviceProfileEditorSheet::chosenVolume() const
{
    if (!m_volume || m_volume->currentIndex() <= 0 || m_volume->currentIndex() > m_offered.size())
        return std::nullopt;
    return m_offered.at(m_volume->currentIndex() - 1);
}

void DeviceProfileEditorSheet::volumeChosen()
{
    m_subfolder.reset();
    const std::optional<MountedVolume> volume = chosenVolume();
    if (volume && m_name->text().trimmed().isEmpty())
        m_name->setText(volume->name);
    m_syncFolder->setText(u"No folder chosen"_s);
    m_resetFolder->setEnabled(false);
    updateConfirm();
}

void DeviceProfileEditorSheet::chooseSubfolder()
{
    // Without a volume any folder will do: a player that mounts as no removable volume, or
    // a folder to try a sync on.
    const std::optional<MountedVolume> volume = chosenVolume();
    const QString deviceName = volume && !volume->name.isEmpty() ? volume->name : u"the device"_s;
    const std::optional<QString> folder = m_pickFolder(
        this, {u"Choose the subfolder on "_s + deviceName + u" to sync music into."_s, u"Choose"_s,
               volume ? volume->url.toLocalFile() : QDir::homePath(), true});
    if (!folder)
        return;
    m_subfolder = *folder;
    m_syncFolder->setText(*folder);
    m_resetFolder->setEnabled(true);
    updateConfirm();
}

void DeviceProfileEditorSheet::choosePath()
{
    const std::optional<QString> folder =
        m_pickFolder(this, {u"Choose the root folder on the device for synced music."_s, u"Choose"_s, m_path->text(), true});
    if (folder)
        m_path->setText(*folder);
}

QString DeviceProfileEditorSheet::chosenRoot() const
{
    if (m_profile)
        return m_path->text();
    if (m_subfolder)
        return *m_subfolder;
    const std::optional<MountedVolume> volume = chosenVolume();
    return volume ? volume->url.toLocalFile() : QString();
}

void DeviceProfileEditorSheet::updateConfirm()
{
    if (!m_confirm)
        return;
    const QString root = chosenRoot();
    DeviceProfile edited = m_profile.value_or(DeviceProfile());
    applyTo(edited);
    // A new device waits for its root before saying anything about it.
    const std::optional<DeviceProfile::Problem> problem =
        !m_profile && root.isEmpty() ? std::nullopt : edited.problem();
    m_problem->setText(problem ? problem->message() : QString());
    m_problem->setVisible(problem.has_value());
    m_confirm->setEnabled(!m_name->text().trimmed().isEmpty() && (m_profile || !root.isEmpty()) && !problem);
}

QString DeviceProfileEditorSheet::problemText() const
{
    return m_problem && m_problem->isVisibleTo(this) ? m_problem->text() : QString();
}

QString DeviceProfileEditorSheet::volumeNotice() const
{
    return m_volumeNotice && m_volumeNotice->isVisibleTo(this) ? m_volumeNotice->text() : QString();
}

QString DeviceProfileEditorSheet::syncFolderText() const
{
    return m_syncFolder ? m_syncFolder->text() : QString();
}

QStringList DeviceProfileEditorSheet::playlistChoices() const
{
    if (m_noPlaylists)
        return {m_noPlaylists->text()};
    QStringList names;
    for (const auto& [id, box] : m_playlistBoxes + m_smartPlaylistBoxes)
        names.append(box->text());
    return names;
}

QCheckBox* DeviceProfileEditorSheet::playlistBox(const QString& name) const
{
    if (QCheckBox* box = boxNamed(m_playlistBoxes, name))
        return box;
    return boxNamed(m_smartPlaylistBoxes, name);
}

QCheckBox* DeviceProfileEditorSheet::podcastBox(const QString& title) const
{
    return boxNamed(m_podcastBoxes, title);
}

void DeviceProfileEditorSheet::applyTo(DeviceProfile& profile) const
{
    profile.name = m_name->text().trimmed();
    profile.rootPath = chosenRoot();
    profile.syncScope = chosen<SyncScope>(m_scope);
    profile.playlistIDs = checkedIDs(m_playlistBoxes);
    profile.smartPlaylistIDs = checkedIDs(m_smartPlaylistBoxes);
    profile.outputFormat = chosen<OutputFormat>(m_format);
    profile.transcodeBitrate = m_bitrate->currentData().toLongLong();
    if (m_coverSizeChosen)
        profile.coverSize = chosen<CoverSize>(m_coverSize);
    profile.writeCoverFiles = m_coverFiles->isChecked();
    profile.folderStructure = chosen<FolderStructure>(m_structure);
    profile.musicFolder = trimmedOr(m_musicFolder, u"Music"_s);
    profile.podcastsFolder = trimmedOr(m_podcastsFolder, u"Podcasts"_s);
    profile.playlistsFolder = trimmedOr(m_playlistsFolder, u"Playlists"_s);
    // The sheet has no control for it.
    profile.syncPlaylists = true;
    profile.syncPodcasts = m_syncPodcasts->isChecked();
    // A podcast without an entry counts as on, and keeps no entry while it stays so.
    for (const auto& [id, box] : std::as_const(m_podcastBoxes)) {
        if (profile.podcastConfigs.contains(id) || !box->isChecked())
            profile.podcastConfigs.insert(id, {.enabled = box->isChecked()});
    }
}

DeviceProfile DeviceProfileEditorSheet::save()
{
    DeviceProfile profile = m_profile ? *m_profile : m_library.createDeviceProfile(m_name->text().trimmed(), chosenRoot());
    applyTo(profile);
    m_library.updateDeviceProfile(profile);
    m_profile = profile;
    return profile;
}
