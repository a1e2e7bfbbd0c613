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
#include "filecopy/EumeRoot.h"
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
#include "volumes/DiskListView.h"
#include "volumes/DiskListViewController.h"

#include <QComboBox>
#include <QDesktopServices>
#include <QDir>
#include <QElapsedTimer>
#include <QLabel>
#include <QMimeData>
#include <QRadioButton>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <algorithm>

using namespace DiskImageTestKit;

namespace {

const QString kFolder = QStringLiteral("diskimage");

// The main window with the Disk Image tab showing.
struct Window {
    MainWindowController main;
    DmgViewController* tab = nullptr;
    Window() {
        main.showWindow();
        main.TopDmgButtonAction();
        tab = qobject_cast<DmgViewController*>(main.featureView(MainWindowController::DiskImageTab));
    }
    void shot(const QString& name) { saveScreenshot(main.window(), kFolder, name); }
};

// Opens a slot's drive picker and clicks the row of the named volume.
bool pick(Window& w, SelectValueView* slot, const QString& name) {
    click(slot->selectDiskBut());
    Popover* popover = w.tab->pickerPopover();
    if (!popover)
        return false;
    auto* picker = qobject_cast<SelectDiskViewController*>(popover->content());
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

// "Create Now", then "Create Image" in the confirmation; answers the confirmation's text.
QString createAndConfirm(Window& w, const QString& picture = QString()) {
    click(w.tab->createButton());
    DMGMakeSureWC* confirm = nullptr;
    if (!waitUntil([&] { return (confirm = shown<DMGMakeSureWC>(w)) != nullptr; }, 20000))
        return QString();
    if (!picture.isEmpty())
        w.shot(picture);
    const QString text = confirm->textLabel()->text();
    click(confirm->okButton());
    return text;
}

bool ended(Window& w) {
    return waitUntil([&] { return w.tab->successView()->isVisible() || w.tab->failView()->isVisible(); },
                     60000);
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
        Window w;
        QVERIFY(w.tab);
        w.shot("01-empty");
        QVERIFY(!w.tab->createButton()->isEnabled());
        QVERIFY(pickSrcAndDest(w));
        QCOMPARE(w.tab->toSlot()->nameLabel()->text(), QStringLiteral("DEST"));
        QVERIFY(w.tab->createButton()->isEnabled());
        w.shot("02-ready");

        mac->clearLog();
        QCOMPARE(
            createAndConfirm(w, "03-confirm"),
            QStringLiteral("The selection will be packed into a disk image (.dmg) on \u201cDEST\u201d."));
        QVERIFY(!w.main.isTabChangeAllowed());
        QVERIFY(w.tab->progressView()->isVisible());
        w.shot("04-progress");
        QVERIFY(ended(w));
        QVERIFY2(w.tab->successView()->isVisible(), qPrintable(w.tab->errorLabel()->text()));
        QVERIFY(w.main.isTabChangeAllowed());
        w.shot("05-success");

        // The image holds the volume's top level, the listing's skip list left out.
        const QString image = onlyFileIn(mac->host("/Volumes/DEST"), ".dmg");
        QVERIFY(!image.isEmpty());
        QTemporaryDir inside;
        QVERIFY(mac->extractImage(Machine::macPath(image), inside.path()));
        const auto all = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
        QStringList expected = QDir(mac->host("/Volumes/SRC")).entryList(all, QDir::Name);
        expected.removeIf([](const QString& name) { return EumeRoot::isSkippedName(name); });
        QCOMPARE(QDir(inside.path()).entryList(all, QDir::Name), expected);
        QCOMPARE(contentDifferences(mac->host("/Volumes/SRC/Photos"), inside.path() + "/Photos"),
                 QStringList());

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
        saveScreenshot(list, kFolder, "06-file-list");
        QVERIFY(FileListTestKit::clickDone(list));
        QVERIFY(waitUntil([&] { return w.tab->selectFilesSize() >= 0; }, 20000));
        QCOMPARE(w.tab->fromSlot()->nameLabel()->text(), QStringLiteral("2 files/folders"));
        QCOMPARE(w.tab->fromSlot()->sizeLabel()->text(), QStringLiteral("470.01 KB selected"));
        QCOMPARE(w.tab->fromSlot()->imageName(), QStringLiteral("ic_folder"));
        QCOMPARE(w.tab->copyTypeBox()->currentText(), QStringLiteral("Copy Some Files"));
        click(w.tab->zipButton());
        QVERIFY(w.tab->isMakeZip());
        w.shot("07-some-files-zip");

        mac->clearLog();
        QCOMPARE(
            createAndConfirm(w),
            QStringLiteral("The selection will be packed into a zip archive (.zip) on \u201cDEST\u201d."));
        QVERIFY(ended(w));
        QVERIFY2(w.tab->successView()->isVisible(), qPrintable(w.tab->errorLabel()->text()));
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
        w.shot("10-same-volume");
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
        w.shot("11-nothing-selected");
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
        w.shot("08-dropped");
        createAndConfirm(w);
        QVERIFY(ended(w));
        QVERIFY2(w.tab->successView()->isVisible(), qPrintable(w.tab->errorLabel()->text()));
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
        const QString total = QString::number(
            double(24'000'000 + QFileInfo(mac->host("/Volumes/SRC/Report.docx")).size()) / 1e6, 'f', 2);
        const QRegularExpression form(
            QStringLiteral("^(\\d+\\.\\d\\d) MB of %1 MB \u00b7 \\d+\\.\\d MB/s$").arg(total));
        QRegularExpressionMatch match;
        QVERIFY2(waitUntil(
                     [&] {
                         match = form.match(w.tab->progressLine()->text());
                         return match.hasMatch() && match.captured(1).toDouble() > 6;
                     },
                     20000),
                 qPrintable(w.tab->progressLine()->text()));
        QVERIFY(match.captured(1).toDouble() < 24);
        QVERIFY(qAbs(w.tab->progressBar()->doubleValue() - match.captured(1).toDouble() / total.toDouble()) <
                0.02);
        w.shot("08b-progress-line");
        QVERIFY(ended(w));
        QVERIFY(w.tab->failView()->isVisible());
        QCOMPARE(w.tab->errorLabel()->text(),
                 QStringLiteral("Operation failed. 1 item could not be copied."));
        QVERIFY(w.main.isTabChangeAllowed());
        w.shot("09-item-missing");
    }

    void cancelAndFailures() {
        auto mac = machine();
        QVERIFY(mac->isValid());
        // Copies into the image crawl, so that Cancel comes in the middle of the copy stage.
        QCOMPARE(mac->emuctl({"throttle", "300KB"}).code, 0);
        Window w;
        QVERIFY(pickSrcAndDest(w));
        const QStringList before = treeListing(mac->host("/Volumes/DEST"));
        // No image, nothing mounted, no hdiutil left.
        const auto leftNothing = [&] {
            return treeListing(mac->host("/Volumes/DEST")) == before &&
                   !mac->mountTable().contains("/Volumes/TavrillDmg") &&
                   mac->runningCallPids("hdiutil").isEmpty();
        };

        // "Cancel" in the confirmation only closes it.
        click(w.tab->createButton());
        DMGMakeSureWC* confirm = nullptr;
        QVERIFY(waitUntil([&] { return (confirm = shown<DMGMakeSureWC>(w)) != nullptr; }, 20000));
        click(confirm->cancelButton());
        QVERIFY(waitUntil([&] { return shown<DMGMakeSureWC>(w) == nullptr; }, 2000));
        QVERIFY(w.tab->selectView()->isVisible());

        createAndConfirm(w);
        QVERIFY(waitUntil([&] { return !treeListing(mac->host("/Volumes/TavrillDmg")).isEmpty(); }, 30000));
        click(w.tab->cancelButton());
        // Stopping: said so, nothing to press, the tabs still locked.
        QVERIFY(w.tab->progressView()->isVisible());
        QCOMPARE(w.tab->pathLabel()->text(), QStringLiteral("Stopping: removing the unfinished image\u2026"));
        QCOMPARE(w.tab->cancelButton()->text(), QStringLiteral("Stopping\u2026"));
        QVERIFY(!w.tab->cancelButton()->isEnabled());
        QVERIFY(!w.main.isTabChangeAllowed());
        w.shot("12-stopping");
        // Stopped once the builder has cleaned up.
        QVERIFY(waitUntil([&] { return w.tab->failView()->isVisible(); }, 20000));
        QCOMPARE(w.tab->errorLabel()->text(), QStringLiteral("You have stopped the process."));
        QCOMPARE(w.tab->failBackButton()->text(), QStringLiteral("Done"));
        QVERIFY(w.tab->failBackButton()->isEnabled());
        QVERIFY(w.main.isTabChangeAllowed());
        w.shot("13-stopped");
        QVERIFY(leftNothing());
        click(w.tab->failBackButton());
        QVERIFY(w.tab->selectView()->isVisible());
        QCOMPARE(w.tab->stepView()->currentStep(), 1);

        // hdiutil makes no image, or its mount hangs (ended at the tools' limit, well before the
        // hang would end): the failure view, never the success one, and nothing left behind.
        const ToolTimeLimits limits = toolTimeLimits();
        setToolTimeLimits({2000, limits.longMs, 1000});
        for (const QByteArray& fault :
             {QByteArray(R"({"tool":"hdiutil","verb":"create","mode":"fail","times":1})"),
              QByteArray(R"({"tool":"hdiutil","verb":"mount","mode":"hang","seconds":60,)"
                         R"("times":1})")}) {
            QVERIFY(mac->addFault(fault));
            QVERIFY(pickSrcAndDest(w));
            QElapsedTimer clock;
            clock.start();
            createAndConfirm(w);
            QVERIFY(ended(w));
            QVERIFY2(clock.elapsed() < 30000, fault.constData());
            QVERIFY(w.tab->failView()->isVisible());
            QCOMPARE(w.tab->errorLabel()->text(), QStringLiteral("Operation failed."));
            QCOMPARE(w.tab->failBackButton()->text(), QStringLiteral("Cancel"));
            QVERIFY(w.main.isTabChangeAllowed());
            QVERIFY2(leftNothing(), fault.constData());
            click(w.tab->failBackButton());
        }
        setToolTimeLimits(limits);
    }

    void quitWhileAnImageIsMade_data() {
        QTest::addColumn<bool>("zip");
        QTest::addColumn<bool>("byQuitEvent"); // the application's quit rather than the close button
        QTest::addColumn<bool>("stop");
        QTest::newRow("image, close, keep working") << false << false << false;
        QTest::newRow("image, quit, stop and quit") << false << true << true;
        QTest::newRow("archive, close, stop and quit") << true << false << true;
    }

    void quitWhileAnImageIsMade() {
        QFETCH(bool, zip);
        QFETCH(bool, byQuitEvent);
        QFETCH(bool, stop);
        auto mac = machine();
        QVERIFY(mac->isValid());
        // The image's copy crawls; zip, which writes on its own, is held up before it starts.
        QCOMPARE(mac->emuctl({"throttle", "400KB"}).code, 0);
        if (zip)
            QVERIFY(mac->addFault(R"({"tool":"zip","mode":"hang","seconds":60,"times":1})"));
        Window w;
        QList<int> exits;
        w.main.setProcessExit([&exits](int status) { exits << status; });
        QVERIFY(pickSrcAndDest(w));
        if (zip)
            click(w.tab->zipButton());
        const QStringList before = treeListing(mac->host("/Volumes/DEST"));
        mac->clearLog();
        createAndConfirm(w);
        if (zip)
            QVERIFY(waitUntil([&] { return !mac->runningCallPids("zip").isEmpty(); }, 30000));
        else
            QVERIFY(
                waitUntil([&] { return !treeListing(mac->host("/Volumes/TavrillDmg")).isEmpty(); }, 30000));
        // The Mac is kept awake from before the run's first tool.
        const QList<QStringList> calls = mac->calls();
        const qsizetype awake = calls.indexOf(
            QStringList{"caffeinate", "-i", "-w", QString::number(QCoreApplication::applicationPid())});
        const auto firstTool = std::find_if(calls.begin(), calls.end(), [&](const QStringList& call) {
            return call.first() == (zip ? "zip" : "hdiutil");
        });
        QVERIFY(awake >= 0 && awake < firstTool - calls.begin());
        QCOMPARE(mac->runningCallPids("caffeinate").size(), 1);

        if (byQuitEvent) {
            QEvent quit(QEvent::Quit);
            QCoreApplication::sendEvent(qApp, &quit);
        } else {
            click(w.main.titleBarView()->closeButton());
        }
        QuitQuestionPanel* question = w.main.quitQuestion();
        QVERIFY(question && question->isVisible());
        QCOMPARE(question->titleLabel()->text(), QStringLiteral("Stop creating the image and quit?"));
        QCOMPARE(question->text(),
                 QStringLiteral("Tavrill is creating a disk image. If you quit now, it stops "
                                "and the unfinished image or archive is removed."));
        QCOMPARE(exits, QList<int>());
        if (!stop) {
            w.shot("14-quit-question");
            click(question->keepWorkingButton());
            QVERIFY(ended(w));
            QVERIFY2(w.tab->successView()->isVisible(), qPrintable(w.tab->errorLabel()->text()));
            QCOMPARE(exits, QList<int>());
            QVERIFY(!onlyFileIn(mac->host("/Volumes/DEST"), ".dmg").isEmpty());
            // Awake until the end view showed, then no longer.
            QCOMPARE(mac->events("caffeinate"), QStringList{"end"});
            QCOMPARE(mac->runningCallPids(), QList<qint64>());
            return;
        }
        click(question->stopAndQuitButton());
        QVERIFY(waitUntil([&] { return !exits.isEmpty(); }, 20000));
        QCOMPARE(exits, QList<int>{0});
        // Nothing of the run is left: no tool (those killed at the exit may take a moment to go), no
        // mounted image, no partial image or archive.
        QVERIFY(waitUntil([&] { return mac->runningCallPids().isEmpty(); }, 5000));
        QVERIFY(!mac->mountTable().contains("/Volumes/TavrillDmg"));
        QCOMPARE(treeListing(mac->host("/Volumes/DEST")), before);
        QCOMPARE(mac->events("caffeinate"), QStringList{"end"});
    }
};

TAVRILL_TEST(TestDmgWorkflow)

#include "tst_dmgworkflow.moc"
