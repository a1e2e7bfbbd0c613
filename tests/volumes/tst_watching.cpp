#include "EmulatedMac.h"
#include "Wait.h"
#include "tst_volumes.h"
#include "volumes/NotificationCenter.h"
#include "volumes/WatchMountUnmount.h"

#include <QElapsedTimer>
#include <QTest>
#include <QThread>
#include <QThreadPool>

#include <numeric>

void TestWatching::mountAndUnmountReachEveryListener() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    WatchMountUnmount watcher;

    // Two observers, as a Disk Manager and something else would be; each hears "name path",
    // flagged when it does not come from the watcher on the main thread.
    QObject manager;
    QObject other;
    QStringList byManager;
    QStringList byOther;
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

    QElapsedTimer clock;
    clock.start();
    mac->run("diskutil", {"unmount", "/Volumes/STICK"});
    QVERIFY(waitUntil([&] { return !byManager.isEmpty() && !byOther.isEmpty(); }, 1500));
    qInfo("unmount heard after %lld ms", static_cast<long long>(clock.elapsed()));
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

void TestWatching::postsFromWorkersArriveInOrderOnMain() {
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
