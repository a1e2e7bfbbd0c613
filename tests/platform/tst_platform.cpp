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
#include <tuple>

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

        // A full last batch is followed by an empty one; an empty folder gives one empty batch.
        for (const auto& [files, expected] :
             {std::pair{40, QList<int>{40, 0}}, std::pair{0, QList<int>{0}}}) {
            QTemporaryDir other;
            for (int i = 0; i < files; ++i)
                write(other.filePath(QStringLiteral("f%1").arg(i)), 1);
            DirectoryBatchReader otherReader(other.path());
            sizes.clear();
            QCOMPARE(readAll(otherReader, &sizes, &last).size(), files);
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

    void copiesTreesAndSingleItemsWithDataModesTimesAndLinks() {
        QTemporaryDir dir;
        const QString source = dir.filePath("source");
        buildSampleTree(source);
        QString error;
        QVERIFY2(copyItem(source, dir.filePath("copy"), &error), qPrintable(error));
        const QStringList differences = compareTrees(source, dir.filePath("copy"));
        QVERIFY2(differences.isEmpty(), qPrintable(differences.join('\n')));

        // The comparison itself notices a difference.
        writeHostFile(dir.filePath("copy/docs/a/b/deep.txt"), QByteArray(5000, 'e'));
        QVERIFY(!compareTrees(source, dir.filePath("copy")).isEmpty());

        // Single items, and refusals.
        writeHostFile(dir.filePath("one.txt"), "single");
        setMode(dir.filePath("one.txt"), 0604);
        setModificationTime(dir.filePath("one.txt"), 1000000000, 42);
        QVERIFY(copyItem(dir.filePath("one.txt"), dir.filePath("two.txt"), nullptr));
        QVERIFY(compareTrees(dir.filePath("one.txt"), dir.filePath("two.txt")).isEmpty());
        QVERIFY(makeLink("one.txt", dir.filePath("link")));
        QVERIFY(copyItem(dir.filePath("link"), dir.filePath("link-copy"), nullptr));
        QVERIFY(compareTrees(dir.filePath("link"), dir.filePath("link-copy")).isEmpty());

        // An existing destination, file or folder, is refused and kept.
        writeHostFile(dir.filePath("b"), "old");
        QVERIFY(!copyItem(dir.filePath("one.txt"), dir.filePath("b"), &error));
        QVERIFY(error.contains(dir.filePath("one.txt")));
        QCOMPARE(readHostFile(dir.filePath("b")), QByteArray("old"));
        QDir(dir.path()).mkpath("folder");
        QVERIFY(!copyItem(dir.filePath("one.txt"), dir.filePath("folder"), nullptr));

        // A missing source says so and makes nothing.
        error.clear();
        QVERIFY(!copyItem(dir.filePath("nothing"), dir.filePath("nothing-copy"), &error));
        QVERIFY(!error.isEmpty());
        QVERIFY(!QFileInfo::exists(dir.filePath("nothing-copy")));
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

        // A throttled volume takes data at its pace: one volume of its own, then every other
        // writable volume; a stop ends a slow write at once.
        const auto pace = [](const char* item) {
            return DiskArbitration::fileSystemInfoForItem(QString::fromLatin1(item)).writeBytesPerSecond;
        };
        QCOMPARE(mac->emuctl({"throttle", "STICK", "4MB"}).code, 0);
        QCOMPARE((QList<qint64>{pace("/Volumes/STICK/x"), pace("/Volumes/SSD/x")}),
                 (QList<qint64>{4000000, 0}));
        QCOMPARE(mac->emuctl({"throttle", "16MB"}).code, 0);
        QCOMPARE((QList<qint64>{pace("/Volumes/STICK/x"), pace("/Volumes/SSD/x")}),
                 (QList<qint64>{4000000, 16000000}));
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

        // Unthrottled, a copy tells its totals; a cancel once a lone file has begun finishes it.
        QCOMPARE(mac->emuctl({"throttle", "STICK", "0"}).code, 0);
        QCOMPARE(mac->emuctl({"throttle", "0"}).code, 0);
        QCOMPARE((QList<qint64>{pace("/Volumes/STICK/x"), pace("/Volumes/SSD/x")}), (QList<qint64>{0, 0}));
        std::atomic<bool> cancel{false};
        QList<ItemCopyProgress> told;
        control = ItemCopyControl();
        control.cancel = &cancel;
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

    // What the platform layer reads from the emulated Mac's mount table, and what its watcher
    // reports when volumes and disks come and go.
    void volumesFromTheMountTable() {
        auto mac = EmulatedMac::fromScenario(QStringLiteral("demo"));
        QVERIFY2(mac->isValid(), qPrintable(mac->error()));
        const QString spaced = mac->plug(R"({"mediaName":"Kingston DT","size":"32GB","scheme":"MBR",)"
                                         R"("partitions":[{"fs":"FAT32","name":"MY STICK"}]})");
        QVERIFY(!spaced.isEmpty());

        const QString system = deviceOf(*mac, "/");
        QVERIFY(QDir().mkpath(mac->host("/Volumes/STICK/Folder")));
        for (const auto& [path, device] : {std::pair{"/Volumes/MY STICK", spaced + "s1"},
                                           {"/Volumes/MY STICK/", spaced + "s1"},
                                           {"/Volumes/Macintosh HD", system},
                                           {"/", system},
                                           {"/Volumes/STICK/Folder", QString()},
                                           {"/Volumes/Nothing", QString()}})
            QCOMPARE(DiskArbitration::bsdNameForVolumePath(path), device);

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
            QCOMPARE(std::tuple(byDevice.type, byDevice.size, byDevice.displayName),
                     std::tuple(byPath.type, byPath.size, byPath.displayName));
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
    // let through, output while the tool runs, and Tavrill's end that stops the root tool.
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
        const std::optional<PrivilegedCommand> c =
            tool == QLatin1String("asr") ? PrivilegedCommand::restore(args.value(0), args.value(1))
                                         : PrivilegedCommand::diskutil(args);
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

    void tavrillsEndStopsTheRootTool() {
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
                                tavrill.processId());
        QCOMPARE(runner.authorize(QStringLiteral("Tavrill needs it.")), PrivilegedRunner::Answer::Approved);
        QVERIFY(runner.refusal().isEmpty());
        QCOMPARE(mac->calls("osascript").size(), 1);
        QCOMPARE(mac->calls("osascript").first().value(2), runner.script());
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
        QVERIFY(!runner.start(0)); // a command runs once per session

        tavrill.kill();
        tavrill.waitForFinished();
        QVERIFY(waitUntil([&] { return !finished.isEmpty(); }, 15000));
        // Ended by SIGTERM, well before its end, and nothing of it runs any more.
        QCOMPARE(finished.first().at(0).toInt(), 15);
        QCOMPARE(finished.first().at(1).toBool(), false);
        QVERIFY(!output.contains("Restore completed"));
        QVERIFY(mac->runningTools(QStringLiteral("asr")).isEmpty());
    }
};

TAVRILL_TEST(TestPlatform)

#include "tst_platform.moc"
