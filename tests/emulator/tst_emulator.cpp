#include "EmulatedMac.h"
#include "TestMain.h"
#include "TreeCompare.h"
#include "VolumesTestKit.h"
#include "core/PropertyList.h"
#include "platform/Machine.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTest>

#include <tuple>

namespace {

// The partition entries of one whole disk in `list -plist`.
QVariantList partitionsOf(const QVariantMap& list, const QString& disk) {
    for (const QVariant& e : list.value("AllDisksAndPartitions").toList()) {
        if (e.toMap().value("DeviceIdentifier").toString() == disk)
            return e.toMap().value("Partitions").toList() + e.toMap().value("APFSVolumes").toList();
    }
    return {};
}

// What a Mac folder holds, hidden entries too, by name.
QStringList entriesOf(const EmulatedMac& mac, const QString& macPath) {
    return QDir(mac.host(macPath)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

// One text field of `diskutil info -plist ARG`.
QString infoText(const EmulatedMac& mac, const QString& arg, const QString& key) {
    return mac.diskInfo(arg).value(key).toString();
}

// Some fields of a disk-tool dictionary as "value|value|...", "-" for a key it lacks.
QString fieldsOf(const QVariantMap& info, const QStringList& keys) {
    QStringList values;
    for (const QString& key : keys)
        values << (info.contains(key) ? info.value(key).toString() : QStringLiteral("-"));
    return values.join(QLatin1Char('|'));
}

// Whether `diskutil list -plist` names the whole disk.
bool isWholeDisk(const EmulatedMac& mac, const QString& disk) {
    return mac.diskList().value("WholeDisks").toStringList().contains(disk);
}

} // namespace

// The emulator's tests: what its tools print and do, as the real ones would.
class TestEmulator : public QObject {
    Q_OBJECT
    // The "demo" machine, made anew for each test; a test may put another in its place.
    std::unique_ptr<EmulatedMac> mac;
private Q_SLOTS:
    void init() {
        // The old machine goes first: one that goes puts back the root that was current when it came.
        mac.reset();
        mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY(mac->isValid());
    }

    void volumeKindsLookupsAndUnknownDevices() {
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
        const QString image = infoText(*mac, "/Volumes/Archive", "ParentWholeDisk");
        QCOMPARE(fieldsOf(mac->diskInfo(image), {"BusProtocol", "VirtualOrPhysical"}),
                 QStringLiteral("Disk Image|Virtual"));

        // Free space follows the bytes stored, on a volume and in the system's container.
        for (const auto& [volume, file, key] :
             {std::tuple{"/Volumes/STICK", "/Volumes/STICK/new/big.bin", "FreeSpace"},
              {"/", "/System/Volumes/Data/blob", "APFSContainerFree"}}) {
            const qint64 before = mac->diskInfo(QLatin1String(volume)).value(key).toLongLong();
            QVERIFY(writeHostFile(mac->host(file), QByteArray(300000, 'z')));
            QCOMPARE(before - mac->diskInfo(QLatin1String(volume)).value(key).toLongLong(), 300000);
        }

        // A volume by its node, mount point, name and UUID in either case.
        const QString uuid = infoText(*mac, "disk3s1", "VolumeUUID");
        for (const QString& arg : {QStringLiteral("/dev/disk3s1"), QStringLiteral("/Volumes/STICK"),
                                   QStringLiteral("STICK"), uuid, uuid.toLower()})
            QCOMPARE(infoText(*mac, arg, "DeviceIdentifier"), QStringLiteral("disk3s1"));
        // The system volume by its /Volumes name too.
        QCOMPARE(infoText(*mac, "/Volumes/Macintosh HD", "MountPoint"), QStringLiteral("/"));

        // An unknown device gives the error dictionary, or the error text.
        QCOMPARE(mac->run("diskutil", {"info", "-plist", "disk99"}).code, 1);
        QCOMPARE(mac->diskInfo("disk99").value("Error"), QVariant(true));
        const EmulatedMac::Run text = mac->run("diskutil", {"info", "disk99"});
        QCOMPARE(text.code, 1);
        QCOMPARE(text.err, QByteArray("Could not find disk: disk99\n"));
        // The -plist option belongs right after the verb.
        QCOMPARE(mac->run("diskutil", {"list", "external", "-plist"}).err,
                 QByteArray("Could not find disk for -plist\n"));
    }

    void renameAndTheNameRulesOfEachFileSystem_data() {
        QTest::addColumn<QString>("volume");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("mountPoint"); // empty: the name is refused
        const auto row = [](const char* tag, const char* volume, const QString& name, const QString& to) {
            QTest::newRow(tag) << QString::fromLatin1(volume) << name << to;
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

    void renameAndTheNameRulesOfEachFileSystem() {
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
        QCOMPARE(infoText(*mac, name, "DeviceIdentifier"),
                 name == "STICK" ? QStringLiteral("disk3s1") : device);
    }

    // An APFS volume reformatted in its container, then a partition erased to every format.
    void eraseVolumeAndReformat() {
        mac.reset();
        mac = VolumesTestKit::machine(
            "10.15.7", R"({"size":"16GB","scheme":"GPT","partitions":[{"fs":"JHFS+","name":"NEW"}]},)"
                       R"({"size":"500GB","scheme":"GPT",)"
                       R"("partitions":[{"fs":"APFS","volumes":[{"name":"Projects"}]}]})");
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

        const QString device = QStringLiteral("disk2s2");
        // Every format name and alias diskutil takes, in the cases people write them, and the
        // FilesystemName each gives.
        const char* const names[][2] = {
            {"JHFS+|hfs+|Journaled HFS+", "Journaled HFS+"},
            {"JHFSX|hfsx|Case-sensitive Journaled HFS+|Case-sensitive HFS+", "Case-sensitive Journaled HFS+"},
            {"APFS|apfsi", "APFS"},
            {"APFSX|Case-sensitive APFS", "Case-sensitive APFS"},
            {"ExFAT", "ExFAT"},
            {"FAT32|MS-DOS FAT32|ms-dos", "MS-DOS FAT32"},
            {"MS-DOS FAT16", "MS-DOS FAT16"},
        };
        for (const auto& [formats, filesystem] : names) {
            for (const QString& format : QString::fromLatin1(formats).split(QLatin1Char('|'))) {
                QVERIFY(writeHostFile(mac->host("/Volumes/NEW/file"), "x"));
                const QString oldUuid = infoText(*mac, "/Volumes/NEW", "VolumeUUID");
                const EmulatedMac::Run r = mac->run("diskutil", {"eraseVolume", format, "NEW", device});
                QVERIFY2(r.code == 0, qPrintable(format));
                // APFS first formats the partition as HFS+, then turns it into a container.
                QVERIFY2(QByteArray(filesystem).contains("APFS") ||
                             (r.out.startsWith("Started erase on disk2s2") &&
                              r.out.endsWith("Finished erase on disk2s2 NEW\n")),
                         r.out.constData());
                QCOMPARE(infoText(*mac, "/Volumes/NEW", "FilesystemName"), QString::fromLatin1(filesystem));
                // Emptied, with a new UUID.
                QVERIFY(entriesOf(*mac, "/Volumes/NEW").isEmpty());
                QVERIFY(infoText(*mac, "/Volumes/NEW", "VolumeUUID") != oldUuid);
            }
        }
        // reformat keeps the name and the personality, and empties the volume again.
        QVERIFY(writeHostFile(mac->host("/Volumes/NEW/file"), "x"));
        const EmulatedMac::Run again = mac->run("diskutil", {"reformat", "/Volumes/NEW"});
        QVERIFY2(again.code == 0 && again.out.endsWith("Finished erase on disk2s2 NEW\n"),
                 again.out.constData());
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
    }

    // The two a clone erases its drive to; nothing in the product erases a whole disk to another.
    void eraseDiskLaysOutTheScheme_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("content");
        QTest::newRow("JHFS+") << QStringList{"eraseDisk", "JHFS+", "NewCloneSystem", "disk3"} << "Apple_HFS";
        QTest::newRow("APFS") << QStringList{"eraseDisk", "APFS", "Fast", "/dev/disk3"} << "Apple_APFS";
    }

    void eraseDiskLaysOutTheScheme() {
        QFETCH(QStringList, args);
        QFETCH(QString, content);
        const EmulatedMac::Run r = mac->run("diskutil", args);
        QCOMPARE(r.code, 0);
        QVERIFY(r.out.startsWith("Started erase on disk3\nUnmounting disk\nCreating the partition map\n"));
        QVERIFY(r.out.endsWith("Finished erase on disk3\n"));
        QVERIFY(!QFileInfo::exists(mac->host("/Volumes/STICK")));
        // GPT, the EFI partition first.
        const QVariantList parts = partitionsOf(mac->diskList(), QStringLiteral("disk3"));
        QCOMPARE(parts.size(), 2);
        QCOMPARE(fieldsOf(parts.first().toMap(), {"Content", "Size"}), QStringLiteral("EFI|209715200"));
        const QVariantMap data = parts.last().toMap();
        QCOMPARE(fieldsOf(data, {"DeviceIdentifier", "Content"}), "disk3s2|" + content);
        const QString name = args.at(2);
        if (content == QLatin1String("Apple_APFS")) {
            // The volume lives in a new container disk.
            QVERIFY(r.out.contains("Created new APFS Container disk"));
            const QVariantMap volume = mac->diskInfo("/Volumes/" + name);
            QCOMPARE(volume.value("FilesystemType").toString(), QStringLiteral("apfs"));
            QCOMPARE(volume.value("APFSPhysicalStores").toList().value(0).toMap().value("APFSPhysicalStore"),
                     QVariant("disk3s2"));
        } else {
            QCOMPARE(data.value("MountPoint").toString(), "/Volumes/" + name);
            QVERIFY(mac->mountTable().contains("/dev/disk3s2 /Volumes/" + name.toUtf8() + ' '));
        }
    }

    void unmountMountAndEject() {
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

    void aBusyVolumeDissents_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QByteArray>("out");
        const QByteArray diskDissent = "Unmount of disk3 failed: at least one volume could not be unmounted\n"
                                       "Unmount was dissented by PID 2387 (/bin/zsh)\n"
                                       "Dissenter parent PPID 2386 (/usr/sbin/sshd)\n";
        QTest::newRow("unmount") << QStringList{"unmount", "/Volumes/STICK"}
                                 << QByteArray(
                                        "Volume STICK on disk3s1 failed to unmount: dissented by PID 2387 "
                                        "(/bin/zsh)\nDissenter parent PPID 2386 (/usr/sbin/sshd)\n");
        QTest::newRow("unmountDisk") << QStringList{"unmountDisk", "disk3"} << diskDissent;
        QTest::newRow("eject") << QStringList{"eject", "disk3"} << diskDissent;
        QTest::newRow("eject by volume") << QStringList{"eject", "STICK"} << diskDissent;
        QTest::newRow("eraseVolume") << QStringList{"eraseVolume", "MS-DOS FAT32", "NEW", "disk3s1"}
                                     << QByteArray();
    }

    void aBusyVolumeDissents() {
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
        QCOMPARE(mac->emuctl({"busy", "STICK", "501", "/usr/bin/less"}).code, 0);
        QCOMPARE(mac->run("diskutil", {"unmountDisk", "force", "disk3"}).code, 0);
        QCOMPARE(mac->run("diskutil", {"mountDisk", "disk3"}).code, 0);
        QCOMPARE(mac->emuctl({"busy", "STICK", "501", "/usr/bin/vim"}).code, 0);
        QCOMPARE(mac->emuctl({"release", "STICK"}).code, 0);
        QCOMPARE(mac->run("diskutil", {"eject", "disk3"}).out, QByteArray("Disk disk3 ejected\n"));
    }

    void asrRestores_data() {
        // asr settings ("key=value"); "unplug" pulls the target out after "20"
        QTest::addColumn<QStringList>("knobs");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QByteArray>("text"); // how the output ends; all of it after a "+"
        const QString backup = QStringLiteral("/Volumes/Backup");
        const QByteArray pass =
            "\tReplicating ....10....20....30....40....50....60....70....80....90....100\n";
        const QByteArray restored =
            "+\tValidating target...done\n\tValidating source...done\n\tErase contents of "
            "/dev/disk4s2 (/Volumes/Backup)? [ny]: \n" +
            pass + pass +
            "\tRestored target device is /dev/disk4s2.\n\tRemounting target volume...done\n"
            "Restore completed successfully.\n";
        for (const char* delivery : {"token", "line", "buffered"})
            QTest::newRow(delivery) << QStringList{"delivery=" + QString(delivery)} << backup << restored;
        // Unset: stdio's way on a pipe, everything held back but the prompt.
        QTest::newRow("unset") << QStringList() << backup << restored;
        QTest::newRow("failed at the knob's percentage")
            << QStringList{"failAt=40"} << backup
            << QByteArray(
                   "\tReplicating ....10....20....30....40\nVolume replication failed - error 49244\n");
        QTest::newRow("target pulled out")
            << QStringList{"delivery=token", "stepDelayMs=150", "unplug"} << backup
            << QByteArray("\nVolume replication failed - Device not configured\n");
        QTest::newRow("target not mounted")
            << QStringList() << QStringLiteral("/Volumes/NewCloneSystem")
            << QByteArray("+\tValidating target...\nCould not validate target - No such file or directory\n");
    }

    void asrRestores() {
        QFETCH(QStringList, knobs);
        QFETCH(QString, target);
        QFETCH(QByteArray, text);
        const bool unplug = knobs.removeAll(QStringLiteral("unplug")) > 0;
        const QString delivery = knobs.filter("delivery=").value(0).mid(9);
        for (const QString& knob : QStringList{"pieceDelayMs=25", "stepDelayMs=0"} + knobs)
            QVERIFY(mac->setAsr(knob.section(QLatin1Char('='), 0, 0), knob.section(QLatin1Char('='), 1)));
        const QStringList before = entriesOf(*mac, "/Volumes/Backup");
        // Run as root as the clone engine does: the output read chunk by chunk, the prompt answered
        // with a single "y"; the target pulled out once "20" is shown, when the row asks for that.
        QProcess p;
        p.setProcessEnvironment(EmulatedMac::rootEnvironment());
        p.start(mac->host("/usr/sbin/asr"), {"restore", "--source", "/", "--target", target, "--erase"});
        QVERIFY(p.waitForStarted());
        QList<QByteArray> chunks;
        QByteArray out;
        bool pulled = false;
        for (bool running = true, answered = false; running;) {
            running = p.state() != QProcess::NotRunning;
            p.waitForReadyRead(200);
            const QByteArray chunk = p.readAllStandardOutput();
            if (chunk.isEmpty())
                continue;
            chunks << chunk;
            out += chunk;
            if (unplug && !pulled && out.contains("....20"))
                pulled = mac->unplug("backup");
            if (!answered && out.contains("[ny]")) {
                p.write("y");
                p.closeWriteChannel();
                answered = true;
            }
        }
        QCOMPARE(pulled, unplug);
        QCOMPARE(isWholeDisk(*mac, "disk4"), !unplug);
        if (text.startsWith('+'))
            QCOMPARE(out, text.mid(1));
        else
            QVERIFY2(out.endsWith(text), out.constData());
        if (!text.endsWith("successfully.\n")) {
            QCOMPARE(p.exitCode(), 1);
            if (!text.contains("replication failed"))
                QCOMPARE(entriesOf(*mac, "/Volumes/Backup"), before);
            return;
        }
        QCOMPARE(p.exitCode(), 0);
        // How the output came: a token delivery sends every piece on its own, "done" apart from its
        // step and "100" alone; a line delivery whole lines but for the prompt.
        QCOMPARE(int(chunks.count("100")), delivery == QLatin1String("token") ? 2 : 0);
        QCOMPARE(chunks.contains("\tValidating target..."), delivery == QLatin1String("token"));
        for (const QByteArray& c : chunks)
            QVERIFY2(delivery != QLatin1String("line") || c.endsWith('\n') || c.contains("[ny]"),
                     c.constData());
        QVERIFY(delivery != QLatin1String("buffered") || chunks.size() <= 4);
        QVERIFY(!delivery.isEmpty() || (chunks.size() == 2 && chunks.first().endsWith("[ny]: ")));
        // The target carries the system's name (TestBootable::clonesInEveryDelivery compares the
        // copied trees); the erase removed what it held; the mount folders of "/" were not copied.
        QCOMPARE(fieldsOf(mac->diskInfo("disk4s2"), {"MountPoint", "VolumeName"}),
                 QStringLiteral("/Volumes/Macintosh HD 1|Macintosh HD"));
        QVERIFY(!QFileInfo::exists(mac->host("/Volumes/Macintosh HD 1/.DS_Store")));
        QVERIFY(!QFileInfo::exists(mac->host("/Volumes/Macintosh HD 1/System/Volumes")));
    }

    // An image's round trip (create, mount, copy in, eject, attach again) is
    // TestMakeDmg::imageHoldsTheItemsByteForByte's.
    void imageRefusalsOfARealMac() {
        QVERIFY(writeHostFile(mac->host("/tmp/src/blob.bin"), QByteArray(3000000, 'b')));
        QVERIFY(writeHostFile(mac->host("/tmp/not.dmg"), "hello"));
        // The extension is added when missing.
        QCOMPARE(mac->run("hdiutil", {"create", "/tmp/plain", "-size", "1m"}).out,
                 QByteArray("created: /tmp/plain.dmg\n"));
        const QByteArray noSpace = "hdiutil: create failed - No space left on device\n";
        const QList<QPair<QStringList, QByteArray>> refused = {
            {{"create", "/tmp/plain.dmg", "-size", "1m"}, "hdiutil: create failed - File exists\n"},
            // More than the volume it is written to can hold.
            {{"create", "/Volumes/SMALL/big.dmg", "-volname", "Big", "-size", "2g", "-fs", "HFS+"}, noSpace},
            // A source folder larger than the image.
            {{"create", "/tmp/small.dmg", "-volname", "Tiny", "-size", "1000000", "-srcfolder", "/tmp/src"},
             "could not access /Volumes/Tiny/blob.bin - No space left on device\n" + noSpace},
            // A name the FAT32 driver refuses.
            {{"create", "/Volumes/SMALL/at 10:00.dmg", "-size", "1m"},
             "hdiutil: create failed - Invalid argument\n"},
            {{"create", "/nowhere/x.dmg", "-size", "1m"},
             "hdiutil: create failed - No such file or directory\n"},
            // Peta- and exabytes are units too: far beyond the machine's free space.
            {{"create", "/tmp/huge.dmg", "-size", "1p"}, noSpace},
            {{"create", "/tmp/huge.dmg", "-size", "2E"}, noSpace},
            {{"attach", "/tmp/not.dmg"}, "hdiutil: attach failed - image not recognized\n"},
        };
        for (const auto& [args, err] : refused) {
            const bool existed = QFileInfo::exists(mac->host(args.at(1)));
            const EmulatedMac::Run r = mac->run("hdiutil", args);
            QVERIFY2(r.code == 1, qPrintable(args.join(' ')));
            QCOMPARE(r.err, err);
            QCOMPARE(QFileInfo::exists(mac->host(args.at(1))), existed);
        }
        // Each file system asked for is the one the image's volume gets.
        for (const QString fs : {"ExFAT", "MS-DOS FAT32"}) {
            const QString image = QStringLiteral("/tmp/%1.dmg").arg(fs.left(5));
            const QString volume = QStringLiteral("FS%1").arg(fs.left(2));
            for (const QStringList& args :
                 {QStringList{"create", image, "-volname", volume, "-size", "10m", "-fs", fs},
                  QStringList{"attach", image}})
                QCOMPARE(mac->run("hdiutil", args).code, 0);
            QCOMPARE(infoText(*mac, "/Volumes/" + volume, "FilesystemName"), fs);
        }
    }

    // zip, the real archiver run on the Mac's paths, is TestMakeDmg::archivesUnzipToTheSelection's.
    void toolsOnTheMachinesPath() {
        const EmulatedMac::Run r = mac->run("killall", {"nothing_here"});
        QCOMPARE(r.code, 1);
        QCOMPARE(r.err, QByteArray("No matching processes belonging to you were found\n"));
        QCOMPARE(mac->run("killall", {"mds_stores"}).code, 0);
        QVERIFY(mac->emuctl({"processes"}).code == 0);
        QCOMPARE(mac->run("killall", {"mds_stores"}).code, 1);

        // From a shell on the tools' path: every call is logged with its argv, and chmod works inside
        // the machine, never on the host's own root.
        QDir().mkpath(mac->host("/Tavrill_dmg/inner"));
        QFile::setPermissions(mac->host("/Tavrill_dmg/inner"),
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        QVERIFY(!QFileInfo::exists(QStringLiteral("/Tavrill_dmg")));
        mac->clearLog();
        QProcess shell;
        shell.setProcessEnvironment(Machine::toolEnvironment());
        shell.start(QStringLiteral("/bin/sh"),
                    {"-c", "diskutil info -plist / > /dev/null; diskutil rename disk2s2 "
                           "\"a b\\\"c\"; chmod -R 777 \"/Tavrill_dmg\""});
        QVERIFY(shell.waitForFinished());
        QCOMPARE(shell.exitCode(), 0);
        QCOMPARE(mac->calls("diskutil"), (QList<QStringList>{{"diskutil", "info", "-plist", "/"},
                                                             {"diskutil", "rename", "disk2s2", "a b\"c"}}));
        QVERIFY(QFileInfo(mac->host("/Tavrill_dmg/inner")).permission(QFileDevice::ExeOther));
        QVERIFY(!QFileInfo::exists(QStringLiteral("/Tavrill_dmg")));

        // A logged call's number, now held by a process that started after it (this test), is not
        // that call still running.
        const qint64 self = QCoreApplication::applicationPid();
        QFile log(mac->host("/var/log/emulator.log"));
        QVERIFY(log.open(QIODevice::Append));
        log.write(QStringLiteral(
                      "{\"argv\":[],\"pid\":%1,\"time\":\"2020-01-01T00:00:00.000\",\"tool\":\"hdiutil\"}\n"
                      "{\"argv\":[],\"pid\":%1,\"time\":\"%2\",\"tool\":\"zip\"}\n")
                      .arg(self)
                      .arg(QDateTime::currentDateTime().toString(Qt::ISODateWithMs))
                      .toUtf8());
        log.close();
        QCOMPARE(mac->runningCallPids("hdiutil"), QList<qint64>());
        QCOMPARE(mac->runningCallPids("zip"), QList<qint64>{self});
    }

    void sizesInEachToolsUnits() {
        // Scenarios: decimal units with or without B, or bytes.
        const QList<QPair<QByteArray, qint64>> scenarioSizes = {
            {"\"16GB\"", 16000000000LL}, {"\"16g\"", 16000000000LL}, {"\"1.5TB\"", 1500000000000LL},
            {"\"500MB\"", 500000000LL},  {"\"2048B\"", 2048},        {"123456789", 123456789}};
        QByteArray disks;
        for (const auto& [size, bytes] : scenarioSizes)
            disks += QByteArray(disks.isEmpty() ? "" : ",") + R"({"scheme": "", "size": )" + size + "}";
        mac.reset();
        mac = VolumesTestKit::machine("10.15.7", disks);
        QVERIFY(mac->isValid());
        for (qsizetype i = 0; i < scenarioSizes.size(); ++i)
            QCOMPARE(mac->diskInfo(QStringLiteral("disk%1").arg(i + 2)).value("Size").toLongLong(),
                     scenarioSizes.at(i).second);

        // hdiutil: binary units, b for 512-byte sectors; resize -limits prints the capacity in sectors.
        const QList<QPair<const char*, QByteArray>> imageSizes = {
            {"2048b", "2048"}, {"1m", "2048"}, {"1M", "2048"}, {"1g", "2097152"}, {"1000000", "1953"}};
        for (const auto& [size, sectors] : imageSizes) {
            QCOMPARE(mac->run("hdiutil", {"create", "/tmp/s.dmg", "-ov", "-size", size}).code, 0);
            const QList<QByteArray> limits =
                mac->run("hdiutil", {"resize", "-limits", "/tmp/s.dmg"}).out.trimmed().split('\t');
            QCOMPARE(limits.value(1), sectors);
        }
    }

    void faultKnobs() {
        const char* const faults[] = {
            R"({"tool":"diskutil","verb":"info","device":"disk3s1","mode":"garbage"})",
            R"({"tool":"diskutil","verb":"info","device":"disk4s2","mode":"truncated"})",
            R"({"tool":"diskutil","verb":"info","device":"disk5s1","mode":"silent","times":1})",
            // (Escaped, not raw: an apostrophe inside a raw string trips the meta-object compiler.)
            "{\"tool\":\"diskutil\",\"verb\":\"list\",\"mode\":\"fail\","
            "\"message\":\"Error: -69877: Couldn't open device\",\"exit\":3}",
            R"({"tool":"diskutil","verb":"info","device":"disk2s2","mode":"hang","seconds":1,"times":1})"};
        for (const char* fault : faults)
            QVERIFY(mac->addFault(fault));
        const EmulatedMac::Run garbage = mac->run("diskutil", {"info", "-plist", "disk3s1"});
        QVERIFY(!garbage.out.isEmpty());
        QVERIFY(!PropertyList::dictionaryFromBytes(garbage.out));
        const EmulatedMac::Run cut = mac->run("diskutil", {"info", "-plist", "/dev/disk4s2"});
        QVERIFY(cut.out.startsWith("<?xml"));
        QVERIFY(!PropertyList::dictionaryFromBytes(cut.out));
        QVERIFY(mac->run("diskutil", {"info", "-plist", "disk5s1"}).out.isEmpty());
        QCOMPARE(infoText(*mac, "disk5s1", "VolumeName"), QStringLiteral("WINDOWS"));
        const EmulatedMac::Run failed = mac->run("diskutil", {"list", "-plist"});
        QCOMPARE(failed.code, 3);
        QCOMPARE(failed.err, QByteArray("Error: -69877: Couldn't open device\n"));
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(infoText(*mac, "disk2s2", "VolumeName"), QStringLiteral("Data"));
        QVERIFY(clock.elapsed() >= 900);
        // Other devices and verbs answer normally.
        QCOMPARE(infoText(*mac, "disk6s1", "VolumeName"), QStringLiteral("SMALL"));
        QCOMPARE(mac->emuctl({"clear-faults"}).code, 0);
        QVERIFY(!mac->diskList().isEmpty());
    }

    void plugAndUnplugAlsoConcurrently() {
        const QByteArray disk =
            R"({"name":"kingston","mediaName":"Kingston DataTraveler","size":"32GB","scheme":"MBR",
            "partitions":[{"fs":"FAT32","name":"KINGSTON","seed":{"files":3,"size":100}}]})";
        const QString id = mac->plug(disk);
        QCOMPARE(id, QStringLiteral("disk8"));
        QVERIFY(isWholeDisk(*mac, id));
        QVERIFY(mac->mountTable().contains("/dev/disk8s1 /Volumes/KINGSTON msdos rw,"));
        QCOMPARE(QDir(mac->host("/Volumes/KINGSTON")).entryList(QDir::Files).size(), 3);
        QCOMPARE(infoText(*mac, id, "IORegistryEntryName"), QStringLiteral("Kingston DataTraveler Media"));

        QVERIFY(mac->unplug("kingston"));
        QVERIFY(!isWholeDisk(*mac, id));
        QVERIFY(!mac->mountTable().contains("KINGSTON"));
        QVERIFY(!QFileInfo::exists(mac->host("/Volumes/KINGSTON")));
        QVERIFY(!mac->unplug("kingston"));
        // Plugged again, the disk comes back with a fresh number.
        QCOMPARE(mac->plug(disk), QStringLiteral("disk9"));

        // Disks plugged while the disk tool lists them, several at once: every answer is whole.
        QList<QProcess*> running;
        for (int i = 0; i < 8; ++i) {
            auto* p = new QProcess;
            const QString disk = QStringLiteral(R"({"mediaName":"Stick %1","size":"8GB","scheme":"MBR",)"
                                                R"("partitions":[{"fs":"FAT32","name":"S%1"}]})")
                                     .arg(i);
            p->start(mac->host("/usr/local/bin/emuctl"), {QStringLiteral("plug"), disk});
            running << p;
            auto* reader = new QProcess;
            reader->start(mac->host("/usr/sbin/diskutil"), {"list", "-plist"});
            running << reader;
        }
        for (QProcess* p : running) {
            QVERIFY(p->waitForFinished(30000));
            QCOMPARE(p->exitCode(), 0);
            if (p->arguments().first() == QLatin1String("list"))
                QVERIFY(PropertyList::dictionaryFromBytes(p->readAllStandardOutput()).has_value());
            delete p;
        }
        const QStringList whole = mac->diskList().value("WholeDisks").toStringList();
        QCOMPARE(whole.size(), 8 + 1 + 8);
        for (int i = 0; i < 8; ++i)
            QVERIFY(QFileInfo(mac->host(QStringLiteral("/Volumes/S%1").arg(i))).isDir());
    }
};

TAVRILL_TEST_MAIN(TestEmulator)

#include "tst_emulator.moc"
