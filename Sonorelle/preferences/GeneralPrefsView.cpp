#include "GeneralPrefsView.h"

#include "library/Settings.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDesktopServices>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

GeneralPrefsView::GeneralPrefsView(std::function<void()> checkForUpdates, QWidget* parent)
    : QWidget(parent)
{
    auto* layout = new QVBoxLayout(this);

    // The location is chosen once, at first run; here it is only shown and revealed.
    auto* library = new QGroupBox(u"Library"_s, this);
    auto* libraryForm = new QFormLayout(library);
    const std::optional<QString> root = Settings::libraryRootPath();
    auto* location = new QLabel(root.value_or(u"Not set"_s), library);
    location->setObjectName(u"location"_s);
    location->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* reveal = new QPushButton(u"Show in File Manager"_s, library);
    reveal->setObjectName(u"reveal"_s);
    reveal->setEnabled(root.has_value());
    connect(reveal, &QPushButton::clicked, this, [] {
        if (const auto path = Settings::libraryRootPath())
            QDesktopServices::openUrl(QUrl::fromLocalFile(*path));
    });
    auto* locationRow = new QHBoxLayout;
    locationRow->addWidget(location, 1);
    locationRow->addWidget(reveal);
    libraryForm->addRow(u"Location"_s, locationRow);
    layout->addWidget(library);

    auto* import = new QGroupBox(u"Import"_s, this);
    auto* importForm = new QFormLayout(import);
    auto* fileHandling = new QComboBox(import);
    fileHandling->setObjectName(u"fileHandling"_s);
    fileHandling->addItem(u"Move files into library"_s, false);
    fileHandling->addItem(u"Copy files into library"_s, true);
    fileHandling->setCurrentIndex(Settings::value(Settings::copyImportedFiles) ? 1 : 0);
    connect(fileHandling, &QComboBox::currentIndexChanged, this, [fileHandling] {
        Settings::setValue(Settings::copyImportedFiles, fileHandling->currentData().toBool());
    });
    importForm->addRow(u"File handling"_s, fileHandling);
    auto* loudness = new QCheckBox(u"Analyse loudness after importing"_s, import);
    loudness->setObjectName(u"analyseLoudnessAfterImport"_s);
    loudness->setChecked(Settings::value(Settings::analyseLoudnessAfterImport));
    connect(loudness, &QCheckBox::toggled, this,
            [](bool on) { Settings::setValue(Settings::analyseLoudnessAfterImport, on); });
    importForm->addRow(loudness);
    layout->addWidget(import);

    auto* updates = new QGroupBox(u"Updates"_s, this);
    auto* updatesLayout = new QHBoxLayout(updates);
    auto* automatic = new QCheckBox(u"Automatically check for updates"_s, updates);
    automatic->setObjectName(u"automaticUpdates"_s);
    automatic->setChecked(Settings::value(Settings::automaticallyCheckForUpdates));
    connect(automatic, &QCheckBox::toggled, this,
            [](bool on) { Settings::setValue(Settings::automaticallyCheckForUpdates, on); });
    auto* checkNow = new QPushButton(u"Check Now"_s, updates);
    connect(checkNow, &QPushButton::clicked, this, [checkForUpdates] {
        if (checkForUpdates)
            checkForUpdates();
    });
    updatesLayout->addWidget(automatic, 1);
    updatesLayout->addWidget(checkNow);
    layout->addWidget(updates);
    layout->addStretch();
}
