#include "EmulatorTestKit.h"
#include "TreeCompare.h"
#include "VolumesTestKit.h"

#include <QFileInfo>
#include <QTest>

#include <tuple>

void TestEmulator::volumeKindsLookupsAndUnknownDevices() {
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

void TestEmulator::renameAndTheNameRulesOfEachFileSystem_data() {
    QTest::addColumn<QString>("volume");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("mountPoint"); // empty: the name is refused
    const auto row = [](const char* tag, const char* volume, const QString& name, const QString& mountPoint) {
        QTest::newRow(tag) << QString::fromLatin1(volume) << name << mountPoint;
    };
    row("FAT with a space", "/Volumes/STICK", "NEW STICK", "/Volumes/NEW STICK");
    row("FAT lower case", "/Volumes/STICK", "udisk", "");
    row("FAT 12 characters", "/Volumes/STICK", "TWELVECHARSX", "");
    row("FAT 11 characters", "/Volumes/STICK", "ELEVENCHARS", "/Volumes/ELEVENCHARS");
    row("FAT forbidden character", "/Volumes/STICK", "A*B", "");
    row("ExFAT 12 characters", "/Volumes/Backup", "Twelve chars", "");
    row("ExFAT lower case", "/Volumes/Backup", "Backup 2", "/Volumes/Backup 2");
    // A name another volume has mounts with a number; the name alone finds the first one.
    row("a name in use", "/Volumes/Backup", "STICK", "/Volumes/STICK 1");
    row("HFS+ 255 bytes", "/Volumes/Data", QString(255, QLatin1Char('n')),
        "/Volumes/" + QString(255, QLatin1Char('n')));
    row("HFS+ 256 bytes", "/Volumes/Data", QString(256, QLatin1Char('n')), "");
}

void TestEmulator::renameAndTheNameRulesOfEachFileSystem() {
    QFETCH(QString, volume);
    QFETCH(QString, name);
    QFETCH(QString, mountPoint);
    const QVariantMap before = mac->diskInfo(volume);
    const QString device = before.value("DeviceIdentifier").toString();
    const QStringList files = entriesOf(*mac, volume);
    QVERIFY(!files.isEmpty());
    const EmulatedMac::Run r = mac->run("diskutil", {"rename", volume, name});
    if (mountPoint.isEmpty()) {
        QCOMPARE(r.code, 1);
        QCOMPARE(QString::fromUtf8(r.err),
                 name + " does not appear to be a valid volume name for its file system\n");
        QCOMPARE(infoText(*mac, device, "VolumeName"), before.value("VolumeName").toString());
        return;
    }
    QCOMPARE(r.code, 0);
    QCOMPARE(QString::fromUtf8(r.out), QStringLiteral("Volume on %1 renamed to %2\n").arg(device, name));
    QVERIFY(!QFileInfo::exists(mac->host(volume)));
    QCOMPARE(entriesOf(*mac, mountPoint), files);
    QCOMPARE(fieldsOf(mac->diskInfo(device), {"MountPoint", "VolumeName"}), mountPoint + "|" + name);
    // The mount table escapes the space as the real one does.
    QVERIFY(mac->mountTable().contains(
        ("/dev/" + device + " " + QString(mountPoint).replace(" ", "\\040")).toUtf8()));
    QVERIFY(mac->diskList().value("VolumesFromDisks").toStringList().contains(name));
    QCOMPARE(infoText(*mac, name, "DeviceIdentifier"), name == "STICK" ? QStringLiteral("disk3s1") : device);
}

void TestEmulator::eraseVolumeTakesEachFormatName() {
    mac.reset();
    mac = VolumesTestKit::machine(
        "10.15.7", R"({"size": "16GB", "scheme": "GPT", "partitions": [{"fs": "JHFS+", "name": "NEW"}]})");
    QVERIFY(mac->isValid());
    const QString device = QStringLiteral("disk2s2");
    // Every personality and alias diskutil takes, in the cases people write them: the formats,
    // FilesystemName and FilesystemUserVisibleName.
    const char* const names[][3] = {
        {"JHFS+|hfs+|Journaled HFS+", "Journaled HFS+", "Mac OS Extended (Journaled)"},
        {"JHFSX|hfsx|Case-sensitive Journaled HFS+|Case-sensitive HFS+", "Case-sensitive Journaled HFS+",
         "Mac OS Extended (Case-sensitive, Journaled)"},
        {"APFS|apfsi", "APFS", "APFS"},
        {"APFSX|Case-sensitive APFS", "Case-sensitive APFS", "APFS (Case-sensitive)"},
        {"ExFAT", "ExFAT", "ExFAT"},
        {"FAT32|MS-DOS FAT32|ms-dos", "MS-DOS FAT32", "MS-DOS (FAT32)"},
        {"MS-DOS FAT16", "MS-DOS FAT16", "MS-DOS (FAT16)"},
    };
    for (const auto& [formats, filesystem, personality] : names) {
        for (const QString& format : QString::fromLatin1(formats).split(QLatin1Char('|'))) {
            QVERIFY(writeHostFile(mac->host("/Volumes/NEW/file"), "x"));
            const QString oldUuid = infoText(*mac, "/Volumes/NEW", "VolumeUUID");
            const EmulatedMac::Run r = mac->run("diskutil", {"eraseVolume", format, "NEW", device});
            QVERIFY2(r.code == 0, qPrintable(format));
            // APFS first formats the partition as HFS+, then turns it into a container.
            if (!QByteArray(personality).startsWith("APFS"))
                QVERIFY2(r.out.startsWith("Started erase on disk2s2") &&
                             r.out.endsWith("Finished erase on disk2s2 NEW\n") &&
                             r.out.contains("Formatting disk2s2 as " + QByteArray(personality) +
                                            " with name NEW\n"),
                         r.out.constData());
            QCOMPARE(fieldsOf(mac->diskInfo("/Volumes/NEW"), {"FilesystemName", "FilesystemUserVisibleName"}),
                     QString::fromLatin1(filesystem) + QLatin1Char('|') + QString::fromLatin1(personality));
            // Emptied, with a new UUID.
            QVERIFY(entriesOf(*mac, "/Volumes/NEW").isEmpty());
            QVERIFY(infoText(*mac, "/Volumes/NEW", "VolumeUUID") != oldUuid);
        }
    }
    // reformat keeps the name and the personality, and empties the volume again.
    QVERIFY(writeHostFile(mac->host("/Volumes/NEW/file"), "x"));
    const EmulatedMac::Run again = mac->run("diskutil", {"reformat", "/Volumes/NEW"});
    QVERIFY2(again.code == 0 && again.out.endsWith("Finished erase on disk2s2 NEW\n"), again.out.constData());
    QVERIFY(!QFileInfo::exists(mac->host("/Volumes/NEW/file")));
    QCOMPARE(infoText(*mac, device, "FilesystemName"), QStringLiteral("MS-DOS FAT16"));
    // FAT32 refuses a lower-case name before touching anything.
    const EmulatedMac::Run lower = mac->run("diskutil", {"eraseVolume", "MS-DOS FAT32", "lower", device});
    QVERIFY(lower.code == 1 && lower.out.isEmpty());
    QCOMPARE(infoText(*mac, device, "VolumeName"), QStringLiteral("NEW"));
    // Short forms that scenarios take are not diskutil's.
    for (const char* refused : {"msdos", "FAT16", "NTFS", "hfs", "UDF", ""}) {
        const EmulatedMac::Run r = mac->run("diskutil", {"eraseVolume", refused, "NEW", device});
        QCOMPARE(r.code, 1);
        QCOMPARE(r.err, QByteArray(refused) + " does not appear to be a valid file system format\n");
    }
    // Free space leaves the partition without a file system.
    for (const char* free : {"Free Space", "FREE"}) {
        QCOMPARE(mac->run("diskutil", {"eraseVolume", free, "NEW", device}).code, 0);
        QVERIFY(!mac->diskInfo(device).contains("FilesystemName"));
    }
}

void TestEmulator::anApfsVolumeIsErasedInItsContainer() {
    mac.reset();
    mac = EmulatedMac::fromJson(R"({"disks": [{"name": "t5", "size": "500GB", "scheme": "GPT",
        "partitions": [{"fs": "APFS", "volumes": [{"name": "Projects", "used": "12GB"}]}]}]})");
    QVERIFY(mac->isValid());
    const QVariantMap before = mac->diskInfo("/Volumes/Projects");
    const QString volume = before.value("DeviceIdentifier").toString();
    const QString container = before.value("ParentWholeDisk").toString();
    QVERIFY(writeHostFile(mac->host("/Volumes/Projects/file"), "x"));
    const QStringList disksBefore = mac->diskList().value("AllDisks").toStringList();

    // reformat keeps the name and APFS; eraseVolume may rename it. Either way the volume stays
    // in its container under its identifier, empty and with a new UUID.
    for (const QStringList& args : {QStringList{"reformat", "/Volumes/Projects"},
                                    QStringList{"eraseVolume", "APFS", "Work", "/dev/" + volume}}) {
        const QString oldUuid = infoText(*mac, volume, "VolumeUUID");
        const EmulatedMac::Run r = mac->run("diskutil", args);
        QCOMPARE(r.code, 0);
        QVERIFY(r.out.contains("Finished APFS operation on " + volume.toUtf8()));
        const QVariantMap after = mac->diskInfo(volume);
        QCOMPARE(after.value("FilesystemName").toString(), QStringLiteral("APFS"));
        QCOMPARE(after.value("ParentWholeDisk").toString(), container);
        QVERIFY(after.value("VolumeUUID").toString() != oldUuid);
        const QString mountPoint = after.value("MountPoint").toString();
        QCOMPARE(mountPoint, QStringLiteral("/Volumes/") + after.value("VolumeName").toString());
        QVERIFY(entriesOf(*mac, mountPoint).isEmpty());
        QCOMPARE(mac->diskList().value("AllDisks").toStringList(), disksBefore);
    }
    QCOMPARE(infoText(*mac, volume, "VolumeName"), QStringLiteral("Work"));
}

void TestEmulator::eraseDiskLaysOutTheScheme_data() {
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("dataPartition");
    QTest::addColumn<QString>("content");
    const auto row = [](const char* tag, const QStringList& args, const char* part, const char* content) {
        QTest::newRow(tag) << args << QString::fromLatin1(part) << QString::fromLatin1(content);
    };
    row("JHFS+ on GPT", {"eraseDisk", "JHFS+", "NewCloneSystem", "disk3"}, "disk3s2", "Apple_HFS");
    row("FAT32 on MBR", {"eraseDisk", "MS-DOS FAT32", "UNTITLED", "MBR", "/dev/disk3"}, "disk3s1",
        "DOS_FAT_32");
    row("ExFAT on GPT", {"eraseDisk", "ExFAT", "Media", "GPT", "disk3"}, "disk3s2", "Microsoft Basic Data");
    row("APFS", {"eraseDisk", "APFS", "Fast", "disk3"}, "disk3s2", "Apple_APFS");
}

void TestEmulator::eraseDiskLaysOutTheScheme() {
    QFETCH(QStringList, args);
    QFETCH(QString, dataPartition);
    QFETCH(QString, content);
    const EmulatedMac::Run r = mac->run("diskutil", args);
    QCOMPARE(r.code, 0);
    QVERIFY(r.out.startsWith("Started erase on disk3\nUnmounting disk\nCreating the partition map\n"));
    QVERIFY(r.out.endsWith("Finished erase on disk3\n"));
    QVERIFY(!QFileInfo::exists(mac->host("/Volumes/STICK")));
    const QVariantMap list = mac->diskList();
    const QVariantList parts = partitionsOf(list, QStringLiteral("disk3"));
    const bool gpt = dataPartition.endsWith(QLatin1String("s2"));
    QCOMPARE(parts.size(), gpt ? 2 : 1);
    QVERIFY(!gpt || fieldsOf(parts.first().toMap(), {"Content", "Size"}) == QLatin1String("EFI|209715200"));
    const QVariantMap data = parts.last().toMap();
    QCOMPARE(fieldsOf(data, {"DeviceIdentifier", "Content"}), dataPartition + "|" + content);
    const QString name = args.at(2);
    if (content == QLatin1String("Apple_APFS")) {
        // The volume lives in a new container disk.
        QVERIFY(r.out.contains("Created new APFS Container disk"));
        const QVariantMap volume = mac->diskInfo("/Volumes/" + name);
        QCOMPARE(volume.value("FilesystemType").toString(), QStringLiteral("apfs"));
        QCOMPARE(volume.value("APFSPhysicalStores").toList().value(0).toMap().value("APFSPhysicalStore"),
                 QVariant(dataPartition));
    } else {
        QCOMPARE(data.value("MountPoint").toString(), QStringLiteral("/Volumes/") + name);
        QVERIFY(mac->mountTable().contains(QByteArray("/dev/") + dataPartition.toUtf8() + " /Volumes/" +
                                           name.toUtf8() + ' '));
    }
}

void TestEmulator::unmountMountAndEject() {
    const QStringList files = entriesOf(*mac, "/Volumes/Backup");
    const EmulatedMac::Run off = mac->run("diskutil", {"unmountDisk", "/dev/disk4"});
    QCOMPARE(off.out, QByteArray("Unmount of all volumes on disk4 was successful\n"));
    QVERIFY(!QFileInfo::exists(mac->host("/Volumes/Backup")));
    QVERIFY(!mac->mountTable().contains("/Volumes/Backup"));
    QCOMPARE(fieldsOf(mac->diskInfo("disk4s2"), {"MountPoint", "FreeSpace"}), QStringLiteral("|0"));
    const EmulatedMac::Run on = mac->run("diskutil", {"mountDisk", "/dev/disk4"});
    QCOMPARE(on.out, QByteArray("Volume(s) mounted successfully\n"));
    QCOMPARE(entriesOf(*mac, "/Volumes/Backup"), files);
    // The EFI partition stays unmounted.
    QVERIFY(!mac->mountTable().contains("/Volumes/EFI"));

    // The boot disk stays whatever is asked of it.
    for (const QStringList& args :
         {QStringList{"eject", "disk0"}, QStringList{"eraseDisk", "JHFS+", "X", "disk0"},
          QStringList{"eraseVolume", "JHFS+", "X", "/"}, QStringList{"unmountDisk", "disk0"}}) {
        QCOMPARE(mac->run("diskutil", args).code, 1);
        QCOMPARE(infoText(*mac, "/", "VolumeName"), QStringLiteral("Macintosh HD"));
    }
    QVERIFY(QFileInfo::exists(mac->host("/Applications/TextEdit.app")));

    const QString uuid = infoText(*mac, "/Volumes/STICK", "VolumeUUID");
    const EmulatedMac::Run r = mac->run("diskutil", {"eject", uuid});
    QCOMPARE(r.code, 0);
    QCOMPARE(QString::fromUtf8(r.out), QStringLiteral("Disk %1 ejected\n").arg(uuid));
    QVERIFY(!isWholeDisk(*mac, "disk3"));
    QVERIFY(!mac->mountTable().contains("/Volumes/STICK"));
    QVERIFY(!QFileInfo::exists(mac->host("/Volumes/STICK")));
    QCOMPARE(mac->diskInfo("disk3").value("Error"), QVariant(true));
    const EmulatedMac::Run again = mac->run("diskutil", {"eject", uuid});
    QCOMPARE(again.code, 1);
    QCOMPARE(QString::fromUtf8(again.err), QStringLiteral("Unable to find disk for %1\n").arg(uuid));
    // The empty argument an unmounted volume leads to is a usage error.
    QCOMPARE(mac->run("diskutil", {"eject", ""}).code, 1);
}

void TestEmulator::aBusyVolumeDissents_data() {
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QByteArray>("out");
    const QByteArray diskDissent = "Unmount of disk3 failed: at least one volume could not be unmounted\n"
                                   "Unmount was dissented by PID 2387 (/bin/zsh)\n"
                                   "Dissenter parent PPID 2386 (/usr/sbin/sshd)\n";
    QTest::newRow("unmount") << QStringList{"unmount", "/Volumes/STICK"}
                             << QByteArray("Volume STICK on disk3s1 failed to unmount: dissented by PID 2387 "
                                           "(/bin/zsh)\nDissenter parent PPID 2386 (/usr/sbin/sshd)\n");
    QTest::newRow("unmountDisk") << QStringList{"unmountDisk", "disk3"} << diskDissent;
    QTest::newRow("eject") << QStringList{"eject", "disk3"} << diskDissent;
    QTest::newRow("eject by volume") << QStringList{"eject", "STICK"} << diskDissent;
    QTest::newRow("eraseVolume") << QStringList{"eraseVolume", "MS-DOS FAT32", "NEW", "disk3s1"}
                                 << QByteArray();
}

void TestEmulator::aBusyVolumeDissents() {
    QFETCH(QStringList, args);
    QFETCH(QByteArray, out);
    QCOMPARE(mac->emuctl({"busy", "STICK", "2387", "/bin/zsh", "2386", "/usr/sbin/sshd"}).code, 0);
    const EmulatedMac::Run refused = mac->run("diskutil", args);
    QCOMPARE(refused.code, 1);
    QCOMPARE(refused.out, out);
    if (out.isEmpty())
        QCOMPARE(refused.err, QByteArray("Error: -69888: Couldn't unmount disk\n"));
    QVERIFY(mac->mountTable().contains("/Volumes/STICK"));

    // Forced, the unmount goes through; mounted again, nobody holds the volume any more.
    const EmulatedMac::Run forced = mac->run("diskutil", {"unmount", "force", "/Volumes/STICK"});
    QCOMPARE(forced.code, 0);
    QCOMPARE(forced.out, QByteArray("Volume STICK on disk3s1 unmounted\n"));
    QCOMPARE(mac->run("diskutil", {"mount", "disk3s1"}).code, 0);
    QCOMPARE(mac->run("diskutil", {"unmount", "/Volumes/STICK"}).code, 0);

    // A released volume ejects.
    QCOMPARE(mac->run("diskutil", {"mount", "disk3s1"}).code, 0);
    QCOMPARE(mac->emuctl({"busy", "STICK", "501", "/Applications/Preview.app/Contents/MacOS/Preview"}).code,
             0);
    QCOMPARE(mac->run("diskutil", {"unmountDisk", "force", "disk3"}).code, 0);
    QCOMPARE(mac->run("diskutil", {"mountDisk", "disk3"}).code, 0);
    QCOMPARE(mac->emuctl({"busy", "STICK", "501", "/usr/bin/vim"}).code, 0);
    QCOMPARE(mac->emuctl({"release", "STICK"}).code, 0);
    QCOMPARE(mac->run("diskutil", {"eject", "disk3"}).out, QByteArray("Disk disk3 ejected\n"));
}
