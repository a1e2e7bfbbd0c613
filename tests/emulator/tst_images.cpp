#include "tst_images.h"

#include "EmulatorTestKit.h"
#include "TreeCompare.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <utility>

void TestImages::imageRoundTripKeepsTheFiles() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    QVERIFY(writeHostFile(mac->host("/tmp/com.kelvaro.clone/seed.txt"), "seed"));
    const QString image = QStringLiteral("/Users/alex/Desktop/Backup.dmg");
    const QStringList create = {"create",  image,      "-volname",   "TavrillDmg",
                                "-size",   "60000000", "-fs",        "HFS+",
                                "-format", "UDRW",     "-srcfolder", "/tmp/com.kelvaro.clone"};
    const EmulatedMac::Run made = mac->run("hdiutil", create);
    QCOMPARE(made.code, 0);
    QVERIFY2(QRegularExpression(QStringLiteral("^\\.+\ncreated: /Users/alex/Desktop/Backup\\.dmg\n$"))
                 .match(QString::fromUtf8(made.out))
                 .hasMatch(),
             made.out.constData());
    QCOMPARE(QFileInfo(mac->host(image)).size(), 60000000);
    const EmulatedMac::Run exists = mac->run("hdiutil", create);
    QCOMPARE(exists.code, 1);
    QCOMPARE(exists.err, QByteArray("hdiutil: create failed - File exists\n"));

    const EmulatedMac::Run mounted = mac->run("hdiutil", {"mount", image});
    QCOMPARE(mounted.code, 0);
    const QList<QByteArray> lines = mounted.out.split('\n');
    QVERIFY2(QRegularExpression(QStringLiteral("^/dev/disk\\d+ +\tGUID_partition_scheme {10}\t$"))
                 .match(QString::fromUtf8(lines.value(0)))
                 .hasMatch(),
             lines.value(0).constData());
    QVERIFY2(QRegularExpression(QStringLiteral("^/dev/disk\\d+s1 +\tApple_HFS {22}\t/Volumes/TavrillDmg$"))
                 .match(QString::fromUtf8(lines.value(1)))
                 .hasMatch(),
             lines.value(1).constData());
    QCOMPARE(lines.value(0).indexOf('\t'), 20);
    QCOMPARE(readHostFile(mac->host("/Volumes/TavrillDmg/seed.txt")), QByteArray("seed"));
    const QVariantMap volume = mac->diskInfo("TavrillDmg");
    QCOMPARE(volume.value("BusProtocol").toString(), QStringLiteral("Disk Image"));
    QVERIFY(volume.value("FreeSpace").toLongLong() > 50000000);

    // Copy in as the image builder does, then eject by the volume's UUID.
    QVERIFY(writeHostFile(mac->host("/Volumes/TavrillDmg/Photos/a.jpg"), QByteArray(100000, 'j')));
    QVERIFY(QFile::link(QStringLiteral("Photos/a.jpg"), mac->host("/Volumes/TavrillDmg/latest")));
    const EmulatedMac::Run ejected =
        mac->run(QStringLiteral("diskutil"), {"eject", volume.value("VolumeUUID").toString()});
    QCOMPARE(ejected.code, 0);
    QVERIFY(!QFileInfo::exists(mac->host("/Volumes/TavrillDmg")));
    QVERIFY(!mac->mountTable().contains("TavrillDmg"));

    QTemporaryDir inside;
    QVERIFY(mac->extractImage(image, inside.path()));
    QCOMPARE(readHostFile(inside.path() + QStringLiteral("/Photos/a.jpg")), QByteArray(100000, 'j'));
    QCOMPARE(QFileInfo(inside.path() + QStringLiteral("/latest")).symLinkTarget(),
             inside.path() + QStringLiteral("/Photos/a.jpg"));

    // Attaching again shows the files; hdiutil detach writes back too.
    QCOMPARE(mac->run("hdiutil", {"attach", image}).code, 0);
    QCOMPARE(readHostFile(mac->host("/Volumes/TavrillDmg/Photos/a.jpg")).size(), 100000);
    QFile::remove(mac->host("/Volumes/TavrillDmg/seed.txt"));
    const QString dev = infoText(*mac, "TavrillDmg", "ParentWholeDisk");
    const EmulatedMac::Run detached = mac->run("hdiutil", {"detach", "/dev/" + dev});
    QCOMPARE(detached.code, 0);
    QCOMPARE(QString::fromUtf8(detached.out), QStringLiteral("\"%1\" ejected.\n").arg(dev));
    QTemporaryDir after;
    QVERIFY(mac->extractImage(image, after.path()));
    QVERIFY(!QFileInfo::exists(after.path() + QStringLiteral("/seed.txt")));
    QVERIFY(QFileInfo::exists(after.path() + QStringLiteral("/Photos/a.jpg")));
}

void TestImages::createRefusesWhatARealMacRefuses() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    // More than the volume it is written to can hold.
    EmulatedMac::Run r = mac->run("hdiutil", {"create", "/Volumes/SMALL/big.dmg", "-volname", "Big", "-size",
                                              "2g", "-fs", "HFS+", "-format", "UDRW"});
    QCOMPARE(r.code, 1);
    QCOMPARE(r.err, QByteArray("hdiutil: create failed - No space left on device\n"));
    QVERIFY(!QFileInfo::exists(mac->host("/Volumes/SMALL/big.dmg")));
    // A source folder larger than the image.
    QVERIFY(writeHostFile(mac->host("/tmp/src/blob.bin"), QByteArray(3000000, 'b')));
    r = mac->run("hdiutil", {"create", "/tmp/small.dmg", "-volname", "Tiny", "-size", "1000000", "-srcfolder",
                             "/tmp/src"});
    QCOMPARE(r.code, 1);
    QVERIFY(r.err.endsWith("hdiutil: create failed - No space left on device\n"));
    QVERIFY(r.err.contains("could not access /Volumes/Tiny/blob.bin - No space left on device"));
    // A name the FAT32 driver refuses.
    r = mac->run("hdiutil", {"create", "/Volumes/SMALL/at 10:00.dmg", "-size", "1m"});
    QCOMPARE(r.err, QByteArray("hdiutil: create failed - Invalid argument\n"));
    QVERIFY(!QFileInfo::exists(mac->host("/Volumes/SMALL/at 10:00.dmg")));
    // No such folder for the image.
    r = mac->run("hdiutil", {"create", "/nowhere/x.dmg", "-size", "1m"});
    QCOMPARE(r.err, QByteArray("hdiutil: create failed - No such file or directory\n"));
    // Attaching what is not an image.
    QVERIFY(writeHostFile(mac->host("/tmp/not.dmg"), "hello"));
    r = mac->run("hdiutil", {"attach", "/tmp/not.dmg"});
    QCOMPARE(r.code, 1);
    QCOMPARE(r.err, QByteArray("hdiutil: attach failed - image not recognized\n"));
    // The extension is added when missing.
    r = mac->run("hdiutil", {"create", "/tmp/plain", "-size", "1m"});
    QCOMPARE(r.out, QByteArray("created: /tmp/plain.dmg\n"));
    // Each file system asked for is the one the image's volume gets.
    for (const auto& [fs, name] : {std::pair{"ExFAT", "ExFAT"}, std::pair{"MS-DOS FAT32", "MS-DOS FAT32"}}) {
        const QString image = QStringLiteral("/tmp/%1.dmg").arg(QString::fromLatin1(fs).left(5));
        const QString volume = QStringLiteral("FS%1").arg(QString::fromLatin1(fs).left(2));
        QCOMPARE(mac->run("hdiutil", {"create", image, "-volname", volume, "-size", "10m", "-fs", fs}).code,
                 0);
        QCOMPARE(mac->run("hdiutil", {"attach", image}).code, 0);
        QCOMPARE(mac->diskInfo("/Volumes/" + volume).value("FilesystemName"),
                 QVariant(QString::fromLatin1(name)));
    }
}

void TestImages::resizeChangesTheCapacity() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    QCOMPARE(mac->run("hdiutil", {"create", "/tmp/r.dmg", "-volname", "R", "-size", "10m"}).code, 0);
    QCOMPARE(mac->run("hdiutil", {"resize", "-size", "20m", "/tmp/r.dmg"}).code, 0);
    QCOMPARE(QFileInfo(mac->host("/tmp/r.dmg")).size(), 20 * 1048576);
    // An attached image cannot be resized.
    QCOMPARE(mac->run("hdiutil", {"attach", "/tmp/r.dmg"}).code, 0);
    const EmulatedMac::Run busy = mac->run("hdiutil", {"resize", "-size", "30m", "/tmp/r.dmg"});
    QCOMPARE(busy.code, 35);
    QCOMPARE(busy.err, QByteArray("hdiutil: resize: failed. Resource temporarily unavailable (35)\n"));
}
