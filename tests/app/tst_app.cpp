#include "EmulatedMac.h"
#include "Screenshot.h"
#include "TestMain.h"
#include "TreeCompare.h"
#include "UrlCatcher.h"
#include "app/AboutWindow.h"
#include "app/AppDelegate.h"
#include "app/MainWindowController.h"
#include "app/MyNSApplication.h"
#include "app/SideTabButton.h"
#include "core/PropertyList.h"
#include "filecopy/DiskCopyViewController.h"
#include "platform/gui/SingleInstance.h"
#include "ui/ImageButton.h"
#include "ui/ImageView.h"
#include "ui/SelectValueView.h"
#include "ui/TitleBarView.h"

#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QDialog>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QTest>
#include <QTextEdit>
#include <QTimer>
#include <QUrl>
#include <QVersionNumber>
#include <QtEndian>

#include <memory>

namespace {

constexpr int kTabs = 4;

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

// The window, shown, with the tabs as they start.
struct Shown : MainWindowController {
    Shown() {
        window()->show();
        exposed = QTest::qWaitForWindowExposed(window());
    }
    void click(int tab) { QTest::mouseClick(tabButton(tab), Qt::LeftButton); }
    bool exposed = false;
};

// Counts the key presses that reach a widget through normal dispatch. A routed shortcut is
// consumed before delivery, so the widget never sees it.
class KeyCounter : public QObject {
public:
    int presses = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        // Only the keys themselves: a simulated click also presses its modifier keys.
        static const QList<int> modifiers = {Qt::Key_Control, Qt::Key_Shift, Qt::Key_Alt, Qt::Key_Meta};
        if (event->type() == QEvent::KeyPress && !modifiers.contains(static_cast<QKeyEvent*>(event)->key()))
            ++presses;
        return false;
    }
};

// The editor's text, its selection and the clipboard: "hello world|hello|hello".
QString stateOf(const QWidget* w) {
    QStringList state{QString(), QString()};
    if (const auto* line = qobject_cast<const QLineEdit*>(w))
        state = {line->text(), line->selectedText()};
    else if (const auto* plain = qobject_cast<const QPlainTextEdit*>(w))
        state = {plain->toPlainText(), plain->textCursor().selectedText()};
    else if (const auto* rich = qobject_cast<const QTextEdit*>(w))
        state = {rich->toPlainText(), rich->textCursor().selectedText()};
    return (state << QGuiApplication::clipboard()->text()).join(QLatin1Char('|'));
}

std::unique_ptr<QWidget> make(const QString& kind) {
    if (kind == QLatin1String("button"))
        return std::make_unique<QPushButton>(QStringLiteral("Go"));
    if (kind == QLatin1String("rich"))
        return std::make_unique<QTextEdit>();
    if (kind.startsWith(QLatin1String("plain"))) {
        auto plain = std::make_unique<QPlainTextEdit>();
        plain->setUndoRedoEnabled(kind == QLatin1String("plain"));
        return plain;
    }
    auto line = std::make_unique<QLineEdit>();
    if (kind == QLatin1String("password"))
        line->setEchoMode(QLineEdit::Password);
    return line;
}

// The built application, started on an emulated Mac with the offscreen platform.
void prepare(QProcess& process, const EmulatedMac& mac, const QStringList& extraEnv = {}) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("TAVRILL_MACHINE_ROOT"), mac.root());
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    for (const QString& pair : extraEnv)
        env.insert(pair.section(QLatin1Char('='), 0, 0), pair.section(QLatin1Char('='), 1));
    process.setProcessEnvironment(env);
    process.setProgram(QStringLiteral(TAVRILL_APP_PATH));
}

} // namespace

// The shell: its window and tabs, every control named and reached with Tab, the editing keys,
// and the built application (one copy at a time, its pictures, menu and bundle).
class TestApp : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        m_mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(m_mac->isValid(), qPrintable(m_mac->error()));
    }

    void tabsStartOnDiskCopySwitchKeepWhatWasLeftAndLock() {
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
            QCOMPARE(w.featureView(tab)->metaObject()->className(), features[tab]);
            QVERIFY(w.container(tab)->isAncestorOf(w.featureView(tab)));
            QCOMPARE(w.container(tab)->geometry(), w.container(0)->geometry());
        }
        QCOMPARE(w.currentTab(), int(MainWindowController::DiskCopyTab));
        QCOMPARE(tabState(w), QStringLiteral("1000 1000"));
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
        QCOMPARE(tabState(w), QStringLiteral("0010 0010"));
        QCOMPARE(w.currentTab(), 2);
        QCOMPARE(w.selectBgImage()->geometry(), kRowFrames[0]);
        QVERIFY(w.selectBgImage()->opacity() < 1.0);
        QTRY_COMPARE_WITH_TIMEOUT(w.selectBgImage()->geometry(), kRowFrames[2], 2000);
        QTRY_COMPARE(w.selectBgImage()->opacity(), 1.0);
        w.click(MainWindowController::DiskManagerTab);
        QCOMPARE(tabState(w), QStringLiteral("0001 0001"));
        w.click(MainWindowController::OSCloneTab); // a click during the glide retargets it
        QTRY_COMPARE_WITH_TIMEOUT(w.selectBgImage()->geometry(), kRowFrames[1], 2000);
        QCOMPARE(tabState(w), QStringLiteral("0100 0100"));
        QCOMPARE(w.tabButton(1)->currentIconImage(), QStringLiteral("ic_os_main_sel"));

        // Back on the first tab, it is as it was left.
        w.click(MainWindowController::DiskCopyTab);
        QCOMPARE(tabState(w), QStringLiteral("1000 1000"));
        QCOMPARE(w.container(0), before.data());
        QVERIFY(screen->sourceSlot()->isVisible());
        QCOMPARE(screen->sourceSlot()->sizeLabel()->text(), QStringLiteral("1 files selected"));
        QTRY_COMPARE_WITH_TIMEOUT(w.selectBgImage()->geometry(), kRowFrames[0], 2000);

        // Locked tabs ignore clicks, but not a close.
        QList<int> exits;
        w.setProcessExit([&exits](int status) { exits << status; });

        w.canChangeTab(false);
        for (int tab = 1; tab < kTabs; ++tab)
            w.click(tab);
        // Longer than the highlight's glide: nothing may have started moving.
        QTest::qWait(400);
        QCOMPARE(w.selectBgImage()->geometry(), kRowFrames[0]);
        QCOMPARE(tabState(w), QStringLiteral("1000 1000"));

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
        QCOMPARE(tabState(w), QStringLiteral("0001 0001"));
        QTRY_COMPARE_WITH_TIMEOUT(w.selectBgImage()->geometry(), kRowFrames[3], 2000);
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
            QVERIFY(QTest::qWaitFor([&] { return (opener = named(window, open)) != nullptr; }, 30000));
            QVERIFY(opener->actionInterface());
            opener->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        }
        const auto filledIn = [&] {
            for (QWidget* top : QApplication::topLevelWidgets())
                if (top->isVisible() && named(top, expect))
                    window = top;
            return named(window, expect) != nullptr;
        };
        QVERIFY2(QTest::qWaitFor(filledIn, 30000), qPrintable(expect));
        QApplication::setActiveWindow(window);
        QVERIFY(QTest::qWaitForWindowActive(window));

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

    void editKeys_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("script");
        QTest::addColumn<int>("delivered");
        // The editor, the text typed first (so that undo has something), each key with the state
        // after it ("text|selection|clipboard"), and how many keys reached the widget itself.
        struct Row {
            const char *tag, *kind, *typed, *script;
            int delivered;
        };
        static const Row rows[] = {
            {"field: the command keys, with Shift too; Alt-A is no shortcut but typed", "line", "hello world",
             "Ctrl+A hello world|hello world|, Ctrl+C hello world|hello world|hello world, "
             "Right hello world||hello world, Ctrl+V hello worldhello world||hello world, "
             "Ctrl+Z hello world||hello world, Ctrl+Shift+A hello world|hello world|hello world, "
             "Ctrl+X ||hello world, Alt+A a||hello world",
             2},
            // Command-Shift-Z undoes (the toolkit's own binding would redo); an upper-case Z redoes
            // instead of being typed, also with nothing left to redo; a lower-case z is typed.
            {"field: undo and redo", "line", "abc",
             "Ctrl+Shift+Z ||, Shift+Z abc||, Shift+Z abc||, Ctrl+Z ||, Alt+Shift+Z abc||, Z abcz||", 1},
            {"plain text: undo and redo", "plain", "xy", "Ctrl+Shift+Z ||, Shift+Z xy||", 0},
            {"rich text: select all", "rich", "first line", "Ctrl+A first line|first line|", 0},
            // No undo history: nobody takes the redo and the letter is typed.
            {"password field", "password", "", "Shift+Z Z||", 1},
            {"plain text without undo", "plain, no undo", "ab", "Shift+Z abZ||", 1},
            // No text editor takes the action, so the key goes on to the button.
            {"button", "button", "", "Ctrl+A ||, Shift+Z ||", 2},
        };
        for (const Row& r : rows)
            QTest::newRow(r.tag) << r.kind << r.typed << r.script << r.delivered;
    }

    void editKeys() {
        QFETCH(QString, kind);
        QFETCH(QString, typed);
        QFETCH(QString, script);
        QFETCH(int, delivered);
        QVERIFY(qobject_cast<MyNSApplication*>(QCoreApplication::instance()));
        QGuiApplication::clipboard()->clear();
        const std::unique_ptr<QWidget> w = make(kind);
        w->show();
        QTest::keyClicks(w.get(), typed);
        KeyCounter counter;
        w->installEventFilter(&counter);
        QStringList states, expected;
        // Ctrl is the Command key: Qt reports it as Control on macOS; elsewhere Control stands in.
        for (const QString& step : script.split(QStringLiteral(", "))) {
            const QKeyCombination k = QKeySequence(step.section(QLatin1Char(' '), 0, 0))[0];
            const Qt::KeyboardModifiers mods = k.keyboardModifiers();
            // Letters as their characters: an upper-case Z with Shift.
            if (k.key() >= Qt::Key_A && k.key() <= Qt::Key_Z)
                QTest::keyClick(w.get(), char((mods & Qt::ShiftModifier ? 'A' : 'a') + k.key() - Qt::Key_A),
                                mods);
            else
                QTest::keyClick(w.get(), k.key(), mods);
            states << stateOf(w.get());
            expected << step.section(QLatin1Char(' '), 1);
        }
        QCOMPARE(states, expected);
        QCOMPARE(counter.presses, delivered);
    }

    void actionsGoToTheFirstEditorAmongTheParents() {
        // The first responder is the widget the key goes to; the action travels up to the first
        // text editor among its parents.
        QLineEdit outer(QStringLiteral("outer text"));
        auto* inner = new QWidget(&outer);
        outer.show();
        QVERIFY(MyNSApplication::sendEditAction(MyNSApplication::EditAction::SelectAll, inner));
        QCOMPARE(outer.selectedText(), QStringLiteral("outer text"));
        // With no editor at all nobody takes it (a button: editKeys).
        QVERIFY(!MyNSApplication::sendEditAction(MyNSApplication::EditAction::Copy, nullptr));
    }

    void oneCopyAtATimeAndAScreenshotRunEndsWithStatusZero() {
        // On an emulated Mac the socket lies in the machine's /tmp, out of the host's way.
        const QString socket = m_mac->host(QStringLiteral("/tmp/com.kelvaro.clone.instance"));
        QProcess first;
        prepare(first, *m_mac);
        first.start();
        QVERIFY(first.waitForStarted());
        // The first copy is ready once it listens.
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(socket) && !QFileInfo(socket).isFile(), 30000);
        // A copy with another identifier does not count.
        SingleInstance other(QStringLiteral("com.kelvaro.other"));
        QVERIFY(!other.checkAndClaim());

        QProcess second;
        prepare(second, *m_mac);
        second.start();
        QVERIFY(second.waitForFinished(30000));
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        QVERIFY2(second.readAllStandardError().contains("already running"),
                 "the second copy says why it ends");
        QByteArray firstSaid;
        QTRY_VERIFY_WITH_TIMEOUT(
            (firstSaid += first.readAllStandardError()).contains("bringing the window to the front"), 10000);
        QCOMPARE(first.state(), QProcess::Running); // the first copy keeps running with its state

        // A copy that crashed left its socket behind; nobody answers on it. The next copy takes it
        // over, saves every tab and ends through the close button's road: at once, with status 0.
        first.kill();
        first.waitForFinished();
        QVERIFY(QFileInfo::exists(socket));
        const QString folder = screenshotFolder(QStringLiteral("app"));
        QDir(folder).removeRecursively();
        QProcess app;
        prepare(
            app, *m_mac,
            {QStringLiteral("TAVRILL_SCREENSHOTS=") + folder, QStringLiteral("TAVRILL_SCREENSHOTS_QUIT=1")});
        app.start();
        QVERIFY(app.waitForFinished(60000));
        QCOMPARE(app.exitStatus(), QProcess::NormalExit);
        QCOMPARE(app.exitCode(), 0);
        const QStringList shots = QDir(folder).entryList({QStringLiteral("*.png")}, QDir::Files, QDir::Name);
        QCOMPARE(shots, (QStringList{"1-disk-copy.png", "2-os-clone.png", "3-disk-image-create.png",
                                     "4-disk-manager.png"}));
        for (const QString& shot : shots)
            QVERIFY(!QImage(QDir(folder).filePath(shot)).isNull());
    }

    void menuOpensLinksAndWindows() {
        UrlCatcher recorder;
        QDesktopServices::setUrlHandler(QStringLiteral("https"), &recorder, "openUrl");

        AppDelegate::setUpdateWindowFactory({});
        AppDelegate delegate;
        QVERIFY(delegate.applicationDidFinishLaunching());
        QVERIFY(delegate.mainWindowController()->window()->isVisible());
        delegate.mainWindowController()->setProcessExit([](int) {});

        // Every item of the menu does something: the links among them open the shipped addresses.
        delegate.userGuideMenuItemAction();
        delegate.helpMenuItemAction();
        QVERIFY(delegate.applicationMenu());
        QVERIFY(delegate.lineMenuItem && delegate.lineMenuItem->isSeparator());
        QVERIFY(!delegate.checkUpMenuItem->isEnabled()); // no update window to open
        for (QAction* item : delegate.applicationMenu()->actions())
            if (item->menu())
                for (QAction* link : item->menu()->actions())
                    link->trigger();
        QCOMPARE(recorder.opened, (QList<QUrl>{QUrl("https://www.kelvaro.com/tavrill/guide/"),
                                               QUrl("https://www.kelvaro.com/support/"),
                                               QUrl("https://www.kelvaro.com/tavrill/"),
                                               QUrl("https://www.kelvaro.com/products/"),
                                               QUrl("https://www.kelvaro.com/support/contact/")}));

        // The about window runs modally and tells the version.
        QString shownVersion;
        connect(&delegate, &AppDelegate::modalWindowOpened, this, [&shownVersion](QDialog* window) {
            if (auto* about = qobject_cast<AboutWindow*>(window))
                shownVersion = about->versionLabel()->text();
            QTimer::singleShot(0, window, [window] {
                if (qobject_cast<AboutWindow*>(window))
                    saveScreenshot(window, QStringLiteral("app"), QStringLiteral("about"));
                window->accept();
            });
        });
        delegate.aboutMenuItemAction();
        QCOMPARE(shownVersion, QStringLiteral("Version 1.0.0"));

        QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
    }

    // The Mac bundle's Info.plist and icon as the build makes them: every key a Mac reads, the
    // values CMake sets, and an icon in every size up to 1024 pixels.
    void infoPlistAndIcon() {
        const std::optional<QVariantMap> info =
            PropertyList::readDictionary(QStringLiteral(TAVRILL_INFO_PLIST));
        QVERIFY(info);
        const QVariantMap expected{
            {"CFBundleDevelopmentRegion", "en"},
            {"CFBundleDisplayName", "Tavrill"},
            {"CFBundleExecutable", "Tavrill"},
            {"CFBundleIconFile", "Tavrill.icns"},
            {"CFBundleIdentifier", "com.kelvaro.clone"},
            {"CFBundleInfoDictionaryVersion", "6.0"},
            {"CFBundleName", "Tavrill"},
            {"CFBundlePackageType", "APPL"},
            // What CMake was configured with: project(VERSION) and TAVRILL_MACOS_MINIMUM.
            {"CFBundleShortVersionString", TAVRILL_PROJECT_VERSION},
            {"CFBundleVersion", TAVRILL_PROJECT_VERSION},
            {"LSMinimumSystemVersion", TAVRILL_MACOS_MINIMUM},
            {"NSHighResolutionCapable", true},
            {"NSPrincipalClass", "NSApplication"},
        };
        for (auto it = expected.cbegin(); it != expected.cend(); ++it)
            QVERIFY2(info->value(it.key()) == it.value(), qPrintable(it.key()));
        // The texts macOS shows before Tavrill first reads a protected place.
        for (const char* key : {"NSHumanReadableCopyright", "NSRemovableVolumesUsageDescription",
                                "NSNetworkVolumesUsageDescription", "NSDesktopFolderUsageDescription",
                                "NSDocumentsFolderUsageDescription", "NSDownloadsFolderUsageDescription"})
            QVERIFY2(info->value(QLatin1String(key)).toString().size() > 20, key);
        QVERIFY(info->value("NSHumanReadableCopyright").toString().contains("Kelvaro"));
        // No Qt 6 runs before macOS 11.
        QVERIFY(QVersionNumber::fromString(info->value("LSMinimumSystemVersion").toString()) >=
                QVersionNumber(11));

        QFile file(QStringLiteral(TAVRILL_ICON));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray icns = file.readAll();
        QCOMPARE(icns.left(4), QByteArray("icns"));
        QCOMPARE(qFromBigEndian<quint32>(icns.constData() + 4), quint32(icns.size()));
        // Each element: its type, its length (header included), then the image: compressed image
        // data, or the packed pixels of the older types, whose size the type tells.
        const QMap<QByteArray, int> packed{{"is32", 16}, {"il32", 32}, {"ih32", 48}, {"it32", 128}};
        QList<int> sizes;
        for (qsizetype at = 8; at + 8 <= icns.size();) {
            const QByteArray type = icns.mid(at, 4);
            const quint32 length = qFromBigEndian<quint32>(icns.constData() + at + 4);
            QVERIFY(length >= 8 && at + length <= quint32(icns.size()));
            const QByteArray data = icns.mid(at + 8, length - 8);
            if (packed.contains(type)) {
                sizes << packed.value(type);
            } else if (type.startsWith("ic")) {
                // PNG (iconutil) keeps width and height after "IHDR", JPEG 2000 (png2icns) keeps
                // height and width after "ihdr".
                const bool png = data.startsWith("\x89PNG");
                const qsizetype header = data.indexOf(png ? "IHDR" : "ihdr");
                QVERIFY2(header > 0 && header + 12 <= data.size(), type.constData());
                const quint32 first = qFromBigEndian<quint32>(data.constData() + header + 4);
                const quint32 second = qFromBigEndian<quint32>(data.constData() + header + 8);
                QVERIFY2(first == second, type.constData());
                sizes << int(first);
            }
            at += length;
        }
        std::sort(sizes.begin(), sizes.end());
        QCOMPARE(sizes, (QList<int>{16, 32, 128, 256, 512, 1024}));
    }

private:
    // The features' screens look at drives; they see the demo Mac, never the host's.
    std::unique_ptr<EmulatedMac> m_mac;
};

TAVRILL_TEST(TestApp)

#include "tst_app.moc"
