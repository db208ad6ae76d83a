#pragma once

#include "SidebarItem.h"
#include "disc/DiscMonitor.h"

#include <QStringList>
#include <QWidget>

#include <optional>

class QListWidget;
class QListWidgetItem;

// The first column: Music, Playlists, Podcasts, Devices, Maintenance, then one "CD Rip" row
// per inserted disc or opened disc image.
class SidebarView : public QWidget {
    Q_OBJECT

public:
    explicit SidebarView(QWidget* parent = nullptr);

    std::optional<SidebarItem> selection() const;
    void setSelection(const std::optional<SidebarItem>& item);
    // Replaces the "CD Rip" rows; a selected disc that is still there stays selected.
    void setDiscs(const QList<DiscInfo>& discs);

    // The small ring of progress on the rows of one kind, in 0...1; none takes it away.
    void setProgress(SidebarItem::Kind kind, std::optional<double> fraction);
    std::optional<double> progress(SidebarItem::Kind kind) const;

    // Rows in order, for tests and accessibility: the text of each.
    QStringList rowTexts() const;

signals:
    void selectionChanged(const std::optional<SidebarItem>& item);

private:
    void addRow(const SidebarItem& item, const QString& text, const QString& iconName);
    static SidebarItem itemOf(const QListWidgetItem* row);

    QListWidget* m_list;
};
