#pragma once

#include "app/QuitQuestionPanel.h"
#include "core/FeatureTab.h"

#include <QObject>
#include <QPointer>
#include <QRect>
#include <QString>
#include <QStringList>

#include <functional>

class BackgroundView;
class ImageView;
class KeepAwake;
class QLabel;
class QMenu;
class QParallelAnimationGroup;
class QWidget;
class SideTabButton;
class TitleBarView;

// The one main window: the custom title bar with the banner "top", the vertical bar of four
// feature tabs on the left and the content area, in which exactly one of the four feature
// containers is visible. All four containers and their screens are created at start and live
// until the process ends, so switching tabs never loses what a feature shows. While a
// feature runs a long operation it locks the tabs with canChangeTab(false), and the Mac is
// kept awake.
//
// Closing the window (or quitting) while a tab runs a job asks first; "Stop and Quit" stops the
// job, waits until it has really ended (at most kQuitWaitMs, then every tool still running is
// killed) and then ends the process.
class MainWindowController : public QObject, public FeatureTabHost {
    Q_OBJECT
public:
    // The tabs, top to bottom.
    enum Tab { DiskCopyTab = 0, OSCloneTab = 1, DiskImageTab = 2, DiskManagerTab = 3 };
    static constexpr int kTabCount = 4;
    static constexpr int kRowHeight = 52;
    static constexpr int kSidebarWidth = 220;
    static constexpr int kTitleBarHeight = 60;
    // The area below the title bar: tab bar and feature containers.
    static constexpr int kBodyWidth = 880;
    static constexpr int kBodyHeight = 500;
    static constexpr int kQuitWaitMs = 15000;

    explicit MainWindowController(QObject* parent = nullptr);
    ~MainWindowController() override;

    QWidget* window() const { return aWindow; }
    // Centres the window on its screen and shows it.
    void showWindow();
    // Shows the window in front of the others (a later copy of the program asked for it).
    void bringToFront();

    // The lock a feature sets while it works: false ignores tab clicks until it is true again.
    void canChangeTab(bool allowed) override;
    bool isTabChangeAllowed() const { return m_canChangeTab; }
    // The job a tab runs, if any.
    FeatureTab::Job runningJob() const;

    // The tab actions.
    void TopCloneButtonAction();
    void BootableButtonAction();
    void TopDmgButtonAction();
    void TopDiskToolButtonAction();

    // Moves the highlight, animated, to a row's origin (x, y), y counted upwards from the
    // bottom of the tab bar as the rows' origins are given.
    void setTabFrame(int x, int y);
    // The close button and quitting: ends the process with status 0, at once when no tab runs a
    // job, otherwise once the user has answered the quit question with "Stop and Quit" and the
    // job has stopped.
    void closeWindow();
    // The quit question while it shows.
    QuitQuestionPanel* quitQuestion() const { return m_quitQuestion; }
    // "Stop and Quit" was chosen: the process ends once the job has stopped.
    bool isQuitting() const { return m_quitting; }

    // Puts a feature's screen into its container, filling it, in place of the container's
    // title. Each add...View calls it once its feature's screen exists.
    void installFeature(int tab, QWidget* view);

    void setMenu(QMenu* menu);

    int currentTab() const { return m_currentTab; }
    SideTabButton* tabButton(int tab) const;
    QWidget* container(int tab) const;
    QWidget* featureView(int tab) const;
    ImageView* selectBgImage() const { return m_selectBgImage; }
    TitleBarView* titleBarView() const { return m_titleBarView; }
    QLabel* titleLabel() const { return m_titleLabel; }
    // Where the highlight rests on a tab's row, in tab bar coordinates.
    QRect highlightFrameForTab(int tab) const;
    static QString tabText(int tab);

    // How closing ends the process; tests put a recorder here.
    void setProcessExit(std::function<void(int)> exitProcess) { m_exitProcess = std::move(exitProcess); }

    // Development aid: shows each tab in turn, saves the window as "<n>-<tab>.png" in a host
    // folder, then returns to the tab that was shown. Answers the files written.
    QStringList saveTabScreenshots(const QString& hostFolder);

Q_SIGNALS:
    void tabChanged(int tab);
    // The window is closing and the process ends next: features stop their work at once.
    void windowWillClose();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // Building the window, once, from the constructor, in this order.
    void windowDidLoad();
    void addWindowTitle();
    void addBaseView();
    void addDmgView();
    void addDiskToolView();
    void addBootableView();

    void addPlaceholder(int tab);
    void addTab(int tab, QWidget* view, FeatureTab* feature);
    FeatureTab* busyTab() const;
    void stopAndQuit();
    void endProcess();
    void tabAction(int tab);
    void showTab(int tab);

    QWidget* aWindow = nullptr;
    TitleBarView* m_titleBarView = nullptr;
    QLabel* m_titleLabel = nullptr;
    BackgroundView* m_tabBar = nullptr;
    ImageView* m_selectBgImage = nullptr;
    QParallelAnimationGroup* m_highlightAnimation = nullptr;
    // Tab buttons, top to bottom.
    SideTabButton* tab_diskclone = nullptr;
    SideTabButton* tab_bootable = nullptr;
    SideTabButton* tab_createImage = nullptr;
    SideTabButton* tab_disktool = nullptr;
    // The content containers, stacked in the same place.
    QWidget* diskCopyView = nullptr;
    QWidget* bootableView = nullptr;
    QWidget* dmgView = nullptr;
    QWidget* diskTool = nullptr;
    // The features' screens; null until a feature's screen is installed.
    QPointer<QWidget> diskCopyVC;
    QPointer<QWidget> bootableVC;
    QPointer<QWidget> dmgVC;
    QPointer<QWidget> repairDiskVC;
    FeatureTab* m_features[kTabCount] = {};
    bool m_canChangeTab = true;
    int m_currentTab = DiskCopyTab;
    KeepAwake* m_keepAwake = nullptr;
    QPointer<QuitQuestionPanel> m_quitQuestion;
    bool m_quitting = false;
    std::function<void(int)> m_exitProcess;
};
