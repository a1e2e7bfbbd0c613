#include "EmulatedMac.h"
#include "FileListTestKit.h"
#include "Fixtures.h"
#include "Screenshot.h"
#include "TestMain.h"
#include "TreeCompare.h"
#include "UrlCatcher.h"
#include "Wait.h"
#include "app/MainWindowController.h"
#include "app/QuitQuestionPanel.h"
#include "filecopy/CopyMakeSureWC.h"
#include "filecopy/DiskCopyViewController.h"
#include "filecopy/DiskListWC.h"
#include "filecopy/DoCopyFiles.h"
#include "filecopy/ListFileViewController.h"
#include "filecopy/NewOutlineView.h"
#include "filecopy/SelectAllFilePopVC.h"
#include "platform/Machine.h"
#include "ui/DragView.h"
#include "ui/ErrorWindowController.h"
#include "ui/FlatButton.h"
#include "ui/ImageButton.h"
#include "ui/SelectValueView.h"
#include "ui/StripedProgressBar.h"
#include "ui/TitleBarView.h"
#include "volumes/DiskListView.h"
#include "volumes/DiskListViewController.h"

#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QListWidget>
#include <QMimeData>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTest>
#include <QUrl>

using namespace FileListTestKit;

namespace {

// The source "Data" holds a seeded tree with the volume files a listing leaves out; "Backup" is
// an empty HFS+ drive, "STICK" a FAT32 stick and "Tiny" a drive with 1 MB.
const QByteArray kScenario = R"({ "version": "10.15.7", "user": "alex",
  "system": { "name": "Macintosh HD", "size": "500.28GB", "used": "182GB" }, "disks": [
    { "name": "data", "bus": "SATA", "internal": true, "mediaName": "ST2000DM008", "size": "2TB",
      "scheme": "GPT", "partitions": [ { "fs": "JHFS+", "name": "Data",
        "seed": { "files": 4, "folders": 2, "depth": 2, "size": 100000, "system": true, "links": 1,
                  "hidden": 1, "bundles": ["Tool.app"], "seed": 7,
                  "explicit": [ { "path": "Media/clip.mov", "size": 2000000 } ] } } ] },
    { "name": "backup", "mediaName": "Samsung PSSD T7", "size": "256GB", "scheme": "GPT",
      "removable": false, "partitions": [ { "fs": "JHFS+", "name": "Backup", "uuid": "5E1C0DE5-B4C7-4B0B-9A55-0000000000B1" } ] },
    { "name": "stick", "mediaName": "SanDisk Cruzer Blade", "size": "16GB", "scheme": "MBR",
      "partitions": [ { "fs": "FAT32", "name": "STICK", "uuid": "0DDBA11A-57C1-4C4E-8F00-0000000000F3" } ] },
    { "name": "tiny", "mediaName": "Generic Flash Disk", "size": "100MB", "scheme": "GPT", "efi": false,
      "partitions": [ { "fs": "JHFS+", "name": "Tiny", "size": "1MB" } ] } ] })";

const QString kFolder = QStringLiteral("filecopy");
const QString kSameVolume = QStringLiteral(
    "You can\u2019t select the source drive as the destination drive, just select another drive.");

// The main window with the copy tab, exits recorded instead of ending the test.
struct Window {
    std::unique_ptr<MainWindowController> main = std::make_unique<MainWindowController>();
    QList<int> exits;
    DiskCopyViewController* tab = nullptr;

    Window() {
        main->setProcessExit([this](int status) { exits << status; });
        main->window()->show();
        tab = qobject_cast<DiskCopyViewController*>(main->featureView(MainWindowController::DiskCopyTab));
    }
    void shot(const QString& name) { saveScreenshot(main->window(), kFolder, name); }
};

// The text of the error popup that is up, which is then closed; empty when none is up.
QString takeError(Window& w) {
    const auto up = [&] { return w.main->window()->findChildren<ErrorWindowController*>(); };
    const QString text = up().isEmpty() ? QString() : up().last()->errorText();
    for (ErrorWindowController* e : up())
        QTest::mouseClick(e->doneButton(), Qt::LeftButton);
    waitUntil([&] { return up().isEmpty(); }, 2000);
    return text;
}

// Opens the drive picker under a slot and clicks the row of the named volume.
bool pick(Window& w, int slot, const QString& name) {
    w.tab->selectDiskButton(slot, nullptr);
    DiskListViewController* row = nullptr;
    const auto listed = [&] {
        for (DiskListViewController* r :
             w.tab->picker() ? w.tab->picker()->rows() : QList<DiskListViewController*>())
            row = r->volumeObj()->volumeName() == name ? r : row;
        return row != nullptr;
    };
    if (!waitUntil(listed, 15000))
        return false;
    QTest::mouseClick(row->aView(), Qt::LeftButton, {}, QPoint(200, 32));
    return waitUntil([&] { return !w.tab->picker(); }, 20000);
}

void dropFiles(Window& w, const QStringList& hostPaths) {
    QMimeData data;
    QList<QUrl> urls;
    for (const QString& path : hostPaths)
        urls << QUrl::fromLocalFile(path);
    data.setUrls(urls);
    QVERIFY(w.tab->sourceSlot()->dragVie()->performDragOperation(&data));
}

// "Copy Now", then the confirmation's "Copy Now"; answers the confirmation's list.
QStringList confirm(Window& w, const QString& shot = QString()) {
    QTest::mouseClick(w.tab->cloneButton(), Qt::LeftButton);
    if (!waitUntil([&] { return w.tab->makeSure() != nullptr; }, 30000))
        return {QStringLiteral("no confirmation")};
    CopyMakeSureWC* sure = w.tab->makeSure();
    if (!shot.isEmpty())
        w.shot(shot);
    QStringList listed;
    for (int i = 0; sure->leftOutList() && i < sure->leftOutList()->count(); ++i)
        listed << sure->leftOutList()->item(i)->text();
    QTest::mouseClick(sure->okButton(), Qt::LeftButton);
    return listed;
}

bool waitForEnd(Window& w) {
    return waitUntil([&] { return w.tab->endView()->isVisible(); }, 60000);
}

// The single dated folder on a volume (host path), or empty.
QString datedFolder(const EmulatedMac& mac, const QString& volume) {
    const QStringList found = QDir(mac.host(volume)).entryList({"Tavrill(*"}, QDir::Dirs);
    return found.size() == 1 ? mac.host(volume) + '/' + found.first() : QString();
}

// Drops items onto the source, makes "Backup" take rate bytes a second and starts the copy onto
// it; answers the dated folder once it is there (empty when it is not).
QString startThrottledCopy(EmulatedMac& mac, Window& w, const QStringList& hostItems, const QString& rate) {
    QString copy;
    if (mac.emuctl({"throttle", "Backup", rate}).code != 0)
        return copy;
    dropFiles(w, hostItems);
    if (!pick(w, 2, "Backup"))
        return copy;
    confirm(w);
    waitUntil([&] { return !(copy = datedFolder(mac, "/Volumes/Backup")).isEmpty(); }, 20000);
    return copy;
}

// Three items in the user's folder: a small file, a folder with a photo whose name has a space
// and parentheses, and a 3 MB file. 3,100,005 bytes in all. Beside them a file nobody drops.
QString makeProofSource(EmulatedMac& mac) {
    const QString base = mac.host("/Users/alex/Proof");
    writeHostFile(base + "/a.txt", "alpha");
    setModificationTime(base + "/a.txt", 1000000000, 5);
    writeHostFile(base + "/not-dropped.txt", "stays");
    writeHostFile(base + "/Photos/b (1).jpg", noise(100000, 1));
    writeHostFile(base + "/c.bin", noise(3000000, 2));
    // What FAT refuses: 5 GB in one file and a question mark in a name inside a folder.
    writeHostFile(base + "/film.mkv", {});
    QFile::resize(base + "/film.mkv", 5'000'000'000LL);
    writeHostFile(base + "/Photos/what?.txt", "a question mark");
    return base;
}

} // namespace

class TestDiskCopyWorkflow : public QObject {
    Q_OBJECT
    std::unique_ptr<EmulatedMac> mac; // a fresh one for every test

private Q_SLOTS:
    void initTestCase() {
        QVERIFY2(Hold::leasesHoldForTemporaryFiles(), "no temporary folder whose file system grants leases");
    }

    void init() {
        QDesktopServices::unsetUrlHandler("file");
        mac = EmulatedMac::fromJson(kScenario);
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    }

    void cleanup() { mac.reset(); }

    void copiesAWholeVolumeThenWhatFitsWhereItDoesNot() {
        for (const char* path : {"Deep/L1/L2/target.txt", "Deep/L1/L2/beside.txt", "Deep/L1/other.txt",
                                 "Deep/x.txt", "Open/o1.txt", "Open/o2.txt"})
            writeHostFile(mac->host(QStringLiteral("/Volumes/Data/") + path), path);
        Window w;
        QVERIFY(w.tab);
        w.shot("1-empty");
        QVERIFY(!w.tab->cloneButton()->isEnabled());

        QVERIFY(pick(w, 1, "Data"));
        QCOMPARE(w.tab->sourceSlot()->nameLabel()->text(), QStringLiteral("Data"));
        QVERIFY(w.tab->sourceSlot()->sizeLabel()->text().endsWith(" selected"));
        QVERIFY(w.tab->copyTypeButton()->isVisible());
        QVERIFY(!w.tab->cloneButton()->isEnabled());
        QVERIFY(pick(w, 2, "Backup"));
        QVERIFY(w.tab->destinationSlot()->sizeLabel()->text().endsWith(" free"));
        QVERIFY(w.tab->cloneButton()->isEnabled());
        w.shot("2-slots-filled");

        confirm(w, "4-confirming");
        QVERIFY(waitForEnd(w));
        w.shot("7-succeeded");
        QVERIFY(w.main->isTabChangeAllowed());
        QVERIFY(w.tab->endLabel()->text().contains("Copy completed!"));

        // The whole volume but its own files (which the scenario's seed makes), each entry equal to
        // its source; beside them the receipt.
        const QString copy = datedFolder(*mac, "/Volumes/Backup");
        QVERIFY(!copy.isEmpty());
        QStringList differences = compareTrees(mac->host("/Volumes/Data"), copy);
        differences.sort();
        QCOMPARE(differences,
                 (QStringList{".: modification time differs", ".DS_Store: missing in copy",
                              ".Spotlight-V100: missing in copy", ".Trashes: missing in copy",
                              ".fseventsd: missing in copy", "Tavrill receipt.txt: extra in copy"}));

        // The link opens the copy; "Done" empties both slots.
        UrlCatcher catcher;
        QDesktopServices::setUrlHandler("file", &catcher, "openUrl");
        w.tab->endLabel()->linkActivated("open");
        QCOMPARE(catcher.opened, QList<QUrl>{QUrl::fromLocalFile(copy)});
        QTest::mouseClick(w.tab->endButton(), Qt::LeftButton);
        QVERIFY(w.tab->selectView()->isVisible());
        QVERIFY(!w.tab->fromeVolume() && !w.tab->toVolume());
        QCOMPARE(w.tab->sourceSlot()->imageName(), QStringLiteral("add"));

        // Then the same volume on both sides is refused, either way round: the slot picked second
        // is emptied (Data stays the source, then Backup the destination).
        for (const auto& [volume, first] : {std::pair("Data", 1), {"Backup", 2}}) {
            QVERIFY(pick(w, first, volume));
            QVERIFY(pick(w, 3 - first, volume));
            QCOMPARE(takeError(w), kSameVolume);
            const bool sourceKept = first == 1;
            QCOMPARE((sourceKept ? w.tab->fromeVolume() : w.tab->toVolume())->volumeName(), QString(volume));
            QVERIFY(!(sourceKept ? w.tab->toVolume() : w.tab->fromeVolume()));
            QCOMPARE((sourceKept ? w.tab->destinationSlot() : w.tab->sourceSlot())->imageName(),
                     QStringLiteral("add"));
            QVERIFY(!w.tab->cloneButton()->isEnabled());
        }
        QVERIFY(!w.tab->copyTypeButton()->isVisible());

        // The whole of Data does not fit on Tiny.
        QVERIFY(pick(w, 1, "Data"));
        QVERIFY(pick(w, 2, "Tiny"));
        QCOMPARE(takeError(w),
                 QStringLiteral(
                     "Insufficient disk space on this destination drive, please select another drive."));
        QVERIFY(!w.tab->cloneButton()->isEnabled());
        QVERIFY(w.tab->destinationSlot()->hasErrorBackground());
        QVERIFY(w.tab->copyTypeButton()->text().startsWith("Copy Some Files"));
        w.shot("3-blocked");

        // A selection that fits, through the file list: nothing but a file deep in a folder closed
        // again, and an opened folder less one file.
        QTest::mouseClick(w.tab->copyTypeButton(), Qt::LeftButton);
        QVERIFY(waitUntil([&] { return w.tab->copyTypePopup() != nullptr; }, 2000));
        QTest::mouseClick(w.tab->copyTypePopup()->row(1), Qt::LeftButton); // "Copy Some Files"
        DiskListWC* list = nullptr;
        QVERIFY(waitUntil([&] { return (list = w.tab->listWindow()) != nullptr; }, 15000) &&
                waitForListing(list));
        saveScreenshot(list, kFolder, "filelist-over-the-tab");
        list->listFileVC()->setAllSelectOrNoSelect();
        QVERIFY(clickCheckBox(list, "/Volumes/Data/Deep/L1/L2/target.txt"));
        list->listFileVC()->outlineView()->collapse(revealRow(list, "/Volumes/Data/Deep"));
        QVERIFY(clickCheckBox(list, "/Volumes/Data/Open"));
        QVERIFY(clickCheckBox(list, "/Volumes/Data/Open/o2.txt"));
        QTest::mouseClick(list->listFileVC()->doneButton(), Qt::LeftButton);
        QVERIFY(waitUntil([&] { return !w.tab->listWindow(); }, 20000));
        QCOMPARE(w.tab->sourceSlot()->nameLabel()->text(), QStringLiteral("2 files/folders"));
        QCOMPARE(w.tab->selectFilesSize(), qint64(qstrlen("Deep/L1/L2/target.txt") + qstrlen("Open/o1.txt")));
        QVERIFY(w.tab->cloneButton()->isEnabled());
        QVERIFY(!w.tab->destinationSlot()->hasErrorBackground());
        QCOMPARE(takeError(w), QString());

        // Copied onto Tiny: the ticked children of a half-selected top-level folder land in the copy
        // folder itself; deeper half-selected folders are made.
        QVERIFY(confirm(w).isEmpty());
        QVERIFY(waitForEnd(w));
        QVERIFY(w.tab->endLabel()->text().contains("Copy completed!"));
        const QString onTiny = datedFolder(*mac, "/Volumes/Tiny");
        QCOMPARE(sortedEntries(onTiny), (QStringList{"L1", "Tavrill receipt.txt", "o1.txt"}));
        QCOMPARE(readHostFile(onTiny + "/L1/L2/target.txt") + readHostFile(onTiny + "/o1.txt"),
                 QByteArray("Deep/L1/L2/target.txtOpen/o1.txt"));
    }

    void aConfirmationGoesWithTheSelectionItAsksAbout() {
        // Files dropped as the source, then "Copy Now" asked; the window behind the question still
        // takes clicks, and each change below must close it unanswered.
        const QString a = mac->host("/Users/alex/a.txt"), b = mac->host("/Users/alex/b.txt");
        writeHostFile(a, "first");
        writeHostFile(b, "second");
        Window w;
        QVERIFY(pick(w, 2, "Backup"));
        for (const char* change : {"another drop", "Copy All", "source removed", "destination removed"}) {
            const QLatin1String how(change);
            if (!w.tab->toVolume())
                QVERIFY(pick(w, 2, "Backup"));
            dropFiles(w, {a});
            QVERIFY2(waitUntil([&] { return w.tab->cloneButton()->isEnabled(); }, 5000), change);
            QTest::mouseClick(w.tab->cloneButton(), Qt::LeftButton);
            QVERIFY(waitUntil([&] { return w.tab->makeSure() != nullptr; }, 30000));
            const QPointer<CopyMakeSureWC> asked = w.tab->makeSure();
            if (how == "another drop")
                dropFiles(w, {b});
            else if (how == "Copy All")
                w.tab->selectFormatbyType(0);
            else
                w.tab->closeDiskValue(how == "source removed" ? 1 : 2);
            QVERIFY2(waitUntil([&] { return asked.isNull(); }, 2000), change);
            QVERIFY2(datedFolder(*mac, "/Volumes/Backup").isEmpty(), change);
        }
        // Then the copy asked for anew takes what is chosen now.
        QVERIFY(pick(w, 2, "Backup"));
        dropFiles(w, {b});
        QVERIFY(waitUntil([&] { return w.tab->cloneButton()->isEnabled(); }, 5000));
        QVERIFY(confirm(w).isEmpty());
        QVERIFY(waitForEnd(w));
        QCOMPARE(sortedEntries(datedFolder(*mac, "/Volumes/Backup")),
                 (QStringList{"Tavrill receipt.txt", "b.txt"}));
    }

    void stopOrQuitDuringACopy_data() {
        QTest::addColumn<QString>("how"); // "cancel", or the application's "quit" or the "close" button
        QTest::addColumn<bool>("stop");   // stopping rather than working on
        for (const auto& [row, how, stop] : {std::tuple("cancel", "cancel", true),
                                             {"close, keep working", "close", false},
                                             {"close, stop and quit", "close", true},
                                             {"quit, stop and quit", "quit", true}})
            QTest::newRow(row) << QString(how) << stop;
    }

    void stopOrQuitDuringACopy() {
        QFETCH(QString, how);
        QFETCH(bool, stop);
        // Three files of 4 MB in one folder, ticked whole, onto a drive that takes 2 MB a second.
        const QString work = mac->host("/Users/alex/Work");
        for (int i = 0; i < 3; ++i)
            writeHostFile(work + QStringLiteral("/file%1.bin").arg(i), noise(4'000'000, i));
        const QStringList order = listingOrder(work);
        Window w;
        const QString copy = startThrottledCopy(*mac, w, {work}, "2MB");
        QVERIFY(!copy.isEmpty());
        // Kept awake while it copies (the emulated caffeinate logs its start once it runs).
        QVERIFY(waitUntil([&] { return mac->runningCallPids("caffeinate").size() == 1; }, 5000));
        if (how == "cancel") {
            // Once the second file has begun the bar follows the bytes on the destination, and the
            // line under it tells them and the rate, no faster than the drive takes them.
            QVERIFY(waitUntil([&] { return sortedEntries(copy + "/Work").size() >= 2; }, 20000));
            qint64 onDisk = 0;
            for (const QString& name : sortedEntries(copy + "/Work"))
                onDisk += QFileInfo(copy + "/Work/" + name).size();
            const double fraction = w.tab->progressBar()->doubleValue();
            QVERIFY2(qAbs(fraction - double(onDisk) / 12e6) <= 0.05, qPrintable(QString::number(fraction)));
            const QString line = w.tab->progressLine()->text();
            const QRegularExpressionMatch rate =
                QRegularExpression(
                    QStringLiteral("^\\d+\\.\\d\\d MB of 12\\.00 MB \u00b7 (\\d+\\.\\d) MB/s$"))
                    .match(line);
            QVERIFY2(rate.hasMatch() && rate.captured(1).toDouble() > 0 && rate.captured(1).toDouble() <= 2.5,
                     qPrintable(line));
            w.shot("6-copying-progress-line");
            QTest::mouseClick(w.tab->cancelButton(), Qt::LeftButton);
            QCOMPARE(w.tab->pathLabel()->text(), QStringLiteral("Stopping after the current file\u2026"));
            QVERIFY(waitForEnd(w));
            w.shot("9-stopped");
            QVERIFY(w.main->isTabChangeAllowed());
            // The file under way was finished; nothing after it began; what came before stays.
            QStringList firstTwo = order.mid(0, 2);
            firstTwo.sort();
            QCOMPARE(sortedEntries(copy + "/Work"), firstTwo);
            QCOMPARE(
                w.tab->endLabel()->text(),
                QStringLiteral("You have stopped the copying process.<br><span style=\"font-weight: normal; "
                               "font-size: 12pt;\">2 items (8.00 MB) copied before you stopped are in <a "
                               "href=\"open\" style=\"color: rgb(2, 125, 255);\">the copy on the destination "
                               "drive.</a></span>"));
        } else {
            QVERIFY(waitUntil([&] { return !sortedEntries(copy + "/Work").isEmpty(); }, 20000));
            if (how == "quit") {
                QEvent quit(QEvent::Quit);
                QCoreApplication::sendEvent(qApp, &quit);
            } else {
                QTest::mouseClick(w.main->titleBarView()->closeButton(), Qt::LeftButton);
            }
            QuitQuestionPanel* question = w.main->quitQuestion();
            QVERIFY(question && question->isVisible());
            QCOMPARE(question->titleLabel()->text(), QStringLiteral("Stop copying and quit?"));
            QCOMPARE(question->text(),
                     QStringLiteral("Tavrill is copying files. If you quit now, the copy stops; what "
                                    "was copied so far stays in its folder on the destination drive."));
            QCOMPARE(w.exits, QList<int>());
            if (!stop) {
                w.shot("12-quit-question");
                QTest::mouseClick(question->keepWorkingButton(), Qt::LeftButton);
                QVERIFY(waitForEnd(w));
                QVERIFY(w.tab->endLabel()->text().contains("the copy on the destination drive."));
                QCOMPARE(sortedEntries(copy), (QStringList{"Tavrill receipt.txt", "Work"}));
            } else {
                QTest::mouseClick(question->stopAndQuitButton(), Qt::LeftButton);
                QVERIFY(waitUntil([&] { return !w.exits.isEmpty(); }, 20000));
            }
            QCOMPARE(w.exits, stop ? QList<int>{0} : QList<int>());
        }
        // Kept working, everything is there; stopped before the copy's end, what stayed is whole.
        const QStringList kept = sortedEntries(copy + "/Work");
        QVERIFY(stop ? kept.size() < order.size() : kept.size() == order.size());
        for (const QString& name : kept)
            QCOMPARE(readHostFile(copy + "/Work/" + name), readHostFile(work + '/' + name));
        // Awake until the end view showed or the application quit, then no longer.
        QCOMPARE(mac->events("caffeinate"), QStringList{"end"});
        QCOMPARE(mac->runningCallPids(), QList<qint64>());
    }

    void verifyNamesWhatDiffers_data() {
        QTest::addColumn<QString>("change"); // what happens to the copy as the verify begins
        QTest::addColumn<QString>("named");  // the file the failure view names
        for (const auto& [row, change, named] : {std::tuple("nothing", "", ""),
                                                 {"a byte changed", "byte", "Photos/b (1).jpg"},
                                                 {"cut short", "short", "c.bin"},
                                                 {"removed", "remove", "a.txt"}})
            QTest::newRow(row) << QString(change) << QString(named);
    }

    void verifyNamesWhatDiffers() {
        QFETCH(QString, change);
        QFETCH(QString, named);
        const QString base = makeProofSource(*mac);
        // Unchanged, the verify is held at the last file so that its stage can be looked at.
        std::atomic<Hold*> held{nullptr};
        DoCopyFiles::setBeforeVerify([&](const QString& copyPath) {
            const QString file = mac->host(copyPath + '/' + named);
            if (change == "byte") {
                QFile f(file);
                char c = 0;
                if (f.open(QIODevice::ReadWrite) && f.seek(1000) && f.getChar(&c) && f.seek(1000))
                    f.putChar(char(c ^ 0x5a));
            } else if (change == "short") {
                QFile::resize(file, 1000);
            } else if (change == "remove") {
                QFile::remove(file);
            } else {
                held = new Hold(mac->host(copyPath + "/c.bin"));
            }
        });
        const auto cleanUp = qScopeGuard([&] {
            DoCopyFiles::setBeforeVerify({});
            delete held.load();
        });
        Window w;
        // A name the copy always leaves out is not counted.
        dropFiles(
            w, {base + "/film.mkv", base + "/a.txt", base + "/Photos", base + "/c.bin", base + "/.DS_Store"});
        QCOMPARE(w.tab->sourceSlot()->nameLabel()->text(), QStringLiteral("add some files"));
        QCOMPARE(w.tab->sourceSlot()->sizeLabel()->text(), QStringLiteral("4 files selected"));
        QCOMPARE(w.tab->sourceSlot()->imageName(), QStringLiteral("ic_folder"));
        QVERIFY(pick(w, 2, "STICK"));
        // What FAT refuses is listed before the copy and left out of it.
        const QStringList listed = confirm(w, change.isEmpty() ? "5-confirming-with-left-out" : QString());
        QVERIFY2(listed.size() == 2 && listed[0].startsWith("film.mkv (5.00 GB)") &&
                     listed[1].startsWith("what?.txt:"),
                 qPrintable(listed.join('\n')));
        if (change.isEmpty()) {
            QVERIFY(waitUntil([&] { return held.load() && held.load()->reached(); }, 30000));
            QCOMPARE(w.tab->pathLabel()->text(), QString("Verifying\u2026"));
            QVERIFY(w.tab->progressView()->isVisible());
            // The stage counts its own bytes: a.txt and the photo are read back, c.bin is not yet.
            const QRegularExpression verified(QStringLiteral("^100(\\.\\d\\d)? KB of 3\\.10 MB"));
            QVERIFY2(
                waitUntil([&] { return verified.match(w.tab->progressLine()->text()).hasMatch(); }, 5000),
                qPrintable(w.tab->progressLine()->text()));
            w.shot("9-verifying");
            held.load()->release();
        }
        QVERIFY(waitForEnd(w));
        const QString text = w.tab->endLabel()->text();
        if (!named.isEmpty()) {
            QVERIFY2(text.contains("The copy differs from the source in 1 file."), qPrintable(text));
            QVERIFY(w.tab->differingList()->isVisible());
            QCOMPARE(w.tab->differingList()->count(), 1);
            QCOMPARE(w.tab->differingList()->item(0)->text(), named);
            QVERIFY(w.tab->resumeButton()->isVisible());
            if (change == "byte")
                w.shot("11-verify-failed");
            return;
        }
        QVERIFY2(text.contains("Copy completed! 3 files (3.10 MB) copied and verified."), qPrintable(text));
        QVERIFY(!w.tab->resumeButton()->isVisible());
        QVERIFY(!w.tab->differingList()->isVisible());
        w.shot("10-verified");
        const QString copy = datedFolder(*mac, "/Volumes/STICK");
        QVERIFY(!copy.isEmpty());
        QCOMPARE(sortedEntries(copy), (QStringList{"Photos", "Tavrill receipt.txt", "a.txt", "c.bin"}));
        for (const char* name : {"a.txt", "c.bin"})
            QCOMPARE(compareTrees(base + '/' + name, copy + '/' + name), QStringList());
        QCOMPARE(sortedEntries(copy + "/Photos"), QStringList{"b (1).jpg"});

        // The receipt: its head, a line per file, the verify's verdict.
        const QStringList lines =
            QString::fromUtf8(readHostFile(copy + "/Tavrill receipt.txt")).split('\n', Qt::SkipEmptyParts);
        const QStringList head = {"^# Tavrill receipt$",
                                  "^# Date: \\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d ",
                                  "^# Source: Macintosh HD \\(UUID [0-9A-F-]{36}\\)$",
                                  "^# Destination: STICK \\(UUID 0DDBA11A-57C1-4C4E-8F00-0000000000F3\\)$",
                                  "^# Tavrill version: ",
                                  "^# Check this copy with: xxhsum -c \"Tavrill receipt.txt\"$",
                                  "^# Left out: film.mkv"};
        QVERIFY2(lines.size() >= 10, qPrintable(lines.join('\n')));
        for (qsizetype i = 0; i < head.size(); ++i)
            QVERIFY2(QRegularExpression(head[i]).match(lines[i]).hasMatch(), qPrintable(lines[i]));

        // xxhsum alone checks the copy, run in the copy folder: a line for each file, each matching.
        QProcess tool;
        tool.setWorkingDirectory(copy);
        tool.start("xxhsum", {"-c", "Tavrill receipt.txt"});
        QVERIFY(tool.waitForFinished(60000));
        QStringList checked = QString::fromUtf8(tool.readAllStandardOutput())
                                  .split('\n')
                                  .filter(QRegularExpression(": (OK|FAILED)$"));
        checked.sort();
        QCOMPARE(qMakePair(tool.exitCode(), checked),
                 qMakePair(0, QStringList{"Photos/b (1).jpg: OK", "a.txt: OK", "c.bin: OK"}));
    }

    void resumeAfterTheDriveCameBack() {
        const QString base = mac->host("/Users/alex/Album");
        for (int day = 0; day < 6; ++day)
            writeHostFile(base + QString("/Day %1/photo.jpg").arg(day), noise(1'000'000, day));
        writeHostFile(base + "/index.txt", "six days");
        Window w;
        QVERIFY(!startThrottledCopy(*mac, w, {base}, "2MB").isEmpty());
        // Pulled out halfway through the photos.
        QVERIFY(
            waitUntil([&] { return w.tab->doCopy() && w.tab->doCopy()->bytesCopied() > 2'500'000; }, 30000));
        QVERIFY(mac->unplug("backup"));
        QVERIFY(waitForEnd(w));
        QVERIFY2(w.tab->endLabel()->text().contains("Some files copy failed!"),
                 qPrintable(w.tab->endLabel()->text()));
        QVERIFY(!w.tab->endLabel()->text().contains("href")); // no link to a folder that is gone
        QVERIFY(w.main->isTabChangeAllowed());
        QVERIFY(w.tab->resumeButton()->isVisible());
        w.shot("13-resume-offered");
        // The same drive again (its volume's UUID), renamed meanwhile, without the throttle.
        const QString disk = mac->plug(R"({"name": "backup", "mediaName": "Samsung PSSD T7", "size": "256GB",
            "scheme": "GPT", "removable": false, "partitions": [ { "fs": "JHFS+", "name": "Backup 2",
            "uuid": "5E1C0DE5-B4C7-4B0B-9A55-0000000000B1" } ] })");
        QVERIFY(!disk.isEmpty());
        QTest::mouseClick(w.tab->resumeButton(), Qt::LeftButton);
        QVERIFY(waitUntil([&] { return !w.tab->endView()->isVisible(); }, 5000));
        QVERIFY(waitForEnd(w));
        QVERIFY2(w.tab->endLabel()->text().contains("Copy completed! 7 files (6.00 MB) copied and verified."),
                 qPrintable(w.tab->endLabel()->text()));
        const QString copy = datedFolder(*mac, "/Volumes/Backup 2");
        QVERIFY(!copy.isEmpty());
        QCOMPARE(compareTrees(base, copy + "/Album"), QStringList());
    }
};

TAVRILL_TEST(TestDiskCopyWorkflow)

#include "tst_diskcopyworkflow.moc"
