#include "MainWindow.h"

#include "AppCoordinator.h"
#include "ContentView.h"
#include "OnboardingView.h"
#include "disc/DiscMonitor.h"
#include "library/Library.h"

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
{
    setWindowTitle(u"Sonorelle"_s);
    resize(1200, 760);
    setCentralWidget(m_screens);

    QMenu* fileMenu = menuBar()->addMenu(u"&File"_s);
    fileMenu->addAction(u"Open Disc Image…"_s, this, &MainWindow::chooseDiscImage);
    fileMenu->addSeparator();
    QAction* quit = fileMenu->addAction(u"Quit Sonorelle"_s, qApp, &QApplication::quit);
    quit->setShortcut(QKeySequence::Quit);

    connect(&m_coordinator, &AppCoordinator::stateChanged, this, &MainWindow::showCurrentScreen);
    showCurrentScreen();
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
