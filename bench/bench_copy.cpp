// Copy throughput of DoCopyFiles against cp -a on the same data: four large files (1 GB at full
// scale), then a tree of small files. Prints MB/s for both and the ratio (engine speed / cp
// speed), with the byte reports on and taken as the Disk Copy screen takes them (a meter and its
// line), and the longest the main thread was busy at once during the large-file copy. Then the
// verified copy (receipt and read-back) on the same data against cp -a, and against cp -a
// followed by diff -r of the two trees.

#include "BenchSupport.h"

#include "core/TransferMeter.h"
#include "filecopy/DoCopyFiles.h"
#include "filecopy/EumeRoot.h"
#include "filecopy/GetFilesSize.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QThread>

#include <cstdio>

namespace {

// The screen's part: takes each report on the main thread, as the Disk Copy screen does, the
// byte reports into a meter whose line it writes.
struct QuietScreen : DoCopyFilesDelegate {
    int reports = 0;
    int byteReports = 0;
    TransferMeter meter;
    QElapsedTimer clock;
    QString line;
    QuietScreen() {
        clock.start();
        meter.start(0);
    }
    void topCopyFilePath(const QString&) override { ++reports; }
    void topCopyProgress(float) override { ++reports; }
    void copyFileError() override { std::fprintf(stderr, "destination missing\n"); }
    void topCopyBytes(std::int64_t copied, std::int64_t toCopy) override {
        ++byteReports;
        meter.setBytesToDo(toCopy);
        meter.update(clock.elapsed(), copied);
        line = meter.line();
    }
};

// The longest stretch the main thread spent serving reports at once, over all runs.
double longestStallMs = 0;
int lastByteReports = 0;

FileNodeList topLevel(const QString& macFolder) {
    std::shared_ptr<EumeRoot> root = EumeRoot::create();
    FileNodeArrayRef array = makeFileNodeArray();
    root->setRootNodeArr(array);
    root->eumeRootListNode(macFolder);
    return array->toList();
}

double engineCopy(BenchMachine& mac, const FileNodeList& nodes, const QString& macDestination,
                  bool verify = false) {
    QDir().mkpath(mac.host(macDestination));
    syncDisks();
    QuietScreen screen;
    std::shared_ptr<DoCopyFiles> copier = DoCopyFiles::create();
    copier->setDelegate(&screen);
    copier->setVerify(verify);
    QElapsedTimer busy;
    const double seconds = timeIt([&] {
        copier->doCopyFilesWithArr(nodes, macDestination);
        // Serve the main-thread reports until every run has ended; a short sleep when idle
        // keeps the wait from adding more than a fraction of a millisecond.
        while (copier->activeRuns() > 0) {
            busy.start();
            QCoreApplication::processEvents(QEventLoop::AllEvents);
            longestStallMs = qMax(longestStallMs, double(busy.nsecsElapsed()) / 1e6);
            QThread::usleep(100);
        }
    });
    lastByteReports = screen.byteReports;
    return seconds;
}

double cpCopy(BenchMachine& mac, const FileNodeList& nodes, const QString& macDestination) {
    QDir().mkpath(mac.host(macDestination));
    syncDisks();
    QStringList argv{"cp", "-a"};
    for (const FileNodeRef& n : nodes)
        argv << mac.host(n->path());
    argv << mac.host(macDestination);
    return timeCommand(argv);
}

void compare(BenchMachine& mac, const char* label, const QString& macSource, const char* target,
             int repeats) {
    const FileNodeList nodes = topLevel(macSource);
    const quint64 bytes = GetFilesSize::getFileSizeWithPat(macSource, 0);
    double bestEngine = 1e9, bestCp = 1e9;
    for (int run = 0; run < repeats; ++run) {
        // Alternate who goes first, so neither always meets a colder cache.
        for (int side = 0; side < 2; ++side) {
            const bool engineSide = (side + run) % 2 == 0;
            const QString destination =
                QStringLiteral("/Volumes/Bench/out-%1").arg(engineSide ? "engine" : "cp");
            const double seconds =
                engineSide ? engineCopy(mac, nodes, destination) : cpCopy(mac, nodes, destination);
            if (engineSide) {
                bestEngine = qMin(bestEngine, seconds);
                if (GetFilesSize::getFileSizeWithPat(destination, 0) != bytes)
                    benchFail(QStringLiteral("the engine's copy of %1 is incomplete").arg(macSource));
            } else {
                bestCp = qMin(bestCp, seconds);
            }
            removeTree(mac.host(destination));
        }
    }
    const double mb = double(bytes) / 1e6;
    std::printf("%s: %.0f MB in %lld top-level items; engine %.0f MB/s (%d byte reports), cp -a %.0f MB/s\n",
                label, mb, static_cast<long long>(nodes.size()), mb / bestEngine, lastByteReports,
                mb / bestCp);
    printSpeedRatio(label, bestEngine, bestCp, target);
}

// The verified copy against what a careful user does by hand, on the same data.
void compareVerified(BenchMachine& mac, const char* label, const QString& macSource, int repeats) {
    const FileNodeList nodes = topLevel(macSource);
    const quint64 bytes = GetFilesSize::getFileSizeWithPat(macSource, 0);
    double bestVerified = 1e9, bestCp = 1e9, bestCpDiff = 1e9;
    for (int run = 0; run < repeats; ++run) {
        const QString engineOut = QStringLiteral("/Volumes/Bench/out-verified");
        bestVerified = qMin(bestVerified, engineCopy(mac, nodes, engineOut, true));
        if (GetFilesSize::getFileSizeWithPat(engineOut, 0) <= bytes)
            benchFail(
                QStringLiteral("the verified copy of %1 has no receipt or is incomplete").arg(macSource));
        removeTree(mac.host(engineOut));
        const QString cpOut = QStringLiteral("/Volumes/Bench/out-cp");
        const double cpSeconds = cpCopy(mac, nodes, cpOut);
        const double diffSeconds = timeCommand({"diff", "-r", mac.host(macSource), mac.host(cpOut)});
        bestCp = qMin(bestCp, cpSeconds);
        bestCpDiff = qMin(bestCpDiff, cpSeconds + diffSeconds);
        removeTree(mac.host(cpOut));
    }
    std::printf("verified copy, %s: %.0f MB; verified %.2f s, cp -a %.2f s, cp -a + diff -r %.2f s\n", label,
                double(bytes) / 1e6, bestVerified, bestCp, bestCpDiff);
    std::printf(
        "verified copy, %s: %.2fx the time of cp -a (target <= 1.6x), %.2fx the time of cp -a + diff -r "
        "(target <= 0.7x)\n",
        label, bestVerified / bestCp, bestVerified / bestCpDiff);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    return runBenchmark(argc, argv, [](const BenchOptions& options) {
        BenchMachine mac;

        const qint64 largeLength = qint64(256.0 * 1024 * 1024 * options.scale);
        for (int i = 0; i < 4; ++i)
            writeData(mac.host(QStringLiteral("/Volumes/Bench/large/file%1.bin").arg(i)), largeLength,
                      unsigned(i));
        longestStallMs = 0;
        compare(mac, "copy, 4 large files", "/Volumes/Bench/large", ">= 0.95x", options.repeats);
        std::printf("copy, 4 large files: longest main-thread stall %.2f ms\n", longestStallMs);
        compareVerified(mac, "4 large files", "/Volumes/Bench/large", options.repeats);
        removeTree(mac.host("/Volumes/Bench/large"));

        // 20,000 small files: 20 top folders of 10 folders of 100 files, 0.5 to 16 KB each.
        const int files = qMax(100, int(20000 * options.scale));
        QRandomGenerator random(5);
        for (int i = 0; i < files; ++i) {
            const QString path = QStringLiteral("/Volumes/Bench/small/top%1/sub%2/file%3.dat")
                                     .arg(i % 20)
                                     .arg((i / 20) % 10)
                                     .arg(i);
            writeData(mac.host(path), random.bounded(512, 16384), unsigned(i));
        }
        compare(mac, "copy, small-file tree", "/Volumes/Bench/small", ">= 0.9x", options.repeats);
        compareVerified(mac, "small-file tree", "/Volumes/Bench/small", options.repeats);
    });
}
