#include "VelmoApp.h"

VelmoApp::VelmoApp()
    : m_window(m_coordinator)
{
    // The live services start when the main screen first shows, and run until the end.
    connect(&m_window, &MainWindow::contentAppeared, this, [this] {
        if (Library* library = m_coordinator.library())
            library->startWatching();
    });
}

void VelmoApp::show()
{
    m_window.show();
}
