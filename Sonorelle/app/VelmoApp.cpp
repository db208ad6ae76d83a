#include "VelmoApp.h"

VelmoApp::VelmoApp()
    : m_window(m_coordinator)
{
    m_window.setDiscMonitor(&m_discMonitor);
    // The live services start when the main screen first shows, and run until the end.
    connect(&m_window, &MainWindow::contentAppeared, this, [this] {
        if (Library* library = m_coordinator.library())
            library->startWatching();
        m_discMonitor.start();
    });
}

void VelmoApp::show()
{
    m_window.show();
}
