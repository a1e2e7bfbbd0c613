#include "tst_mainwindow.h"

#include "EmulatedMac.h"
#include "app/MainWindowController.h"
#include "app/SideTabButton.h"
#include "diskimage/DmgViewController.h"
#include "diskmanager/RepairDiskViewController.h"
#include "filecopy/DiskCopyViewController.h"
#include "osclone/SelectDrivceViewController.h"
#include "ui/ImageButton.h"
#include "ui/ImageView.h"
#include "ui/SelectValueView.h"
#include "ui/TitleBarView.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>

namespace {

constexpr int kTabs = MainWindowController::kTabCount;

// Where the highlight lies behind each row: the rows' origins count upwards from the bottom of
// the 500-point tab bar, (0, 409) ... (0, 253), and a row is 220 x 52.
const QRect kRowFrames[kTabs] = {QRect(0, 39, 220, 52), QRect(0, 91, 220, 52), QRect(0, 143, 220, 52),
                                 QRect(0, 195, 220, 52)};

// Which containers are visible, as a list of flags by tab.
QList<bool> visibleContainers(const MainWindowController& w) {
    QList<bool> shown;
    for (int tab = 0; tab < kTabs; ++tab)
        shown << w.container(tab)->isVisible();
    return shown;
}

QList<bool> onlyTab(int tab) {
    QList<bool> shown(kTabs, false);
    shown[tab] = true;
    return shown;
}

QList<bool> activeButtons(const MainWindowController& w) {
    QList<bool> active;
    for (int tab = 0; tab < kTabs; ++tab)
        active << w.tabButton(tab)->isActive();
    return active;
}

void clickTab(MainWindowController& w, int tab) {
    QTest::mouseClick(w.tabButton(tab), Qt::LeftButton);
}

} // namespace

TestMainWindow::TestMainWindow() = default;
TestMainWindow::~TestMainWindow() = default;

void TestMainWindow::initTestCase() {
    m_mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY2(m_mac->isValid(), qPrintable(m_mac->error()));
}

void TestMainWindow::startsOnDiskCopyWithFourTabsInOrder() {
    MainWindowController w;
    w.window()->show();
    QVERIFY(QTest::qWaitForWindowExposed(w.window()));

    const QStringList texts = {"Disk Copy", "OS Clone", "Disk Image Create", "Disk Manager"};
    for (int tab = 0; tab < kTabs; ++tab) {
        QCOMPARE(w.tabButton(tab)->text(), texts[tab]);
        QCOMPARE(w.tabButton(tab)->geometry(), kRowFrames[tab]);
        // Every tab's feature is installed: no container carries a placeholder title.
        QVERIFY(!w.container(tab)->findChild<QLabel*>(QStringLiteral("containerTitle")));
        QWidget* const feature =
            tab == MainWindowController::DiskCopyTab
                ? static_cast<QWidget*>(w.container(tab)->findChild<DiskCopyViewController*>())
            : tab == MainWindowController::OSCloneTab
                ? static_cast<QWidget*>(w.container(tab)->findChild<SelectDrivceViewController*>())
            : tab == MainWindowController::DiskImageTab
                ? static_cast<QWidget*>(w.container(tab)->findChild<DmgViewController*>())
                : static_cast<QWidget*>(w.container(tab)->findChild<RepairDiskViewController*>());
        QVERIFY(feature);
        // All four containers fill the same place.
        QCOMPARE(w.container(tab)->geometry(), w.container(0)->geometry());
    }
    QCOMPARE(w.currentTab(), int(MainWindowController::DiskCopyTab));
    QCOMPARE(visibleContainers(w), onlyTab(0));
    QCOMPARE(activeButtons(w), onlyTab(0));
    QCOMPARE(w.tabButton(0)->currentIconImage(), QStringLiteral("ic_disk_icon_sel"));
    QCOMPARE(w.tabButton(1)->currentIconImage(), QStringLiteral("ic_os_main"));
    // The highlight sits behind the first row, in the "tab_on" artwork.
    QCOMPARE(w.selectBgImage()->imageName(), QStringLiteral("tab_on"));
    QCOMPARE(w.selectBgImage()->geometry(), kRowFrames[0]);
    QCOMPARE(w.titleLabel()->text(), QStringLiteral("Tavrill"));
}

void TestMainWindow::tabClickAnimatesHighlightAndSwitchesContainer() {
    MainWindowController w;
    w.window()->show();
    QVERIFY(QTest::qWaitForWindowExposed(w.window()));

    const QRect start = w.selectBgImage()->geometry();
    clickTab(w, MainWindowController::DiskImageTab);
    // The view changes at once; the highlight starts where it was, faded, and glides.
    QCOMPARE(visibleContainers(w), onlyTab(2));
    QCOMPARE(activeButtons(w), onlyTab(2));
    QCOMPARE(w.currentTab(), 2);
    QCOMPARE(w.selectBgImage()->geometry(), start);
    QVERIFY(w.selectBgImage()->opacity() < 1.0);
    QTRY_COMPARE_WITH_TIMEOUT(w.selectBgImage()->geometry(), kRowFrames[2], 2000);
    QTRY_COMPARE(w.selectBgImage()->opacity(), 1.0);

    clickTab(w, MainWindowController::DiskManagerTab);
    clickTab(w, MainWindowController::OSCloneTab); // a click during the glide retargets it
    QTRY_COMPARE_WITH_TIMEOUT(w.selectBgImage()->geometry(), kRowFrames[1], 2000);
    QCOMPARE(visibleContainers(w), onlyTab(1));
    QCOMPARE(w.tabButton(1)->currentIconImage(), QStringLiteral("ic_os_main_sel"));
}

void TestMainWindow::lockedTabsIgnoreClicksUntilUnlocked() {
    MainWindowController w;
    w.window()->show();
    QVERIFY(QTest::qWaitForWindowExposed(w.window()));
    QSignalSpy changes(&w, &MainWindowController::tabChanged);

    w.canChangeTab(false);
    for (int tab = 1; tab < kTabs; ++tab)
        clickTab(w, tab);
    w.BootableButtonAction(); // the action itself is guarded, not only the button
    // Longer than the highlight's glide: nothing may have started moving.
    QTest::qWait(400);
    QCOMPARE(w.selectBgImage()->geometry(), kRowFrames[0]);
    QCOMPARE(visibleContainers(w), onlyTab(0));
    QCOMPARE(activeButtons(w), onlyTab(0));
    QCOMPARE(changes.count(), 0);

    // After the operation ends (or fails) the tabs work again.
    w.canChangeTab(true);
    clickTab(w, MainWindowController::DiskManagerTab);
    QCOMPARE(visibleContainers(w), onlyTab(3));
    QTRY_COMPARE_WITH_TIMEOUT(w.selectBgImage()->geometry(), kRowFrames[3], 2000);
    QCOMPARE(changes.count(), 1);
}

void TestMainWindow::switchingAwayAndBackKeepsTheTabAsLeft() {
    MainWindowController w;
    w.window()->show();
    QVERIFY(QTest::qWaitForWindowExposed(w.window()));

    // A feature's screen takes its container's place, filling it.
    auto* screen = qobject_cast<DiskCopyViewController*>(w.featureView(MainWindowController::DiskCopyTab));
    QVERIFY(screen);
    QTRY_COMPARE(screen->size(), w.container(0)->size());

    // Something a user left half done in the first tab: files dropped as the source.
    QDir().mkpath(m_mac->host("/Users/alex/Desktop/left"));
    screen->viewDragAction({"/Users/alex/Desktop/left"});
    QPointer<QWidget> before = w.container(0);

    for (int tab : {2, 3, 1, 0}) {
        clickTab(w, tab);
        QCOMPARE(visibleContainers(w), onlyTab(tab));
    }
    QCOMPARE(w.container(0), before.data());
    QVERIFY(screen->sourceSlot()->isVisible());
    QCOMPARE(screen->sourceSlot()->sizeLabel()->text(), QStringLiteral("1 files selected"));
}

void TestMainWindow::closeEndsTheProcessEvenWhileLocked() {
    MainWindowController w;
    QList<int> exits;
    w.setProcessExit([&exits](int status) { exits << status; });
    w.window()->show();
    QVERIFY(QTest::qWaitForWindowExposed(w.window()));

    w.canChangeTab(false); // a feature is busy
    QTest::mouseClick(w.titleBarView()->closeButton(), Qt::LeftButton);
    QCOMPARE(exits, QList<int>{0});

    // Closing the window any other way takes the same road and leaves the window up until
    // the process ends.
    QCloseEvent close;
    QCoreApplication::sendEvent(w.window(), &close);
    QCOMPARE(exits, (QList<int>{0, 0}));
    QVERIFY(!close.isAccepted());
}
