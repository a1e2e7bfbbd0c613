#include "DiskImageTestKit.h"
#include "FileListTestKit.h"
#include "Pointer.h"
#include "Screenshot.h"
#include "TestMain.h"
#include "TreeCompare.h"
#include "UrlCatcher.h"
#include "Wait.h"
#include "app/MainWindowController.h"
#include "app/QuitQuestionPanel.h"
#include "diskimage/DMGMakeSureWC.h"
#include "diskimage/DmgViewController.h"
#include "filecopy/ListFileViewController.h"
#include "platform/Machine.h"
#include "platform/Shell.h"
#include "ui/DragView.h"
#include "ui/ErrorWindowController.h"
#include "ui/FlatButton.h"
#include "ui/ImageButton.h"
#include "ui/Popover.h"
#include "ui/SelectValueView.h"
#include "ui/SetpViewController.h"
#include "ui/StripedProgressBar.h"
#include "ui/TitleBarView.h"
#include "volumes/DiskListViewController.h"

#include <QComboBox>
#include <QDesktopServices>
#include <QDir>
#include <QElapsedTimer>
#include <QLabel>
#include <QMimeData>
#include <QPointer>
#include <QRadioButton>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

using namespace DiskImageTestKit;

namespace {

// The main window with the Disk Image tab showing.
struct Window {
    MainWindowController main;
    DmgViewController* tab = nullptr;
    Window() {
        main.showWindow();
        main.TopDmgButtonAction();
        tab = qobject_cast<DmgViewController*>(main.featureView(MainWindowController::DiskImageTab));
    }
    void shot(const QString& name) { saveScreenshot(main.window(), QStringLiteral("diskimage"), name); }
};

// Opens a slot's drive picker and clicks the row of the named volume.
bool pick(Window& w, SelectValueView* slot, const QString& name) {
    click(slot->selectDiskBut());
    Popover* popover = w.tab->pickerPopover();
    auto* picker = popover ? qobject_cast<SelectDiskViewController*>(popover->content()) : nullptr;
    if (!picker || !waitUntil([&] { return !picker->rows().isEmpty(); }, 20000))
        return false;
    for (DiskListViewController* row : picker->rows()) {
        if (row->volumeObj()->volumeName() == name) {
            QTest::mouseClick(row->aView(), Qt::LeftButton, {}, QPoint(100, 30));
            return waitUntil([&] { return !w.tab->pickerPopover() || !w.tab->pickerPopover()->isShown(); },
                             5000);
        }
    }
    return false;
}

bool pickSrcAndDest(Window& w) {
    return pick(w, w.tab->fromSlot(), "SRC") && pick(w, w.tab->toSlot(), "DEST");
}

template <typename T> T* shown(Window& w) {
    for (T* t : w.main.window()->findChildren<T*>()) {
        if (t->isVisible())
            return t;
    }
    return nullptr;
}

// The message of the error popup now up, which is then closed with its "Done".
QString takeError(Window& w) {
    ErrorWindowController* error = nullptr;
    waitUntil([&] { return (error = shown<ErrorWindowController>(w)) != nullptr; }, 2000);
    if (!error)
        return QString();
    const QString text = error->errorText();
    click(error->doneButton());
    waitUntil([&] { return shown<ErrorWindowController>(w) == nullptr; }, 2000);
    return text;
}

// "Create Now", then "Create Image" (or "Cancel") in the confirmation; answers the confirmation's
// text.
QString createAndConfirm(Window& w, const QString& picture = QString(), bool accept = true) {
    click(w.tab->createButton());
    DMGMakeSureWC* confirm = nullptr;
    if (!waitUntil([&] { return (confirm = shown<DMGMakeSureWC>(w)) != nullptr; }, 20000))
        return QString();
    if (!picture.isEmpty())
        w.shot(picture);
    const QString text = confirm->textLabel()->text();
    click(accept ? confirm->okButton() : confirm->cancelButton());
    return text;
}

// Waits for the end of the run; answers whether it ended in that view (the success or the failure
// view), saying what the failure view shows when it did not.
bool endsIn(Window& w, QWidget* view) {
    waitUntil([&] { return w.tab->successView()->isVisible() || w.tab->failView()->isVisible(); }, 60000);
    if (!view->isVisible())
        qWarning("%s", qPrintable(w.tab->errorLabel()->text()));
    return view->isVisible();
}

QString onlyFileIn(const QString& hostFolder, const QString& suffix) {
    const QStringList found = QDir(hostFolder).entryList({"Tavrill(*)" + suffix}, QDir::Files);
    return found.size() == 1 ? hostFolder + "/" + found.first() : QString();
}

} // namespace

class TestDmgWorkflow : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void volumeImageThenChosenFilesZipped() {
        auto mac = machine();
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        QVERIFY(writeHostFile(mac->host("/Volumes/SRC/.fseventsd/0000001"), "events"));
        Window w;
        QVERIFY(w.tab);
        QVERIFY(!w.tab->createButton()->isEnabled());
        QVERIFY(pickSrcAndDest(w));
        QCOMPARE(w.tab->toSlot()->nameLabel()->text(), QStringLiteral("DEST"));
        QVERIFY(w.tab->createButton()->isEnabled());

        mac->clearLog();
        QCOMPARE(
            createAndConfirm(w, "03-confirm"),
            QStringLiteral("The selection will be packed into a disk image (.dmg) on \u201cDEST\u201d."));
        QVERIFY(!w.main.isTabChangeAllowed());
        QVERIFY(w.tab->progressView()->isVisible());
        QVERIFY(endsIn(w, w.tab->successView()));
        QVERIFY(w.main.isTabChangeAllowed());
        w.shot("05-success");

        // The image holds the volume's top level, the listing's skip list (.fseventsd) left out.
        const QString image = onlyFileIn(mac->host("/Volumes/DEST"), ".dmg");
        QVERIFY(!image.isEmpty());
        QTemporaryDir inside;
        QVERIFY(mac->extractImage(Machine::macPath(image), inside.path()));
        const auto all = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
        QCOMPARE(QDir(inside.path()).entryList(all, QDir::Name),
                 (QStringList{".hidden1", "Empty", "File 001.txt", "File 002.txt", "File 003.txt",
                              "Folder 01", "Folder 02", "Notes.txt", "Photos", "Report.docx"}));

        // The link opens the destination folder; "Done" empties both slots.
        UrlCatcher catcher;
        QDesktopServices::setUrlHandler("file", &catcher, "openUrl");
        Q_EMIT w.tab->openLabel()->linkActivated("open");
        QDesktopServices::unsetUrlHandler("file");
        QCOMPARE(catcher.opened, QList<QUrl>{QUrl::fromLocalFile(mac->host("/Volumes/DEST"))});
        click(w.tab->doneButton());
        QVERIFY(w.tab->selectView()->isVisible());
        QCOMPARE(w.tab->fromSlot()->imageName(), QStringLiteral("add"));
        QVERIFY(!w.tab->createButton()->isEnabled());
        QVERIFY(pickSrcAndDest(w));
        // "Copy Some Files" opens the file list window on the source; untick all, tick two items, zip
        // them.
        w.tab->copyTypeBox()->setFocus();
        QTest::keyClick(w.tab->copyTypeBox(), Qt::Key_Down);
        DiskListWC* list = w.tab->fileListWindow();
        QVERIFY(list);
        QVERIFY(FileListTestKit::waitForListing(list));
        list->listFileVC()->setAllSelectOrNoSelect();
        QVERIFY(FileListTestKit::clickCheckBox(list, "/Volumes/SRC/Photos"));
        QVERIFY(FileListTestKit::clickCheckBox(list, "/Volumes/SRC/Notes.txt"));
        QCOMPARE(FileListTestKit::stateOf(list, "/Volumes/SRC/Report.docx"), 0);
        QVERIFY(FileListTestKit::clickDone(list));
        QVERIFY(waitUntil([&] { return w.tab->selectFilesSize() >= 0; }, 20000));
        QCOMPARE(w.tab->fromSlot()->nameLabel()->text(), QStringLiteral("2 files/folders"));
        QCOMPARE(w.tab->fromSlot()->sizeLabel()->text(), QStringLiteral("470.01 KB selected"));
        QCOMPARE(w.tab->fromSlot()->imageName(), QStringLiteral("ic_folder"));
        QCOMPARE(w.tab->copyTypeBox()->currentText(), QStringLiteral("Copy Some Files"));
        click(w.tab->zipButton());
        QVERIFY(w.tab->isMakeZip());

        mac->clearLog();
        QCOMPARE(
            createAndConfirm(w),
            QStringLiteral("The selection will be packed into a zip archive (.zip) on \u201cDEST\u201d."));
        QVERIFY(endsIn(w, w.tab->successView()));
        QCOMPARE(w.tab->openUrl(), QStringLiteral("/Volumes/DEST"));
        // Only the ticked items, named from the volume's root (what the archive then holds is
        // TestMakeDmg::archivesUnzipToTheSelection's).
        const QString zip = onlyFileIn(mac->host("/Volumes/DEST"), ".zip");
        QVERIFY(!zip.isEmpty());
        QCOMPARE(mac->calls("zip"),
                 (QList<QStringList>{{"zip", "-r", Machine::macPath(zip), "Notes.txt", "Photos"}}));
    }

    void sourcesAndDestinationsChosenAndRefused() {
        auto mac = machine();
        QVERIFY(mac->isValid());
        QVERIFY(makeSocket(mac->host("/Volumes/SRC/listener")));
        Window w;
        // The source volume is refused as the destination.
        QVERIFY(pick(w, w.tab->fromSlot(), "SRC"));
        QVERIFY(pick(w, w.tab->toSlot(), "SRC"));
        QCOMPARE(takeError(w), QStringLiteral("You can\u2019t select the source drive as the destination "
                                              "drive, just select another drive."));
        QCOMPARE(w.tab->toSlot()->imageName(), QStringLiteral("add"));
        QCOMPARE(w.tab->toSlot()->nodeSelectLabel()->text(),
                 QStringLiteral("Click here to select a destination drive."));
        QVERIFY(!w.tab->createButton()->isEnabled());

        // Nothing ticked in the file list: "Create Now" says so and starts nothing.
        QVERIFY(pick(w, w.tab->toSlot(), "DEST"));
        FileNodeArrayRef tree = makeFileNodeArray();
        tree->append(FileNode::initWithPath("/Volumes/SRC/Notes.txt", "Notes.txt", false, nullptr));
        tree->at(0)->setState(0);
        w.tab->closeWindowWithSelect(tree, 0);
        QCOMPARE(w.tab->fromSlot()->nameLabel()->text(), QStringLiteral("0 files/folders"));
        mac->clearLog();
        click(w.tab->createButton());
        QCOMPARE(takeError(w), QStringLiteral("No file has been selected\u2026"));
        QVERIFY(w.tab->selectView()->isVisible());
        QVERIFY(mac->calls("hdiutil").isEmpty());

        // Two files dropped from the Finder, then a third set with an item no one can read.
        auto drop = [&](const QStringList& macPaths) {
            QMimeData data;
            QList<QUrl> urls;
            for (const QString& p : macPaths)
                urls << QUrl::fromLocalFile(mac->host(p));
            data.setUrls(urls);
            return w.tab->fromSlot()->dragVie()->performDragOperation(&data);
        };
        QVERIFY(drop({"/Volumes/SRC/Notes.txt", "/Volumes/SRC/Photos"}));
        QCOMPARE(w.tab->fromSlot()->nameLabel()->text(), QStringLiteral("Drag some files"));
        QCOMPARE(w.tab->fromSlot()->sizeLabel()->text(), QStringLiteral("2 files selected"));
        QCOMPARE(w.tab->fromSlot()->imageName(), QStringLiteral("ic_folder"));
        // Onto a FAT32 stick, which takes no ':' in the dated name.
        QVERIFY(pick(w, w.tab->toSlot(), "TINY"));
        QVERIFY(w.tab->createButton()->isEnabled());
        // The question names TINY: another destination chosen while it is up closes it unanswered.
        click(w.tab->createButton());
        QVERIFY(waitUntil([&] { return shown<DMGMakeSureWC>(w) != nullptr; }, 20000));
        const QPointer<DMGMakeSureWC> asked = shown<DMGMakeSureWC>(w);
        QVERIFY(asked->textLabel()->text().contains("TINY"));
        QVERIFY(pick(w, w.tab->toSlot(), "DEST"));
        QVERIFY(waitUntil([&] { return asked.isNull(); }, 2000));
        QVERIFY(pick(w, w.tab->toSlot(), "TINY"));
        createAndConfirm(w);
        QVERIFY(endsIn(w, w.tab->successView()));
        const QString image = onlyFileIn(mac->host("/Volumes/TINY"), ".dmg");
        QVERIFY(QRegularExpression(R"(/Tavrill\(\d{4}-\d\d-\d\d \d\d\.\d\d\.\d\d\)\.dmg$)")
                    .match(image)
                    .hasMatch());
        QTemporaryDir inside;
        QVERIFY(mac->extractImage(Machine::macPath(image), inside.path()));
        QCOMPARE(QDir(inside.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name),
                 (QStringList{"Notes.txt", "Photos"}));
        QFile::remove(image);

        click(w.tab->doneButton());
        // A large item first, copied into the image on drives that take 8 MB a second: the bar and
        // the line under it follow the bytes, also within the file.
        QVERIFY(writeHostFile(mac->host("/Volumes/SRC/big.bin"), QByteArray(24'000'000, '\0')));
        QCOMPARE(mac->emuctl({"throttle", "8MB"}).code, 0);
        QVERIFY(drop({"/Volumes/SRC/big.bin", "/Volumes/SRC/Report.docx", "/Volumes/SRC/listener"}));
        QVERIFY(pick(w, w.tab->toSlot(), "DEST"));
        createAndConfirm(w);
        const QRegularExpression form(
            QStringLiteral("^(\\d+\\.\\d\\d) MB of 24.04 MB \u00b7 \\d+\\.\\d MB/s$"));
        QRegularExpressionMatch match;
        QVERIFY2(waitUntil(
                     [&] {
                         match = form.match(w.tab->progressLine()->text());
                         return match.hasMatch() && match.captured(1).toDouble() > 6;
                     },
                     20000),
                 qPrintable(w.tab->progressLine()->text()));
        QVERIFY(match.captured(1).toDouble() < 24);
        QVERIFY(qAbs(w.tab->progressBar()->doubleValue() - match.captured(1).toDouble() / 24.042) < 0.02);
        w.shot("08b-progress-line");
        QVERIFY(endsIn(w, w.tab->failView()));
        QCOMPARE(w.tab->errorLabel()->text(),
                 QStringLiteral("Operation failed. 1 item could not be copied."));
        QVERIFY(w.main.isTabChangeAllowed());
    }

    void interruptedOrFailedRunsLeaveNothing_data() {
        QTest::addColumn<bool>("zip");
        QTest::addColumn<QByteArray>("fault");
        QTest::addColumn<QString>("interrupt"); // "cancel" or "close"; empty: none
        QTest::addColumn<bool>("stop");         // at the quit question: stop and quit, or keep working
        QTest::addColumn<QString>("message");   // the failure view's; empty: it ends in success
        QTest::addColumn<QString>("back");      // the failure view's button
        const auto row = [](const char* tag, bool zip, const char* fault, const char* interrupt, bool stop,
                            const char* message, const char* back) {
            QTest::newRow(tag) << zip << QByteArray(fault) << QString::fromLatin1(interrupt) << stop
                               << QString::fromLatin1(message) << QString::fromLatin1(back);
        };
        const char* none = "";
        row("image, cancelled", false, none, "cancel", false, "You have stopped the process.", "Done");
        // Ended at the tools' limit, well before the hang would end.
        row("image, mount hangs", false,
            R"({"tool":"hdiutil","verb":"mount","mode":"hang","seconds":60,"times":1})", none, false,
            "Operation failed.", "Cancel");
        row("image, close, keep working", false, none, "close", false, none, none);
        // zip, which writes on its own, is held up before it starts.
        row("archive, close, stop and quit", true, R"({"tool":"zip","mode":"hang","seconds":60,"times":1})",
            "close", true, none, none);
    }

    void interruptedOrFailedRunsLeaveNothing() {
        QFETCH(bool, zip);
        QFETCH(QByteArray, fault);
        QFETCH(QString, interrupt);
        QFETCH(bool, stop);
        QFETCH(QString, message);
        QFETCH(QString, back);
        auto mac = machine();
        QVERIFY(mac->isValid());
        // Copies into the image crawl, so that the run is interrupted in the middle of the copy stage.
        QCOMPARE(mac->emuctl({"throttle", "300KB"}).code, 0);
        if (!fault.isEmpty())
            QVERIFY(mac->addFault(fault));
        const ToolTimeLimits limits = toolTimeLimits();
        if (!fault.isEmpty() && !zip)
            setToolTimeLimits({2000, limits.longMs, 1000});
        Window w;
        QList<int> exits;
        w.main.setProcessExit([&exits](int status) { exits << status; });
        QVERIFY(pickSrcAndDest(w));
        if (zip)
            click(w.tab->zipButton());
        const QStringList before = treeListing(mac->host("/Volumes/DEST"));
        if (interrupt == "cancel") {
            // "Cancel" in the confirmation only closes it.
            createAndConfirm(w, QString(), false);
            QVERIFY(waitUntil([&] { return shown<DMGMakeSureWC>(w) == nullptr; }, 2000));
            QVERIFY(w.tab->selectView()->isVisible());
        }
        mac->clearLog();
        QElapsedTimer clock;
        clock.start();
        createAndConfirm(w);
        if (!interrupt.isEmpty()) {
            QVERIFY(waitUntil(
                [&] {
                    return zip ? !mac->runningCallPids("zip").isEmpty()
                               : !treeListing(mac->host("/Volumes/TavrillDmg")).isEmpty();
                },
                30000));
            // The Mac is kept awake while it runs.
            QCOMPARE(mac->runningCallPids("caffeinate").size(), 1);
        }
        if (interrupt == "cancel") {
            click(w.tab->cancelButton());
            // Stopping: said so, nothing to press, the tabs still locked.
            QVERIFY(w.tab->progressView()->isVisible());
            QCOMPARE(w.tab->pathLabel()->text(),
                     QStringLiteral("Stopping: removing the unfinished image\u2026"));
            QCOMPARE(w.tab->cancelButton()->text(), QStringLiteral("Stopping\u2026"));
            QVERIFY(!w.tab->cancelButton()->isEnabled());
            QVERIFY(!w.main.isTabChangeAllowed());
            w.shot("12-stopping");
        } else if (interrupt == "close") {
            click(w.main.titleBarView()->closeButton());
            QuitQuestionPanel* question = w.main.quitQuestion();
            QVERIFY(question && question->isVisible());
            QCOMPARE(question->titleLabel()->text(), QStringLiteral("Stop creating the image and quit?"));
            QCOMPARE(question->text(),
                     QStringLiteral("Tavrill is creating a disk image. If you quit now, it stops "
                                    "and the unfinished image or archive is removed."));
            QCOMPARE(exits, QList<int>());
            click(stop ? question->stopAndQuitButton() : question->keepWorkingButton());
        }
        if (stop) {
            QVERIFY(waitUntil([&] { return !exits.isEmpty(); }, 20000));
            QCOMPARE(exits, QList<int>{0});
        } else if (message.isEmpty()) {
            QVERIFY(endsIn(w, w.tab->successView()));
            QCOMPARE(exits, QList<int>());
            QVERIFY(!onlyFileIn(mac->host("/Volumes/DEST"), ".dmg").isEmpty());
        } else {
            // The failure view, never the success one, once the builder has cleaned up.
            QVERIFY(endsIn(w, w.tab->failView()));
            setToolTimeLimits(limits);
            QVERIFY(clock.elapsed() < 30000);
            QCOMPARE(w.tab->errorLabel()->text(), message);
            QCOMPARE(w.tab->failBackButton()->text(), back);
            QVERIFY(w.tab->failBackButton()->isEnabled());
            QVERIFY(w.main.isTabChangeAllowed());
        }
        // Nothing of the run is left: no tool (those killed at the exit may take a moment to go), no
        // mounted image, no partial image or archive; awake until the end, then no longer.
        QVERIFY(waitUntil([&] { return mac->runningCallPids().isEmpty(); }, 5000));
        QVERIFY(!mac->mountTable().contains("/Volumes/TavrillDmg"));
        if (!interrupt.isEmpty())
            QCOMPARE(mac->events("caffeinate"), QStringList{"end"});
        if (!stop && message.isEmpty())
            return; // the image was made
        QCOMPARE(treeListing(mac->host("/Volumes/DEST")), before);
        if (stop)
            return;
        click(w.tab->failBackButton());
        QVERIFY(w.tab->selectView()->isVisible());
        QCOMPARE(w.tab->stepView()->currentStep(), 1);
    }
};

TAVRILL_TEST(TestDmgWorkflow)

#include "tst_dmgworkflow.moc"
