#include "ContentView.h"

#include "SidebarView.h"
#include "devices/DeviceDetailView.h"
#include "devices/DeviceProfileEditorSheet.h"
#include "devices/DeviceSyncController.h"
#include "devices/DeviceSyncView.h"
#include "disc/CDRipView.h"
#include "disc/DiscMonitor.h"
#include "disc/DiscTOC.h"
#include "facade/CDRipController.h"
#include "facade/Library.h"
#include "maintenance/LibraryMaintenanceView.h"
#include "music/AlbumDetailView.h"
#include "music/MusicView.h"
#include "music/TrackDetailView.h"
#include "platform/DiscEject.h"
#include "platform/DrivePath.h"
#include "playlists/PlaylistsView.h"
#include "podcasts/EpisodeDetailView.h"
#include "podcasts/PodcastsView.h"
#include "sync/VolumeEjector.h"
#include "widgets/PlaceholderView.h"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QSplitter>
#include <QStackedWidget>

using namespace Qt::StringLiterals;

namespace {

// A finished rip by the worst of its tracks: a check only when every one was confirmed.
std::optional<VerdictSymbol> ripMark(const RipState& state)
{
    const auto* finished = std::get_if<RipStates::Finished>(&state);
    if (!finished)
        return std::nullopt;
    VerdictSymbol worst = VerdictSymbol::confirmed;
    for (const TrackRipState& track : finished->tracks) {
        if (const auto* done = std::get_if<TrackRipStates::Done>(&track))
            worst = VerdictSymbols::worse(worst, VerdictSymbols::forVerdict(done->verdict));
        else if (std::holds_alternative<TrackRipStates::Failed>(track))
            worst = VerdictSymbol::failed;
    }
    return worst;
}

std::optional<VerdictSymbol> syncMark(const SyncControllerState& state)
{
    if (std::holds_alternative<SyncStates::Finished>(state))
        return VerdictSymbol::confirmed;
    if (std::holds_alternative<SyncStates::Failed>(state))
        return VerdictSymbol::failed;
    return std::nullopt;
}

} // namespace

ContentView::ContentView(Library& library, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_syncController(new DeviceSyncController(library, this))
    , m_sidebar(new SidebarView(this))
    , m_content(new QStackedWidget(this))
    , m_detail(new QStackedWidget(this))
    , m_music(new MusicView(library))
    , m_playlists(new PlaylistsView(library))
    , m_podcasts(new PodcastsView(library))
    , m_devices(new DeviceSyncView(library, *m_syncController))
    , m_maintenance(new LibraryMaintenanceView(library))
    , m_cdRip(new CDRipController(MetadataHTTPClient::shared(), CDRipController::readers(), this))
    , m_eject([](const QString& bsdName) {
        // A disc image has no drive to open.
        if (!MusicBrainzDiscLookup::isDiscImage(bsdName))
            DiscEject::eject(drivePath(bsdName));
    })
{
    m_content->addWidget(m_music);
    m_content->addWidget(m_playlists);
    m_content->addWidget(m_podcasts);
    m_content->addWidget(m_devices);
    m_content->addWidget(m_maintenance);

    auto* splitter = new QSplitter(Qt::Horizontal, this);
    splitter->addWidget(m_sidebar);
    splitter->addWidget(m_content);
    splitter->addWidget(m_detail);
    splitter->setStretchFactor(0, 0);
    splitter->setStretchFactor(1, 3);
    splitter->setStretchFactor(2, 2);
    splitter->setSizes({180, 690, 330});
    splitter->setChildrenCollapsible(false);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(splitter);

    connect(m_sidebar, &SidebarView::selectionChanged, this, &ContentView::setSidebarSelection);
    connect(m_sidebar, &SidebarView::ejectRequested, this, [this](const QString& bsdName) { m_eject(bsdName); });
    connect(m_music, &MusicView::selectedTrackChanged, this, &ContentView::setSelectedTrack);
    connect(m_maintenance, &LibraryMaintenanceView::showInSongs, this, [this](const Track& track) {
        setSidebarSelection(SidebarItem{SidebarItem::Kind::music, {}});
        setSelectedTrack(track);
    });
    connect(m_music, &MusicView::selectedAlbumChanged, this, &ContentView::setSelectedAlbum);
    connect(m_playlists, &PlaylistsView::selectedTrackChanged, this, &ContentView::setSelectedTrack);
    connect(m_podcasts, &PodcastsView::selectedEpisodeChanged, this, &ContentView::setSelectedEpisode);
    // The episode's detail needs its podcast: unsubscribing takes the detail away.
    connect(&library, &Library::podcastsChanged, this, [this] {
        if (m_selectedEpisode && !selectedEpisodeHasPodcast() && m_detail->currentWidget()
            && qobject_cast<EpisodeDetailView*>(m_detail->currentWidget()))
            showDetail();
    });
    connect(m_cdRip, &CDRipController::stateChanged, this, &ContentView::showRipProgress);
    connect(m_cdRip, &CDRipController::stateChanged, this, &ContentView::nameDiscRow);
    connect(m_cdRip, &CDRipController::discNamed, this, &ContentView::nameDiscRow);
    // A rip that brought every track in ejects its disc.
    connect(m_cdRip, &CDRipController::pendingEjectBSDNameChanged, this, [this] {
        if (const std::optional<QString> name = m_cdRip->pendingEjectBSDName()) {
            m_eject(*name);
            m_cdRip->clearPendingEject();
        }
    });
    connect(m_devices, &DeviceSyncView::selectedDeviceIDChanged, this, &ContentView::setSelectedDeviceID);
    connect(m_devices, &DeviceSyncView::addRequested, this, [this] { showDeviceEditor(std::nullopt); });
    connect(m_devices, &DeviceSyncView::refreshRequested, this, [this] {
        if (m_sidebarSelection && m_sidebarSelection->kind == SidebarItem::Kind::devices)
            showDetail();
    });
    // The mark stays while the user looks at another screen: the controller outlives them all.
    connect(m_syncController, &DeviceSyncController::stateChanged, this,
            [this] {
                const SidebarItem devices{SidebarItem::Kind::devices, {}};
                m_sidebar->setProgress(devices, m_syncController->progressFraction());
                m_sidebar->setMark(devices, syncMark(m_syncController->state()));
            });
    setSidebarSelection(SidebarItem{SidebarItem::Kind::music, {}});
}

void ContentView::setVolumeMonitor(VolumeMonitor* monitor)
{
    m_volumes = monitor;
    m_devices->setVolumeMonitor(monitor);
    if (m_sidebarSelection && m_sidebarSelection->kind == SidebarItem::Kind::devices)
        showDetail();
}

const DeviceProfile* ContentView::selectedDevice() const
{
    if (!m_selectedDeviceID)
        return nullptr;
    const auto it = std::ranges::find(m_library.deviceProfiles(), *m_selectedDeviceID, &DeviceProfile::id);
    return it == m_library.deviceProfiles().cend() ? nullptr : &*it;
}

void ContentView::setSelectedDeviceID(const std::optional<QUuid>& id)
{
    if (m_selectedDeviceID == id)
        return;
    m_selectedDeviceID = id;
    m_devices->setSelectedDeviceID(id);
    showDetail();
}

DeviceProfileEditorSheet* ContentView::deviceEditor() const
{
    return m_deviceEditor;
}

DeviceProfileEditorSheet* ContentView::showDeviceEditor(const std::optional<DeviceProfile>& profile)
{
    if (m_deviceEditor)
        return m_deviceEditor;
    m_deviceEditor = new DeviceProfileEditorSheet(m_library, m_volumes, profile, m_pickFolder, this);
    m_deviceEditor->setAttribute(Qt::WA_DeleteOnClose);
    if (!profile) {
        connect(m_deviceEditor, &QDialog::accepted, this, [this, editor = m_deviceEditor] {
            // The device just added is the one the user wants to see.
            if (editor && !m_library.deviceProfiles().isEmpty())
                setSelectedDeviceID(m_library.deviceProfiles().constLast().id);
        });
    }
    m_deviceEditor->open();
    return m_deviceEditor;
}

void ContentView::setDiscMonitor(DiscMonitor* monitor)
{
    m_discMonitor = monitor;
    const auto showDiscs = [this, monitor] {
        // A removed disc's row goes, and with its selection the screen: the album just ripped
        // from it, else "Select an item".
        const bool onDisc = m_sidebarSelection && m_sidebarSelection->kind == SidebarItem::Kind::cdRip;
        m_sidebar->setDiscs(monitor->insertedDiscs());
        m_progressShownFor.reset();
        showRipProgress();
        if (onDisc && !m_sidebarSelection)
            showRippedAlbum();
    };
    connect(monitor, &DiscMonitor::insertedDiscsChanged, this, showDiscs);
    connect(m_sidebar, &SidebarView::closeDiscImageRequested, monitor, &DiscMonitor::removeDisc);
    showDiscs();
}

void ContentView::showRipProgress()
{
    const std::optional<QString>& disc = m_cdRip->trackedBSDName();
    if (m_progressShownFor && m_progressShownFor != disc)
        m_sidebar->setProgress(SidebarItem::cdRip(*m_progressShownFor), std::nullopt);
    m_progressShownFor = disc;
    if (disc) {
        m_sidebar->setProgress(SidebarItem::cdRip(*disc), m_cdRip->overallProgress());
        m_sidebar->setMark(SidebarItem::cdRip(*disc), ripMark(m_cdRip->state()));
    }
}

void ContentView::nameDiscRow()
{
    const std::optional<QString>& disc = m_cdRip->trackedBSDName();
    if (!disc)
        return;
    QString title;
    std::visit(
        [&title](const auto& state) {
            using State = std::decay_t<decltype(state)>;
            if constexpr (std::is_same_v<State, RipStates::Ready>)
                title = state.allReleases.at(state.selectedIndex).title;
            else if constexpr (requires { state.metadata; })
                title = state.metadata.title;
        },
        m_cdRip->state());
    // Looking up or failed, the row keeps whatever name it had.
    if (!title.isEmpty())
        m_sidebar->setDiscTitle(*disc, title);
    if (const auto* finished = std::get_if<RipStates::Finished>(&m_cdRip->state())) {
        m_rippedTrackIDs.clear();
        for (const TrackRipState& track : finished->tracks) {
            if (const auto* done = std::get_if<TrackRipStates::Done>(&track))
                m_rippedTrackIDs.insert(done->track.id);
        }
    }
}

void ContentView::showRippedAlbum()
{
    QList<Track> ripped;
    for (const Track& track : m_library.tracks()) {
        if (m_rippedTrackIDs.contains(track.id))
            ripped.append(track);
    }
    m_rippedTrackIDs.clear();
    if (ripped.isEmpty()) {
        setSidebarSelection(std::nullopt);
        return;
    }
    setSidebarSelection(SidebarItem{SidebarItem::Kind::music, {}});
    setSelectedAlbum(AlbumGroup::group(ripped, AlbumSortOption::artist).constFirst());
}

void ContentView::setSidebarSelection(const std::optional<SidebarItem>& item)
{
    const bool changed = m_sidebarSelection != item;
    m_sidebarSelection = item;
    m_sidebar->setSelection(item);
    if (changed || m_content->currentWidget() == nullptr) {
        m_selectedTrack.reset();
        m_selectedAlbum.reset();
        // Its row must not stay highlighted while the detail column has let go of the track.
        m_playlists->clearSelectedTrack();
        if (!item || item->kind != SidebarItem::Kind::podcasts) {
            m_selectedEpisode.reset();
            m_podcasts->clearSelectedEpisode();
        }
        // Leaving Devices drops the diff on show; a run is never touched.
        if ((!item || item->kind != SidebarItem::Kind::devices)
            && !std::holds_alternative<SyncStates::Syncing>(m_syncController->state()))
            m_syncController->reset();
    }
    showContent();
    showDetail();
}

void ContentView::setSelectedTrack(const std::optional<Track>& track)
{
    m_selectedTrack = track;
    showDetail();
}

void ContentView::setSelectedEpisode(const std::optional<Episode>& episode)
{
    m_selectedEpisode = episode;
    showDetail();
}

bool ContentView::selectedEpisodeHasPodcast() const
{
    return m_selectedEpisode && std::ranges::any_of(m_library.podcasts(), [this](const Podcast& podcast) {
               return podcast.id == m_selectedEpisode->podcastID;
           });
}

void ContentView::setSelectedAlbum(const std::optional<AlbumGroup>& album)
{
    m_selectedAlbum = album;
    showDetail();
}

QWidget* ContentView::screenFor(const std::optional<SidebarItem>& item)
{
    if (!item)
        return new PlaceholderView(u"Select an item"_s);
    switch (item->kind) {
    case SidebarItem::Kind::music: return m_music;
    case SidebarItem::Kind::library: return m_maintenance;
    case SidebarItem::Kind::playlists: return m_playlists;
    case SidebarItem::Kind::podcasts: return m_podcasts;
    case SidebarItem::Kind::devices: return m_devices;
    case SidebarItem::Kind::cdRip: {
        auto* view = new CDRipView(*m_cdRip, m_library, item->bsdName);
        connect(view, &CDRipView::ejectRequested, this, [this](const QString& bsdName) { m_eject(bsdName); });
        connect(view, &CDRipView::finished, this, &ContentView::showRippedAlbum);
        connect(view, &CDRipView::browserRequested, this, [](const QUrl& address) { QDesktopServices::openUrl(address); });
        return view;
    }
    }
    Q_UNREACHABLE();
}

void ContentView::showContent()
{
    QWidget* screen = screenFor(m_sidebarSelection);
    if (m_placeholder && m_placeholder != screen) {
        m_content->removeWidget(m_placeholder);
        m_placeholder->deleteLater();
        m_placeholder = nullptr;
    }
    if (screen != m_music && screen != m_playlists && screen != m_podcasts && screen != m_devices
        && screen != m_maintenance) {
        m_placeholder = screen;
        m_content->addWidget(screen);
    }
    m_content->setCurrentWidget(screen);
}

void ContentView::showDetail()
{
    using Kind = SidebarItem::Kind;
    const std::optional<Kind> kind = m_sidebarSelection ? std::optional(m_sidebarSelection->kind) : std::nullopt;
    QWidget* detail = nullptr;
    if (kind == Kind::devices && selectedDevice()) {
        auto* deviceDetail = new DeviceDetailView(m_library, *m_syncController, m_volumes, *selectedDevice(),
                                                  VolumeEjector::ejectWithSystemService);
        connect(deviceDetail, &DeviceDetailView::editRequested, this,
                [this](const DeviceProfile& profile) { showDeviceEditor(profile); });
        detail = deviceDetail;
    } else if (kind == Kind::devices) {
        detail = new PlaceholderView(u"externaldrive"_s, u"No Device Selected"_s,
                                     u"Choose a device from the list."_s);
    } else if (kind == Kind::podcasts && selectedEpisodeHasPodcast()) {
        const auto podcast = std::ranges::find(m_library.podcasts(), m_selectedEpisode->podcastID, &Podcast::id);
        detail = new EpisodeDetailView(m_library, *m_selectedEpisode, *podcast);
    } else if (kind == Kind::podcasts) {
        detail = new PlaceholderView(u"mic"_s, u"No Episode Selected"_s,
                                     u"Choose an episode from the list."_s);
    } else if (m_selectedTrack) {
        auto* trackDetail = new TrackDetailView(m_library, *m_selectedTrack);
        connect(trackDetail, &TrackDetailView::saved, this, [this](const Track& saved) { m_selectedTrack = saved; });
        detail = trackDetail;
    } else if (kind == Kind::music && m_selectedAlbum) {
        auto* albumDetail = new AlbumDetailView(m_library, *m_selectedAlbum);
        connect(albumDetail, &AlbumDetailView::trackActivated, this,
                [this](const Track& track) { setSelectedTrack(track); });
        detail = albumDetail;
    } else if (kind == Kind::music) {
        detail = new PlaceholderView(u"Select a track or album"_s);
    } else if (kind == Kind::library) {
        detail = new QWidget;
    } else {
        detail = new PlaceholderView(u"Select a track"_s);
    }
    while (m_detail->count() > 0) {
        QWidget* old = m_detail->widget(0);
        m_detail->removeWidget(old);
        old->deleteLater();
    }
    m_detail->addWidget(detail);
}

void ContentView::focusSearch()
{
    if (m_content->currentWidget() == m_music)
        m_music->focusSearch();
}

QWidget* ContentView::contentColumn() const
{
    return m_content->currentWidget();
}

QWidget* ContentView::detailColumn() const
{
    return m_detail->currentWidget();
}

void ContentView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    if (!m_hasAppeared) {
        m_hasAppeared = true;
        emit appeared();
    }
}
