#include "DeviceDetailView.h"

#include "DeviceDisplay.h"
#include "DeviceSyncBody.h"
#include "DeviceSyncController.h"
#include "facade/Library.h"
#include "library/CodePointOrder.h"
#include "sync/VolumeEjector.h"
#include "sync/VolumeMonitor.h"
#include "widgets/Icons.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QPointer>
#include <QPushButton>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int idRole = Qt::UserRole;

QString artistOf(const Track& track)
{
    return track.albumArtist.isEmpty() ? track.artist : track.albumArtist;
}

bool manualOrder(const Track& a, const Track& b)
{
    const QString artistA = artistOf(a), artistB = artistOf(b);
    if (artistA != artistB)
        return CodePointOrder::less(artistA, artistB);
    if (a.album != b.album)
        return CodePointOrder::less(a.album, b.album);
    if (a.discNumber.value_or(0) != b.discNumber.value_or(0))
        return a.discNumber.value_or(0) < b.discNumber.value_or(0);
    return a.trackNumber.value_or(0) < b.trackNumber.value_or(0);
}

bool isOneOf(const SyncControllerState& state, auto... kinds)
{
    return (std::holds_alternative<decltype(kinds)>(state) || ...);
}

} // namespace

DeviceDetailView::DeviceDetailView(Library& library, DeviceSyncController& controller, VolumeMonitor* volumes,
                                   const DeviceProfile& profile, Ejector ejector, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_controller(controller)
    , m_profile(profile)
    , m_ejector(std::move(ejector))
    , m_title(new QLabel(this))
    , m_status(new QLabel(this))
    , m_caption(new QLabel(this))
    , m_connectHint(new QLabel(u"Connect device to compute changes."_s, this))
    , m_ejectMessage(new QLabel(this))
    , m_syncNow(new QPushButton(u"Sync Now"_s, this))
    , m_edit(new QPushButton(u"Edit…"_s, this))
    , m_eject(new QToolButton(this))
    , m_body(new DeviceSyncBody(this))
    , m_tracksSection(new QWidget(this))
    , m_tracks(new QTreeWidget(m_tracksSection))
    , m_noTracks(new QLabel(u"No tracks assigned — right-click tracks or albums in Music to add them."_s, m_tracksSection))
{
    auto* icon = new QLabel(this);
    icon->setPixmap(Icons::symbol(u"externaldrive.fill"_s).pixmap(40, 40));
    QFont titleFont = m_title->font();
    titleFont.setBold(true);
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.3);
    m_title->setFont(titleFont);
    for (QLabel* quiet : {m_status, m_caption, m_connectHint})
        quiet->setForegroundRole(QPalette::PlaceholderText);
    m_caption->setWordWrap(true);
    m_ejectMessage->setWordWrap(true);
    m_ejectMessage->hide();

    m_syncNow->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Return));
    m_syncNow->setDefault(true);
    m_syncNow->setToolTip(u"Sync Now (Ctrl+Return)"_s);
    m_eject->setIcon(Icons::symbol(u"eject"_s));
    m_eject->setToolTip(u"Eject"_s);
    m_eject->setAccessibleName(u"Eject"_s);
    m_eject->setAutoRaise(true);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    texts->addWidget(m_title);
    texts->addWidget(m_status);
    texts->addWidget(m_caption);
    texts->addWidget(m_connectHint);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_syncNow);
    buttons->addWidget(m_edit);
    buttons->addWidget(m_eject);
    auto* header = new QHBoxLayout;
    header->addWidget(icon, 0, Qt::AlignTop);
    header->addLayout(texts, 1);
    header->addLayout(buttons);
    header->setAlignment(buttons, Qt::AlignTop);

    auto* tracksHeading = new QLabel(u"Individual Tracks"_s, m_tracksSection);
    QFont bold = tracksHeading->font();
    bold.setBold(true);
    tracksHeading->setFont(bold);
    m_tracks->setColumnCount(2);
    m_tracks->setHeaderHidden(true);
    m_tracks->setRootIsDecorated(false);
    m_tracks->setContextMenuPolicy(Qt::CustomContextMenu);
    m_tracks->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_tracks->setMaximumHeight(180);
    m_noTracks->setForegroundRole(QPalette::PlaceholderText);
    m_noTracks->setWordWrap(true);
    auto* tracksLayout = new QVBoxLayout(m_tracksSection);
    tracksLayout->setContentsMargins(0, 0, 0, 0);
    tracksLayout->addWidget(tracksHeading);
    tracksLayout->addWidget(m_tracks);
    tracksLayout->addWidget(m_noTracks);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(header);
    layout->addWidget(m_ejectMessage);
    layout->addWidget(m_body, 1);
    layout->addWidget(m_tracksSection);

    connect(m_syncNow, &QPushButton::clicked, this, [this] { m_controller.startSync(m_profile); });
    connect(m_edit, &QPushButton::clicked, this, [this] { emit editRequested(m_profile); });
    connect(m_eject, &QToolButton::clicked, this, [this] { eject(); });
    connect(m_body, &DeviceSyncBody::computeRequested, this, [this] { m_controller.computeDiff(m_profile); });
    connect(&controller, &DeviceSyncController::stateChanged, this, [this] {
        showHeader();
        showBody();
    });
    connect(&library, &Library::deviceProfilesChanged, this, &DeviceDetailView::profilesChanged);
    connect(&library, &Library::tracksChanged, this, &DeviceDetailView::fillIndividualTracks);
    if (volumes)
        connect(volumes, &VolumeMonitor::volumesChanged, this, [this] { reevaluate(false); });
    connect(m_tracks, &QTreeWidget::customContextMenuRequested, this, [this](const QPoint& position) {
        const QTreeWidgetItem* row = m_tracks->itemAt(position);
        if (!row)
            return;
        QMenu menu;
        fillTrackMenu(menu, row->data(0, idRole).toUuid());
        menu.exec(m_tracks->viewport()->mapToGlobal(position));
    });

    fillIndividualTracks();
    reevaluate(controller.lastProfileID() != profile.id);
}

void DeviceDetailView::reevaluate(bool profileChanged)
{
    using namespace SyncStates;
    if (profileChanged && !std::holds_alternative<Syncing>(m_controller.state()))
        m_controller.reset();
    m_connected = DeviceDisplay::isConnected(m_profile);
    const SyncControllerState& state = m_controller.state();
    if (m_connected && isOneOf(state, Idle{}, Ready{}, Finished{}, Failed{}))
        m_controller.computeDiff(m_profile);
    else if (!m_connected && isOneOf(state, Ready{}, Finished{}, Failed{}))
        m_controller.reset();
    showHeader();
    showBody();
}

void DeviceDetailView::profilesChanged()
{
    const auto it = std::ranges::find(m_library.deviceProfiles(), m_profile.id, &DeviceProfile::id);
    if (it == m_library.deviceProfiles().cend() || *it == m_profile)
        return;
    m_profile = *it;
    fillIndividualTracks();
    // What goes onto the device may have changed: the diff on show is the one a sync runs.
    reevaluate(false);
}

void DeviceDetailView::showHeader()
{
    m_title->setText(m_profile.name);
    m_status->setText(DeviceDisplay::connectionText(m_profile));
    m_caption->setText(DeviceDisplay::caption(m_profile));
    m_connectHint->setVisible(!m_connected);
    m_syncNow->setVisible(std::holds_alternative<SyncStates::Ready>(m_controller.state()));
    m_eject->setEnabled(m_connected);
}

void DeviceDetailView::showBody()
{
    m_body->showState(m_controller.state(), m_connected, m_profile.name);
}

QString DeviceDetailView::title() const
{
    return m_title->text();
}

QString DeviceDetailView::status() const
{
    return m_status->text();
}

QString DeviceDetailView::caption() const
{
    return m_caption->text();
}

QString DeviceDetailView::connectHint() const
{
    return m_connectHint->isVisibleTo(this) ? m_connectHint->text() : QString();
}

QString DeviceDetailView::ejectMessage() const
{
    return m_ejectMessage->isVisibleTo(this) ? m_ejectMessage->text() : QString();
}

void DeviceDetailView::fillIndividualTracks()
{
    m_tracksSection->setVisible(m_profile.syncScope == SyncScope::selectedPlaylists);
    m_tracks->clear();
    const QSet<QUuid> assigned(m_profile.manualTrackIDs.cbegin(), m_profile.manualTrackIDs.cend());
    QList<Track> tracks;
    for (const Track& track : m_library.tracks()) {
        if (assigned.contains(track.id))
            tracks.append(track);
    }
    std::stable_sort(tracks.begin(), tracks.end(), manualOrder);
    for (const Track& track : std::as_const(tracks)) {
        const QString title = track.title.isEmpty() ? QFileInfo(track.url.toLocalFile()).completeBaseName() : track.title;
        auto* row = new QTreeWidgetItem(m_tracks, {title, artistOf(track)});
        row->setData(0, idRole, track.id);
    }
    m_tracks->setVisible(!tracks.isEmpty());
    m_noTracks->setVisible(tracks.isEmpty());
}

QStringList DeviceDetailView::individualTrackRows() const
{
    if (m_profile.syncScope != SyncScope::selectedPlaylists)
        return {};
    if (m_tracks->topLevelItemCount() == 0)
        return {m_noTracks->text()};
    QStringList rows;
    for (int i = 0; i < m_tracks->topLevelItemCount(); ++i)
        rows.append(m_tracks->topLevelItem(i)->text(0) + u'\t' + m_tracks->topLevelItem(i)->text(1));
    return rows;
}

void DeviceDetailView::fillTrackMenu(QMenu& menu, const QUuid& trackID)
{
    menu.addAction(Icons::symbol(u"externaldrive.badge.xmark"_s), u"Remove from Device"_s, this,
                   [this, trackID] { m_library.removeTracksFromDevice({trackID}, m_profile.id); });
}

QCoro::Task<> DeviceDetailView::eject()
{
    const DeviceProfile profile = m_profile;
    m_ejectMessage->hide();
    if (m_controller.runningProfileID() == profile.id) {
        m_ejectMessage->setText(VolumeEjector::EjectError::syncing(profile.name).message());
        m_ejectMessage->show();
        co_return;
    }
    QPointer<DeviceDetailView> self(this);
    m_eject->setEnabled(false);
    std::optional<QString> failure;
    try {
        co_await m_ejector(profile.rootPath, profile.name);
    } catch (const VolumeEjector::EjectError& error) {
        failure = error.message();
    }
    if (!self)
        co_return;
    if (failure) {
        m_ejectMessage->setText(*failure);
        m_ejectMessage->show();
    }
    // The volume's departure, when it comes, tells the rest.
    showHeader();
}
