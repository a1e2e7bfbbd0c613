#include "EmulatedMac.h"
#include "Screenshot.h"
#include "TestMain.h"
#include "UpdateServer.h"
#include "UrlCatcher.h"
#include "Wait.h"
#include "app/AppDelegate.h"
#include "app/MainWindowController.h"
#include "core/PropertyList.h"
#include "ui/FlatButton.h"
#include "ui/ImageButton.h"
#include "ui/TitleBarView.h"
#include "update/QvCheckUpdateWindowController.h"

#include <QAction>
#include <QDesktopServices>
#include <QLabel>
#include <QScrollArea>
#include <QSignalSpy>
#include <QTest>
#include <QTextDocument>

#include <algorithm>
#include <memory>

namespace {

using State = QvCheckUpdateWindowController::State;

// Where the shipped settings say the update information is, on the test server.
const QString kVersionFile = QStringLiteral("/update/tavrill/version.plist");

UpdateServer::Answer file(const QVariantMap& contents) {
    return UpdateServer::Answer{200, PropertyList::toXml(contents), true, false};
}

// The window, shown, once its check has ended in one of the answer views.
std::unique_ptr<QvCheckUpdateWindowController> checkedWindow(int fetchTimeLimitMs = 10000) {
    auto window = std::make_unique<QvCheckUpdateWindowController>();
    window->setFetchTimeLimit(fetchTimeLimitMs);
    QSignalSpy ended(window.get(), &QvCheckUpdateWindowController::stateChanged);
    window->show();
    ended.wait(15000);
    return window;
}

// The views that show, as states (exactly one when all is well).
QList<State> shownViews(const QvCheckUpdateWindowController& window) {
    QList<State> shown;
    const std::pair<QWidget*, State> views[] = {{window.checkProgressView(), State::Checking},
                                                {window.noNetworkView(), State::NoNetwork},
                                                {window.noUpdateView(), State::NoUpdate},
                                                {window.haveUpdateView(), State::HaveUpdate}};
    for (const auto& [view, state] : views)
        if (view->isVisibleTo(&window))
            shown << state;
    return shown;
}

// The list's lines from the top.
QList<QLabel*> listLines(const QvCheckUpdateWindowController& window) {
    QList<QLabel*> lines = window.showVersionScrollView()->findChildren<QLabel*>(Qt::FindDirectChildrenOnly);
    std::sort(lines.begin(), lines.end(), [](QLabel* a, QLabel* b) { return a->y() < b->y(); });
    return lines;
}

// A line's text as read, without the invisible break opportunities the list adds.
QString shownText(const QLabel* label) {
    return label->text().remove(QChar(0x200B));
}

// A port on the loopback interface where nothing listens.
quint16 closedPort() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost);
    const quint16 port = probe.serverPort();
    probe.close();
    return port;
}

// The offscreen platform cannot make windows see-through and says so on every step of a fade.
QtMessageHandler testHandler = nullptr;

void withoutOpacityNotes(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (!message.contains(QLatin1String("does not support setting window opacity")))
        testHandler(type, context, message);
}

} // namespace

class TestUpdateWindow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { testHandler = qInstallMessageHandler(withoutOpacityNotes); }

    void cleanupTestCase() {
        qInstallMessageHandler(testHandler);
        qunsetenv("TAVRILL_SERVICE_ORIGIN");
    }

    void init() { qunsetenv("TAVRILL_SERVICE_ORIGIN"); }

    void newerVersionListsWhatIsNewInOrder() {
        UpdateServer server;
        QVERIFY(server.listen());
        qputenv("TAVRILL_SERVICE_ORIGIN", server.origin().toUtf8());
        const QString markup =
            QStringLiteral("<b>Bold</b> <img src=\"http://127.0.0.1:1/x.png\"> &amp; more");
        const QString unbroken = QString(1500, QLatin1Char('W'));
        // The build number as text, lines out of order in the file.
        server.setAnswer(kVersionFile, file({{"VersionCheck", " 101 "},
                                             {"Version", "1.1.0"},
                                             {"4", unbroken},
                                             {"2", "Faster copies to USB drives"},
                                             {"1", "Clone onto drives of any size"},
                                             {"3", markup}}));
        server.setAnswer(QStringLiteral("/"), UpdateServer::Answer{200, "<html>up</html>", true, false});

        auto window = checkedWindow();
        QCOMPARE(window->state(), State::HaveUpdate);
        QCOMPARE(shownViews(*window), QList<State>{State::HaveUpdate});
        QCOMPARE(server.requested(), (QStringList{"/", kVersionFile}));
        QCOMPARE(window->versionLabel()->text(), QStringLiteral("New features of version 1.1.0:"));

        const QList<QLabel*> lines = listLines(*window);
        QCOMPARE(lines.size(), 4);
        QCOMPARE(shownText(lines.at(0)), QStringLiteral("1:Clone onto drives of any size"));
        QCOMPARE(shownText(lines.at(1)), QStringLiteral("2:Faster copies to USB drives"));
        for (int i = 0; i + 1 < lines.size(); ++i) // one below the other, none over another
            QVERIFY(lines.at(i)->geometry().bottom() < lines.at(i + 1)->y());
        QVERIFY(lines.last()->geometry().bottom() < window->showVersionScrollView()->height());

        // Markup is shown as the characters it is made of, in the line and in its tool tip.
        QLabel* marked = lines.at(2);
        QCOMPARE(marked->textFormat(), Qt::PlainText);
        QCOMPARE(shownText(marked), QStringLiteral("3:") + markup);
        QTextDocument tip;
        tip.setHtml(marked->toolTip());
        QCOMPARE(tip.toPlainText(), markup);
        QCOMPARE(window->versionLabel()->textFormat(), Qt::PlainText);

        // A line without blanks wraps inside the list instead of running off its edge.
        QLabel* longLine = lines.at(3);
        QVERIFY(longLine->height() > 100);
        QVERIFY(longLine->heightForWidth(longLine->width()) <= longLine->height());
        QVERIFY(
            shownText(longLine).endsWith(unbroken.left(UpdateInfoReader::kMaxLineChars - 1) + QChar(0x2026)));
        QVERIFY(window->changeValueScrollView()->viewport()->width() >=
                QvCheckUpdateWindowController::kListWidth);
        QVERIFY(saveScreenshot(window.get(), QStringLiteral("update"), QStringLiteral("update-available")));

        UrlCatcher browser;
        QDesktopServices::setUrlHandler(QStringLiteral("http"), &browser, "openUrl");
        QTest::mouseClick(window->installButton(), Qt::LeftButton);
        QDesktopServices::unsetUrlHandler(QStringLiteral("http"));
        QCOMPARE(browser.opened, (QList<QUrl>{QUrl(server.origin() + QStringLiteral("/tavrill/download/"))}));
    }

    void everyOtherAnswerEndsWithoutAnUpdate() {
        struct Case {
            const char* name;
            UpdateServer::Answer answer;
            bool serverDown = false;
            State expected = State::NoUpdate;
        };
        QByteArray huge = PropertyList::toXml(QVariantMap{{"VersionCheck", 900}, {"Version", "9"}});
        huge.insert(huge.indexOf("<dict>") + 6,
                    "<key>pad</key><string>" + QByteArray(5 << 20, 'x') + "</string>");
        const Case cases[] = {
            {"no-network", {}, true, State::NoNetwork},
            {"same-version", file({{"VersionCheck", 100}, {"Version", "1.0.0"}, {"1", "Nothing new"}})},
            {"older-version", file({{"VersionCheck", 99}, {"Version", "0.9.9"}, {"1", "Old"}})},
            {"missing-file", {404, "<html>Not Found</html>", true, false}},
            {"slow-server", {200, {}, true, true}},
            {"not-a-property-list", {200, "<html><body>Welcome</body></html>", true, false}},
            {"several-megabytes", {200, huge, false, false}},
            {"several-megabytes-announced", {200, huge, true, false}},
            {"version-as-text", file({{"VersionCheck", "two hundred"}, {"Version", "2.0"}, {"1", "x"}})},
            {"negative-version", file({{"VersionCheck", -500}, {"Version", "2.0"}})},
        };
        for (const Case& c : cases) {
            UpdateServer server;
            QVERIFY(server.listen());
            server.setAnswer(kVersionFile, c.answer);
            qputenv("TAVRILL_SERVICE_ORIGIN",
                    c.serverDown ? QByteArray("http://127.0.0.1:") + QByteArray::number(closedPort())
                                 : server.origin().toUtf8());
            auto window = checkedWindow(300);
            QVERIFY2(window->state() == c.expected, c.name);
            QVERIFY2(shownViews(*window) == QList<State>{c.expected}, c.name);
            if (!c.serverDown)
                QVERIFY2(server.requested().contains(kVersionFile), c.name);
            if (qstrcmp(c.name, "no-network") == 0 || qstrcmp(c.name, "same-version") == 0)
                QVERIFY(saveScreenshot(window.get(), QStringLiteral("update"), QString::fromLatin1(c.name)));
        }
    }

    void listHeightFollowsItsRows() {
        QvCheckUpdateWindowController window;
        QCOMPARE(shownViews(window), QList<State>{State::Checking});
        QVERIFY(saveScreenshot(&window, QStringLiteral("update"), QStringLiteral("checking")));
        window.whatIsNewVersionDiff(UpdateInfo{500, QStringLiteral("5.0"), {}});
        QCOMPARE(window.state(), State::HaveUpdate);
        QVERIFY(listLines(window).isEmpty());
        QCOMPARE(window.showVersionScrollView()->size(),
                 QSize(QvCheckUpdateWindowController::kListWidth,
                       QvCheckUpdateWindowController::kListMinimumHeight));

        // Short lines: each row counts 30 however little it needs, each line is 20 high.
        const QStringList lines = {"One", "Two", "Three", "Four", "Five", "Six"};
        window.whatIsNewVersionDiff(UpdateInfo{500, QStringLiteral("5.0"), lines});
        QCOMPARE(window.showVersionScrollView()->height(), 6 * 30);
        const QList<QLabel*> shown = listLines(window);
        QCOMPARE(shown.size(), 6);
        for (int i = 0; i < shown.size(); ++i)
            QCOMPARE(shown.at(i)->geometry(),
                     QRect(0, i * 20, QvCheckUpdateWindowController::kListWidth, 20));

        // An update shown earlier leaves nothing behind when a later answer has none.
        window.whatIsNewVersionDiff(std::nullopt);
        QCOMPARE(shownViews(window), QList<State>{State::NoUpdate});
    }

    void closingAndQuittingFadeOutFirst() {
        qputenv("TAVRILL_SERVICE_ORIGIN", QByteArray("http://127.0.0.1:") + QByteArray::number(closedPort()));
        {
            auto window = checkedWindow();
            QTRY_COMPARE(window->windowOpacity(), 1.0); // faded in
            int terminated = 0;
            window->setTerminateHandler([&terminated] { ++terminated; });
            QTest::mouseClick(window->titleBarView()->closeButton(), Qt::LeftButton);
            QVERIFY(window->isVisible() && window->windowOpacity() > 0.0); // still fading
            QVERIFY(waitUntil([&] { return !window->isVisible(); }, 5000));
            QCOMPARE(window->windowOpacity(), 0.0);
            QCOMPARE(terminated, 0);
        }
        {
            auto window = checkedWindow();
            int terminated = 0;
            window->setTerminateHandler([&terminated] { ++terminated; });
            QVERIFY(!window->applicationShouldTerminate()); // waits for the fade
            QVERIFY(window->isVisible() && terminated == 0);
            QVERIFY(waitUntil([&] { return terminated > 0; }, 5000));
            QVERIFY(!window->isVisible());
            QVERIFY(window->applicationShouldTerminate()); // a second request quits at once
        }
    }

    void menuOpensTheWindowAndQuitWaitsForTheFade() {
        auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        UpdateServer server;
        QVERIFY(server.listen());
        qputenv("TAVRILL_SERVICE_ORIGIN", server.origin().toUtf8());
        server.setAnswer(kVersionFile, file({{"VersionCheck", 100}, {"Version", "1.0.0"}}));

        AppDelegate delegate;
        QVERIFY(delegate.applicationDidFinishLaunching());
        QList<int> exits;
        delegate.mainWindowController()->setProcessExit([&exits](int status) { exits << status; });
        QVERIFY(delegate.checkUpMenuItem->isEnabled());

        QvCheckUpdateWindowController* opened = nullptr;
        QList<int> exitsWhenAsked;
        connect(&delegate, &AppDelegate::modalWindowOpened, this, [&](QDialog* window) {
            opened = qobject_cast<QvCheckUpdateWindowController*>(window);
            if (!opened)
                return window->reject();
            connect(opened, &QvCheckUpdateWindowController::stateChanged, opened, [&] {
                delegate.quitMenuItemAction();
                exitsWhenAsked = exits;
            });
        });
        delegate.checkUpMenuItem->trigger(); // runs modally until the quit's fade has ended
        QVERIFY(opened);
        QVERIFY(exitsWhenAsked.isEmpty());
        QCOMPARE(exits, (QList<int>{0}));
        QCOMPARE(server.requested(), (QStringList{"/", kVersionFile}));
    }
};

TAVRILL_TEST(TestUpdateWindow)

#include "tst_updatewindow.moc"
