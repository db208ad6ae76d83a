#include "PodcastSyncSettingsSheet.h"

#include "PodcastDisplay.h"
#include "facade/Library.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

PodcastSyncSettingsSheet::PodcastSyncSettingsSheet(Library& library, const Podcast& podcast, QWidget* parent)
    : QDialog(parent)
    , m_library(library)
    , m_podcastID(podcast.id)
    , m_autoRule(podcast.autoDownloadRule == PodcastAutoDownloadRule::none() ? PodcastAutoDownloadRule::latestN(3)
                                                                             : podcast.autoDownloadRule)
    , m_switch(new QCheckBox(u"Automatically download new episodes"_s, this))
    , m_rule(new QToolButton(this))
    , m_ruleRow(new QWidget(this))
{
    setWindowTitle(u"Sync Settings"_s);
    auto* podcastSection = new QGroupBox(u"Podcast"_s, this);
    auto* title = new QLabel(podcast.title, podcastSection);
    title->setWordWrap(true);
    (new QVBoxLayout(podcastSection))->addWidget(title);

    auto* menu = new QMenu(m_rule);
    for (const PodcastAutoDownloadRule& rule : PodcastDisplay::offeredRules())
        connect(menu->addAction(PodcastDisplay::ruleText(rule)), &QAction::triggered, this,
                [this, rule] { setAutoRule(rule); });
    m_rule->setMenu(menu);
    m_rule->setPopupMode(QToolButton::InstantPopup);
    m_rule->setToolButtonStyle(Qt::ToolButtonTextOnly);
    auto* ruleLayout = new QHBoxLayout(m_ruleRow);
    ruleLayout->setContentsMargins(0, 0, 0, 0);
    ruleLayout->addWidget(new QLabel(u"Rule"_s, m_ruleRow));
    ruleLayout->addStretch(1);
    ruleLayout->addWidget(m_rule);

    auto* autoSection = new QGroupBox(u"Auto-download"_s, this);
    auto* autoLayout = new QVBoxLayout(autoSection);
    autoLayout->addWidget(m_switch);
    autoLayout->addWidget(m_ruleRow);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel | QDialogButtonBox::Save, this);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(podcastSection);
    layout->addWidget(autoSection);
    layout->addStretch(1);
    layout->addWidget(buttons);

    connect(m_switch, &QCheckBox::toggled, m_ruleRow, &QWidget::setVisible);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(buttons, &QDialogButtonBox::accepted, this, &PodcastSyncSettingsSheet::save);
    m_switch->setChecked(podcast.autoDownloadRule != PodcastAutoDownloadRule::none());
    m_ruleRow->setVisible(m_switch->isChecked());
    setAutoRule(m_autoRule);
}

bool PodcastSyncSettingsSheet::autoEnabled() const
{
    return m_switch->isChecked();
}

void PodcastSyncSettingsSheet::setAutoRule(const PodcastAutoDownloadRule& rule)
{
    m_autoRule = rule;
    m_rule->setText(PodcastDisplay::ruleText(rule));
}

void PodcastSyncSettingsSheet::save()
{
    m_library.updatePodcastAutoDownload(m_podcastID, autoEnabled() ? m_autoRule : PodcastAutoDownloadRule::none());
    accept();
}
