#include "EmulatorTestKit.h"
#include "TreeCompare.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

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
}

void TestImages::refusalsOfARealMac() {
    auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
    QVERIFY(mac->isValid());
    QVERIFY(writeHostFile(mac->host("/tmp/src/blob.bin"), QByteArray(3000000, 'b')));
    QVERIFY(writeHostFile(mac->host("/tmp/not.dmg"), "hello"));
    const QList<QPair<QStringList, QByteArray>> refused = {
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
        const EmulatedMac::Run r = mac->run("hdiutil", args);
        QVERIFY2(r.code == 1, qPrintable(args.join(' ')));
        QCOMPARE(r.err, err);
        QVERIFY(args.first() != QLatin1String("create") || !QFileInfo::exists(mac->host(args.at(1))));
    }
    // The extension is added when missing.
    QCOMPARE(mac->run("hdiutil", {"create", "/tmp/plain", "-size", "1m"}).out,
             QByteArray("created: /tmp/plain.dmg\n"));
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
