#pragma once

#include <QString>
#include <QTemporaryDir>

// Stores in a temporary folder, holding a generated library.json, for one benchmark.
class UiBenchStores {
public:
    // The folder is made below `parent`, the system's temporary folder unless given.
    explicit UiBenchStores(qsizetype tracks, const QString& parent = QString());
    ~UiBenchStores();

    QString libraryJson() const;
    QString root() const { return m_folder.path(); }

private:
    QTemporaryDir m_folder;
};

// Memory is measured in a fresh process: the child opens the library, shows the songs table
// and the album grid, and prints its peak resident size.
inline constexpr char uiMemoryArgument[] = "--ui-memory";
int showLibraryAndReportPeakMemory(const QString& libraryJson);
double measureUiPeakMemoryMiB(const QString& libraryJson);
