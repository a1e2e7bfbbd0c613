#include "tst_volumes.h"

#include "TreeCompare.h"
#include "VolumesTestKit.h"
#include "core/QvLog.h"
#include "volumes/VolumeEnumerator.h"

#include <QDir>
#include <QFile>
#include <QTest>

using namespace VolumesTestKit;

namespace {

// The device behind a /Volumes entry, following the system volume's link.
QString deviceOfEntry(const EmulatedMac& mac, const QString& entry) {
    const QFileInfo fi(mac.host("/Volumes/" + entry));
    if (fi.isSymLink())
        return deviceOf(mac, "/");
    return deviceOf(mac, "/Volumes/" + entry);
}

// The calls of a scan before it asks about the drives of what it found (which it does last,
// beginning with the disk layout, unless it has that already).
QList<QStringList> scanCalls(const EmulatedMac& mac, qsizetype count) {
    return mac.calls().mid(0, count);
}

QStringList infoCall(const QString& device) {
    return {QStringLiteral("diskutil"), QStringLiteral("info"), QStringLiteral("-plist"), device};
}

// A record as "name|path|mount point|type|ejects or fixed|total bytes|free bytes|total|free".
QString fieldsOf(const VolumeObjRef& v) {
    if (!v)
        return QStringLiteral("no record");
    return QStringList{v->volumeName(),
                       v->volumePath(),
                       v->volumeMountPoint(),
                       v->volumeType(),
                       v->bCanEject() ? QStringLiteral("ejects") : QStringLiteral("fixed"),
                       QString::number(v->volumeTotalSizeNum()),
                       QString::number(v->volumeFreeSizeNum()),
                       v->volumeTotalSize(),
                       v->volumeFreeSize()}
        .join(QLatin1Char('|'));
}

struct Scan {
    VolumeEnumerator enumerator;
    int shown = 0;
    Scan() {
        enumerator.setShowViewHandler([this] { ++shown; });
    }
};

} // namespace

void TestVolumeEnumerator::mountedScanFollowsVolumesListing() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    const QStringList listing = volumesListing(*mac);
    mac->clearLog();

    Scan scan;
    scan.enumerator.doGetAllVolume_();

    // One "diskutil info -plist <bsd>" per entry, in the directory's order.
    QList<QStringList> expectedCalls;
    QStringList expectedNames;
    for (const QString& entry : listing) {
        expectedCalls << infoCall(deviceOfEntry(*mac, entry));
        if (entry != QLatin1String("WINDOWS")) // NTFS never reaches the picker
            expectedNames << entry;
    }
    QCOMPARE(scanCalls(*mac, expectedCalls.size()), expectedCalls);
    QCOMPARE(mac->calls().value(expectedCalls.size()), QStringList({"diskutil", "list", "-plist"}));
    QCOMPARE(namesOf(scan.enumerator.allVolumeArr()), expectedNames);
    QCOMPARE(scan.shown, 1);

    QCOMPARE(fieldsOf(volumeNamed(scan.enumerator.allVolumeArr(), QStringLiteral("STICK"))),
             QStringLiteral("STICK|/Volumes/STICK|/Volumes/STICK|MS-DOS "
                            "FAT32|ejects|16004757120|15998657638|16.00 GB|16.00 GB"));

    // The system volume reports FreeSpace 0 (an APFS volume): the container's free space stands in.
    const VolumeObjRef system = volumeNamed(scan.enumerator.allVolumeArr(), QStringLiteral("Macintosh HD"));
    QVERIFY(system);
    const QVariantMap systemInfo = mac->diskInfo(deviceOf(*mac, "/"));
    QCOMPARE(systemInfo.value("FreeSpace").toLongLong(), 0);
    QVERIFY(systemInfo.value("APFSContainerFree").toLongLong() > 0);
    // (The runner's own answer files on "/" move the container's free space by a few bytes.)
    QVERIFY(qAbs(system->volumeFreeSizeNum() - systemInfo.value("APFSContainerFree").toLongLong()) <
            1'000'000);
    QCOMPARE(system->volumeMountPoint(), QStringLiteral("/"));
    QVERIFY(!system->bCanEject());

    // A rescan starts from an empty list.
    scan.enumerator.doGetAllVolume_();
    QCOMPARE(namesOf(scan.enumerator.allVolumeArr()), expectedNames);
    QCOMPARE(scan.shown, 2);
}

void TestVolumeEnumerator::volumesLeftOutOfTheScan() {
    auto mac = machine("10.15.7", usbStick("keep") + "," + usbStick("empty") + "," + usbStick("garbled") +
                                      "," + usbStick("failing") + "," +
                                      R"({"name":"win","mediaName":"WD","size":"64GB","scheme":"MBR",)"
                                      R"("partitions":[{"fs":"NTFS","name":"WIN"}]})");
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    // A plain folder in /Volumes is no volume: no device, no tool call.
    QVERIFY(QDir().mkpath(mac->host("/Volumes/Leftover")));
    // The disk tool's answer about a volume, and then about its disk, is garbled or a failure.
    for (const auto& [volume, mode] :
         {std::pair{"/Volumes/GARBLED", "garbage"}, {"/Volumes/FAILING", "fail"}}) {
        const QByteArray device = deviceOf(*mac, QLatin1String(volume)).toUtf8();
        for (const QByteArray& node : {device, device.left(device.lastIndexOf('s'))})
            QVERIFY(mac->addFault(R"({"tool":"diskutil","verb":"info","device":")" + node + R"(","mode":")" +
                                  mode + R"("})"));
    }
    // The platform reports size 0 for EMPTY's file system (written after the faults, which
    // rewrite the mount table).
    const QByteArray emptyDevice = deviceOf(*mac, "/Volumes/EMPTY").toUtf8();
    QVERIFY(!emptyDevice.isEmpty());
    QList<QByteArray> lines = mac->mountTable().split('\n');
    for (QByteArray& line : lines) {
        if (line.startsWith("/dev/" + emptyDevice + ' '))
            line = line.left(line.indexOf("size=")) + "size=0 0 0";
    }
    QVERIFY(writeHostFile(mac->host("/proc/self/mounts"), lines.join('\n')));
    mac->clearLog();

    Scan scan;
    scan.enumerator.doGetAllVolume_();
    QStringList names = namesOf(scan.enumerator.allVolumeArr());
    names.sort();
    QCOMPARE(names, QStringList({"KEEP", "Macintosh HD"}));
    QCOMPARE(scan.shown, 1);
    // Macintosh HD, KEEP, EMPTY, GARBLED, FAILING, WIN; none for Leftover; then the drives.
    QCOMPARE(mac->calls().indexOf(QStringList({"diskutil", "list", "-plist"})), 6);

    // The whole-disk scan leaves out only the disks it got no answer for.
    Scan usb;
    usb.enumerator.QvGetUSBThreadImp();
    QCOMPARE(namesOf(usb.enumerator.allVolumeArr()), QStringList({"keep Media", "empty Media", "WD Media"}));
    QCOMPARE(usb.shown, 1);
}

void TestVolumeEnumerator::lastListingEntryDecidesShowing() {
    // Which of two names a directory lists last depends on the host's file system; find a
    // system-volume name that a ".DS_Store" made after it follows.
    QTemporaryDir probe;
    QString systemName;
    for (int i = 0; i < 40 && systemName.isEmpty(); ++i) {
        const QString candidate =
            i == 0 ? QStringLiteral("Macintosh HD") : QStringLiteral("Mac HD %1").arg(i);
        QDir dir(probe.path());
        dir.removeRecursively();
        QDir().mkpath(probe.path());
        QFile::link(QStringLiteral(".."), probe.path() + QLatin1Char('/') + candidate);
        QFile(probe.path() + QStringLiteral("/.DS_Store")).open(QIODevice::WriteOnly);
        const QStringList order = dir.entryList(
            QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Unsorted);
        if (order.last() == QLatin1String(".DS_Store"))
            systemName = candidate;
    }
    // Hashed directories (ext4, the test machines') list one of forty names before it.
    QVERIFY2(!systemName.isEmpty(),
             "this host's file system never lists .DS_Store after the system volume's link");

    auto mac = machine("10.15.7", {}, "\"system\":{\"name\":\"" + systemName.toUtf8() + "\"}");
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    QFile(mac->host("/Volumes/.DS_Store")).open(QIODevice::WriteOnly);
    QCOMPARE(volumesListing(*mac), QStringList({systemName, ".DS_Store"}));

    Scan scan;
    scan.enumerator.doGetAllVolume_();
    QCOMPARE(namesOf(scan.enumerator.allVolumeArr()), QStringList({systemName}));
    QCOMPARE(scan.shown, 0); // the spinner keeps turning

    // Without the skipped entry last, the list is shown.
    QVERIFY(QFile::remove(mac->host("/Volumes/.DS_Store")));
    scan.enumerator.doGetAllVolume_();
    QCOMPARE(scan.shown, 1);

    // An empty /Volumes never shows anything either.
    QVERIFY(QFile::remove(mac->host("/Volumes/" + systemName)));
    scan.enumerator.doGetAllVolume_();
    QCOMPARE(scan.shown, 1);
    QVERIFY(scan.enumerator.allVolumeArr().isEmpty());
}

void TestVolumeEnumerator::systemVolumeAcrossVersions_data() {
    QTest::addColumn<QByteArray>("version");
    QTest::addColumn<QString>("type");
    QTest::newRow("10.12.6 HFS+ root") << QByteArray("10.12.6") << QStringLiteral("Journaled HFS+");
    QTest::newRow("10.14.6 APFS") << QByteArray("10.14.6") << QStringLiteral("APFS");
    QTest::newRow("10.15.7 system and data") << QByteArray("10.15.7") << QStringLiteral("APFS");
    QTest::newRow("11.7 sealed") << QByteArray("11.7") << QStringLiteral("APFS");
}

void TestVolumeEnumerator::systemVolumeAcrossVersions() {
    QFETCH(QByteArray, version);
    QFETCH(QString, type);
    auto mac =
        machine(version, {}, "\"system\":{\"name\":\"Macintosh HD\",\"size\":\"500GB\",\"used\":\"120GB\"}");
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));

    Scan scan;
    scan.enumerator.doGetAllVolume_();
    QCOMPARE(scan.enumerator.allVolumeArr().size(), 1);
    const VolumeObjRef system = scan.enumerator.allVolumeArr().first();
    QCOMPARE(fieldsOf(system).section(QLatin1Char('|'), 0, 4), "Macintosh HD|/|/|" + type + "|fixed");
    QVERIFY2(system->volumeTotalSizeNum() > 400'000'000'000LL, qPrintable(system->volumeTotalSize()));
    QVERIFY2(system->volumeFreeSizeNum() > 0 && system->volumeFreeSizeNum() < system->volumeTotalSizeNum(),
             qPrintable(system->volumeFreeSize()));
    QCOMPARE(scanCalls(*mac, 1), QList<QStringList>{infoCall(deviceOf(*mac, "/"))});
    QVERIFY(system->drive().startupDisk);
}

void TestVolumeEnumerator::usbScanOffersOnlyPlainUsbDisks() {
    const QByteArray disks =
        "{\"name\":\"internal\",\"bus\":\"SATA\",\"internal\":true,\"ejectable\":false,\"mediaName\":\"HDD\","
        "\"size\":\"1TB\",\"scheme\":\"GPT\",\"partitions\":[{\"fs\":\"JHFS+\",\"name\":\"Inside\"}]}," +
        usbStick("plain") + "," + usbStick("raid", "16GB", ",\"raidMaster\":true") + "," +
        usbStick("locked", "16GB", ",\"coreStorageEncrypted\":true") + "," +
        usbStick("hfsx", "16GB", ",\"content\":\"Apple_HFSX\"") + "," +
        // A mounted disk image that sits on a USB bus: virtual, never a target.
        usbStick("virtual", "16GB", ",\"virtual\":true") + "," +
        "{\"name\":\"nameless\",\"mediaName\":\"\",\"size\":\"8GB\",\"scheme\":\"MBR\","
        "\"partitions\":[{\"fs\":\"ExFAT\",\"name\":\"NONAME\"}]}";
    auto mac = machine("10.15.7", disks,
                       "\"images\":[{\"path\":\"/Users/alex/Disk.dmg\",\"volname\":\"Img\",\"size\":\"100m\","
                       "\"attach\":true}]");
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    const QStringList wholeDisks = mac->diskList().value("WholeDisks").toStringList();
    QVERIFY(wholeDisks.size() >= 9);
    mac->clearLog();

    Scan scan;
    scan.enumerator.QvGetUSBThreadImp();
    QList<QStringList> expected{{"diskutil", "list", "-plist"}};
    for (const QString& disk : wholeDisks)
        expected << infoCall("/dev/" + disk);
    QCOMPARE(scanCalls(*mac, expected.size()), expected);
    QCOMPARE(scan.shown, 1);

    QCOMPARE(namesOf(scan.enumerator.allVolumeArr()), QStringList({"plain Media", "Unknown"}));
    QCOMPARE(fieldsOf(scan.enumerator.allVolumeArr().at(0)),
             deviceOf(*mac, "/Volumes/PLAIN").section(QLatin1Char('s'), 0, 1).prepend("plain Media|") +
                 "|| |ejects|16000000000|0|16.00 GB|0 byte");
    QCOMPARE(fieldsOf(scan.enumerator.allVolumeArr().at(1)).section(QLatin1Char('|'), 3, 5),
             QStringLiteral(" |ejects|8000000000"));
}

void TestVolumeEnumerator::incrementalAddRemoveAndOverlongNames() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    const QString stick = deviceOf(*mac, "/Volumes/STICK");
    const QString windows = deviceOf(*mac, "/Volumes/WINDOWS");
    const QString system = deviceOf(*mac, "/");
    mac->clearLog();

    VolumeEnumerator e;
    e.apperDiskObj(stick.toUtf8().constData());
    QCOMPARE(namesOf(e.allVolumeArr()), QStringList({"STICK"}));
    QCOMPARE(fieldsOf(e.allVolumeArr().first()).section(QLatin1Char('|'), 1, 4),
             "/dev/" + stick + "|/Volumes/STICK|MS-DOS FAT32|ejects");
    // Known by its device node: no second record and no second tool run.
    const qsizetype calls = mac->calls().size();
    e.apperDiskObj(stick.toUtf8().constData());
    QCOMPARE(e.allVolumeArr().size(), 1);
    QCOMPARE(scanCalls(*mac, 1), QList<QStringList>{infoCall(stick)});
    QCOMPARE(mac->calls().size(), calls);

    e.apperDiskObj(windows.toUtf8().constData()); // NTFS
    e.apperDiskObj("disk6s2");                    // unformatted: no VolumeName
    QCOMPARE(e.allVolumeArr().size(), 1);

    // The system volume arrives through its link in /Volumes; this path takes FreeSpace as it is.
    e.apperDiskObj(system.toUtf8().constData());
    QCOMPARE(namesOf(e.allVolumeArr()), QStringList({"STICK", "Macintosh HD"}));
    QCOMPARE(e.allVolumeArr().last()->volumeFreeSizeNum(), 0);

    e.disApperDiskObjWithName("disk42s1");
    QCOMPARE(e.allVolumeArr().size(), 2);
    e.disApperDiskObjWithName(stick.toUtf8().constData());
    QCOMPARE(namesOf(e.allVolumeArr()), QStringList({"Macintosh HD"}));

    // The by-name lookup leaves the unformatted partition out after one tool run.
    mac->clearLog();
    e.getVolumeAllObjWithVolumeName("disk6s2");
    QCOMPARE(e.allVolumeArr().size(), 1);
    QCOMPARE(mac->calls(), QList<QStringList>{infoCall("disk6s2")});

    // A name too long for the command line is logged, not run.
    mac->clearLog();
    QvUninitLog(); // the log reopens inside this machine
    const QByteArray name(60, 'x');
    QVERIFY(!e.getDisjInfo(name.constData()));
    QVERIFY(!e.QvGetDiskInfo(name.constData()));
    QVERIFY(mac->calls().isEmpty());
    QCOMPARE(readHostFile(mac->host("/tmp/Pellory.txt")).count("  diskutil info " + name + " error\n"),
             1); // the whole-disk lookup's
}

void TestVolumeEnumerator::workspaceScan() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY2(mac->isValid(), qPrintable(mac->error()));
    mac->clearLog();

    VolumeEnumerator e;
    e.doGetAllVolume();
    QVERIFY(mac->calls().isEmpty()); // the workspace alone, no tool
    QStringList paths;
    for (const VolumeObjRef& v : e.allVolumeArr()) {
        paths << v->volumePath();
        QCOMPARE(v->volumeMountPoint(), v->volumePath());
        QVERIFY(!v->bCanEject());
    }
    for (const char* p : {"/Volumes/STICK", "/Volumes/Data", "/Volumes/WINDOWS", "/Volumes/Archive"})
        QVERIFY2(paths.contains(QLatin1String(p)), p);
    QCOMPARE(fieldsOf(e.allVolumeArr().first()).section(QLatin1Char('|'), 0, 4),
             QStringLiteral("Macintosh HD|/|/|apfs|fixed"));
    const VolumeObjRef stick = volumeNamed(e.allVolumeArr(), QStringLiteral("STICK"));
    QCOMPARE(fieldsOf(stick).section(QLatin1Char('|'), 0, 5),
             QStringLiteral("STICK|/Volumes/STICK|/Volumes/STICK|msdos|fixed|16004757120"));
    const std::int64_t freeBefore = stick->volumeFreeSizeNum();
    QVERIFY(freeBefore > 0 && freeBefore < stick->volumeTotalSizeNum());

    // A second pass stops at the first record it already has.
    const qsizetype count = e.allVolumeArr().size();
    e.doGetAllVolume();
    QCOMPARE(e.allVolumeArr().size(), count);

    // Free space follows the files stored on the volume.
    QFile big(mac->host("/Volumes/STICK/big.bin"));
    QVERIFY(big.open(QIODevice::WriteOnly));
    QVERIFY(big.resize(1'000'000));
    big.close();
    VolumeEnumerator again;
    again.doGetAllVolume();
    QCOMPARE(volumeNamed(again.allVolumeArr(), QStringLiteral("STICK"))->volumeFreeSizeNum(),
             freeBefore - 1'000'000);
}
