#include "EmulatorTestKit.h"
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

void TestEmulator::init() {
    // The old machine goes first: one that goes puts back the root that was current when it came.
    mac.reset();
    mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
}

// zip, the real archiver run on the Mac's paths, is TestMakeDmg::archivesUnzipToTheSelection's.
void TestEmulator::toolsOnTheMachinesPath() {
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
    log.write(
        QStringLiteral("{\"argv\":[],\"pid\":%1,\"time\":\"2020-01-01T00:00:00.000\",\"tool\":\"hdiutil\"}\n"
                       "{\"argv\":[],\"pid\":%1,\"time\":\"%2\",\"tool\":\"zip\"}\n")
            .arg(self)
            .arg(QDateTime::currentDateTime().toString(Qt::ISODateWithMs))
            .toUtf8());
    log.close();
    QCOMPARE(mac->runningCallPids("hdiutil"), QList<qint64>());
    QCOMPARE(mac->runningCallPids("zip"), QList<qint64>{self});
}

void TestEmulator::sizesInEachToolsUnits() {
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

void TestEmulator::faultKnobs() {
    const char* const faults[] = {
        R"({"tool":"diskutil","verb":"info","device":"disk3s1","mode":"garbage"})",
        R"({"tool":"diskutil","verb":"info","device":"disk4s2","mode":"truncated"})",
        R"({"tool":"diskutil","verb":"info","device":"disk5s1","mode":"silent","times":1})",
        R"({"tool":"diskutil","verb":"list","mode":"fail","message":"Error: -69877: Couldn't open device","exit":3})",
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

void TestEmulator::plugAndUnplugAlsoConcurrently() {
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
        p->start(
            mac->host("/usr/local/bin/emuctl"),
            {QStringLiteral("plug"),
             QStringLiteral(
                 R"({"mediaName":"Stick %1","size":"8GB","scheme":"MBR","partitions":[{"fs":"FAT32","name":"S%1"}]})")
                 .arg(i)});
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

// An image's round trip (create, mount, copy in, eject, attach again) is
// TestMakeDmg::imageHoldsTheItemsByteForByte's.
void TestEmulator::imageRefusalsOfARealMac() {
    QVERIFY(writeHostFile(mac->host("/tmp/src/blob.bin"), QByteArray(3000000, 'b')));
    QVERIFY(writeHostFile(mac->host("/tmp/not.dmg"), "hello"));
    // The extension is added when missing.
    QCOMPARE(mac->run("hdiutil", {"create", "/tmp/plain", "-size", "1m"}).out,
             QByteArray("created: /tmp/plain.dmg\n"));
    const QList<QPair<QStringList, QByteArray>> refused = {
        {{"create", "/tmp/plain.dmg", "-size", "1m"}, "hdiutil: create failed - File exists\n"},
        // More than the volume it is written to can hold.
        {{"create", "/Volumes/SMALL/big.dmg", "-volname", "Big", "-size", "2g", "-fs", "HFS+", "-format",
          "UDRW"},
         "hdiutil: create failed - No space left on device\n"},
        // A source folder larger than the image.
        {{"create", "/tmp/small.dmg", "-volname", "Tiny", "-size", "1000000", "-srcfolder", "/tmp/src"},
         "could not access /Volumes/Tiny/blob.bin - No space left on device\n"
         "hdiutil: create failed - No space left on device\n"},
        // A name the FAT32 driver refuses.
        {{"create", "/Volumes/SMALL/at 10:00.dmg", "-size", "1m"},
         "hdiutil: create failed - Invalid argument\n"},
        {{"create", "/nowhere/x.dmg", "-size", "1m"}, "hdiutil: create failed - No such file or directory\n"},
        // Peta- and exabytes are units too: far beyond the machine's free space.
        {{"create", "/tmp/huge.dmg", "-size", "1p"}, "hdiutil: create failed - No space left on device\n"},
        {{"create", "/tmp/huge.dmg", "-size", "2E"}, "hdiutil: create failed - No space left on device\n"},
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
        QCOMPARE(mac->run("hdiutil", {"create", image, "-volname", volume, "-size", "10m", "-fs", fs}).code,
                 0);
        QCOMPARE(mac->run("hdiutil", {"attach", image}).code, 0);
        QCOMPARE(infoText(*mac, "/Volumes/" + volume, "FilesystemName"), fs);
    }
}
