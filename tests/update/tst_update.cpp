#include "EmulatedMac.h"
#include "Screenshot.h"
#include "TestMain.h"
#include "UrlCatcher.h"
#include "Wait.h"
#include "app/AppDelegate.h"
#include "app/MainWindowController.h"
#include "core/PropertyList.h"
#include "core/ServiceAddress.h"
#include "ui/FlatButton.h"
#include "ui/ImageButton.h"
#include "ui/TitleBarView.h"
#include "update/QvCheckUpdateWindowController.h"
#include "update/UpdateInfo.h"

#include <QAction>
#include <QDesktopServices>
#include <QLabel>
#include <QScrollArea>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTextDocument>

#include <algorithm>
#include <memory>

namespace {

// A small HTTP server on the loopback interface for the update check: it answers each path
// with what the test set for it, a plain 404 for the rest, and remembers the paths asked.
struct UpdateServer {
    struct Answer {
        int status = 200;
        QByteArray body;
        bool withLength = true; // false: no Content-Length, the end of the body is the close
        bool never = false;     // read the request and never answer
    };
    QHash<QString, Answer> answers;
    QStringList requested;
    QTcpServer tcp; // last, so that its connections go first

    // Listens and becomes the origin of every service address.
    bool listenAsTheService() {
        QObject::connect(&tcp, &QTcpServer::newConnection, &tcp, [this] {
            while (QTcpSocket* socket = tcp.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { answer(socket); });
            }
        });
        if (!tcp.listen(QHostAddress::LocalHost))
            return false;
        qputenv("TAVRILL_SERVICE_ORIGIN", origin().toUtf8());
        return true;
    }
    QString origin() const { return QStringLiteral("http://127.0.0.1:%1").arg(tcp.serverPort()); }

    void answer(QTcpSocket* socket) {
        // Wait for the whole head of the request; only its first line matters.
        if (!socket->peek(64 * 1024).contains("\r\n\r\n") || socket->property("asked").toBool())
            return;
        socket->setProperty("asked", true);
        const QList<QByteArray> requestLine = socket->readLine().trimmed().split(' ');
        const QString path = requestLine.size() >= 2 ? QString::fromLatin1(requestLine.at(1)) : QString();
        requested << path;
        const Answer reply = answers.value(path, Answer{404, "Not Found", true, false});
        if (reply.never)
            return;
        QByteArray head = "HTTP/1.1 " + QByteArray::number(reply.status) +
                          (reply.status == 200 ? " OK" : " Not Found") +
                          "\r\nContent-Type: application/xml\r\nConnection: close\r\n";
        if (reply.withLength)
            head += "Content-Length: " + QByteArray::number(reply.body.size()) + "\r\n";
        socket->write(head + "\r\n" + reply.body);
        socket->disconnectFromHost();
    }
};

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
    for (const auto& [view, state] : {std::pair<QWidget*, State>{window.checkProgressView(), State::Checking},
                                      {window.noNetworkView(), State::NoNetwork},
                                      {window.noUpdateView(), State::NoUpdate},
                                      {window.haveUpdateView(), State::HaveUpdate}})
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

// An origin on the loopback interface where nothing listens (port 1 is reserved).
const char* const kNobodyListens = "http://127.0.0.1:1";

// The offscreen platform cannot make windows see-through and says so on every step of a fade.
QtMessageHandler testHandler = nullptr;

void withoutOpacityNotes(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (!message.contains(QLatin1String("does not support setting window opacity")))
        testHandler(type, context, message);
}

} // namespace

// The update information, its check and the window that shows what it found.
class TestUpdate : public QObject {
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
        QVERIFY(server.listenAsTheService());
        const QString markup =
            QStringLiteral("<b>Bold</b> <img src=\"http://127.0.0.1:1/x.png\"> &amp; more");
        const QString unbroken = QString(1500, QLatin1Char('W'));
        // The build number as text, lines out of order in the file.
        server.answers.insert(kVersionFile, file({{"VersionCheck", " 101 "},
                                                  {"Version", "1.1.0"},
                                                  {"4", unbroken},
                                                  {"2", "Faster copies to USB drives"},
                                                  {"1", "Clone onto drives of any size"},
                                                  {"3", markup}}));
        server.answers.insert(QStringLiteral("/"), UpdateServer::Answer{200, "<html>up</html>", true, false});

        auto window = checkedWindow();
        QCOMPARE(shownViews(*window), QList<State>{State::HaveUpdate});
        QCOMPARE(server.requested, (QStringList{"/", kVersionFile}));
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
        QVERIFY(shownText(longLine).endsWith(QString(999, QLatin1Char('W')) + QChar(0x2026)));
        QVERIFY(window->changeValueScrollView()->viewport()->width() >= 414);
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
        // Larger than any update information: cut off while it streams in (no length announced).
        QByteArray huge = PropertyList::toXml(QVariantMap{{"VersionCheck", 900}, {"Version", "9"}});
        huge.insert(huge.indexOf("<dict>") + 6,
                    "<key>pad</key><string>" + QByteArray(5 << 20, 'x') + "</string>");
        const Case cases[] = {
            {"no-network", {}, true, State::NoNetwork},
            {"same-version", file({{"VersionCheck", 100}, {"Version", "1.0.0"}, {"1", "Nothing new"}})},
            {"missing-file", {404, "<html>Not Found</html>", true, false}},
            {"slow-server", {200, {}, true, true}},
            {"several-megabytes", {200, huge, false, false}},
        };
        for (const Case& c : cases) {
            UpdateServer server;
            QVERIFY(server.listenAsTheService());
            server.answers.insert(kVersionFile, c.answer);
            if (c.serverDown)
                qputenv("TAVRILL_SERVICE_ORIGIN", kNobodyListens);
            auto window = checkedWindow(300);
            QVERIFY2(shownViews(*window) == QList<State>{c.expected}, c.name);
            if (!c.serverDown)
                QVERIFY2(server.requested.contains(kVersionFile), c.name);
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
        QCOMPARE(window.showVersionScrollView()->size(), QSize(414, 121));

        // Short lines: each row counts 30 however little it needs, each line is 20 high.
        const QStringList lines = {"One", "Two", "Three", "Four", "Five", "Six"};
        window.whatIsNewVersionDiff(UpdateInfo{500, QStringLiteral("5.0"), lines});
        QCOMPARE(window.showVersionScrollView()->height(), 6 * 30);
        const QList<QLabel*> shown = listLines(window);
        QCOMPARE(shown.size(), 6);
        for (int i = 0; i < shown.size(); ++i)
            QCOMPARE(shown.at(i)->geometry(), QRect(0, i * 20, 414, 20));

        // An update shown earlier leaves nothing behind when a later answer has none.
        window.whatIsNewVersionDiff(std::nullopt);
        QCOMPARE(shownViews(window), QList<State>{State::NoUpdate});
    }

    void closingFadesOutFirst() {
        // Quitting waits for the fade too: menuOpensTheWindowAndQuitWaitsForTheFade.
        qputenv("TAVRILL_SERVICE_ORIGIN", kNobodyListens);
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

    void menuOpensTheWindowAndQuitWaitsForTheFade() {
        auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        UpdateServer server;
        QVERIFY(server.listenAsTheService());
        server.answers.insert(kVersionFile, file({{"VersionCheck", 100}, {"Version", "1.0.0"}}));

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
    }

    void readsVersionBuildAndLinesInNumberOrder() {
        // Lines come by number (whatever their order in the file: newerVersionListsWhatIsNewInOrder,
        // which also compares builds); a missing number leaves an empty line, and the count is the
        // number of entries besides the version keys.
        const auto info = UpdateInfoReader::read(PropertyList::toXml(
            QVariantMap{{"VersionCheck", 120}, {"Version", "1.2.0"}, {"1", "a"}, {"3", "c"}, {"7", 7}}));
        QVERIFY(info);
        QCOMPARE(info->versionCheck, 120);
        QCOMPARE(info->version, QStringLiteral("1.2.0"));
        QCOMPARE(info->lines, (QStringList{"a", QString(), "c"}));
        const auto containers =
            UpdateInfoReader::read(PropertyList::toXml(QVariantMap{{"1", QVariantList{"x"}}, {"2", 42}}));
        QCOMPARE(containers->lines, (QStringList{QString(), "42"}));
        QVERIFY(!isNewerVersion(std::nullopt, 0)); // nothing fetched reads as build 0

        // Build numbers: integers, or strings that hold one (" 101 " in
        // newerVersionListsWhatIsNewInOrder): the largest integer a property list holds is a newer
        // build; text, negative and oversized numbers never are.
        const auto huge = UpdateInfoReader::read(
            "<plist><dict><key>VersionCheck</key><integer>9223372036854775807</integer></dict></plist>");
        QVERIFY(huge && isNewerVersion(huge, 100));
        for (const char* value : {"<string>soon</string>", "<integer>-3</integer>", "<real>1e300</real>",
                                  "<string>18446744073709551617</string>"}) {
            const QByteArray file =
                QByteArray("<plist><dict><key>VersionCheck</key>") + value + "</dict></plist>";
            const auto odd = UpdateInfoReader::read(file);
            QVERIFY2(odd && !isNewerVersion(odd, 100), value);
        }
        QVERIFY(localBuildNumber() > 0); // the shipped settings carry this copy's build number
    }

    void unusableFilesAndBounds() {
        for (const QByteArray& bytes :
             {QByteArray(), QByteArray("<html><body>Not here</body></html>"),
              QByteArray("<plist><dict><key>VersionCheck</key>"), PropertyList::toXml(QVariantList{1, 2}),
              QByteArray("bplist00\xff\xff", 10)})
            QVERIFY2(!UpdateInfoReader::read(bytes), bytes.constData());

        // A file over the size limit is not even parsed, however well formed.
        QByteArray big = PropertyList::toXml(
            QVariantMap{{"VersionCheck", 500}, {"1", QString(1024 * 1024, QLatin1Char('x'))}});
        QVERIFY(!UpdateInfoReader::read(big));

        // Nesting that a recursive reader could not survive.
        QByteArray deep = "<plist><dict><key>1</key>";
        for (int i = 0; i < 100000; ++i)
            deep += "<array>";
        QVERIFY(deep.size() < 1024 * 1024);
        UpdateInfoReader::read(deep);

        // Many lines are cut to what the list shows (a long one: newerVersionListsWhatIsNewInOrder).
        QVariantMap many{{"VersionCheck", 500}, {"Version", QString(500, QLatin1Char('9'))}};
        for (int i = 1; i <= 5000; ++i)
            many.insert(QString::number(i), QStringLiteral("line %1 ").arg(i));
        const auto info = UpdateInfoReader::read(PropertyList::toXml(many));
        QVERIFY(info);
        QCOMPARE(info->lines.size(), 200);
        QCOMPARE(info->lines.last(), QStringLiteral("line 200 "));
        QCOMPARE(info->version.size(), 64);
    }

    void testOriginOnlyReplacesLoopbackOrigins() {
        const QString address = QStringLiteral("https://www.kelvaro.com/update/tavrill/version.plist?x=1");
        qputenv("TAVRILL_SERVICE_ORIGIN", "http://127.0.0.1:4711");
        QCOMPARE(serviceAddress(address),
                 QStringLiteral("http://127.0.0.1:4711/update/tavrill/version.plist?x=1"));
        QCOMPARE(serviceAddress(QStringLiteral("http://www.example.com/")),
                 QStringLiteral("http://127.0.0.1:4711/"));
        for (const char* elsewhere :
             {"http://10.0.0.7:80", "https://127.0.0.1:4711", "http://evil.example:80",
              "http://127.0.0.1:4711/path", "127.0.0.1:4711"}) {
            qputenv("TAVRILL_SERVICE_ORIGIN", elsewhere);
            QCOMPARE(serviceAddress(address), address);
        }
    }
};

TAVRILL_TEST(TestUpdate)

#include "tst_update.moc"
