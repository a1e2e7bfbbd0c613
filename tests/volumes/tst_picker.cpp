#include "tst_volumes.h"

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
    PickRecorder workflow;
    SelectDiskViewController picker(false);
    picker.setSelectDiskVCDelegate(&workflow);
    picker.show();
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

    // A click on a row hands the workflow the very record of the scan.
    DiskListViewController* stick = picker.rows().at(int(rowNames(picker).indexOf("STICK")));
    QTest::mouseClick(stick->aView(), Qt::LeftButton, {}, QPoint(200, 32));
    QCOMPARE(workflow.picked.size(), 1);
    QCOMPARE(workflow.picked.first(), stick->volumeObj());
    QCOMPARE(workflow.picked.first()->volumeMountPoint(), QStringLiteral("/Volumes/STICK"));
    // A fresh scan of the same picker rebuilds the list from new records.
    picker.awakeFromNib();
    QVERIFY(picker.loadP()->isAnimating());
    QVERIFY(waitForList(picker));
    QCOMPARE(rowNames(picker).size(), 6);
    for (DiskListViewController* r : picker.rows())
        QVERIFY(r->volumeObj() != workflow.picked.first());
}

void TestPicker::listHeightGrowsWithTheRows() {
    // 92 points a row and room for the two headings; the rest is reached by scrolling.
    auto mac = EmulatedMac::fromScenario(QStringLiteral("twenty-volumes"));
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    SelectDiskViewController picker(false);
    QVERIFY(waitForList(picker));
    const int count = int(picker.allVolumeArr().size());
    QVERIFY(count > 6);
    QCOMPARE(picker.listContent()->size(), QSize(392, 92 * count + 50));
    // Every row fits inside the content, and the list starts at its top.
    QVERIFY(picker.rows().last()->geometry().bottom() < picker.listContent()->height());
    picker.show();
    QVERIFY(QTest::qWaitForWindowExposed(&picker));
    QScrollBar* bar = picker.listScrollView()->verticalScrollBar();
    QVERIFY(bar->isVisible());
    QCOMPARE(bar->value(), 0);
    QCOMPARE(bar->maximum(), 92 * count + 50 - 400);
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

void TestPicker::rowsNameTheDriveAndItsVolumesInAPopover() {
    auto mac =
        VolumesTestKit::machine("10.15.7", VolumesTestKit::twoVolumeDrive(),
                                R"("system":{"name":"Macintosh HD 1","size":"500.28GB","used":"182GB"})");
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    const QString t7 = QString::fromUtf8("Samsung PSSD T7 Media · USB · 500.11 GB|Backup — 80.00 GB used, "
                                         "WINDOWS — 22.22 KB used");
    for (bool wholeDisks : {false, true}) {
        QWidget host;
        SelectDiskViewController* picker = nullptr;
        QPointer<Popover> popover;
        QVERIFY(openInPopover(host, wholeDisks, &picker, &popover));
        QVERIFY(popover->isShown());
        QCOMPARE(popover->content(), picker);
        // Name (none reads as cut without "…"), icon, size, drive and the drive's volumes; the
        // start-up disk says so. Whole disks go by their model name, under one heading, and show
        // their capacity alone.
        QCOMPARE(picker->isOnlyShowEx(), wholeDisks);
        QCOMPARE(headingTexts(*picker), wholeDisks ? QStringList{"External Drives"}
                                                   : QStringList({"Internal Drives", "External Drives"}));
        QStringList shown;
        for (DiskListViewController* r : picker->rows())
            shown << QStringList{r->nameLabel()->text(), r->diskIconImageView()->imageName(),
                                 r->sizeLabel()->text(), r->driveLabel()->fullText(),
                                 r->volumesLabel()->fullText()}
                         .join(QLatin1Char('|'));
        shown.sort();
        const QStringList expected =
            wholeDisks ? QStringList{"Samsung PSSD T7 Media|ic_usb|500.11 GB|" + t7}
                       : QStringList(
                             {"Backup|ic_usb|80.00 GB/400.00 GB|" + t7,
                              QString::fromUtf8("Macintosh HD 1|ic_os|182.00 GB/500.07 GB|APPLE SSD SM0512G "
                                                "Media · PCI-Express · 500.28 GB · start-up disk|Macintosh "
                                                "HD 1 - Data — 0 byte used, Macintosh HD 1 — 182.00 GB used"),
                              "WINDOWS|ic_usb|22.22 KB/99.00 GB|" + t7});
        QVERIFY2(shown == expected, qPrintable(shown.join(QLatin1Char('\n'))));
        QVERIFY(!wholeDisks || picker->rows().first()->usageBar()->value() == 0.1);
        // Below four rows the list keeps its 400 points.
        QCOMPARE(picker->listContent()->height(), 400);
        // Show the last row as it looks under the pointer.
        hover(picker->rows().last()->aView());
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
