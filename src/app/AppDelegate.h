#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <memory>

class MainWindowController;
class QvCheckUpdateWindowController;
class QAction;
class QDialog;
class QMenu;
class QMenuBar;
class QWidget;
class SingleInstance;

// The application's delegate: keeps one copy of the program running, opens the main window
// and answers the application menu.
class AppDelegate : public QObject {
    Q_OBJECT
public:
    explicit AppDelegate(QObject* parent = nullptr);
    ~AppDelegate() override;

    // True when another copy of the program with this bundle identifier runs; that copy has
    // been asked to come to the front. When none runs, this copy becomes the one others find.
    bool checkAppDuplicateAndBringToFrontWithBundle(const QString& bundleIdentifier);

    // Launch. Answers false when another copy runs: the caller ends the process with status 0
    // at once, before any window shows. Otherwise the main window is created, centred and shown.
    bool applicationDidFinishLaunching();

    // Menu actions.
    void aboutMenuItemAction();
    void userGuideMenuItemAction();
    void helpMenuItemAction();
    void checkUpdateMenuItemAction();
    // Quit: as closing the main window (which asks first while a job runs), unless an open update
    // window asks to fade out first.
    void quitMenuItemAction();

    // The update window (the update check's own by default); without one the menu item stays
    // disabled.
    using UpdateWindowFactory = std::function<QDialog*(QWidget* parent)>;
    static void setUpdateWindowFactory(UpdateWindowFactory factory);

    MainWindowController* mainWindowController() const { return m_mainWindow.get(); }
    QMenu* applicationMenu() const { return m_menu.get(); }
    QAction* checkUpMenuItem = nullptr;
    QAction* lineMenuItem = nullptr;

Q_SIGNALS:
    // A modal window of the menu (about, update) is about to run; tests close it from here.
    void modalWindowOpened(QDialog* window);

private:
    void buildMenus();
    void runModal(QDialog* window);
    static void openUrl(const QString& url);

    std::unique_ptr<SingleInstance> m_instance;
    std::unique_ptr<MainWindowController> m_mainWindow;
    std::unique_ptr<QMenu> m_menu;
    std::unique_ptr<QMenuBar> m_menuBar;
    QAction* m_quitMenuItem = nullptr;
    QPointer<QvCheckUpdateWindowController> m_updateWindow;
};
