#include "tst_copyresume.h"

#include "Fixtures.h"
#include "TestMachine.h"
#include "TreeCompare.h"
#include "Wait.h"
#include "filecopy/DoCopyFiles.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <sys/stat.h>

namespace {

struct Outcome : DoCopyFilesDelegate {
    QList<float> progress;
    int errors = 0;
    int verifies = 0;
    void topCopyFilePath(const QString&) override {}
    void topCopyProgress(float percent) override { progress << percent; }
    void copyFileError() override { ++errors; }
    void topVerifyStarted() override { ++verifies; }
};

// The inode and the time of the last change of an item: a file written again gets new ones.
QPair<qulonglong, qlonglong> identity(const QString& hostPath) {
    struct stat st {};
    if (::lstat(QFile::encodeName(hostPath).constData(), &st) != 0)
        return {0, 0};
    return {qulonglong(st.st_ino), qlonglong(st.st_ctim.tv_sec) * 1000000000LL + st.st_ctim.tv_nsec};
}

} // namespace

void TestCopyResume::resumeRecopiesOnlyWhatIsMissingOrCutShort() {
    TestMachine mac;
    const QString source = mac.host("/Volumes/Src/Work");
    writeHostFile(source + "/a.txt", "alpha");
    writeHostFile(source + "/b.txt", "bravo");
    writeHostFile(source + "/Photos/c.jpg", QByteArray(200000, 'c'));
    writeHostFile(source + "/Photos/d.jpg", QByteArray(150000, 'd'));
    writeHostFile(source + "/big.bin", QByteArray(2'000'000, 'b'));
    makeFolder(mac, "/Volumes/Dest/out");
    std::shared_ptr<DoCopyFiles> copier = DoCopyFiles::create();
    Outcome outcome;
    copier->setDelegate(&outcome);
    copier->setVerify(true);
    copier->doCopyFilesWithArr({folderNode("/Volumes/Src/Work")}, "/Volumes/Dest/out");
    QVERIFY(waitUntil([&] { return copier->activeRuns() == 0; }, 60000));
    QCOMPARE(outcome.progress.last(), 100.0f);

    // A file cut short (its time is the moment of the cut), one missing; the rest complete.
    const QString copy = mac.host("/Volumes/Dest/out/Work");
    QVERIFY(QFile::resize(copy + "/Photos/c.jpg", 1000));
    QVERIFY(QFile::remove(copy + "/b.txt"));
    const QStringList complete{"a.txt", "Photos/d.jpg", "big.bin"};
    QList<QPair<qulonglong, qlonglong>> before;
    for (const QString& file : complete)
        before << identity(copy + '/' + file);
    const auto cutShort = identity(copy + "/Photos/c.jpg");

    outcome.progress.clear();
    QVERIFY(copier->canResume());
    copier->resume();
    QVERIFY(waitUntil([&] { return copier->activeRuns() == 0; }, 60000));
    QVERIFY2(outcome.errors == 0, qPrintable(copier->resumeProblem() + copier->differingFiles().join(',')));
    QCOMPARE(outcome.verifies, 2);
    QCOMPARE(outcome.progress.last(), 100.0f);
    QCOMPARE(compareTrees(source, copy), QStringList());
    for (qsizetype i = 0; i < complete.size(); ++i)
        QVERIFY2(identity(copy + '/' + complete[i]) == before[i], qPrintable(complete[i]));
    QVERIFY(identity(copy + "/Photos/c.jpg") != cutShort);

    // One receipt, a line per file, the resume and the verify noted.
    const QStringList lines =
        QString::fromUtf8(readHostFile(mac.host("/Volumes/Dest/out/Tavrill receipt.txt"))).split('\n');
    QStringList named;
    const QRegularExpression fileLine("^XXH128 \\((.+)\\) = [0-9a-f]{32}$");
    for (const QString& line : lines) {
        if (const QRegularExpressionMatch m = fileLine.match(line); m.hasMatch())
            named << m.captured(1);
    }
    named.sort();
    QCOMPARE(named, (QStringList{"Work/Photos/c.jpg", "Work/Photos/d.jpg", "Work/a.txt", "Work/b.txt",
                                 "Work/big.bin"}));
    QCOMPARE(lines.filter(QRegularExpression("^# Resumed: ")).size(), 1);
    QVERIFY(lines.contains("# Verified: all 5 files (2.35 MB) read back from the destination match."));
}
