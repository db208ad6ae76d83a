#include "SyncPrefsView.h"

#include "library/Settings.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>

using namespace Qt::StringLiterals;

SyncPrefsView::SyncPrefsView(QWidget* parent)
    : QWidget(parent)
{
    auto* form = new QFormLayout(this);
    auto* structure = new QComboBox(this);
    structure->setObjectName(u"folderStructure"_s);
    structure->addItem(u"Artist / Album / Track"_s, rawValue(FolderStructure::artistAlbumTrack));
    structure->addItem(u"Mirror Library"_s, rawValue(FolderStructure::mirrorLibrary));
    structure->addItem(u"Flat (all files in root)"_s, rawValue(FolderStructure::flat));
    structure->setCurrentIndex(structure->findData(rawValue(Settings::value(Settings::defaultFolderStructure))));
    connect(structure, &QComboBox::currentIndexChanged, this, [structure] {
        Settings::setRawString(Settings::defaultFolderStructure.name, structure->currentData().toString());
    });
    form->addRow(u"Folder structure"_s, structure);

    const auto toggle = [this, form](const Settings::Key<bool>& key, const QString& text, const QString& name) {
        auto* box = new QCheckBox(text, this);
        box->setObjectName(name);
        box->setChecked(Settings::value(key));
        connect(box, &QCheckBox::toggled, this, [key](bool on) { Settings::setValue(key, on); });
        form->addRow(box);
    };
    toggle(Settings::defaultSyncPlaylists, u"Sync playlists"_s, u"syncPlaylists"_s);
    toggle(Settings::defaultSyncPodcasts, u"Sync podcasts"_s, u"syncPodcasts"_s);
}
