#include "EpisodeRow.h"

#include "CircularProgress.h"
#include "facade/Library.h"
#include "library/DisplayText.h"
#include "widgets/Icons.h"

#include <QContextMenuEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QPainter>
#include <QPointer>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int dotSide = 8;

QPixmap dot(const QColor& colour)
{
    QPixmap pixmap(dotSide, dotSide);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    painter.drawEllipse(QRectF(0, 0, dotSide, dotSide));
    return pixmap;
}

QToolButton* iconButton(const QString& icon, const QString& help, QWidget* parent)
{
    auto* button = new QToolButton(parent);
    button->setIcon(Icons::symbol(icon));
    button->setAutoRaise(true);
    if (!help.isEmpty())
        button->setToolTip(help);
    button->setAccessibleName(help.isEmpty() ? u"Download"_s : help);
    return button;
}

} // namespace

void downloadDroppingError(Library& library, const QUuid& episodeID)
{
    const auto run = [](QPointer<Library> target, QUuid id) -> QCoro::Task<> {
        try {
            if (target)
                co_await target->downloadEpisode(id);
        } catch (const std::exception&) {
        }
    };
    run(&library, episodeID);
}

Episode liveEpisode(const Library& library, const Episode& given)
{
    for (const Episode& episode : library.episodes()) {
        if (episode.id == given.id)
            return episode;
    }
    return given;
}

EpisodeRow::EpisodeRow(Library& library, const Episode& episode, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_episode(episode)
    , m_dot(new QLabel(this))
    , m_title(new QLabel(this))
    , m_date(new QLabel(this))
    , m_status(new QStackedWidget(this))
    , m_download(iconButton(u"arrow.down.circle"_s, {}, this))
    , m_ring(new CircularProgress(this))
    , m_downloaded(new QLabel(this))
    , m_retry(iconButton(u"exclamationmark.circle.fill"_s, u"Retry download"_s, this))
{
    m_dot->setFixedSize(dotSide, dotSide);
    m_date->setForegroundRole(QPalette::PlaceholderText);
    m_downloaded->setPixmap(Icons::symbol(u"checkmark.circle"_s).pixmap(16));
    m_downloaded->setAccessibleName(u"Downloaded"_s);
    m_status->addWidget(m_download);
    m_status->addWidget(m_ring);
    m_status->addWidget(m_downloaded);
    m_status->addWidget(m_retry);
    m_status->setFixedSize(24, 24);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(0);
    texts->addWidget(m_title);
    texts->addWidget(m_date);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(6, 3, 6, 3);
    layout->addWidget(m_dot, 0, Qt::AlignVCenter);
    layout->addLayout(texts, 1);
    layout->addWidget(m_status);

    connect(m_download, &QToolButton::clicked, this, &EpisodeRow::download);
    connect(m_retry, &QToolButton::clicked, this, &EpisodeRow::download);
    refresh();
}

void EpisodeRow::refresh()
{
    m_episode = liveEpisode(m_library, m_episode);
    QColor colour = palette().color(QPalette::PlaceholderText);
    colour.setAlphaF(0.3);
    m_dot->setPixmap(dot(m_episode.isPlayed ? colour : palette().color(QPalette::Highlight)));
    m_title->setText(m_episode.title);
    m_title->setToolTip(m_episode.title);
    m_date->setText(dateText());
    switch (m_episode.downloadState) {
    case DownloadState::notDownloaded: m_status->setCurrentWidget(m_download); break;
    case DownloadState::downloading:
        m_ring->setValue(m_library.downloadProgress().value(m_episode.id, 0.0));
        m_status->setCurrentWidget(m_ring);
        break;
    case DownloadState::downloaded: m_status->setCurrentWidget(m_downloaded); break;
    case DownloadState::failed: m_status->setCurrentWidget(m_retry); break;
    }
}

QString EpisodeRow::dateText() const
{
    QString text = QLocale().toString(m_episode.publishDate.toDateTime().toLocalTime().date(), QLocale::ShortFormat);
    if (m_episode.duration > 0)
        text += u"  ·  "_s + DisplayText::formatDuration(m_episode.duration);
    return text;
}

QWidget* EpisodeRow::statusControl() const
{
    return m_status->currentWidget();
}

void EpisodeRow::fillMenu(QMenu& menu)
{
    const QUuid id = m_episode.id;
    const bool played = m_episode.isPlayed;
    connect(menu.addAction(played ? u"Mark as Unplayed"_s : u"Mark as Played"_s), &QAction::triggered, this,
            [this, id, played] { m_library.markPlayed(id, !played); });
    if (m_episode.downloadState == DownloadState::downloaded)
        connect(menu.addAction(u"Delete file"_s), &QAction::triggered, this, [this, id] { m_library.deleteLocalFile(id); });
}

void EpisodeRow::contextMenuEvent(QContextMenuEvent* event)
{
    QMenu menu;
    fillMenu(menu);
    menu.exec(event->globalPos());
}

void EpisodeRow::download()
{
    downloadDroppingError(m_library, m_episode.id);
}
