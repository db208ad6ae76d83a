#pragma once

#include "AppCoordinator.h"
#include "MainWindow.h"
#include "disc/DiscMonitor.h"

#include <QObject>

// The application's long-lived objects, made once for the life of the process.
class VelmoApp : public QObject {
    Q_OBJECT

public:
    VelmoApp();

    void show();

    AppCoordinator& coordinator() { return m_coordinator; }
    MainWindow& window() { return m_window; }
    DiscMonitor& discMonitor() { return m_discMonitor; }

private:
    AppCoordinator m_coordinator;
    DiscMonitor m_discMonitor;
    MainWindow m_window;
};
