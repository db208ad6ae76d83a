#include "AppCoordinator.h"

#include "library/Settings.h"

#include <QDir>

AppCoordinator::AppCoordinator(QObject* parent)
    : QObject(parent)
    , m_isOnboarded(Settings::value(Settings::isOnboarded))
{
    if (m_isOnboarded) {
        if (const auto root = Settings::libraryRootURL())
            m_library = std::make_unique<Library>(*root);
    }
}

AppCoordinator::~AppCoordinator() = default;

void AppCoordinator::completeOnboarding(const QUrl& rootURL, bool copyFiles)
{
    Settings::setLibraryRootPath(rootURL.toLocalFile());
    Settings::setValue(Settings::copyImportedFiles, copyFiles);
    Settings::setValue(Settings::isOnboarded, true);
    QDir().mkpath(rootURL.toLocalFile());
    m_library = std::make_unique<Library>(rootURL);
    m_isOnboarded = true;
    emit stateChanged();
}
