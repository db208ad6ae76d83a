#include "AlbumDetailView.h"

#include "TrackMenus.h"
#include "devices/DeviceMenuItems.h"
#include "facade/Library.h"
#include "library/Background.h"
#include "library/DisplayText.h"
#include "widgets/ArtworkView.h"

#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QPointer>
#include <QTreeWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QCoro::Task<> showCover(QPointer<ArtworkView> view, Library& library, AlbumGroup group)
{
    if (group.tracks.isEmpty())
        co_return;
    const Track first = group.tracks.constFirst();
    std::optional<QByteArray> bytes = group.artworkData;
    if (!bytes)
        bytes = co_await library.artworkCache().artwork(first);
    if (!bytes || !view)
        co_return;
    const auto decode = [data = *bytes] { return QImage::fromData(data); };
    const QImage image = co_await Background::run(decode);
    if (view)
        view->setImage(image);
}

} // namespace

AlbumDetailView::AlbumDetailView(Library& library, const AlbumGroup& group, TextPrompt prompt, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_group(group)
    , m_prompt(std::move(prompt))
    , m_artwork(new ArtworkView(180, 8, u"music.note"_s, this))
    , m_rows(new QTreeWidget(this))
{
    auto* album = new QLabel(group.album.isEmpty() ? u"Unknown Album"_s : group.album, this);
    QFont big = album->font();
    big.setPointSizeF(big.pointSizeF() * 1.4);
    big.setBold(true);
    album->setFont(big);
    album->setWordWrap(true);
    auto* artist = new QLabel(group.artist.isEmpty() ? u"Unknown Artist"_s : group.artist, this);
    auto* header = new QVBoxLayout;
    header->addWidget(m_artwork, 0, Qt::AlignHCenter);
    header->addWidget(album, 0, Qt::AlignHCenter);
    header->addWidget(artist, 0, Qt::AlignHCenter);
    if (group.year) {
        auto* year = new QLabel(QString::number(*group.year), this);
        year->setEnabled(false);
        header->addWidget(year, 0, Qt::AlignHCenter);
    }

    m_rows->setColumnCount(4);
    m_rows->setHeaderHidden(true);
    m_rows->setRootIsDecorated(false);
    m_rows->setContextMenuPolicy(Qt::CustomContextMenu);
    m_rows->setSelectionMode(QAbstractItemView::SingleSelection);
    const bool severalDiscs = DisplayText::hasSeveralDiscs(group.tracks);
    for (const Track& track : group.tracks) {
        auto* row = new QTreeWidgetItem(m_rows, {track.trackNumber ? DisplayText::trackNumberText(track, severalDiscs)
                                                                   : QString(),
                                                 track.title, DisplayText::formatDuration(track.duration),
                                                 DisplayText::formatText(track.format)});
        row->setTextAlignment(0, Qt::AlignRight | Qt::AlignVCenter);
        row->setForeground(3, palette().color(QPalette::PlaceholderText));
    }
    m_rows->header()->setStretchLastSection(false);
    m_rows->header()->setSectionResizeMode(1, QHeaderView::Stretch);
    for (int column : {0, 2, 3})
        m_rows->header()->setSectionResizeMode(column, QHeaderView::ResizeToContents);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(header);
    layout->addWidget(m_rows, 1);

    connect(m_rows, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item) {
        emit trackActivated(m_group.tracks.at(m_rows->indexOfTopLevelItem(item)));
    });
    connect(m_rows, &QTreeWidget::customContextMenuRequested, this, [this](const QPoint& position) {
        QTreeWidgetItem* item = m_rows->itemAt(position);
        if (!item)
            return;
        QMenu menu;
        const Track& track = m_group.tracks.at(m_rows->indexOfTopLevelItem(item));
        TrackMenus::addPlaylistSubmenu(menu, m_library, {track.id}, m_prompt, this);
        DeviceMenuItems::addTo(menu, m_library, {track.id});
        menu.exec(m_rows->viewport()->mapToGlobal(position));
    });
    showCover(m_artwork, m_library, m_group);
}
