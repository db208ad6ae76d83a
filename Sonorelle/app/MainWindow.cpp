#include "MainWindow.h"

#include "AppCoordinator.h"
#include "ContentView.h"
#include "OnboardingView.h"
#include "UpdateCheck.h"
#include "disc/DiscMonitor.h"
#include "facade/Library.h"
#include "facade/OPMLSubscriptions.h"
#include "library/DisplayText.h"
#include "platform/AtomicFile.h"
#include "preferences/PreferencesView.h"

#include <QApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QMenuBar>
#include <QMessageBox>
#include <QPointer>
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
    fileMenu->addAction(u"Import OPML…"_s, this, [this] { importOPML(); });
    fileMenu->addAction(u"Export OPML…"_s, this, &MainWindow::exportOPML);
    fileMenu->addSeparator();
    QAction* quit = fileMenu->addAction(u"Quit Sonorelle"_s, qApp, &QApplication::quit);
    quit->setShortcut(QKeySequence::Quit);

    QMenu* editMenu = menuBar()->addMenu(u"&Edit"_s);
    QAction* find = editMenu->addAction(u"&Find"_s, this, [this] {
        if (m_contentView)
            m_contentView->focusSearch();
    });
    find->setShortcut(QKeySequence::Find);
    editMenu->addSeparator();
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

void MainWindow::setVolumeMonitor(VolumeMonitor* monitor)
{
    m_volumeMonitor = monitor;
    if (m_contentView)
        m_contentView->setVolumeMonitor(monitor);
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

QCoro::Task<> MainWindow::importOPML()
{
    Library* library = m_coordinator.library();
    const QString path = library ? QFileDialog::getOpenFileName(this, u"Import OPML"_s, QString(),
                                                                u"OPML files (*.opml *.xml);;All files (*)"_s)
                                 : QString();
    if (path.isEmpty())
        co_return;
    QList<OPML::Feed> feeds;
    try {
        feeds = OPML::parseFile(path);
    } catch (const OPML::ParseError& error) {
        QMessageBox::warning(this, u"Import OPML"_s, error.message());
        co_return;
    }
    QPointer<MainWindow> self(this);
    const OPML::ImportReport report = co_await OPML::subscribeAll(*library, feeds);
    if (!self)
        co_return;
    QString text = u"Subscribed to %1; %2 already subscribed."_s.arg(
        DisplayText::counted(report.subscribed.size(), u"podcast"_s)).arg(report.alreadySubscribed);
    for (const auto& [feed, error] : report.failed)
        text += u"\n%1: %2"_s.arg(feed.title.isEmpty() ? feed.url.toString() : feed.title, error.message());
    QMessageBox::information(this, u"Import OPML"_s, text);
}

void MainWindow::exportOPML()
{
    Library* library = m_coordinator.library();
    const QString path = library ? QFileDialog::getSaveFileName(this, u"Export OPML"_s, u"Subscriptions.opml"_s,
                                                                u"OPML files (*.opml)"_s)
                                 : QString();
    if (path.isEmpty())
        return;
    if (const auto failure = AtomicFile::save(path, OPML::write(library->podcasts())))
        QMessageBox::warning(this, u"Export OPML"_s, u"The subscriptions could not be written: %1."_s.arg(*failure));
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
        if (m_volumeMonitor)
            m_contentView->setVolumeMonitor(m_volumeMonitor);
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
