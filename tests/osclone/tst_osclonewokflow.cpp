#include "Pointer.h"
#include "Screenshot.h"
#include "TestMain.h"
#include "VolumesTestKit.h"
#include "Wait.h"
#include "app/MainWindowController.h"
#include "app/QuitQuestionPanel.h"
#include "diskmanager/RepairDiskViewController.h"
#include "osclone/SelectDrivceViewController.h"
#include "ui/ElidedLabel.h"
#include "ui/FlatButton.h"
#include "ui/ImageButton.h"
#include "ui/ImageView.h"
#include "ui/SelectValueView.h"
#include "ui/SetpFViewController.h"
#include "ui/StripedProgressBar.h"
#include "ui/TitleBarView.h"
#include "volumes/DriveLossView.h"

#include <QFileInfo>
#include <QLabel>
#include <QPointer>
#include <QRegularExpression>
#include <QTest>

namespace {

// A Mac on 10.15 whose system volume uses about 12 GB, with a 16 GB stick that takes it, an
// 8 GB one that does not and a 500 GB drive with two volumes.
std::unique_ptr<EmulatedMac> cloneMac(const QByteArray& asr = R"("stepDelayMs":30,"pieceDelayMs":20)") {
    return VolumesTestKit::machine(
        "10.15.7",
        R"({"name":"stick","mediaName":"SanDisk Cruzer","size":"16GB","scheme":"MBR",)"
        R"("partitions":[{"fs":"FAT32","name":"STICK"}]},{"name":"tiny","mediaName":"Generic Flash",)"
        R"("size":"8GB","scheme":"MBR","partitions":[{"fs":"FAT32","name":"TINY"}]},)" +
            VolumesTestKit::twoVolumeDrive(),
        R"("system":{"size":"500GB","used":"12GB"},"fullDiskAccess":false,"asr":{)" + asr + "}");
}

const QString kAdministrator =
    QStringLiteral("A clone asks for an administrator\u2019s name and password before it erases anything.");

struct Tab {
    std::unique_ptr<EmulatedMac> mac;
    std::unique_ptr<MainWindowController> window;
    SelectDrivceViewController* vc = nullptr;

    bool open(std::unique_ptr<EmulatedMac> machine, bool waitForSize = true) {
        mac = std::move(machine);
        if (!mac->isValid())
            return false;
        window = std::make_unique<MainWindowController>();
        window->window()->show();
        window->BootableButtonAction();
        vc = window->container(MainWindowController::OSCloneTab)->findChild<SelectDrivceViewController*>();
        // The system volume's size comes from a worker.
        return vc && QTest::qWaitForWindowExposed(window->window()) &&
               (!waitForSize || waitUntil([&] { return vc->usedSize() != -1; }, 10000));
    }

    // Opens the picker from the destination slot and clicks the drive with that model name.
    bool pick(const QString& model) {
        click(vc->targetSlot()->selectDiskBut());
        if (!waitUntil([&] { return vc->selectDiskVC() && !vc->selectDiskVC()->rows().isEmpty(); }, 20000))
            return false;
        for (DiskListViewController* row : vc->selectDiskVC()->rows()) {
            if (row->volumeObj()->volumeName().startsWith(model)) {
                click(row->aView());
                return vc->toVolume() == row->volumeObj();
            }
        }
        return false;
    }

    // Clone Now, then Clone Now in the confirmation, which names the drive.
    bool start(const QString& expectedInConfirmation) {
        click(vc->cloneButton());
        MakeSureToCloneSystemVC* confirmation = vc->startConfirmation();
        if (!confirmation || !confirmation->text().contains(expectedInConfirmation))
            return false;
        saveScreenshot(window->window(), QStringLiteral("osclone"), QStringLiteral("confirmation"));
        click(confirmation->cloneButton());
        return vc->copyProgressView()->isVisible() && !window->isTabChangeAllowed();
    }

    // The 16 GB stick picked and its clone started.
    bool pickAndStart() {
        return pick(QStringLiteral("SanDisk Cruzer")) && start(QStringLiteral("SanDisk Cruzer"));
    }

    bool ended() const { return vc->endView()->isVisible() && !QvBootable::QvShareInstance()->isRunning(); }
    QString errorPopupText() const { return vc->errorWindow() ? vc->errorWindow()->errorText() : QString(); }
};

} // namespace

// The "OS Clone" tab in the main window, driven through its widgets on an emulated Mac.
class TestOsCloneWorkflow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void cloneToTheEnd() {
        // diskutil answers about the system volume after 6 s: meanwhile the drive can be chosen, and
        // Clone Now waits for the size.
        auto mac = cloneMac();
        QVERIFY(mac->addFault(R"({"tool":"diskutil","verb":"info","device":"/","mode":"hang","seconds":6})"));
        Tab tab;
        QVERIFY(tab.open(std::move(mac), false));
        QList<int> exits;
        tab.window->setProcessExit([&exits](int status) { exits << status; });
        QCOMPARE(tab.vc->usedSize(), -1);
        QCOMPARE(tab.vc->sourceSlot()->nameLabel()->text(), QStringLiteral("System Drive"));
        QCOMPARE(tab.vc->targetSlot()->nodeSelectLabel()->text(),
                 QStringLiteral("Click here to select a destination drive."));
        QVERIFY(tab.vc->requirementsLabel()->isVisible());
        QCOMPARE(tab.vc->requirementsLabel()->text(), kAdministrator);
        saveScreenshot(tab.window->window(), QStringLiteral("osclone"), QStringLiteral("choose"));
        QVERIFY(tab.pick(QStringLiteral("SanDisk Cruzer")));
        QVERIFY(tab.vc->usedSize() != -1 || !tab.vc->cloneButton()->isEnabled());
        QVERIFY(waitUntil([&] { return tab.vc->usedSize() != -1; }, 20000));
        QVERIFY(tab.vc->usedSize() > 12'000'000'000LL && tab.vc->usedSize() < 16'000'000'000LL);
        QVERIFY(tab.vc->cloneButton()->isEnabled());

        // A drive too small for the system is refused; one that fits clears the warning.
        QVERIFY(tab.pick(QStringLiteral("Generic Flash")));
        QVERIFY(!tab.vc->cloneButton()->isEnabled());
        QVERIFY(tab.vc->targetSlot()->hasErrorBackground());
        QCOMPARE(tab.vc->targetSlot()->imageName(), QStringLiteral("add"));
        QCOMPARE(tab.errorPopupText(),
                 QStringLiteral(
                     "Insufficient disk space on this destination drive, please select another drive."));
        saveScreenshot(tab.window->window(), QStringLiteral("osclone"), QStringLiteral("too-small"));

        // The slot and the confirmation say which drive it is and what its erase destroys.
        QVERIFY(tab.pick(QStringLiteral("Samsung PSSD T7")));
        QVERIFY(!tab.vc->targetSlot()->hasErrorBackground());
        QVERIFY(
            waitUntil([&] { return !tab.vc->errorWindow() || !tab.vc->errorWindow()->isVisible(); }, 5000));
        QStringList slotLines;
        for (ElidedLabel* line : tab.vc->targetSlot()->detailLabels())
            slotLines << line->fullText();
        const QString volumes = QString::fromUtf8("Backup — 80.00 GB used, WINDOWS — 22.22 KB used");
        QCOMPARE(slotLines,
                 QStringList({QString::fromUtf8("Samsung PSSD T7 Media · USB · 500.11 GB"), volumes}));
        saveScreenshot(tab.window->window(), QStringLiteral("osclone"), QStringLiteral("target-identity"));
        click(tab.vc->cloneButton());
        MakeSureToCloneSystemVC* confirmation = tab.vc->startConfirmation();
        QVERIFY(confirmation);
        QCOMPARE(confirmation->lossView()->lines(),
                 QStringList({QStringLiteral("/dev/disk4"),
                              QString::fromUtf8("Samsung PSSD T7 Media · USB · 500.11 GB"),
                              QString::fromUtf8("• Backup — 80.00 GB used"),
                              QString::fromUtf8("• WINDOWS — 22.22 KB used"),
                              QStringLiteral("80.00 GB of data will be erased.")}));
        saveScreenshot(tab.window->window(), QStringLiteral("osclone"),
                       QStringLiteral("confirmation-identity"));
        // Return presses nothing: the erase needs the click on "Clone Now" itself.
        QVERIFY(!confirmation->cloneButton()->isDefault());
        QTest::keyClick(confirmation->window(), Qt::Key_Return);
        QTest::keyClick(confirmation->focusWidget() ? confirmation->focusWidget() : confirmation,
                        Qt::Key_Return);
        QTest::qWait(200);
        QVERIFY(tab.vc->startConfirmation());
        // "Cancel" in it changes nothing.
        click(confirmation->cancelButton());
        QVERIFY(waitUntil([&] { return !tab.vc->startConfirmation(); }, 2000));
        QVERIFY(tab.vc->selectDiskView()->isVisible());
        // Another drive chosen while it is up closes it unanswered: it named the T7.
        click(tab.vc->cloneButton());
        const QPointer<MakeSureToCloneSystemVC> asked = tab.vc->startConfirmation();
        QVERIFY(asked);
        QVERIFY(tab.pick(QStringLiteral("SanDisk Cruzer")));
        QVERIFY(waitUntil([&] { return asked.isNull(); }, 2000));
        QVERIFY(!tab.vc->startConfirmation());

        QVERIFY(tab.pick(QStringLiteral("SanDisk Cruzer")));
        QCOMPARE(tab.vc->targetSlot()->sizeLabel()->text(), QStringLiteral("16.00 GB free"));
        QVERIFY(tab.vc->cloneButton()->isEnabled());
        saveScreenshot(tab.window->window(), QStringLiteral("osclone"), QStringLiteral("target-chosen"));
        QVERIFY(tab.start(QStringLiteral("SanDisk Cruzer Media\u201d (16.00 GB)")));
        // While it runs: the other tabs do not open; the Mac is kept awake from before the erase.
        QVERIFY(
            waitUntil([&] { return tab.vc->animImageView()->imageName() == QLatin1String("copy"); }, 30000));
        QCOMPARE(tab.vc->stepFVC()->currentStep(), 3);
        QCOMPARE(tab.vc->pathLabel()->text(), QStringLiteral("Cloning..."));
        tab.window->TopDiskToolButtonAction();
        QCOMPARE(tab.window->currentTab(), int(MainWindowController::OSCloneTab));
        const QList<QStringList> calls = tab.mac->calls();
        const qsizetype awake = calls.indexOf(
            QStringList{"caffeinate", "-i", "-w", QString::number(QCoreApplication::applicationPid())});
        QVERIFY(awake >= 0 && awake < calls.indexOf(QStringList{"diskutil", "eraseDisk", "JHFS+",
                                                                "NewCloneSystem", "disk2"}));
        QCOMPARE(tab.mac->runningCallPids("caffeinate").size(), 1);
        // Closing the window asks first; the drive is erased by now: the question says what stopping
        // leaves. Its "Keep Working" lets the clone go on.
        click(tab.window->titleBarView()->closeButton());
        QuitQuestionPanel* question = tab.window->quitQuestion();
        QVERIFY(question && question->isVisible());
        QCOMPARE(question->titleLabel()->text(), QStringLiteral("Stop cloning and quit?"));
        QCOMPARE(question->text(),
                 QStringLiteral("Tavrill is cloning the system onto the drive. If you quit now, the "
                                "drive is left erased and will not be able to start up a Mac."));
        saveScreenshot(tab.window->window(), QStringLiteral("osclone"), QStringLiteral("quit-question"));
        click(question->keepWorkingButton());
        // The bar moves through both passes.
        QVERIFY(waitUntil([&] { return tab.vc->iProgreeBar()->doubleValue() > 0.68; }, 30000));
        // The time since the start; once a pass has gone a while, about how long it has left.
        const QString times = tab.vc->progressLine()->text();
        QVERIFY2(QRegularExpression(
                     QStringLiteral("^\\d+:\\d\\d elapsed( \u00b7 about \\d+ (s|min) left in this pass)?$"))
                     .match(times)
                     .hasMatch(),
                 qPrintable(times));
        saveScreenshot(tab.window->window(), QStringLiteral("osclone"), QStringLiteral("cloning"));

        QVERIFY(waitUntil([&] { return tab.ended(); }, 60000));
        QVERIFY(tab.vc->sussView()->isVisible());
        QVERIFY(!tab.vc->failView()->isVisible());
        QCOMPARE(tab.vc->iProgreeBar()->doubleValue(), 1.0);
        QCOMPARE(tab.vc->stepFVC()->currentStep(), 4);
        QVERIFY(tab.window->isTabChangeAllowed());
        QCOMPARE(exits, QList<int>());
        QVERIFY(QFileInfo(tab.mac->host("/Volumes/Macintosh HD 1/Applications")).isDir());
        saveScreenshot(tab.window->window(), QStringLiteral("osclone"), QStringLiteral("success"));
        // The root session's loop and caffeinate leave just after the end view.
        QVERIFY(waitUntil([&] { return tab.mac->runningCallPids().isEmpty(); }, 10000));
        QCOMPARE(tab.mac->events("caffeinate"), QStringList{"end"});
        // The Disk Manager lists the clone's volume on its own, with no refresh asked for.
        auto* manager = tab.window->container(MainWindowController::DiskManagerTab)
                            ->findChild<RepairDiskViewController*>();
        QVERIFY(manager);
        const QString clone =
            QStringLiteral("/dev/") + VolumesTestKit::deviceOf(*tab.mac, "/Volumes/Macintosh HD 1");
        QVERIFY(waitUntil(
            [&] {
                for (const VolumeObjRef& v : manager->allVolumeArr()) {
                    if (v->volumePath() == clone)
                        return !manager->isScanV();
                }
                return false;
            },
            20000));

        click(tab.vc->succCancelButton());
        QVERIFY(tab.vc->selectDiskView()->isVisible());
        QVERIFY(!tab.vc->toVolume());
        QVERIFY(!tab.vc->cloneButton()->isEnabled());
    }

    void failuresAreShown_data() {
        QTest::addColumn<QString>("cause"); // "stop", "unplug", "quit" or the answer to the rights dialog
        QTest::addColumn<QString>("text");
        QTest::newRow("stopped") << "stop"
                                 << "You have stopped the clone process.";
        QTest::newRow("unplugged") << "unplug"
                                   << "USB device unplugged, Please reconnect the device and try again.";
        QTest::newRow("rights refused")
            << "deny"
            << "Cloning the system needs the name and password of an administrator of this Mac. "
               "They were not accepted, so nothing was erased.";
        QTest::newRow("rights cancelled") << "cancel"
                                          << "The administrator password was not given, so the clone did not "
                                             "start and nothing was erased.";
        // The application's quit, then "Stop and Quit" in its question.
        QTest::newRow("quit, stop and quit") << "quit"
                                             << "You have stopped the clone process.";
    }

    void failuresAreShown() {
        QFETCH(QString, cause);
        QFETCH(QString, text);
        Tab tab;
        // Told to stop, the restore tool takes 1.5 s to end.
        QVERIFY(tab.open(cloneMac("\"stepDelayMs\":200,\"pieceDelayMs\":0,\"stopDelayMs\":1500")));
        QList<int> exits;
        tab.window->setProcessExit([&exits](int status) { exits << status; });
        const bool running = cause == "stop" || cause == "unplug" || cause == "quit";
        QVERIFY(running || tab.mac->setAuthorization(cause));
        QVERIFY(tab.pickAndStart());
        if (running)
            QVERIFY(waitUntil([&] { return tab.vc->iProgreeBar()->doubleValue() >= 0.41; }, 30000));
        if (cause == "unplug")
            QVERIFY(tab.mac->unplug("stick"));
        if (cause == "quit") {
            QEvent quit(QEvent::Quit);
            QCoreApplication::sendEvent(qApp, &quit);
            QuitQuestionPanel* question = tab.window->quitQuestion();
            QVERIFY(question && question->isVisible());
            QCOMPARE(question->titleLabel()->text(), QStringLiteral("Stop cloning and quit?"));
            QCOMPARE(exits, QList<int>());
            click(question->stopAndQuitButton());
            QVERIFY(waitUntil([&] { return !exits.isEmpty(); }, 20000));
            QCOMPARE(exits, QList<int>{0});
            // The clone was stopped; the restore tool and everything else Tavrill started have ended.
            QCOMPARE(tab.vc->errorLable()->text(), text);
            QVERIFY(!QvBootable::QvShareInstance()->isRunning());
            QCOMPARE(tab.mac->runningCallPids(), QList<qint64>());
            QCOMPARE(tab.mac->events("caffeinate"), QStringList{"end"});
            return;
        }
        if (cause == "stop") {
            // "Continue" in the question lets it go on.
            click(tab.vc->cancelButton());
            QVERIFY(tab.vc->cancelConfirmation());
            saveScreenshot(tab.window->window(), QStringLiteral("osclone"),
                           QStringLiteral("cancel-confirmation"));
            const double before = tab.vc->iProgreeBar()->doubleValue();
            click(tab.vc->cancelConfirmation()->continueButton());
            QVERIFY(tab.vc->progressView()->isVisible());
            QCOMPARE(tab.vc->iProgreeBar()->doubleValue(), before);
            QVERIFY(!tab.window->isTabChangeAllowed());
            // Its "Cancel" stops it. Until the restore tool has ended, the progress view says it is
            // stopping and nothing can be pressed; a report of the stopped run (the killed restore's
            // failure) shows nothing.
            click(tab.vc->cancelButton());
            click(tab.vc->cancelConfirmation()->cancelButton());
            QVERIFY(tab.vc->progressView()->isVisible());
            QCOMPARE(tab.vc->pathLabel()->text(),
                     QStringLiteral("Stopping the clone: waiting for the disk tools to end\u2026"));
            QCOMPARE(tab.vc->cancelButton()->text(), QStringLiteral("Stopping\u2026"));
            QVERIFY(!tab.vc->cancelButton()->isEnabled());
            QVERIFY(!tab.window->isTabChangeAllowed());
            saveScreenshot(tab.window->window(), QStringLiteral("osclone"), QStringLiteral("stopping"));
            const QvProgressRecord failed{-7, 0, 0}, last{0, 8, 100};
            tab.vc->QvUINotify(&failed);
            QVERIFY(waitUntil([&] { return tab.vc->failView()->isVisible(); }, 30000));
            QCOMPARE(tab.mac->runningTools("asr"), QList<qint64>());
            QCOMPARE(tab.vc->errorLable()->text(), text);
            QCOMPARE(tab.vc->cancelButton()->text(), QStringLiteral("Cancel"));
            // Reports that come after the end change nothing either.
            tab.vc->QvUINotify(&failed);
            tab.vc->QvUINotify(&last);
            tab.vc->changeProTimeWithTag(10, 2);
        }
        QVERIFY(waitUntil([&] { return tab.ended(); }, 30000));
        QVERIFY(tab.vc->failView()->isVisible());
        QVERIFY(!tab.vc->sussView()->isVisible());
        QVERIFY(tab.window->isTabChangeAllowed());
        QCOMPARE(tab.vc->errorLable()->text(), text);
        if (cause != "stop")
            QCOMPARE(tab.errorPopupText(), text);
        else
            QCOMPARE(tab.errorPopupText(), QString());
        saveScreenshot(tab.window->window(), QStringLiteral("osclone"), QStringLiteral("failed-") + cause);
        click(tab.vc->failCancelButton());
        QVERIFY(tab.vc->selectDiskView()->isVisible());
    }

    void fullDiskAccessSaidFromVentura() {
        // Before Ventura the lack of it goes unsaid (cloneToTheEnd, on 10.15 without it).
        for (const bool access : {true, false}) {
            Tab tab;
            QVERIFY(tab.open(EmulatedMac::fromJson(R"({"version":"13.6","fullDiskAccess":)" +
                                                   QByteArray(access ? "true}" : "false}"))));
            QVERIFY(tab.vc->requirementsLabel()->isVisible());
            QCOMPARE(tab.vc->requirementsLabel()->text(),
                     access
                         ? kAdministrator
                         : QStringLiteral("This macOS lets Tavrill clone the running system only with Full "
                                          "Disk Access: turn it on in System Settings \u203a Privacy & "
                                          "Security \u203a Full Disk Access, then open Tavrill again."));
            saveScreenshot(tab.window->window(), QStringLiteral("osclone"),
                           QStringLiteral("needs-%1full-disk-access-13.6").arg(access ? "" : "no-"));
        }
    }
};

TAVRILL_TEST(TestOsCloneWorkflow)

#include "tst_osclonewokflow.moc"
