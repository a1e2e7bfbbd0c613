#include "tst_diskutilverbs.h"

#include "EmulatorTestKit.h"
#include "VolumesTestKit.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

namespace {

EmulatedMac::Run diskutil(const EmulatedMac& mac, const QStringList& args) {
    return mac.run(QStringLiteral("diskutil"), args);
}

} // namespace

void TestDiskutilVerbs::renameMovesTheMountFolder() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const QStringList before = QDir(mac->host(QStringLiteral("/Volumes/STICK")))
                                   .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    QVERIFY(!before.isEmpty());
    const EmulatedMac::Run r = diskutil(*mac, {"rename", "disk3s1", "NEW STICK"});
    QCOMPARE(r.code, 0);
    QCOMPARE(r.out, QByteArray("Volume on disk3s1 renamed to NEW STICK\n"));
    QVERIFY(!QFileInfo::exists(mac->host(QStringLiteral("/Volumes/STICK"))));
    QCOMPARE(QDir(mac->host(QStringLiteral("/Volumes/NEW STICK")))
                 .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             before);
    QVERIFY(mac->mountTable().contains("/dev/disk3s1 /Volumes/NEW\\040STICK msdos rw,"));
    QCOMPARE(mac->diskInfo(QStringLiteral("disk3s1")).value(QStringLiteral("MountPoint")).toString(),
             QStringLiteral("/Volumes/NEW STICK"));
    QVERIFY(mac->diskList()
                .value(QStringLiteral("VolumesFromDisks"))
                .toStringList()
                .contains(QStringLiteral("NEW STICK")));
}

void TestDiskutilVerbs::nameRulesOfEachFileSystem_data() {
    QTest::addColumn<QString>("volume");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("FAT lower case") << "/Volumes/STICK"
                                    << "udisk" << false;
    QTest::newRow("FAT 12 characters") << "/Volumes/STICK"
                                       << "TWELVECHARSX" << false;
    QTest::newRow("FAT 11 characters") << "/Volumes/STICK"
                                       << "ELEVENCHARS" << true;
    QTest::newRow("FAT forbidden character") << "/Volumes/STICK"
                                             << "A*B" << false;
    QTest::newRow("ExFAT 12 characters") << "/Volumes/Backup"
                                         << "Twelve chars" << false;
    QTest::newRow("ExFAT lower case") << "/Volumes/Backup"
                                      << "Backup 2" << true;
    QTest::newRow("HFS+ 255 bytes") << "/Volumes/Data" << QString(255, QLatin1Char('n')) << true;
    QTest::newRow("HFS+ 256 bytes") << "/Volumes/Data" << QString(256, QLatin1Char('n')) << false;
}

void TestDiskutilVerbs::nameRulesOfEachFileSystem() {
    QFETCH(QString, volume);
    QFETCH(QString, name);
    QFETCH(bool, accepted);
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const QString oldName = mac->diskInfo(volume).value(QStringLiteral("VolumeName")).toString();
    const EmulatedMac::Run r = diskutil(*mac, {"rename", volume, name});
    QCOMPARE(r.code, accepted ? 0 : 1);
    if (accepted) {
        QVERIFY(QFileInfo(mac->host(QStringLiteral("/Volumes/") + name)).isDir());
    } else {
        QCOMPARE(QString::fromUtf8(r.err),
                 name + QStringLiteral(" does not appear to be a valid volume name for its file system\n"));
        QCOMPARE(mac->diskInfo(volume).value(QStringLiteral("VolumeName")).toString(), oldName);
    }
}

void TestDiskutilVerbs::aTakenNameMountsWithANumber() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    QCOMPARE(diskutil(*mac, {"rename", "/Volumes/Backup", "STICK"}).code, 0);
    QCOMPARE(mac->diskInfo(QStringLiteral("disk4s2")).value(QStringLiteral("MountPoint")).toString(),
             QStringLiteral("/Volumes/STICK 1"));
    QCOMPARE(
        mac->diskInfo(QStringLiteral("/Volumes/STICK")).value(QStringLiteral("DeviceIdentifier")).toString(),
        QStringLiteral("disk3s1"));
    // The name alone now names the first volume that has it.
    QCOMPARE(mac->diskInfo(QStringLiteral("/Volumes/STICK 1")).value(QStringLiteral("VolumeName")).toString(),
             QStringLiteral("STICK"));
}

void TestDiskutilVerbs::eraseVolumeEmptiesAndReformats() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const QString oldUuid =
        mac->diskInfo(QStringLiteral("disk3s1")).value(QStringLiteral("VolumeUUID")).toString();
    const EmulatedMac::Run r = diskutil(*mac, {"eraseVolume", "JHFS+", "CLEAN", "/dev/disk3s1"});
    QCOMPARE(r.code, 0);
    const QList<QByteArray> lines = r.out.split('\n');
    QCOMPARE(lines.first(), QByteArray("Started erase on disk3s1 STICK"));
    QVERIFY(lines.contains("Formatting disk3s1 as Mac OS Extended (Journaled) with name CLEAN"));
    QCOMPARE(lines.at(lines.size() - 2), QByteArray("Finished erase on disk3s1 CLEAN"));
    const QVariantMap info = mac->diskInfo(QStringLiteral("disk3s1"));
    QCOMPARE(info.value(QStringLiteral("FilesystemName")).toString(), QStringLiteral("Journaled HFS+"));
    QCOMPARE(info.value(QStringLiteral("Content")).toString(), QStringLiteral("Apple_HFS"));
    QCOMPARE(info.value(QStringLiteral("MountPoint")).toString(), QStringLiteral("/Volumes/CLEAN"));
    QVERIFY(info.value(QStringLiteral("VolumeUUID")).toString() != oldUuid);
    QVERIFY(QDir(mac->host(QStringLiteral("/Volumes/CLEAN")))
                .isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    QVERIFY(!QFileInfo::exists(mac->host(QStringLiteral("/Volumes/STICK"))));

    // reformat keeps the name and the personality, and empties the volume again.
    QFile f(mac->host(QStringLiteral("/Volumes/CLEAN/file")));
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.close();
    const EmulatedMac::Run again = diskutil(*mac, {"reformat", "/Volumes/CLEAN"});
    QCOMPARE(again.code, 0);
    QVERIFY(again.out.contains("Finished erase on disk3s1 CLEAN"));
    QVERIFY(!QFileInfo::exists(mac->host(QStringLiteral("/Volumes/CLEAN/file"))));
    QCOMPARE(mac->diskInfo(QStringLiteral("disk3s1")).value(QStringLiteral("FilesystemType")).toString(),
             QStringLiteral("hfs"));
    // FAT32 refuses a lower-case name before touching anything.
    const EmulatedMac::Run refused = diskutil(*mac, {"eraseVolume", "MS-DOS FAT32", "lower", "disk3s1"});
    QCOMPARE(refused.code, 1);
    QVERIFY(refused.out.isEmpty());
    QCOMPARE(mac->diskInfo(QStringLiteral("disk3s1")).value(QStringLiteral("VolumeName")).toString(),
             QStringLiteral("CLEAN"));
}

void TestDiskutilVerbs::eraseVolumeTakesEachFormatName() {
    auto mac = VolumesTestKit::machine(
        "10.15.7", R"({"size": "16GB", "scheme": "GPT", "partitions": [{"fs": "JHFS+", "name": "DATA"}]})");
    QVERIFY(mac->isValid());
    const QString device = QStringLiteral("disk2s2");
    struct Name {
        const char* format;
        const char* filesystem;  // FilesystemName
        const char* personality; // FilesystemUserVisibleName
    };
    // Every personality and alias diskutil takes, in the cases people write them.
    const Name accepted[] = {
        {"JHFS+", "Journaled HFS+", "Mac OS Extended (Journaled)"},
        {"hfs+", "Journaled HFS+", "Mac OS Extended (Journaled)"},
        {"Journaled HFS+", "Journaled HFS+", "Mac OS Extended (Journaled)"},
        {"JHFSX", "Case-sensitive Journaled HFS+", "Mac OS Extended (Case-sensitive, Journaled)"},
        {"hfsx", "Case-sensitive Journaled HFS+", "Mac OS Extended (Case-sensitive, Journaled)"},
        {"Case-sensitive Journaled HFS+", "Case-sensitive Journaled HFS+",
         "Mac OS Extended (Case-sensitive, Journaled)"},
        {"Case-sensitive HFS+", "Case-sensitive Journaled HFS+",
         "Mac OS Extended (Case-sensitive, Journaled)"},
        {"APFS", "APFS", "APFS"},
        {"apfsi", "APFS", "APFS"},
        {"APFSX", "Case-sensitive APFS", "APFS (Case-sensitive)"},
        {"Case-sensitive APFS", "Case-sensitive APFS", "APFS (Case-sensitive)"},
        {"ExFAT", "ExFAT", "ExFAT"},
        {"FAT32", "MS-DOS FAT32", "MS-DOS (FAT32)"},
        {"MS-DOS FAT32", "MS-DOS FAT32", "MS-DOS (FAT32)"},
        {"ms-dos", "MS-DOS FAT32", "MS-DOS (FAT32)"},
        {"MS-DOS FAT16", "MS-DOS FAT16", "MS-DOS (FAT16)"},
    };
    for (const Name& n : accepted) {
        const EmulatedMac::Run r = diskutil(*mac, {"eraseVolume", n.format, "NEW", device});
        QVERIFY2(r.code == 0, n.format);
        const QString personality = QString::fromLatin1(n.personality);
        // APFS first formats the partition as HFS+, then turns it into a container.
        if (!personality.startsWith(QLatin1String("APFS")))
            QVERIFY2(
                r.out.contains(
                    QStringLiteral("Formatting %1 as %2 with name NEW\n").arg(device, personality).toUtf8()),
                r.out.constData());
        const QVariantMap info = mac->diskInfo(QStringLiteral("/Volumes/NEW"));
        QCOMPARE(info.value(QStringLiteral("FilesystemName")).toString() + QStringLiteral(" / ") +
                     info.value(QStringLiteral("FilesystemUserVisibleName")).toString(),
                 QString::fromLatin1(n.filesystem) + QStringLiteral(" / ") + personality);
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
        QVERIFY(!mac->diskInfo(device).contains(QStringLiteral("FilesystemName")));
    }
}

void TestDiskutilVerbs::anApfsVolumeIsErasedInItsContainer() {
    auto mac = EmulatedMac::fromJson(R"({"disks": [{"name": "t5", "size": "500GB", "scheme": "GPT",
        "partitions": [{"fs": "APFS", "volumes": [{"name": "Projects", "used": "12GB"}]}]}]})");
    QVERIFY(mac->isValid());
    const QVariantMap before = mac->diskInfo(QStringLiteral("/Volumes/Projects"));
    const QString volume = before.value(QStringLiteral("DeviceIdentifier")).toString();
    const QString container = before.value(QStringLiteral("ParentWholeDisk")).toString();
    QFile f(mac->host(QStringLiteral("/Volumes/Projects/file")));
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.close();
    const QStringList disksBefore = mac->diskList().value(QStringLiteral("AllDisks")).toStringList();

    // reformat keeps the name and APFS; eraseVolume may rename it. Either way the volume stays
    // in its container under its identifier, empty and with a new UUID.
    for (const QStringList& args : {QStringList{"reformat", "/Volumes/Projects"},
                                    QStringList{"eraseVolume", "APFS", "Work", "/dev/" + volume}}) {
        const QString oldUuid = mac->diskInfo(volume).value(QStringLiteral("VolumeUUID")).toString();
        const EmulatedMac::Run r = diskutil(*mac, args);
        QCOMPARE(r.code, 0);
        QVERIFY(r.out.contains("Finished APFS operation on " + volume.toUtf8()));
        const QVariantMap after = mac->diskInfo(volume);
        QCOMPARE(after.value(QStringLiteral("FilesystemName")).toString(), QStringLiteral("APFS"));
        QCOMPARE(after.value(QStringLiteral("ParentWholeDisk")).toString(), container);
        QVERIFY(after.value(QStringLiteral("VolumeUUID")).toString() != oldUuid);
        const QString mountPoint = after.value(QStringLiteral("MountPoint")).toString();
        QCOMPARE(mountPoint,
                 QStringLiteral("/Volumes/") + after.value(QStringLiteral("VolumeName")).toString());
        QVERIFY(QDir(mac->host(mountPoint)).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
        QCOMPARE(mac->diskList().value(QStringLiteral("AllDisks")).toStringList(), disksBefore);
    }
    QCOMPARE(mac->diskInfo(volume).value(QStringLiteral("VolumeName")).toString(), QStringLiteral("Work"));
}

void TestDiskutilVerbs::eraseDiskLaysOutTheScheme_data() {
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("dataPartition");
    QTest::addColumn<QString>("content");
    QTest::newRow("JHFS+ on GPT") << QStringList{"eraseDisk", "JHFS+", "NewCloneSystem", "disk3"} << "disk3s2"
                                  << "Apple_HFS";
    QTest::newRow("FAT32 on MBR") << QStringList{"eraseDisk", "MS-DOS FAT32", "UNTITLED", "MBR", "/dev/disk3"}
                                  << "disk3s1"
                                  << "DOS_FAT_32";
    QTest::newRow("ExFAT on GPT") << QStringList{"eraseDisk", "ExFAT", "Media", "GPT", "disk3"} << "disk3s2"
                                  << "Microsoft Basic Data";
    QTest::newRow("APFS") << QStringList{"eraseDisk", "APFS", "Fast", "disk3"} << "disk3s2"
                          << "Apple_APFS";
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
    QVERIFY(!QFileInfo::exists(mac->host(QStringLiteral("/Volumes/STICK"))));
    const QVariantMap list = mac->diskList();
    const QVariantList parts = partitionsOf(list, QStringLiteral("disk3"));
    const bool gpt = dataPartition.endsWith(QLatin1String("s2"));
    QCOMPARE(parts.size(), gpt ? 2 : 1);
    if (gpt) {
        QCOMPARE(parts.first().toMap().value(QStringLiteral("Content")).toString(), QStringLiteral("EFI"));
        QCOMPARE(parts.first().toMap().value(QStringLiteral("Size")).toLongLong(), 209715200);
    }
    const QVariantMap data = parts.last().toMap();
    QCOMPARE(data.value(QStringLiteral("DeviceIdentifier")).toString(), dataPartition);
    QCOMPARE(data.value(QStringLiteral("Content")).toString(), content);
    const QString name = args.at(2);
    if (content == QLatin1String("Apple_APFS")) {
        // The volume lives in a new container disk.
        QVERIFY(r.out.contains("Created new APFS Container disk"));
        const QVariantMap volume = mac->diskInfo(QStringLiteral("/Volumes/") + name);
        QCOMPARE(volume.value(QStringLiteral("FilesystemType")).toString(), QStringLiteral("apfs"));
        QCOMPARE(volume.value(QStringLiteral("APFSPhysicalStores"))
                     .toList()
                     .value(0)
                     .toMap()
                     .value(QStringLiteral("APFSPhysicalStore"))
                     .toString(),
                 dataPartition);
    } else {
        QCOMPARE(data.value(QStringLiteral("MountPoint")).toString(), QStringLiteral("/Volumes/") + name);
        QVERIFY(mac->mountTable().contains(QByteArray("/dev/") + dataPartition.toUtf8() + " /Volumes/" +
                                           name.toUtf8() + ' '));
    }
}

void TestDiskutilVerbs::ejectRemovesTheDisk() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const QString uuid =
        mac->diskInfo(QStringLiteral("/Volumes/STICK")).value(QStringLiteral("VolumeUUID")).toString();
    const EmulatedMac::Run r = diskutil(*mac, {"eject", uuid});
    QCOMPARE(r.code, 0);
    QCOMPARE(QString::fromUtf8(r.out), QStringLiteral("Disk %1 ejected\n").arg(uuid));
    QVERIFY(!mac->diskList()
                 .value(QStringLiteral("WholeDisks"))
                 .toStringList()
                 .contains(QStringLiteral("disk3")));
    QVERIFY(!mac->mountTable().contains("/Volumes/STICK"));
    QVERIFY(!QFileInfo::exists(mac->host(QStringLiteral("/Volumes/STICK"))));
    QCOMPARE(mac->diskInfo(QStringLiteral("disk3")).value(QStringLiteral("Error")), QVariant(true));
    const EmulatedMac::Run again = diskutil(*mac, {"eject", uuid});
    QCOMPARE(again.code, 1);
    QCOMPARE(QString::fromUtf8(again.err), QStringLiteral("Unable to find disk for %1\n").arg(uuid));
    // The empty argument an unmounted volume leads to is a usage error.
    QCOMPARE(diskutil(*mac, {"eject", ""}).code, 1);
}

void TestDiskutilVerbs::theBootDiskStays() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    for (const QStringList& args :
         {QStringList{"eject", "disk0"}, QStringList{"eraseDisk", "JHFS+", "X", "disk0"},
          QStringList{"eraseVolume", "JHFS+", "X", "/"}, QStringList{"unmountDisk", "disk0"}}) {
        QCOMPARE(diskutil(*mac, args).code, 1);
        QCOMPARE(mac->diskInfo(QStringLiteral("/")).value(QStringLiteral("VolumeName")).toString(),
                 QStringLiteral("Macintosh HD"));
    }
    QVERIFY(QFileInfo::exists(mac->host(QStringLiteral("/Applications/TextEdit.app"))));
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

void TestDiskutilVerbs::unmountDiskAndMountDisk() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const QStringList files = QDir(mac->host(QStringLiteral("/Volumes/Backup")))
                                  .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    const EmulatedMac::Run off = diskutil(*mac, {"unmountDisk", "/dev/disk4"});
    QCOMPARE(off.out, QByteArray("Unmount of all volumes on disk4 was successful\n"));
    QVERIFY(!QFileInfo::exists(mac->host(QStringLiteral("/Volumes/Backup"))));
    QVERIFY(!mac->mountTable().contains("/Volumes/Backup"));
    QCOMPARE(mac->diskInfo(QStringLiteral("disk4s2")).value(QStringLiteral("MountPoint")).toString(),
             QString());
    QCOMPARE(mac->diskInfo(QStringLiteral("disk4s2")).value(QStringLiteral("FreeSpace")).toLongLong(), 0);
    const EmulatedMac::Run on = diskutil(*mac, {"mountDisk", "/dev/disk4"});
    QCOMPARE(on.out, QByteArray("Volume(s) mounted successfully\n"));
    QCOMPARE(QDir(mac->host(QStringLiteral("/Volumes/Backup")))
                 .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             files);
    // The EFI partition stays unmounted.
    QVERIFY(!mac->mountTable().contains("/Volumes/EFI"));
}

void TestDiskutilVerbs::resizeVolumeAddsAMountedPartition() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const qint64 total =
        mac->diskInfo(QStringLiteral("disk4s2")).value(QStringLiteral("TotalSize")).toLongLong();
    const QString newSize = QString::number(total - 2500000000LL) + QLatin1Char('B');
    const EmulatedMac::Run r =
        diskutil(*mac, {"resizeVolume", "disk4s2", newSize, "JHFS+", "NewCloneSystem", "2500000000B"});
    QCOMPARE(r.code, 0);
    QVERIFY(r.out.startsWith(QStringLiteral("Resizing to %1 bytes").arg(total - 2500000000LL).toUtf8()));
    const QVariantMap added = mac->diskInfo(QStringLiteral("disk4s3"));
    QCOMPARE(added.value(QStringLiteral("Size")).toLongLong(), 2500000000LL);
    QCOMPARE(added.value(QStringLiteral("MountPoint")).toString(), QStringLiteral("/Volumes/NewCloneSystem"));
    QCOMPARE(added.value(QStringLiteral("FilesystemName")).toString(), QStringLiteral("Journaled HFS+"));
    QCOMPARE(mac->diskInfo(QStringLiteral("disk4s2")).value(QStringLiteral("TotalSize")).toLongLong(),
             total - 2500000000LL);
    // The Backup volume keeps its files.
    QVERIFY(!QDir(mac->host(QStringLiteral("/Volumes/Backup"))).isEmpty());
    // More than the partition holds is refused.
    const EmulatedMac::Run tooBig = diskutil(*mac, {"resizeVolume", "disk4s2", "100G", "JHFS+", "X", "900G"});
    QCOMPARE(tooBig.code, 1);
    QVERIFY(tooBig.err.startsWith("Error: -69787:"));
}
