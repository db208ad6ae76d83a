#include "DeviceSyncView.h"

#include "DeviceDisplay.h"
#include "DeviceSyncController.h"
#include "facade/Library.h"
#include "sync/VolumeMonitor.h"
#include "widgets/Icons.h"
#include "widgets/PlaceholderView.h"
#include "widgets/RowWidgets.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QProgressBar>
#include <QSignalBlocker>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int idRole = Qt::UserRole;
constexpr int statusRole = Qt::UserRole + 1;

QToolButton* plainButton(const QString& icon, const QString& help, QWidget* parent)
{
    auto* button = new QToolButton(parent);
    button->setIcon(Icons::symbol(icon));
    button->setToolTip(help);
    button->setAccessibleName(help);
    button->setAutoRaise(true);
    return button;
}

// The drive's symbol, or a small spinner while it syncs; the name above its status.
QWidget* deviceRow(const QString& name, const QString& status, bool syncing)
{
    auto* row = new QWidget;
    QWidget* mark = nullptr;
    if (syncing) {
        auto* spinner = new QProgressBar(row);
        spinner->setRange(0, 0);
        spinner->setTextVisible(false);
        spinner->setFixedSize(20, 20);
        mark = spinner;
    } else {
        auto* icon = new QLabel(row);
        icon->setPixmap(Icons::symbol(u"externaldrive"_s).pixmap(20, 20));
        icon->setFixedSize(20, 20);
        mark = icon;
    }
    auto* title = new QLabel(name, row);
    auto* state = new QLabel(status, row);
    state->setForegroundRole(QPalette::PlaceholderText);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(0);
    texts->addWidget(title);
    texts->addWidget(state);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(4, 3, 4, 3);
    layout->addWidget(mark);
    layout->addLayout(texts, 1);
    return row;
}

} // namespace

DeviceSyncView::DeviceSyncView(Library& library, DeviceSyncController& controller, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_controller(controller)
    , m_list(new QListWidget(this))
    , m_empty(new PlaceholderView(u"externaldrive"_s, u"No devices yet"_s, QString(), this))
    , m_stack(new QStackedWidget(this))
    , m_add(plainButton(u"plus"_s, u"Add device"_s, this))
    , m_refresh(plainButton(u"arrow.clockwise"_s, u"Refresh"_s, this))
{
    auto* heading = new QLabel(u"Devices"_s, this);
    QFont bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);
    auto* toolbar = new QHBoxLayout;
    toolbar->addWidget(heading, 1);
    toolbar->addWidget(m_add);
    toolbar->addWidget(m_refresh);

    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setContextMenuPolicy(Qt::CustomContextMenu);
    m_list->setFrameShape(QFrame::NoFrame);
    m_stack->addWidget(m_list);
    m_stack->addWidget(m_empty);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 0);
    layout->addLayout(toolbar);
    layout->addWidget(m_stack, 1);

    connect(m_add, &QToolButton::clicked, this, &DeviceSyncView::addRequested);
    connect(m_refresh, &QToolButton::clicked, this, [this] {
        fillList();
        emit refreshRequested();
    });
    connect(&library, &Library::deviceProfilesChanged, this, &DeviceSyncView::fillList);
    connect(&controller, &DeviceSyncController::currentProfileIDChanged, this, &DeviceSyncView::fillList);
    connect(m_list, &QListWidget::itemSelectionChanged, this, [this] {
        const QList<QListWidgetItem*> chosen = m_list->selectedItems();
        setSelectedDeviceID(chosen.isEmpty() ? std::nullopt : std::optional(chosen.constFirst()->data(idRole).toUuid()));
    });
    connect(m_list, &QListWidget::customContextMenuRequested, this, [this](const QPoint& position) {
        const QListWidgetItem* row = m_list->itemAt(position);
        if (!row)
            return;
        QMenu menu;
        fillRowMenu(menu, row->data(idRole).toUuid());
        menu.exec(m_list->viewport()->mapToGlobal(position));
    });
    fillList();
}

void DeviceSyncView::setVolumeMonitor(VolumeMonitor* volumes)
{
    if (volumes)
        connect(volumes, &VolumeMonitor::volumesChanged, this, &DeviceSyncView::fillList);
    fillList();
}

void DeviceSyncView::setSelectedDeviceID(const std::optional<QUuid>& id)
{
    if (m_selectedDeviceID == id)
        return;
    m_selectedDeviceID = id;
    // A run goes on unseen while another device is looked at; going back to it keeps it.
    if (id != m_controller.currentProfileID())
        m_controller.reset();
    {
        const QSignalBlocker blocker(m_list);
        m_list->clearSelection();
        for (int i = 0; i < m_list->count(); ++i) {
            if (id && m_list->item(i)->data(idRole).toUuid() == *id)
                m_list->setCurrentItem(m_list->item(i));
        }
    }
    emit selectedDeviceIDChanged(id);
}

void DeviceSyncView::fillList()
{
    {
        const QSignalBlocker blocker(m_list);
        m_list->clear();
        for (const DeviceProfile& profile : m_library.deviceProfiles()) {
            const bool syncing = m_controller.currentProfileID() == profile.id;
            const QString status = syncing ? u"Syncing"_s : DeviceDisplay::connectionText(profile);
            auto* item = new QListWidgetItem(m_list);
            item->setData(idRole, profile.id);
            item->setData(statusRole, status);
            item->setText(profile.name);
            QWidget* row = deviceRow(profile.name, status, syncing);
            RowWidgets::keepOutOfTabChain(row);
            item->setSizeHint(row->sizeHint());
            // The row widget draws the name; the item keeps it for accessibility and search.
            item->setForeground(Qt::transparent);
            m_list->setItemWidget(item, row);
            if (m_selectedDeviceID == profile.id)
                m_list->setCurrentItem(item);
        }
    }
    m_stack->setCurrentWidget(m_library.deviceProfiles().isEmpty() ? m_empty : m_list);
    if (m_selectedDeviceID && m_list->selectedItems().isEmpty())
        setSelectedDeviceID(std::nullopt);
}

QStringList DeviceSyncView::listTexts() const
{
    if (m_stack->currentWidget() == m_empty)
        return {u"No devices yet"_s};
    QStringList texts;
    for (int i = 0; i < m_list->count(); ++i)
        texts.append(m_list->item(i)->text() + u'\t' + m_list->item(i)->data(statusRole).toString());
    return texts;
}

void DeviceSyncView::fillRowMenu(QMenu& menu, const QUuid& profileID)
{
    menu.addAction(Icons::symbol(u"trash"_s), u"Delete"_s, this, [this, profileID] {
        if (m_selectedDeviceID == profileID)
            setSelectedDeviceID(std::nullopt);
        m_library.deleteDeviceProfile(profileID);
    });
}
