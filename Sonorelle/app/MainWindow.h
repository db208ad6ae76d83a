#pragma once

#include <QMainWindow>

class AppCoordinator;
class ContentView;
class OnboardingView;
class QStackedWidget;

// The one window: onboarding until a library exists, then the three columns.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit MainWindow(AppCoordinator& coordinator, QWidget* parent = nullptr);

    ContentView* contentView() const { return m_contentView; }
    OnboardingView* onboardingView() const { return m_onboardingView; }

signals:
    // Forwarded from ContentView: the main screen is up.
    void contentAppeared();

private:
    void showCurrentScreen();

    AppCoordinator& m_coordinator;
    QStackedWidget* m_screens;
    OnboardingView* m_onboardingView = nullptr;
    ContentView* m_contentView = nullptr;
};
