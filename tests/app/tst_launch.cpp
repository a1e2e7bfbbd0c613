#include "EmulatedMac.h"
#include "Screenshot.h"
#include "TestMain.h"
#include "UrlCatcher.h"
#include "app/AboutWindow.h"
#include "app/AppDelegate.h"
#include "app/MainWindowController.h"
#include "platform/gui/SingleInstance.h"

#include <QAction>
#include <QDesktopServices>
#include <QDialog>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QMenu>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTimer>
#include <QUrl>

#include <atomic>
#include <memory>

namespace {

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

class TestLaunch : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void secondCopyExitsAndBringsTheFirstForward() {
        auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        // On an emulated Mac the socket lies in the machine's /tmp, out of the host's way.
        const QString socket = mac->host(QStringLiteral("/tmp/com.kelvaro.clone.instance"));

        QProcess first;
        prepare(first, *mac);
        first.start();
        QVERIFY(first.waitForStarted());
        // The first copy is ready once it listens.
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(socket), 30000);
        QCOMPARE(first.state(), QProcess::Running);

        QProcess second;
        prepare(second, *mac);
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

        first.kill();
        first.waitForFinished();
    }

    void leftoverSocketIsReclaimedAndInstancesKeptApartByIdentifier() {
        auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        // A copy that crashed left its socket file behind; nobody answers on it.
        QFile leftover(mac->host(QStringLiteral("/tmp/com.kelvaro.clone.test.instance")));
        QVERIFY(leftover.open(QIODevice::WriteOnly));
        leftover.close();
        SingleInstance first(QStringLiteral("com.kelvaro.clone.test"));
        QSignalSpy forward(&first, &SingleInstance::bringToFrontRequested);
        QVERIFY(!first.checkAndClaim());
        QVERIFY(first.isListening());

        // Later copies ask from another thread, as another process would, while this thread's
        // event loop lets the first copy answer.
        std::atomic<int> sameFound{-1};
        std::atomic<int> otherFound{-1};
        std::unique_ptr<QThread> later(QThread::create([&] {
            SingleInstance same(QStringLiteral("com.kelvaro.clone.test"));
            sameFound = same.checkAndClaim() ? 1 : 0;
            SingleInstance other(QStringLiteral("com.kelvaro.other"));
            otherFound = other.checkAndClaim() ? 1 : 0;
        }));
        later->start();
        QTRY_VERIFY_WITH_TIMEOUT(otherFound.load() != -1, 20000);
        QVERIFY(later->wait(5000));
        QCOMPARE(sameFound.load(), 1);
        QCOMPARE(otherFound.load(), 0); // a copy with another identifier does not count
        QCOMPARE(forward.count(), 1);
    }

    void screenshotRunSavesEveryTabAndEndsWithStatusZero() {
        auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        const QString folder = screenshotFolder(QStringLiteral("app"));
        QDir(folder).removeRecursively();

        QProcess app;
        prepare(
            app, *mac,
            {QStringLiteral("TAVRILL_SCREENSHOTS=") + folder, QStringLiteral("TAVRILL_SCREENSHOTS_QUIT=1")});
        app.start();
        QVERIFY(app.waitForFinished(60000));
        // The run ends through the close button's road: at once, with status 0.
        QCOMPARE(app.exitStatus(), QProcess::NormalExit);
        QCOMPARE(app.exitCode(), 0);
        const QStringList shots = QDir(folder).entryList({QStringLiteral("*.png")}, QDir::Files, QDir::Name);
        QCOMPARE(shots, (QStringList{"1-disk-copy.png", "2-os-clone.png", "3-disk-image-create.png",
                                     "4-disk-manager.png"}));
        for (const QString& shot : shots)
            QVERIFY(!QImage(QDir(folder).filePath(shot)).isNull());
    }

    void menuOpensLinksAndWindows() {
        auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        UrlCatcher recorder;
        QDesktopServices::setUrlHandler(QStringLiteral("https"), &recorder, "openUrl");

        AppDelegate::setUpdateWindowFactory({});
        AppDelegate delegate;
        QVERIFY(delegate.applicationDidFinishLaunching());
        QVERIFY(delegate.mainWindowController()->window()->isVisible());
        delegate.mainWindowController()->setProcessExit([](int) {});

        delegate.userGuideMenuItemAction();
        delegate.helpMenuItemAction();
        QCOMPARE(recorder.opened, (QList<QUrl>{QUrl("https://www.kelvaro.com/tavrill/guide/"),
                                               QUrl("https://www.kelvaro.com/support/")}));

        // Every item of the menu does something: the links among them open addresses.
        QVERIFY(delegate.applicationMenu());
        QVERIFY(delegate.lineMenuItem && delegate.lineMenuItem->isSeparator());
        QVERIFY(!delegate.checkUpMenuItem->isEnabled()); // no update window to open
        recorder.opened.clear();
        const QList<QAction*> items = delegate.applicationMenu()->actions();
        for (QAction* item : items) {
            if (item->menu()) {
                for (QAction* link : item->menu()->actions())
                    link->trigger();
            }
        }
        QCOMPARE(recorder.opened.size(), 3);
        for (const QUrl& url : recorder.opened)
            QVERIFY2(url.toString().startsWith(QStringLiteral("https://www.kelvaro.com/")),
                     qPrintable(url.toString()));

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

        // The update window, once its screen provides one, runs modally.
        int updateWindows = 0;
        AppDelegate::setUpdateWindowFactory([&updateWindows](QWidget* parent) {
            ++updateWindows;
            return new QDialog(parent);
        });
        delegate.checkUpdateMenuItemAction();
        QCOMPARE(updateWindows, 1);
        AppDelegate::setUpdateWindowFactory({});
        QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
    }
};

TAVRILL_TEST(TestLaunch)

#include "tst_launch.moc"
