#include "EmulatedMac.h"
#include "TestMain.h"
#include "app/MainWindowController.h"
#include "app/SideTabButton.h"
#include "filecopy/DiskCopyViewController.h"
#include "ui/ImageButton.h"
#include "ui/ImageView.h"
#include "ui/SelectValueView.h"
#include "ui/TitleBarView.h"

#include <QAccessible>
#include <QApplication>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

namespace {

constexpr int kTabs = MainWindowController::kTabCount;

// Where the highlight lies behind each row: the rows' origins count upwards from the bottom of
// the 500-point tab bar, (0, 409) ... (0, 253), and a row is 220 x 52.
const QRect kRowFrames[kTabs] = {QRect(0, 39, 220, 52), QRect(0, 91, 220, 52), QRect(0, 143, 220, 52),
                                 QRect(0, 195, 220, 52)};

// The controls a screen reader offers on a window, found through the accessibility tree alone:
// every visible widget a user can act on (not a picture the mouse passes through).
QList<QAccessibleInterface*> controlsOf(QWidget* window) {
    static const QList<QAccessible::Role> kControlRoles = {
        QAccessible::Button,   QAccessible::PushButton,   QAccessible::CheckBox, QAccessible::RadioButton,
        QAccessible::ComboBox, QAccessible::EditableText, QAccessible::SpinBox,  QAccessible::Slider,
        QAccessible::PageTab,  QAccessible::List,         QAccessible::Table,    QAccessible::Tree};
    QList<QAccessibleInterface*> out;
    std::function<void(QAccessibleInterface*)> walk = [&](QAccessibleInterface* i) {
        if (!i || i->state().invisible)
            return;
        auto* w = qobject_cast<QWidget*>(i->object());
        if (w && w->isVisible() && !w->testAttribute(Qt::WA_TransparentForMouseEvents) &&
            kControlRoles.contains(i->role()))
            out << i;
        // Item views: their rows are items (no widget, skipped) or widgets of their own.
        for (int c = 0; c < std::min(i->childCount(), 100); ++c)
            walk(i->child(c));
    };
    walk(QAccessible::queryAccessibleInterface(window));
    return out;
}

// The control a screen reader finds under that name on a window, or null.
QAccessibleInterface* named(QWidget* window, const QString& name) {
    for (QAccessibleInterface* i : controlsOf(window))
        if (i->text(QAccessible::Name) == name)
            return i;
    return nullptr;
}

// The widgets that get the focus, in order, as Tab is pressed round the window once.
QList<QWidget*> tabRound(QWidget* window) {
    QList<QWidget*> visited;
    for (int n = 0; n < 200; ++n) {
        QTest::keyClick(QApplication::focusWidget() ? QApplication::focusWidget() : window, Qt::Key_Tab);
        QWidget* focus = QApplication::focusWidget();
        if (!focus || (!visited.isEmpty() && focus == visited.first()))
            break;
        visited << focus;
    }
    return visited;
}

// Which tabs show their container and which have their button active, as "0010 0010".
QString tabState(const MainWindowController& w) {
    QString shown, active;
    for (int tab = 0; tab < kTabs; ++tab) {
        shown += w.container(tab)->isVisible() ? '1' : '0';
        active += w.tabButton(tab)->isActive() ? '1' : '0';
    }
    return shown + ' ' + active;
}

QString onlyTab(int tab) {
    QString flags(kTabs, '0');
    flags[tab] = '1';
    return flags + ' ' + flags;
}

// The window, shown, with the tabs as they start.
struct Shown : MainWindowController {
    Shown() {
        window()->show();
        exposed = QTest::qWaitForWindowExposed(window());
    }
    void click(int tab) { QTest::mouseClick(tabButton(tab), Qt::LeftButton); }
    bool exposed = false;
};

} // namespace

class TestMainWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        m_mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(m_mac->isValid(), qPrintable(m_mac->error()));
    }

    void tabsStartOnDiskCopySwitchAndKeepWhatWasLeft() {
        Shown w;
        QVERIFY(w.exposed);
        const QStringList texts = {"Disk Copy", "OS Clone", "Disk Image Create", "Disk Manager"};
        const char* const features[] = {"DiskCopyViewController", "SelectDrivceViewController",
                                        "DmgViewController", "RepairDiskViewController"};
        for (int tab = 0; tab < kTabs; ++tab) {
            QCOMPARE(w.tabButton(tab)->text(), texts[tab]);
            QCOMPARE(w.tabButton(tab)->geometry(), kRowFrames[tab]);
            // Every tab's feature is installed: no container carries a placeholder title.
            QVERIFY(!w.container(tab)->findChild<QLabel*>(QStringLiteral("containerTitle")));
            const QList<QWidget*> inside = w.container(tab)->findChildren<QWidget*>();
            QVERIFY2(std::any_of(inside.begin(), inside.end(),
                                 [&](QWidget* c) {
                                     return qstrcmp(features[tab], c->metaObject()->className()) == 0;
                                 }),
                     features[tab]);
            QCOMPARE(w.container(tab)->geometry(), w.container(0)->geometry());
        }
        QCOMPARE(w.currentTab(), int(MainWindowController::DiskCopyTab));
        QCOMPARE(tabState(w), onlyTab(0));
        QCOMPARE(w.tabButton(0)->currentIconImage(), QStringLiteral("ic_disk_icon_sel"));
        QCOMPARE(w.tabButton(1)->currentIconImage(), QStringLiteral("ic_os_main"));
        QCOMPARE(w.selectBgImage()->imageName(), QStringLiteral("tab_on"));
        QCOMPARE(w.selectBgImage()->geometry(), kRowFrames[0]);
        QCOMPARE(w.titleLabel()->text(), QStringLiteral("Tavrill"));

        // A feature's screen fills its container; the user leaves files dropped as the source.
        auto* screen =
            qobject_cast<DiskCopyViewController*>(w.featureView(MainWindowController::DiskCopyTab));
        QVERIFY(screen);
        QTRY_COMPARE(screen->size(), w.container(0)->size());
        QDir().mkpath(m_mac->host("/Users/alex/Desktop/left"));
        screen->viewDragAction({"/Users/alex/Desktop/left"});
        QPointer<QWidget> before = w.container(0);

        // The view changes at once; the highlight starts where it was, faded, and glides.
        w.click(MainWindowController::DiskImageTab);
        QCOMPARE(tabState(w), onlyTab(2));
        QCOMPARE(w.currentTab(), 2);
        QCOMPARE(w.selectBgImage()->geometry(), kRowFrames[0]);
        QVERIFY(w.selectBgImage()->opacity() < 1.0);
        QTRY_COMPARE_WITH_TIMEOUT(w.selectBgImage()->geometry(), kRowFrames[2], 2000);
        QTRY_COMPARE(w.selectBgImage()->opacity(), 1.0);
        w.click(MainWindowController::DiskManagerTab);
        QCOMPARE(tabState(w), onlyTab(3));
        w.click(MainWindowController::OSCloneTab); // a click during the glide retargets it
        QTRY_COMPARE_WITH_TIMEOUT(w.selectBgImage()->geometry(), kRowFrames[1], 2000);
        QCOMPARE(tabState(w), onlyTab(1));
        QCOMPARE(w.tabButton(1)->currentIconImage(), QStringLiteral("ic_os_main_sel"));

        // Back on the first tab, it is as it was left.
        w.click(MainWindowController::DiskCopyTab);
        QCOMPARE(tabState(w), onlyTab(0));
        QCOMPARE(w.container(0), before.data());
        QVERIFY(screen->sourceSlot()->isVisible());
        QCOMPARE(screen->sourceSlot()->sizeLabel()->text(), QStringLiteral("1 files selected"));
    }

    void lockedTabsIgnoreClicksButNotCloseUntilUnlocked() {
        Shown w;
        QList<int> exits;
        w.setProcessExit([&exits](int status) { exits << status; });
        QVERIFY(w.exposed);
        QSignalSpy changes(&w, &MainWindowController::tabChanged);

        w.canChangeTab(false);
        for (int tab = 1; tab < kTabs; ++tab)
            w.click(tab);
        w.BootableButtonAction(); // the action itself is guarded, not only the button
        // Longer than the highlight's glide: nothing may have started moving.
        QTest::qWait(400);
        QCOMPARE(w.selectBgImage()->geometry(), kRowFrames[0]);
        QCOMPARE(tabState(w), onlyTab(0));
        QCOMPARE(changes.count(), 0);

        // Closing ends the process even while a feature is busy, by the close button or any other
        // way, and leaves the window up until the process ends.
        QTest::mouseClick(w.titleBarView()->closeButton(), Qt::LeftButton);
        QCOMPARE(exits, QList<int>{0});
        QCloseEvent close;
        QCoreApplication::sendEvent(w.window(), &close);
        QCOMPARE(exits, (QList<int>{0, 0}));
        QVERIFY(!close.isAccepted());

        w.canChangeTab(true);
        w.click(MainWindowController::DiskManagerTab);
        QCOMPARE(tabState(w), onlyTab(3));
        QTRY_COMPARE_WITH_TIMEOUT(w.selectBgImage()->geometry(), kRowFrames[3], 2000);
        QCOMPARE(changes.count(), 1);
    }

    void everyControlIsNamedAndReachedWithTab_data() {
        QTest::addColumn<int>("tab");
        // A control to press (by its accessible name) before the window is walked; empty: none.
        QTest::addColumn<QString>("open");
        // A control the walk waits for: the screen has filled in.
        QTest::addColumn<QString>("expect");
        QTest::addColumn<int>("leastControls");
        QTest::newRow("Disk Copy") << 0 << QString() << QStringLiteral("Choose the destination drive") << 8;
        QTest::newRow("OS Clone") << 1 << QString() << QStringLiteral("Clone Now") << 7;
        QTest::newRow("Disk Image Create") << 2 << QString() << QStringLiteral("Zip archive (.zip)") << 10;
        QTest::newRow("Disk Manager") << 3 << QString() << QStringLiteral("Eject STICK") << 12;
        QTest::newRow("Disk Manager, format question")
            << 3 << QStringLiteral("Format STICK") << QStringLiteral("Choose the file system") << 4;
        QTest::newRow("drive picker")
            << 0 << QStringLiteral("Choose the source drive or files") << QStringLiteral("Choose STICK") << 8;
    }

    void everyControlIsNamedAndReachedWithTab() {
        QFETCH(int, tab);
        QFETCH(QString, open);
        QFETCH(QString, expect);
        QFETCH(int, leastControls);
        Shown w;
        w.setProcessExit([](int) {});
        QApplication::setActiveWindow(w.window());
        QVERIFY(QTest::qWaitForWindowActive(w.window()));
        w.click(tab);
        QWidget* window = w.window();
        if (!open.isEmpty()) {
            // Pressed as a screen reader presses it; the window it opens (or the panel it puts over
            // the tab) is what is walked.
            QAccessibleInterface* opener = nullptr;
            QVERIFY(QTest::qWaitFor([&] { return (opener = named(w.window(), open)) != nullptr; }, 10000));
            QVERIFY(opener->actionInterface());
            opener->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
            QVERIFY(QTest::qWaitFor(
                [&] {
                    for (QWidget* top : QApplication::topLevelWidgets())
                        if (top->isVisible() && named(top, expect))
                            window = top;
                    return named(window, expect) != nullptr;
                },
                10000));
            QApplication::setActiveWindow(window);
            QVERIFY(QTest::qWaitForWindowActive(window));
        }
        QVERIFY2(QTest::qWaitFor([&] { return named(window, expect) != nullptr; }, 10000),
                 qPrintable(expect));

        const QList<QAccessibleInterface*> controls = controlsOf(window);
        QVERIFY2(controls.size() >= leastControls, qPrintable(QString::number(controls.size())));
        const QList<QWidget*> round = tabRound(window);
        QStringList problems;
        static const QRegularExpression kSaysSomething(QStringLiteral("\\p{L}{2,}"));
        for (QAccessibleInterface* i : controls) {
            auto* widget = qobject_cast<QWidget*>(i->object());
            const QString name = i->text(QAccessible::Name);
            const QString what =
                QStringLiteral("%1 %2 \"%3\"")
                    .arg(QLatin1String(widget->metaObject()->className()), widget->objectName(), name);
            if (!name.contains(kSaysSomething) ||
                name.compare(QLatin1String("button"), Qt::CaseInsensitive) == 0)
                problems << what + QStringLiteral(": no name that says what it does");
            // Item views whose rows are controls of their own leave the focus to the rows.
            const bool rowsTakeFocus =
                widget->focusPolicy() == Qt::NoFocus &&
                std::any_of(controls.begin(), controls.end(), [&](QAccessibleInterface* c) {
                    auto* cw = qobject_cast<QWidget*>(c->object());
                    return cw != widget && widget->isAncestorOf(cw);
                });
            // Of a group of radio buttons Tab reaches the chosen one; the arrows move within.
            const auto* radio = qobject_cast<QRadioButton*>(widget);
            const bool groupReached =
                radio && radio->autoExclusive() && std::any_of(round.begin(), round.end(), [&](QWidget* r) {
                    return qobject_cast<QRadioButton*>(r) && r->parentWidget() == widget->parentWidget();
                });
            if (!i->state().disabled && !rowsTakeFocus && !groupReached && !round.contains(widget))
                problems << what + QStringLiteral(": not reached with Tab");
        }
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(QLatin1Char('\n'))));
    }

private:
    // The features' screens look at drives; they see the demo Mac, never the host's.
    std::unique_ptr<EmulatedMac> m_mac;
};

TAVRILL_TEST(TestMainWindow)

#include "tst_mainwindow.moc"
