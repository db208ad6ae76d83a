#include "Icons.h"

#include <QApplication>
#include <QHash>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QStringList>
#include <QStyle>

using namespace Qt::StringLiterals;

namespace Icons {

namespace {

struct Mapping {
    QStringList themeNames;
    QStyle::StandardPixmap fallback;
};

const QHash<QString, Mapping>& mappings()
{
    static const QHash<QString, Mapping> table{
        {u"music.note"_s, {{u"audio-x-generic"_s, u"audio-x-generic-symbolic"_s}, QStyle::SP_MediaVolume}},
        {u"music.note.list"_s,
         {{u"view-media-playlist"_s, u"media-playlist-repeat"_s, u"view-list-symbolic"_s}, QStyle::SP_FileDialogListView}},
        {u"mic"_s,
         {{u"audio-input-microphone"_s, u"audio-input-microphone-symbolic"_s, u"microphone-sensitivity-high"_s},
          QStyle::SP_MediaVolume}},
        {u"externaldrive"_s, {{u"drive-removable-media"_s, u"drive-harddisk"_s}, QStyle::SP_DriveHDIcon}},
        {u"wrench.and.screwdriver"_s,
         {{u"applications-system"_s, u"preferences-system"_s, u"emblem-system-symbolic"_s}, QStyle::SP_ComputerIcon}},
        {u"opticaldisc"_s, {{u"media-optical-audio"_s, u"drive-optical"_s, u"drive-optical-symbolic"_s}, QStyle::SP_DriveCDIcon}},
        {u"folder.badge.plus"_s, {{u"folder-new"_s, u"folder-new-symbolic"_s}, QStyle::SP_FileDialogNewFolder}},
        {u"magnifyingglass"_s, {{u"edit-find"_s, u"edit-find-symbolic"_s}, QStyle::SP_FileDialogContentsView}},
        {u"checkmark.circle"_s, {{u"emblem-default"_s, u"object-select-symbolic"_s}, QStyle::SP_DialogApplyButton}},
        {u"flag"_s, {{u"emblem-important"_s, u"emoji-flags-symbolic"_s, u"bookmark-new"_s}, QStyle::SP_MessageBoxInformation}},
        {u"exclamationmark.triangle"_s, {{u"dialog-warning"_s, u"dialog-warning-symbolic"_s}, QStyle::SP_MessageBoxWarning}},
        {u"wand.and.sparkles"_s, {{u"system-run"_s, u"starred"_s, u"emblem-favorite"_s}, QStyle::SP_FileDialogDetailedView}},
        {u"house"_s, {{u"folder-music"_s, u"user-home"_s}, QStyle::SP_DirHomeIcon}},
        {u"plus"_s, {{u"list-add"_s, u"list-add-symbolic"_s}, QStyle::SP_FileDialogNewFolder}},
        {u"trash"_s, {{u"edit-delete"_s, u"user-trash"_s}, QStyle::SP_TrashIcon}},
        {u"square.and.arrow.up"_s, {{u"document-export"_s, u"document-save-as"_s, u"document-send"_s}, QStyle::SP_DialogSaveButton}},
        {u"pencil"_s, {{u"document-edit"_s, u"edit-rename"_s, u"document-edit-symbolic"_s}, QStyle::SP_FileDialogDetailedView}},
        {u"gearshape"_s, {{u"preferences-system"_s, u"emblem-system-symbolic"_s, u"configure"_s}, QStyle::SP_ComputerIcon}},
        {u"waveform"_s, {{u"audio-x-generic"_s, u"multimedia-volume-control"_s, u"audio-volume-high"_s}, QStyle::SP_MediaVolume}},
        {u"arrow.clockwise"_s, {{u"view-refresh"_s, u"view-refresh-symbolic"_s}, QStyle::SP_BrowserReload}},
        {u"arrow.down.circle"_s, {{u"document-save"_s, u"folder-download"_s, u"go-down"_s}, QStyle::SP_ArrowDown}},
        {u"checkmark.circle.fill"_s, {{u"emblem-ok-symbolic"_s, u"emblem-default"_s}, QStyle::SP_DialogApplyButton}},
        {u"questionmark.circle"_s,
         {{u"dialog-question"_s, u"help-about"_s, u"dialog-question-symbolic"_s}, QStyle::SP_MessageBoxQuestion}},
        {u"exclamationmark.triangle.fill"_s,
         {{u"dialog-warning"_s, u"dialog-warning-symbolic"_s}, QStyle::SP_MessageBoxWarning}},
        {u"info.circle"_s,
         {{u"dialog-information"_s, u"dialog-information-symbolic"_s}, QStyle::SP_MessageBoxInformation}},
        {u"exclamationmark.circle.fill"_s, {{u"dialog-error"_s, u"dialog-error-symbolic"_s}, QStyle::SP_MessageBoxCritical}},
        {u"exclamationmark.arrow.circlepath"_s, {{u"view-refresh"_s, u"dialog-error"_s}, QStyle::SP_BrowserReload}},
        {u"mic.badge.plus"_s, {{u"audio-input-microphone"_s, u"list-add"_s}, QStyle::SP_MediaVolume}},
        {u"mic.slash"_s, {{u"microphone-sensitivity-muted"_s, u"audio-input-microphone-muted"_s}, QStyle::SP_MediaVolumeMuted}},
        {u"plus.circle.fill"_s, {{u"list-add"_s, u"list-add-symbolic"_s}, QStyle::SP_DialogYesButton}},
        {u"chevron.left"_s, {{u"go-previous"_s, u"go-previous-symbolic"_s}, QStyle::SP_ArrowBack}},
        {u"chevron.right"_s, {{u"go-next"_s, u"go-next-symbolic"_s}, QStyle::SP_ArrowForward}},
        {u"externaldrive.fill"_s, {{u"drive-removable-media"_s, u"drive-harddisk"_s}, QStyle::SP_DriveHDIcon}},
        {u"externaldrive.badge.xmark"_s,
         {{u"drive-removable-media-symbolic"_s, u"media-eject"_s, u"drive-harddisk"_s}, QStyle::SP_DriveNetIcon}},
        {u"eject"_s, {{u"media-eject"_s, u"media-eject-symbolic"_s}, QStyle::SP_ArrowUp}},
        {u"plus.circle"_s, {{u"list-add"_s, u"list-add-symbolic"_s}, QStyle::SP_DialogYesButton}},
        {u"minus.circle"_s, {{u"list-remove"_s, u"list-remove-symbolic"_s}, QStyle::SP_DialogNoButton}},
        {u"chevron.down"_s, {{u"go-down"_s, u"pan-down-symbolic"_s}, QStyle::SP_ArrowDown}},
        {u"chevron.up"_s, {{u"go-up"_s, u"pan-up-symbolic"_s}, QStyle::SP_ArrowUp}},
        {u"arrow.triangle.2.circlepath"_s,
         {{u"emblem-synchronizing"_s, u"view-refresh"_s, u"view-refresh-symbolic"_s}, QStyle::SP_BrowserReload}},
    };
    return table;
}

} // namespace

namespace {

// Waiting is neither good nor bad: a hollow circle in the text colour, where themes and styles
// offer only filled or coloured ones.
QIcon hollowCircle()
{
    QPixmap pixmap(32, 32);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor colour = QApplication::palette().color(QPalette::WindowText);
    colour.setAlphaF(0.55);
    painter.setPen(QPen(colour, 2.5));
    painter.drawEllipse(QRectF(5, 5, 22, 22));
    return QIcon(pixmap);
}

} // namespace

QIcon symbol(const QString& name)
{
    if (name == u"circle"_s)
        return hollowCircle();
    const auto mapping = mappings().constFind(name);
    if (mapping == mappings().cend())
        return QIcon::fromTheme(name);
    for (const QString& themeName : mapping->themeNames) {
        if (QIcon::hasThemeIcon(themeName))
            return QIcon::fromTheme(themeName);
    }
    return QApplication::style()->standardIcon(mapping->fallback);
}

void chooseTheme()
{
    if (QIcon::themeName().isEmpty() || QIcon::themeName() == u"hicolor")
        QIcon::setThemeName(u"Adwaita"_s);
}

} // namespace Icons
