#include "AlbumRefetchSheet.h"

#include "facade/Library.h"
#include "metadata/MusicBrainzReleaseLookup.h"

#include <QFont>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int idRole = Qt::UserRole + 1;

enum Page { searchingPage, errorPage, emptyPage, listPage };

QLabel* centred(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    return label;
}

} // namespace

AlbumRefetchSheet::AlbumRefetchSheet(Library& library, AlbumGroup album, ResultHandler onResult, QWidget* parent)
    : QDialog(parent)
    , m_library(library)
    , m_album(std::move(album))
    , m_onResult(std::move(onResult))
    , m_warning(new QLabel(this))
    , m_pages(new QStackedWidget(this))
    , m_searching(centred(u"Searching MusicBrainz…"_s, this))
    , m_error(centred(QString(), this))
    , m_retry(new QPushButton(u"Retry"_s, this))
    , m_empty(centred(u"No matches found on MusicBrainz."_s, this))
    , m_list(new QListWidget(this))
    , m_applying(new QProgressBar(this))
    , m_cancel(new QPushButton(u"Cancel"_s, this))
    , m_refetch(new QPushButton(u"Re-fetch"_s, this))
{
    setWindowTitle(u"Re-fetch Album Info"_s);
    resize(560, 480);

    auto* heading = new QLabel(u"Re-fetch Album Info"_s, this);
    QFont headingFont = heading->font();
    headingFont.setPointSizeF(headingFont.pointSizeF() * 1.3);
    headingFont.setBold(true);
    heading->setFont(headingFont);
    auto* subject = new QLabel(u"\""_s + m_album.album + u"\" by "_s + m_album.artist, this);
    subject->setWordWrap(true);
    m_warning->setText(warningText());
    m_warning->setWordWrap(true);

    auto* searchingBox = new QWidget;
    auto* searchingLayout = new QVBoxLayout(searchingBox);
    auto* busy = new QProgressBar(searchingBox);
    busy->setRange(0, 0);
    searchingLayout->addStretch();
    searchingLayout->addWidget(m_searching);
    searchingLayout->addWidget(busy);
    searchingLayout->addStretch();
    auto* errorBox = new QWidget;
    auto* errorLayout = new QVBoxLayout(errorBox);
    errorLayout->addStretch();
    errorLayout->addWidget(m_error);
    errorLayout->addWidget(m_retry, 0, Qt::AlignHCenter);
    errorLayout->addStretch();
    m_pages->insertWidget(searchingPage, searchingBox);
    m_pages->insertWidget(errorPage, errorBox);
    m_pages->insertWidget(emptyPage, m_empty);
    m_pages->insertWidget(listPage, m_list);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setAlternatingRowColors(true);

    m_applying->setRange(0, 0);
    m_applying->setVisible(false);
    m_refetch->setDefault(true);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_applying, 1);
    buttons->addStretch();
    buttons->addWidget(m_cancel);
    buttons->addWidget(m_refetch);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading);
    layout->addWidget(subject);
    layout->addWidget(m_warning);
    layout->addWidget(m_pages, 1);
    layout->addLayout(buttons);

    connect(m_retry, &QPushButton::clicked, this, [this] { search(); });
    connect(m_cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_refetch, &QPushButton::clicked, this, [this] { refetch(); });
    connect(m_list, &QListWidget::currentItemChanged, this, [this](QListWidgetItem* item) {
        m_selectedID = item ? std::optional(item->data(idRole).toString()) : std::nullopt;
        showState();
    });
    m_isSearching = true;
    showState();
}

QString AlbumRefetchSheet::rowText(const ReleaseCandidate& candidate)
{
    return candidate.title + u" — "_s + candidate.artist + u'\n' + candidate.detailText();
}

QString AlbumRefetchSheet::warningText() const
{
    return u"Overwrites title, artist, year, track numbers, disc numbers, and artwork for all "_s
         + QString::number(m_album.tracks.size()) + u" tracks in this album. This can't be undone."_s;
}

QString AlbumRefetchSheet::stateText() const
{
    switch (m_pages->currentIndex()) {
    case searchingPage: return m_searching->text();
    case errorPage: return m_error->text();
    case emptyPage: return m_empty->text();
    default: return {};
    }
}

void AlbumRefetchSheet::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    if (!m_hasSearched) {
        m_hasSearched = true;
        search();
    }
}

QCoro::Task<> AlbumRefetchSheet::search()
{
    if (m_isApplying)
        co_return;
    QPointer<AlbumRefetchSheet> self(this);
    m_isSearching = true;
    m_searchError.reset();
    showState();
    const std::optional<QString> releaseGroupID =
        m_album.tracks.isEmpty() ? std::nullopt : m_album.tracks.constFirst().releaseGroupMBID;
    QList<ReleaseCandidate> found;
    std::optional<QString> failure;
    try {
        found = co_await m_library.searchAlbumReleaseCandidates(m_album.artist, m_album.album, releaseGroupID);
    } catch (const MusicBrainzReleaseLookup::LookupError& error) {
        failure = error.message();
    } catch (const std::exception& error) {
        failure = QString::fromUtf8(error.what());
    }
    if (!self)
        co_return;
    m_isSearching = false;
    m_searchError = failure;
    m_candidates = found;
    m_selectedID.reset();
    m_list->clear();
    for (const ReleaseCandidate& candidate : std::as_const(m_candidates)) {
        auto* item = new QListWidgetItem(rowText(candidate), m_list);
        item->setData(idRole, candidate.id);
        item->setToolTip(candidate.id);
    }
    showState();
}

QCoro::Task<> AlbumRefetchSheet::refetch()
{
    if (!m_selectedID || m_isApplying || m_isSearching)
        co_return;
    QPointer<AlbumRefetchSheet> self(this);
    // The answer reaches its receiver even if the sheet has gone meanwhile.
    const ResultHandler onResult = m_onResult;
    m_isApplying = true;
    showState();
    QString message;
    try {
        const Library::AlbumRefetchSummary summary = co_await m_library.refetchAlbumInfo(m_album.tracks, *m_selectedID);
        message = summary.message();
    } catch (const Library::AlbumRefetchError& error) {
        message = u"Re-fetch failed: "_s + error.message();
    } catch (const std::exception& error) {
        message = u"Re-fetch failed: "_s + QString::fromUtf8(error.what());
    }
    if (onResult)
        onResult(message);
    if (!self)
        co_return;
    m_isApplying = false;
    accept();
}

void AlbumRefetchSheet::showState()
{
    if (m_isSearching)
        m_pages->setCurrentIndex(searchingPage);
    else if (m_searchError)
        m_pages->setCurrentIndex(errorPage);
    else if (m_candidates.isEmpty())
        m_pages->setCurrentIndex(emptyPage);
    else
        m_pages->setCurrentIndex(listPage);
    m_error->setText(m_searchError.value_or(QString()));
    m_list->setEnabled(!m_isApplying);
    m_applying->setVisible(m_isApplying);
    m_cancel->setEnabled(!m_isApplying);
    m_refetch->setEnabled(m_selectedID.has_value() && !m_isApplying && !m_isSearching);
}
