#include "UiBenchSupport.h"

#include "BenchSupport.h"
#include "facade/Library.h"
#include "facade/LibraryStores.h"
#include "music/MusicView.h"

#include <QApplication>
#include <QDir>
#include <QProcess>

#include <cstdio>

UiBenchStores::UiBenchStores(qsizetype tracks, const QString& parent)
    : m_folder((parent.isEmpty() ? QDir::tempPath() : parent) + QStringLiteral("/sonorelle-bench-XXXXXX"))
{
    for (StoreKind kind : allStoreKinds)
        StoreLocations::setOverride(kind, m_folder.filePath(StoreLocations::relativePath(kind)));
    StoreFile::writeAtomically(libraryJson(), LibraryStores::encodeTracks(generateTracks(tracks)));
}

UiBenchStores::~UiBenchStores()
{
    for (StoreKind kind : allStoreKinds)
        StoreLocations::setOverride(kind, std::nullopt);
}

QString UiBenchStores::libraryJson() const
{
    return StoreLocations::path(StoreKind::library);
}

int showLibraryAndReportPeakMemory(const QString& libraryJson)
{
    QTemporaryDir emptyStores;
    for (StoreKind kind : allStoreKinds)
        StoreLocations::setOverride(kind, emptyStores.filePath(StoreLocations::relativePath(kind)));
    StoreLocations::setOverride(StoreKind::library, libraryJson);
    Library library(QUrl::fromLocalFile(emptyStores.path()));
    MusicView view(library);
    view.resize(1000, 700);
    view.show();
    QApplication::processEvents();
    view.setViewMode(MusicViewMode::songs);
    QApplication::processEvents();
    std::printf("%lld %.1f\n", static_cast<long long>(library.tracks().size()), peakMemoryMiB());
    return 0;
}

double measureUiPeakMemoryMiB(const QString& libraryJson)
{
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(), {QString::fromLatin1(uiMemoryArgument), libraryJson});
    if (!child.waitForFinished(300000))
        return -1;
    const QList<QByteArray> fields = child.readAllStandardOutput().trimmed().split(' ');
    return fields.size() == 2 ? fields.at(1).toDouble() : -1;
}
