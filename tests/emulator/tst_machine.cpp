#include "tst_machine.h"

#include "EmulatorTestKit.h"
#include "core/PropertyList.h"
#include "platform/Machine.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTest>

void TestEmulatedMachine::swVersByVersion_data() {
    QTest::addColumn<QString>("version");
    QTest::addColumn<QByteArray>("full");
    QTest::newRow("10.15") << "10.15.7"
                           << QByteArray(
                                  "ProductName:\tMac OS X\nProductVersion:\t10.15.7\nBuildVersion:\t19H2\n");
    QTest::newRow("14") << "14.4"
                        << QByteArray(
                               "ProductName:\t\tmacOS\nProductVersion:\t\t14.4\nBuildVersion:\t\t23E214\n");
}

void TestEmulatedMachine::swVersByVersion() {
    QFETCH(QString, version);
    QFETCH(QByteArray, full);
    auto mac = EmulatedMac::fromJson(scenarioJson(version));
    QVERIFY(mac->isValid());
    QCOMPARE(mac->run(QStringLiteral("sw_vers"), {}).out, full);
    QCOMPARE(mac->run(QStringLiteral("sw_vers"), {"-productVersion"}).out, version.toUtf8() + '\n');
}

void TestEmulatedMachine::killallAndTheHostToolWrappers() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    EmulatedMac::Run r = mac->run(QStringLiteral("killall"), {"nothing_here"});
    QCOMPARE(r.code, 1);
    QCOMPARE(r.err, QByteArray("No matching processes belonging to you were found\n"));
    QCOMPARE(mac->run(QStringLiteral("killall"), {"mds_stores"}).code, 0);
    QVERIFY(mac->emuctl({"processes"}).code == 0);
    QCOMPARE(mac->run(QStringLiteral("killall"), {"mds_stores"}).code, 1);

    // zip runs the real archiver on the Mac's paths and prints them as a Mac would.
    r = mac->run(QStringLiteral("zip"), {"-r", "/Users/alex/Desktop/photos.zip", "/Volumes/STICK/Photos"});
    QCOMPARE(r.code, 0);
    QVERIFY2(r.out.startsWith("  adding: Volumes/STICK/Photos/ (stored 0%)\n"
                              "  adding: Volumes/STICK/Photos/IMG_0001.JPG (deflated "),
             r.out.constData());
    QFile archive(mac->host(QStringLiteral("/Users/alex/Desktop/photos.zip")));
    QVERIFY(archive.open(QIODevice::ReadOnly));
    QCOMPARE(archive.read(4), QByteArray("PK\x03\x04", 4));
    r = mac->run(QStringLiteral("zip"), {"-r", "/tmp/none.zip", "/nope.txt"});
    QCOMPARE(r.code, 12);

    // chmod works inside the machine, never on the host's own root.
    QDir().mkpath(mac->host(QStringLiteral("/Tavrill_dmg/inner")));
    QFile::setPermissions(mac->host(QStringLiteral("/Tavrill_dmg/inner")),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    QVERIFY(!QFileInfo::exists(QStringLiteral("/Tavrill_dmg")));
    QProcess shell;
    shell.setProcessEnvironment(Machine::toolEnvironment());
    shell.start(QStringLiteral("/bin/sh"),
                {QStringLiteral("-c"), QStringLiteral("chmod -R 777 \"/Tavrill_dmg\"")});
    QVERIFY(shell.waitForFinished());
    QCOMPARE(shell.exitCode(), 0);
    QVERIFY(QFileInfo(mac->host(QStringLiteral("/Tavrill_dmg/inner"))).permission(QFileDevice::ExeOther));
    QVERIFY(!QFileInfo::exists(QStringLiteral("/Tavrill_dmg")));
}

void TestEmulatedMachine::plugAndUnplugShowAtOnce() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    const QByteArray disk =
        R"({"name":"kingston","mediaName":"Kingston DataTraveler","size":"32GB","scheme":"MBR",
        "partitions":[{"fs":"FAT32","name":"KINGSTON","seed":{"files":3,"size":100}}]})";
    const QString id = mac->plug(disk);
    QCOMPARE(id, QStringLiteral("disk8"));
    QVERIFY(diskList(*mac).value(QStringLiteral("WholeDisks")).toStringList().contains(id));
    QVERIFY(mac->mountTable().contains("/dev/disk8s1 /Volumes/KINGSTON msdos rw,"));
    QCOMPARE(QDir(mac->host(QStringLiteral("/Volumes/KINGSTON"))).entryList(QDir::Files).size(), 3);
    QCOMPARE(diskInfo(*mac, id).value(QStringLiteral("IORegistryEntryName")).toString(),
             QStringLiteral("Kingston DataTraveler Media"));

    QVERIFY(mac->unplug(QStringLiteral("kingston")));
    QVERIFY(!diskList(*mac).value(QStringLiteral("WholeDisks")).toStringList().contains(id));
    QVERIFY(!mac->mountTable().contains("KINGSTON"));
    QVERIFY(!QFileInfo::exists(mac->host(QStringLiteral("/Volumes/KINGSTON"))));
    QVERIFY(!mac->unplug(QStringLiteral("kingston")));
    // Plugged again, the disk comes back with a fresh number.
    QCOMPARE(mac->plug(disk), QStringLiteral("disk9"));
}

void TestEmulatedMachine::faultKnobs() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    QVERIFY(mac->addFault(R"({"tool":"diskutil","verb":"info","device":"disk3s1","mode":"garbage"})"));
    QVERIFY(mac->addFault(R"({"tool":"diskutil","verb":"info","device":"disk4s2","mode":"truncated"})"));
    QVERIFY(
        mac->addFault(R"({"tool":"diskutil","verb":"info","device":"disk5s1","mode":"silent","times":1})"));
    QVERIFY(mac->addFault(
        R"({"tool":"diskutil","verb":"list","mode":"fail","message":"Error: -69877: Couldn't open device","exit":3})"));
    QVERIFY(mac->addFault(
        R"({"tool":"diskutil","verb":"info","device":"disk2s2","mode":"hang","seconds":1,"times":1})"));

    const EmulatedMac::Run garbage = mac->run(QStringLiteral("diskutil"), {"info", "-plist", "disk3s1"});
    QVERIFY(!garbage.out.isEmpty());
    QVERIFY(!PropertyList::dictionaryFromBytes(garbage.out));
    const EmulatedMac::Run cut = mac->run(QStringLiteral("diskutil"), {"info", "-plist", "/dev/disk4s2"});
    QVERIFY(cut.out.startsWith("<?xml"));
    QVERIFY(!PropertyList::dictionaryFromBytes(cut.out));
    QVERIFY(mac->run(QStringLiteral("diskutil"), {"info", "-plist", "disk5s1"}).out.isEmpty());
    QCOMPARE(diskInfo(*mac, QStringLiteral("disk5s1")).value(QStringLiteral("VolumeName")).toString(),
             QStringLiteral("WINDOWS"));
    const EmulatedMac::Run failed = mac->run(QStringLiteral("diskutil"), {"list", "-plist"});
    QCOMPARE(failed.code, 3);
    QCOMPARE(failed.err, QByteArray("Error: -69877: Couldn't open device\n"));
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(diskInfo(*mac, QStringLiteral("disk2s2")).value(QStringLiteral("VolumeName")).toString(),
             QStringLiteral("Data"));
    QVERIFY(clock.elapsed() >= 900);
    // Other devices and verbs answer normally.
    QCOMPARE(diskInfo(*mac, QStringLiteral("disk6s1")).value(QStringLiteral("VolumeName")).toString(),
             QStringLiteral("SMALL"));
    QCOMPARE(mac->emuctl({"clear-faults"}).code, 0);
    QVERIFY(!diskList(*mac).isEmpty());
}

void TestEmulatedMachine::concurrentCallsKeepTheStateWhole() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    QList<QProcess*> running;
    for (int i = 0; i < 8; ++i) {
        auto* p = new QProcess;
        p->start(
            mac->host(QStringLiteral("/usr/local/bin/emuctl")),
            {QStringLiteral("plug"),
             QStringLiteral(
                 R"({"mediaName":"Stick %1","size":"8GB","scheme":"MBR","partitions":[{"fs":"FAT32","name":"S%1"}]})")
                 .arg(i)});
        running << p;
        auto* reader = new QProcess;
        reader->start(mac->host(QStringLiteral("/usr/sbin/diskutil")),
                      {QStringLiteral("list"), QStringLiteral("-plist")});
        running << reader;
    }
    for (QProcess* p : running) {
        QVERIFY(p->waitForFinished(30000));
        QCOMPARE(p->exitCode(), 0);
        if (p->arguments().first() == QLatin1String("list"))
            QVERIFY(PropertyList::dictionaryFromBytes(p->readAllStandardOutput()).has_value());
        delete p;
    }
    const QStringList whole = diskList(*mac).value(QStringLiteral("WholeDisks")).toStringList();
    QCOMPARE(whole.size(), 8 + 8);
    for (int i = 0; i < 8; ++i)
        QVERIFY(QFileInfo(mac->host(QStringLiteral("/Volumes/S%1").arg(i))).isDir());
}

void TestEmulatedMachine::everyCallIsLoggedWithItsArgv() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    mac->clearLog();
    QProcess shell;
    shell.setProcessEnvironment(Machine::toolEnvironment());
    shell.start(QStringLiteral("/bin/sh"),
                {QStringLiteral("-c"),
                 QStringLiteral("diskutil info -plist / > /dev/null; diskutil rename disk2s2 \"a b\\\"c\"")});
    QVERIFY(shell.waitForFinished());
    QCOMPARE(mac->calls(), (QList<QStringList>{{"diskutil", "info", "-plist", "/"},
                                               {"diskutil", "rename", "disk2s2", "a b\"c"}}));
    QCOMPARE(mac->commandLines(QStringLiteral("diskutil")).first(), QStringLiteral("diskutil info -plist /"));
}
