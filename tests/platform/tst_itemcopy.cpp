#include "TestMain.h"
#include "TreeCompare.h"
#include "VolumesTestKit.h"
#include "platform/DiskArbitration.h"
#include "platform/ItemCopy.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <thread>

namespace {
// A Mac with a FAT32 stick "STICK" and an ExFAT disk "SSD".
std::unique_ptr<EmulatedMac> stickAndSsd() {
    return VolumesTestKit::machine("10.15.7", VolumesTestKit::usbStick("stick") + "," +
                                                  R"({"name":"ssd","size":"64GB","scheme":"GPT",)"
                                                  R"("partitions":[{"fs":"ExFAT","name":"SSD"}]})");
}
} // namespace

class TestItemCopy : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void copiesATreeWithDataModesTimesAndLinks() {
        QTemporaryDir dir;
        const QString source = dir.filePath("source");
        buildSampleTree(source);
        QString error;
        QVERIFY2(copyItem(source, dir.filePath("copy"), &error), qPrintable(error));
        const QStringList differences = compareTrees(source, dir.filePath("copy"));
        QVERIFY2(differences.isEmpty(), qPrintable(differences.join('\n')));
        // The links really are links in the copy.
        QCOMPARE(QFile::symLinkTarget(dir.filePath("copy/link-relative")), dir.filePath("copy/plain.txt"));
        QVERIFY(QFileInfo(dir.filePath("copy/link-to-folder")).isSymLink());
        QVERIFY(QFileInfo(dir.filePath("copy/link-dangling")).isSymLink());

        // The comparison itself notices a difference.
        writeHostFile(dir.filePath("copy/docs/a/b/deep.txt"), QByteArray(5000, 'e'));
        QVERIFY(!compareTrees(source, dir.filePath("copy")).isEmpty());
    }

    void singleItemsAndRefusals() {
        QTemporaryDir dir;
        writeHostFile(dir.filePath("one.txt"), "single");
        setMode(dir.filePath("one.txt"), 0604);
        setModificationTime(dir.filePath("one.txt"), 1000000000, 42);
        QVERIFY(copyItem(dir.filePath("one.txt"), dir.filePath("two.txt"), nullptr));
        QVERIFY(compareTrees(dir.filePath("one.txt"), dir.filePath("two.txt")).isEmpty());
        QVERIFY(makeLink("one.txt", dir.filePath("link")));
        QVERIFY(copyItem(dir.filePath("link"), dir.filePath("link-copy"), nullptr));
        QVERIFY(QFileInfo(dir.filePath("link-copy")).isSymLink());
        QCOMPARE(QFile::symLinkTarget(dir.filePath("link-copy")), dir.filePath("one.txt"));

        // An existing destination, file or folder, is refused and kept.
        writeHostFile(dir.filePath("b"), "old");
        QString error;
        QVERIFY(!copyItem(dir.filePath("one.txt"), dir.filePath("b"), &error));
        QVERIFY(error.contains(dir.filePath("one.txt")));
        QCOMPARE(readHostFile(dir.filePath("b")), QByteArray("old"));
        QDir(dir.path()).mkpath("folder");
        QVERIFY(!copyItem(dir.filePath("one.txt"), dir.filePath("folder"), nullptr));

        // A missing source says so and makes nothing.
        error.clear();
        QVERIFY(!copyItem(dir.filePath("nothing"), dir.filePath("copy"), &error));
        QVERIFY(!error.isEmpty());
        QVERIFY(!QFileInfo::exists(dir.filePath("copy")));
    }

    void emulatedFatVolumeRefusesWhatFatCannotStore() {
        auto mac = stickAndSsd();
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        QTemporaryDir dir;
        // A 5 GB file that takes no room on the host.
        QFile big(dir.filePath("big.bin"));
        QVERIFY(big.open(QIODevice::WriteOnly));
        QVERIFY(big.resize(5'000'000'000LL));
        big.close();
        writeHostFile(dir.filePath("a:b.txt"), "colon");
        writeHostFile(dir.filePath("folder/ok.txt"), "fine");
        writeHostFile(dir.filePath("folder/what?.txt"), "question mark");

        const QString stick = mac->host("/Volumes/STICK");
        QString error;
        QVERIFY(!copyItem(dir.filePath("big.bin"), stick + "/big.bin", &error));
        QVERIFY2(error.contains("File too large"), qPrintable(error));
        QVERIFY(!QFileInfo::exists(stick + "/big.bin"));
        QVERIFY(!copyItem(dir.filePath("a:b.txt"), stick + "/a:b.txt", &error));
        QVERIFY2(error.contains("Invalid argument"), qPrintable(error));
        // Inside a folder the other entries are copied.
        QVERIFY(!copyItem(dir.filePath("folder"), stick + "/folder", &error));
        QVERIFY(error.endsWith("folder/what?.txt: Invalid argument"));
        QCOMPARE(readHostFile(stick + "/folder/ok.txt"), QByteArray("fine"));
        QVERIFY(!QFileInfo::exists(stick + "/folder/what?.txt"));
        QVERIFY(!makeFolderPath(stick + "/Tavrill(2024-05-06 07:08:09)/inner", &error));
        QVERIFY(!QFileInfo::exists(stick + "/Tavrill(2024-05-06 07:08:09)"));
        QVERIFY(makeFolderPath(stick + "/Tavrill(2024-05-06 07.08.09)/inner", &error));

        // ExFAT takes the large file but not the name; the system volume takes both.
        QVERIFY(copyItem(dir.filePath("big.bin"), mac->host("/Volumes/SSD/big.bin"), nullptr));
        QVERIFY(!copyItem(dir.filePath("a:b.txt"), mac->host("/Volumes/SSD/a:b.txt"), nullptr));
        QVERIFY(copyItem(dir.filePath("a:b.txt"), mac->host("/Users/alex/a:b.txt"), nullptr));

        // What the platform tells of the volumes.
        const FileSystemInfo fat = DiskArbitration::fileSystemInfoForItem("/Volumes/STICK/some/new/file");
        QCOMPARE(fat.type, QStringLiteral("msdos"));
        QCOMPARE(fat.maxFileSize, 4294967295LL);
        QVERIFY(!fat.caseSensitive);
        QCOMPARE(DiskArbitration::fileSystemInfoForItem("/Users/alex").type, QStringLiteral("apfs"));
    }

    void skipsEntriesAndStopsWhenAborted() {
        QTemporaryDir dir;
        writeHostFile(dir.filePath("tree/keep.txt"), "kept");
        writeHostFile(dir.filePath("tree/drop/inner.txt"), "left out");
        writeHostFile(dir.filePath("tree/drop.txt"), "left out too");
        ItemCopyControl control;
        const std::string dropped = QFile::encodeName(dir.filePath("tree/drop")).toStdString();
        control.skip = [&](const std::string& path) { return path == dropped || path == dropped + ".txt"; };
        QString error;
        QVERIFY2(copyItem(dir.filePath("tree"), dir.filePath("copy"), &error, control), qPrintable(error));
        QDir copy(dir.filePath("copy"));
        QCOMPARE(copy.entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{"keep.txt"});

        // A stop asked for before the data moves: no half file is left behind.
        std::atomic<bool> abort{true};
        ItemCopyControl stopped;
        stopped.abort = &abort;
        writeHostFile(dir.filePath("large.bin"), QByteArray(3 << 20, 'x'));
        QVERIFY(!copyItem(dir.filePath("large.bin"), dir.filePath("large-copy.bin"), &error, stopped));
        QVERIFY2(error.contains("canceled"), qPrintable(error));
        QVERIFY(!QFileInfo::exists(dir.filePath("large-copy.bin")));
    }

    void throttledVolumeTakesDataAtItsPace() {
        auto mac = stickAndSsd();
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        const auto line = [&](const QByteArray& mountPoint) {
            for (const QByteArray& l : mac->mountTable().split('\n')) {
                if (l.contains(" " + mountPoint + " "))
                    return l;
            }
            return QByteArray();
        };
        // One volume of its own, then every other writable volume.
        QCOMPARE(mac->emuctl({"throttle", "STICK", "4MB"}).code, 0);
        QVERIFY2(line("/Volumes/STICK").endsWith(",casefold,throttle=4000000 0 0"), line("/Volumes/STICK"));
        QVERIFY(!line("/Volumes/SSD").isEmpty());
        QVERIFY(!line("/Volumes/SSD").contains("throttle"));
        QCOMPARE(mac->emuctl({"throttle", "16MB"}).code, 0);
        QVERIFY(line("/Volumes/SSD").endsWith(",throttle=16000000 0 0"));
        QVERIFY(line("/Volumes/STICK").endsWith(",throttle=4000000 0 0"));
        QCOMPARE(DiskArbitration::fileSystemInfoForItem("/Volumes/STICK/x").writeBytesPerSecond, 4000000LL);
        QVERIFY(mac->emuctl({"throttle", "fast"}).code != 0);

        QTemporaryDir dir;
        const QByteArray data(2'000'000, 'd');
        writeHostFile(dir.filePath("two.bin"), data);
        QElapsedTimer clock;
        clock.start();
        QString error;
        QVERIFY2(copyItem(dir.filePath("two.bin"), mac->host("/Volumes/STICK/two.bin"), &error),
                 qPrintable(error));
        QVERIFY2(clock.elapsed() >= 450, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(readHostFile(mac->host("/Volumes/STICK/two.bin")), data);

        // A stop during a slow write takes effect at once and leaves no half file.
        std::atomic<bool> abort{false};
        ItemCopyControl control;
        control.abort = &abort;
        std::thread stopper([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(150));
            abort = true;
        });
        clock.restart();
        QVERIFY(!copyItem(dir.filePath("two.bin"), mac->host("/Volumes/STICK/again.bin"), &error, control));
        const qint64 took = clock.elapsed();
        stopper.join();
        QVERIFY2(took < 400, qPrintable(QString::number(took)));
        QVERIFY(!QFileInfo::exists(mac->host("/Volumes/STICK/again.bin")));

        QCOMPARE(mac->emuctl({"throttle", "STICK", "0"}).code, 0);
        QCOMPARE(mac->emuctl({"throttle", "0"}).code, 0);
        QVERIFY(!mac->mountTable().contains("throttle="));
    }

    void cancelFinishesTheFileUnderWayAndProgressFollowsIt() {
        auto mac = VolumesTestKit::machine("10.15.7", VolumesTestKit::usbStick("stick"));
        QVERIFY2(mac && mac->isValid(), qPrintable(mac ? mac->error() : QString()));
        QCOMPARE(mac->emuctl({"throttle", "STICK", "4MB"}).code, 0);
        QTemporaryDir dir;
        for (const char* name : {"one.bin", "two.bin", "three.bin"})
            writeHostFile(dir.filePath(QStringLiteral("three/") + name), QByteArray(1'000'000, name[1]));

        // A cancel a third into the first file: that file is finished, no other begins.
        std::atomic<bool> cancel{false};
        QList<ItemCopyProgress> told;
        ItemCopyControl control;
        control.cancel = &cancel;
        control.progress = [&](const ItemCopyProgress& progress) {
            told.append(progress);
            if (progress.bytes >= 300'000)
                cancel = true;
        };
        QString error;
        QVERIFY(!copyItem(dir.filePath("three"), mac->host("/Volumes/STICK/three"), &error, control));
        QVERIFY2(error.endsWith("three: Operation canceled"), qPrintable(error));
        const QStringList copied = QDir(mac->host("/Volumes/STICK/three")).entryList(QDir::Files);
        QCOMPARE(copied.size(), 1);
        QCOMPARE(readHostFile(mac->host("/Volumes/STICK/three/") + copied.first()),
                 readHostFile(dir.filePath("three/") + copied.first()));
        // Told in pieces within the file (a twentieth of a second at 4 MB/s), and once it was done.
        QVERIFY(std::any_of(told.begin(), told.end(), [](const ItemCopyProgress& p) {
            return p.bytes > 0 && p.bytes < 1'000'000 && p.files == 0;
        }));
        QCOMPARE(told.last().bytes, 1'000'000);
        QCOMPARE(told.last().files, 1);

        // Unthrottled, a copy tells its totals too; a cancel once a lone file has begun finishes it.
        told.clear();
        cancel = false;
        writeHostFile(dir.filePath("large.bin"), QByteArray(20'000'000, 'l'));
        control.progress = [&](const ItemCopyProgress& progress) {
            told.append(progress);
            cancel = true;
        };
        QVERIFY2(copyItem(dir.filePath("large.bin"), dir.filePath("large-copy.bin"), &error, control),
                 qPrintable(error));
        QCOMPARE(QFileInfo(dir.filePath("large-copy.bin")).size(), 20'000'000);
        QCOMPARE(told.last().bytes, 20'000'000);
        QCOMPARE(told.last().files, 1);
    }
};

TAVRILL_TEST(TestItemCopy)

#include "tst_itemcopy.moc"
