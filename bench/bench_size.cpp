// A size pass (GetFilesSize's disk walk) against du -sb --apparent-size on a tree of 100,000
// files.

#include "BenchSupport.h"

#include "filecopy/GetFilesSize.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QThread>

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
        const QStringList du = {"du", "-sb", "--apparent-size", tree};
        quint64 total = 0;
        auto engine = [&] { total = GetFilesSize::getFileSizeWithPat("/Volumes/Bench/tree", 0); };
        double bestEngine = 1e9, bestDu = 1e9;
        // A first run of each warms the cache; the best of the following ones counts.
        for (int run = 0; run <= options.repeats; ++run) {
            const double e = timeIt(engine);
            const double d = timeCommand(du);
            if (run > 0) {
                bestEngine = qMin(bestEngine, e);
                bestDu = qMin(bestDu, d);
            }
        }
        // With the caches dropped before each run, where the system lets the benchmark do so.
        double coldEngine = 1e9, coldDu = 1e9;
        bool cold = true;
        for (int run = 0; run < options.repeats && cold; ++run) {
            cold = dropCaches();
            const double e = timeIt(engine);
            cold = cold && dropCaches();
            const double d = timeCommand(du);
            coldEngine = qMin(coldEngine, e);
            coldDu = qMin(coldDu, d);
        }
        const QByteArray duBytes = commandOutput(du).split('\t').first();
        std::printf(
            "size pass over %d files: engine %llu bytes of file data; du %s bytes (du adds the folders' "
            "own sizes); %d threads at most\n",
            files, static_cast<unsigned long long>(total), duBytes.constData(),
            qBound(1, QThread::idealThreadCount(), 4));
        std::printf("%-34s engine %8.3f s   du       %8.3f s   engine/du %5.2fx  (target <= 0.7x)\n",
                    "size pass, warm cache", bestEngine, bestDu, bestEngine / bestDu);
        if (cold)
            std::printf("%-34s engine %8.3f s   du       %8.3f s   engine/du %5.2fx  (target <= 0.7x)\n",
                        "size pass, cold cache", coldEngine, coldDu, coldEngine / coldDu);
        else
            std::printf("%-34s not measured: the caches cannot be dropped without root\n",
                        "size pass, cold cache");
    });
}
