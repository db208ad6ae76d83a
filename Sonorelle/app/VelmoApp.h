#pragma once

#include "AppCoordinator.h"
#include "MainWindow.h"
#include "disc/DiscMonitor.h"
#include "sync/VolumeMonitor.h"

#include <QObject>

// The application's long-lived objects, made once for the life of the process.
class VelmoApp : public QObject {
    Q_OBJECT

public:
    VelmoApp();

    void show();
    // CUE sheets given on the command line (the desktop entry passes one): each is opened as
    // a disc image once the main screen is up.
    void openDiscImages(const QStringList& sheetPaths);

    AppCoordinator& coordinator() { return m_coordinator; }
    MainWindow& window() { return m_window; }
    DiscMonitor& discMonitor() { return m_discMonitor; }
    VolumeMonitor& volumeMonitor() { return m_volumeMonitor; }

private:
    AppCoordinator m_coordinator;
    DiscMonitor m_discMonitor;
    VolumeMonitor m_volumeMonitor;
    MainWindow m_window;
    QStringList m_pendingImages;
};
