#include "EmulatedMac.h"
#include "TestMain.h"
#include "TreeCompare.h"
#include "VolumesTestKit.h"
#include "Wait.h"
#include "platform/DirectoryBatchReader.h"
#include "platform/DiskArbitration.h"
#include "platform/ItemCopy.h"
#include "platform/PrivilegedRunner.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <thread>

using namespace VolumesTestKit;

namespace {

// Reads a whole folder, recording the size of each batch and its result. Each entry reads as
// folder or not, link or not, and its data length: "d- 0", "-l 3", "-- 7".
QMap<QString, QString> readAll(DirectoryBatchReader& reader, QList<int>* batchSizes,
                               DirectoryBatchReader::ReadResult* last) {
    QMap<QString, QString> seen;
    auto batch = std::make_unique<DirectoryBatch>();
    DirectoryBatchReader::ReadResult result = DirectoryBatchReader::ReadResult::Success;
    while (result == DirectoryBatchReader::ReadResult::Success) {
        result = reader.readBatch(*batch);
        batchSizes->append(batch->count);
        for (int i = 0; i < batch->count; ++i) {
            const DirectoryEntry& e = batch->entries[i];
            seen.insert(e.nameString(), QStringLiteral("%1%2 %3")
                                            .arg(e.isDirectory ? 'd' : '-')
                                            .arg(e.isSymbolicLink ? 'l' : '-')
                                            .arg(e.dataLength));
        }
    }
    *last = result;
    return seen;
}

void write(const QString& path, qsizetype length) {
    QVERIFY(writeHostFile(path, QByteArray(length, 'x')));
}

// The checked command for a tool and its arguments.
std::optional<PrivilegedCommand> command(const QString& tool, const QStringList& args) {
    if (tool == QLatin1String("asr"))
        return PrivilegedCommand::restore(args.value(0), args.value(1));
    return PrivilegedCommand::diskutil(args);
}

} // namespace

class TestPlatform : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void readsBatchesOfFortyWithTypesAndLengths() {
        QTemporaryDir dir;
        for (int i = 0; i < 90; ++i)
            write(dir.filePath(QStringLiteral("file%1").arg(i)), i * 3);
        QDir(dir.path()).mkpath("sub/inner");
        write(dir.filePath("sub/inner/x"), 10);
        write(dir.filePath(".hidden"), 7);
        write(dir.filePath(QString::fromUtf8("caf\xc3\xa9 \xe2\x9c\x93")), 2);
        QVERIFY(makeLink("sub", dir.filePath("to-folder")));
        QVERIFY(makeLink("no/such/thing", dir.filePath("dangling")));
        // 95 entries: two full batches and a last one of 15.

        DirectoryBatchReader reader(dir.path());
        QCOMPARE(reader.status(), DirectoryBatchReader::OpenStatus::Open);
        QList<int> sizes;
        DirectoryBatchReader::ReadResult last;
        QMap<QString, QString> seen = readAll(reader, &sizes, &last);
        QCOMPARE(sizes, (QList<int>{40, 40, 15}));
        QCOMPARE(last, DirectoryBatchReader::ReadResult::NoMoreItems);
        QCOMPARE(seen.size(), 95);
        for (int i = 0; i < 90; ++i)
            QCOMPARE(seen.take(QStringLiteral("file%1").arg(i)), QStringLiteral("-- %1").arg(i * 3));
        // No "." or ".."; a folder's own data length is 0, not its block size; links describe
        // themselves: not a folder, the length of the target text.
        QCOMPARE(seen, (QMap<QString, QString>{{".hidden", "-- 7"},
                                               {QString::fromUtf8("caf\xc3\xa9 \xe2\x9c\x93"), "-- 2"},
                                               {"dangling", "-l 13"},
                                               {"sub", "d- 0"},
                                               {"to-folder", "-l 3"}}));
    }

    void fullLastBatchIsFollowedByAnEmptyEnd() {
        for (const auto& [files, expected] :
             {std::pair{40, QList<int>{40, 0}}, std::pair{0, QList<int>{0}}}) {
            QTemporaryDir dir;
            for (int i = 0; i < files; ++i)
                write(dir.filePath(QStringLiteral("f%1").arg(i)), 1);
            DirectoryBatchReader reader(dir.path());
            QList<int> sizes;
            DirectoryBatchReader::ReadResult last;
            QCOMPARE(readAll(reader, &sizes, &last).size(), files);
            QCOMPARE(sizes, expected);
            QCOMPARE(last, DirectoryBatchReader::ReadResult::NoMoreItems);
        }
    }

    void opensFoldersOnlyAndFollowsOnlyTheUsersLink() {
        QTemporaryDir dir;
        write(dir.filePath("file"), 42);
        QDir(dir.path()).mkpath("folder");
        write(dir.filePath("folder/in"), 1);
        QVERIFY(makeLink("folder", dir.filePath("link")));
        QVERIFY(makeLink("file", dir.filePath("filelink")));

        for (const char* notAFolder : {"file", "filelink"})
            QCOMPARE(DirectoryBatchReader(dir.filePath(notAFolder)).status(),
                     DirectoryBatchReader::OpenStatus::NotAFolder);
        QCOMPARE(DirectoryBatchReader(dir.filePath("missing")).status(),
                 DirectoryBatchReader::OpenStatus::Failed);
        // A path given by the user is followed to the folder it names.
        DirectoryBatchReader viaLink(dir.filePath("link"));
        QCOMPARE(viaLink.status(), DirectoryBatchReader::OpenStatus::Open);
        auto batch = std::make_unique<DirectoryBatch>();
        QCOMPARE(viaLink.readBatch(*batch), DirectoryBatchReader::ReadResult::NoMoreItems);
        QCOMPARE(batch->count, 1);

        ItemInfo info = readItemInfo(dir.filePath("link"), false);
        QVERIFY(info.exists && info.isSymbolicLink && !info.isDirectory);
        info = readItemInfo(dir.filePath("link"), true);
        QVERIFY(info.exists && info.isDirectory && !info.isSymbolicLink);
        QCOMPARE(info.dataLength, quint64(0));
        QCOMPARE(readItemInfo(dir.filePath("filelink"), true).dataLength, quint64(42));
        QCOMPARE(readItemInfo(dir.filePath("filelink"), false).dataLength, quint64(4));
        QVERIFY(!readItemInfo(dir.filePath("missing"), true).exists);

        // Sub-folders open from their parent without following links.
        write(dir.filePath("folder/file"), 1);
        DirectoryBatchReader top(dir.path());
        DirectoryBatchReader sub(top, "folder");
        QCOMPARE(sub.status(), DirectoryBatchReader::OpenStatus::Open);
        sub.readBatch(*batch);
        QCOMPARE(batch->count, 2);
        QVERIFY(DirectoryBatchReader(top, "link").status() != DirectoryBatchReader::OpenStatus::Open);
        QCOMPARE(DirectoryBatchReader(top, "file").status(), DirectoryBatchReader::OpenStatus::NotAFolder);
        QCOMPARE(DirectoryBatchReader(top, "missing").status(), DirectoryBatchReader::OpenStatus::Failed);
    }

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

    void emulatedVolumesRefuseThrottleStopAndCancel() {
        // A FAT32 stick "STICK" and an ExFAT disk "SSD".
        auto mac = machine("10.15.7", usbStick("stick") + "," +
                                          R"({"name":"ssd","size":"64GB","scheme":"GPT",)"
                                          R"("partitions":[{"fs":"ExFAT","name":"SSD"}]})");
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        QTemporaryDir dir;
        // A 5 GB file that takes no room on the host.
        QVERIFY(writeHostFile(dir.filePath("big.bin"), {}));
        QVERIFY(QFile::resize(dir.filePath("big.bin"), 5'000'000'000LL));
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

        // A throttled volume takes data at its pace; a stop ends a slow write at once, a cancel
        // lets the file under way finish.
        const auto line = [&](const QByteArray& mountPoint) {
            for (const QByteArray& l : mac->mountTable().split('\n'))
                if (l.contains(" " + mountPoint + " "))
                    return l;
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

        const QByteArray data(2'000'000, 'd');
        writeHostFile(dir.filePath("two.bin"), data);
        QElapsedTimer clock;
        clock.start();
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

        // A cancel (unlike a stop) finishes the file under way: a third into the first file, that
        // file is finished and no other begins.
        for (const char* name : {"one.bin", "two.bin", "three.bin"})
            writeHostFile(dir.filePath(QStringLiteral("three/") + name), QByteArray(1'000'000, name[1]));

        std::atomic<bool> cancel{false};
        QList<ItemCopyProgress> told;
        control = ItemCopyControl();
        control.cancel = &cancel;
        control.progress = [&](const ItemCopyProgress& progress) {
            told.append(progress);
            if (progress.bytes >= 300'000)
                cancel = true;
        };
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

        QCOMPARE(mac->emuctl({"throttle", "STICK", "0"}).code, 0);
        QCOMPARE(mac->emuctl({"throttle", "0"}).code, 0);
        QVERIFY(!mac->mountTable().contains("throttle="));
    }

    // What the platform layer reads from the emulated Mac's mount table, and what its watcher
    // reports when volumes and disks come and go.
    void volumesFromTheMountTable() {
        auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        const QString spaced = mac->plug(R"({"mediaName":"Kingston DT","size":"32GB","scheme":"MBR",)"
                                         R"("partitions":[{"fs":"FAT32","name":"MY STICK"}]})");
        QVERIFY(!spaced.isEmpty());

        const QString system = deviceOf(*mac, "/");
        QCOMPARE(DiskArbitration::bsdNameForVolumePath("/Volumes/MY STICK"), spaced + QStringLiteral("s1"));
        QCOMPARE(DiskArbitration::bsdNameForVolumePath("/Volumes/MY STICK/"), spaced + QStringLiteral("s1"));
        QCOMPARE(DiskArbitration::bsdNameForVolumePath("/Volumes/Macintosh HD"), system);
        QCOMPARE(DiskArbitration::bsdNameForVolumePath("/"), system);
        QVERIFY(QDir().mkpath(mac->host("/Volumes/STICK/Folder")));
        QVERIFY(DiskArbitration::bsdNameForVolumePath("/Volumes/STICK/Folder").isEmpty());
        QVERIFY(DiskArbitration::bsdNameForVolumePath("/Volumes/Nothing").isEmpty());

        struct Expect {
            const char* path;
            const char* type;
            bool writable;
            const char* name;
        };
        const Expect expected[] = {
            {"/", "apfs", false, "Macintosh HD"},           {"/Volumes/Data", "hfs", true, "Data"},
            {"/Volumes/STICK", "msdos", true, "STICK"},     {"/Volumes/Backup", "exfat", true, "Backup"},
            {"/Volumes/WINDOWS", "ntfs", false, "WINDOWS"}, {"/Volumes/MY STICK", "msdos", true, "MY STICK"}};
        for (const Expect& e : expected) {
            const QString path = QString::fromUtf8(e.path);
            const FileSystemInfo byPath = DiskArbitration::fileSystemInfo(path);
            QVERIFY2(byPath.found, e.path);
            QCOMPARE(byPath.type, QString::fromUtf8(e.type));
            QCOMPARE(byPath.writable, e.writable);
            QCOMPARE(byPath.displayName, QString::fromUtf8(e.name));
            QCOMPARE(byPath.unmountable, path != QLatin1String("/"));
            // The capacity is the tool's TotalSize; the free bytes are below it.
            const QString device = deviceOf(*mac, path);
            QCOMPARE(byPath.size, mac->diskInfo(device).value("TotalSize").toLongLong());
            QVERIFY2(byPath.freeSize > 0 && byPath.freeSize <= byPath.size, e.path);
            // The device node answers the same as the mount path.
            const FileSystemInfo byDevice = DiskArbitration::fileSystemInfo(QStringLiteral("/dev/") + device);
            QVERIFY(byDevice.found);
            QCOMPARE(byDevice.type, byPath.type);
            QCOMPARE(byDevice.size, byPath.size);
            QCOMPARE(byDevice.displayName, byPath.displayName);
        }
        QVERIFY(!DiskArbitration::fileSystemInfo("/dev/disk6s2").found);                   // unformatted
        QVERIFY(!DiskArbitration::fileSystemInfo(QStringLiteral("/dev/") + spaced).found); // a whole disk
        QVERIFY(!DiskArbitration::fileSystemInfo("/Volumes/Nothing").found);

        const QStringList mounted = DiskArbitration::mountedLocalVolumePaths();
        QCOMPARE(mounted.first(), QStringLiteral("/"));
        QCOMPARE(mounted.count(QStringLiteral("/")), 1);
        QCOMPARE(mounted.last(), QStringLiteral("/Volumes/MY STICK")); // mount order
        QVERIFY(mounted.contains("/System/Volumes/Data"));
        QVERIFY(mounted.contains("/Volumes/Archive"));

        // An unmounted volume is gone from every answer.
        mac->run("diskutil", {"unmount", "/Volumes/STICK"});
        QVERIFY(DiskArbitration::bsdNameForVolumePath("/Volumes/STICK").isEmpty());
        QVERIFY(!DiskArbitration::fileSystemInfo("/Volumes/STICK").found);
        QVERIFY(!DiskArbitration::mountedLocalVolumePaths().contains("/Volumes/STICK"));
    }

    void watcherReportsChangesInOrder() {
        auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        QStringList events;
        DiskWatcher watcher;
        for (const auto& [signal, mark] : {std::pair{&DiskWatcher::diskAppeared, "+disk "},
                                           std::pair{&DiskWatcher::diskDisappeared, "-disk "},
                                           std::pair{&DiskWatcher::volumeMounted, "+vol "},
                                           std::pair{&DiskWatcher::volumeUnmounted, "-vol "}})
            QObject::connect(&watcher, signal, [&events, mark](const QString& d) { events << mark + d; });
        QTest::qWait(300);
        QVERIFY2(events.isEmpty(), qPrintable(events.join(QLatin1Char('|')))); // what was there at the start

        QElapsedTimer clock;
        clock.start();
        const QString disk = mac->plug(R"({"mediaName":"Kingston DT","size":"32GB","scheme":"GPT",)"
                                       R"("partitions":[{"fs":"JHFS+","name":"Kingston A"}]})");
        QVERIFY(waitUntil([&] { return events.size() >= 2; }, 1000));
        QCOMPARE(events, QStringList({"+disk " + disk, "+vol /Volumes/Kingston A"}));

        events.clear();
        mac->run("diskutil", {"unmount", "/Volumes/Data"});
        QVERIFY(waitUntil([&] { return events.size() >= 2; }, 1000));
        // Elsewhere than on a Mac a disk is known by its mounted volumes.
        QCOMPARE(events, QStringList({"-vol /Volumes/Data", "-disk disk2"}));

        events.clear();
        QVERIFY(mac->unplug(disk));
        QVERIFY(waitUntil([&] { return events.size() >= 2; }, 1000));
        QCOMPARE(events, QStringList({"-vol /Volumes/Kingston A", "-disk " + disk}));
        QTest::qWait(300);
        QCOMPARE(events.size(), 2); // each change reported once
    }

    // Commands run as root after the administrator dialog, on an emulated Mac: which commands are
    // let through, the dialog's three answers, output while the tool runs, and a stop (asked for,
    // or Tavrill gone) that reaches the root tool.
    void commandChecks_data() {
        QTest::addColumn<QString>("tool");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<bool>("allowed");
        const auto row = [](const char* tag, const char* tool, const QStringList& args, bool allowed) {
            QTest::newRow(tag) << QString(tool) << args << allowed;
        };
        row("restore the system", "asr", {"/", "/Volumes/NewCloneSystem"}, true);
        row("restore a volume", "asr", {"/Volumes/Data", "/Volumes/Backup 1"}, true);
        row("quotes in a name", "asr", {"/", "/Volumes/It's \"$(x)\""}, true);
        row("outside /Volumes", "asr", {"/", "/private/tmp"}, false);
        row("climbs out", "asr", {"/", "/Volumes/../etc"}, false);
        row("dot dot", "asr", {"/", "/Volumes/.."}, false);
        row("line end", "asr", {"/", "/Volumes/a\nb"}, false);
        row("onto itself", "asr", {"/Volumes/A", "/Volumes/A"}, false);
        row("erase a disk", "diskutil", {"eraseDisk", "JHFS+", "NewCloneSystem1", "disk4"}, true);
        row("erase a partition", "diskutil", {"eraseDisk", "JHFS+", "NewCloneSystem", "disk4s2"}, false);
        row("unknown file system", "diskutil", {"eraseDisk", "ZFS", "NewCloneSystem", "disk4"}, false);
        row("shell in a name", "diskutil", {"eraseDisk", "APFS", "a;reboot", "disk4"}, false);
        row("too few", "diskutil", {"eraseDisk", "APFS", "disk4"}, false);
        row("unmount a disk", "diskutil", {"unmountDisk", "/dev/disk4"}, true);
        row("mount a volume", "diskutil", {"mountDisk", "disk4s2"}, true);
        row("mount a path", "diskutil", {"mountDisk", "/Volumes/X"}, false);
        row("another verb", "diskutil", {"rename", "disk4s1", "X"}, false);
    }

    void commandChecks() {
        QFETCH(QString, tool);
        QFETCH(QStringList, args);
        QFETCH(bool, allowed);
        const std::optional<PrivilegedCommand> c = command(tool, args);
        QCOMPARE(c.has_value(), allowed);
        if (!c)
            return;
        if (tool == QLatin1String("asr")) {
            QCOMPARE(c->program(), QStringLiteral("/usr/sbin/asr"));
            QCOMPARE(c->arguments(), (QStringList{"restore", "--source", args.at(0), "--target", args.at(1),
                                                  "--erase", "--noprompt"}));
        } else {
            QCOMPARE(c->program(), QStringLiteral("/usr/sbin/diskutil"));
            QCOMPARE(c->arguments(), args);
        }
    }

    void dialogAnswers_data() {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<int>("expected");
        QTest::addColumn<QString>("refusal");
        QTest::newRow("approved") << "approve" << int(PrivilegedRunner::Answer::Approved) << "";
        QTest::newRow("denied")
            << "deny" << int(PrivilegedRunner::Answer::Denied)
            << "execution error: The administrator user name or password was incorrect. (-60005)";
        QTest::newRow("cancelled") << "cancel" << int(PrivilegedRunner::Answer::Cancelled)
                                   << "execution error: User canceled. (-128)";
    }

    void dialogAnswers() {
        QFETCH(QString, answer);
        QFETCH(int, expected);
        QFETCH(QString, refusal);
        auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        QVERIFY(mac->setAuthorization(answer));
        const QString disk = mac->diskInfo("/Volumes/Backup").value("ParentWholeDisk").toString();
        mac->clearLog();
        PrivilegedRunner runner({*PrivilegedCommand::diskutil({"unmountDisk", "/dev/" + disk})});
        QCOMPARE(int(runner.authorize(QStringLiteral("Tavrill needs it."))), expected);
        QVERIFY2(refusal.isEmpty() ? runner.refusal().isEmpty() : runner.refusal().endsWith(refusal),
                 qPrintable(runner.refusal()));
        QCOMPARE(runner.isAuthorized(), answer == QLatin1String("approve"));
        // The dialog was asked for once, whatever its answer.
        QCOMPARE(mac->calls("osascript").size(), 1);
        QCOMPARE(mac->calls("osascript").first().value(2), runner.script());

        QByteArray output;
        const int code = runner.run(0, &output);
        if (answer != QLatin1String("approve")) {
            QCOMPARE(code, -1);
            QVERIFY(mac->calls("diskutil").isEmpty());
            return;
        }
        QCOMPARE(code, 0);
        QCOMPARE(output, "Unmount of all volumes on " + disk.toUtf8() + " was successful\n");
        QCOMPARE(mac->rootCalls("diskutil"),
                 (QList<QStringList>{{"diskutil", "unmountDisk", "/dev/" + disk}}));
        // A command runs once per session.
        QCOMPARE(runner.run(0, &output), -1);
        runner.end();
        QVERIFY(waitUntil([&] { return mac->runningTools(QStringLiteral("osascript")).isEmpty(); }, 5000));
    }

    void stopReachesTheRootTool_data() {
        QTest::addColumn<bool>("tavrillGone"); // else: Tavrill asks for the stop
        QTest::newRow("stop asked for") << false;
        QTest::newRow("Tavrill gone") << true;
    }

    void stopReachesTheRootTool() {
        QFETCH(bool, tavrillGone);
        // A volume whose name holds what a shell and an AppleScript string would take for their own.
        const QString name = QStringLiteral("Back'up \"$HOME\" \\n");
        auto mac = EmulatedMac::fromJson(
            "{\"version\":\"11.7\",\"asr\":{\"delivery\":\"token\",\"stepDelayMs\":300,\"pieceDelayMs\":0},"
            "\"disks\":[{\"name\":\"stick\",\"mediaName\":\"Stick\",\"size\":\"16GB\",\"scheme\":\"GPT\","
            "\"partitions\":[{\"fs\":\"JHFS+\",\"name\":\"Back'up \\\"$HOME\\\" \\\\n\"}]}]}");
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        const QString target = QStringLiteral("/Volumes/") + name;
        QVERIFY(QFileInfo(mac->host(target)).isDir());

        // The process whose end ends the session: a stand-in for Tavrill.
        QProcess tavrill;
        tavrill.start(QStringLiteral("sleep"), {"60"});
        QVERIFY(tavrill.waitForStarted());
        PrivilegedRunner runner({*PrivilegedCommand::restore(QStringLiteral("/"), target)},
                                tavrillGone ? tavrill.processId() : 0);
        QCOMPARE(runner.authorize(QStringLiteral("Tavrill needs it.")), PrivilegedRunner::Answer::Approved);
        std::unique_ptr<PrivilegedJob> job(runner.start(0));
        QVERIFY(job);
        QByteArray output;
        connect(job.get(), &PrivilegedJob::outputReady, this,
                [&](const QByteArray& chunk) { output += chunk; });
        QSignalSpy finished(job.get(), &PrivilegedJob::finished);
        // The output arrives while the tool copies, not at its end.
        QVERIFY(waitUntil([&] { return output.contains("....20"); }, 30000));
        QVERIFY(job->isRunning());
        QCOMPARE(mac->rootCalls("asr"), (QList<QStringList>{{"asr", "restore", "--source", "/", "--target",
                                                             target, "--erase", "--noprompt"}}));
        QCOMPARE(mac->runningTools(QStringLiteral("asr")).size(), 1);

        if (tavrillGone) {
            tavrill.kill();
            tavrill.waitForFinished();
        } else {
            job->stop();
        }
        QVERIFY(waitUntil([&] { return !finished.isEmpty(); }, 15000));
        // Ended by SIGTERM, well before its end, and nothing of it runs any more.
        QCOMPARE(finished.first().at(0).toInt(), 15);
        QCOMPARE(finished.first().at(1).toBool(), false);
        QVERIFY(!output.contains("Restore completed"));
        QVERIFY(mac->runningTools(QStringLiteral("asr")).isEmpty());
        tavrill.kill();
        tavrill.waitForFinished();
    }
};

TAVRILL_TEST(TestPlatform)

#include "tst_platform.moc"
