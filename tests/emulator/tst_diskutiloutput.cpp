#include "EmulatorTestKit.h"
#include "TreeCompare.h"

#include <QTest>

#include <tuple>

void TestEmulator::volumeKindsAndTheirFreeSpace() {
    for (const auto& [volume, fields] : {std::pair{"/Volumes/STICK", "msdos|true"},
                                         {"/Volumes/Backup", "exfat|true"},
                                         {"/Volumes/WINDOWS", "ntfs|false"},
                                         {"/Volumes/Data", "hfs|true"}}) {
        const QVariantMap i = mac->diskInfo(QLatin1String(volume));
        QCOMPARE(fieldsOf(i, {"FilesystemType", "WritableVolume"}), QLatin1String(fields));
        QVERIFY(i.value("VolumeAllocationBlockSize").toLongLong() > 0);
        QVERIFY(i.value("FreeSpace").toLongLong() > 0);
    }
    // A whole USB stick; the USB SSD is fixed media but external, its GPT with the EFI partition first.
    const QStringList wholeDiskKeys{
        "WholeDisk", "BusProtocol",       "IORegistryEntryName", "Content",
        "Internal",  "VirtualOrPhysical", "RemovableMedia",      "RemovableMediaOrExternalDevice",
        "MountPoint"};
    QCOMPARE(fieldsOf(mac->diskInfo("disk3"), wholeDiskKeys),
             QStringLiteral(
                 "true|USB|SanDisk Cruzer Blade Media|FDisk_partition_scheme|false|Physical|true|true|"));
    QCOMPARE(fieldsOf(mac->diskInfo("disk4"), wholeDiskKeys).section('|', 6, 7),
             QStringLiteral("false|true"));
    const QVariantMap efi = partitionsOf(mac->diskList(), QStringLiteral("disk4")).value(0).toMap();
    QCOMPARE(fieldsOf(efi, {"Content", "Size", "MountPoint"}), QStringLiteral("EFI|209715200|-"));
    // The mounted image is a virtual disk.
    const QVariantMap image = mac->diskInfo("/Volumes/Archive");
    QCOMPARE(image.value("BusProtocol").toString(), QStringLiteral("Disk Image"));
    QCOMPARE(infoText(*mac, image.value("ParentWholeDisk").toString(), "VirtualOrPhysical"),
             QStringLiteral("Virtual"));
    // The unformatted partition has no volume name at all.
    QCOMPARE(fieldsOf(mac->diskInfo("disk6s2"), {"DeviceIdentifier", "VolumeName", "FilesystemName"}),
             QStringLiteral("disk6s2|-|-"));

    // Free space follows the bytes stored, on a volume and in the system's container.
    for (const auto& [volume, file, key] :
         {std::tuple{"/Volumes/STICK", "/Volumes/STICK/new/big.bin", "FreeSpace"},
          {"/", "/System/Volumes/Data/blob", "APFSContainerFree"}}) {
        const qint64 before = mac->diskInfo(QLatin1String(volume)).value(key).toLongLong();
        QVERIFY(writeHostFile(mac->host(file), QByteArray(300000, 'z')));
        QCOMPARE(before - mac->diskInfo(QLatin1String(volume)).value(key).toLongLong(), 300000);
    }
}

void TestEmulator::lookupsByEveryFormAndUnknownDevices() {
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
