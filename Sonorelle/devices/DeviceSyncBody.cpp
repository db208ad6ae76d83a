#include "DeviceSyncBody.h"

#include "DeviceDisplay.h"
#include "widgets/Icons.h"
#include "widgets/VerdictSymbol.h"
#include "widgets/PlaceholderView.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int iconRole = Qt::UserRole;
const QColor addColour(0x2e, 0x7d, 0x32);
const QColor removeColour(0xc6, 0x28, 0x28);

QString fileName(const QUrl& url)
{
    return QFileInfo(url.toLocalFile()).fileName();
}

QListWidgetItem* row(QListWidget* list, const QString& icon, const QString& text)
{
    auto* item = new QListWidgetItem(Icons::symbol(icon), text, list);
    item->setData(iconRole, icon);
    return item;
}

// A run's item by where it stands; screen readers hear its name and the mark's words.
void mark(QListWidgetItem* item, const QString& name, VerdictSymbol symbol)
{
    item->setIcon(VerdictSymbols::icon(symbol));
    item->setData(iconRole, VerdictSymbols::name(symbol));
    item->setData(Qt::AccessibleTextRole, QString(name + u", "_s + VerdictSymbols::words(symbol).toLower()));
}

void heading(QListWidget* list, const QString& title, qsizetype count)
{
    auto* item = new QListWidgetItem(u"%1%2)"_s.arg(title).arg(count), list);
    QFont bold = item->font();
    bold.setBold(true);
    item->setFont(bold);
    item->setFlags(Qt::ItemIsEnabled);
}

QHBoxLayout* spinnerLine(const QString& text, QWidget* parent)
{
    auto* layout = new QHBoxLayout;
    auto* spinner = new QProgressBar(parent);
    spinner->setRange(0, 0);
    spinner->setTextVisible(false);
    spinner->setFixedSize(18, 18);
    auto* label = new QLabel(text, parent);
    layout->addStretch(1);
    layout->addWidget(spinner);
    layout->addWidget(label);
    layout->addStretch(1);
    return layout;
}

void colour(QLabel* label, qint64 count, const QColor& colour)
{
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, count > 0 ? colour : label->parentWidget()->palette().color(QPalette::WindowText));
    label->setPalette(palette);
}

} // namespace

DeviceSyncBody::DeviceSyncBody(QWidget* parent)
    : QWidget(parent)
    , m_pages(new QStackedWidget(this))
    , m_notConnected(new PlaceholderView(u"externaldrive.badge.xmark"_s, QString(),
                                         u"Connect the device to compute changes."_s, this))
    , m_computing(new QWidget(this))
{
    auto* computingLayout = new QVBoxLayout(m_computing);
    computingLayout->addStretch(1);
    computingLayout->addLayout(spinnerLine(u"Computing changes…"_s, m_computing));
    computingLayout->addStretch(2);

    m_ready = makeReadyPage();
    m_syncing = makeSyncingPage();
    m_finished = makeEndPage(m_finishedLine, m_syncAgain, u"Sync Again"_s);
    m_failed = makeEndPage(m_failedLine, m_retry, u"Retry"_s);
    m_failedLine->setWordWrap(true);

    for (QWidget* page : {static_cast<QWidget*>(m_notConnected), m_computing, m_ready, m_syncing, m_finished, m_failed})
        m_pages->addWidget(page);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_pages);
}

QWidget* DeviceSyncBody::makeReadyPage()
{
    auto* page = new QWidget(this);
    m_toAdd = new QLabel(page);
    m_toRemove = new QLabel(page);
    m_unchanged = new QLabel(page);
    auto* counts = new QHBoxLayout;
    for (QLabel* label : {m_toAdd, m_toRemove, m_unchanged}) {
        QFont font = label->font();
        font.setPointSizeF(font.pointSizeF() * 1.15);
        label->setFont(font);
        counts->addWidget(label);
    }
    counts->addStretch(1);

    m_toggle = new QToolButton(page);
    m_toggle->setCheckable(true);
    m_toggle->setAutoRaise(true);
    m_toggle->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_changes = new QListWidget(page);
    m_changes->setSelectionMode(QAbstractItemView::NoSelection);
    m_changes->setUniformItemSizes(true);
    m_changes->hide();

    auto* layout = new QVBoxLayout(page);
    layout->addLayout(counts);
    layout->addWidget(m_toggle, 0, Qt::AlignLeft);
    layout->addWidget(m_changes, 1);
    layout->addStretch(0);

    const auto showToggle = [this](bool open) {
        m_toggle->setText(open ? u"Hide changes"_s : u"Show changes"_s);
        m_toggle->setIcon(Icons::symbol(open ? u"chevron.up"_s : u"chevron.down"_s));
        if (open)
            fillChanges();
        m_changes->setVisible(open);
    };
    connect(m_toggle, &QToolButton::toggled, this, showToggle);
    showToggle(false);
    return page;
}

QWidget* DeviceSyncBody::makeSyncingPage()
{
    auto* page = new QWidget(this);
    m_syncingLine = new QLabel(page);
    m_progress = new QProgressBar(page);
    m_progress->setTextVisible(false);
    m_currentItem = new QLabel(page);
    m_currentItem->setForegroundRole(QPalette::PlaceholderText);
    m_items = new QListWidget(page);
    m_items->setSelectionMode(QAbstractItemView::NoSelection);
    m_items->setUniformItemSizes(true);
    auto* layout = new QVBoxLayout(page);
    layout->addWidget(m_syncingLine);
    layout->addWidget(m_progress);
    layout->addWidget(m_currentItem);
    layout->addWidget(m_items, 1);
    return page;
}

QWidget* DeviceSyncBody::makeEndPage(QLabel*& line, QPushButton*& button, const QString& buttonText)
{
    auto* page = new QWidget(this);
    line = new QLabel(page);
    line->setAlignment(Qt::AlignCenter);
    button = new QPushButton(buttonText, page);
    connect(button, &QPushButton::clicked, this, &DeviceSyncBody::computeRequested);
    auto* layout = new QVBoxLayout(page);
    layout->addStretch(1);
    const VerdictSymbol symbol = &line == &m_finishedLine ? VerdictSymbol::confirmed : VerdictSymbol::failed;
    auto* icon = new QLabel(page);
    icon->setObjectName(u"endMark"_s);
    icon->setPixmap(VerdictSymbols::icon(symbol).pixmap(40, 40));
    icon->setAccessibleName(VerdictSymbols::words(symbol));
    icon->setProperty("symbol", VerdictSymbols::name(symbol));
    icon->setAlignment(Qt::AlignCenter);
    layout->addWidget(icon);
    layout->addWidget(line);
    layout->addWidget(button, 0, Qt::AlignHCenter);
    layout->addStretch(2);
    return page;
}

void DeviceSyncBody::showState(const SyncControllerState& state, bool connected, const QString& deviceName)
{
    if (const auto* syncing = std::get_if<SyncStates::Syncing>(&state)) {
        showSyncing(*syncing);
        m_pages->setCurrentWidget(m_syncing);
        return;
    }
    m_shownItems.clear();
    if (!connected) {
        m_notConnected->setTitle(u"Connect "_s + deviceName);
        m_pages->setCurrentWidget(m_notConnected);
        return;
    }
    if (const auto* ready = std::get_if<SyncStates::Ready>(&state)) {
        showReady(ready->diff);
        m_pages->setCurrentWidget(m_ready);
    } else if (const auto* finished = std::get_if<SyncStates::Finished>(&state)) {
        m_finishedLine->setText(DeviceDisplay::finishedText(finished->added, finished->removed));
        m_pages->setCurrentWidget(m_finished);
    } else if (const auto* failed = std::get_if<SyncStates::Failed>(&state)) {
        m_failedLine->setText(u"Sync failed — "_s + failed->message);
        m_pages->setCurrentWidget(m_failed);
    } else {
        // Idle only until the diff that follows at once begins.
        m_pages->setCurrentWidget(m_computing);
    }
}

void DeviceSyncBody::showReady(const SyncDiff& diff)
{
    if (m_changesFilled && diff == m_diff && m_pages->currentWidget() == m_ready)
        return;
    m_diff = diff;
    m_changesFilled = false;
    const qint64 adds = diff.toAdd.size() + (diff.podcastChanges ? diff.podcastChanges->toAdd.size() : 0);
    const qint64 removals = diff.toRemove.size() + (diff.podcastChanges ? diff.podcastChanges->toRemove.size() : 0);
    m_toAdd->setText(u"%1 to add"_s.arg(adds));
    m_toRemove->setText(u"%1 to remove"_s.arg(removals));
    m_unchanged->setText(u"%1 unchanged"_s.arg(diff.unchanged));
    colour(m_toAdd, adds, addColour);
    colour(m_toRemove, removals, removeColour);
    if (m_toggle->isChecked())
        fillChanges();
}

void DeviceSyncBody::fillChanges()
{
    if (m_changesFilled)
        return;
    m_changesFilled = true;
    m_changes->clear();
    // Built only when opened: a first sync of a large library lists every track.
    if (!m_diff.toAdd.isEmpty()) {
        heading(m_changes, u"Music to Add ("_s, m_diff.toAdd.size());
        for (const SyncDiff::AddItem& item : std::as_const(m_diff.toAdd)) {
            QString text = item.track.title.isEmpty() ? fileName(item.destinationURL) : item.track.title;
            if (item.needsTranscode())
                text += u"  —  Will "_s + item.action.description();
            row(m_changes, u"plus.circle"_s, text);
        }
    }
    if (!m_diff.toRemove.isEmpty()) {
        heading(m_changes, u"Music to Remove ("_s, m_diff.toRemove.size());
        for (const QUrl& url : std::as_const(m_diff.toRemove))
            row(m_changes, u"minus.circle"_s, fileName(url));
    }
    if (m_diff.podcastChanges && !m_diff.podcastChanges->toAdd.isEmpty()) {
        heading(m_changes, u"Podcast Episodes to Add ("_s, m_diff.podcastChanges->toAdd.size());
        for (const auto& [podcast, episode] : std::as_const(m_diff.podcastChanges->toAdd))
            row(m_changes, u"plus.circle"_s, episode.title.isEmpty() ? u"Episode"_s : episode.title);
    }
    if (m_diff.podcastChanges && !m_diff.podcastChanges->toRemove.isEmpty()) {
        heading(m_changes, u"Podcast Episodes to Remove ("_s, m_diff.podcastChanges->toRemove.size());
        for (const QUrl& url : std::as_const(m_diff.podcastChanges->toRemove))
            row(m_changes, u"minus.circle"_s, fileName(url));
    }
    if (!m_diff.passedOver.isEmpty()) {
        heading(m_changes, u"Links Passed Over, Never Followed ("_s, m_diff.passedOver.size());
        for (const QUrl& url : std::as_const(m_diff.passedOver))
            row(m_changes, u"exclamationmark.triangle"_s, url.toLocalFile());
    }
}

void DeviceSyncBody::showSyncing(const SyncStates::Syncing& syncing)
{
    const SyncEngine::Progress& progress = syncing.progress;
    m_syncingLine->setText(u"Syncing %1 of %2…"_s.arg(progress.completed).arg(progress.total));
    m_progress->setRange(0, int(std::max<qint64>(progress.total, 1)));
    m_progress->setValue(int(std::min(progress.completed, progress.total)));
    m_currentItem->setText(progress.currentItem);

    const bool sameRun = m_shownItems.size() == syncing.items.size()
                         && (m_shownItems.isEmpty() || m_shownItems.constFirst() == syncing.items.constFirst().id);
    if (!sameRun) {
        m_items->clear();
        m_shownItems.clear();
        m_shownDone = 0;
        for (const SyncItem& item : syncing.items) {
            // A removal keeps its minus sign until done; an add waits behind a hollow circle.
            QListWidgetItem* shown = row(m_items, u"minus.circle"_s, item.name);
            if (item.isRemoval)
                shown->setData(Qt::AccessibleTextRole, QString(item.name + u", waiting to be removed"_s));
            else
                mark(shown, item.name, VerdictSymbol::waiting);
            m_shownItems.append(item.id);
        }
    }
    // Items are done from the front, so only the newly done ones change.
    qsizetype done = m_shownDone;
    while (done < syncing.items.size() && syncing.items.at(done).isDone)
        ++done;
    for (qsizetype i = m_shownDone; i < done; ++i) {
        mark(m_items->item(int(i)), syncing.items.at(i).name, VerdictSymbol::confirmed);
    }
    m_shownDone = done;
}

QStringList DeviceSyncBody::texts() const
{
    QStringList result;
    for (const QLabel* label : m_pages->currentWidget()->findChildren<QLabel*>()) {
        if (!label->text().isEmpty() && label->isVisibleTo(m_pages->currentWidget()))
            result.append(label->text());
    }
    return result;
}

namespace {

QStringList rowsOf(const QListWidget* list)
{
    QStringList rows;
    for (int i = 0; i < list->count(); ++i) {
        const QListWidgetItem* item = list->item(i);
        const QString icon = item->data(iconRole).toString();
        rows.append(icon.isEmpty() ? item->text() : icon + u'\t' + item->text());
    }
    return rows;
}

} // namespace

QStringList DeviceSyncBody::changeRows() const
{
    return m_changes->isVisibleTo(m_ready) ? rowsOf(m_changes) : QStringList();
}

QStringList DeviceSyncBody::itemRows() const
{
    return rowsOf(m_items);
}

QPushButton* DeviceSyncBody::againButton() const
{
    if (m_pages->currentWidget() == m_finished)
        return m_syncAgain;
    if (m_pages->currentWidget() == m_failed)
        return m_retry;
    return nullptr;
}
