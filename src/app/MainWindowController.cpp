#include "app/MainWindowController.h"

#include "app/QuitQuestionPanel.h"
#include "app/SideTabButton.h"
#include "core/ConsoleLog.h"
#include "diskimage/DmgViewController.h"
#include "diskmanager/RepairDiskViewController.h"
#include "filecopy/DiskCopyViewController.h"
#include "osclone/SelectDrivceViewController.h"
#include "platform/KeepAwake.h"
#include "platform/ToolProcesses.h"
#include "ui/AttachedWindow.h"
#include "ui/BackgroundView.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"
#include "ui/TitleBarView.h"

#include <QDir>
#include <QEvent>
#include <QEventLoop>
#include <QGuiApplication>
#include <QLabel>
#include <QParallelAnimationGroup>
#include <QPropertyAnimation>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

struct TabRow {
    const char* text;
    const char* icon;
    int originY; // the highlight's origin, counted upwards from the bottom of the tab bar
    const char* fileName;
};

// Top to bottom, indexed by MainWindowController::Tab.
constexpr TabRow kRows[MainWindowController::kTabCount] = {
    {"Disk Copy", "ic_disk_icon", 409, "disk-copy"},
    {"OS Clone", "ic_os_main", 357, "os-clone"},
    {"Disk Image Create", "ic_dmg", 305, "disk-image-create"},
    {"Disk Manager", "ic_tool", 253, "disk-manager"},
};

constexpr int kHighlightMs = 200;
// How long a tab may take to fill in before its picture is saved.
constexpr int kScreenshotSettleMs = 1500;
constexpr int kContentWidth = MainWindowController::kBodyWidth - MainWindowController::kSidebarWidth;

void endProcessNow(int status) {
    std::fflush(nullptr);
    std::_Exit(status);
}

} // namespace

MainWindowController::MainWindowController(QObject* parent)
    : QObject(parent), m_keepAwake(new KeepAwake(this)), m_exitProcess(endProcessNow) {
    ToolProcesses::allowAgain();
    windowDidLoad();
}

MainWindowController::~MainWindowController() {
    delete aWindow;
}

QString MainWindowController::tabText(int tab) {
    return QString::fromLatin1(kRows[tab].text);
}

SideTabButton* MainWindowController::tabButton(int tab) const {
    const std::array<SideTabButton*, kTabCount> tabs = {tab_diskclone, tab_bootable, tab_createImage,
                                                        tab_disktool};
    return tabs.at(tab);
}

QWidget* MainWindowController::container(int tab) const {
    const std::array<QWidget*, kTabCount> containers = {diskCopyView, bootableView, dmgView, diskTool};
    return containers.at(tab);
}

QWidget* MainWindowController::featureView(int tab) const {
    const std::array<QWidget*, kTabCount> features = {diskCopyVC, bootableVC, dmgVC, repairDiskVC};
    return features.at(tab);
}

void MainWindowController::windowDidLoad() {
    aWindow = new BackgroundView(KitStyle::windowBackground());
    aWindow->setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
    aWindow->setWindowTitle(QStringLiteral("Tavrill"));
    aWindow->setFixedSize(kBodyWidth, kTitleBarHeight + kBodyHeight);
    aWindow->installEventFilter(this);

    // The title bar: a strip of window buttons on top of the banner "top".
    m_titleBarView = new TitleBarView(aWindow);
    m_titleBarView->setGeometry(0, 0, kBodyWidth, kTitleBarHeight);
    m_titleBarView->setBannerImage(QStringLiteral("top"));

    m_canChangeTab = true;
    addWindowTitle();
    addBaseView();
    addDmgView();
    addDiskToolView();
    addBootableView();
    connect(m_titleBarView, &TitleBarView::closeClicked, this, &MainWindowController::closeWindow);

    // "Disk Copy" is shown at start, its highlight already in place.
    m_selectBgImage->setGeometry(highlightFrameForTab(DiskCopyTab));
    for (int tab = 0; tab < kTabCount; ++tab) {
        tabButton(tab)->setActive(tab == DiskCopyTab);
        container(tab)->setVisible(tab == DiskCopyTab);
    }
    m_currentTab = DiskCopyTab;
}

void MainWindowController::addWindowTitle() {
    m_titleBarView->setTitle(QStringLiteral("Tavrill"));
    m_titleLabel = m_titleBarView->titleLabel();

    m_tabBar = new BackgroundView(KitStyle::sidebarBackground(), aWindow);
    m_tabBar->setGeometry(0, kTitleBarHeight, kSidebarWidth, kBodyHeight);
    auto* edge = new BackgroundView(KitStyle::separator(), aWindow);
    edge->setGeometry(kSidebarWidth, kTitleBarHeight, 1, kBodyHeight);

    // The highlight lies under the buttons.
    m_selectBgImage = new ImageView(QStringLiteral("tab_on"), m_tabBar);
    m_selectBgImage->setKeepAspect(false);

    SideTabButton** buttons[kTabCount] = {&tab_diskclone, &tab_bootable, &tab_createImage, &tab_disktool};
    void (MainWindowController::*actions[kTabCount])() = {
        &MainWindowController::TopCloneButtonAction, &MainWindowController::BootableButtonAction,
        &MainWindowController::TopDmgButtonAction, &MainWindowController::TopDiskToolButtonAction};
    for (int tab = 0; tab < kTabCount; ++tab) {
        auto* button = new SideTabButton(tabText(tab), QString::fromLatin1(kRows[tab].icon), m_tabBar);
        button->setGeometry(highlightFrameForTab(tab));
        connect(button, &QAbstractButton::clicked, this, actions[tab]);
        *buttons[tab] = button;
    }
}

void MainWindowController::addPlaceholder(int tab) {
    auto* box = new QWidget(aWindow);
    box->setGeometry(kSidebarWidth + 1, kTitleBarHeight, kContentWidth - 1, kBodyHeight);
    // Until a feature's screen is installed its container shows the tab's name.
    auto* title = new QLabel(tabText(tab), box);
    title->setObjectName(QStringLiteral("containerTitle"));
    title->setFont(KitStyle::font(20, true));
    title->setStyleSheet(
        QStringLiteral("color: %1; background: transparent;").arg(KitStyle::css(KitStyle::textPrimary())));
    title->adjustSize();
    title->move(32, 28);
    QWidget** slots[kTabCount] = {&diskCopyView, &bootableView, &dmgView, &diskTool};
    *slots[tab] = box;
}

void MainWindowController::installFeature(int tab, QWidget* view) {
    QWidget* box = container(tab);
    if (QLabel* title = box->findChild<QLabel*>(QStringLiteral("containerTitle"), Qt::FindDirectChildrenOnly))
        delete title;
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view);
    QPointer<QWidget>* features[kTabCount] = {&diskCopyVC, &bootableVC, &dmgVC, &repairDiskVC};
    *features[tab] = view;
}

// Each feature's container is made here; a feature's screen is put into it once it exists, and
// the screen answers to this window through its tab contract.
void MainWindowController::addTab(int tab, QWidget* view, FeatureTab* feature) {
    addPlaceholder(tab);
    feature->setTabHost(this);
    m_features[tab] = feature;
    installFeature(tab, view);
}

void MainWindowController::addBaseView() {
    auto* diskCopy = new DiskCopyViewController;
    connect(this, &MainWindowController::windowWillClose, diskCopy,
            &DiskCopyViewController::applicationWillTerminate);
    addTab(DiskCopyTab, diskCopy, diskCopy);
}

void MainWindowController::addDmgView() {
    auto* dmg = new DmgViewController;
    addTab(DiskImageTab, dmg, dmg);
}

void MainWindowController::addDiskToolView() {
    auto* repair = new RepairDiskViewController;
    addTab(DiskManagerTab, repair, repair);
}

void MainWindowController::addBootableView() {
    auto* bootable = new SelectDrivceViewController;
    addTab(OSCloneTab, bootable, bootable);
}

void MainWindowController::canChangeTab(bool allowed) {
    m_canChangeTab = allowed;
    // A locked tab bar means a long job runs: the Mac stays awake until it ends.
    if (allowed)
        m_keepAwake->end();
    else
        m_keepAwake->begin();
}

FeatureTab* MainWindowController::busyTab() const {
    for (FeatureTab* feature : m_features) {
        if (feature && feature->runningJob() != FeatureTab::Job::None)
            return feature;
    }
    return nullptr;
}

FeatureTab::Job MainWindowController::runningJob() const {
    const FeatureTab* busy = busyTab();
    return busy ? busy->runningJob() : FeatureTab::Job::None;
}

void MainWindowController::TopCloneButtonAction() {
    tabAction(DiskCopyTab);
}

void MainWindowController::BootableButtonAction() {
    tabAction(OSCloneTab);
}

void MainWindowController::TopDmgButtonAction() {
    tabAction(DiskImageTab);
}

void MainWindowController::TopDiskToolButtonAction() {
    tabAction(DiskManagerTab);
}

void MainWindowController::tabAction(int tab) {
    if (!m_canChangeTab || m_quitting)
        return;
    setTabFrame(0, kRows[tab].originY);
    showTab(tab);
}

void MainWindowController::showTab(int tab) {
    for (int other = 0; other < kTabCount; ++other)
        tabButton(other)->setActive(other == tab);
    // Show the new container before hiding the old one, so the area never flashes empty.
    container(tab)->show();
    for (int other = 0; other < kTabCount; ++other) {
        if (other != tab)
            container(other)->hide();
    }
    const bool changed = tab != m_currentTab;
    m_currentTab = tab;
    if (changed)
        Q_EMIT tabChanged(tab);
}

QRect MainWindowController::highlightFrameForTab(int tab) const {
    return QRect(0, kBodyHeight - kRows[tab].originY - kRowHeight, kSidebarWidth, kRowHeight);
}

void MainWindowController::setTabFrame(int x, int y) {
    const QRect target(x, kBodyHeight - y - kRowHeight, m_selectBgImage->width(), m_selectBgImage->height());
    if (m_highlightAnimation)
        m_highlightAnimation->stop();
    delete m_highlightAnimation;
    m_highlightAnimation = new QParallelAnimationGroup(this);
    auto* move = new QPropertyAnimation(m_selectBgImage, "geometry", m_highlightAnimation);
    move->setDuration(kHighlightMs);
    move->setStartValue(m_selectBgImage->geometry());
    move->setEndValue(target);
    move->setEasingCurve(QEasingCurve::OutCubic);
    auto* fade = new QPropertyAnimation(m_selectBgImage, "opacity", m_highlightAnimation);
    fade->setDuration(kHighlightMs);
    fade->setStartValue(0.35);
    fade->setEndValue(1.0);
    m_highlightAnimation->addAnimation(move);
    m_highlightAnimation->addAnimation(fade);
    m_highlightAnimation->start();
}

void MainWindowController::closeWindow() {
    if (m_quitting || m_quitQuestion)
        return;
    const FeatureTab::Job job = runningJob();
    if (job == FeatureTab::Job::None) {
        endProcess();
        return;
    }
    auto* question = new QuitQuestionPanel(job);
    connect(question, &QuitQuestionPanel::stopAndQuit, this, &MainWindowController::stopAndQuit);
    question->setSuperDelegate(new AttachedWindow(question, AttachedWindow::middleTop(aWindow), aWindow));
    m_quitQuestion = question;
}

void MainWindowController::stopAndQuit() {
    FeatureTab* busy = busyTab();
    if (!busy) {
        endProcess();
        return;
    }
    m_quitting = true;
    // Whichever comes first: the job has stopped, or the wait is over and what still runs is
    // killed.
    auto done = std::make_shared<bool>(false);
    auto finish = [this, done] {
        if (*done)
            return;
        *done = true;
        endProcess();
    };
    QTimer::singleShot(kQuitWaitMs, this, [finish] {
        if (const int killed = ToolProcesses::killAll())
            QvConsoleLog("Quitting: %d tools did not stop in time and were killed", killed);
        finish();
    });
    QPointer<MainWindowController> self(this);
    busy->stopForQuit([self, finish] {
        if (self)
            finish();
    });
}

void MainWindowController::endProcess() {
    Q_EMIT windowWillClose();
    m_keepAwake->end();
    ToolProcesses::killAllFromNowOn();
    m_exitProcess(0);
}

void MainWindowController::setMenu(QMenu* menu) {
    m_titleBarView->setMenu(menu);
}

void MainWindowController::showWindow() {
    QScreen* screen = QGuiApplication::primaryScreen();
    if (screen) {
        QRect frame = aWindow->frameGeometry();
        frame.moveCenter(screen->availableGeometry().center());
        aWindow->move(frame.topLeft());
    }
    aWindow->show();
}

void MainWindowController::bringToFront() {
    QvConsoleLog("Another copy of Tavrill was started: bringing the window to the front");
    if (aWindow->isMinimized())
        aWindow->showNormal();
    aWindow->show();
    aWindow->raise();
    aWindow->activateWindow();
}

bool MainWindowController::eventFilter(QObject* watched, QEvent* event) {
    // Closing the window by any means (the close button, the system's shortcut) ends the
    // process, as the close button does.
    if (watched == aWindow && event->type() == QEvent::Close) {
        event->ignore();
        closeWindow();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

QStringList MainWindowController::saveTabScreenshots(const QString& hostFolder) {
    QStringList written;
    if (!QDir().mkpath(hostFolder))
        return written;
    if (m_highlightAnimation)
        m_highlightAnimation->stop();
    const int shown = m_currentTab;
    for (int tab = 0; tab < kTabCount; ++tab) {
        m_selectBgImage->setGeometry(highlightFrameForTab(tab));
        m_selectBgImage->setOpacity(1.0);
        showTab(tab);
        // What a tab reads when it shows (the Disk Manager's volumes) arrives from other threads.
        QEventLoop settle;
        QTimer::singleShot(kScreenshotSettleMs, &settle, &QEventLoop::quit);
        settle.exec();
        const QString file =
            QDir(hostFolder)
                .filePath(QStringLiteral("%1-%2.png").arg(tab + 1).arg(QLatin1String(kRows[tab].fileName)));
        if (aWindow->grab().save(file))
            written << file;
    }
    m_selectBgImage->setGeometry(highlightFrameForTab(shown));
    showTab(shown);
    return written;
}
