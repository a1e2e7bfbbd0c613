#include "tst_picker.h"

#include "EmulatedMac.h"
#include "Pointer.h"
#include "Screenshot.h"
#include "VolumesTestKit.h"
#include "core/WorkerPool.h"
#include "ui/ElidedLabel.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"
#include "ui/Popover.h"
#include "volumes/DiskListViewController.h"
#include "volumes/DiskUsageBarView.h"
#include "volumes/PickerSpinnerView.h"
#include "volumes/SelectDiskViewController.h"

#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QThreadPool>

#include <memory>

namespace {

constexpr int kScanTimeoutMs = 60000;

struct PickRecorder : SelectDiskVCDelegate {
    VolumeObjList picked;
    void doSelectDiskWithVolume(const VolumeObjRef& volume) override { picked << volume; }
};

QStringList headingTexts(const SelectDiskViewController& p) {
    QStringList texts;
    for (QLabel* h : p.headings())
        texts << h->text();
    return texts;
}

QStringList rowNames(const SelectDiskViewController& p) {
    QStringList names;
    for (DiskListViewController* row : p.rows())
        names << row->volumeObj()->volumeName();
    return names;
}

bool waitForList(SelectDiskViewController& p) {
    QSignalSpy shown(&p, &SelectDiskViewController::listShown);
    return shown.count() > 0 || shown.wait(kScanTimeoutMs);
}

// Shows a picker in a popover under a slot button of a window-sized host, its list taken in.
bool openInPopover(QWidget& host, bool wholeDisks, SelectDiskViewController** picker,
                   QPointer<Popover>* popover) {
    host.setFixedSize(880, 640);
    host.setStyleSheet(QStringLiteral("background: %1;").arg(KitStyle::css(KitStyle::windowBackground())));
    auto* slot = new QPushButton(QStringLiteral("Choose"), &host);
    slot->setGeometry(340, 40, 200, 40);
    host.show();
    if (!QTest::qWaitForWindowExposed(&host))
        return false;
    *picker = new SelectDiskViewController(wholeDisks);
    *popover = SelectDiskViewController::presentUnder(slot, *picker);
    return waitForList(**picker);
}

} // namespace

void TestPicker::mountedVolumesUnderTheirHeadings() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    SelectDiskViewController picker(false);
    // The spinner turns while the scan runs.
    QVERIFY(picker.loadP()->isVisibleTo(&picker));
    QVERIFY(picker.loadP()->isAnimating());
    QVERIFY(!picker.listScrollView()->isVisibleTo(&picker));
    QVERIFY(waitForList(picker));
    QVERIFY(!picker.loadP()->isVisibleTo(&picker));
    QVERIFY(!picker.loadP()->isAnimating());
    QVERIFY(picker.listScrollView()->isVisibleTo(&picker));

    // Internal drives first, then external ones, each in scan order.
    QStringList expected;
    for (bool external : {false, true}) {
        for (const VolumeObjRef& v : picker.allVolumeArr()) {
            if (v->bCanEject() == external)
                expected << v->volumeName();
        }
    }
    QCOMPARE(rowNames(picker), expected);
    QCOMPARE(headingTexts(picker), (QStringList{"Internal Drives", "External Drives"}));
    // Headings 25 points high, each just above its rows; rows 92 points high.
    QCOMPARE(picker.headings().at(0)->y(), 0);
    QCOMPARE(picker.headings().at(1)->y(), 25 + 2 * 92);
    QList<int> tops;
    for (DiskListViewController* r : picker.rows())
        tops << r->y();
    QCOMPARE(tops, (QList<int>{25, 117, 234, 326, 418, 510}));

    // What each row shows of the demo Mac (the NTFS drive is left out).
    QStringList shown;
    for (DiskListViewController* r : picker.rows())
        shown << QStringList{r->nameLabel()->text(), r->diskIconImageView()->imageName(),
                             r->sizeLabel()->text(), r->diskInfoLabel()->text()}
                     .join(QLatin1Char('|'));
    shown.sort();
    QCOMPARE(shown, (QStringList{"Archive|ic_usb|121.36 KB/209.67 MB|Journaled HFS+",
                                 "Backup|ic_usb|80.02 GB/255.79 GB|ExFAT",
                                 "Data|ic_disk|640.04 GB/2.00 TB|Journaled HFS+",
                                 "Macintosh HD|ic_os|182.21 GB/500.07 GB|APFS",
                                 "SMALL|ic_usb|535 byte/999.00 MB|MS-DOS FAT32",
                                 "STICK|ic_usb|6.10 MB/16.00 GB|MS-DOS FAT32"}));
}

void TestPicker::wholeUsbDisksOnlyUnderExternalDrives() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    SelectDiskViewController picker(true);
    QVERIFY(picker.isOnlyShowEx());
    QVERIFY(waitForList(picker));
    QVERIFY(!picker.rows().isEmpty());
    QCOMPARE(headingTexts(picker), QStringList{"External Drives"});
    QVERIFY(mac->calls().contains(QStringList{"diskutil", "list", "-plist"}));
    // Whole disks go by their model name and show their capacity alone.
    QStringList shown;
    for (DiskListViewController* r : picker.rows()) {
        QCOMPARE(r->diskIconImageView()->imageName(), QStringLiteral("ic_usb"));
        QCOMPARE(r->usageBar()->value(), 0.1);
        shown << r->volumeObj()->volumeName() + QLatin1Char('|') + r->sizeLabel()->text();
    }
    QCOMPARE(shown, (QStringList{"SanDisk Cruzer Blade Media|16.01 GB", "Samsung PSSD T7 Media|256.00 GB",
                                 "WD Elements 25A3 Media|2.00 TB", "Generic Flash Disk Media|2.10 GB"}));
}

void TestPicker::listHeightGrowsPastFourRows() {
    {
        // Four volumes: just past the 400-point minimum.
        auto mac = EmulatedMac::fromJson(R"({
          "version": "10.15.7", "user": "alex",
          "system": { "name": "Macintosh HD", "size": "500GB", "used": "120GB" },
          "disks": [
            { "name": "full", "mediaName": "Full Stick", "size": "8GB", "scheme": "MBR", "removable": true,
              "partitions": [ { "fs": "ExFAT", "name": "FULL", "used": "8GB" } ] },
            { "name": "empty", "mediaName": "Empty Stick", "size": "8GB", "scheme": "MBR", "removable": true,
              "partitions": [ { "fs": "ExFAT", "name": "EMPTY" } ] },
            { "name": "data", "bus": "SATA", "internal": true, "mediaName": "Data Drive", "size": "1TB",
              "scheme": "GPT", "partitions": [ { "fs": "JHFS+", "name": "Data", "used": "400GB" } ] }
          ] })");
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        SelectDiskViewController picker(false);
        QVERIFY(waitForList(picker));
        QCOMPARE(rowNames(picker), (QStringList{"Macintosh HD", "Data", "FULL", "EMPTY"}));
        QCOMPARE(picker.listContent()->size(), QSize(392, 4 * 92 + 50));
    }
    {
        // Past the minimum: 92 points a row and room for the two headings; the rest is reached
        // by scrolling.
        auto mac = EmulatedMac::fromScenario(QStringLiteral("twenty-volumes"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        SelectDiskViewController picker(false);
        QVERIFY(waitForList(picker));
        const int count = int(picker.allVolumeArr().size());
        QVERIFY(count > 6);
        QCOMPARE(picker.listContent()->size(), QSize(392, 92 * count + 50));
        // Every row fits inside the content, and the list starts at its top.
        const DiskListViewController* last = picker.rows().last();
        QVERIFY(last->geometry().bottom() < picker.listContent()->height());
        picker.show();
        QVERIFY(QTest::qWaitForWindowExposed(&picker));
        QScrollBar* bar = picker.listScrollView()->verticalScrollBar();
        QVERIFY(bar->isVisible());
        QCOMPARE(bar->value(), 0);
        QCOMPARE(bar->maximum(), 92 * count + 50 - 400);
    }
}

void TestPicker::clickOnARowReachesTheWorkflow() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    PickRecorder workflow;
    SelectDiskViewController picker(false);
    picker.setSelectDiskVCDelegate(&workflow);
    picker.show();
    QVERIFY(waitForList(picker));
    DiskListViewController* stick = nullptr;
    for (DiskListViewController* r : picker.rows()) {
        if (r->volumeObj()->volumeName() == QLatin1String("STICK"))
            stick = r;
    }
    QVERIFY(stick);
    QTest::mouseClick(stick->aView(), Qt::LeftButton, {}, QPoint(200, 32));
    QCOMPARE(workflow.picked.size(), 1);
    QCOMPARE(workflow.picked.first(), stick->volumeObj()); // the very record of the scan
    QCOMPARE(workflow.picked.first()->volumeMountPoint(), QStringLiteral("/Volumes/STICK"));

    // A fresh scan of the same picker rebuilds the list from new records.
    picker.awakeFromNib();
    QVERIFY(picker.loadP()->isAnimating());
    QVERIFY(waitForList(picker));
    QCOMPARE(rowNames(picker).size(), 6);
    for (DiskListViewController* r : picker.rows())
        QVERIFY(r->volumeObj() != workflow.picked.first());
}

void TestPicker::pickerGoneBeforeItsScanEnds() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("twenty-volumes"));
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    // The owner closes the picker while the scan still runs; the scan ends on its own and
    // shows nothing anywhere.
    { SelectDiskViewController picker(false); }
    { SelectDiskViewController picker(true); }
    QTRY_COMPARE_WITH_TIMEOUT(workerPool()->activeThreadCount(), 0, kScanTimeoutMs);
    QTest::qWait(300); // past the 0.2 s delay before a list shows
}

void TestPicker::screenshotsInAPopover() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));

    for (bool wholeDisks : {false, true}) {
        QWidget host;
        SelectDiskViewController* picker = nullptr;
        QPointer<Popover> popover;
        QVERIFY(openInPopover(host, wholeDisks, &picker, &popover));
        QVERIFY(popover->isShown());
        QCOMPARE(popover->content(), picker);
        // Show the first row as it looks under the pointer.
        hover(picker->rows().first()->aView());
        QVERIFY(saveScreenshot(&host, QStringLiteral("volumes"),
                               wholeDisks ? QStringLiteral("picker-os-clone")
                                          : QStringLiteral("picker-volumes")));

        // Closed by its owner, the popover goes and takes the picker with it.
        QPointer<SelectDiskViewController> gone(picker);
        popover->closePopover();
        QTRY_VERIFY(!popover);
        QTRY_VERIFY(!gone);
    }
}

void TestPicker::rowsNameTheDriveAndItsVolumes() {
    auto mac =
        VolumesTestKit::machine("10.15.7", VolumesTestKit::twoVolumeDrive(),
                                R"("system":{"name":"Macintosh HD 1","size":"500.28GB","used":"182GB"})");
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    struct Row {
        const char* name;
        const char* drive;
    };
    const QString t7Volumes = QString::fromUtf8("Backup — 80.00 GB used, WINDOWS — 22.22 KB used");
    for (bool wholeDisks : {false, true}) {
        QWidget host;
        SelectDiskViewController* picker = nullptr;
        QPointer<Popover> popover;
        QVERIFY(openInPopover(host, wholeDisks, &picker, &popover));
        const QList<Row> expected =
            wholeDisks ? QList<Row>{{"Samsung PSSD T7 Media", "Samsung PSSD T7 Media · USB · 500.11 GB"}}
                       : QList<Row>{{"Macintosh HD 1", ""},
                                    {"Backup", "Samsung PSSD T7 Media · USB · 500.11 GB"},
                                    {"WINDOWS", "Samsung PSSD T7 Media · USB · 500.11 GB"}};
        QCOMPARE(picker->rows().size(), expected.size());
        for (int i = 0; i < expected.size(); ++i) {
            DiskListViewController* row = nullptr;
            for (DiskListViewController* r : picker->rows()) {
                if (r->nameLabel()->fullText() == QString::fromUtf8(expected[i].name))
                    row = r;
            }
            QVERIFY2(row, expected[i].name);
            if (i == 0 && !wholeDisks) {
                // The start-up disk says so, and no name reads as cut without "…".
                QVERIFY2(row->driveLabel()->fullText().endsWith(QStringLiteral(" · start-up disk")),
                         qPrintable(row->driveLabel()->fullText()));
                QCOMPARE(row->nameLabel()->text(), QStringLiteral("Macintosh HD 1"));
                continue;
            }
            QCOMPARE(row->driveLabel()->fullText(), QString::fromUtf8(expected[i].drive));
            QCOMPARE(row->volumesLabel()->fullText(), t7Volumes);
        }
        hover(picker->rows().last()->aView());
        QVERIFY(saveScreenshot(&host, QStringLiteral("volumes"),
                               wholeDisks ? QStringLiteral("picker-identity-os-clone")
                                          : QStringLiteral("picker-identity-volumes")));
        popover->closePopover();
        QTRY_VERIFY(!popover);
    }
}
