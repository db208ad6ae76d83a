#pragma once

#include "facade/Library.h"

#include <QObject>
#include <QUrl>

#include <memory>

// Decides between onboarding and the main window, and makes the one Library.
class AppCoordinator : public QObject {
    Q_OBJECT

public:
    // Reads "isOnboarded" and "libraryRootPath"; with both, opens the library at once.
    explicit AppCoordinator(QObject* parent = nullptr);
    ~AppCoordinator() override;

    Library* library() const { return m_library.get(); }
    bool isOnboarded() const { return m_isOnboarded; }
    // The main window shows only with both: a lost root path leads back to onboarding.
    bool showsMainContent() const { return m_isOnboarded && m_library; }

    // Writes the three settings, creates the folder (a failure is not reported: the library
    // then starts with a root that does not exist) and opens the library.
    void completeOnboarding(const QUrl& rootURL, bool copyFiles);

signals:
    void stateChanged();

private:
    std::unique_ptr<Library> m_library;
    bool m_isOnboarded = false;
};
