#include "DemoLibrary.h"
#include "UiBenchSupport.h"

#include <QApplication>

#include <benchmark/benchmark.h>

#include <cstring>

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    if (argc == 3 && std::strcmp(argv[1], uiMemoryArgument) == 0)
        return showLibraryAndReportPeakMemory(QString::fromLocal8Bit(argv[2]));
    if (argc == 4 && std::strcmp(argv[1], demoLibraryArgument) == 0)
        return writeDemoLibrary(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]).toInt());
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
