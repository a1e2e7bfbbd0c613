#include "tst_diskutiloutput.h"

#include "EmulatorTestKit.h"
#include "TreeCompare.h"
#include "VolumesTestKit.h"

#include <QTest>

void TestDiskutilOutput::systemVolumeFollowsTheVersion_data() {
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("device");
    QTest::addColumn<QString>("filesystem");
    QTest::addColumn<bool>("writable");
    QTest::newRow("HFS+ root") << "10.12.6"
                               << "disk0s2"
                               << "Journaled HFS+" << true;
    QTest::newRow("one APFS volume") << "10.14.6"
                                     << "disk1s1"
                                     << "APFS" << true;
    QTest::newRow("system and data volumes") << "10.15.7"
                                             << "disk1s5"
                                             << "APFS" << false;
    QTest::newRow("sealed snapshot 11") << "11.7"
                                        << "disk1s1s1"
                                        << "APFS" << false;
}

void TestDiskutilOutput::systemVolumeFollowsTheVersion() {
    QFETCH(QString, version);
    QFETCH(QString, device);
    QFETCH(QString, filesystem);
    QFETCH(bool, writable);
    auto mac = VolumesTestKit::machine(version.toUtf8());
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));

    const QVariantMap root = mac->diskInfo(QStringLiteral("/"));
    QCOMPARE(root.value(QStringLiteral("DeviceIdentifier")).toString(), device);
    QCOMPARE(root.value(QStringLiteral("MountPoint")).toString(), QStringLiteral("/"));
    QCOMPARE(root.value(QStringLiteral("VolumeName")).toString(), QStringLiteral("Macintosh HD"));
    QCOMPARE(root.value(QStringLiteral("FilesystemName")).toString(), filesystem);
    QCOMPARE(root.value(QStringLiteral("WritableVolume")).toBool(), writable);
    QCOMPARE(root.value(QStringLiteral("TotalSize")).typeId(), int(QMetaType::LongLong));
    QCOMPARE(root.value(QStringLiteral("Internal")).typeId(), int(QMetaType::Bool));
    QVERIFY(root.value(QStringLiteral("Internal")).toBool());
    if (filesystem == QLatin1String("APFS")) {
        // APFS volumes report no free space of their own; the container's stands in.
        QCOMPARE(root.value(QStringLiteral("FreeSpace")).toLongLong(), 0);
        const qint64 free = root.value(QStringLiteral("APFSContainerFree")).toLongLong();
        QVERIFY(free > 0);
        QVERIFY(free < root.value(QStringLiteral("APFSContainerSize")).toLongLong());
        QCOMPARE(root.value(QStringLiteral("APFSPhysicalStores"))
                     .toList()
                     .value(0)
                     .toMap()
                     .value(QStringLiteral("APFSPhysicalStore"))
                     .toString(),
                 QStringLiteral("disk0s2"));
    } else {
        QVERIFY(root.value(QStringLiteral("FreeSpace")).toLongLong() > 0);
        QCOMPARE(root.value(QStringLiteral("Content")).toString(), QStringLiteral("Apple_HFS"));
    }
    const QVariantMap list = mac->diskList();
    QVERIFY(list.value(QStringLiteral("VolumesFromDisks"))
                .toStringList()
                .contains(QStringLiteral("Macintosh HD")));
    QVERIFY(list.value(QStringLiteral("WholeDisks")).toStringList().contains(QStringLiteral("disk0")));
    if (version.startsWith(QLatin1String("10.15")) || !version.startsWith(QLatin1String("10."))) {
        const QVariantMap data = mac->diskInfo(QStringLiteral("/System/Volumes/Data"));
        QCOMPARE(data.value(QStringLiteral("VolumeName")).toString(), QStringLiteral("Macintosh HD - Data"));
        QCOMPARE(data.value(QStringLiteral("APFSVolumeGroupID")),
                 root.value(QStringLiteral("APFSVolumeGroupID")));
    }
    if (device.endsWith(QLatin1String("s1s1"))) {
        QVERIFY(root.value(QStringLiteral("APFSSnapshot")).toBool());
        QCOMPARE(root.value(QStringLiteral("Sealed")).toString(), QStringLiteral("Yes"));
        QVERIFY(root.value(QStringLiteral("APFSSnapshotName"))
                    .toString()
                    .startsWith(QLatin1String("com.apple.os.update-")));
        // The system volume itself is not mounted; its snapshot is.
        const QVariantList volumes = partitionsOf(list, QStringLiteral("disk1"));
        const QVariantMap system = volumes.value(0).toMap();
        QVERIFY(!system.contains(QStringLiteral("MountPoint")));
        QCOMPARE(system.value(QStringLiteral("MountedSnapshots"))
                     .toList()
                     .value(0)
                     .toMap()
                     .value(QStringLiteral("SnapshotMountPoint"))
                     .toString(),
                 QStringLiteral("/"));
    }
    QVERIFY(mac->mountTable().contains(QByteArray("/dev/") + device.toUtf8() + " / "));
}

void TestDiskutilOutput::keysAreInByteOrderWithRealTypes() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    for (const QStringList& args :
         {QStringList{"list", "-plist"}, QStringList{"info", "-plist", "/"},
          QStringList{"info", "-plist", "disk3"}, QStringList{"info", "-plist", "/Volumes/Backup"}}) {
        const QByteArray xml = mac->run(QStringLiteral("diskutil"), args).out;
        QVERIFY2(xml.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist"),
                 qPrintable(args.join(' ')));
        QVERIFY2(xml.endsWith("</plist>\n"), qPrintable(args.join(' ')));
        QVERIFY2(keysInByteOrder(xml), qPrintable(args.join(' ')));
        QVERIFY(xml.contains("\n\t<key>"));
    }
    const QByteArray list = mac->run(QStringLiteral("diskutil"), {"list", "-plist"}).out;
    // Containers have an empty partition list, written the short way.
    QVERIFY(list.contains("<key>Partitions</key>\n\t\t\t<array/>"));
}

void TestDiskutilOutput::volumeKindsReportTheirFileSystems() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    // FilesystemName and Content of each kind are TestEmulatedMachine::scenarioFileSystemNames'.
    struct Expect {
        const char* volume;
        const char* type;
        bool writable;
    };
    for (const Expect& e :
         {Expect{"/Volumes/STICK", "msdos", true}, Expect{"/Volumes/Backup", "exfat", true},
          Expect{"/Volumes/WINDOWS", "ntfs", false}, Expect{"/Volumes/Data", "hfs", true}}) {
        const QVariantMap i = mac->diskInfo(QLatin1String(e.volume));
        QCOMPARE(i.value(QStringLiteral("FilesystemType")).toString(), QLatin1String(e.type));
        QCOMPARE(i.value(QStringLiteral("WritableVolume")).toBool(), e.writable);
        QVERIFY(i.value(QStringLiteral("VolumeAllocationBlockSize")).toLongLong() > 0);
        QVERIFY(i.value(QStringLiteral("FreeSpace")).toLongLong() > 0);
    }
    // A whole USB stick.
    const QVariantMap stick = mac->diskInfo(QStringLiteral("disk3"));
    QVERIFY(stick.value(QStringLiteral("WholeDisk")).toBool());
    QCOMPARE(stick.value(QStringLiteral("BusProtocol")).toString(), QStringLiteral("USB"));
    QCOMPARE(stick.value(QStringLiteral("IORegistryEntryName")).toString(),
             QStringLiteral("SanDisk Cruzer Blade Media"));
    QCOMPARE(stick.value(QStringLiteral("Content")).toString(), QStringLiteral("FDisk_partition_scheme"));
    QCOMPARE(stick.value(QStringLiteral("VirtualOrPhysical")).toString(), QStringLiteral("Physical"));
    QVERIFY(!stick.value(QStringLiteral("Internal")).toBool());
    QVERIFY(stick.value(QStringLiteral("RemovableMediaOrExternalDevice")).toBool());
    QCOMPARE(stick.value(QStringLiteral("MountPoint")).toString(), QString());
    // The USB SSD is fixed media but external; its GPT has the EFI partition first.
    const QVariantMap ssd = mac->diskInfo(QStringLiteral("disk4"));
    QVERIFY(!ssd.value(QStringLiteral("RemovableMedia")).toBool());
    QVERIFY(ssd.value(QStringLiteral("RemovableMediaOrExternalDevice")).toBool());
    const QVariantMap efi = partitionsOf(mac->diskList(), QStringLiteral("disk4")).value(0).toMap();
    QCOMPARE(efi.value(QStringLiteral("Content")).toString(), QStringLiteral("EFI"));
    QCOMPARE(efi.value(QStringLiteral("Size")).toLongLong(), 209715200);
    QVERIFY(!efi.contains(QStringLiteral("MountPoint")));
    // The mounted image is a virtual disk.
    const QVariantMap image = mac->diskInfo(QStringLiteral("/Volumes/Archive"));
    QCOMPARE(image.value(QStringLiteral("BusProtocol")).toString(), QStringLiteral("Disk Image"));
    QCOMPARE(mac->diskInfo(image.value(QStringLiteral("ParentWholeDisk")).toString())
                 .value(QStringLiteral("VirtualOrPhysical"))
                 .toString(),
             QStringLiteral("Virtual"));
    // The unformatted partition has no volume name at all.
    const QVariantMap raw = mac->diskInfo(QStringLiteral("disk6s2"));
    QCOMPARE(raw.value(QStringLiteral("DeviceIdentifier")).toString(), QStringLiteral("disk6s2"));
    QVERIFY(!raw.contains(QStringLiteral("VolumeName")));
    QVERIFY(!raw.contains(QStringLiteral("FilesystemName")));
}

void TestDiskutilOutput::everyLookupFormFindsTheSameVolume() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const QVariantMap byId = mac->diskInfo(QStringLiteral("disk3s1"));
    QCOMPARE(byId.value(QStringLiteral("VolumeName")).toString(), QStringLiteral("STICK"));
    const QString uuid = byId.value(QStringLiteral("VolumeUUID")).toString();
    QVERIFY(!uuid.isEmpty());
    for (const QString& arg : {QStringLiteral("/dev/disk3s1"), QStringLiteral("/Volumes/STICK"),
                               QStringLiteral("STICK"), uuid, uuid.toLower()})
        QCOMPARE(mac->diskInfo(arg).value(QStringLiteral("DeviceIdentifier")).toString(),
                 QStringLiteral("disk3s1"));
    // The system volume by its /Volumes name too.
    QCOMPARE(
        mac->diskInfo(QStringLiteral("/Volumes/Macintosh HD")).value(QStringLiteral("MountPoint")).toString(),
        QStringLiteral("/"));
}

void TestDiskutilOutput::unknownDeviceGivesTheErrorPlist() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const EmulatedMac::Run r = mac->run(QStringLiteral("diskutil"), {"info", "-plist", "disk99"});
    QCOMPARE(r.code, 1);
    const QVariantMap error = mac->diskInfo(QStringLiteral("disk99"));
    QCOMPARE(error.value(QStringLiteral("Error")), QVariant(true));
    QCOMPARE(error.value(QStringLiteral("ErrorMessage")).toString(),
             QStringLiteral("Could not find disk: disk99"));
    QCOMPARE(error.value(QStringLiteral("ExitCode")).toLongLong(), 1);
    const EmulatedMac::Run text = mac->run(QStringLiteral("diskutil"), {"info", "disk99"});
    QCOMPARE(text.code, 1);
    QCOMPARE(text.err, QByteArray("Could not find disk: disk99\n"));
    // The -plist option belongs right after the verb.
    QCOMPARE(mac->run(QStringLiteral("diskutil"), {"list", "external", "-plist"}).err,
             QByteArray("Could not find disk for -plist\n"));
}

void TestDiskutilOutput::freeSpaceFollowsStoredBytes() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const qint64 before =
        mac->diskInfo(QStringLiteral("/Volumes/STICK")).value(QStringLiteral("FreeSpace")).toLongLong();
    QVERIFY(writeHostFile(mac->host(QStringLiteral("/Volumes/STICK/new/big.bin")), QByteArray(1000000, 'z')));
    const qint64 after =
        mac->diskInfo(QStringLiteral("/Volumes/STICK")).value(QStringLiteral("FreeSpace")).toLongLong();
    QCOMPARE(before - after, 1000000);

    const qint64 containerBefore =
        mac->diskInfo(QStringLiteral("/")).value(QStringLiteral("APFSContainerFree")).toLongLong();
    QVERIFY(writeHostFile(mac->host(QStringLiteral("/System/Volumes/Data/blob")), QByteArray(300000, 'z')));
    const qint64 containerAfter =
        mac->diskInfo(QStringLiteral("/")).value(QStringLiteral("APFSContainerFree")).toLongLong();
    QCOMPARE(containerBefore - containerAfter, 300000);
}
