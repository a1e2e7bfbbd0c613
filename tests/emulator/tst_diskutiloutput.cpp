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
    const auto row = [](const char* tag, const char* version, const char* device, const char* fs, bool w) {
        QTest::newRow(tag) << QString::fromLatin1(version) << QString::fromLatin1(device)
                           << QString::fromLatin1(fs) << w;
    };
    row("HFS+ root", "10.12.6", "disk0s2", "Journaled HFS+", true);
    row("one APFS volume", "10.14.6", "disk1s1", "APFS", true);
    row("system and data volumes", "10.15.7", "disk1s5", "APFS", false);
    row("sealed snapshot 11", "11.7", "disk1s1s1", "APFS", false);
}

void TestDiskutilOutput::systemVolumeFollowsTheVersion() {
    QFETCH(QString, version);
    QFETCH(QString, device);
    QFETCH(QString, filesystem);
    QFETCH(bool, writable);
    auto mac = VolumesTestKit::machine(version.toUtf8());
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));

    const QVariantMap root = mac->diskInfo("/");
    QCOMPARE(root.value("DeviceIdentifier").toString(), device);
    QCOMPARE(root.value("MountPoint").toString(), QStringLiteral("/"));
    QCOMPARE(root.value("VolumeName").toString(), QStringLiteral("Macintosh HD"));
    QCOMPARE(root.value("FilesystemName").toString(), filesystem);
    QCOMPARE(root.value("WritableVolume").toBool(), writable);
    QCOMPARE(root.value("TotalSize").typeId(), int(QMetaType::LongLong));
    QCOMPARE(root.value("Internal").typeId(), int(QMetaType::Bool));
    QVERIFY(root.value("Internal").toBool());
    if (filesystem == QLatin1String("APFS")) {
        // APFS volumes report no free space of their own; the container's stands in.
        QCOMPARE(root.value("FreeSpace").toLongLong(), 0);
        const qint64 free = root.value("APFSContainerFree").toLongLong();
        QVERIFY(free > 0);
        QVERIFY(free < root.value("APFSContainerSize").toLongLong());
        QCOMPARE(physicalStoreOf(root), QStringLiteral("disk0s2"));
    } else {
        QVERIFY(root.value("FreeSpace").toLongLong() > 0);
        QCOMPARE(root.value("Content").toString(), QStringLiteral("Apple_HFS"));
    }
    const QVariantMap list = mac->diskList();
    QVERIFY(list.value("VolumesFromDisks").toStringList().contains("Macintosh HD"));
    QVERIFY(list.value("WholeDisks").toStringList().contains("disk0"));
    if (version.startsWith(QLatin1String("10.15")) || !version.startsWith(QLatin1String("10."))) {
        const QVariantMap data = mac->diskInfo("/System/Volumes/Data");
        QCOMPARE(data.value("VolumeName").toString(), QStringLiteral("Macintosh HD - Data"));
        QCOMPARE(data.value("APFSVolumeGroupID"), root.value("APFSVolumeGroupID"));
    }
    if (device.endsWith(QLatin1String("s1s1"))) {
        QVERIFY(root.value("APFSSnapshot").toBool());
        QCOMPARE(root.value("Sealed").toString(), QStringLiteral("Yes"));
        QVERIFY(root.value("APFSSnapshotName").toString().startsWith(QLatin1String("com.apple.os.update-")));
        // The system volume itself is not mounted; its snapshot is.
        const QVariantList volumes = partitionsOf(list, QStringLiteral("disk1"));
        const QVariantMap system = volumes.value(0).toMap();
        QVERIFY(!system.contains("MountPoint"));
        QCOMPARE(
            system.value("MountedSnapshots").toList().value(0).toMap().value("SnapshotMountPoint").toString(),
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
        const QByteArray xml = mac->run("diskutil", args).out;
        QVERIFY2(xml.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist"),
                 qPrintable(args.join(' ')));
        QVERIFY2(xml.endsWith("</plist>\n"), qPrintable(args.join(' ')));
        QVERIFY2(keysInByteOrder(xml), qPrintable(args.join(' ')));
        QVERIFY(xml.contains("\n\t<key>"));
    }
    const QByteArray list = mac->run("diskutil", {"list", "-plist"}).out;
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
        QCOMPARE(i.value("FilesystemType").toString(), QLatin1String(e.type));
        QCOMPARE(i.value("WritableVolume").toBool(), e.writable);
        QVERIFY(i.value("VolumeAllocationBlockSize").toLongLong() > 0);
        QVERIFY(i.value("FreeSpace").toLongLong() > 0);
    }
    // A whole USB stick.
    const QVariantMap stick = mac->diskInfo("disk3");
    QVERIFY(stick.value("WholeDisk").toBool());
    QCOMPARE(stick.value("BusProtocol").toString(), QStringLiteral("USB"));
    QCOMPARE(stick.value("IORegistryEntryName").toString(), QStringLiteral("SanDisk Cruzer Blade Media"));
    QCOMPARE(stick.value("Content").toString(), QStringLiteral("FDisk_partition_scheme"));
    QCOMPARE(stick.value("VirtualOrPhysical").toString(), QStringLiteral("Physical"));
    QVERIFY(!stick.value("Internal").toBool());
    QVERIFY(stick.value("RemovableMediaOrExternalDevice").toBool());
    QCOMPARE(stick.value("MountPoint").toString(), QString());
    // The USB SSD is fixed media but external; its GPT has the EFI partition first.
    const QVariantMap ssd = mac->diskInfo("disk4");
    QVERIFY(!ssd.value("RemovableMedia").toBool());
    QVERIFY(ssd.value("RemovableMediaOrExternalDevice").toBool());
    const QVariantMap efi = partitionsOf(mac->diskList(), QStringLiteral("disk4")).value(0).toMap();
    QCOMPARE(efi.value("Content").toString(), QStringLiteral("EFI"));
    QCOMPARE(efi.value("Size").toLongLong(), 209715200);
    QVERIFY(!efi.contains("MountPoint"));
    // The mounted image is a virtual disk.
    const QVariantMap image = mac->diskInfo("/Volumes/Archive");
    QCOMPARE(image.value("BusProtocol").toString(), QStringLiteral("Disk Image"));
    QCOMPARE(mac->diskInfo(image.value("ParentWholeDisk").toString()).value("VirtualOrPhysical").toString(),
             QStringLiteral("Virtual"));
    // The unformatted partition has no volume name at all.
    const QVariantMap raw = mac->diskInfo("disk6s2");
    QCOMPARE(raw.value("DeviceIdentifier").toString(), QStringLiteral("disk6s2"));
    QVERIFY(!raw.contains("VolumeName"));
    QVERIFY(!raw.contains("FilesystemName"));
}

void TestDiskutilOutput::lookupsByEveryFormAndUnknownDevices() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const QVariantMap byId = mac->diskInfo("disk3s1");
    QCOMPARE(byId.value("VolumeName").toString(), QStringLiteral("STICK"));
    const QString uuid = byId.value("VolumeUUID").toString();
    QVERIFY(!uuid.isEmpty());
    for (const QString& arg : {QStringLiteral("/dev/disk3s1"), QStringLiteral("/Volumes/STICK"),
                               QStringLiteral("STICK"), uuid, uuid.toLower()})
        QCOMPARE(infoText(*mac, arg, "DeviceIdentifier"), QStringLiteral("disk3s1"));
    // The system volume by its /Volumes name too.
    QCOMPARE(infoText(*mac, "/Volumes/Macintosh HD", "MountPoint"), QStringLiteral("/"));

    // An unknown device gives the error dictionary.
    const EmulatedMac::Run r = mac->run("diskutil", {"info", "-plist", "disk99"});
    QCOMPARE(r.code, 1);
    const QVariantMap error = mac->diskInfo("disk99");
    QCOMPARE(error.value("Error"), QVariant(true));
    QCOMPARE(error.value("ErrorMessage").toString(), QStringLiteral("Could not find disk: disk99"));
    QCOMPARE(error.value("ExitCode").toLongLong(), 1);
    const EmulatedMac::Run text = mac->run("diskutil", {"info", "disk99"});
    QCOMPARE(text.code, 1);
    QCOMPARE(text.err, QByteArray("Could not find disk: disk99\n"));
    // The -plist option belongs right after the verb.
    QCOMPARE(mac->run("diskutil", {"list", "external", "-plist"}).err,
             QByteArray("Could not find disk for -plist\n"));
}

void TestDiskutilOutput::freeSpaceFollowsStoredBytes() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const qint64 before = mac->diskInfo("/Volumes/STICK").value("FreeSpace").toLongLong();
    QVERIFY(writeHostFile(mac->host("/Volumes/STICK/new/big.bin"), QByteArray(1000000, 'z')));
    const qint64 after = mac->diskInfo("/Volumes/STICK").value("FreeSpace").toLongLong();
    QCOMPARE(before - after, 1000000);

    const qint64 containerBefore = mac->diskInfo("/").value("APFSContainerFree").toLongLong();
    QVERIFY(writeHostFile(mac->host("/System/Volumes/Data/blob"), QByteArray(300000, 'z')));
    const qint64 containerAfter = mac->diskInfo("/").value("APFSContainerFree").toLongLong();
    QCOMPARE(containerBefore - containerAfter, 300000);
}
