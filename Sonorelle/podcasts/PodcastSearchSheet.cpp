#include "PodcastSearchSheet.h"

#include "PodcastArtworkLoader.h"
#include "PodcastDisplay.h"
#include "facade/Library.h"
#include "widgets/Icons.h"
#include "widgets/PlaceholderView.h"

#include <QButtonGroup>
#include <QCoro/QCoroTimer>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTimer>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int rowCoverSide = 40;

QString resultDetail(const PodcastSearchResult& result)
{
    QStringList parts;
    if (!result.author.isEmpty())
        parts.append(result.author);
    if (result.episodeCount > 0)
        parts.append(PodcastDisplay::episodeCount(result.episodeCount));
    if (!result.genres.isEmpty())
        parts.append(result.genres.constFirst());
    return parts.join(u" · "_s);
}

} // namespace

PodcastSearchSheet::PodcastSearchSheet(Library& library, QWidget* parent)
    : QDialog(parent)
    , m_library(library)
    , m_artwork(new PodcastArtworkLoader(96, this))
    , m_pages(new QStackedWidget(this))
    , m_modes(new QButtonGroup(this))
    , m_modePages(new QStackedWidget(this))
    , m_searchField(new QLineEdit(this))
    , m_searching(new QProgressBar(this))
    , m_searchStack(new QStackedWidget(this))
    , m_resultList(new QListWidget(this))
    , m_searchPrompt(new PlaceholderView(u"mic.badge.plus"_s, QString(),
                                         u"Search for a podcast to add it to your library."_s, this))
    , m_noResults(new PlaceholderView(u"magnifyingglass"_s, u"No Results"_s, QString(), this))
    , m_urlField(new QLineEdit(this))
    , m_previewButton(new QPushButton(u"Preview"_s, this))
    , m_urlError(new QLabel(this))
    , m_previewPage(new QWidget(this))
{
    setWindowTitle(u"Add Podcast"_s);
    resize(520, 560);

    auto* modeLine = new QHBoxLayout;
    modeLine->setSpacing(0);
    modeLine->addStretch(1);
    for (const auto& [mode, label] : {std::pair(Mode::search, u"Search"_s), std::pair(Mode::url, u"RSS URL"_s)}) {
        auto* button = new QPushButton(label, this);
        button->setCheckable(true);
        button->setChecked(mode == m_mode);
        m_modes->addButton(button, int(mode));
        modeLine->addWidget(button);
    }
    modeLine->addStretch(1);

    m_searchField->setPlaceholderText(u"Search podcasts…"_s);
    m_searchField->addAction(Icons::symbol(u"magnifyingglass"_s), QLineEdit::LeadingPosition);
    m_searchField->setClearButtonEnabled(true);
    m_searching->setRange(0, 0);
    m_searching->setTextVisible(false);
    m_searching->setMaximumHeight(6);
    m_searching->hide();
    m_resultList->setIconSize(QSize(rowCoverSide, rowCoverSide));
    m_searchStack->addWidget(m_searchPrompt);
    m_searchStack->addWidget(m_resultList);
    m_searchStack->addWidget(m_noResults);
    auto* searchPage = new QWidget(this);
    auto* searchLayout = new QVBoxLayout(searchPage);
    searchLayout->setContentsMargins(0, 0, 0, 0);
    searchLayout->addWidget(m_searchField);
    searchLayout->addWidget(m_searching);
    searchLayout->addWidget(m_searchStack, 1);

    auto* urlPage = new QWidget(this);
    auto* urlLayout = new QVBoxLayout(urlPage);
    urlLayout->setContentsMargins(0, 0, 0, 0);
    auto* hint = new QLabel(u"Paste an RSS feed URL to preview and subscribe to a podcast."_s, urlPage);
    hint->setWordWrap(true);
    m_urlField->setPlaceholderText(u"https://example.com/podcast/feed.xml"_s);
    m_urlError->setWordWrap(true);
    m_urlError->setStyleSheet(u"color: #c0392b"_s);
    m_urlError->hide();
    m_previewButton->setEnabled(false);
    urlLayout->addWidget(hint);
    urlLayout->addWidget(m_urlField);
    urlLayout->addWidget(m_previewButton, 0, Qt::AlignRight);
    urlLayout->addWidget(m_urlError);
    urlLayout->addStretch(1);

    m_modePages->addWidget(searchPage);
    m_modePages->addWidget(urlPage);
    auto* modesPage = new QWidget(this);
    auto* modesLayout = new QVBoxLayout(modesPage);
    modesLayout->setContentsMargins(0, 0, 0, 0);
    modesLayout->addLayout(modeLine);
    modesLayout->addWidget(m_modePages, 1);

    auto* back = new QPushButton(Icons::symbol(u"chevron.left"_s), u"Back"_s, m_previewPage);
    back->setFlat(true);
    auto* previewLayout = new QVBoxLayout(m_previewPage);
    previewLayout->setContentsMargins(0, 0, 0, 0);
    previewLayout->addWidget(back, 0, Qt::AlignLeft);

    m_pages->addWidget(modesPage);
    m_pages->addWidget(m_previewPage);
    auto* cancel = new QPushButton(u"Cancel"_s, this);
    auto* top = new QHBoxLayout;
    top->addWidget(cancel);
    top->addStretch(1);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(m_pages, 1);

    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(back, &QPushButton::clicked, this, &PodcastSearchSheet::popPreview);
    connect(m_modes, &QButtonGroup::idClicked, this, [this](int id) { setMode(Mode(id)); });
    connect(m_searchField, &QLineEdit::textChanged, this, [this](const QString& text) { runSearch(text, ++m_searchGeneration); });
    connect(m_urlField, &QLineEdit::textChanged, this, [this] {
        m_previewButton->setEnabled(!m_urlField->text().trimmed().isEmpty() && !m_isLoadingURL);
    });
    connect(m_urlField, &QLineEdit::returnPressed, this, [this] {
        if (m_previewButton->isEnabled())
            previewURL();
    });
    connect(m_previewButton, &QPushButton::clicked, this, [this] { previewURL(); });
    connect(m_resultList, &QListWidget::itemActivated, this, [this](QListWidgetItem* item) {
        const int row = m_resultList->row(item);
        if (row >= 0 && row < m_results.size())
            choose(m_results.at(row));
    });
    connect(m_resultList, &QListWidget::itemClicked, m_resultList, &QListWidget::itemActivated);
    connect(m_artwork, &PodcastArtworkLoader::coverReady, this, &PodcastSearchSheet::showResults);
    showSearchState();
}

void PodcastSearchSheet::setMode(Mode mode)
{
    m_mode = mode;
    m_modes->button(int(mode))->setChecked(true);
    m_modePages->setCurrentIndex(int(mode));
}

QCoro::Task<> PodcastSearchSheet::runSearch(QString text, quint64 generation)
{
    QPointer<PodcastSearchSheet> self(this);
    if (text.trimmed().isEmpty()) {
        m_results.clear();
        m_isSearching = false;
        showResults();
        co_return;
    }
    QTimer pause;
    pause.setSingleShot(true);
    pause.setTimerType(Qt::PreciseTimer);
    pause.start(searchPause);
    co_await pause;
    if (!self || generation != m_searchGeneration)
        co_return;
    m_isSearching = true;
    showSearchState();
    QList<PodcastSearchResult> found;
    try {
        found = co_await PodcastSearchClient::search(text);
    } catch (const std::exception&) {
        // A failed search is an empty list, without words.
    }
    if (!self || generation != m_searchGeneration)
        co_return;
    m_results = found;
    m_isSearching = false;
    showResults();
}

void PodcastSearchSheet::showResults()
{
    m_resultList->clear();
    for (const PodcastSearchResult& result : m_results) {
        auto* item = new QListWidgetItem(result.title + u'\n' + resultDetail(result), m_resultList);
        const QImage cover = result.artworkURL ? m_artwork->cover(*result.artworkURL) : QImage();
        item->setIcon(cover.isNull() ? Icons::symbol(u"mic"_s)
                                     : QIcon(QPixmap::fromImage(cover.scaled(rowCoverSide, rowCoverSide,
                                                                             Qt::KeepAspectRatio,
                                                                             Qt::SmoothTransformation))));
        item->setToolTip(result.title);
    }
    showSearchState();
}

void PodcastSearchSheet::showSearchState()
{
    m_searching->setVisible(m_isSearching);
    const QString text = m_searchField->text();
    if (text.trimmed().isEmpty()) {
        m_searchStack->setCurrentWidget(m_searchPrompt);
    } else if (m_results.isEmpty() && !m_isSearching) {
        m_noResults->setMessage(u"Check the spelling or try a new search for “"_s + text + u"”."_s);
        m_searchStack->setCurrentWidget(m_noResults);
    } else {
        m_searchStack->setCurrentWidget(m_resultList);
    }
}

QString PodcastSearchSheet::searchPlaceholderText() const
{
    if (m_searchStack->currentWidget() == m_resultList)
        return {};
    auto* placeholder = static_cast<PlaceholderView*>(m_searchStack->currentWidget());
    return placeholder->title().isEmpty() ? placeholder->message() : placeholder->title() + u": "_s + placeholder->message();
}

QString PodcastSearchSheet::urlError() const
{
    return m_urlError->isHidden() ? QString() : m_urlError->text();
}

QCoro::Task<> PodcastSearchSheet::choose(PodcastSearchResult result)
{
    QPointer<PodcastSearchSheet> self(this);
    try {
        const RSSParser::Feed feed = co_await RSSParser::fetch(QUuid::createUuid(), result.feedURL);
        if (self)
            push(feed);
    } catch (const RSSParser::ParseError&) {
        // A hit whose feed cannot be read simply does not open.
    }
}

QCoro::Task<> PodcastSearchSheet::previewURL()
{
    QPointer<PodcastSearchSheet> self(this);
    m_isLoadingURL = true;
    m_previewButton->setEnabled(false);
    m_urlError->hide();
    const QUrl url(m_urlField->text().trimmed(), QUrl::StrictMode);
    std::optional<QString> failure;
    if (!url.isValid() || url.scheme().isEmpty()) {
        failure = u"Invalid URL."_s;
    } else {
        try {
            const RSSParser::Feed feed = co_await RSSParser::fetch(QUuid::createUuid(), url);
            if (self)
                push(feed);
        } catch (const RSSParser::ParseError&) {
            failure = u"Could not load feed. Check the URL and try again."_s;
        }
    }
    if (!self)
        co_return;
    if (failure) {
        m_urlError->setText(*failure);
        m_urlError->show();
    }
    m_isLoadingURL = false;
    m_previewButton->setEnabled(!m_urlField->text().trimmed().isEmpty());
}

void PodcastSearchSheet::push(const RSSParser::Feed& feed)
{
    popPreview();
    m_preview = new PodcastPreviewPanel(m_library, feed.podcast, feed.episodes, m_artwork, m_previewPage);
    m_previewPage->layout()->addWidget(m_preview);
    connect(m_preview, &PodcastPreviewPanel::subscribeRequested, this, [this](const QUrl& feedURL) { subscribe(feedURL); });
    m_pages->setCurrentWidget(m_previewPage);
}

void PodcastSearchSheet::popPreview()
{
    if (m_preview)
        m_preview->deleteLater();
    m_preview = nullptr;
    m_pages->setCurrentIndex(0);
}

QCoro::Task<> PodcastSearchSheet::subscribe(QUrl feedURL)
{
    QPointer<PodcastSearchSheet> self(this);
    if (m_preview)
        m_preview->subscribeButton()->setEnabled(false);
    try {
        co_await m_library.addPodcast(feedURL);
    } catch (const RSSParser::ParseError&) {
        // The sheet closes either way; the list shows whether it worked.
    }
    if (self)
        accept();
}
