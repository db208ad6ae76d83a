#include "DuplicatesPanel.h"

#include "facade/Library.h"
#include "library/DisplayText.h"
#include "library/RawValueEnum.h"
#include "library/Settings.h"
#include "widgets/RowWidgets.h"
#include "widgets/VerdictSymbol.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QShortcut>
#include <QSlider>
#include <QTreeWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

enum Column { titleColumn, artistColumn, albumColumn, formatColumn, bitRateColumn, lengthColumn, pathColumn, actionsColumn, columnCount };
constexpr int trackIDRole = Qt::UserRole;

} // namespace

DuplicatesPanel::DuplicatesPanel(Library& library, Confirmation confirm, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_confirm(std::move(confirm))
    , m_threshold(new QSlider(Qt::Horizontal, this))
    , m_thresholdValue(new QLabel(this))
    , m_find(new QPushButton(u"Find Duplicates…"_s, this))
    , m_cancel(new QPushButton(u"Cancel"_s, this))
    , m_progress(new QProgressBar(this))
    , m_status(new QLabel(this))
    , m_results(new QTreeWidget(this))
{
    m_threshold->setRange(50, 100);
    m_threshold->setValue(int(Settings::value(Settings::duplicateThresholdPercent)));
    m_thresholdValue->setText(u"%1"_s.arg(m_threshold->value() / 100.0, 0, 'f', 2));
    auto* thresholdRow = new QHBoxLayout;
    thresholdRow->addWidget(new QLabel(u"Similarity:"_s, this));
    thresholdRow->addWidget(m_threshold, 1);
    thresholdRow->addWidget(m_thresholdValue);
    thresholdRow->addWidget(m_find);
    thresholdRow->addWidget(m_cancel);

    m_results->setColumnCount(columnCount);
    m_results->setHeaderLabels(
        {u"Title"_s, u"Artist"_s, u"Album"_s, u"Format"_s, u"Bit Rate"_s, u"Length"_s, u"Path"_s, QString()});
    m_results->setRootIsDecorated(true);
    m_results->setMinimumHeight(260);
    m_results->header()->setStretchLastSection(false);
    m_results->header()->setSectionResizeMode(pathColumn, QHeaderView::Stretch);
    m_status->setWordWrap(true);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(thresholdRow);
    layout->addWidget(m_progress);
    layout->addWidget(m_status);
    layout->addWidget(m_results);

    connect(m_threshold, &QSlider::valueChanged, this, &DuplicatesPanel::setThresholdPercent);
    connect(m_find, &QPushButton::clicked, this, [this] { findDuplicates(); });
    connect(m_cancel, &QPushButton::clicked, this, &DuplicatesPanel::cancel);
    // The row's buttons by key: Return shows the track in Songs, Delete moves it to the Trash.
    connect(m_results, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem* item) {
        const QUuid id = item->data(titleColumn, trackIDRole).toUuid();
        for (const DuplicateFinder::Group& group : std::as_const(m_groups)) {
            for (const Track& track : group) {
                if (track.id == id && !id.isNull()) {
                    emit showInSongs(track);
                    return;
                }
            }
        }
    });
    auto* trash = new QShortcut(QKeySequence::Delete, m_results, nullptr, nullptr, Qt::WidgetShortcut);
    connect(trash, &QShortcut::activated, this, [this] {
        const QTreeWidgetItem* item = m_results->currentItem();
        if (item && item->parent())
            moveToTrash(item->data(titleColumn, trackIDRole).toUuid());
    });
    setRunning(false);
    m_status->setVisible(false);
    m_results->setVisible(false);
}

int DuplicatesPanel::thresholdPercent() const
{
    return m_threshold->value();
}

void DuplicatesPanel::setThresholdPercent(int percent)
{
    m_threshold->setValue(percent);
    m_thresholdValue->setText(u"%1"_s.arg(m_threshold->value() / 100.0, 0, 'f', 2));
    Settings::setValue(Settings::duplicateThresholdPercent, qint64(m_threshold->value()));
}

QString DuplicatesPanel::status() const
{
    return m_status->text();
}

void DuplicatesPanel::setRunning(bool running)
{
    m_find->setEnabled(!running);
    m_threshold->setEnabled(!running);
    m_cancel->setVisible(running);
    m_progress->setVisible(running);
}

void DuplicatesPanel::cancel()
{
    if (m_cancelled)
        m_cancelled->store(true);
}

QCoro::Task<> DuplicatesPanel::findDuplicates()
{
    if (isRunning())
        co_return;
    QPointer<DuplicatesPanel> self(this);
    DuplicateFinder::Search search;
    search.threshold = float(thresholdPercent()) / 100.0f;
    m_cancelled = search.cancelled;
    search.onProgress = [self](qsizetype done, qsizetype total) {
        if (!self)
            return;
        self->m_progress->setRange(0, int(total));
        self->m_progress->setValue(int(done));
        self->m_progress->setFormat(u"%v of %m files"_s);
    };
    m_passedOver.clear();
    search.onSkipped = [self](const Track& track, const QString& reason) {
        if (self)
            self->m_passedOver.append({track, reason});
    };
    m_progress->setRange(0, int(m_library.tracks().size()));
    m_progress->setValue(0);
    setRunning(true);
    m_status->setVisible(false);
    const std::optional<QList<DuplicateFinder::Group>> found = co_await m_library.findDuplicates(std::move(search));
    if (!self)
        co_return;
    m_cancelled.reset();
    setRunning(false);
    if (found) {
        m_groups = *found;
        QString status = m_groups.isEmpty() ? u"No tracks sound alike."_s
                                            : DisplayText::counted(m_groups.size(), u"group"_s)
                                                  + u" of tracks that sound alike."_s;
        if (!m_passedOver.isEmpty())
            status += u" "_s + DisplayText::counted(m_passedOver.size(), u"file"_s) + u" passed over."_s;
        m_status->setText(status);
        showGroups();
    } else {
        m_status->setText(u"Search cancelled."_s);
    }
    m_status->setVisible(true);
}

QCoro::Task<> DuplicatesPanel::moveToTrash(QUuid trackID)
{
    const auto found = std::find_if(m_library.tracks().cbegin(), m_library.tracks().cend(),
                                    [&trackID](const Track& track) { return track.id == trackID; });
    if (found == m_library.tracks().cend())
        co_return;
    const ConfirmationRequest request{
        .title = u"Move “"_s + QFileInfo(found->path()).fileName() + u"” to the Trash?"_s,
        .message = found->path() + u"\n\nThe track also leaves the library and its playlists."_s,
        .confirmButton = u"Move to Trash"_s,
        .destructive = true,
    };
    if (!m_confirm(this, request))
        co_return;
    try {
        m_library.moveToTrash(trackID);
    } catch (const Library::TrashError& error) {
        m_status->setText(error.message());
        co_return;
    }
    for (DuplicateFinder::Group& group : m_groups)
        group.removeIf([&trackID](const Track& track) { return track.id == trackID; });
    m_groups.removeIf([](const DuplicateFinder::Group& group) { return group.size() < 2; });
    m_status->setText(u"Moved to the Trash."_s);
    showGroups();
}

void DuplicatesPanel::showGroups()
{
    m_results->clear();
    for (const DuplicateFinder::Group& group : std::as_const(m_groups)) {
        auto* parent = new QTreeWidgetItem(m_results);
        parent->setText(titleColumn, group.first().title + u" — "_s + DisplayText::counted(group.size(), u"track"_s));
        parent->setFirstColumnSpanned(true);
        for (const Track& track : group) {
            auto* item = new QTreeWidgetItem(parent);
            item->setData(titleColumn, trackIDRole, track.id);
            item->setText(titleColumn, track.title);
            item->setText(artistColumn, track.artist);
            item->setText(albumColumn, track.album);
            item->setText(formatColumn, rawValue(track.format).toUpper());
            item->setText(bitRateColumn, track.bitrate ? QString::number(*track.bitrate) + u" kbps"_s : QString());
            item->setText(lengthColumn, DisplayText::formatDuration(track.duration));
            item->setText(pathColumn, track.path());
            item->setToolTip(pathColumn, track.path());
            auto* buttons = new QWidget(m_results);
            auto* row = new QHBoxLayout(buttons);
            row->setContentsMargins(0, 0, 0, 0);
            auto* show = new QPushButton(u"Show in Songs"_s, buttons);
            auto* trash = new QPushButton(u"Move to Trash…"_s, buttons);
            row->addWidget(show);
            row->addWidget(trash);
            connect(show, &QPushButton::clicked, this, [this, track] { emit showInSongs(track); });
            const QUuid id = track.id;
            connect(trash, &QPushButton::clicked, this, [this, id] { moveToTrash(id); });
            RowWidgets::keepOutOfTabChain(buttons);
            m_results->setItemWidget(item, actionsColumn, buttons);
        }
    }
    if (!m_passedOver.isEmpty()) {
        auto* parent = new QTreeWidgetItem(m_results);
        parent->setText(titleColumn, u"Passed Over ("_s + QString::number(m_passedOver.size()) + u")"_s);
        parent->setFirstColumnSpanned(true);
        for (const PassedOver& file : std::as_const(m_passedOver)) {
            auto* item = new QTreeWidgetItem(parent);
            item->setIcon(titleColumn, VerdictSymbols::icon(VerdictSymbol::warning));
            item->setText(titleColumn, file.track.path() + u" — "_s + file.reason);
            item->setToolTip(titleColumn, file.reason);
            item->setData(titleColumn, Qt::AccessibleTextRole,
                          QString(file.track.path() + u", passed over: "_s + file.reason));
            item->setFirstColumnSpanned(true);
        }
    }
    m_results->expandAll();
    for (int column = titleColumn; column < pathColumn; ++column)
        m_results->resizeColumnToContents(column);
    m_results->resizeColumnToContents(actionsColumn);
    m_results->setVisible(!m_groups.isEmpty() || !m_passedOver.isEmpty());
}
