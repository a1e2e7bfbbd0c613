#include "EmulatedMac.h"
#include "Pointer.h"
#include "Screenshot.h"
#include "TestMain.h"
#include "TreeCompare.h"
#include "VolumesTestKit.h"
#include "Wait.h"
#include "core/QvLog.h"
#include "core/WorkerPool.h"
#include "platform/DiskArbitration.h"
#include "ui/ElidedLabel.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"
#include "ui/Popover.h"
#include "volumes/DiskListViewController.h"
#include "volumes/DiskUsageBarView.h"
#include "volumes/NotificationCenter.h"
#include "volumes/PickerSpinnerView.h"
#include "volumes/SelectDiskViewController.h"
#include "volumes/VolumeEnumerator.h"
#include "volumes/WatchMountUnmount.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QThreadPool>

#include <numeric>

using namespace VolumesTestKit;

namespace {

QStringList infoCall(const QString& device) {
    return {QStringLiteral("diskutil"), QStringLiteral("info"), QStringLiteral("-plist"), device};
}

// A record as "name|path|mount point|type|ejects or fixed|total bytes|free bytes|total|free".
QString fieldsOf(const VolumeObjRef& v) {
    if (!v)
        return QStringLiteral("no record");
    return QStringLiteral("%1|%2|%3|%4|%5|%6|%7|%8|%9")
        .arg(v->volumeName(), v->volumePath(), v->volumeMountPoint(), v->volumeType(),
             v->bCanEject() ? QStringLiteral("ejects") : QStringLiteral("fixed"),
             QString::number(v->volumeTotalSizeNum()), QString::number(v->volumeFreeSizeNum()),
             v->volumeTotalSize(), v->volumeFreeSize());
}

struct Scan {
    VolumeEnumerator enumerator;
    int shown = 0;
    Scan() {
        enumerator.setShowViewHandler([this] { ++shown; });
    }
};

constexpr int kScanTimeoutMs = 60000;

// A record made by hand, for a row on its own.
VolumeObjRef record(bool ejectable, const QString& mountPoint, std::int64_t total, std::int64_t free) {
    auto v = VolumeObjRef::create();
    v->setBCanEject(ejectable);
    v->setVolumeMountPoint(mountPoint);
    v->setVolumeTotalSizeNum(total);
    v->setVolumeFreeSizeNum(free);
    return v;
}

// What a row or the picker hands the workflow.
struct PickRecorder : DiskListVCDelegate, SelectDiskVCDelegate {
    VolumeObjList picked;
    void doSelectDiskWithVolume(const VolumeObjRef& volume) override { picked << volume; }
};

QStringList headingTexts(const SelectDiskViewController& p) {
    QStringList texts;
    for (QLabel* h : p.headings())
        texts << h->text();
    return texts;
}

// What each row shows, sorted: "name|icon|size|file system", or with the drive and its volumes
// in place of the file system.
QStringList rowTexts(const SelectDiskViewController& p, bool drives) {
    QStringList texts;
    for (DiskListViewController* r : p.rows())
        texts << QStringList{r->nameLabel()->text(), r->diskIconImageView()->imageName(),
                             r->sizeLabel()->text(),
                             drives ? r->driveLabel()->fullText() + '|' + r->volumesLabel()->fullText()
                                    : r->diskInfoLabel()->text()}
                     .join('|');
    texts.sort();
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

} // namespace

// The picker's scans against emulated Macs: which volumes and disks become records, with which
// fields, and exactly which disk-tool calls they take.
class TestVolumes : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void mountedScanAndThePickersRows() {
        auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        const QStringList listing = volumesListing(*mac);
        mac->clearLog();

        Scan scan;
        scan.enumerator.doGetAllVolume_();

        // One "diskutil info -plist <bsd>" per entry, in the directory's order.
        QList<QStringList> expectedCalls;
        QStringList expectedNames;
        for (const QString& entry : listing) {
            const bool systemLink = QFileInfo(mac->host("/Volumes/" + entry)).isSymLink();
            expectedCalls << infoCall(deviceOf(*mac, systemLink ? "/" : "/Volumes/" + entry));
            if (entry != QLatin1String("WINDOWS")) // NTFS never reaches the picker
                expectedNames << entry;
        }
        QCOMPARE(mac->calls().mid(0, expectedCalls.size()), expectedCalls);
        QCOMPARE(mac->calls().value(expectedCalls.size()), QStringList({"diskutil", "list", "-plist"}));
        QCOMPARE(namesOf(scan.enumerator.allVolumeArr()), expectedNames);
        QCOMPARE(scan.shown, 1);

        QCOMPARE(fieldsOf(volumeNamed(scan.enumerator.allVolumeArr(), QStringLiteral("STICK"))),
                 QStringLiteral("STICK|/Volumes/STICK|/Volumes/STICK|MS-DOS "
                                "FAT32|ejects|16004757120|15998657638|16.00 GB|16.00 GB"));

        // The scan's step for one entry: an unformatted partition (no VolumeName) is left out
        // after one tool run.
        mac->clearLog();
        VolumeEnumerator e;
        e.getVolumeAllObjWithVolumeName(QStringLiteral("disk6s2"));
        QVERIFY(e.allVolumeArr().isEmpty());
        QCOMPARE(mac->calls(), QList<QStringList>{infoCall("disk6s2")});

        // A name too long for the command line is logged, not run.
        mac->clearLog();
        QvUninitLog(); // the log reopens inside this machine
        const QByteArray name(60, 'x');
        QVERIFY(!e.getDisjInfo(name.constData()));
        QVERIFY(!e.QvGetDiskInfo(name.constData()));
        QVERIFY(mac->calls().isEmpty());
        QCOMPARE(readHostFile(mac->host("/tmp/Pellory.txt")).count("  diskutil info " + name + " error\n"),
                 1); // the whole-disk lookup's

        // The picker on the same Mac: spinner, headings and rows.
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

        // Internal drives first, then external ones, each in scan order (the host's directory order).
        QStringList expected;
        for (bool external : {false, true})
            for (const VolumeObjRef& v : picker.allVolumeArr())
                if (v->bCanEject() == external)
                    expected << v->volumeName();
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
        QCOMPARE(rowTexts(picker, false), (QStringList{"Archive|ic_usb|121.36 KB/209.67 MB|Journaled HFS+",
                                                       "Backup|ic_usb|80.02 GB/255.79 GB|ExFAT",
                                                       "Data|ic_disk|640.04 GB/2.00 TB|Journaled HFS+",
                                                       "Macintosh HD|ic_os|182.21 GB/500.07 GB|APFS",
                                                       "SMALL|ic_usb|535 byte/999.00 MB|MS-DOS FAT32",
                                                       "STICK|ic_usb|6.10 MB/16.00 GB|MS-DOS FAT32"}));

        // A click on a row hands the workflow the very record of the scan; a right click nothing.
        DiskListViewController* stick = picker.rows().at(int(rowNames(picker).indexOf("STICK")));
        QCOMPARE(stick->nameLabel()->toolTip(), QStringLiteral("STICK"));
        QTest::mouseClick(stick->aView(), Qt::LeftButton, {}, QPoint(200, 32));
        QTest::mouseClick(stick->aView(), Qt::RightButton, {}, QPoint(300, 50));
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

    void volumesLeftOutOfTheScan() {
        auto mac = machine("10.15.7", usbStick("keep") + "," + usbStick("empty") + "," + usbStick("garbled") +
                                          "," + usbStick("failing") + "," +
                                          R"({"name":"win","mediaName":"WD","size":"64GB","scheme":"MBR",)"
                                          R"("partitions":[{"fs":"NTFS","name":"WIN"}]})");
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        // A plain folder in /Volumes is no volume: no device, no tool call.
        QVERIFY(QDir().mkpath(mac->host("/Volumes/Leftover")));
        // The disk tool's answer about a volume, and then about its disk, is garbled or a failure.
        for (const auto& [volume, mode] :
             {std::pair{"/Volumes/GARBLED", "garbage"}, {"/Volumes/FAILING", "fail"}}) {
            const QByteArray device = deviceOf(*mac, QLatin1String(volume)).toUtf8();
            for (const QByteArray& node : {device, device.left(device.lastIndexOf('s'))})
                QVERIFY(mac->addFault(R"({"tool":"diskutil","verb":"info","device":")" + node +
                                      R"(","mode":")" + mode + R"("})"));
        }
        // The platform reports size 0 for EMPTY's file system (written after the faults, which
        // rewrite the mount table).
        const QByteArray emptyDevice = deviceOf(*mac, "/Volumes/EMPTY").toUtf8();
        QVERIFY(!emptyDevice.isEmpty());
        QList<QByteArray> lines = mac->mountTable().split('\n');
        for (QByteArray& line : lines) {
            if (line.startsWith("/dev/" + emptyDevice + ' '))
                line = line.left(line.indexOf("size=")) + "size=0 0 0";
        }
        QVERIFY(writeHostFile(mac->host("/proc/self/mounts"), lines.join('\n')));
        mac->clearLog();

        Scan scan;
        scan.enumerator.doGetAllVolume_();
        QStringList names = namesOf(scan.enumerator.allVolumeArr());
        names.sort();
        QCOMPARE(names, QStringList({"KEEP", "Macintosh HD"}));
        QCOMPARE(scan.shown, 1);
        // Macintosh HD, KEEP, EMPTY, GARBLED, FAILING, WIN; none for Leftover; then the drives.
        QCOMPARE(mac->calls().indexOf(QStringList({"diskutil", "list", "-plist"})), 6);

        // The whole-disk scan leaves out only the disks it got no answer for.
        Scan usb;
        usb.enumerator.QvGetUSBThreadImp();
        QCOMPARE(namesOf(usb.enumerator.allVolumeArr()),
                 QStringList({"keep Media", "empty Media", "WD Media"}));
        QCOMPARE(usb.shown, 1);
    }

    void lastListingEntryDecidesShowing() {
        // Which of two names a directory lists last depends on the host's file system; find a
        // system-volume name that a ".DS_Store" made after it follows.
        std::unique_ptr<EmulatedMac> mac;
        QString systemName;
        for (int i = 0; i < 40 && systemName.isEmpty(); ++i) {
            const QString candidate = i ? QStringLiteral("Mac HD %1").arg(i) : QStringLiteral("Macintosh HD");
            mac.reset(); // the old machine goes first
            mac = machine("10.15.7", {}, "\"system\":{\"name\":\"" + candidate.toUtf8() + "\"}");
            QVERIFY2(mac->isValid(), qPrintable(mac->error()));
            QFile(mac->host("/Volumes/.DS_Store")).open(QIODevice::WriteOnly);
            if (volumesListing(*mac) == QStringList({candidate, ".DS_Store"}))
                systemName = candidate;
        }
        // Hashed directories (ext4, the test machines') list one of forty names before it.
        QVERIFY2(!systemName.isEmpty(),
                 "this host's file system never lists .DS_Store after the system volume's link");

        Scan scan;
        scan.enumerator.doGetAllVolume_();
        QCOMPARE(namesOf(scan.enumerator.allVolumeArr()), QStringList({systemName}));
        QCOMPARE(scan.shown, 0); // the spinner keeps turning

        // Without the skipped entry last, the list is shown.
        QVERIFY(QFile::remove(mac->host("/Volumes/.DS_Store")));
        scan.enumerator.doGetAllVolume_();
        QCOMPARE(scan.shown, 1);

        // An empty /Volumes never shows anything either.
        QVERIFY(QFile::remove(mac->host("/Volumes/" + systemName)));
        scan.enumerator.doGetAllVolume_();
        QCOMPARE(scan.shown, 1);
        QVERIFY(scan.enumerator.allVolumeArr().isEmpty());
    }

    void systemVolumeAcrossVersions_data() {
        QTest::addColumn<QByteArray>("version");
        QTest::addColumn<QString>("type");
        QTest::newRow("10.12.6 HFS+ root") << QByteArray("10.12.6") << QStringLiteral("Journaled HFS+");
        QTest::newRow("10.14.6 APFS") << QByteArray("10.14.6") << QStringLiteral("APFS");
        QTest::newRow("10.15.7 system and data") << QByteArray("10.15.7") << QStringLiteral("APFS");
        QTest::newRow("11.7 sealed") << QByteArray("11.7") << QStringLiteral("APFS");
    }

    void systemVolumeAcrossVersions() {
        QFETCH(QByteArray, version);
        QFETCH(QString, type);
        auto mac = machine(version, {},
                           "\"system\":{\"name\":\"Macintosh HD\",\"size\":\"500GB\",\"used\":\"120GB\"}");
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));

        Scan scan;
        scan.enumerator.doGetAllVolume_();
        QCOMPARE(scan.enumerator.allVolumeArr().size(), 1);
        const VolumeObjRef system = scan.enumerator.allVolumeArr().first();
        QCOMPARE(fieldsOf(system).section(QLatin1Char('|'), 0, 4), "Macintosh HD|/|/|" + type + "|fixed");
        QVERIFY2(system->volumeTotalSizeNum() > 400'000'000'000LL, qPrintable(system->volumeTotalSize()));
        QVERIFY2(system->volumeFreeSizeNum() > 0 &&
                     system->volumeFreeSizeNum() < system->volumeTotalSizeNum(),
                 qPrintable(system->volumeFreeSize()));
        QCOMPARE(mac->calls().mid(0, 1), QList<QStringList>{infoCall(deviceOf(*mac, "/"))});
        QVERIFY(system->drive().startupDisk);
        // A sealed system mounts a snapshot of its volume, read-only.
        const QString device = DiskArbitration::bsdNameForVolumePath("/Volumes/Macintosh HD");
        const FileSystemInfo info = DiskArbitration::fileSystemInfo("/dev/" + device);
        QVERIFY2(info.found && device.endsWith("s1s1") == (version == "11.7"), qPrintable(device));
        QVERIFY(version != "11.7" || !info.writable);
    }

    void usbScanOffersOnlyPlainUsbDisks() {
        const QByteArray disks =
            R"({"name":"internal","bus":"SATA","internal":true,"ejectable":false,"mediaName":"HDD",)"
            R"("size":"1TB","scheme":"GPT","partitions":[{"fs":"JHFS+","name":"Inside"}]},)" +
            usbStick("plain") + "," + usbStick("raid", "16GB", ",\"raidMaster\":true") + "," +
            usbStick("locked", "16GB", ",\"coreStorageEncrypted\":true") + "," +
            usbStick("hfsx", "16GB", ",\"content\":\"Apple_HFSX\"") + "," +
            // A mounted disk image that sits on a USB bus: virtual, never a target.
            usbStick("virtual", "16GB", ",\"virtual\":true") + "," +
            R"({"name":"nameless","mediaName":"","size":"8GB","scheme":"MBR",)"
            R"("partitions":[{"fs":"ExFAT","name":"NONAME"}]})";
        auto mac = machine(
            "10.15.7", disks,
            R"("images":[{"path":"/Users/alex/Disk.dmg","volname":"Img","size":"100m","attach":true}])");
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        const QStringList wholeDisks = mac->diskList().value("WholeDisks").toStringList();
        mac->clearLog();

        Scan scan;
        scan.enumerator.QvGetUSBThreadImp();
        QList<QStringList> expected{{"diskutil", "list", "-plist"}};
        for (const QString& disk : wholeDisks)
            expected << infoCall("/dev/" + disk);
        QCOMPARE(mac->calls().mid(0, expected.size()), expected);
        QCOMPARE(scan.shown, 1);

        QCOMPARE(namesOf(scan.enumerator.allVolumeArr()), QStringList({"plain Media", "Unknown"}));
        QCOMPARE(fieldsOf(scan.enumerator.allVolumeArr().at(0)),
                 deviceOf(*mac, "/Volumes/PLAIN").section(QLatin1Char('s'), 0, 1).prepend("plain Media|") +
                     "|| |ejects|16000000000|0|16.00 GB|0 byte");
        QCOMPARE(fieldsOf(scan.enumerator.allVolumeArr().at(1)).section(QLatin1Char('|'), 3, 5),
                 QStringLiteral(" |ejects|8000000000"));
    }

    // Mount and unmount notifications: from a disk-tool run to every listener, on the main thread.
    void mountAndUnmountReachEveryListener() {
        auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        WatchMountUnmount watcher;

        // Two observers, as a Disk Manager and something else would be; each hears "name path",
        // flagged when it does not come from the watcher on the main thread.
        QObject manager, other;
        QStringList byManager, byOther;
        auto recorder = [&watcher](QStringList* into) {
            return [into, &watcher](const QString& name, QObject* object, const QVariantMap& info) {
                const bool onMain = QThread::currentThread() == QCoreApplication::instance()->thread();
                into->append(name + QLatin1Char(' ') + info.value(QStringLiteral("NSDevicePath")).toString() +
                             (object == &watcher && onMain ? "" : " (elsewhere)"));
            };
        };
        NotificationCenter* center = NotificationCenter::defaultCenter();
        center->addObserver(&manager, QStringLiteral("MCVolumeMount"), recorder(&byManager));
        center->addObserver(&manager, QStringLiteral("MCVolumeUnmount"), recorder(&byManager));
        center->addObserver(&other, QStringLiteral("MCVolumeUnmount"), recorder(&byOther));

        mac->run("diskutil", {"unmount", "/Volumes/STICK"});
        QVERIFY(waitUntil([&] { return !byManager.isEmpty() && !byOther.isEmpty(); }, 1500));
        QCOMPARE(byManager, QStringList{"MCVolumeUnmount /Volumes/STICK"});
        QCOMPARE(byOther, QStringList{"MCVolumeUnmount /Volumes/STICK"});

        byManager.clear();
        byOther.clear();
        mac->run("diskutil", {"mount", "disk3s1"});
        QVERIFY(waitUntil([&] { return !byManager.isEmpty(); }, 1500));
        QCOMPARE(byManager, QStringList{"MCVolumeMount /Volumes/STICK"});
        QVERIFY(byOther.isEmpty()); // it listens to unmounts only

        // An eject of a whole disk unmounts its volume; a mounted image shows as an unmount and a
        // mount of the same path.
        byManager.clear();
        mac->run("diskutil", {"eject", "/Volumes/Backup"});
        mac->run("hdiutil", {"detach", "/Volumes/Archive"});
        mac->run("hdiutil", {"attach", "/Users/alex/Documents/Archive.dmg"});
        QVERIFY(waitUntil([&] { return byManager.size() >= 3; }, 2500));
        QTest::qWait(300);
        byManager.sort();
        QCOMPARE(byManager, (QStringList{"MCVolumeMount /Volumes/Archive", "MCVolumeUnmount /Volumes/Archive",
                                         "MCVolumeUnmount /Volumes/Backup"}));
    }

    void postsFromWorkersArriveInOrderOnMain() {
        QObject listener;
        QList<int> order;
        bool allOnMain = true;
        {
            QObject shortLived;
            int heardByShortLived = 0;
            NotificationCenter::defaultCenter()->addObserver(
                &shortLived, QStringLiteral("Test"),
                [&](const QString&, QObject*, const QVariantMap&) { ++heardByShortLived; });
            NotificationCenter::defaultCenter()->postNotificationName(QStringLiteral("Test"), nullptr);
            QCOMPARE(heardByShortLived, 1); // posted on the main thread: delivered at once
        }
        NotificationCenter::defaultCenter()->addObserver(
            &listener, QStringLiteral("Test"), [&](const QString&, QObject*, const QVariantMap& info) {
                order << info.value("n").toInt();
                allOnMain = allOnMain && QThread::currentThread() == listener.thread();
            });
        QThreadPool::globalInstance()->start([] {
            for (int i = 0; i < 50; ++i)
                NotificationCenter::defaultCenter()->postNotificationName(QStringLiteral("Test"), nullptr,
                                                                          {{QStringLiteral("n"), i}});
            NotificationCenter::defaultCenter()->postNotificationName(QStringLiteral("Other"), nullptr);
        });
        QVERIFY(waitUntil([&] { return order.size() == 50; }, 2000));
        QList<int> expected(50);
        std::iota(expected.begin(), expected.end(), 0);
        QCOMPARE(order, expected);
        QVERIFY(allOnMain);
    }

    // Drive rows on their own, with records made by hand, and the whole picker against emulated
    // Macs: scan, spinner, headings, rows, selection.
    void iconFollowsEjectableThenSystemMount_data() {
        QTest::addColumn<bool>("ejectable");
        QTest::addColumn<QString>("mountPoint");
        QTest::addColumn<QString>("icon");
        const auto row = [](const char* tag, bool ejectable, const char* mountPoint, const char* icon) {
            QTest::newRow(tag) << ejectable << QString::fromLatin1(mountPoint) << QString::fromLatin1(icon);
        };
        row("usb stick", true, "/Volumes/STICK", "ic_usb");
        row("usb stick holding the system", true, "/", "ic_usb");
        row("internal system volume", false, "/", "ic_os");
        row("internal data volume", false, "/Volumes/Data", "ic_disk");
        row("path merely starting with /", false, "/Volumes", "ic_disk");
    }

    void iconFollowsEjectableThenSystemMount() {
        QFETCH(bool, ejectable);
        QFETCH(QString, mountPoint);
        QFETCH(QString, icon);
        DiskListViewController row;
        row.setVolumeObj(record(ejectable, mountPoint, 1000, 500));
        row.refreshaView();
        row.show();
        QCOMPARE(row.diskIconImageView()->imageName(), icon);
        QTest::mouseClick(row.aView(), Qt::LeftButton, {}, QPoint(100, 30)); // no delegate: nothing happens
        // Under the pointer the same rule picks the selected form, on the hover plate: rounded,
        // 67/67/67, drawn only under the pointer.
        const auto plate = [&] {
            return row.aView()->grab().toImage().pixelColor(row.aView()->width() / 2, 2);
        };
        hover(row.aView(), true);
        QVERIFY(row.aView()->mouseIn());
        QCOMPARE(row.diskIconImageView()->imageName(), icon + QStringLiteral("_sel"));
        QCOMPARE(plate(), QColor(67, 67, 67));
        hover(row.aView(), false);
        QCOMPARE(row.diskIconImageView()->imageName(), icon);
        QVERIFY(!row.aView()->mouseIn() && plate() != QColor(67, 67, 67));
    }

    void usageBar_data() {
        QTest::addColumn<qint64>("total");
        QTest::addColumn<qint64>("free");
        QTest::addColumn<double>("shown");
        QTest::newRow("full") << qint64(500'000'000'000) << qint64(0) << 100.0;
        QTest::newRow("empty") << qint64(500'000'000'000) << qint64(500'000'000'000) << 0.0;
        // Free per cent is truncated: 37.9 % free counts as 37, so 63 is shown.
        QTest::newRow("truncated") << qint64(1000) << qint64(379) << 63.0;
        QTest::newRow("free above total") << qint64(1000) << qint64(2000) << 100.0;
        QTest::newRow("total of zero") << qint64(0) << qint64(0) << 0.0;
        QTest::newRow("free not known") << qint64(1000) << qint64(-1) << 100.0;
        QTest::newRow("huge drive") << qint64(4'000'000'000'000'000) << qint64(1'000'000'000'000'000) << 75.0;
    }

    void usageBar() {
        QFETCH(qint64, total);
        QFETCH(qint64, free);
        QFETCH(double, shown);
        DiskListViewController row;
        row.setVolumeObj(record(false, QStringLiteral("/Volumes/V"), total, free));
        row.refreshaView();
        QVERIFY(row.usageBar());
        QCOMPARE(row.usageBar()->value(), shown);
        row.refreshaView(); // refreshed again: still one bar
        QCOMPARE(row.findChildren<DiskUsageBarView*>().size(), 1);
        // The bar sits under the name, 240 x 4 points.
        QCOMPARE(row.usageBar()->geometry(), QRect(76, 30, 240, 4));
    }

    void listHeightGrowsWithTheRowsAndScansOutliveThePicker() {
        auto mac = EmulatedMac::fromScenario(QStringLiteral("twenty-volumes"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        // The owner closes the picker while the scan still runs; the scan ends on its own and
        // shows nothing anywhere.
        { SelectDiskViewController picker(false); }
        { SelectDiskViewController picker(true); }
        QTRY_COMPARE_WITH_TIMEOUT(workerPool()->activeThreadCount(), 0, kScanTimeoutMs);
        QTest::qWait(300); // past the 0.2 s delay before a list shows

        // 92 points a row and room for the two headings; the rest is reached by scrolling.
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

    void rowsNameTheDriveAndItsVolumesInAPopover() {
        auto mac =
            VolumesTestKit::machine("10.15.7", VolumesTestKit::twoVolumeDrive(),
                                    R"("system":{"name":"Macintosh HD 1","size":"500.28GB","used":"182GB"})");
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        const QString t7 =
            QString::fromUtf8("Samsung PSSD T7 Media · USB · 500.11 GB|Backup — 80.00 GB used, "
                              "WINDOWS — 22.22 KB used");
        for (bool wholeDisks : {false, true}) {
            // Shown in a popover under a slot button of a window-sized host, its list taken in.
            QWidget host;
            host.setFixedSize(880, 640);
            host.setStyleSheet(
                QStringLiteral("background: %1;").arg(KitStyle::css(KitStyle::windowBackground())));
            auto* slot = new QPushButton(QStringLiteral("Choose"), &host);
            slot->setGeometry(340, 40, 200, 40);
            host.show();
            QVERIFY(QTest::qWaitForWindowExposed(&host));
            auto* picker = new SelectDiskViewController(wholeDisks);
            const QPointer<Popover> popover = SelectDiskViewController::presentUnder(slot, picker);
            QVERIFY(waitForList(*picker));
            QVERIFY(popover->isShown());
            QCOMPARE(popover->content(), picker);
            // Name (none reads as cut without "…"), icon, size, drive and the drive's volumes; the
            // start-up disk says so. Whole disks go by their model name, under one heading, and show
            // their capacity alone.
            QCOMPARE(picker->isOnlyShowEx(), wholeDisks);
            QCOMPARE(headingTexts(*picker), wholeDisks ? QStringList{"External Drives"}
                                                       : QStringList({"Internal Drives", "External Drives"}));
            const QStringList shown = rowTexts(*picker, true);
            const QStringList expected =
                wholeDisks
                    ? QStringList{"Samsung PSSD T7 Media|ic_usb|500.11 GB|" + t7}
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
};

TAVRILL_TEST(TestVolumes)

#include "tst_volumes.moc"
