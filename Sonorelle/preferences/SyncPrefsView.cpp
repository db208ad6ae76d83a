#include "SyncPrefsView.h"

#include "library/DisplayText.h"
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

    // Transcodes kept for the next device with the same settings.
    auto* cacheLimit = new QComboBox(this);
    cacheLimit->setObjectName(u"transcodeCacheLimit"_s);
    constexpr qint64 gib = qint64(1) << 30;
    cacheLimit->addItem(u"Off"_s, qint64(0));
    for (const qint64 size : {gib / 2, gib, 2 * gib, 5 * gib, 10 * gib, 20 * gib})
        cacheLimit->addItem(DisplayText::dataSize(size), size);
    const qint64 limit = Settings::value(Settings::transcodeCacheLimit);
    if (cacheLimit->findData(limit) < 0)
        cacheLimit->addItem(DisplayText::dataSize(limit), limit);
    cacheLimit->setCurrentIndex(cacheLimit->findData(limit));
    connect(cacheLimit, &QComboBox::currentIndexChanged, this, [cacheLimit] {
        Settings::setValue(Settings::transcodeCacheLimit, cacheLimit->currentData().toLongLong());
    });
    form->addRow(u"Transcode cache"_s, cacheLimit);
}
