#include "VelmoApp.h"

VelmoApp::VelmoApp()
    : m_window(m_coordinator)
{
    m_window.setDiscMonitor(&m_discMonitor);
    m_window.setVolumeMonitor(&m_volumeMonitor);
    // The live services start when the main screen first shows, and run until the end.
    connect(&m_window, &MainWindow::contentAppeared, this, [this] {
        if (Library* library = m_coordinator.library())
            library->startWatching();
        m_discMonitor.start();
        m_volumeMonitor.start();
        for (const QString& sheet : std::as_const(m_pendingImages))
            m_window.openDiscImage(sheet);
        m_pendingImages.clear();
    });
}

void VelmoApp::openDiscImages(const QStringList& sheetPaths)
{
    for (const QString& path : sheetPaths) {
        if (path.endsWith(QStringLiteral(".cue"), Qt::CaseInsensitive))
            m_pendingImages.append(path);
    }
}

void VelmoApp::show()
{
    m_window.show();
}
