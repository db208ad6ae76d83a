#pragma once

#include "facade/CDRipController.h"
#include "widgets/VerdictSymbol.h"

#include <QIcon>
#include <QPointer>
#include <QString>
#include <QWidget>

class ArtworkView;
class DiscNamesForm;
class Library;
class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QTreeWidget;
class QVBoxLayout;

// The disc screen: one layout per state of the rip controller, rebuilt at each change. Showing
// it starts the controller on its disc, which keeps what it had when the disc is the same.
class CDRipView : public QWidget {
    Q_OBJECT

public:
    CDRipView(CDRipController& controller, Library& library, const QString& bsdName, QWidget* parent = nullptr);

    const QString& bsdName() const { return m_bsdName; }

    // The name of the symbol a track's status shows; its accessible text carries the words.
    static constexpr int symbolRole = Qt::UserRole + 1;

    // What the screen shows now, for tests and assistive tools.
    QLabel* heading() const { return m_heading; }
    QLabel* message() const { return m_message; }
    // The AccurateRip line of a finished rip; none when no track could be checked.
    QLabel* verification() const { return m_verification; }
    // The CTDB line beside it; none when the setting is off or no track could be checked.
    QLabel* ctdbVerification() const { return m_ctdbVerification; }
    QTreeWidget* trackList() const { return m_tracks; }
    QComboBox* releaseChoice() const { return m_releases; }
    QProgressBar* progressBar() const { return m_progress; }
    ArtworkView* cover() const { return m_cover; }
    // The names of a disc without a release, while it is ready to rip.
    DiscNamesForm* namesForm() const { return m_names; }
    // The buttons shown, by their text.
    QPushButton* button(const QString& text) const;
    QStringList buttonTexts() const;

    // One line of the release choice: title, " (disambiguation)", and "  ·  " with the year and
    // a status other than "Official".
    static QString releaseLabel(const ReleaseMetadata& release);
    // "%d:%02d" of minutes and seconds.
    static QString trackLength(double seconds);

signals:
    // "Eject" was pressed: the owner ejects the disc, then the controller is reset.
    void ejectRequested(const QString& bsdName);
    // "Done": the owner leaves the screen.
    void finished();
    // "Submit to MusicBrainz…": the owner opens the address in the browser.
    void browserRequested(const QUrl& address);

private:
    void rebuild();
    void clearBody();
    void showLookingUp();
    void showLookupFailed(const RipStates::LookupFailed& failed);
    void showReady(const RipStates::Ready& ready);
    // The cover, the names and the choice of a release MusicBrainz gave.
    void addReleaseHeader(const RipStates::Ready& ready);
    // What the library holds already, the track list and the buttons that rip.
    void addReadyActions(const RipStates::Ready& ready);
    void showRipping(const RipStates::Ripping& ripping);
    void showFinished(const RipStates::Finished& state);
    // The summary of a finished rip, above its buttons: the one place its lines are made.
    void addFinishedSummary(const RipStates::Finished& state);
    void addCTDBSummary(const RipStates::Finished& state);
    void showArtwork();
    void addHeading(const QString& symbol, const QString& text);
    QLabel* addLine(const QString& symbol, const QString& text);
    // A line whose mark says how items stand, with the mark's words for screen readers.
    QLabel* addLine(VerdictSymbol symbol, const QString& text);
    QLabel* addIconLine(const QIcon& icon, const QString& iconWords, const QString& text);
    QTreeWidget* addTrackList(const ReleaseMetadata& release, qint64 trackCount);
    void fillTrackStatus(const QList<TrackRipState>& states);
    QPushButton* addButton(const QString& text, QLayout* row);
    void addEjectButton(QLayout* row);
    void eject();

    CDRipController& m_controller;
    Library& m_library;
    QString m_bsdName;
    QVBoxLayout* m_outer;
    QWidget* m_page = nullptr;
    QVBoxLayout* m_body = nullptr;
    QLabel* m_heading = nullptr;
    QLabel* m_message = nullptr;
    QLabel* m_verification = nullptr;
    QLabel* m_ctdbVerification = nullptr;
    QTreeWidget* m_tracks = nullptr;
    QComboBox* m_releases = nullptr;
    QProgressBar* m_progress = nullptr;
    ArtworkView* m_cover = nullptr;
    DiscNamesForm* m_names = nullptr;
    QList<QPushButton*> m_buttons;
};
