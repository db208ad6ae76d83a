#pragma once

#include "PodcastPreviewPanel.h"
#include "podcasts/PodcastSearchClient.h"
#include "podcasts/RSSParser.h"

#include <QCoro/QCoroTask>
#include <QDialog>
#include <QPointer>

#include <chrono>

class Library;
class PlaceholderView;
class PodcastArtworkLoader;
class QButtonGroup;
class QLabel;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;
class QStackedWidget;

// "Add Podcast": finds a podcast in the directory or reads a pasted feed address, previews
// the feed, and subscribes from the preview only.
class PodcastSearchSheet : public QDialog {
    Q_OBJECT

public:
    enum class Mode { search, url };

    // A new keystroke within this time replaces the search before it is sent.
    static constexpr std::chrono::milliseconds searchPause{400};

    explicit PodcastSearchSheet(Library& library, QWidget* parent = nullptr);

    Mode mode() const { return m_mode; }
    void setMode(Mode mode);
    QLineEdit* searchField() const { return m_searchField; }
    QLineEdit* urlField() const { return m_urlField; }
    QPushButton* previewButton() const { return m_previewButton; }
    bool isSearching() const { return m_isSearching; }
    bool isLoadingURL() const { return m_isLoadingURL; }
    const QList<PodcastSearchResult>& results() const { return m_results; }
    QListWidget* resultList() const { return m_resultList; }
    // What the search page shows instead of results, empty while they show.
    QString searchPlaceholderText() const;
    QString urlError() const;
    // The pushed preview, while there is one.
    PodcastPreviewPanel* preview() const { return m_preview; }

    // Reads the hit's feed and previews it; a failure does nothing at all.
    QCoro::Task<> choose(PodcastSearchResult result);
    // "Preview" of the pasted address.
    QCoro::Task<> previewURL();

private:
    QCoro::Task<> runSearch(QString text, quint64 generation);
    void showResults();
    void showSearchState();
    void push(const RSSParser::Feed& feed);
    void popPreview();
    QCoro::Task<> subscribe(QUrl feedURL);

    Library& m_library;
    Mode m_mode = Mode::search;
    QList<PodcastSearchResult> m_results;
    bool m_isSearching = false;
    bool m_isLoadingURL = false;
    // Each keystroke starts a new run; an older run sees the number moved on and gives up.
    quint64 m_searchGeneration = 0;
    PodcastArtworkLoader* m_artwork;
    QStackedWidget* m_pages;
    QButtonGroup* m_modes;
    QStackedWidget* m_modePages;
    QLineEdit* m_searchField;
    QProgressBar* m_searching;
    QStackedWidget* m_searchStack;
    QListWidget* m_resultList;
    PlaceholderView* m_searchPrompt;
    PlaceholderView* m_noResults;
    QLineEdit* m_urlField;
    QPushButton* m_previewButton;
    QLabel* m_urlError;
    QWidget* m_previewPage;
    QPointer<PodcastPreviewPanel> m_preview;
};
