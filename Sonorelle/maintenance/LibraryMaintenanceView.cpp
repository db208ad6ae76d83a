#include "LibraryMaintenanceView.h"

#include "DuplicatesPanel.h"
#include "LoudnessPanel.h"
#include "facade/Library.h"
#include "widgets/Icons.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QScrollArea>
#include <QStyle>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

LibraryMaintenanceView::LibraryMaintenanceView(Library& library, Confirmation confirm, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_confirm(std::move(confirm))
    , m_sections(new QVBoxLayout)
    , m_remove(new QPushButton(this))
    , m_reportBox(new QFrame(this))
    , m_reportLines(new QVBoxLayout)
    , m_status(new QLabel(this))
{
    auto* header = new QLabel(u"Maintenance"_s, this);
    QFont headerFont = header->font();
    headerFont.setPointSizeF(headerFont.pointSizeF() * 1.6);
    headerFont.setBold(true);
    header->setFont(headerFont);
    auto* subtitle = new QLabel(u"Scan, organize, and clean up your library."_s, this);
    subtitle->setEnabled(false);

    m_scan = addAction(u"Scan & Reconcile"_s,
                       u"Scan the music folder and merge changes (added, moved/renamed, and edited files) into the "
                       u"library without losing track identity or playlist membership. Missing files are reported but "
                       u"not removed until you confirm."_s,
                       u"Scan & Reconcile"_s);
    auto* reportLayout = new QVBoxLayout(m_reportBox);
    reportLayout->setContentsMargins(12, 4, 0, 4);
    reportLayout->addLayout(m_reportLines);
    reportLayout->addWidget(m_remove, 0, Qt::AlignLeft);
    m_reportBox->setVisible(false);
    m_sections->addWidget(m_reportBox);
    m_organize = addAction(u"Organize Files"_s,
                           u"Moves every track's file into the canonical Artist/Album/Track layout under the library "
                           u"root. Files already in the right place are left alone."_s,
                           u"Organize Files"_s);
    m_fetchArtwork = addAction(u"Fetch Missing Artwork"_s,
                               u"Looks up and attaches cover art for tracks that don't have any, as long as the track "
                               u"has an album name. Skips tracks that already have artwork."_s,
                               u"Fetch Missing Artwork"_s);
    m_refetchArtwork = addAction(u"Re-fetch All Artwork"_s,
                                 u"Force re-fetches and overwrites artwork for every track, even ones that already have "
                                 u"it. Useful after a bad artwork source wrote wrong covers — this uses the same "
                                 u"verified-match pipeline as the other artwork actions."_s,
                                 u"Re-fetch All Artwork"_s);
    m_prune = addAction(u"Prune Playlist Gaps"_s, u"Removes references to deleted tracks from every playlist."_s,
                        u"Prune Playlist Gaps"_s);

    auto* duplicatesHeading = new QLabel(u"Find Duplicates"_s, this);
    QFont bold = duplicatesHeading->font();
    bold.setBold(true);
    duplicatesHeading->setFont(bold);
    auto* duplicatesText = new QLabel(u"Listens to every track and groups the ones that sound alike, whatever their "
                                      u"tags say: the same song in another format or bit rate. Nothing is deleted "
                                      u"without asking."_s,
                                      this);
    duplicatesText->setWordWrap(true);
    duplicatesText->setEnabled(false);
    m_duplicates = new DuplicatesPanel(library, m_confirm, this);
    auto* duplicatesSection = new QVBoxLayout;
    duplicatesSection->setContentsMargins(0, 8, 0, 8);
    duplicatesSection->addWidget(duplicatesHeading);
    duplicatesSection->addWidget(duplicatesText);
    duplicatesSection->addWidget(m_duplicates);
    m_sections->addLayout(duplicatesSection);
    connect(m_duplicates, &DuplicatesPanel::showInSongs, this, &LibraryMaintenanceView::showInSongs);

    auto* loudnessHeading = new QLabel(u"Analyse Loudness"_s, this);
    loudnessHeading->setFont(bold);
    auto* loudnessText = new QLabel(u"Measures how loud each track and each album sounds and writes ReplayGain tags, "
                                    u"so that players can play them at one level. Tracks that carry the tags already "
                                    u"are skipped; a damaged file is named and left as it is."_s,
                                    this);
    loudnessText->setWordWrap(true);
    loudnessText->setEnabled(false);
    m_loudness = new LoudnessPanel(library, this);
    auto* loudnessSection = new QVBoxLayout;
    loudnessSection->setContentsMargins(0, 8, 0, 8);
    loudnessSection->addWidget(loudnessHeading);
    loudnessSection->addWidget(loudnessText);
    loudnessSection->addWidget(m_loudness);
    m_sections->addLayout(loudnessSection);

    m_status->setWordWrap(true);
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->addWidget(header);
    column->addWidget(subtitle);
    column->addSpacing(12);
    column->addLayout(m_sections);
    column->addWidget(m_status);
    column->addStretch();
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(content);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(scroll);

    connect(m_scan, &QPushButton::clicked, this, [this] { scanAndReconcile(); });
    connect(m_organize, &QPushButton::clicked, this, [this] { organizeFiles(); });
    connect(m_fetchArtwork, &QPushButton::clicked, this, [this] { fetchMissingArtwork(); });
    connect(m_refetchArtwork, &QPushButton::clicked, this, [this] { refetchAllArtwork(); });
    connect(m_prune, &QPushButton::clicked, this, &LibraryMaintenanceView::prunePlaylistGaps);
    connect(m_remove, &QPushButton::clicked, this, [this] { removeMissingTracks(); });
    setStatus(QString());
}

QPushButton* LibraryMaintenanceView::addAction(const QString& title, const QString& description, const QString& button)
{
    auto* section = new QWidget(this);
    auto* heading = new QLabel(title, section);
    QFont bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);
    auto* text = new QLabel(description, section);
    text->setWordWrap(true);
    text->setEnabled(false);
    // "&" would mark a keyboard shortcut in a button's text.
    auto* action = new QPushButton(QString(button).replace(u'&', u"&&"_s), section);
    auto* layout = new QVBoxLayout(section);
    layout->setContentsMargins(0, 8, 0, 8);
    layout->addWidget(heading);
    layout->addWidget(text);
    layout->addWidget(action, 0, Qt::AlignLeft);
    m_sections->addWidget(section);
    return action;
}

QString LibraryMaintenanceView::status() const
{
    return m_status->text();
}

void LibraryMaintenanceView::setStatus(const QString& status)
{
    m_status->setText(status);
    m_status->setVisible(!status.isEmpty());
}

void LibraryMaintenanceView::setRunning(bool running)
{
    m_isRunning = running;
    for (QPushButton* action : {m_scan, m_organize, m_fetchArtwork, m_refetchArtwork, m_prune, m_remove})
        action->setEnabled(!running);
}

QCoro::Task<> LibraryMaintenanceView::scanAndReconcile()
{
    if (m_isRunning)
        co_return;
    QPointer<LibraryMaintenanceView> self(this);
    setRunning(true);
    m_scan->setText(u"Scanning…"_s);
    QString status;
    try {
        m_report = co_await m_library.reconcile(false);
        status = u"Scan complete."_s;
    } catch (const std::exception& error) {
        status = u"Scan failed: "_s + QString::fromUtf8(error.what());
    }
    if (!self)
        co_return;
    m_scan->setText(u"Scan && Reconcile"_s);
    setRunning(false);
    setStatus(status);
    showReport();
}

QCoro::Task<> LibraryMaintenanceView::organizeFiles()
{
    if (m_isRunning)
        co_return;
    QPointer<LibraryMaintenanceView> self(this);
    setRunning(true);
    co_await m_library.organizeLibrary();
    if (!self)
        co_return;
    setRunning(false);
    setStatus(u"Files organized."_s);
}

QCoro::Task<> LibraryMaintenanceView::fetchMissingArtwork()
{
    if (m_isRunning)
        co_return;
    co_await runArtworkPass(false);
}

QCoro::Task<> LibraryMaintenanceView::refetchAllArtwork()
{
    if (m_isRunning)
        co_return;
    const ConfirmationRequest request{
        .title = u"Re-fetch artwork for all "_s + QString::number(m_library.tracks().size()) + u" tracks?"_s,
        .message = u"This overwrites the artwork currently embedded on every track, including ones that already look "
                   u"correct. This can't be undone."_s,
        .confirmButton = u"Re-fetch All Artwork"_s,
    };
    if (!m_confirm(this, request))
        co_return;
    co_await runArtworkPass(true);
}

QCoro::Task<> LibraryMaintenanceView::runArtworkPass(bool everyTrack)
{
    QPointer<LibraryMaintenanceView> self(this);
    setRunning(true);
    setStatus(everyTrack ? u"Looking up artwork…"_s : u"Looking for tracks without artwork…"_s);
    const auto progress = [self](const Library::ArtworkProgress& step) {
        if (self)
            self->showArtworkProgress(step.albumsDone, step.albumCount);
    };
    QString status;
    try {
        if (everyTrack) {
            const Library::MissingArtworkSummary summary = co_await m_library.refreshAllArtwork(progress);
            status = u"Re-fetched artwork for %1 of %2 tracks."_s.arg(summary.fetchedCount).arg(summary.totalMissing);
        } else {
            const Library::MissingArtworkSummary summary = co_await m_library.fetchMissingArtwork(progress);
            status = summary.totalMissing == 0 ? u"No tracks were missing artwork."_s
                                               : u"Found artwork for %1 of %2 tracks."_s.arg(summary.fetchedCount)
                                                     .arg(summary.totalMissing);
        }
    } catch (const std::exception& error) {
        status = u"Fetching artwork failed: "_s + QString::fromUtf8(error.what());
    }
    if (!self)
        co_return;
    setRunning(false);
    setStatus(status);
}

void LibraryMaintenanceView::showArtworkProgress(qsizetype albumsDone, qsizetype albumCount)
{
    setStatus(u"Looking up artwork: %1 of %2 albums…"_s.arg(albumsDone).arg(albumCount));
}

void LibraryMaintenanceView::prunePlaylistGaps()
{
    if (m_isRunning)
        return;
    m_library.prunePlaylistReferences();
    setStatus(u"Removed dangling playlist entries."_s);
}

QCoro::Task<> LibraryMaintenanceView::removeMissingTracks()
{
    if (m_isRunning || !m_report)
        co_return;
    const qsizetype missing = m_report->removedCandidates.size();
    const qsizetype referenced = m_report->removedReferenced.size();
    const ConfirmationRequest request{
        .title = u"Remove "_s + QString::number(missing) + u" tracks whose files are missing?"_s,
        .message = referenced > 0
                       ? QString::number(referenced) + u" are referenced by playlists and will be removed from them too."_s
                       : u"This cannot be undone."_s,
        .confirmButton = u"Remove Missing Tracks"_s,
        .destructive = true,
    };
    if (!m_confirm(this, request))
        co_return;
    QPointer<LibraryMaintenanceView> self(this);
    setRunning(true);
    QString status;
    try {
        m_report = co_await m_library.reconcile(true);
        status = u"Reconcile complete."_s;
    } catch (const std::exception& error) {
        status = u"Scan failed: "_s + QString::fromUtf8(error.what());
    }
    if (!self)
        co_return;
    setRunning(false);
    setStatus(status);
    showReport();
}

QStringList LibraryMaintenanceView::reportLines() const
{
    QStringList lines;
    if (!m_report)
        return lines;
    const ReconcileReport& r = *m_report;
    if (!r.hasChanges()) {
        lines.append(u"Library is in sync."_s);
        return lines;
    }
    const auto count = [&lines](const QList<Track>& list, const QString& what) {
        if (!list.isEmpty())
            lines.append(QString::number(list.size()) + what);
    };
    count(r.added, u" added"_s);
    count(r.moved, u" moved/renamed"_s);
    count(r.updated, u" metadata updated"_s);
    count(r.removedCandidates, u" missing on disk"_s);
    if (!r.removedReferenced.isEmpty() && !r.removalsApplied)
        lines.append(QString::number(r.removedReferenced.size())
                     + u" of the missing tracks are still used in playlists — removing them will drop them from those "
                       u"playlists."_s);
    if (r.removalsApplied)
        lines.append(u"Removals applied."_s);
    return lines;
}

void LibraryMaintenanceView::showReport()
{
    while (QLayoutItem* item = m_reportLines->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (const QString& line : reportLines()) {
        auto* label = new QLabel(line, m_reportBox);
        label->setWordWrap(true);
        if (!m_report->hasChanges()) {
            auto* row = new QWidget(m_reportBox);
            auto* mark = new QLabel(row);
            mark->setPixmap(Icons::symbol(u"checkmark.circle"_s)
                                .pixmap(16, 16));
            auto* rowLayout = new QHBoxLayout(row);
            rowLayout->setContentsMargins(0, 0, 0, 0);
            rowLayout->addWidget(mark);
            rowLayout->addWidget(label, 1);
            m_reportLines->addWidget(row);
            continue;
        }
        m_reportLines->addWidget(label);
    }
    const bool offerRemoval = m_report && !m_report->removedCandidates.isEmpty() && !m_report->removalsApplied;
    m_remove->setText(offerRemoval ? u"Remove "_s + QString::number(m_report->removedCandidates.size())
                                         + u" Missing Tracks…"_s
                                   : QString());
    m_remove->setVisible(offerRemoval);
    m_reportBox->setVisible(m_report.has_value());
}
