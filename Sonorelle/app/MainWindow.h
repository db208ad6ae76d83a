#pragma once

#include <QCoro/QCoroTask>
#include <QMainWindow>
#include <QPointer>

class AppCoordinator;
class DiscMonitor;
class ContentView;
class OnboardingView;
class PreferencesView;
class QStackedWidget;
class UpdateCheck;
class VolumeMonitor;

// The one window: onboarding until a library exists, then the three columns.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit MainWindow(AppCoordinator& coordinator, QWidget* parent = nullptr);

    // The discs of the sidebar; "File ▸ Open Disc Image…" adds images to it.
    void setDiscMonitor(DiscMonitor* monitor);
    // The volumes of the device screens.
    void setVolumeMonitor(VolumeMonitor* monitor);
    // Lists the image by its absolute path and selects its row.
    void openDiscImage(const QString& sheetPath);

    ContentView* contentView() const { return m_contentView; }
    // "Edit ▸ Preferences…": one window, brought forward when open already.
    PreferencesView* showPreferences();
    UpdateCheck* updateCheck() const { return m_updateCheck; }
    OnboardingView* onboardingView() const { return m_onboardingView; }

signals:
    // Forwarded from ContentView: the main screen is up.
    void contentAppeared();

private:
    void showCurrentScreen();
    void chooseDiscImage();
    // "File ▸ Import OPML…": subscribes to each feed of another app's list, then says how it went.
    QCoro::Task<> importOPML();
    void exportOPML();

    AppCoordinator& m_coordinator;
    QStackedWidget* m_screens;
    OnboardingView* m_onboardingView = nullptr;
    ContentView* m_contentView = nullptr;
    // Cleared by Qt when the window closes itself, also while this window is being destroyed.
    QPointer<PreferencesView> m_preferences;
    UpdateCheck* m_updateCheck;
    DiscMonitor* m_discMonitor = nullptr;
    VolumeMonitor* m_volumeMonitor = nullptr;
};
