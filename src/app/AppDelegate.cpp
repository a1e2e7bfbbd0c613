#include "app/AppDelegate.h"

#include "app/AboutWindow.h"
#include "app/MainWindowController.h"
#include "core/ConsoleLog.h"
#include "core/QvPublicUtilities.h"
#include "platform/gui/SingleInstance.h"
#include "update/QvCheckUpdateWindowController.h"

#include <QAction>
#include <QDesktopServices>
#include <QDialog>
#include <QGuiApplication>
#include <QMenu>
#include <QMenuBar>
#include <QScreen>
#include <QSessionManager>
#include <QUrl>

namespace {

constexpr char kBundleIdentifier[] = "com.kelvaro.clone";

// The maker's other pages: plain links without logic.
constexpr char kProductsUrl[] = "https://www.kelvaro.com/products/";

AppDelegate::UpdateWindowFactory& updateWindowFactory() {
    static AppDelegate::UpdateWindowFactory factory = [](QWidget* parent) -> QDialog* {
        return new QvCheckUpdateWindowController(parent);
    };
    return factory;
}

} // namespace

AppDelegate::AppDelegate(QObject* parent) : QObject(parent) {}

AppDelegate::~AppDelegate() = default;

void AppDelegate::setUpdateWindowFactory(UpdateWindowFactory factory) {
    updateWindowFactory() = std::move(factory);
}

bool AppDelegate::checkAppDuplicateAndBringToFrontWithBundle(const QString& bundleIdentifier) {
    m_instance = std::make_unique<SingleInstance>(bundleIdentifier);
    return m_instance->checkAndClaim();
}

bool AppDelegate::applicationDidFinishLaunching() {
    if (checkAppDuplicateAndBringToFrontWithBundle(QString::fromLatin1(kBundleIdentifier))) {
        QvConsoleLog("Tavrill is already running: asked it to come to the front");
        return false;
    }
    m_mainWindow = std::make_unique<MainWindowController>();
    connect(m_instance.get(), &SingleInstance::bringToFrontRequested, m_mainWindow.get(),
            &MainWindowController::bringToFront);
    buildMenus();
    // Logging out while a job runs: the log-out waits, and the quit question asks what to do.
    connect(qGuiApp, &QGuiApplication::commitDataRequest, this, [this](QSessionManager& manager) {
        if (m_mainWindow->runningJob() == FeatureTab::Job::None)
            return;
        manager.cancel();
        m_mainWindow->closeWindow();
    });
    m_mainWindow->showWindow();
    return true;
}

void AppDelegate::buildMenus() {
    m_menu = std::make_unique<QMenu>(QStringLiteral("Tavrill"));
    QAction* about = m_menu->addAction(tr("About Tavrill"), this, &AppDelegate::aboutMenuItemAction);
    about->setMenuRole(QAction::AboutRole);
    m_menu->addSeparator();
    m_menu->addAction(tr("Tavrill User Guide"), this, &AppDelegate::userGuideMenuItemAction);
    m_menu->addAction(tr("Tavrill Support"), this, &AppDelegate::helpMenuItemAction);
    lineMenuItem = m_menu->addSeparator();
    checkUpMenuItem =
        m_menu->addAction(tr("Check for Updates\u2026"), this, &AppDelegate::checkUpdateMenuItemAction);
    checkUpMenuItem->setMenuRole(QAction::ApplicationSpecificRole);
    checkUpMenuItem->setEnabled(bool(updateWindowFactory()));
    m_menu->addSeparator();
    QMenu* more = m_menu->addMenu(tr("More from Kelvaro"));
    more->addAction(tr("Kelvaro Home Page"), this,
                    [] { openUrl(QvLinkUrl::GetUrl(QStringLiteral("HomePage"))); });
    more->addAction(tr("All Kelvaro Apps\u2026"), this, [] { openUrl(QString::fromLatin1(kProductsUrl)); });
    more->addAction(tr("Contact the Support Team"), this,
                    [] { openUrl(QvLinkUrl::GetUrl(QStringLiteral("SupportTeam"))); });
    m_menu->addSeparator();
    QAction* quit = m_menu->addAction(tr("Quit Tavrill"), this, &AppDelegate::quitMenuItemAction);
    m_quitMenuItem = quit;
    quit->setShortcut(QKeySequence::Quit);
    quit->setMenuRole(QAction::QuitRole);

    // Where the system has a global menu bar the menu goes there; elsewhere the title bar's
    // menu button opens it.
    m_menuBar = std::make_unique<QMenuBar>();
    m_menuBar->addMenu(m_menu.get());
    if (!m_menuBar->isNativeMenuBar()) {
        m_menuBar.reset();
        m_mainWindow->setMenu(m_menu.get());
        m_mainWindow->window()->addAction(quit);
    }
}

void AppDelegate::runModal(QDialog* window) {
    if (QScreen* screen = QGuiApplication::primaryScreen()) {
        QRect frame = window->frameGeometry();
        frame.moveCenter(screen->availableGeometry().center());
        window->move(frame.topLeft());
    }
    // The quit shortcut works in a modal window too.
    if (m_quitMenuItem)
        window->addAction(m_quitMenuItem);
    Q_EMIT modalWindowOpened(window);
    window->exec();
    delete window;
}

void AppDelegate::aboutMenuItemAction() {
    runModal(new AboutWindow(m_mainWindow ? m_mainWindow->window() : nullptr));
}

void AppDelegate::userGuideMenuItemAction() {
    openUrl(QvLinkUrl::GetUrl(QStringLiteral("OnlineHelp")));
}

void AppDelegate::helpMenuItemAction() {
    openUrl(QvLinkUrl::GetUrl(QStringLiteral("Support")));
}

void AppDelegate::checkUpdateMenuItemAction() {
    const UpdateWindowFactory& factory = updateWindowFactory();
    if (!factory)
        return;
    QDialog* window = factory(m_mainWindow ? m_mainWindow->window() : nullptr);
    if (!window)
        return;
    m_updateWindow = qobject_cast<QvCheckUpdateWindowController*>(window);
    if (m_updateWindow && m_mainWindow)
        m_updateWindow->setTerminateHandler([this] { m_mainWindow->closeWindow(); });
    runModal(window);
}

void AppDelegate::quitMenuItemAction() {
    // An open update window fades out first and then ends the program itself.
    if (m_updateWindow && !m_updateWindow->applicationShouldTerminate())
        return;
    if (m_mainWindow)
        m_mainWindow->closeWindow();
}

void AppDelegate::openUrl(const QString& url) {
    if (!url.isEmpty())
        QDesktopServices::openUrl(QUrl(url));
}
