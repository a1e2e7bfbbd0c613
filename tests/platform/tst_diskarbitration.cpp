#include "TestMain.h"
#include "VolumesTestKit.h"
#include "Wait.h"
#include "platform/DiskArbitration.h"

#include <QElapsedTimer>
#include <QTest>

using namespace VolumesTestKit;

// What the platform layer reads from the emulated Mac's mount table, and what its watcher
// reports when volumes and disks come and go.
class TestDiskArbitration : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void volumesFromTheMountTable() {
        auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        const QString spaced = mac->plug(R"({"mediaName":"Kingston DT","size":"32GB","scheme":"MBR",)"
                                         R"("partitions":[{"fs":"FAT32","name":"MY STICK"}]})");
        QVERIFY(!spaced.isEmpty());

        const QString system = deviceOf(*mac, "/");
        QCOMPARE(DiskArbitration::bsdNameForVolumePath("/Volumes/MY STICK"), spaced + QStringLiteral("s1"));
        QCOMPARE(DiskArbitration::bsdNameForVolumePath("/Volumes/MY STICK/"), spaced + QStringLiteral("s1"));
        QCOMPARE(DiskArbitration::bsdNameForVolumePath("/Volumes/Macintosh HD"), system);
        QCOMPARE(DiskArbitration::bsdNameForVolumePath("/"), system);
        QVERIFY(QDir().mkpath(mac->host("/Volumes/STICK/Folder")));
        QVERIFY(DiskArbitration::bsdNameForVolumePath("/Volumes/STICK/Folder").isEmpty());
        QVERIFY(DiskArbitration::bsdNameForVolumePath("/Volumes/Nothing").isEmpty());

        struct Expect {
            const char* path;
            const char* type;
            bool writable;
            const char* name;
        };
        const Expect expected[] = {
            {"/", "apfs", false, "Macintosh HD"},           {"/Volumes/Data", "hfs", true, "Data"},
            {"/Volumes/STICK", "msdos", true, "STICK"},     {"/Volumes/Backup", "exfat", true, "Backup"},
            {"/Volumes/WINDOWS", "ntfs", false, "WINDOWS"}, {"/Volumes/MY STICK", "msdos", true, "MY STICK"}};
        for (const Expect& e : expected) {
            const QString path = QString::fromUtf8(e.path);
            const FileSystemInfo byPath = DiskArbitration::fileSystemInfo(path);
            QVERIFY2(byPath.found, e.path);
            QCOMPARE(byPath.type, QString::fromUtf8(e.type));
            QCOMPARE(byPath.writable, e.writable);
            QCOMPARE(byPath.displayName, QString::fromUtf8(e.name));
            QCOMPARE(byPath.unmountable, path != QLatin1String("/"));
            // The capacity is the tool's TotalSize; the free bytes are below it.
            const QString device = deviceOf(*mac, path);
            QCOMPARE(byPath.size, mac->diskInfo(device).value("TotalSize").toLongLong());
            QVERIFY2(byPath.freeSize > 0 && byPath.freeSize <= byPath.size, e.path);
            // The device node answers the same as the mount path.
            const FileSystemInfo byDevice = DiskArbitration::fileSystemInfo(QStringLiteral("/dev/") + device);
            QVERIFY(byDevice.found);
            QCOMPARE(byDevice.type, byPath.type);
            QCOMPARE(byDevice.size, byPath.size);
            QCOMPARE(byDevice.displayName, byPath.displayName);
        }
        QVERIFY(!DiskArbitration::fileSystemInfo("/dev/disk6s2").found);                   // unformatted
        QVERIFY(!DiskArbitration::fileSystemInfo(QStringLiteral("/dev/") + spaced).found); // a whole disk
        QVERIFY(!DiskArbitration::fileSystemInfo("/Volumes/Nothing").found);

        const QStringList mounted = DiskArbitration::mountedLocalVolumePaths();
        QCOMPARE(mounted.first(), QStringLiteral("/"));
        QCOMPARE(mounted.count(QStringLiteral("/")), 1);
        QCOMPARE(mounted.last(), QStringLiteral("/Volumes/MY STICK")); // mount order
        QVERIFY(mounted.contains("/System/Volumes/Data"));
        QVERIFY(mounted.contains("/Volumes/Archive"));

        // An unmounted volume is gone from every answer.
        mac->run("diskutil", {"unmount", "/Volumes/STICK"});
        QVERIFY(DiskArbitration::bsdNameForVolumePath("/Volumes/STICK").isEmpty());
        QVERIFY(!DiskArbitration::fileSystemInfo("/Volumes/STICK").found);
        QVERIFY(!DiskArbitration::mountedLocalVolumePaths().contains("/Volumes/STICK"));
    }

    void sealedSystemSnapshot() {
        auto mac = machine("11.7");
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        const QString snapshot = DiskArbitration::bsdNameForVolumePath("/Volumes/Macintosh HD");
        QVERIFY2(snapshot.endsWith(QLatin1String("s1s1")), qPrintable(snapshot));
        const FileSystemInfo info = DiskArbitration::fileSystemInfo(QStringLiteral("/dev/") + snapshot);
        QVERIFY(info.found);
        QCOMPARE(info.type, QStringLiteral("apfs"));
        QVERIFY(!info.writable);
    }

    void watcherReportsChangesInOrder() {
        auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        QStringList events;
        DiskWatcher watcher;
        QObject::connect(&watcher, &DiskWatcher::diskAppeared,
                         [&](const QString& d) { events << QStringLiteral("+disk ") + d; });
        QObject::connect(&watcher, &DiskWatcher::diskDisappeared,
                         [&](const QString& d) { events << QStringLiteral("-disk ") + d; });
        QObject::connect(&watcher, &DiskWatcher::volumeMounted,
                         [&](const QString& p) { events << QStringLiteral("+vol ") + p; });
        QObject::connect(&watcher, &DiskWatcher::volumeUnmounted,
                         [&](const QString& p) { events << QStringLiteral("-vol ") + p; });
        QTest::qWait(300);
        QVERIFY2(events.isEmpty(), qPrintable(events.join(QLatin1Char('|')))); // what was there at the start

        QElapsedTimer clock;
        clock.start();
        const QString disk = mac->plug(R"({"mediaName":"Kingston DT","size":"32GB","scheme":"GPT",)"
                                       R"("partitions":[{"fs":"JHFS+","name":"Kingston A"}]})");
        QVERIFY(waitUntil([&] { return events.size() >= 2; }, 1000));
        QCOMPARE(events, QStringList({"+disk " + disk, "+vol /Volumes/Kingston A"}));

        events.clear();
        mac->run("diskutil", {"unmount", "/Volumes/Data"});
        QVERIFY(waitUntil([&] { return events.size() >= 2; }, 1000));
        // Elsewhere than on a Mac a disk is known by its mounted volumes.
        QCOMPARE(events, QStringList({"-vol /Volumes/Data", "-disk disk2"}));

        events.clear();
        QVERIFY(mac->unplug(disk));
        QVERIFY(waitUntil([&] { return events.size() >= 2; }, 1000));
        QCOMPARE(events, QStringList({"-vol /Volumes/Kingston A", "-disk " + disk}));
        QTest::qWait(300);
        QCOMPARE(events.size(), 2); // each change reported once
    }
};

TAVRILL_TEST(TestDiskArbitration)

#include "tst_diskarbitration.moc"
