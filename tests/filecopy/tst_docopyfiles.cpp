#include "tst_docopyfiles.h"

#include "Fixtures.h"
#include "MessageCapture.h"
#include "TestMachine.h"
#include "TreeCompare.h"
#include "VolumesTestKit.h"
#include "Wait.h"
#include "core/MainThread.h"
#include "filecopy/DoCopyFiles.h"
#include "platform/Machine.h"

#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QTest>

namespace {

struct CopyRecorder : DoCopyFilesDelegate {
    QStringList paths;
    QList<float> progress;
    QList<QPair<qint64, qint64>> bytes;
    std::atomic<int> errors{0};
    std::atomic<int> offMainReports{0};
    std::atomic<int> errorsOnMain{0};
    void topCopyFilePath(const QString& path) override {
        if (!isMainThread())
            ++offMainReports;
        paths << path;
    }
    void topCopyProgress(float percent) override {
        if (!isMainThread())
            ++offMainReports;
        progress << percent;
    }
    void topCopyBytes(std::int64_t copied, std::int64_t toCopy) override { bytes.append({copied, toCopy}); }
    void copyFileError() override {
        if (isMainThread())
            ++errorsOnMain;
        ++errors;
    }
};

// Starts a run and waits on the main loop until it and every run it started have ended.
void copyAndWait(const std::shared_ptr<DoCopyFiles>& copier, const FileNodeList& nodes, const QString& to) {
    copier->doCopyFilesWithArr(nodes, to);
    QVERIFY(waitUntil([&] { return copier->activeRuns() == 0; }, 60000));
}

FileNodeList selectedFiles(TestMachine& mac, const QString& folder, int count, int length = 3) {
    FileNodeList nodes;
    for (int i = 0; i < count; ++i) {
        const QString path = QStringLiteral("%1/item%2.txt").arg(folder).arg(i);
        writeSized(mac, path, length);
        nodes << fileNode(path, quint64(length));
    }
    return nodes;
}

const QDateTime when(QDate(2024, 5, 6), QTime(7, 8, 9));

} // namespace

void TestDoCopyFiles::initTestCase() {
    QVERIFY2(Hold::leasesHoldForTemporaryFiles(), "no temporary folder whose file system grants leases");
}

void TestDoCopyFiles::datedFolderOnVolumesSlashAndDesktop() {
    TestMachine mac;
    makeFolder(mac, "/Volumes/Dest");
    const QString onVolume = DoCopyFiles::createCopyFolderWithVolumePath("/Volumes/Dest", when);
    QCOMPARE(onVolume, QStringLiteral("/Volumes/Dest/Tavrill(2024-05-06 07:08:09)"));
    QVERIFY(QFileInfo(mac.host(onVolume)).isDir());

    const QString onSlash = DoCopyFiles::createCopyFolderWithVolumePath("/", when);
    QCOMPARE(onSlash, QStringLiteral("/Tavrill(2024-05-06 07:08:09)"));
    QVERIFY(QFileInfo(mac.host(onSlash)).isDir());

    // Something in the way on a volume: no copy folder, and nothing made elsewhere.
    mac.writeFile("/Volumes/Blocked/Tavrill(2024-05-06 07:08:09)", "a file, not a folder");
    QString error;
    QCOMPARE(DoCopyFiles::createCopyFolderWithVolumePath("/Volumes/Blocked", when, &error), QString());
    QVERIFY(!error.isEmpty());
    QVERIFY(!QFileInfo::exists(mac.host("/Users/tester/Desktop/Tavrill(2024-05-06 07:08:09)")));
    // On the start-up disk the Desktop, which is on that disk, takes it.
    QFile::remove(mac.host(onSlash));
    QDir().rmdir(mac.host(onSlash));
    mac.writeFile(onSlash, "a file, not a folder");
    const QString onDesktop = DoCopyFiles::createCopyFolderWithVolumePath("/", when);
    QCOMPARE(onDesktop, QStringLiteral("/Users/tester/Desktop/Tavrill(2024-05-06 07:08:09)"));
    QVERIFY(QFileInfo(mac.host(onDesktop)).isDir());
}

void TestDoCopyFiles::datedFolderOnFatAndExFatHasNoColons_data() {
    QTest::addColumn<QString>("volume");
    QTest::newRow("FAT32 stick") << "/Volumes/STICK";
    QTest::newRow("ExFAT drive") << "/Volumes/Backup";
}

void TestDoCopyFiles::datedFolderOnFatAndExFatHasNoColons() {
    QFETCH(QString, volume);
    auto mac = VolumesTestKit::machine("10.15.7", VolumesTestKit::usbStick("stick") + ',' +
                                                      VolumesTestKit::twoVolumeDrive());
    QVERIFY2(mac && mac->isValid(), qPrintable(mac ? mac->error() : QString()));
    const QString folder = DoCopyFiles::createCopyFolderWithVolumePath(volume, when);
    QCOMPARE(folder, volume + "/Tavrill(2024-05-06 07.08.09)");
    QVERIFY(QFileInfo(mac->host(folder)).isDir());
}

void TestDoCopyFiles::progressRunsFromTheFloorToHundred() {
    TestMachine mac;
    makeFolder(mac, "/Volumes/Dest/out");
    FileNodeList nodes = selectedFiles(mac, "/Volumes/Src", 4);
    nodes[2]->setState(0); // unselected items still count in the progress
    std::shared_ptr<DoCopyFiles> copier = DoCopyFiles::create();
    CopyRecorder recorder;
    copier->setDelegate(&recorder);
    copyAndWait(copier, nodes, "/Volumes/Dest/out");
    QCOMPARE(recorder.progress, (QList<float>{5, 25, 50, 75, 100}));
    QCOMPARE(recorder.paths,
             (QStringList{"/Volumes/Src/item0.txt", "/Volumes/Src/item1.txt", "/Volumes/Src/item3.txt"}));
    QCOMPARE(listingOrder(mac.host("/Volumes/Dest/out")).size(), 3);
    QVERIFY(!QFileInfo::exists(mac.host("/Volumes/Dest/out/item2.txt")));
    QCOMPARE(recorder.offMainReports.load(), 0);
    // The bytes of the ticked items, of the ticked items' bytes, come last.
    QVERIFY(waitUntil(
        [&] { return !recorder.bytes.isEmpty() && recorder.bytes.last() == qMakePair(9LL, 9LL); }, 5000));

    // Twenty items step by 5 from the floor of 5.
    recorder.progress.clear();
    makeFolder(mac, "/Volumes/Dest/twenty");
    copyAndWait(copier, selectedFiles(mac, "/Volumes/Src20", 20), "/Volumes/Dest/twenty");
    QList<float> expected{5};
    for (int i = 1; i <= 20; ++i)
        expected << float(i * 5);
    QCOMPARE(recorder.progress, expected);
    QCOMPARE(listingOrder(mac.host("/Volumes/Dest/twenty")).size(), 20);

    // With 40 items the first two steps come out at 2 and 5: both are reported as 5.
    recorder.progress.clear();
    makeFolder(mac, "/Volumes/Dest/forty");
    copyAndWait(copier, selectedFiles(mac, "/Volumes/Src40", 40), "/Volumes/Dest/forty");
    QCOMPARE(recorder.progress.size(), 41);
    QCOMPARE(recorder.progress.mid(0, 6), (QList<float>{5, 5, 5, 7, 10, 12}));
    QCOMPARE(recorder.progress.last(), 100.0f);

    // An empty array reports nothing at all.
    recorder.progress.clear();
    copyAndWait(copier, {}, "/Volumes/Dest/out");
    QVERIFY(recorder.progress.isEmpty());
}

void TestDoCopyFiles::collisionsDropTheExtensionAndCount() {
    TestMachine mac;
    mac.writeFile("/Volumes/Src/Report.pdf", "new report");
    mac.writeFile("/Volumes/Dest/out/Report.pdf", "already there");
    std::shared_ptr<DoCopyFiles> copier = DoCopyFiles::create();
    const FileNodeList nodes = {fileNode("/Volumes/Src/Report.pdf", 10)};
    copyAndWait(copier, nodes, "/Volumes/Dest/out");
    QCOMPARE(mac.readFile("/Volumes/Dest/out/Report 1"), QByteArray("new report"));
    QCOMPARE(mac.readFile("/Volumes/Dest/out/Report.pdf"), QByteArray("already there"));
    copyAndWait(copier, nodes, "/Volumes/Dest/out");
    QCOMPARE(mac.readFile("/Volumes/Dest/out/Report 2"), QByteArray("new report"));

    // Exact names only: another case is no collision on a case-sensitive volume.
    QCOMPARE(copier->createFileWithPath("/Volumes/Dest/out", "report.pdf", "report.pdf"),
             QStringLiteral("report.pdf"));
    QCOMPARE(copier->createFileWithPath("/Volumes/Dest/out", "Report.pdf", "Report.pdf"),
             QStringLiteral("Report 3"));
    QCOMPARE(copier->createFileWithPath("/Volumes/Missing", "Report.pdf", "Report.pdf"),
             QStringLiteral("Report.pdf"));
    // A folder collides the same way; a name without extension keeps its whole name.
    makeFolder(mac, "/Volumes/Dest/out/Photos");
    QCOMPARE(copier->createFileWithPath("/Volumes/Dest/out", "Photos", "Photos"), QStringLiteral("Photos 1"));
}

void TestDoCopyFiles::halfSelectedFoldersCopyTheirTickedChildren() {
    TestMachine mac;
    makeFolder(mac, "/Volumes/Dest/out");
    mac.writeFile("/Volumes/Src/Users/a.txt", "ticked");
    mac.writeFile("/Volumes/Src/Users/b.txt", "not ticked");
    mac.writeFile("/Volumes/Src/Users/Shared/c.txt", "deeper ticked");
    mac.writeFile("/Volumes/Src/Users/Shared/d.txt", "deeper not ticked");
    mac.writeFile("/Volumes/Src/Users/whole/e.txt", "in a ticked folder");
    // Ticked, but listed by the destination check: one in a half-ticked folder, one deeper.
    mac.writeFile("/Volumes/Src/Users/Shared/x:y.txt", "left out");
    mac.writeFile("/Volumes/Src/Users/whole/f?.txt", "left out");
    FileNodeRef users = folderNode("/Volumes/Src/Users", 2);
    fileNode("/Volumes/Src/Users/a.txt", 6, 1, users.data());
    fileNode("/Volumes/Src/Users/b.txt", 10, 0, users.data());
    FileNodeRef shared = folderNode("/Volumes/Src/Users/Shared", 2, users.data());
    fileNode("/Volumes/Src/Users/Shared/c.txt", 13, 1, shared.data());
    fileNode("/Volumes/Src/Users/Shared/d.txt", 17, 0, shared.data());
    fileNode("/Volumes/Src/Users/Shared/x:y.txt", 8, 1, shared.data());
    folderNode("/Volumes/Src/Users/whole", 1, users.data());

    std::shared_ptr<DoCopyFiles> copier = DoCopyFiles::create();
    CopyRecorder recorder;
    copier->setDelegate(&recorder);
    copier->setSkippedPaths({"/Volumes/Src/Users/Shared/x:y.txt", "/Volumes/Src/Users/whole/f?.txt"});
    copyAndWait(copier, {users}, "/Volumes/Dest/out");

    QStringList top = listingOrder(mac.host("/Volumes/Dest/out"));
    top.sort();
    QCOMPARE(top, (QStringList{"Shared", "a.txt", "whole"}));
    QCOMPARE(mac.readFile("/Volumes/Dest/out/a.txt"), QByteArray("ticked"));
    QCOMPARE(listingOrder(mac.host("/Volumes/Dest/out/Shared")), QStringList{"c.txt"});
    QCOMPARE(listingOrder(mac.host("/Volumes/Dest/out/whole")), QStringList{"e.txt"});
    QCOMPARE(mac.readFile("/Volumes/Dest/out/whole/e.txt"), QByteArray("in a ticked folder"));
    // One run, one sequence: 100 comes once, when everything is there.
    QCOMPARE(recorder.progress, (QList<float>{5, 100}));
}

void TestDoCopyFiles::cancelHoldsInNestedHalfSelectedFolders() {
    // Top (half) > A (half) > B (half) > b1, b2; then A/a2.txt, Top/t2.txt and other.txt. The
    // copy is held opening b1 (a lease, as in the test above) while the user cancels.
    TestMachine mac;
    makeFolder(mac, "/Volumes/Dest/out");
    for (const char* path : {"Top/A/B/b1.txt", "Top/A/B/b2.txt", "Top/A/a2.txt", "Top/t2.txt", "other.txt"})
        writeSized(mac, QStringLiteral("/Volumes/Src/") + path, 10);
    FileNodeRef top = folderNode("/Volumes/Src/Top", 2);
    FileNodeRef a = folderNode("/Volumes/Src/Top/A", 2, top.data());
    FileNodeRef b = folderNode("/Volumes/Src/Top/A/B", 2, a.data());
    fileNode("/Volumes/Src/Top/A/B/b1.txt", 10, 1, b.data());
    fileNode("/Volumes/Src/Top/A/B/b2.txt", 10, 1, b.data());
    fileNode("/Volumes/Src/Top/A/a2.txt", 10, 1, a.data());
    fileNode("/Volumes/Src/Top/t2.txt", 10, 1, top.data());

    Hold hold(mac.host("/Volumes/Src/Top/A/B/b1.txt"));
    QVERIFY(hold.ok());

    std::shared_ptr<DoCopyFiles> copier = DoCopyFiles::create();
    CopyRecorder recorder;
    copier->setDelegate(&recorder);
    copier->doCopyFilesWithArr({top, fileNode("/Volumes/Src/other.txt", 10)}, "/Volumes/Dest/out");
    QVERIFY(waitUntil([&] { return hold.reached(); }, 20000));
    copier->setIsCancel(true);
    hold.release();
    QVERIFY(waitUntil([&] { return copier->activeRuns() == 0; }, 60000));

    // b1 was finished where the tree puts it; nothing after it started, anywhere.
    QCOMPARE(mac.readFile("/Volumes/Dest/out/A/B/b1.txt").size(), 10);
    QCOMPARE(listingOrder(mac.host("/Volumes/Dest/out")), QStringList{"A"});
    QCOMPARE(listingOrder(mac.host("/Volumes/Dest/out/A")), QStringList{"B"});
    QCOMPARE(listingOrder(mac.host("/Volumes/Dest/out/A/B")), QStringList{"b1.txt"});
    QCOMPARE(recorder.paths, QStringList{"/Volumes/Src/Top/A/B/b1.txt"});
    QVERIFY(!recorder.progress.contains(100.0f));
    QVERIFY(copier->isCancel());
}

void TestDoCopyFiles::skippedItemsAndAbort() {
    TestMachine mac;
    makeFolder(mac, "/Volumes/Dest/out");
    mac.writeFile("/Volumes/Src/folder/keep.txt", "kept");
    mac.writeFile("/Volumes/Src/folder/deep/bad.txt", "left out inside a ticked folder");
    mac.writeFile("/Volumes/Src/bad-top.txt", "left out at the top");
    mac.writeFile("/Volumes/Src/fine.txt", "fine");
    std::shared_ptr<DoCopyFiles> copier = DoCopyFiles::create();
    CopyRecorder recorder;
    copier->setDelegate(&recorder);
    copier->setSkippedPaths({"/Volumes/Src/folder/deep/bad.txt", "/Volumes/Src/bad-top.txt"});
    copyAndWait(copier,
                {folderNode("/Volumes/Src/folder"), fileNode("/Volumes/Src/bad-top.txt", 19),
                 fileNode("/Volumes/Src/fine.txt", 4)},
                "/Volumes/Dest/out");
    QStringList top = listingOrder(mac.host("/Volumes/Dest/out"));
    top.sort();
    QCOMPARE(top, (QStringList{"fine.txt", "folder"}));
    QCOMPARE(listingOrder(mac.host("/Volumes/Dest/out/folder/deep")), QStringList());
    QCOMPARE(mac.readFile("/Volumes/Dest/out/folder/keep.txt"), QByteArray("kept"));
    QCOMPARE(recorder.paths, (QStringList{"/Volumes/Src/folder", "/Volumes/Src/fine.txt"}));
    QCOMPARE(recorder.progress.last(), 100.0f);
    // What is left out is not to do, wherever it is: "kept" and "fine".
    QVERIFY(waitUntil([&] { return copier->bytesToCopy() >= 0; }, 5000));
    QCOMPARE(copier->bytesToCopy(), 8);
    QCOMPARE(copier->bytesCopied(), 8);
    QCOMPARE(copier->filesCopied(), 2);

    // A screen going away: the delegate is cleared and the run aborted while it waits for the
    // main thread, which does not answer here. The run ends anyway, telling nobody.
    CopyRecorder gone;
    std::shared_ptr<DoCopyFiles> second = DoCopyFiles::create();
    second->setDelegate(&gone);
    second->doCopyFilesWithArr(selectedFiles(mac, "/Volumes/Src/more", 5), "/Volumes/Dest/out");
    second->setDelegate(nullptr);
    second->abort();
    QVERIFY(second->waitForRuns(10000));
    QCoreApplication::processEvents();
    QVERIFY(gone.paths.isEmpty() && gone.progress.isEmpty());
    QCOMPARE(gone.errors.load(), 0);
}

void TestDoCopyFiles::cancelDuringALargeItemFinishesItAndStartsNoOther() {
    // The large item is a folder holding a 32 MB file and twenty small ones. The copy is held
    // inside it: the test takes a lease on the entry the copy reaches halfway, so the copy's open
    // of that file waits until the lease is given back. While it waits the user presses Cancel;
    // then the copy goes on. No timing is involved: the lease shows when the copy is waiting.
    TestMachine mac;
    makeFolder(mac, "/Volumes/Dest/out");
    QByteArray large(32 * 1024 * 1024, '\0');
    for (qsizetype i = 0; i < large.size(); i += 4096)
        large[i] = char(i / 4096);
    mac.writeFile("/Volumes/Src/bundle/large.bin", large);
    for (int i = 0; i < 20; ++i)
        writeSized(mac, QStringLiteral("/Volumes/Src/bundle/small%1").arg(i), 100 + i);
    const QStringList order = listingOrder(mac.host("/Volumes/Src/bundle"));
    FileNodeList nodes = {folderNode("/Volumes/Src/bundle")};
    nodes += selectedFiles(mac, "/Volumes/Src", 2);

    const qsizetype held = order.size() / 2;
    Hold hold(mac.host("/Volumes/Src/bundle/" + order[held]));
    QVERIFY(hold.ok());

    std::shared_ptr<DoCopyFiles> copier = DoCopyFiles::create();
    CopyRecorder recorder;
    copier->setDelegate(&recorder);
    copier->doCopyFilesWithArr(nodes, "/Volumes/Dest/out");
    // The lease is being broken once the copy tries to open the held file.
    QVERIFY(waitUntil([&] { return hold.reached(); }, 20000));
    QCOMPARE(listingOrder(mac.host("/Volumes/Dest/out")), QStringList{"bundle"});
    QCOMPARE(listingOrder(mac.host("/Volumes/Dest/out/bundle")).size(), held);
    copier->setIsCancel(true);
    hold.release();
    QVERIFY(waitUntil([&] { return copier->activeRuns() == 0; }, 60000));

    // The folder holds the files before the held one and that one, each whole; nothing after it
    // started, in the folder or beyond.
    QStringList copied = listingOrder(mac.host("/Volumes/Dest/out/bundle"));
    copied.sort();
    QStringList expected = order.mid(0, held + 1);
    expected.sort();
    QCOMPARE(copied, expected);
    qint64 bytes = 0;
    for (const QString& name : expected) {
        QCOMPARE(mac.readFile("/Volumes/Dest/out/bundle/" + name),
                 mac.readFile("/Volumes/Src/bundle/" + name));
        bytes += QFileInfo(mac.host("/Volumes/Src/bundle/" + name)).size();
    }
    QCOMPARE(copier->filesCopied(), held + 1);
    QCOMPARE(copier->bytesCopied(), bytes);
    QCOMPARE(listingOrder(mac.host("/Volumes/Dest/out")), QStringList{"bundle"});
    QCOMPARE(recorder.paths, QStringList{"/Volumes/Src/bundle"});
    QCOMPARE(recorder.progress, (QList<float>{5, 33}));
    QVERIFY(copier->isCancel());
}

void TestDoCopyFiles::missingDestinationIsReported() {
    TestMachine mac;
    const FileNodeList nodes = selectedFiles(mac, "/Volumes/Src", 2);
    std::shared_ptr<DoCopyFiles> copier = DoCopyFiles::create();
    CopyRecorder recorder;
    copier->setDelegate(&recorder);
    copyAndWait(copier, nodes, "/Volumes/Gone/Tavrill(x)");
    // Once, on the main thread, in place of 100; the second item was not tried.
    QCOMPARE(recorder.errors.load(), 1);
    QCOMPARE(recorder.errorsOnMain.load(), 1);
    QCOMPARE(recorder.paths.size(), 1);
    QVERIFY(!QFileInfo::exists(mac.host("/Volumes/Gone")));
    QVERIFY(!recorder.progress.contains(100.0f));

    // An item listed, then deleted, ends the run with the error too, after the others were
    // copied; every item logs its outcome, the failed one at its place.
    makeFolder(mac, "/Volumes/Dest/out");
    FileNodeList withVanished = selectedFiles(mac, "/Volumes/Src", 2);
    withVanished.insert(1, fileNode("/Volumes/Src/vanished.txt", 5));
    CopyRecorder second;
    copier->setDelegate(&second);
    MessageCapture messages;
    copyAndWait(copier, withVanished, "/Volumes/Dest/out");
    const QStringList lines = messages.lines();
    QCOMPARE(lines.size(), 3);
    QVERIFY2(lines[1].startsWith("error--" + mac.host("/Volumes/Src/vanished.txt") + ": "),
             qPrintable(lines[1]));
    QCOMPARE(lines[0], QStringLiteral("error--(null)"));
    QCOMPARE(lines[2], QStringLiteral("error--(null)"));
    QCOMPARE(second.errors.load(), 1);
    QCOMPARE(copier->failedItems(), 1);
    QCOMPARE(second.progress, (QList<float>{5, 33, 66}));
    QCOMPARE(listingOrder(mac.host("/Volumes/Dest/out")).size(), 2);
}

void TestDoCopyFiles::copiedTreeEqualsTheSource() {
    TestMachine mac;
    buildSampleTree(mac.host("/Volumes/Src/project"));
    mac.writeFile("/Volumes/Src/top.txt", "top");
    QVERIFY(makeLink("project/plain.txt", mac.host("/Volumes/Src/top-link")));
    const QString destination = DoCopyFiles::createCopyFolderWithVolumePath("/Volumes/Dest", when);
    std::shared_ptr<DoCopyFiles> copier = DoCopyFiles::create();
    copyAndWait(copier,
                {folderNode("/Volumes/Src/project"), fileNode("/Volumes/Src/top.txt", 3),
                 fileNode("/Volumes/Src/top-link", 17)},
                destination);
    for (const char* item : {"project", "top.txt", "top-link"}) {
        const QStringList differences = compareTrees(mac.host(QStringLiteral("/Volumes/Src/") + item),
                                                     mac.host(destination + "/" + item));
        QVERIFY2(differences.isEmpty(), qPrintable(differences.join('\n')));
    }
    QVERIFY(QFileInfo(mac.host(destination + "/top-link")).isSymLink());
}
