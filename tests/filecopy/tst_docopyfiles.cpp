#include "Fixtures.h"
#include "MessageCapture.h"
#include "TestMachine.h"
#include "TestMain.h"
#include "TreeCompare.h"
#include "VolumesTestKit.h"
#include "Wait.h"
#include "core/MainThread.h"
#include "filecopy/DestinationCheck.h"
#include "filecopy/DoCopyFiles.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

#include <sys/stat.h>

namespace {

struct CopyRecorder : DoCopyFilesDelegate {
    QStringList paths;
    QList<float> progress;
    QList<QPair<qint64, qint64>> bytes;
    std::atomic<int> errors{0};
    std::atomic<int> offMainReports{0};
    std::atomic<int> errorsOnMain{0};
    std::atomic<int> verifies{0};
    void topCopyFilePath(const QString& path) override {
        offMainReports += isMainThread() ? 0 : 1;
        paths << path;
    }
    void topCopyProgress(float percent) override {
        offMainReports += isMainThread() ? 0 : 1;
        progress << percent;
    }
    void topCopyBytes(std::int64_t copied, std::int64_t toCopy) override { bytes.append({copied, toCopy}); }
    void copyFileError() override {
        errorsOnMain += isMainThread() ? 1 : 0;
        ++errors;
    }
    void topVerifyStarted() override { ++verifies; }
};

// A test machine with an empty /Volumes/Dest/out and a copier that reports to a recorder.
struct Run {
    TestMachine mac;
    CopyRecorder recorder;
    std::shared_ptr<DoCopyFiles> copier = DoCopyFiles::create();
    Run() {
        makeFolder(mac, "/Volumes/Dest/out");
        copier->setDelegate(&recorder);
    }
    // Starts a copy and waits on the main loop until it and every run it started have ended.
    bool copy(const FileNodeList& nodes, const QString& to = "/Volumes/Dest/out") {
        copier->doCopyFilesWithArr(nodes, to);
        return ended();
    }
    bool ended() {
        return waitUntil([&] { return copier->activeRuns() == 0; }, 60000);
    }
    // The names in a folder of the destination, sorted.
    QStringList out(const QString& below = QString()) const {
        return sortedEntries(mac.host("/Volumes/Dest/out" + below));
    }
};

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

// The inode and the time of the last change of an item (zeros for none): a file written again
// gets new ones.
QPair<qulonglong, qlonglong> identity(const QString& hostPath) {
    struct stat st {};
    (void)::lstat(QFile::encodeName(hostPath).constData(), &st);
    return {qulonglong(st.st_ino), qlonglong(st.st_ctim.tv_sec) * 1000000000LL + st.st_ctim.tv_nsec};
}

// "path kind" for each item the destination check finds, in the order found.
QStringList found(const QList<DestinationCheck::Item>& items) {
    QStringList lines;
    for (const DestinationCheck::Item& item : items)
        lines << item.path + (item.problem == DestinationCheck::Problem::TooLarge      ? " large"
                              : item.problem == DestinationCheck::Problem::RefusedName ? " name"
                                                                                       : " case");
    return lines;
}

} // namespace

// The copy engine: the dated folder, progress, collisions, half-selected folders, cancel,
// failures, Resume, and the check of what the destination cannot store.
class TestDoCopyFiles : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        QVERIFY2(Hold::leasesHoldForTemporaryFiles(), "no temporary folder whose file system grants leases");
    }

    void datedFolderOnAVolumeTheStartUpDiskOrTheDesktop() {
        auto mac = VolumesTestKit::machine("10.15.7", VolumesTestKit::usbStick("stick") + ',' +
                                                          VolumesTestKit::twoVolumeDrive());
        QVERIFY2(mac && mac->isValid(), qPrintable(mac ? mac->error() : QString()));
        const QString name = QStringLiteral("Tavrill(2024-05-06 07:08:09)");
        const QString desktop = mac->host("/Users/alex/Desktop/" + name);
        QVERIFY(writeHostFile(mac->host("/Volumes/Blocked/" + name), "a file, not a folder"));
        // No colons on FAT and ExFAT. Something in the way on a volume: no copy folder, and
        // nothing made elsewhere. On the start-up disk the Desktop, which is on that disk, takes it.
        struct Case {
            QString volume, inTheWay, expected;
        };
        for (const Case& c : {Case{"/Volumes/STICK", "", "/Volumes/STICK/Tavrill(2024-05-06 07.08.09)"},
                              Case{"/Volumes/Backup", "", "/Volumes/Backup/Tavrill(2024-05-06 07.08.09)"},
                              Case{"/", "", "/" + name}, Case{"/Volumes/Blocked", "", ""},
                              Case{"/", "/" + name, "/Users/alex/Desktop/" + name}}) {
            if (!c.inTheWay.isEmpty()) {
                QDir().rmdir(mac->host(c.inTheWay));
                QVERIFY(writeHostFile(mac->host(c.inTheWay), "a file, not a folder"));
            }
            QString error;
            QCOMPARE(DoCopyFiles::createCopyFolderWithVolumePath(c.volume, when, &error), c.expected);
            QVERIFY2(c.expected.isEmpty() ? !error.isEmpty() && !QFileInfo::exists(desktop)
                                          : QFileInfo(mac->host(c.expected)).isDir(),
                     qPrintable(c.volume));
        }
    }

    void progressRunsFromTheFloorToHundred() {
        Run run;
        FileNodeList nodes = selectedFiles(run.mac, "/Volumes/Src", 4);
        nodes[2]->setState(0); // unselected items still count in the progress
        QVERIFY(run.copy(nodes));
        QCOMPARE(run.recorder.progress, (QList<float>{5, 25, 50, 75, 100}));
        QCOMPARE(run.recorder.paths,
                 (QStringList{"/Volumes/Src/item0.txt", "/Volumes/Src/item1.txt", "/Volumes/Src/item3.txt"}));
        QCOMPARE(run.out(), (QStringList{"item0.txt", "item1.txt", "item3.txt"}));
        QCOMPARE(run.recorder.offMainReports.load(), 0);
        // The bytes of the ticked items, of the ticked items' bytes, come last.
        QVERIFY(waitUntil(
            [&] { return !run.recorder.bytes.isEmpty() && run.recorder.bytes.last() == qMakePair(9LL, 9LL); },
            5000));

        // Twenty items step by 5 from the floor of 5 (one report per item, 100 the last). With 40
        // the first two steps come out at 2 and 5: both are reported as 5. An empty array reports
        // nothing at all.
        for (const auto& [count, start] : QList<QPair<int, QList<float>>>{
                 {20, {5, 5, 10, 15, 20, 25, 30}}, {40, {5, 5, 5, 7, 10, 12}}, {0, {}}}) {
            run.recorder.progress.clear();
            const QString to = QStringLiteral("/Volumes/Dest/%1").arg(count);
            makeFolder(run.mac, to);
            QVERIFY(run.copy(selectedFiles(run.mac, QStringLiteral("/Volumes/Src%1").arg(count), count), to));
            QCOMPARE(run.recorder.progress.size(), count ? count + 1 : 0);
            QCOMPARE(run.recorder.progress.mid(0, start.size()), start);
            QCOMPARE(run.recorder.progress.value(count, 100.0f), 100.0f);
            QCOMPARE(listingOrder(run.mac.host(to)).size(), count);
        }
    }

    void collisionsDropTheExtensionAndCount() {
        Run run;
        run.mac.writeFile("/Volumes/Src/Report.pdf", "new report");
        run.mac.writeFile("/Volumes/Dest/out/Report.pdf", "already there");
        QVERIFY(run.copy({fileNode("/Volumes/Src/Report.pdf", 10)}));
        QCOMPARE(run.mac.readFile("/Volumes/Dest/out/Report 1"), QByteArray("new report"));
        QCOMPARE(run.mac.readFile("/Volumes/Dest/out/Report.pdf"), QByteArray("already there"));

        // Exact names only: another case is no collision on a case-sensitive volume. A folder
        // collides the same way; a name without extension keeps its whole name.
        makeFolder(run.mac, "/Volumes/Dest/out/Photos");
        for (const auto& [folder, name, expected] :
             {std::tuple("/Volumes/Dest/out", "report.pdf", "report.pdf"),
              std::tuple("/Volumes/Dest/out", "Report.pdf", "Report 2"),
              std::tuple("/Volumes/Missing", "Report.pdf", "Report.pdf"),
              std::tuple("/Volumes/Dest/out", "Photos", "Photos 1")})
            QCOMPARE(run.copier->createFileWithPath(folder, name, name), QString(expected));
    }

    void halfSelectedFoldersAndLeftOutItems() {
        Run run;
        FileNodeRef users = folderNode("/Volumes/Src/Users", 2);
        writtenNode(run.mac, "/Volumes/Src/Users/a.txt", "ticked", 1, users.data());
        writtenNode(run.mac, "/Volumes/Src/Users/b.txt", "not ticked", 0, users.data());
        FileNodeRef shared = folderNode("/Volumes/Src/Users/Shared", 2, users.data());
        writtenNode(run.mac, "/Volumes/Src/Users/Shared/c.txt", "deeper ticked", 1, shared.data());
        writtenNode(run.mac, "/Volumes/Src/Users/Shared/d.txt", "deeper not ticked", 0, shared.data());
        // Ticked, but listed by the destination check: one in a half-ticked folder, one deep in a
        // ticked folder, one at the top.
        writtenNode(run.mac, "/Volumes/Src/Users/Shared/x:y.txt", "left out", 1, shared.data());
        run.mac.writeFile("/Volumes/Src/Users/whole/deep/f?.txt", "left out");
        run.mac.writeFile("/Volumes/Src/Users/whole/e.txt", "in a ticked folder");
        folderNode("/Volumes/Src/Users/whole", 1, users.data());
        run.copier->setSkippedPaths({"/Volumes/Src/Users/Shared/x:y.txt",
                                     "/Volumes/Src/Users/whole/deep/f?.txt", "/Volumes/Src/bad.txt"});
        QVERIFY(run.copy({users, writtenNode(run.mac, "/Volumes/Src/bad.txt", "left out at the top"),
                          writtenNode(run.mac, "/Volumes/Src/fine.txt", "fine")}));

        QCOMPARE(run.out(), (QStringList{"Shared", "a.txt", "fine.txt", "whole"}));
        QCOMPARE(run.mac.readFile("/Volumes/Dest/out/a.txt"), QByteArray("ticked"));
        QCOMPARE(run.out("/Shared"), QStringList{"c.txt"});
        QCOMPARE(run.out("/whole/deep"), QStringList());
        QCOMPARE(run.mac.readFile("/Volumes/Dest/out/whole/e.txt"), QByteArray("in a ticked folder"));
        // A half-ticked folder's items are reported one by one; a left-out item is not reported.
        QCOMPARE(run.recorder.paths,
                 (QStringList{"/Volumes/Src/Users/a.txt", "/Volumes/Src/Users/Shared/c.txt",
                              "/Volumes/Src/Users/whole", "/Volumes/Src/fine.txt"}));
        QCOMPARE(run.recorder.progress, (QList<float>{5, 33, 66, 100}));
        // What is left out is not to do, wherever it is: a.txt, c.txt, e.txt and fine.txt.
        QVERIFY(waitUntil([&] { return run.copier->bytesToCopy() >= 0; }, 5000));
        QCOMPARE(
            (QList<qint64>{run.copier->bytesToCopy(), run.copier->bytesCopied(), run.copier->filesCopied()}),
            (QList<qint64>{6 + 13 + 18 + 4, 6 + 13 + 18 + 4, 4}));

        // A screen going away: the delegate is cleared and the run aborted while it waits for the
        // main thread, which does not answer here. The run ends anyway, telling nobody.
        CopyRecorder gone;
        std::shared_ptr<DoCopyFiles> second = DoCopyFiles::create();
        second->setDelegate(&gone);
        second->doCopyFilesWithArr(selectedFiles(run.mac, "/Volumes/Src/more", 5), "/Volumes/Dest/out");
        second->setDelegate(nullptr);
        second->abort();
        QVERIFY(second->waitForRuns(10000));
        QCoreApplication::processEvents();
        QVERIFY(gone.paths.isEmpty() && gone.progress.isEmpty());
        QCOMPARE(gone.errors.load(), 0);
    }

    void cancelHoldsInNestedHalfSelectedFolders() {
        // Top (half) > A (half) > B (half) > b1, b2; then A/a2.txt, Top/t2.txt and other.txt. The
        // copy is held opening b1 (a lease: the copy's open waits until it is given back) while
        // the user cancels.
        Run run;
        FileNodeRef top = folderNode("/Volumes/Src/Top", 2);
        FileNodeRef a = folderNode("/Volumes/Src/Top/A", 2, top.data());
        FileNodeRef b = folderNode("/Volumes/Src/Top/A/B", 2, a.data());
        for (const auto& [path, father] : {std::pair("Top/A/B/b1.txt", b), std::pair("Top/A/B/b2.txt", b),
                                           std::pair("Top/A/a2.txt", a), std::pair("Top/t2.txt", top)})
            writtenNode(run.mac, QStringLiteral("/Volumes/Src/") + path, QByteArray(10, 'z'), 1,
                        father.data());
        Hold hold(run.mac.host("/Volumes/Src/Top/A/B/b1.txt"));
        QVERIFY(hold.ok());
        run.copier->doCopyFilesWithArr({top, writtenNode(run.mac, "/Volumes/Src/other.txt", "other")},
                                       "/Volumes/Dest/out");
        QVERIFY(waitUntil([&] { return hold.reached(); }, 20000));
        run.copier->setIsCancel(true);
        hold.release();
        QVERIFY(run.ended());

        // b1 was finished where the tree puts it; nothing after it started, anywhere.
        QCOMPARE(run.mac.readFile("/Volumes/Dest/out/A/B/b1.txt").size(), 10);
        QCOMPARE(run.out() + run.out("/A") + run.out("/A/B"), (QStringList{"A", "B", "b1.txt"}));
        QCOMPARE(run.recorder.paths, QStringList{"/Volumes/Src/Top/A/B/b1.txt"});
        QVERIFY(!run.recorder.progress.contains(100.0f));
        QVERIFY(run.copier->isCancel());
    }

    void failedItemsAreReported() {
        // A destination that is not there: once, on the main thread, in place of 100; the second
        // item is not tried.
        Run run;
        QVERIFY(run.copy(selectedFiles(run.mac, "/Volumes/Src", 2), "/Volumes/Gone/Tavrill(x)"));
        // errors, of them on the main thread, items reported
        QCOMPARE((QList<int>{run.recorder.errors, run.recorder.errorsOnMain, int(run.recorder.paths.size())}),
                 (QList<int>{1, 1, 1}));
        QVERIFY(!QFileInfo::exists(run.mac.host("/Volumes/Gone")));
        QVERIFY(!run.recorder.progress.contains(100.0f));

        // An item listed, then deleted, ends the run with the error too, after the others were
        // copied; every item logs its outcome, the failed one at its place.
        FileNodeList withVanished = selectedFiles(run.mac, "/Volumes/Src", 2);
        withVanished.insert(1, fileNode("/Volumes/Src/vanished.txt", 5));
        run.recorder.progress.clear();
        MessageCapture messages;
        QVERIFY(run.copy(withVanished));
        const QStringList lines = messages.lines();
        QCOMPARE(lines.size(), 3);
        QVERIFY2(lines[1].startsWith("error--" + run.mac.host("/Volumes/Src/vanished.txt") + ": "),
                 qPrintable(lines[1]));
        QCOMPARE(QStringList({lines[0], lines[2]}), QStringList({"error--(null)", "error--(null)"}));
        QCOMPARE(run.recorder.errors.load(), 2);
        QCOMPARE(run.copier->failedItems(), 1);
        QCOMPARE(run.recorder.progress, (QList<float>{5, 33, 66}));
        QCOMPARE(run.out().size(), 2);
    }

    void resumeRecopiesOnlyWhatIsMissingOrCutShort() {
        Run run;
        const QString source = run.mac.host("/Volumes/Src/Work");
        writeHostFile(source + "/a.txt", "alpha");
        writeHostFile(source + "/b.txt", "bravo");
        writeHostFile(source + "/Photos/c.jpg", QByteArray(200000, 'c'));
        writeHostFile(source + "/Photos/d.jpg", QByteArray(150000, 'd'));
        writeHostFile(source + "/big.bin", QByteArray(2'000'000, 'b'));
        run.copier->setVerify(true);
        QVERIFY(run.copy({folderNode("/Volumes/Src/Work")}));
        QCOMPARE(run.recorder.progress.last(), 100.0f);

        // A file cut short (its time is the moment of the cut), one missing; the rest complete.
        const QString copy = run.mac.host("/Volumes/Dest/out/Work");
        QVERIFY(QFile::resize(copy + "/Photos/c.jpg", 1000));
        QVERIFY(QFile::remove(copy + "/b.txt"));
        const QStringList complete{"a.txt", "Photos/d.jpg", "big.bin"};
        QList<QPair<qulonglong, qlonglong>> before;
        for (const QString& file : complete)
            before << identity(copy + '/' + file);
        const auto cutShort = identity(copy + "/Photos/c.jpg");

        run.recorder.progress.clear();
        QVERIFY(run.copier->canResume());
        run.copier->resume();
        QVERIFY(run.ended());
        QVERIFY2(run.recorder.errors == 0,
                 qPrintable(run.copier->resumeProblem() + run.copier->differingFiles().join(',')));
        QCOMPARE(run.recorder.verifies.load(), 2);
        QCOMPARE(run.recorder.progress.last(), 100.0f);
        QCOMPARE(compareTrees(source, copy), QStringList());
        for (qsizetype i = 0; i < complete.size(); ++i)
            QVERIFY2(identity(copy + '/' + complete[i]) == before[i], qPrintable(complete[i]));
        QVERIFY(identity(copy + "/Photos/c.jpg") != cutShort);

        // One receipt, a line per file, the resume and the verify noted.
        const QStringList lines =
            QString::fromUtf8(readHostFile(run.mac.host("/Volumes/Dest/out/Tavrill receipt.txt")))
                .split('\n');
        const QRegularExpression fileLine(QStringLiteral("^XXH128 \\((.+)\\) = [0-9a-f]{32}$"));
        QStringList named = lines.filter(fileLine);
        named.replaceInStrings(fileLine, QStringLiteral("\\1"));
        named.sort();
        QCOMPARE(named, (QStringList{"Work/Photos/c.jpg", "Work/Photos/d.jpg", "Work/a.txt", "Work/b.txt",
                                     "Work/big.bin"}));
        QCOMPARE(lines.filter(QRegularExpression("^# Resumed: ")).size(), 1);
        QVERIFY(lines.contains("# Verified: all 5 files (2.35 MB) read back from the destination match."));
    }

    void destinationCheckFindsWhatTheDestinationCannotStore() {
        TestMachine mac;
        QVERIFY(QFile::resize(mac.writeFile("/Volumes/Src/movie.mkv", {}), 5'000'000'000LL)); // sparse
        QVERIFY(QFile::resize(mac.writeFile("/Volumes/Src/exactly4G.bin", {}), 4294967295LL));
        mac.writeFile("/Volumes/Src/whole/fine.txt", "fine");
        mac.writeFile("/Volumes/Src/whole/deeper/what?.txt", "question mark");
        QVERIFY(QFile::resize(mac.writeFile("/Volumes/Src/whole/deeper/disk.img", {}), 4294967296LL));
        FileNodeRef half = folderNode("/Volumes/Src/Half", 2);
        writtenNode(mac, "/Volumes/Src/Half/ticked.txt", "ticked", 1, half.data());
        writtenNode(mac, "/Volumes/Src/Half/untick:ed.txt", "not ticked, not listed", 0, half.data());
        FileNodeRef sub = folderNode("/Volumes/Src/Half/Sub|dir", 2, half.data());
        writtenNode(mac, "/Volumes/Src/Half/Sub|dir/x.txt", "in a half-selected folder with a bad name", 1,
                    sub.data());
        const FileNodeList top = {fileNode("/Volumes/Src/movie.mkv", 5'000'000'000ULL),
                                  fileNode("/Volumes/Src/exactly4G.bin", 4294967295ULL),
                                  writtenNode(mac, "/Volumes/Src/notes 10:30.txt", "colon"),
                                  folderNode("/Volumes/Src/whole"),
                                  half,
                                  fileNode("/Volumes/Src/unticked:top.txt", 1, 0)};
        const auto fat = DestinationCheck::Rules::forFileSystem("msdos", false);
        QStringList lines = found(DestinationCheck::check(top, fat, true));
        // Inside a folder the order is the disk's.
        std::sort(lines.begin() + 2, lines.begin() + 4);
        QCOMPARE(lines,
                 (QStringList{"/Volumes/Src/movie.mkv large", "/Volumes/Src/notes 10:30.txt name",
                              "/Volumes/Src/whole/deeper/disk.img large",
                              "/Volumes/Src/whole/deeper/what?.txt name", "/Volumes/Src/Half/Sub|dir name"}));
        // A stop asked for before the walk finds nothing more.
        std::atomic<bool> stop{true};
        QVERIFY(DestinationCheck::check(top, fat, true, &stop).isEmpty());

        // On a volume that folds case: names that differ in case only.
        mac.writeFile("/Volumes/Src/Proj/a.c", "lower");
        mac.writeFile("/Volumes/Src/Proj/A.c", "upper");
        FileNodeRef docs = folderNode("/Volumes/Src/Docs", 2);
        writtenNode(mac, "/Volumes/Src/Docs/Readme.txt",
                    "lands beside README.TXT: the half-selected Docs is flattened", 1, docs.data());
        writtenNode(mac, "/Volumes/Src/Docs/other.txt", "fine", 1, docs.data());
        const FileNodeList cased = {writtenNode(mac, "/Volumes/Src/README.TXT", "top"), docs,
                                    folderNode("/Volumes/Src/Proj")};
        const auto apfs = DestinationCheck::Rules::forFileSystem("apfs", false);
        lines = found(DestinationCheck::check(cased, apfs, false));
        QCOMPARE(lines.size(), 2);
        QCOMPARE(lines[0], QStringLiteral("/Volumes/Src/Docs/Readme.txt case"));
        QVERIFY(lines[1] == "/Volumes/Src/Proj/a.c case" || lines[1] == "/Volumes/Src/Proj/A.c case");
        // A source that folds case cannot hold both inside a folder; only the top level is compared.
        QCOMPARE(found(DestinationCheck::check(cased, apfs, true)),
                 QStringList{"/Volumes/Src/Docs/Readme.txt case"});
        // A case-sensitive destination takes everything.
        QVERIFY(DestinationCheck::check(cased, DestinationCheck::Rules::forFileSystem("apfs", true), false)
                    .isEmpty());
    }
};

TAVRILL_TEST(TestDoCopyFiles)

#include "tst_docopyfiles.moc"
