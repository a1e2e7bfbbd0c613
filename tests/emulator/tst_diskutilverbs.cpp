#include "EmulatorTestKit.h"
#include "TreeCompare.h"
#include "VolumesTestKit.h"

#include <QFileInfo>
#include <QTest>

namespace {

EmulatedMac::Run diskutil(const EmulatedMac& mac, const QStringList& args) {
    return mac.run("diskutil", args);
}

} // namespace

void TestDiskutilVerbs::renameMovesTheMountFolder() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const QStringList before = entriesOf(*mac, "/Volumes/STICK");
    QVERIFY(!before.isEmpty());
    const EmulatedMac::Run r = diskutil(*mac, {"rename", "disk3s1", "NEW STICK"});
    QCOMPARE(r.code, 0);
    QCOMPARE(r.out, QByteArray("Volume on disk3s1 renamed to NEW STICK\n"));
    QVERIFY(!QFileInfo::exists(mac->host("/Volumes/STICK")));
    QCOMPARE(entriesOf(*mac, "/Volumes/NEW STICK"), before);
    QVERIFY(mac->mountTable().contains("/dev/disk3s1 /Volumes/NEW\\040STICK msdos rw,"));
    QCOMPARE(infoText(*mac, "disk3s1", "MountPoint"), QStringLiteral("/Volumes/NEW STICK"));
    QVERIFY(mac->diskList().value("VolumesFromDisks").toStringList().contains("NEW STICK"));

    // A name another volume has mounts with a number; the name alone finds the first one.
    QCOMPARE(diskutil(*mac, {"rename", "/Volumes/Backup", "NEW STICK"}).code, 0);
    QCOMPARE(infoText(*mac, "disk4s2", "MountPoint"), QStringLiteral("/Volumes/NEW STICK 1"));
    QCOMPARE(infoText(*mac, "/Volumes/NEW STICK", "DeviceIdentifier"), QStringLiteral("disk3s1"));
    QCOMPARE(infoText(*mac, "/Volumes/NEW STICK 1", "VolumeName"), QStringLiteral("NEW STICK"));
}

void TestDiskutilVerbs::nameRulesOfEachFileSystem_data() {
    QTest::addColumn<QString>("volume");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("accepted");
    const auto row = [](const char* tag, const char* volume, const QString& name, bool accepted) {
        QTest::newRow(tag) << QString::fromLatin1(volume) << name << accepted;
    };
    row("FAT lower case", "/Volumes/STICK", "udisk", false);
    row("FAT 12 characters", "/Volumes/STICK", "TWELVECHARSX", false);
    row("FAT 11 characters", "/Volumes/STICK", "ELEVENCHARS", true);
    row("FAT forbidden character", "/Volumes/STICK", "A*B", false);
    row("ExFAT 12 characters", "/Volumes/Backup", "Twelve chars", false);
    row("ExFAT lower case", "/Volumes/Backup", "Backup 2", true);
    row("HFS+ 255 bytes", "/Volumes/Data", QString(255, QLatin1Char('n')), true);
    row("HFS+ 256 bytes", "/Volumes/Data", QString(256, QLatin1Char('n')), false);
}

void TestDiskutilVerbs::nameRulesOfEachFileSystem() {
    QFETCH(QString, volume);
    QFETCH(QString, name);
    QFETCH(bool, accepted);
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const QString oldName = infoText(*mac, volume, "VolumeName");
    const EmulatedMac::Run r = diskutil(*mac, {"rename", volume, name});
    QCOMPARE(r.code, accepted ? 0 : 1);
    if (accepted) {
        QVERIFY(QFileInfo(mac->host("/Volumes/" + name)).isDir());
    } else {
        QCOMPARE(QString::fromUtf8(r.err),
                 name + QStringLiteral(" does not appear to be a valid volume name for its file system\n"));
        QCOMPARE(infoText(*mac, volume, "VolumeName"), oldName);
    }
}

void TestDiskutilVerbs::eraseVolumeEmptiesAndReformats() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const QString oldUuid = infoText(*mac, "disk3s1", "VolumeUUID");
    const EmulatedMac::Run r = diskutil(*mac, {"eraseVolume", "JHFS+", "CLEAN", "/dev/disk3s1"});
    QCOMPARE(r.code, 0);
    const QList<QByteArray> lines = r.out.split('\n');
    QCOMPARE(lines.first(), QByteArray("Started erase on disk3s1 STICK"));
    QVERIFY(lines.contains("Formatting disk3s1 as Mac OS Extended (Journaled) with name CLEAN"));
    QCOMPARE(lines.at(lines.size() - 2), QByteArray("Finished erase on disk3s1 CLEAN"));
    QCOMPARE(fieldsOf(mac->diskInfo("disk3s1"), {"FilesystemName", "Content", "MountPoint"}),
             QStringLiteral("Journaled HFS+|Apple_HFS|/Volumes/CLEAN"));
    QVERIFY(infoText(*mac, "disk3s1", "VolumeUUID") != oldUuid);
    QVERIFY(entriesOf(*mac, "/Volumes/CLEAN").isEmpty());
    QVERIFY(!QFileInfo::exists(mac->host("/Volumes/STICK")));

    // reformat keeps the name and the personality, and empties the volume again.
    QVERIFY(writeHostFile(mac->host("/Volumes/CLEAN/file"), "x"));
    const EmulatedMac::Run again = diskutil(*mac, {"reformat", "/Volumes/CLEAN"});
    QCOMPARE(again.code, 0);
    QVERIFY(again.out.contains("Finished erase on disk3s1 CLEAN"));
    QVERIFY(!QFileInfo::exists(mac->host("/Volumes/CLEAN/file")));
    QCOMPARE(infoText(*mac, "disk3s1", "FilesystemType"), QStringLiteral("hfs"));
    // FAT32 refuses a lower-case name before touching anything.
    const EmulatedMac::Run refused = diskutil(*mac, {"eraseVolume", "MS-DOS FAT32", "lower", "disk3s1"});
    QCOMPARE(refused.code, 1);
    QVERIFY(refused.out.isEmpty());
    QCOMPARE(infoText(*mac, "disk3s1", "VolumeName"), QStringLiteral("CLEAN"));
}

void TestDiskutilVerbs::eraseVolumeTakesEachFormatName() {
    auto mac = VolumesTestKit::machine(
        "10.15.7", R"({"size": "16GB", "scheme": "GPT", "partitions": [{"fs": "JHFS+", "name": "DATA"}]})");
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
            const EmulatedMac::Run r = diskutil(*mac, {"eraseVolume", format, "NEW", device});
            QVERIFY2(r.code == 0, qPrintable(format));
            // APFS first formats the partition as HFS+, then turns it into a container.
            if (!QByteArray(personality).startsWith("APFS"))
                QVERIFY2(r.out.contains("Formatting " + device.toUtf8() + " as " + personality +
                                        " with name NEW\n"),
                         r.out.constData());
            QCOMPARE(fieldsOf(mac->diskInfo("/Volumes/NEW"), {"FilesystemName", "FilesystemUserVisibleName"}),
                     QString::fromLatin1(filesystem) + QLatin1Char('|') + QString::fromLatin1(personality));
        }
    }
    // Short forms that scenarios take are not diskutil's.
    for (const char* refused : {"msdos", "FAT16", "NTFS", "hfs", "UDF", ""}) {
        const EmulatedMac::Run r = diskutil(*mac, {"eraseVolume", refused, "NEW", device});
        QCOMPARE(r.code, 1);
        QCOMPARE(r.err, QByteArray(refused) + " does not appear to be a valid file system format\n");
    }
    // Free space leaves the partition without a file system.
    for (const char* free : {"Free Space", "FREE"}) {
        QCOMPARE(diskutil(*mac, {"eraseVolume", free, "NEW", device}).code, 0);
        QVERIFY(!mac->diskInfo(device).contains("FilesystemName"));
    }
}

void TestDiskutilVerbs::anApfsVolumeIsErasedInItsContainer() {
    auto mac = EmulatedMac::fromJson(R"({"disks": [{"name": "t5", "size": "500GB", "scheme": "GPT",
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
        const EmulatedMac::Run r = diskutil(*mac, args);
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

void TestDiskutilVerbs::eraseDiskLaysOutTheScheme_data() {
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

void TestDiskutilVerbs::eraseDiskLaysOutTheScheme() {
    QFETCH(QStringList, args);
    QFETCH(QString, dataPartition);
    QFETCH(QString, content);
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const EmulatedMac::Run r = diskutil(*mac, args);
    QCOMPARE(r.code, 0);
    QVERIFY(r.out.startsWith("Started erase on disk3\nUnmounting disk\nCreating the partition map\n"));
    QVERIFY(r.out.endsWith("Finished erase on disk3\n"));
    QVERIFY(!QFileInfo::exists(mac->host("/Volumes/STICK")));
    const QVariantMap list = mac->diskList();
    const QVariantList parts = partitionsOf(list, QStringLiteral("disk3"));
    const bool gpt = dataPartition.endsWith(QLatin1String("s2"));
    QCOMPARE(parts.size(), gpt ? 2 : 1);
    if (gpt) {
        QCOMPARE(parts.first().toMap().value("Content").toString(), QStringLiteral("EFI"));
        QCOMPARE(parts.first().toMap().value("Size").toLongLong(), 209715200);
    }
    const QVariantMap data = parts.last().toMap();
    QCOMPARE(data.value("DeviceIdentifier").toString(), dataPartition);
    QCOMPARE(data.value("Content").toString(), content);
    const QString name = args.at(2);
    if (content == QLatin1String("Apple_APFS")) {
        // The volume lives in a new container disk.
        QVERIFY(r.out.contains("Created new APFS Container disk"));
        const QVariantMap volume = mac->diskInfo("/Volumes/" + name);
        QCOMPARE(volume.value("FilesystemType").toString(), QStringLiteral("apfs"));
        QCOMPARE(volume.value("APFSPhysicalStores")
                     .toList()
                     .value(0)
                     .toMap()
                     .value("APFSPhysicalStore")
                     .toString(),
                 dataPartition);
    } else {
        QCOMPARE(data.value("MountPoint").toString(), QStringLiteral("/Volumes/") + name);
        QVERIFY(mac->mountTable().contains(QByteArray("/dev/") + dataPartition.toUtf8() + " /Volumes/" +
                                           name.toUtf8() + ' '));
    }
}

void TestDiskutilVerbs::ejectRemovesTheDisk() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    // The boot disk stays whatever is asked of it.
    for (const QStringList& args :
         {QStringList{"eject", "disk0"}, QStringList{"eraseDisk", "JHFS+", "X", "disk0"},
          QStringList{"eraseVolume", "JHFS+", "X", "/"}, QStringList{"unmountDisk", "disk0"}}) {
        QCOMPARE(diskutil(*mac, args).code, 1);
        QCOMPARE(infoText(*mac, "/", "VolumeName"), QStringLiteral("Macintosh HD"));
    }
    QVERIFY(QFileInfo::exists(mac->host("/Applications/TextEdit.app")));

    const QString uuid = infoText(*mac, "/Volumes/STICK", "VolumeUUID");
    const EmulatedMac::Run r = diskutil(*mac, {"eject", uuid});
    QCOMPARE(r.code, 0);
    QCOMPARE(QString::fromUtf8(r.out), QStringLiteral("Disk %1 ejected\n").arg(uuid));
    QVERIFY(!isWholeDisk(*mac, "disk3"));
    QVERIFY(!mac->mountTable().contains("/Volumes/STICK"));
    QVERIFY(!QFileInfo::exists(mac->host("/Volumes/STICK")));
    QCOMPARE(mac->diskInfo("disk3").value("Error"), QVariant(true));
    const EmulatedMac::Run again = diskutil(*mac, {"eject", uuid});
    QCOMPARE(again.code, 1);
    QCOMPARE(QString::fromUtf8(again.err), QStringLiteral("Unable to find disk for %1\n").arg(uuid));
    // The empty argument an unmounted volume leads to is a usage error.
    QCOMPARE(diskutil(*mac, {"eject", ""}).code, 1);
}

void TestDiskutilVerbs::aBusyVolumeDissents_data() {
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

void TestDiskutilVerbs::aBusyVolumeDissents() {
    QFETCH(QStringList, args);
    QFETCH(QByteArray, out);
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    QCOMPARE(mac->emuctl({"busy", "STICK", "2387", "/bin/zsh", "2386", "/usr/sbin/sshd"}).code, 0);
    const EmulatedMac::Run refused = diskutil(*mac, args);
    QCOMPARE(refused.code, 1);
    QCOMPARE(refused.out, out);
    if (out.isEmpty())
        QCOMPARE(refused.err, QByteArray("Error: -69888: Couldn't unmount disk\n"));
    QVERIFY(mac->mountTable().contains("/Volumes/STICK"));

    // Forced, the unmount goes through; mounted again, nobody holds the volume any more.
    const EmulatedMac::Run forced = diskutil(*mac, {"unmount", "force", "/Volumes/STICK"});
    QCOMPARE(forced.code, 0);
    QCOMPARE(forced.out, QByteArray("Volume STICK on disk3s1 unmounted\n"));
    QCOMPARE(diskutil(*mac, {"mount", "disk3s1"}).code, 0);
    QCOMPARE(diskutil(*mac, {"unmount", "/Volumes/STICK"}).code, 0);

    // A released volume ejects.
    QCOMPARE(diskutil(*mac, {"mount", "disk3s1"}).code, 0);
    QCOMPARE(mac->emuctl({"busy", "STICK", "501", "/Applications/Preview.app/Contents/MacOS/Preview"}).code,
             0);
    QCOMPARE(diskutil(*mac, {"unmountDisk", "force", "disk3"}).code, 0);
    QCOMPARE(diskutil(*mac, {"mountDisk", "disk3"}).code, 0);
    QCOMPARE(mac->emuctl({"busy", "STICK", "501", "/usr/bin/vim"}).code, 0);
    QCOMPARE(mac->emuctl({"release", "STICK"}).code, 0);
    QCOMPARE(diskutil(*mac, {"eject", "disk3"}).out, QByteArray("Disk disk3 ejected\n"));
}

void TestDiskutilVerbs::unmountMountAndResizeADisk() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const QStringList files = entriesOf(*mac, "/Volumes/Backup");
    const EmulatedMac::Run off = diskutil(*mac, {"unmountDisk", "/dev/disk4"});
    QCOMPARE(off.out, QByteArray("Unmount of all volumes on disk4 was successful\n"));
    QVERIFY(!QFileInfo::exists(mac->host("/Volumes/Backup")));
    QVERIFY(!mac->mountTable().contains("/Volumes/Backup"));
    QCOMPARE(fieldsOf(mac->diskInfo("disk4s2"), {"MountPoint", "FreeSpace"}), QStringLiteral("|0"));
    const EmulatedMac::Run on = diskutil(*mac, {"mountDisk", "/dev/disk4"});
    QCOMPARE(on.out, QByteArray("Volume(s) mounted successfully\n"));
    QCOMPARE(entriesOf(*mac, "/Volumes/Backup"), files);
    // The EFI partition stays unmounted.
    QVERIFY(!mac->mountTable().contains("/Volumes/EFI"));

    // resizeVolume adds a mounted partition after the shrunk one.
    const qint64 total = mac->diskInfo("disk4s2").value("TotalSize").toLongLong();
    const QString newSize = QString::number(total - 2500000000LL) + QLatin1Char('B');
    const EmulatedMac::Run r =
        diskutil(*mac, {"resizeVolume", "disk4s2", newSize, "JHFS+", "NewCloneSystem", "2500000000B"});
    QCOMPARE(r.code, 0);
    QVERIFY(r.out.startsWith(QStringLiteral("Resizing to %1 bytes").arg(total - 2500000000LL).toUtf8()));
    QCOMPARE(fieldsOf(mac->diskInfo("disk4s3"), {"Size", "MountPoint", "FilesystemName"}),
             QStringLiteral("2500000000|/Volumes/NewCloneSystem|Journaled HFS+"));
    QCOMPARE(mac->diskInfo("disk4s2").value("TotalSize").toLongLong(), total - 2500000000LL);
    QCOMPARE(entriesOf(*mac, "/Volumes/Backup"), files);
    // More than the partition holds is refused.
    const EmulatedMac::Run tooBig = diskutil(*mac, {"resizeVolume", "disk4s2", "100G", "JHFS+", "X", "900G"});
    QCOMPARE(tooBig.code, 1);
    QVERIFY(tooBig.err.startsWith("Error: -69787:"));
}
