#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

#ifdef SONORELLE_WIDGET_TESTS
#include <QApplication>
using TestApplication = QApplication;
#else
#include <QCoreApplication>
using TestApplication = QCoreApplication;
#endif

int main(int argc, char* argv[])
{
    // Before the application object: Qt reads the XDG folders once.
    TestEnvironment::isolate();
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    TestApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
