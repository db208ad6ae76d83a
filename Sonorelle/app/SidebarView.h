#pragma once

#include "SidebarItem.h"
#include "disc/DiscMonitor.h"
#include "widgets/VerdictSymbol.h"

#include <QHash>
#include <QStringList>
#include <QWidget>

#include <optional>

class QListWidget;
class QListWidgetItem;
class QToolButton;

// The first column: Music, Playlists, Podcasts, Devices, Maintenance, then one row per
// inserted disc or opened disc image, named by its album once known, else "Audio CD (sr0)",
// with a button that ejects the disc or closes the image.
class SidebarView : public QWidget {
    Q_OBJECT

public:
    explicit SidebarView(QWidget* parent = nullptr);

    std::optional<SidebarItem> selection() const;
    void setSelection(const std::optional<SidebarItem>& item);
    // Replaces the disc rows; a selected disc that is still there stays selected.
    void setDiscs(const QList<DiscInfo>& discs);
    // Names a disc's row by its album; an empty title gives back "Audio CD (…)".
    void setDiscTitle(const QString& bsdName, const QString& title);
    // "Audio CD (sr0)", "Audio CD (disc.cue)".
    static QString discRowText(const QString& bsdName);
    // The eject or close button of a disc's row.
    QToolButton* discButton(const QString& bsdName) const;

    // Rows in order, for tests and accessibility: the text of each.
    QStringList rowTexts() const;

    // A small ring at the row's right end with a value in 0...1; none takes it away.
    void setProgress(const SidebarItem& item, std::optional<double> fraction);
    std::optional<double> progress(const SidebarItem& item) const;
    // How the row's last job ended, at its right end where the ring was; none takes it away.
    // Screen readers hear the row's text with the mark's words.
    void setMark(const SidebarItem& item, std::optional<VerdictSymbol> symbol);
    std::optional<VerdictSymbol> mark(const SidebarItem& item) const;

signals:
    void selectionChanged(const std::optional<SidebarItem>& item);
    // From a disc image's context menu or its row's button.
    void closeDiscImageRequested(const QString& sheetPath);
    // From a drive's row's button.
    void ejectRequested(const QString& bsdName);

private:
    void addRow(const SidebarItem& item, const QString& text, const QString& iconName);
    static SidebarItem itemOf(const QListWidgetItem* row);
    QListWidgetItem* rowOf(const SidebarItem& item) const;
    void showContextMenu(const QPoint& at);
    void addDiscButton(QListWidgetItem* row, const QString& bsdName);

    QListWidget* m_list;
    QHash<QString, QString> m_discTitles;
};
