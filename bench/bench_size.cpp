// A size pass (GetFilesSize's disk walk) against du -sb --apparent-size on a tree of 100,000
// files.

#include "BenchSupport.h"

#include "filecopy/GetFilesSize.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    return runBenchmark(argc, argv, [](const BenchOptions& options) {
        BenchMachine mac;

        // 100 folders of 10 folders of 100 files, 0 to 4 KB of data each.
        const int files = qMax(1000, int(100000 * options.scale));
        for (int i = 0; i < files; ++i) {
            const QString folder =
                mac.host(QStringLiteral("/Volumes/Bench/tree/a%1/b%2").arg(i % 100).arg((i / 100) % 10));
            if (i < 1000)
                QDir().mkpath(folder);
            QFile f(folder + QStringLiteral("/f%1").arg(i));
            if (f.open(QIODevice::WriteOnly))
                f.write(QByteArray(i % 4097, 'x'));
        }
        syncDisks();

        const QString tree = mac.host("/Volumes/Bench/tree");
        quint64 total = 0;
        double bestEngine = 1e9, bestDu = 1e9;
        // A first run of each warms the cache; the best of the following ones counts.
        for (int run = 0; run <= options.repeats; ++run) {
            const double e =
                timeIt([&] { total = GetFilesSize::getFileSizeWithPat("/Volumes/Bench/tree", 0); });
            const double d = timeCommand({"du", "-sb", "--apparent-size", tree});
            if (run > 0) {
                bestEngine = qMin(bestEngine, e);
                bestDu = qMin(bestDu, d);
            }
        }
        const QByteArray du = commandOutput({"du", "-sb", "--apparent-size", tree}).split('\t').first();
        std::printf(
            "size pass over %d files: engine %llu bytes of file data; du %s bytes (du adds the folders' "
            "own sizes)\n",
            files, static_cast<unsigned long long>(total), du.constData());
        std::printf("%-34s engine %8.3f s   du       %8.3f s   engine/du %5.2fx  (target <= 1.2x)\n",
                    "size pass", bestEngine, bestDu, bestEngine / bestDu);
    });
}
