#include "tst_osclone.h"

#include "VolumesTestKit.h"
#include "Wait.h"
#include "core/WorkerPool.h"
#include "osclone/QvUSBControl.h"

#include <QTest>
#include <QThread>
#include <QThreadPool>

#include <atomic>

using namespace VolumesTestKit;

namespace {

struct Delegate : QvUSBControlDelegate {
    int finished = 0;
    void QvEnumUSBFinishImp() override { ++finished; }
    bool QvUserIsCancel() override { return false; }
};

QStringList bsdNames(const QvUSBControl& control) {
    QStringList names;
    for (const QVariantMap& d : control.QvGetUSBList())
        names << d.value(QString::fromLatin1(QvUSBBsdNameKey)).toString();
    return names;
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
    QVERIFY(waitUntil([&] { return sortedNames() == expected; }, 15000));
    QTest::qWait(400);
    workerPool()->waitForDone(5000);
    QCOMPARE(sortedNames(), expected);
}
