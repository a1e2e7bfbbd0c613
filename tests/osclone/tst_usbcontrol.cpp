#include "tst_osclone.h"

#include "VolumesTestKit.h"
#include "Wait.h"
#include "core/WorkerPool.h"
#include "osclone/QvUSBControl.h"

#include <QDir>
#include <QTest>
#include <QThread>
#include <QThreadPool>

#include <atomic>
#include <future>

using namespace VolumesTestKit;

namespace {

struct Delegate : QvUSBControlDelegate {
    int finished = 0;
    bool cancel = false;
    void QvEnumUSBFinishImp() override { ++finished; }
    bool QvUserIsCancel() override { return cancel; }
};

QStringList bsdNames(const QvUSBControl& control) {
    QStringList names;
    for (const QVariantMap& d : control.QvGetUSBList())
        names << d.value(QString::fromLatin1(QvUSBBsdNameKey)).toString();
    return names;
}

QVariantMap driveOf(const EmulatedMac& mac, const QString& disk) {
    const QVariantMap info = mac.diskInfo(disk);
    return {{QString::fromLatin1(QvUSBBsdNameKey), disk},
            {QString::fromLatin1(QvUSBTotalSizeKey), info.value("TotalSize").toLongLong()},
            {QString::fromLatin1(QvUSBMediaNameKey), info.value("MediaName").toString()}};
}

// Carving blocks on the disk tool with a timer on the main loop: run it on a worker and keep the
// main loop turning.
QString carve(QvUSBControl& control, const QVariantMap* drive) {
    auto result = std::async(std::launch::async, [&] { return control.QvCreateZantorPartition(drive); });
    waitUntil([&] { return result.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }, 90000);
    return result.get();
}

QByteArray gptStick(const QByteArray& name, const QByteArray& partitions) {
    return "{\"name\":\"" + name + "\",\"mediaName\":\"" + name +
           "\",\"size\":\"16GB\",\"scheme\":\"GPT\",\"partitions\":[" + partitions + "]}";
}

} // namespace

void TestUSBControl::listingTakesOnlyLargeUsbDrives() {
    // Which disks count as plain USB disks (not internal, not an image) is
    // TestVolumeEnumerator::usbScanOffersOnlyPlainUsbDisks'.
    auto mac =
        machine("10.15.7", usbStick("under", "2499999999") + "," + usbStick("exact", "2500000000") + "," +
                               R"({"name":"nameless","mediaName":"","size":"8GB","scheme":"MBR",)"
                               R"("partitions":[{"fs":"ExFAT","name":"N"}]})");
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    const QString exact = deviceOf(*mac, "/Volumes/EXACT").section(QLatin1Char('s'), 0, 1);
    const QString nameless = deviceOf(*mac, "/Volumes/N").section(QLatin1Char('s'), 0, 1);
    mac->clearLog();

    QvUSBControl control;
    Delegate delegate;
    control.QvSetDelegateObj(&delegate);
    control.QvGetUSBThreadImp();
    QCOMPARE(bsdNames(control), QStringList({exact, nameless}));
    const QList<QVariantMap> list = control.QvGetUSBList();
    QCOMPARE(list[0].value("QvUSBTotalSize").toLongLong(), 2'500'000'000LL);
    QCOMPARE(list[0].value("QvUSBMediaName").toString(), QStringLiteral("exact"));
    QCOMPARE(list[1].value("QvUSBMediaName").toString(), QStringLiteral("Unknown"));
    QVERIFY(control.QvCheckUSBObj(&list[1]));
    QVERIFY(!control.QvCheckUSBObj(nullptr));
    const QVariantMap stranger{{QStringLiteral("QvUSBBsdName"), QStringLiteral("disk99")}};
    QVERIFY(!control.QvCheckUSBObj(&stranger));

    QCOMPARE(mac->calls().value(0), (QStringList{"diskutil", "list", "-plist"}));
    // The finish report and the following start on the main loop, after the listing.
    QCOMPARE(delegate.finished, 0);
    QVERIFY(waitUntil([&] { return delegate.finished == 1; }, 1000));

    // A drive already listed is not asked about again.
    mac->clearLog();
    control.QvAddDiskToUSBObj(exact.toUtf8().constData());
    QVERIFY(mac->calls().isEmpty());
    QCOMPARE(control.QvGetUSBList().size(), 2);
}

void TestUSBControl::plugAndPullKeepTheListRight() {
    auto mac = machine("10.15.7");
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    QvUSBControl control;
    control.QvGetUSBThreadImp();
    QVERIFY(bsdNames(control).isEmpty());
    QCoreApplication::processEvents(); // the list now follows the drives

    const QString first = mac->plug(usbStick("first"));
    QVERIFY(waitUntil([&] { return bsdNames(control) == QStringList{first}; }, 1500));
    const QString second = mac->plug(usbStick("second", "32GB"));
    QVERIFY(waitUntil([&] { return bsdNames(control) == QStringList({first, second}); }, 1500));

    // The same drive reported twice is listed once.
    control.QvDiskAppearImp(first.toUtf8().constData());
    workerPool()->waitForDone(5000);
    QCOMPARE(bsdNames(control), QStringList({first, second}));

    QVERIFY(mac->unplug(first));
    QVERIFY(waitUntil([&] { return bsdNames(control) == QStringList{second}; }, 1500));
    control.QvDiskDisappearImp("disk77");
    QCOMPARE(bsdNames(control), QStringList{second});

    // A small drive plugged in is never listed.
    mac->plug(usbStick("tiny", "1GB"));
    QTest::qWait(600);
    workerPool()->waitForDone(5000);
    QCOMPARE(bsdNames(control), QStringList{second});

    // A removal that comes while the arrival's disk-tool run is still going adds nothing; a new
    // arrival after that is listed again.
    const QByteArray disk = second.toUtf8();
    control.QvDiskDisappearImp(disk.constData());
    control.QvDiskAppearImp(disk.constData());
    control.QvDiskDisappearImp(disk.constData());
    workerPool()->waitForDone(5000);
    QVERIFY(bsdNames(control).isEmpty());
    control.QvDiskAppearImp(disk.constData());
    workerPool()->waitForDone(5000);
    QCOMPARE(bsdNames(control), QStringList{second});
}

void TestUSBControl::concurrentPlugAndPull() {
    auto mac = machine("10.15.7");
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    QvUSBControl control;
    control.QvGetUSBThreadImp();
    QCoreApplication::processEvents();

    // Drives come and go from several threads at once while the control follows them.
    std::atomic<int> done{0};
    QList<QThread*> threads;
    for (int t = 0; t < 3; ++t) {
        threads << QThread::create([&, t] {
            const QString gone = mac->plug(usbStick("gone" + QByteArray::number(t)));
            mac->plug(usbStick("stay" + QByteArray::number(t)));
            mac->unplug(gone);
            ++done;
        });
        threads.last()->start();
    }
    // Removals the control sees while arrival work for other drives runs on the pool.
    for (int i = 0; i < 20; ++i) {
        control.QvDiskAppearImp("disk90");
        control.QvDiskDisappearImp("disk90");
        QCoreApplication::processEvents();
    }
    QVERIFY(waitUntil([&] { return done.load() == 3; }, 30000));
    for (QThread* t : threads)
        t->wait();
    qDeleteAll(threads);
    QStringList expected;
    for (int t = 0; t < 3; ++t)
        expected << deviceOf(*mac, QStringLiteral("/Volumes/STAY%1").arg(t)).section(QLatin1Char('s'), 0, 1);
    expected.sort();
    const auto sortedNames = [&] {
        QStringList names = bsdNames(control);
        names.sort();
        return names;
    };
    QVERIFY(waitUntil([&] { return sortedNames() == expected; }, 3000));
    QTest::qWait(400);
    workerPool()->waitForDone(5000);
    QCOMPARE(sortedNames(), expected);
}

void TestUSBControl::carvingRunsTheExactResize() {
    auto mac = machine("10.15.7", gptStick("target", "{\"fs\":\"JHFS+\",\"name\":\"Stuff\"}"));
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    QCOMPARE(deviceOf(*mac, "/Volumes/Stuff"), QStringLiteral("disk2s2"));
    QvUSBControl control;
    control.CreateVolumeName();
    QCOMPARE(control.QvGetZantorVolumeName(), QStringLiteral("NewCloneSystem"));
    QCOMPARE(control.QvGetZantorVolumePath(), QStringLiteral("/Volumes/NewCloneSystem"));
    // The first free name is taken.
    QVERIFY(!mac->plug(gptStick("taken", R"({"fs":"JHFS+","name":"NewCloneSystem","size":"5GB"},)"
                                         R"({"fs":"JHFS+","name":"NewCloneSystem1"})"))
                 .isEmpty());
    control.CreateVolumeName();
    QCOMPARE(control.QvGetZantorVolumeName(), QStringLiteral("NewCloneSystem2"));
    const QVariantMap drive = driveOf(*mac, QStringLiteral("disk2"));
    mac->clearLog();

    QCOMPARE(carve(control, &drive), QStringLiteral("/Volumes/NewCloneSystem2"));
    QVERIFY(control.QvGetErrObjs().isEmpty());
    // The EFI partition is never asked about; the data partition (15790243840 bytes) is resized
    // to make room.
    QCOMPARE(mac->calls(), (QList<QStringList>{{"diskutil", "list", "-plist"},
                                               {"diskutil", "info", "-plist", "/dev/disk2s2"},
                                               {"killall", "mds_stores"},
                                               {"diskutil", "resizeVolume", "disk2s2", "13290243840B",
                                                "JHFS+", "NewCloneSystem2", "2500000000B"}}));
    QVERIFY(QDir(mac->host("/Volumes/NewCloneSystem2")).exists());
    QCOMPARE(mac->diskInfo("/Volumes/NewCloneSystem2").value("TotalSize").toLongLong(), 2'500'000'000LL);
}

void TestUSBControl::carvingRefusals_data() {
    QTest::addColumn<QByteArray>("disk");
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<bool>("cancel");
    QTest::addColumn<bool>("wrongSize");
    QTest::addColumn<QList<int>>("errors");
    const auto row = [](const char* tag, const QByteArray& disk, const QList<int>& errors,
                        const QByteArray& fault = {}, bool cancel = false, bool wrongSize = false) {
        QTest::newRow(tag) << disk << fault << cancel << wrongSize << errors;
    };
    const QByteArray stuff = gptStick("g", R"({"fs":"JHFS+","name":"Stuff"})");
    const QByteArray coreStorage = R"({"fs":"JHFS+","name":"CS","content":"Apple_CoreStorage")";
    row("one partition", usbStick("m"), {-12});
    row("too little free", gptStick("g", R"({"fs":"JHFS+","name":"Full","used":"14GB"})"), {-12});
    row("unformatted", gptStick("g", R"({"size":"8GB"})"), {-11});
    row("core storage", gptStick("g", coreStorage + "}"), {-10});
    row("mixed reasons",
        gptStick("g", coreStorage + R"(,"size":"6GB"},{"fs":"JHFS+","name":"Small","size":"2GB"})"),
        {-12, -10});
    row("resize fails", stuff, {-13}, R"({"tool":"diskutil","verb":"resizeVolume","mode":"fail"})");
    row("cancelled", stuff, {}, {}, true);
    row("drive changed size", stuff, {}, {}, false, true);
}

void TestUSBControl::carvingRefusals() {
    QFETCH(QByteArray, disk);
    QFETCH(QByteArray, fault);
    QFETCH(bool, cancel);
    QFETCH(bool, wrongSize);
    QFETCH(QList<int>, errors);
    auto mac = machine("10.15.7", disk);
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    if (!fault.isEmpty())
        QVERIFY(mac->addFault(fault));
    const QString wholeDisk = mac->diskList().value("WholeDisks").toStringList().last();
    QVariantMap drive = driveOf(*mac, wholeDisk);
    if (wrongSize)
        drive[QStringLiteral("QvUSBTotalSize")] = drive.value("QvUSBTotalSize").toLongLong() + 1;
    QvUSBControl control;
    Delegate delegate;
    delegate.cancel = cancel;
    control.QvSetDelegateObj(&delegate);
    control.CreateVolumeName();
    mac->clearLog();

    QVERIFY(carve(control, &drive).isNull());
    QCOMPARE(control.QvGetErrObjs().keys(), errors);
    for (const QString& value : control.QvGetErrObjs())
        QCOMPARE(value, QString(""));
    bool resized = false;
    for (const QStringList& call : mac->calls())
        resized = resized || call.value(1) == QLatin1String("resizeVolume");
    QCOMPARE(resized, !fault.isEmpty());
    QVERIFY(!QDir(mac->host("/Volumes/NewCloneSystem")).exists());
    QVERIFY(control.QvCreateZantorPartition(nullptr).isNull());
}
