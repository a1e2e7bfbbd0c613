#include "EmulatorTestKit.h"
#include "TreeCompare.h"

#include <QFileInfo>
#include <QTest>

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
