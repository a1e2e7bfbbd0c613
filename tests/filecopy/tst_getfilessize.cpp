#include "tst_getfilessize.h"

#include "Fixtures.h"
#include "TestMachine.h"
#include "TreeCompare.h"
#include "Wait.h"
#include "core/MainThread.h"
#include "filecopy/GetFilesSize.h"

#include <QDirIterator>
#include <QMutex>
#include <QRandomGenerator>
#include <QTest>

#include <sys/stat.h>

namespace {

struct SizeRecorder : GetFilesSizeDelegate {
    QMutex lock;
    QList<qint64> reports;
    std::atomic<bool> offMain{false};
    void allCopyFilesSize(qint64 size) override {
        if (!isMainThread())
            offMain = true;
        QMutexLocker l(&lock);
        reports << size;
    }
    QList<qint64> taken() {
        QMutexLocker l(&lock);
        return reports;
    }
};

// Runs a pass and collects its reports: waits for the expected number, then a little longer
// to catch any extra one.
QList<qint64> measure(const FileNodeList& nodes, int expectedReports, bool cancelFirst = false) {
    SizeRecorder recorder;
    std::shared_ptr<GetFilesSize> sizer = GetFilesSize::create();
    sizer->setDelegate(&recorder);
    if (cancelFirst)
        sizer->setIsCancel(true); // read by nobody: the pass still reports
    sizer->getAllFilesSizeWithArr(nodes);
    if (!waitUntil([&] { return recorder.taken().size() >= expectedReports; }, 20000))
        return {-1};
    QTest::qWait(100);
    if (recorder.offMain)
        return {-2};
    return recorder.taken();
}

// The sum the walk must equal: lstat sizes of regular files and links, nothing for folders.
quint64 independentSum(const QString& host) {
    quint64 sum = 0;
    QDirIterator it(host, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        struct stat st;
        if (::lstat(QFile::encodeName(it.next()).constData(), &st) == 0 &&
            (S_ISREG(st.st_mode) || S_ISLNK(st.st_mode)))
            sum += quint64(st.st_size);
    }
    return sum;
}

} // namespace

void TestGetFilesSize::diskWalkEqualsAnIndependentSum() {
    TestMachine mac;
    QRandomGenerator random(3);
    for (int i = 0; i < 400; ++i) {
        QString path = "/Volumes/Data/tree";
        const int depth = random.bounded(5);
        for (int d = 0; d < depth; ++d)
            path += QStringLiteral("/d%1").arg(random.bounded(4));
        writeSized(mac, path + QStringLiteral("/%1f%2").arg(i % 7 == 0 ? "." : "").arg(i),
                   random.bounded(3000));
    }
    makeFolder(mac, "/Volumes/Data/tree/empty/emptier");
    QVERIFY(makeLink("d1", mac.host("/Volumes/Data/tree/link-to-folder")));
    QVERIFY(makeLink("/nowhere/at/all", mac.host("/Volumes/Data/tree/dangling")));
    const quint64 expected = independentSum(mac.host("/Volumes/Data/tree"));
    QVERIFY(expected > 0);
    QCOMPARE(GetFilesSize::getFileSizeWithPat("/Volumes/Data/tree", 0), expected);
    // A file counts itself; a missing path counts nothing.
    writeSized(mac, "/Volumes/Data/one", 321);
    QCOMPARE(GetFilesSize::getFileSizeWithPat("/Volumes/Data/one", 9), quint64(330));
    QCOMPARE(GetFilesSize::getFileSizeWithPat("/Volumes/Data/missing", 9), quint64(9));
}

void TestGetFilesSize::plainPassReportsOnceOnTheMainThread() {
    QCOMPARE(measure({}, 1), QList<qint64>{0}); // nothing selected: zero, once
    TestMachine mac;
    writeSized(mac, "/Volumes/Data/ten", 10);
    writeSized(mac, "/Volumes/Data/folder/twenty", 20);
    writeSized(mac, "/Volumes/Data/folder/thirty", 30);
    writeSized(mac, "/Volumes/Data/unticked", 1000);
    const FileNodeList nodes = {fileNode("/Volumes/Data/ten", 10), folderNode("/Volumes/Data/folder"),
                                fileNode("/Volumes/Data/unticked", 1000, 0)};
    QCOMPARE(measure(nodes, 1), QList<qint64>{60});
    QCOMPARE(measure(nodes, 1, true), QList<qint64>{60});

    // A file counts the size it was listed with; a folder is measured again, whatever it holds.
    writeSized(mac, "/Volumes/Data/ten", 10000);
    nodes[1]->setSize(5);
    writeSized(mac, "/Volumes/Data/folder/b", 1000);
    QCOMPARE(measure(nodes, 1), QList<qint64>{10 + 1050});
}

void TestGetFilesSize::halfSelectedFoldersReportOnTheirOwn() {
    TestMachine mac;
    writeSized(mac, "/Volumes/Data/top/in", 7);
    writeSized(mac, "/Volumes/Data/top/out", 9);
    writeSized(mac, "/Volumes/Data/alone", 100);
    FileNodeRef top = folderNode("/Volumes/Data/top", 2);
    fileNode("/Volumes/Data/top/in", 7, 1, top.data());
    fileNode("/Volumes/Data/top/out", 9, 0, top.data());
    // One report for the pass and one for the half-selected folder's own pass. Which total
    // each carries depends on timing, but the pass whose addition comes last reports the
    // whole 107.
    const QList<qint64> reports = measure({top, fileNode("/Volumes/Data/alone", 100)}, 2);
    QCOMPARE(reports.size(), 2);
    for (const qint64 r : reports)
        QVERIFY(r >= 0 && r <= 107);
    QVERIFY(reports.contains(107));
}

void TestGetFilesSize::selectionSizeIsExactAndCancelSilencesEveryPass() {
    TestMachine mac;
    writeSized(mac, "/Volumes/Data/top/in", 7);
    writeSized(mac, "/Volumes/Data/top/out", 9);
    writeSized(mac, "/Volumes/Data/top/mid/deep", 40);
    writeSized(mac, "/Volumes/Data/top/mid/skip", 500);
    writeSized(mac, "/Volumes/Data/alone", 100);
    for (int i = 0; i < 300; ++i)
        writeSized(mac, QStringLiteral("/Volumes/Data/many/d%1/f%2").arg(i % 30).arg(i), 1);
    // Half-selected two deep: the exact total, in one report, whatever the timing.
    FileNodeRef top = folderNode("/Volumes/Data/top", 2);
    fileNode("/Volumes/Data/top/in", 7, 1, top.data());
    fileNode("/Volumes/Data/top/out", 9, 0, top.data());
    FileNodeRef mid = folderNode("/Volumes/Data/top/mid", 2, top.data());
    fileNode("/Volumes/Data/top/mid/deep", 40, 1, mid.data());
    fileNode("/Volumes/Data/top/mid/skip", 500, 0, mid.data());
    // A whole folder the list has opened counts its listed entries and walks what it has not
    // opened.
    writeSized(mac, "/Volumes/Data/opened/f", 20);
    writeSized(mac, "/Volumes/Data/opened/shut/g", 3);
    FileNodeRef opened = folderNode("/Volumes/Data/opened", 1);
    fileNode("/Volumes/Data/opened/f", 20, 1, opened.data());
    folderNode("/Volumes/Data/opened/shut", 1, opened.data());
    const FileNodeList nodes = {top, fileNode("/Volumes/Data/alone", 100), folderNode("/Volumes/Data/many"),
                                opened};
    for (int round = 0; round < 3; ++round) {
        SizeRecorder recorder;
        std::shared_ptr<GetFilesSize> sizer = GetFilesSize::create();
        sizer->setDelegate(&recorder);
        sizer->getSelectionSizeWithArr(nodes);
        QVERIFY(waitUntil([&] { return !recorder.taken().isEmpty(); }, 20000));
        QTest::qWait(50);
        QCOMPARE(recorder.taken(), QList<qint64>{7 + 40 + 100 + 300 + 23});
        QVERIFY(!recorder.offMain);
    }

    // Cancelled before or while they run, neither kind of pass reports, nested ones included.
    SizeRecorder silent;
    for (const bool exact : {false, true}) {
        for (const bool before : {true, false}) {
            std::shared_ptr<GetFilesSize> sizer = GetFilesSize::create();
            sizer->setDelegate(&silent);
            if (before)
                sizer->cancelPass();
            if (exact)
                sizer->getSelectionSizeWithArr(nodes);
            else
                sizer->getAllFilesSizeWithArr(nodes);
            if (!before)
                sizer->cancelPass();
        }
    }
    QTest::qWait(300);
    QCOMPARE(silent.taken(), QList<qint64>{});
}
