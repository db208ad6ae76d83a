#include "VelmoApp.h"

VelmoApp::VelmoApp()
    : m_window(m_coordinator)
{
}

void VelmoApp::show()
{
    m_window.show();
}
