#include "MainWindow.h"

#include "AppCoordinator.h"
#include "ContentView.h"
#include "OnboardingView.h"
#include "UpdateCheck.h"
#include "disc/DiscMonitor.h"
#include "library/Library.h"
#include "preferences/PreferencesView.h"

#include <QApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QMenuBar>
#include <QStackedWidget>
#include <QStatusBar>

using namespace Qt::StringLiterals;

MainWindow::MainWindow(AppCoordinator& coordinator, QWidget* parent)
    : QMainWindow(parent)
    , m_coordinator(coordinator)
    , m_screens(new QStackedWidget(this))
    , m_updateCheck(new UpdateCheck(QApplication::applicationVersion(), UpdateCheck::dialogOver(this), this))
{
    setWindowTitle(u"Sonorelle"_s);
    resize(1200, 760);
    setCentralWidget(m_screens);

    QMenu* fileMenu = menuBar()->addMenu(u"&File"_s);
    fileMenu->addAction(u"Open Disc Image…"_s, this, &MainWindow::chooseDiscImage);
    fileMenu->addSeparator();
    QAction* quit = fileMenu->addAction(u"Quit Sonorelle"_s, qApp, &QApplication::quit);
    quit->setShortcut(QKeySequence::Quit);

    QMenu* editMenu = menuBar()->addMenu(u"&Edit"_s);
    QAction* preferences = editMenu->addAction(u"Preferences…"_s, this, [this] { showPreferences(); });
    preferences->setShortcut(QKeySequence(u"Ctrl+,"_s));
    preferences->setMenuRole(QAction::PreferencesRole);

    QMenu* helpMenu = menuBar()->addMenu(u"&Help"_s);
    // A second request while one runs is ignored by the check itself.
    helpMenu->addAction(u"Check for Updates…"_s, this, [this] { m_updateCheck->checkNow(); });
    m_updateCheck->checkAtStart();

    connect(&m_coordinator, &AppCoordinator::stateChanged, this, &MainWindow::showCurrentScreen);
    showCurrentScreen();
}

PreferencesView* MainWindow::showPreferences()
{
    if (!m_preferences) {
        m_preferences = new PreferencesView([this] { m_updateCheck->checkNow(); }, this);
        m_preferences->setAttribute(Qt::WA_DeleteOnClose);
        connect(m_preferences, &QObject::destroyed, this, [this] { m_preferences = nullptr; });
    }
    m_preferences->show();
    m_preferences->raise();
    m_preferences->activateWindow();
    return m_preferences;
}

void MainWindow::setDiscMonitor(DiscMonitor* monitor)
{
    m_discMonitor = monitor;
    if (m_contentView)
        m_contentView->setDiscMonitor(monitor);
}

void MainWindow::chooseDiscImage()
{
    const QString path =
        QFileDialog::getOpenFileName(this, u"Open Disc Image"_s, QString(), u"CUE sheets (*.cue);;All files (*)"_s);
    if (!path.isEmpty())
        openDiscImage(path);
}

void MainWindow::openDiscImage(const QString& sheetPath)
{
    if (!m_discMonitor || !m_contentView)
        return;
    m_discMonitor->addDiscImage(sheetPath);
    m_contentView->setSidebarSelection(SidebarItem::cdRip(QFileInfo(sheetPath).absoluteFilePath()));
}

void MainWindow::showCurrentScreen()
{
    if (m_coordinator.showsMainContent()) {
        if (m_contentView)
            return;
        m_contentView = new ContentView(*m_coordinator.library(), m_screens);
        connect(m_coordinator.library(), &Library::liveUpdatesPartial, this,
                [this](const QString& message) { statusBar()->showMessage(message); });
        // Stays until the next message: the change is kept in memory and saved at the next write.
        connect(m_coordinator.library(), &Library::saveFailed, this,
                [this](const QString& message) { statusBar()->showMessage(message); });
        connect(m_contentView, &ContentView::appeared, this, &MainWindow::contentAppeared);
        if (m_discMonitor)
            m_contentView->setDiscMonitor(m_discMonitor);
        m_screens->addWidget(m_contentView);
        m_screens->setCurrentWidget(m_contentView);
        if (m_onboardingView) {
            m_screens->removeWidget(m_onboardingView);
            m_onboardingView->deleteLater();
            m_onboardingView = nullptr;
        }
        return;
    }
    if (!m_onboardingView) {
        m_onboardingView = new OnboardingView(chooseFolderWithDialog, m_screens);
        connect(m_onboardingView, &OnboardingView::completed, &m_coordinator, &AppCoordinator::completeOnboarding);
        m_screens->addWidget(m_onboardingView);
    }
    m_screens->setCurrentWidget(m_onboardingView);
}
