#pragma once

#include "podcasts/Podcast.h"

#include <QDialog>

class Library;
class QCheckBox;
class QToolButton;
class QWidget;

// Edits a podcast's auto-download rule. Turning the switch off and on again keeps the rule
// last chosen while the sheet is open; only "Save" reaches the library.
class PodcastSyncSettingsSheet : public QDialog {
    Q_OBJECT

public:
    PodcastSyncSettingsSheet(Library& library, const Podcast& podcast, QWidget* parent = nullptr);

    bool autoEnabled() const;
    const PodcastAutoDownloadRule& autoRule() const { return m_autoRule; }
    void setAutoRule(const PodcastAutoDownloadRule& rule);

    QCheckBox* autoSwitch() const { return m_switch; }
    // The "Rule" menu button; its text is the rule's.
    QToolButton* ruleButton() const { return m_rule; }
    QWidget* ruleRow() const { return m_ruleRow; }

    // "Save": the rule when the switch is on, none otherwise.
    void save();

private:
    Library& m_library;
    QUuid m_podcastID;
    PodcastAutoDownloadRule m_autoRule;
    QCheckBox* m_switch;
    QToolButton* m_rule;
    QWidget* m_ruleRow;
};
