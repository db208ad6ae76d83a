#include "EpisodeDetailView.h"

#include "EpisodeRow.h"
#include "MarkupStripper.h"
#include "facade/Library.h"
#include "library/DisplayText.h"
#include "widgets/Icons.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

EpisodeDetailView::EpisodeDetailView(Library& library, const Episode& episode, const Podcast& podcast, QWidget* parent)
    : QScrollArea(parent)
    , m_library(library)
    , m_episode(episode)
    , m_title(new QLabel)
    , m_podcast(new QLabel(podcast.title))
    , m_date(new QLabel)
    , m_played(new QCheckBox(u"Played"_s))
    , m_section(new QStackedWidget)
    , m_download(new QPushButton(Icons::symbol(u"arrow.down.circle"_s), u"Download"_s))
    , m_downloading(new QWidget)
    , m_progress(new QProgressBar(m_downloading))
    , m_downloaded(new QWidget)
    , m_delete(new QPushButton(u"Delete file"_s, m_downloaded))
    , m_retry(new QPushButton(Icons::symbol(u"exclamationmark.arrow.circlepath"_s), u"Retry"_s))
    , m_notes(new QLabel)
{
    QFont big = m_title->font();
    big.setBold(true);
    big.setPointSizeF(big.pointSizeF() * 1.3);
    m_title->setFont(big);
    m_title->setWordWrap(true);
    m_title->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_podcast->setWordWrap(true);
    m_date->setForegroundRole(QPalette::PlaceholderText);

    m_progress->setTextVisible(false);
    auto* downloadingLayout = new QHBoxLayout(m_downloading);
    downloadingLayout->setContentsMargins(0, 0, 0, 0);
    downloadingLayout->addWidget(m_progress, 1);
    downloadingLayout->addWidget(new QLabel(u"Downloading…"_s, m_downloading));
    auto* mark = new QLabel(m_downloaded);
    mark->setPixmap(Icons::symbol(u"checkmark.circle.fill"_s).pixmap(16));
    auto* downloadedLayout = new QHBoxLayout(m_downloaded);
    downloadedLayout->setContentsMargins(0, 0, 0, 0);
    downloadedLayout->addWidget(mark);
    downloadedLayout->addWidget(new QLabel(u"Downloaded"_s, m_downloaded));
    downloadedLayout->addWidget(m_delete);
    downloadedLayout->addStretch(1);
    for (QWidget* page : {static_cast<QWidget*>(m_download), m_downloading, m_downloaded, static_cast<QWidget*>(m_retry)})
        m_section->addWidget(page);
    m_section->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);

    m_notes->setWordWrap(true);
    m_notes->setTextFormat(Qt::RichText);
    m_notes->setOpenExternalLinks(true);
    m_notes->setTextInteractionFlags(Qt::TextBrowserInteraction);
    m_notes->setAlignment(Qt::AlignLeft | Qt::AlignTop);

    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(16, 16, 16, 16);
    layout->addWidget(m_title);
    layout->addWidget(m_podcast);
    layout->addWidget(m_date);
    layout->addWidget(m_played);
    layout->addWidget(m_section, 0, Qt::AlignLeft);
    layout->addSpacing(8);
    layout->addWidget(m_notes);
    layout->addStretch(1);
    setWidget(page);
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);

    const auto download = [this] { downloadDroppingError(m_library, m_episode.id); };
    connect(m_download, &QPushButton::clicked, this, download);
    connect(m_retry, &QPushButton::clicked, this, download);
    connect(m_delete, &QPushButton::clicked, this, [this] { m_library.deleteLocalFile(m_episode.id); });
    connect(m_played, &QCheckBox::clicked, this, [this](bool played) { m_library.markPlayed(m_episode.id, played); });
    connect(&library, &Library::episodesChanged, this, &EpisodeDetailView::refresh);
    connect(&library, &Library::downloadProgressChanged, this, &EpisodeDetailView::refresh);
    refresh();
    if (!m_episode.episodeDescription.isEmpty())
        showNotes(m_episode.episodeDescription);
}

void EpisodeDetailView::refresh()
{
    m_episode = liveEpisode(m_library, m_episode);
    m_title->setText(m_episode.title);
    QString date = QLocale().toString(m_episode.publishDate.toDateTime().toLocalTime().date(), QLocale::LongFormat);
    if (m_episode.duration > 0)
        date += u"  ·  "_s + DisplayText::formatDuration(m_episode.duration);
    m_date->setText(date);
    m_played->setChecked(m_episode.isPlayed);
    m_played->setIcon(Icons::symbol(m_episode.isPlayed ? u"checkmark.circle.fill"_s : u"circle"_s));
    switch (m_episode.downloadState) {
    case DownloadState::notDownloaded:
        m_download->setText(m_episode.isPlayed ? u"Download again"_s : u"Download"_s);
        m_section->setCurrentWidget(m_download);
        break;
    case DownloadState::downloading: {
        const auto progress = m_library.downloadProgress().constFind(m_episode.id);
        // Without a fraction yet, or left over from a crash, the bar runs indefinitely.
        if (progress == m_library.downloadProgress().constEnd()) {
            m_progress->setRange(0, 0);
        } else {
            m_progress->setRange(0, 1000);
            m_progress->setValue(int(std::lround(std::clamp(*progress, 0.0, 1.0) * 1000)));
        }
        m_section->setCurrentWidget(m_downloading);
        break;
    }
    case DownloadState::downloaded: m_section->setCurrentWidget(m_downloaded); break;
    case DownloadState::failed: m_section->setCurrentWidget(m_retry); break;
    }
}

QCoro::Task<> EpisodeDetailView::showNotes(QString description)
{
    QPointer<EpisodeDetailView> self(this);
    const QString linked = co_await MarkupStripper::linkedTextInBackground(description);
    if (self)
        m_notes->setText(linked);
}

QString EpisodeDetailView::titleText() const
{
    return m_title->text();
}

QString EpisodeDetailView::podcastText() const
{
    return m_podcast->text();
}

QString EpisodeDetailView::dateText() const
{
    return m_date->text();
}

QWidget* EpisodeDetailView::downloadSection() const
{
    return m_section->currentWidget();
}

QString EpisodeDetailView::notesText() const
{
    return m_notes->text();
}
