#pragma once

#include "AlbumGroup.h"
#include "metadata/ReleaseCandidate.h"

#include <QCoro/QCoroTask>
#include <QDialog>

#include <functional>
#include <optional>

class Library;
class QLabel;
class QListWidget;
class QProgressBar;
class QPushButton;
class QStackedWidget;

// Re-fetching an album's information: the MusicBrainz releases that may be it, and the one
// the user picks overwrites the album's tags and cover. Closes with the sentence that says
// what happened, handed to `onResult`.
class AlbumRefetchSheet : public QDialog {
    Q_OBJECT

public:
    using ResultHandler = std::function<void(const QString& message)>;

    AlbumRefetchSheet(Library& library, AlbumGroup album, ResultHandler onResult, QWidget* parent = nullptr);

    // "Title — Artist", then a line of the year, the comment and the discs or tracks.
    static QString rowText(const ReleaseCandidate& candidate);

    // Runs by itself when the sheet first appears, and again on "Retry".
    QCoro::Task<> search();
    // With the selected release; closes the sheet when done.
    QCoro::Task<> refetch();

    const QList<ReleaseCandidate>& candidates() const { return m_candidates; }
    const std::optional<QString>& selectedID() const { return m_selectedID; }
    bool isSearching() const { return m_isSearching; }
    bool isApplying() const { return m_isApplying; }
    const std::optional<QString>& searchError() const { return m_searchError; }

    QString warningText() const;
    // What stands where the list goes while there is no list: searching, the error, no matches.
    QString stateText() const;
    QListWidget* candidateList() const { return m_list; }
    QPushButton* refetchButton() const { return m_refetch; }
    QPushButton* retryButton() const { return m_retry; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void showState();

    Library& m_library;
    AlbumGroup m_album;
    ResultHandler m_onResult;
    QList<ReleaseCandidate> m_candidates;
    std::optional<QString> m_selectedID;
    bool m_isSearching = false;
    bool m_isApplying = false;
    bool m_hasSearched = false;
    std::optional<QString> m_searchError;

    QLabel* m_warning;
    QStackedWidget* m_pages;
    QLabel* m_searching;
    QLabel* m_error;
    QPushButton* m_retry;
    QLabel* m_empty;
    QListWidget* m_list;
    QProgressBar* m_applying;
    QPushButton* m_cancel;
    QPushButton* m_refetch;
};
