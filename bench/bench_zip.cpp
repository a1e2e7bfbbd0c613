// The Disk Image tab's zip run (MakeDmg reading zip's output and reporting progress) against
// `zip -r` alone on the same items: four large files, then a tree of 20,000 small files.
// Prints both times and the ratio (zip -r time / tab time; 1.0 means no overhead).

#include "BenchSupport.h"

#include "diskimage/MakeDmg.h"
#include "platform/Machine.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QRandomGenerator>

#include <cstdio>

namespace {

// The screen's part: takes each report on the main thread, as the Disk Image tab does.
struct QuietScreen : MakeDmgDelegate {
    QEventLoop loop;
    int reports = 0;
    bool failed = false;
    void copyFileToDmgWithFileName(const QString&, float progress) override {
        ++reports;
        if (progress >= 100)
            loop.quit();
    }
    void makeDmgFailWithError(const MakeDmgFailure&) override {
        failed = true;
        loop.quit();
    }
};

double tabZip(const QString& folder, const QString& zipPath) {
    syncDisks();
    QuietScreen screen;
    MakeDmg builder;
    builder.setMakeDmgDelegate(&screen);
    const FileNodeList nodes = {FileNode::initWithPath(folder, QDir(folder).dirName(), true, nullptr)};
    const double seconds = timeIt([&] {
        builder.doZipWithPath(zipPath, nodes);
        // The main loop waits for the reports as the tab's window does.
        screen.loop.exec();
    });
    if (screen.failed)
        benchFail(QStringLiteral("the tab's zip run of %1 failed").arg(folder));
    return seconds;
}

void compare(const char* label, const QString& folder, int repeats) {
    double bestTab = 1e9, bestZip = 1e9;
    qint64 sizes[2] = {0, 0};
    for (int run = 0; run < repeats; ++run) {
        // Alternate who goes first, so neither always meets a colder cache.
        for (int side = 0; side < 2; ++side) {
            const bool tabSide = (side + run) % 2 == 0;
            const QString zipPath =
                folder + (tabSide ? QStringLiteral("-tab.zip") : QStringLiteral("-zip.zip"));
            const double seconds =
                tabSide ? tabZip(folder, zipPath) : timeCommand({"zip", "-r", zipPath, folder});
            if (tabSide)
                bestTab = qMin(bestTab, seconds);
            else
                bestZip = qMin(bestZip, seconds);
            sizes[tabSide ? 0 : 1] = QFileInfo(zipPath).size();
            if (sizes[tabSide ? 0 : 1] <= 0)
                benchFail(QStringLiteral("no archive at %1").arg(zipPath));
            removeTree(zipPath);
        }
    }
    // Both archives hold the same entries; only the stored names of the archives differ.
    if (qAbs(sizes[0] - sizes[1]) > 4096)
        benchFail(QStringLiteral("the archives differ: %1 and %2 bytes").arg(sizes[0]).arg(sizes[1]));
    std::uint64_t entries = 0;
    const double counting = timeIt([&] { entries = MakeDmg::getAllFileCountWithPath(folder); });
    std::printf("%s: counting the %llu entries beside zip took %.3f s\n", label,
                static_cast<unsigned long long>(entries), counting);
    std::printf("%s: tab %.2f s, zip -r %.2f s, tab time / zip -r time %.3f (target <= 1.05)\n", label,
                bestTab, bestZip, bestTab / bestZip);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    return runBenchmark(argc, argv, [](const BenchOptions& options) {
        BenchMachine mac;
        // zip runs as on a Mac: the host's own tool on the data's own paths.
        const QString root = mac.root();
        Machine::setRoot(QString());

        const qint64 largeLength = qint64(256.0 * 1024 * 1024 * options.scale);
        for (int i = 0; i < 4; ++i)
            writeData(root + QStringLiteral("/large/file%1.bin").arg(i), largeLength, unsigned(i));
        compare("zip, 4 large files", root + "/large", options.repeats);
        removeTree(root + "/large");

        // 20,000 small files: 20 top folders of 10 folders of 100 files, 0.5 to 16 KB each.
        const int files = qMax(100, int(20000 * options.scale));
        QRandomGenerator random(5);
        for (int i = 0; i < files; ++i) {
            const QString path = QStringLiteral("%1/small/top%2/sub%3/file%4.dat")
                                     .arg(root)
                                     .arg(i % 20)
                                     .arg((i / 20) % 10)
                                     .arg(i);
            writeData(path, random.bounded(512, 16384), unsigned(i));
        }
        compare("zip, 20,000 small files", root + "/small", options.repeats);
        Machine::setRoot(root);
    });
}
