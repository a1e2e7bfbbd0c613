#include "tst_watching.h"

#include "VolumesTestKit.h"
#include "Wait.h"
#include "volumes/NotificationCenter.h"
#include "volumes/WatchMountUnmount.h"

#include <QElapsedTimer>
#include <QTest>
#include <QThread>
#include <QThreadPool>

using namespace VolumesTestKit;

namespace {

struct Heard {
    QString name;
    QObject* object = nullptr;
    QString path;
    bool onMain = false;
};

} // namespace

void TestWatching::mountAndUnmountReachEveryListener() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    WatchMountUnmount watcher;

    QObject manager; // two observers, as a Disk Manager and something else would be
    QObject other;
    QList<Heard> heardByManager;
    QList<Heard> heardByOther;
    auto recorder = [](QList<Heard>* into) {
        return [into](const QString& name, QObject* object, const QVariantMap& info) {
            into->append({name, object, info.value(QString::fromLatin1(MCVolumePathKey)).toString(),
                          QThread::currentThread() == QCoreApplication::instance()->thread()});
        };
    };
    NotificationCenter* center = NotificationCenter::defaultCenter();
    center->addObserver(&manager, QString::fromLatin1(MCVolumeMountNotification), recorder(&heardByManager));
    center->addObserver(&manager, QString::fromLatin1(MCVolumeUnmountNotification),
                        recorder(&heardByManager));
    center->addObserver(&other, QString::fromLatin1(MCVolumeUnmountNotification), recorder(&heardByOther));

    const QString stickDevice = deviceOf(*mac, "/Volumes/STICK");
    QElapsedTimer clock;
    clock.start();
    mac->run("diskutil", {"unmount", "/Volumes/STICK"});
    QVERIFY(waitUntil([&] { return !heardByManager.isEmpty() && !heardByOther.isEmpty(); }, 1500));
    qInfo("unmount heard after %lld ms", static_cast<long long>(clock.elapsed()));
    QCOMPARE(heardByManager.size(), 1);
    QCOMPARE(heardByManager[0].name, QStringLiteral("MCVolumeUnmount"));
    QCOMPARE(heardByManager[0].path, QStringLiteral("/Volumes/STICK"));
    QCOMPARE(heardByManager[0].object, &watcher);
    QVERIFY(heardByManager[0].onMain);
    QCOMPARE(heardByOther.size(), 1);
    QCOMPARE(heardByOther[0].path, QStringLiteral("/Volumes/STICK"));

    heardByManager.clear();
    heardByOther.clear();
    mac->run("diskutil", {"mount", stickDevice});
    QVERIFY(waitUntil([&] { return !heardByManager.isEmpty(); }, 1500));
    QCOMPARE(heardByManager[0].name, QStringLiteral("MCVolumeMount"));
    QCOMPARE(heardByManager[0].path, QStringLiteral("/Volumes/STICK"));
    QVERIFY(heardByOther.isEmpty()); // it listens to unmounts only

    // An eject of a whole disk unmounts its volume; a mounted image shows as a mount.
    heardByManager.clear();
    mac->run("diskutil", {"eject", "/Volumes/Backup"});
    mac->run("hdiutil", {"detach", "/Volumes/Archive"});
    mac->run("hdiutil", {"attach", "/Users/alex/Documents/Archive.dmg"});
    QVERIFY(waitUntil([&] { return heardByManager.size() >= 3; }, 2500));
    QTest::qWait(300);
    QStringList seen;
    for (const Heard& h : heardByManager)
        seen << h.name + QLatin1Char(' ') + h.path;
    QVERIFY2(seen.contains("MCVolumeUnmount /Volumes/Backup"), qPrintable(seen.join(QLatin1Char('|'))));
    QVERIFY2(seen.contains("MCVolumeMount /Volumes/Archive"), qPrintable(seen.join(QLatin1Char('|'))));
    QCOMPARE(seen.size(), 3); // the image shows as an unmount and a mount of the same path
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
    QList<int> expected;
    for (int i = 0; i < 50; ++i)
        expected << i;
    QCOMPARE(order, expected);
    QVERIFY(allOnMain);
}
