#include "BenchSupport.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

#include <cstring>

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    if (argc == 3 && (std::strcmp(argv[1], loadStoreArgument) == 0 || std::strcmp(argv[1], scanFolderArgument) == 0))
        return runMeasuredChild(QString::fromLocal8Bit(argv[1]), QString::fromLocal8Bit(argv[2]));
    if (argc == 3 && std::strcmp(argv[1], ripImageArgument) == 0)
        return runRipChild(QString::fromLocal8Bit(argv[2]));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
